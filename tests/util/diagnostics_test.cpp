#include "log/diagnostics.h"

#include <gtest/gtest.h>

#include "log/log_stream.h"
#include "../log/recording_appender.h"

namespace Vorn {
namespace {

TEST(Diagnostics, PrintLogWritesTheTextAtDebugThenTheStackAtTrace) {
    AppenderLog seen;
    {
        LoggerImpl logger;
        logger.add_appender(new RecordingAppender(seen));
        ASSERT_TRUE(start_worker(logger));
        LogStream::init(&logger);
        print_log("state dump");
        LogStream::init(nullptr);
        logger.stop();
    }
    const std::vector<Logger::Message>& lines = seen.messages;
    ASSERT_GE(lines.size(), 4u);
    EXPECT_EQ(lines[0].level, Logger::Debug);
    EXPECT_NE(lines[0].text.find(" util_log: state dump\n"), std::string::npos);

    const std::string obtained = lines[1].text.substr(lines[1].text.find(" trace: ") + 8);
    const size_t frames = lines.size() - 3;
    EXPECT_EQ(obtained, "Obtained " + std::to_string(frames) + " stack frames.\n");
    for (size_t i = 1; i < lines.size() - 1; ++i) {
        EXPECT_EQ(lines[i].level, Logger::Trace);
        EXPECT_NE(lines[i].text.find(" trace: "), std::string::npos);
    }
    EXPECT_EQ(lines.back().text, "<LAST LINE>\n");
}

}  // namespace
}  // namespace Vorn
