#include <Telvora/Base/Dictionary.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/CopyInto.h>
#include <Telvora/Base/Encoder.h>

#include <vector>

namespace telvora {

namespace {

using detail::Encoder;
using detail::NonFinite;

template<typename Source>
std::optional<std::string> encoded(const Source& source, EncodeStyle style)
{
    Encoder encoder(style, NonFinite::refuse);
    if (!encoder.write(source))
        return std::nullopt;
    return encoder.text();
}

// A container whose members still have to be copied from `from` into the empty container at `to`.
struct CopyJob {
    const Value* from;
    Value* to;
};

// Copies a value that is no container. A container becomes a job, and `to` stays null.
void copyShallow(const Value& from, Value& to, std::vector<CopyJob>& jobs)
{
    if (from.is_structured())
        jobs.push_back({ &from, &to });
    else
        to = from;
}

void copyMembers(const Dictionary& from, Dictionary& to, std::vector<CopyJob>& jobs)
{
    // With room for all members, `to` does not move the values that jobs point to.
    to.reserve(to.size() + from.size());
    for (const auto& member : from)
        copyShallow(member.value(), to.emplace(member.key(), nullptr).first->value(), jobs);
}

void copyElements(const Array& from, Array& to, std::vector<CopyJob>& jobs)
{
    to.resize(from.size());
    for (std::size_t index = 0; index < from.size(); ++index)
        copyShallow(from[index], to[index], jobs);
}

void runCopyJobs(std::vector<CopyJob>& jobs)
{
    while (!jobs.empty()) {
        const CopyJob job = jobs.back();
        jobs.pop_back();
        if (const Dictionary* dictionary = job.from->if_object())
            copyMembers(*dictionary, job.to->emplace_object(), jobs);
        else
            copyElements(job.from->get_array(), job.to->emplace_array(), jobs);
    }
}

// Moves the containers out of a container, so that its destructor does not recurse.
void takeContainers(Value& value, std::vector<Value>& containers)
{
    if (Dictionary* dictionary = value.if_object()) {
        for (auto& member : *dictionary) {
            if (member.value().is_structured())
                containers.push_back(std::move(member.value()));
        }
    } else if (Array* array = value.if_array()) {
        for (auto& element : *array) {
            if (element.is_structured())
                containers.push_back(std::move(element));
        }
    }
}

} // namespace

std::optional<std::string> encode(const Dictionary& dictionary, EncodeStyle style)
{
    return encoded(dictionary, style);
}

std::optional<std::string> encode(const Value& value, EncodeStyle style)
{
    return encoded(value, style);
}

std::optional<std::string> encodeMerged(const Dictionary& under, const Dictionary& over)
{
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    if (!encoder.writeMerged(under, over))
        return std::nullopt;
    return encoder.text();
}

std::string describe(const Dictionary& dictionary)
{
    Encoder encoder(EncodeStyle::compact, NonFinite::print);
    encoder.write(dictionary);
    return encoder.text();
}

std::string repairedUTF8(std::string_view text)
{
    Encoder encoder(EncodeStyle::compact, NonFinite::refuse);
    encoder.writeRepaired(text);
    return encoder.text();
}

void detail::copyInto(const Dictionary& from, Dictionary& to)
{
    std::vector<CopyJob> jobs;
    copyMembers(from, to, jobs);
    runCopyJobs(jobs);
}

void detail::copyInto(const Dictionary& from, Value& to)
{
    copyInto(from, to.emplace_object());
}

void detail::copyInto(const Array& from, Value& to)
{
    std::vector<CopyJob> jobs;
    copyElements(from, to.emplace_array(), jobs);
    runCopyJobs(jobs);
}

void detail::copyInto(const Value& from, Value& to)
{
    if (const Dictionary* dictionary = from.if_object())
        copyInto(*dictionary, to);
    else if (const Array* array = from.if_array())
        copyInto(*array, to);
    else
        to = from;
}

Dictionary copy(const Dictionary& dictionary)
{
    detail::AnyDepth<Dictionary> result;
    detail::copyInto(dictionary, *result);
    return std::move(*result);
}

Array copy(const Array& array)
{
    detail::AnyDepth<Value> result;
    detail::copyInto(array, *result);
    return std::move(result->get_array());
}

Value copy(const Value& value)
{
    detail::AnyDepth<Value> result;
    detail::copyInto(value, *result);
    return std::move(*result);
}

void dispose(Value&& value) noexcept
{
    // The memory is given back as a whole.
    if (value.storage().is_not_shared_and_deallocate_is_trivial())
        return;
    if (!value.is_structured()) {
        value = nullptr;
        return;
    }
    Value current = std::move(value);
    try {
        std::vector<Value> containers;
        takeContainers(current, containers);
        while (!containers.empty()) {
            current = std::move(containers.back());
            containers.pop_back();
            takeContainers(current, containers);
        }
    } catch (...) {
        // There is no memory for the list: Boost's destructors destroy the rest with recursion.
    }
}

void dispose(Dictionary&& dictionary) noexcept
{
    dispose(Value(std::move(dictionary)));
}

void dispose(Array&& array) noexcept
{
    dispose(Value(std::move(array)));
}

} // namespace telvora
