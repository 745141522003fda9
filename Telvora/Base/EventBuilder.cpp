#include <Telvora/Base/EventBuilder.h>

#include <Telvora/Base/CopyInto.h>
#include <Telvora/Base/EventMemory.h>

namespace telvora {

namespace {

template<typename Source>
void setCopyOf(Dictionary& fields, std::string_view key, const Source& source)
{
    Value copied(fields.storage());
    detail::copyInto(source, copied);
    fields.insert_or_assign(key, std::move(copied));
}

} // namespace

EventBuilder::EventBuilder(const Dictionary& event)
    : m_fields(event.size())
{
    detail::copyInto(event, detail::fieldsOf(*this));
}

void EventBuilder::setCopy(std::string_view key, const Value& value)
{
    setCopyOf(detail::fieldsOf(*this), key, value);
}

void EventBuilder::setCopy(std::string_view key, const Dictionary& dictionary)
{
    setCopyOf(detail::fieldsOf(*this), key, dictionary);
}

void EventBuilder::setCopy(std::string_view key, const Array& array)
{
    setCopyOf(detail::fieldsOf(*this), key, array);
}

Value& detail::eventOf(EventBuilder& builder)
{
    if (!builder.m_memory)
        builder.m_memory.reset(EventMemory::make(builder.m_fields));
    return builder.m_memory->event();
}

std::size_t detail::bytesOf(const EventBuilder& builder)
{
    return builder.m_memory ? builder.m_memory->bytes() : 0;
}

} // namespace telvora
