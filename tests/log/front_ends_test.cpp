#include <gtest/gtest.h>

#include <vector>

#include "log/log_facility.h"
#include "log/log_stream.h"

namespace Vorn {
namespace {

struct FakeLogger : Logger {
    struct Line {
        Level level;
        std::string facility, text;
    };
    void write(Level level, const std::string& facility, const std::string& text) override {
        lines.push_back({level, facility, text});
    }
    std::vector<Line> lines;
};

class FrontEnds : public ::testing::Test {
protected:
    void TearDown() override {
        LogFacility::init(nullptr);
        LogStream::init(nullptr);
    }
    FakeLogger logger;
};

TEST_F(FrontEnds, LogFacilityFormatsTextsOfAnyLength) {
    LogFacility::init(&logger);
    const LogFacility facility("Config");
    const std::vector<size_t> lengths = {0, 1022, 1023, 1024, 2048, 5000};
    for (size_t length : lengths) facility.log(Logger::Trace, "%s%c", std::string(length, 'a').c_str(), '!');
    ASSERT_EQ(logger.lines.size(), lengths.size());
    for (size_t i = 0; i < lengths.size(); ++i) {
        EXPECT_EQ(logger.lines[i].level, Logger::Trace);
        EXPECT_EQ(logger.lines[i].facility, "Config");
        EXPECT_EQ(logger.lines[i].text, std::string(lengths[i], 'a') + "!");
    }
}

TEST_F(FrontEnds, LogStreamSendsOneLinePerStatement) {
    LogStream::init(&logger);
    const LogStream stream("Network");
    stream(Logger::Debug) << "sent " << 42 << ' ' << 1.5 << " bytes";
    stream(Logger::Error);
    ASSERT_EQ(logger.lines.size(), 2u);
    EXPECT_EQ(logger.lines[0].level, Logger::Debug);
    EXPECT_EQ(logger.lines[0].facility, "Network");
    EXPECT_EQ(logger.lines[0].text, "sent 42 1.5 bytes");
    EXPECT_EQ(logger.lines[1].text, "");
}

TEST_F(FrontEnds, DiscardEverythingWithoutALogger) {
    LogFacility::init(&logger);
    LogStream::init(&logger);
    LogFacility::init(nullptr);
    LogStream::init(nullptr);
    LogFacility("Config").log(Logger::Emergency, "%d", 1);
    LogStream("Network")(Logger::Emergency) << 1;
    EXPECT_TRUE(logger.lines.empty());
}

TEST(Logger, LevelNamesAreTheSevenCharacterTexts) {
    const char* expected[] = {"*EMERG ", "*ALERT ", "*CRIT  ", " ERROR ", " Warn  ",
                              " Notice", " Info  ", "?Debug ", "?Trace "};
    for (int level = Logger::Emergency; level <= Logger::Trace; ++level) {
        EXPECT_STREQ(Logger::level_name(level), expected[level]);
    }
}

}  // namespace
}  // namespace Vorn
