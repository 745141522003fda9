#include <Telvora/Base/HostCall.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <Telvora/Telvora.h>

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace telvora {
namespace {

using namespace std::chrono_literals;
using Excavator = TrackerDataExcavator;
using Lines = std::vector<std::string>;

/// A host that uses everything in the library that has state, on a platform of its own, and writes
/// down all that can be seen. It ends with work under way and no setting as it was.
class Session final {
public:
    /// `name` is in all that the host sets.
    explicit Session(std::string name)
        : m_name(std::move(name))
    {
        installPlatform(m_simulated.services());
    }

    Lines run()
    {
        writeState("at the start");
        beCareless();
        observe();
        setUp();
        writeState("after set-up");
        work();
        writeState("at the end");
        return std::move(*m_lines);
    }

private:
    // Adds to the lines of its session, also where the session has ended.
    class Pen {
    public:
        explicit Pen(std::shared_ptr<Lines> lines)
            : m_lines(std::move(lines))
        {
        }
        void operator()(std::string line) const { m_lines->push_back(std::move(line)); }

    private:
        std::shared_ptr<Lines> m_lines;
    };

    class Service final : public LogService, public QVXOstraProviderProtocol {
    public:
        Service(Pen write, const ManualDispatch& dispatch)
            : m_write(std::move(write))
            , m_dispatch(dispatch)
        {
        }
        void loggerInit() override { m_write("log: init"); }
        void log(unsigned level, const std::string& message) override
        {
            m_write("log: " + std::to_string(level) + " " + message
                + (m_dispatch.isRunningBlock() ? " in a block" : ""));
        }
        void report(const std::string& name, const std::string& content) override
        {
            m_write("provider: " + name + " " + content);
        }

    private:
        Pen m_write;
        const ManualDispatch& m_dispatch;
    };

    void beCareless();
    void observe();
    void setUp();
    void addChannel(const std::string& index, std::int64_t maxLimit);
    void work();
    void enrollEach() const;
    void writeState(const std::string& when);
    void writeOnceValues() const;

    SimulatedPlatform m_simulated;
    const std::string m_name;
    const std::shared_ptr<Lines> m_lines = std::make_shared<Lines>();
    const Pen m_write { m_lines };
};

// Before anybody listens: a line is logged, and an event is dropped.
void Session::beCareless()
{
    QuorvexLog::setLogService(std::make_shared<Service>(m_write, m_simulated.dispatch()));
    QuorvexLog::log(QuorvexLog::Category::tracker(), "too early");
    TrackerManager::shared().appendTracker({ { "name", m_name } }, "nowhere");
    m_simulated.runUntilIdle();
    m_write("waits " + std::to_string(m_simulated.dispatch().nextInstant().has_value()));
}

void Session::observe()
{
    m_simulated.setQuestionObserver(
        [write = m_write](const std::string& question) { write("question: " + question); });
    m_simulated.httpClient().setRequestObserver(
        [write = m_write](std::size_t number, const HTTPRequest& request) {
            std::string line = "request " + std::to_string(number) + ": " + request.url;
            for (const auto& [name, value] : request.headers)
                line.append(" ").append(name).append("=").append(value);
            write(line + " " + std::string(request.body));
        });
    m_simulated.dispatch().setTimerObserver(
        [write = m_write](ManualDispatch::TimerAction action, std::chrono::nanoseconds interval) {
            write("timer: " + std::to_string(static_cast<int>(action)) + " "
                + std::to_string(interval.count()));
        });
    TrackerManager::setDiagnosticsHandler([write = m_write](const Diagnostic& diagnostic) {
        write("diagnostic: " + std::string(rawValue(diagnostic.kind)) + " " + diagnostic.index + " "
            + diagnostic.reason);
    });
    TrackerManager::setTriggerCallback(
        [write = m_write](const Dictionary& event, const std::string& index) {
            write("trigger: " + index + " " + encode(event).value());
        });
}

void Session::setUp()
{
    auto device = m_simulated.device().values();
    device.safeDescription = m_name;
    m_simulated.device().setValues(device);
    m_simulated.reachability().setConnection(ScriptedReachability::Value::cellular);
    m_simulated.telephony().setRadioTechnologies({ { { "1", "CTRadioAccessTechnologyNR" } } });
    m_simulated.telephony().setCarriers({ { { "1", { m_name, "nl" } } } });

    QuorvexLog::setLogFilter(QuorvexLogFilter::none());
    QuorvexLog::setLogs({ m_name });
    QuorvexLog::configLogger();

    TrackerManager& manager = TrackerManager::shared();
    manager.setMode(TrackerMode::debug);
    manager.setQvxUuid([name = m_name] { return std::optional(name); });
    TrackerManager::configHeaders({ { "x-host", m_name } });
    manager.updateTracker({ "." + m_name });
    for (const char* index : { "APM", "MP", "E2E", "Sentry" })
        addChannel(index, 2);
    manager.setupCommonVendelDatas();
    manager.setupCommonMPDatas();
    manager.setupCommonE2EDatas();
    manager.setupCommonSentryDatas(false, false);
    TrackerManager::start();
    Excavator::initial();
    TrackerDataLifeCycleMonitor::setup();
    TrackerDataLifeCycleMonitor::setIsEnabled(true);
}

void Session::addChannel(const std::string& index, std::int64_t maxLimit)
{
    const StringDictionary headers { { "x-channel", m_name } };
    auto config = std::make_shared<TrackerConfig>(index, maxLimit, headers, Array(), false,
        [index, name = m_name] { return "http://" + name + "/" + index; });
    config->setStartHook([write = m_write, index] { write("start: " + index); });
    config->setStopHook([write = m_write, index] {
        write("stop: " + index);
        throw std::runtime_error("the hook of " + index);
    });
    TrackerManager::shared().register_(std::move(config));
}

void Session::enrollEach() const
{
    TrackerManager& manager = TrackerManager::shared();
    const Dictionary event { { "name", m_name } };
    manager.enrollE2ETrack(event);
    manager.enrollMPTrack(event);
    manager.enrollSentryTrack(event, false);
    manager.enrollPageViewTrack(m_name);
    manager.reportAPMDict(event);
    manager.appendTracker(event, "nowhere");
}

void Session::work()
{
    auto& client = m_simulated.httpClient();
    client.setAnswers({ ScriptedAnswer::error("no route"), ScriptedAnswer::body("{}").after(3s),
                          ScriptedAnswer::body(R"({"success":true})").inlined() },
        true);
    enrollEach();
    m_simulated.advance(61s);
    m_simulated.screens().make(m_name);
    m_simulated.screens().setWindowRoot(m_name);
    for (const auto occasion : { LifeCycleTraceOccasion(5), LifeCycleTraceOccasion(3) })
        m_simulated.lifeCycleChecker().play("." + m_name, {}, occasion, LifeCycleTraceState(1));
    m_simulated.advance(1s);
    TrackerManager::shared().setupOstra(std::make_shared<Service>(m_write, m_simulated.dispatch()));
    enrollEach();
    m_simulated.notificationCenter().post(Notification::didEnterBackground);
    m_simulated.advance(10min);
    m_simulated.notificationCenter().post(Notification::willEnterForeground);
    client.setAnswers({ ScriptedAnswer::later() }, true);
    enrollEach();
    m_simulated.runUntilIdle();
    TrackerManager::shared().networkStatus().reachability()->startNotifier();
    m_simulated.reachability().setConnection(ScriptedReachability::Value::none);
    Excavator::setMobileName("set by " + m_name);
    m_simulated.setHold(true);
    enrollEach();
}

void Session::writeState(const std::string& when)
{
    TrackerManager& manager = TrackerManager::shared();
    m_write("---- " + when);
    m_write("mode " + std::string(TrackerConfiguration::ipaMode()));
    m_write("exceptions " + std::to_string(hostExceptionCount()));
    m_write("identifier " + TrackerManager::uuid().value_or("none"));
    m_write("session " + manager.sessionId());
    m_write("ledgers " + encode(manager.ledgersDictionary()).value());
    m_write("diagnosis " + manager.diagnosis());
    m_write("timer runs: " + std::to_string(manager.trackerTimer().isRunning()));
    m_write("monitor " + std::to_string(TrackerDataLifeCycleMonitor::isEnabled()));
    m_write("prints " + std::to_string(QuorvexLog::needToPrint(QuorvexLog::Category::http())));
    for (const auto& line : QuorvexLog::logs())
        m_write("logs " + line);
    for (const auto& suffix : Excavator::monitorViewControllerWhiteList())
        m_write("white list " + suffix);
    m_write("page " + Excavator::topViewControllerClassName().value_or("none"));
    m_write("transition " + std::to_string(Excavator::isTransitioning())
        + std::to_string(Excavator::isTransitioningControl()));
    m_write("ready blocks " + std::to_string(m_simulated.dispatch().readyBlockCount()));
    // Reading them computes them, so at the start the host does not.
    if (when != "at the start")
        writeOnceValues();
}

void Session::writeOnceValues() const
{
    m_write(Excavator::mobileName());
    m_write(Excavator::mobileOperator());
    m_write(Excavator::screenResolution());
    m_write(std::to_string(Excavator::startTimestamp()));
    m_write(std::string(TrackerManager::shared().getCurrentNetWorkStatus()));
    m_write(encode(TrackerManager::shared().getCommonE2EDatas()).value());
}

TEST(SessionsInOneProcessTest, EachRunsAsTheFirstOneInTheProcess)
{
    const Lines first = Session("alpha").run();

    for (int round = 0; round < 3; ++round) {
        EXPECT_NE(Session("beta").run(), first);
        EXPECT_EQ(Session("alpha").run(), first);
    }
}

TEST(SessionsInOneProcessTest, TheScriptReachesEveryFacility)
{
    const Lines lines = Session("alpha").run();

    for (const std::string part : { "question: systemVersion", "question: osVersionTest",
             "request 1: http://alpha/", "timer: ", "diagnostic: uploadFailed ",
             "diagnostic: hostException ", "diagnostic: eventsDropped ", "trigger: nowhere ",
             "log: init", "log: 3 ", "provider: vendel-app ", "start: APM", "stop: MP",
             "exceptions 4", "5G", "page alpha" }) {
        EXPECT_TRUE(std::any_of(lines.begin(), lines.end(), [&](const std::string& line) {
            return line.find(part) != std::string::npos;
        })) << part;
    }
}

} // namespace
} // namespace telvora
