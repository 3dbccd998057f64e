// The producer side of a log line: what a thread pays to hand a message to
// the logger's worker. A private logger with an appender that discards.
#include <benchmark/benchmark.h>

#include <string>

#include "vorn/log/appender.h"
#include "vorn/log/logger_impl.h"
#include "vorn/util/thread.h"

namespace {

class DiscardingAppender : public Vorn::Appender {
public:
    void write(Vorn::Logger::Message* message) override { benchmark::DoNotOptimize(message->text.size()); }
};

void BM_LoggerWrite(benchmark::State& state) {
    Vorn::LoggerImpl logger;
    logger.add_appender(new DiscardingAppender);
    if (!logger.start()) {
        state.SkipWithError("logger thread did not start");
        return;
    }
    for (int i = 0; i < 100000 && logger.is_stopped(); ++i) Vorn::Thread::usleep(50);
    const std::string facility = "DetailedInfoFileParser";
    const std::string text = "Unable to read field from file";
    for (auto _ : state) {
        logger.write(Vorn::Logger::Debug, facility, text);
    }
    state.SetItemsProcessed(state.iterations());
    // A worker slower than the producer loses the newest lines.
    state.counters["dropped"] = static_cast<double>(logger.dropped());
    logger.stop();
    logger.join();
}
BENCHMARK(BM_LoggerWrite)->UseRealTime();

}  // namespace
