#include <tests/Platform/ClockContract.h>
#include <tests/Platform/DispatchContract.h>
#include <tests/Platform/DispatchMisuseContract.h>
#include <tests/Platform/FileManagerContract.h>
#include <tests/Platform/HTTPClientContract.h>
#include <tests/Platform/NotificationCenterContract.h>
#include <tests/Platform/ReachabilityContract.h>
#include <tests/Platform/TimerSourceContract.h>
#include <tests/Platform/UUIDSourceContract.h>

#include <Telvora/Platform/Simulated/SimulatedPlatform.h>

#include <chrono>
#include <cstdint>

namespace telvora {
namespace {

class ManualClockSubject {
public:
    Clock& clock() { return m_platform.clock(); }

private:
    SimulatedPlatform m_platform;
};

template<std::uint64_t seed> class ManualDispatchSubject {
public:
    Dispatch& dispatch() { return m_platform.dispatch(); }
    void settle() { m_platform.runUntilIdle(); }
    void pass(std::chrono::milliseconds time) { m_platform.advance(time); }
    std::chrono::steady_clock::time_point now() { return m_platform.clock().steadyNow(); }

    void passUntil(FunctionRef<bool()> condition)
    {
        for (int step = 0; step < 1000 && !condition(); ++step)
            pass(std::chrono::milliseconds(1));
    }

private:
    SimulatedPlatform m_platform { seed };
};

using ManualDispatchSubjects = testing::Types<ManualDispatchSubject<0>, ManualDispatchSubject<1>,
    ManualDispatchSubject<2>, ManualDispatchSubject<3>>;

class ScriptedFileManagerSubject {
public:
    ScriptedFileManagerSubject()
    {
        m_files.setExisting({ folder(), folder() + "/" });
        m_files.setWritable({ folder() + "/file" });
    }

    FileManager& files() { return m_files; }
    std::string folder() const { return "/folder"; }

private:
    ScriptedFileManager m_files;
};

class ScriptedHTTPClientSubject {
public:
    HTTPClient& client() { return m_platform.httpClient(); }
    std::string url() const { return "http://127.0.0.1:9100/batch?x=1"; }

    void answerNext(int status, std::string body, HTTPHeaders headers = {})
    {
        add(ScriptedAnswer::body(std::move(body), status).with(std::move(headers)));
    }
    void failNext() { add(ScriptedAnswer::error("The connection was closed")); }
    void settle() { m_platform.runUntilIdle(); }
    std::vector<HTTPRequest> received() { return m_platform.httpClient().requests(); }

private:
    void add(ScriptedAnswer answer)
    {
        m_answers.push_back(std::move(answer));
        // What was taken before stays taken.
        const auto taken = static_cast<std::ptrdiff_t>(m_platform.httpClient().requestCount());
        m_platform.httpClient().setAnswers({ m_answers.begin() + taken, m_answers.end() });
    }

    SimulatedPlatform m_platform;
    std::vector<ScriptedAnswer> m_answers;
};

class RecordingNotificationCenterSubject {
public:
    NotificationCenter& center() { return m_center; }

private:
    RecordingNotificationCenter m_center;
};

class ScriptedReachabilitySubject {
public:
    ScriptedReachabilitySubject() { change(Reachability::Connection::none); }

    ReachabilityService& service() { return m_platform.reachability(); }
    bool canChange() const { return true; }
    void change(Reachability::Connection connection)
    {
        using Value = ScriptedReachability::Value;
        m_platform.reachability().setConnection(connection == Reachability::Connection::none
                ? Value::none
                : connection == Reachability::Connection::wifi ? Value::wifi
                                                               : Value::cellular);
    }
    void runMain() { m_platform.runUntilIdle(); }

private:
    SimulatedPlatform m_platform;
};

class SeededUUIDSourceSubject {
public:
    UUIDSource& uuids() { return m_uuids; }

private:
    SeededUUIDSource m_uuids;
};

INSTANTIATE_TYPED_TEST_SUITE_P(ManualClock, ClockContract, ManualClockSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(ManualDispatch, DispatchContract, ManualDispatchSubjects);
INSTANTIATE_TYPED_TEST_SUITE_P(ManualDispatch, DispatchContractDeathTest, ManualDispatchSubjects);
INSTANTIATE_TYPED_TEST_SUITE_P(ManualDispatch, TimerSourceContract, ManualDispatchSubjects);
INSTANTIATE_TYPED_TEST_SUITE_P(
    ScriptedFileManager, FileManagerContract, ScriptedFileManagerSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(ScriptedHTTPClient, HTTPClientContract, ScriptedHTTPClientSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    RecordingNotificationCenter, NotificationCenterContract, RecordingNotificationCenterSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    RecordingNotificationCenter, NotificationCenterQuirk, RecordingNotificationCenterSubject);
INSTANTIATE_TYPED_TEST_SUITE_P(
    ScriptedReachability, ReachabilityContract, ScriptedReachabilitySubject);
INSTANTIATE_TYPED_TEST_SUITE_P(SeededUUIDSource, UUIDSourceContract, SeededUUIDSourceSubject);

} // namespace
} // namespace telvora
