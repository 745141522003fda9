#include <Telvora/LoggableKit/Classes/QuorvexLog.h>

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

// Many threads log at once, on the real platform. The service gets each line on the thread that
// logs it, in that thread's order, one line at a time.

namespace telvora {
namespace {

constexpr int threadCount = 6;
constexpr int linesPerThread = 2'000;

const QuorvexLogCategory category("x");

// The thread and the number of the line that this thread is logging.
thread_local int t_thread = -1;
thread_local int t_number = -1;

// Has no lock, so that the thread sanitizer reports two concurrent calls.
class CheckingService final : public LogService {
public:
    void loggerInit() override { }

    void log(unsigned, const std::string& message) override
    {
        overlaps += m_isInside.exchange(true);
        // Lets another thread run in the middle of a call.
        if (lines % 16 == 0)
            std::this_thread::yield();
        ++lines;
        foreign += message != "[x] " + std::to_string(t_thread) + " " + std::to_string(t_number);
        m_isInside = false;
    }

    int lines = 0;
    int overlaps = 0;
    // Lines that arrived on another thread than that of their log call, or not during the call.
    int foreign = 0;

private:
    std::atomic<bool> m_isInside { false };
};

class LogStressTest : public testing::Test {
protected:
    LogStressTest()
    {
        QuorvexLog::setLogService(service);
        QuorvexLog::configLogger();
    }

    // Calls `logLine` for each number on each of the threads.
    template<typename LogLine> static void logFromAllThreads(LogLine logLine)
    {
        std::vector<std::thread> threads;
        for (int thread = 0; thread < threadCount; ++thread) {
            threads.emplace_back([&logLine, thread] {
                t_thread = thread;
                for (t_number = 0; t_number < linesPerThread; ++t_number)
                    logLine(std::to_string(t_thread) + " " + std::to_string(t_number));
            });
        }
        for (std::thread& thread : threads)
            thread.join();
    }

    const std::shared_ptr<CheckingService> service = std::make_shared<CheckingService>();
};

TEST_F(LogStressTest, EachLineIsTakenOnTheThreadThatLogsItBeforeTheCallReturns)
{
    logFromAllThreads([](const std::string& text) { QuorvexLog::log(category, text); });

    EXPECT_EQ(service->lines, threadCount * linesPerThread);
    EXPECT_EQ(service->foreign, 0);
    EXPECT_EQ(service->overlaps, 0);
}

TEST_F(LogStressTest, LinesFromCAndFromCxxAreTakenOneAtATime)
{
    logFromAllThreads([](const std::string& text) {
        if (t_number % 2 == 0)
            qvxLogWithLevel(1, ("[x] " + text).c_str());
        else
            QuorvexLog::log(category, text);
    });

    EXPECT_EQ(service->lines, threadCount * linesPerThread);
    EXPECT_EQ(service->foreign, 0);
    EXPECT_EQ(service->overlaps, 0);
}

TEST_F(LogStressTest, ReplacingTheServiceLosesNoLine)
{
    const auto other = std::make_shared<CheckingService>();

    logFromAllThreads([&](const std::string& text) {
        if (t_thread == 0 && t_number % 10 == 0)
            QuorvexLog::setLogService(t_number % 20 == 0 ? other : service);
        QuorvexLog::log(category, text);
    });

    EXPECT_EQ(service->lines + other->lines, threadCount * linesPerThread);
    EXPECT_EQ(service->foreign + other->foreign, 0);
}

} // namespace
} // namespace telvora
