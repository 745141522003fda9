#include <tools/host/Host.h>

#include <Telvora/Classes/TrackerManager.h>
#include <tools/host/ScriptError.h>

#include <utility>

namespace telvora::host {

void Host::touchManager()
{
    std::call_once(m_touching, [this] {
        m_hasTouchedManager = true;
        reportTriggers();
    });
}

void Host::reportTriggers()
{
    TrackerManager::setTriggerCallback([this](const Dictionary& event, const std::string& index) {
        Dictionary line { { "event", "trigger" }, { "index", index } };
        line.emplace("data", copy(event));
        called("trigger", std::move(line), &index);
    });
}

void Host::called(std::string_view where, Dictionary event, const std::string* index)
{
    event["thread"] = m_world.isOnMainThread() ? "main" : "other";
    m_output.writeEvent(event);
    dispose(std::move(event));
    for (const SharedLines& lines : m_insideLines.take(where, index)) {
        for (const Value& line : *lines)
            m_lineRunner(line, where);
    }
}

void Host::calledOnAnyThread(std::string_view where, const Dictionary& event)
{
    m_output.writeEvent(event);
    for (const SharedLines& lines : m_insideLines.take(where, nullptr)) {
        for (const Value& line : *lines)
            m_lineRunner(line, where);
    }
}

void Host::addChannel(const std::string& index, Channel channel)
{
    detail::MutexLock lock(m_lock);
    m_channels.insert_or_assign(index, std::move(channel));
}

Channel Host::channel(const std::string& index) const
{
    detail::MutexLock lock(m_lock);
    const auto found = m_channels.find(index);
    if (found == m_channels.end())
        throw ScriptError("No channel \"" + index + "\" is registered");
    return found->second;
}

void Host::keepRecord(const std::string& name, std::shared_ptr<TrackerMeta> record)
{
    detail::MutexLock lock(m_lock);
    m_records.insert_or_assign(name, std::move(record));
}

std::shared_ptr<TrackerMeta> Host::record(const std::string& name) const
{
    detail::MutexLock lock(m_lock);
    const auto found = m_records.find(name);
    if (found == m_records.end())
        throw ScriptError("No record \"" + name + "\" is kept");
    return found->second;
}

} // namespace telvora::host
