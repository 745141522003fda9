#pragma once

#include <Telvora/Base/Mutex.h>
#include <Telvora/Classes/Model/TrackerMeta.h>
#include <Telvora/Classes/TrackerConfig.h>
#include <Telvora/Classes/Utils/ReadWriteLockWrapper.h>
#include <tools/host/InsideLines.h>
#include <tools/host/Output.h>
#include <tools/host/World.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

namespace telvora::host {

/// What the host remembers about a channel that it has registered.
struct Channel {
    std::shared_ptr<TrackerConfig> config;
    std::shared_ptr<lockAtomic<std::string>> url;
};

/// The host application: the objects its script has made, and the closures that write events.
///
/// Life: one, made by main() and never destroyed, because the library may call a closure until the
/// process has ended.
/// Threads: any; lines also run inside closures and in parallel.
class Host {
public:
    /// Runs one line inside a closure called `where`.
    using LineRunner = std::function<void(const Value& line, std::string_view where)>;

    Host(Output& output, World& world)
        : m_output(output)
        , m_world(world)
    {
    }

    Output& output() { return m_output; }
    World& world() { return m_world; }
    InsideLines& insideLines() { return m_insideLines; }

    /// Called before the first line runs.
    void setLineRunner(LineRunner runner) { m_lineRunner = std::move(runner); }

    /// The first call installs the trigger callback, which makes TrackerManager's shared object.
    void touchManager();
    bool hasTouchedManager() const { return m_hasTouchedManager; }

    /// Installs the trigger callback that writes events.
    void reportTriggers();

    /// A closure named `where` was called: writes `event`, with the thread's name at the end, and
    /// runs the lines that wait for this closure.
    void called(std::string_view where, Dictionary event, const std::string* index = nullptr);
    /// The same for an event without the thread's name.
    void calledOnAnyThread(std::string_view where, const Dictionary& event);

    void addChannel(const std::string& index, Channel channel) TELVORA_EXCLUDES(m_lock);
    /// Throws ScriptError where the host has registered no such channel.
    Channel channel(const std::string& index) const TELVORA_EXCLUDES(m_lock);

    /// Keeps `record` under `name`, in place of an earlier one.
    void keepRecord(const std::string& name, std::shared_ptr<TrackerMeta> record)
        TELVORA_EXCLUDES(m_lock);
    /// Throws ScriptError where there is none.
    std::shared_ptr<TrackerMeta> record(const std::string& name) const TELVORA_EXCLUDES(m_lock);

    void noteFailedLine() { m_hasFailedLine = true; }
    bool hasFailedLine() const { return m_hasFailedLine; }

private:
    Output& m_output;
    World& m_world;
    LineRunner m_lineRunner;
    InsideLines m_insideLines;
    std::once_flag m_touching;
    std::atomic<bool> m_hasTouchedManager { false };
    std::atomic<bool> m_hasFailedLine { false };

    mutable detail::Mutex m_lock;
    std::map<std::string, Channel> m_channels TELVORA_GUARDED_BY(m_lock);
    std::map<std::string, std::shared_ptr<TrackerMeta>> m_records TELVORA_GUARDED_BY(m_lock);
};

} // namespace telvora::host
