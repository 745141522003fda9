#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/AnyDepth.h>
#include <Telvora/Base/DataAsDict.h>
#include <Telvora/Base/EventBuilder.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Model/PageParameters.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/Classes/Uploads.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

#include <cstdio>
#include <exception>

namespace telvora {

namespace {

using detail::ReportContext;

// The name under which the provider files each report.
constexpr const char* reportName = "vendel-app";

// Sets a member. The old value may be of any depth.
void put(Dictionary& dictionary, std::string_view key, Value&& value)
{
    // operator[] would move a full dictionary to a larger table even if it has the key.
    Value* place = dictionary.if_contains(key);
    if (!place)
        place = &dictionary[key];
    dispose(std::move(*place));
    *place = std::move(value);
}

// The same for a flag, a number or text, which is made in the dictionary's memory.
template<typename Plain> void put(Dictionary& dictionary, std::string_view key, const Plain& plain)
{
    put(dictionary, key, Value(plain, dictionary.storage()));
}

std::string_view textOf(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = dictionary.if_contains(key);
    return value && value->is_string() ? std::string_view(value->get_string()) : "";
}

// One write, so that lines of several threads do not mix. This is the only line that the library
// prints to standard output.
void printToConsole(const std::string& line)
{
    const std::string text = line + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

// "" when it cannot be encoded.
std::string textWithCS(Dictionary object, std::string_view cs)
{
    put(object, "cs", cs);
    return encode(object).value_or(std::string());
}

// The text of `extra` with `cs` in it; absent when `extra` stays unchanged.
std::optional<std::string> extraWithCS(std::string_view extra, std::string_view cs)
{
    Decoded decoded = decode(extra);
    if (!decoded.value) {
        // Bytes that are not UTF-8 count as no `extra`.
        if (repairedUTF8(extra) != extra)
            return textWithCS({}, cs);
        printToConsole("Failed to load: " + decoded.error);
        return std::nullopt;
    }
    Dictionary* object = decoded.value->if_object();
    return object ? std::optional(textWithCS(std::move(*object), cs)) : std::nullopt;
}

// The cs rule: a text in `cs` is put into `extra` as well.
void putCSIntoExtra(Dictionary& dict)
{
    const std::string cs(textOf(dict, "cs"));
    if (cs.empty())
        return;

    if (const Value* extra = dict.if_contains("extra"); extra && extra->is_object()) {
        if (auto text = encode(extra->get_object()))
            put(dict, "extra", std::string_view(*text));
    }
    const std::string_view extra = textOf(dict, "extra");
    const auto changed = extra.empty() ? textWithCS({}, cs) : extraWithCS(extra, cs);
    if (changed)
        put(dict, "extra", std::string_view(*changed));
}

// Both dictionaries merged, the members of `over` winning, as text for a log line.
std::string describeMerged(const Dictionary& under, const Dictionary& over)
{
    detail::AnyDepth<Dictionary> merged(copy(under));
    detail::AnyDepth<Dictionary> copied(copy(over));
    for (auto& member : *copied)
        put(*merged, member.key(), std::move(member.value()));
    return describe(*merged);
}

// Hands the report to the provider. Returns what it threw, as text; absent when it threw nothing.
std::optional<std::string> reportFailure(
    QVXOstraProviderProtocol& provider, const std::string& content)
{
    std::optional<std::string> failure;
    const auto report = [&] {
        try {
            provider.report(reportName, content);
        } catch (const std::exception& exception) {
            failure = std::string("The provider threw: ") + exception.what();
            throw;
        } catch (...) {
            failure = "The provider threw";
            throw;
        }
    };
    detail::callHost(report, { "The provider", rawValue(DefaultIndex::APM) });
    return failure;
}

void logOffered(const Dictionary& commonDatas, const Dictionary& report)
{
    QuorvexLog::log(QuorvexLog::Category::trackerData(),
        [&] { return "Ostra report data: " + describeMerged(commonDatas, report); });
}

void logAppended(const Dictionary& report)
{
    QuorvexLog::log(QuorvexLog::Category::trackerData(),
        [&] { return "Telvora report data: " + describe(report); });
}

// `content` is absent if JSON cannot express a number in the report.
void offer(QVXOstraProviderProtocol& provider, const std::optional<std::string>& content)
{
    const auto& category = QuorvexLog::Category::trackerData();
    const auto failure = content ? reportFailure(provider, *content)
                                 : std::optional<std::string>("A number in it is not finite");
    if (failure) {
        // The report is lost; it is not retried.
        QuorvexLog::log(category, "Ostra Report error", *failure);
        return;
    }
    QuorvexLog::log(category, "Ostra report succeed!");
}

void complete(Dictionary& dict)
{
    const double now = platform().clock.secondsSince1970();
    put(dict, "d", now);
    // Only a missing key is filled in; a null of the host stays.
    if (!dict.contains("p")) {
        if (const auto name = ReportContext::page())
            put(dict, "p", std::string_view(*name));
    }
    if (!dict.contains("wifi"))
        put(dict, "wifi", ReportContext::isOnWiFi());
    if (!dict.contains("si")) {
        const double sinceStart = now - TrackerDataExcavator::startTimestamp();
        put(dict, "si", sinceStart > 0 ? sinceStart : 0.0);
    }
    if (!dict.contains("pageExpend")) {
        if (const auto parameters = ReportContext::pageParameters())
            put(dict, "pageExpend", detail::valueOf(&*parameters, dict.storage()));
    }
    put(dict, "ipaMode", TrackerConfiguration::ipaMode());
    if (textOf(dict, "t") == "FPS")
        put(dict, "fpt", TrackerDataExcavator::isTransitioning() ? 1 : 0);
    putCSIntoExtra(dict);
}

std::string apm()
{
    return std::string(rawValue(DefaultIndex::APM));
}

} // namespace

bool detail::ReportContext::isOnWiFi()
{
    return TrackerDataExcavator::networkStatus() == "WiFi";
}

std::optional<std::string> detail::ReportContext::page()
{
    return TrackerDataExcavator::topViewControllerClassName();
}

std::optional<StringDictionary> detail::ReportContext::pageParameters()
{
    return detail::pageParameters(TrackerDataExcavator::topViewControllerParams);
}

// Who gets a report in place of the channel's list, and the common data to merge it with.
struct TrackerManager::Provider {
    std::shared_ptr<QVXOstraProviderProtocol> object;
    std::shared_ptr<const TrackerCommonData> commonData;
};

// Absent if there is no provider or no APM channel. Where events are refused there is none either:
// the channel then counts the report as dropped.
std::optional<TrackerManager::Provider> TrackerManager::provider() const
{
    auto object = m_ostraProvider.getValue();
    const auto channel = object ? config(rawValue(DefaultIndex::APM)) : nullptr;
    if (!channel || m_isShutDown || !detail::Uploads::shared().isConsentWanted())
        return std::nullopt;
    return Provider { std::move(object), channel->commonData() };
}

void TrackerManager::reportRecord(
    detail::PropertyKeys keys, FunctionRef<void()> complete, detail::PassProperties pass)
{
    submit(apm(), [&] {
        if (isRetired())
            return;
        // First, because it asks the host's screens, which may install a provider.
        complete();
        const auto provider = this->provider();
        if (!detail::isLogging()) {
            if (provider)
                offer(*provider->object,
                    detail::encodeMerged(provider->commonData->commonDatas, keys, pass));
            else
                enqueueRecord(keys, pass);
            return;
        }
        // The log line shows a dictionary.
        EventBuilder event(keys.size());
        const Dictionary& report = detail::fieldsOf(event);
        detail::putProperties(keys, pass, detail::fieldsOf(event));
        if (provider) {
            const Dictionary& commonDatas = provider->commonData->commonDatas;
            logOffered(commonDatas, report);
            offer(*provider->object, encodeMerged(commonDatas, report));
        } else {
            logAppended(report);
            appendTracker(std::move(event), apm());
        }
    });
}

void TrackerManager::reportAPMDict(const Dictionary& dict, bool immediately, bool useOstra)
{
    submit(apm(), [&] { reportAPMDict(copy(dict), immediately, useOstra); });
}

void TrackerManager::reportAPMDict(Dictionary&& dict, bool /*immediately*/, bool useOstra)
{
    if (dict.empty())
        return;
    submit(apm(), dict, [&] {
        if (isRetired())
            return;
        complete(dict);
        wrapAppendTracker(std::move(dict), useOstra);
    });
}

void TrackerManager::wrapAppendTracker(const Dictionary& dict, bool useOstra)
{
    submit(apm(), [&] { wrapAppendTracker(copy(dict), useOstra); });
}

void TrackerManager::wrapAppendTracker(Dictionary&& dict, bool /*useOstra*/)
{
    submit(apm(), dict, [&] {
        if (isRetired())
            return;
        if (const auto provider = this->provider()) {
            const Dictionary& commonDatas = provider->commonData->commonDatas;
            logOffered(commonDatas, dict);
            offer(*provider->object, encodeMerged(commonDatas, dict));
            return;
        }
        logAppended(dict);
        appendTracker(std::move(dict), apm());
    });
}

} // namespace telvora
