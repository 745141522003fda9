#pragma once

#include <Telvora/Platform/Linux/LinuxPlatform.h>
#include <Telvora/Platform/Qt/QtIntegration.h>
#include <Telvora/Telvora.h>

#include <QtCore/QCoreApplication>
#include <QtCore/QElapsedTimer>
#include <QtGui/QGuiApplication>

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace telvora {

/// A host with real windows, on the platform "offscreen" unless the environment names another, and
/// the reports that its integration makes. Every case runs in its own process.
template<typename Application> class QtHost : public testing::Test {
protected:
    QtHost()
        : m_app(m_count, m_arguments)
    {
        installPlatform((new LinuxPlatform)->services());
        TrackerManager::shared().register_(std::make_shared<TrackerConfig>("APM", 100'000));
        TrackerManager::setTriggerCallback(
            [seen = m_seen](const Dictionary& event, const std::string&) {
                const std::lock_guard lock(seen->mutex);
                seen->events.push_back(event);
            });
        TrackerDataLifeCycleMonitor::setup();
    }

    /// Lets the application work until `isDone`, at most ten seconds.
    void workUntil(const std::function<bool()>& isDone)
    {
        QElapsedTimer timer;
        timer.start();
        while (!isDone() && timer.elapsed() < 10'000)
            QCoreApplication::processEvents(
                QEventLoop::WaitForMoreEvents | QEventLoop::AllEvents, 20);
        EXPECT_TRUE(isDone());
    }

    /// Lets it do what is at hand.
    void work()
    {
        for (int round = 0; round < 5; ++round)
            QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }

    /// The reports of one type, once the library has taken in all.
    std::vector<Dictionary> reports(const std::string& type)
    {
        // When all events are taken in; the channel has no address, so nothing is waited for.
        TrackerManager::flush(std::chrono::seconds(10));
        const std::lock_guard lock(m_seen->mutex);
        std::vector<Dictionary> found;
        for (const Dictionary& event : m_seen->events) {
            if (event.at("t").as_string() == type)
                found.push_back(event);
        }
        return found;
    }

    /// The names of the pages that came to the top.
    std::vector<std::string> pages()
    {
        work();
        std::vector<std::string> names;
        for (const Dictionary& report : reports("PAGE-VIEW"))
            names.emplace_back(report.at("p").as_string());
        return names;
    }

    static std::string topPage()
    {
        return TrackerDataExcavator::topViewControllerClassName().value_or("none");
    }

    Application& app() { return m_app; }

private:
    struct Seen {
        std::mutex mutex;
        std::vector<Dictionary> events;
    };

    int m_count = 1;
    std::string m_name = "qt_tests";
    char* m_arguments[2] { m_name.data(), nullptr };
    const std::shared_ptr<Seen> m_seen = std::make_shared<Seen>();
    Application m_app;
};

} // namespace telvora
