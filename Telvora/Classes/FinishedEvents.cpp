#include <Telvora/Classes/FinishedEvents.h>

#include <utility>

namespace telvora::detail {

namespace {

constexpr std::size_t eventsOfAGroup = 256;
constexpr std::size_t bytesOfAGroup = std::size_t { 64 } * 1024;

} // namespace

FinishedEvents::FinishedEvents()
{
    m_dictionaries.reserve(eventsOfAGroup);
    m_built.reserve(eventsOfAGroup);
}

void FinishedEvents::add(Value&& event, std::size_t bytes) noexcept
{
    // The host knows when other memory than usual must be given back.
    if (*event.storage() != *boost::json::storage_ptr()) {
        dispose(std::move(event));
        return;
    }
    m_dictionaries.push_back(std::move(event));
    grow(bytes);
}

void FinishedEvents::add(EventBuilder&& event, std::size_t bytes) noexcept
{
    m_built.push_back(std::move(event));
    grow(bytes);
}

void FinishedEvents::grow(std::size_t bytes) noexcept
{
    // An event without a length ends the group.
    m_bytes = bytes < bytesOfAGroup ? m_bytes + bytes : bytesOfAGroup;
    if (m_bytes < bytesOfAGroup && m_dictionaries.size() + m_built.size() < eventsOfAGroup)
        return;
    for (Value& event : m_dictionaries)
        dispose(std::move(event));
    m_dictionaries.clear();
    m_built.clear();
    m_bytes = 0;
}

} // namespace telvora::detail
