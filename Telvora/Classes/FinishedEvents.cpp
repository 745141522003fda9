#include <Telvora/Classes/FinishedEvents.h>

#include <Telvora/Base/UsualMemory.h>

#include <algorithm>
#include <utility>

namespace telvora::detail {

namespace {

constexpr std::size_t eventsOfAGroup = 256;
constexpr std::size_t bytesOfAGroup = std::size_t { 256 } * 1024;

// A dictionary needs about four times the memory of its text.
constexpr std::size_t bytesForTextByte = 4;

} // namespace

FinishedEvents::FinishedEvents()
{
    m_dictionaries.reserve(eventsOfAGroup);
    m_built.reserve(eventsOfAGroup);
    m_texts.reserve(eventsOfAGroup);
}

void FinishedEvents::add(Value&& event, std::size_t textBytes) noexcept
{
    if (!isInUsualMemory(event)) {
        dispose(std::move(event));
        return;
    }
    m_dictionaries.push_back(std::move(event));
    count(std::min(textBytes, bytesOfAGroup) * bytesForTextByte);
}

void FinishedEvents::add(EventBuilder&& event) noexcept
{
    const std::size_t bytes = bytesOf(event);
    m_built.push_back(std::move(event));
    count(bytes);
}

void FinishedEvents::add(std::string&& text) noexcept
{
    const std::size_t bytes = text.capacity();
    m_texts.push_back(std::move(text));
    count(bytes);
}

// Ends the group when it is full.
void FinishedEvents::count(std::size_t bytes) noexcept
{
    m_bytes += bytes;
    const std::size_t events = m_dictionaries.size() + m_built.size() + m_texts.size();
    if (m_bytes < bytesOfAGroup && events < eventsOfAGroup)
        return;
    for (Value& event : m_dictionaries)
        dispose(std::move(event));
    m_dictionaries.clear();
    m_built.clear();
    m_texts.clear();
    m_bytes = 0;
}

} // namespace telvora::detail
