#include <Telvora/Classes/TrackerManager.h>

#include <Telvora/Base/HostCall.h>
#include <Telvora/Classes/Model/PageParameters.h>
#include <Telvora/Classes/Model/TrackerDataExcavator.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Platform.h>

#include <cstdio>
#include <exception>

namespace telvora {

namespace {

using detail::ReportContext;

// The name under which the provider files every report.
constexpr const char* reportName = "vendel-app";

// Replaces a member, however deep the host's own value is.
void put(Dictionary& dictionary, std::string_view key, Value value)
{
    Value& place = dictionary[key];
    dispose(std::move(place));
    place = std::move(value);
}

std::string_view textOf(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = dictionary.if_contains(key);
    return value && value->is_string() ? std::string_view(value->get_string()) : "";
}

// One write, so that lines of several threads stay whole. This one goes to the console by
// agreement; it is the only line of the library that does.
void printToConsole(const std::string& line)
{
    const std::string text = line + "\n";
    std::fwrite(text.data(), 1, text.size(), stdout);
    std::fflush(stdout);
}

// "" when it cannot be encoded.
std::string textWithCS(Dictionary object, std::string_view cs)
{
    put(object, "cs", Value(cs));
    return encode(object).value_or(std::string());
}

// What `extra` becomes when it is the text `extra`; absent when it stays as it is.
std::optional<std::string> foldedIntoText(std::string_view extra, std::string_view cs)
{
    Decoded decoded = decode(extra);
    if (!decoded.value) {
        // Bytes that are no text at all count as no `extra`.
        if (repairedUTF8(extra) != extra)
            return textWithCS({}, cs);
        printToConsole("Failed to load: " + decoded.error);
        return std::nullopt;
    }
    Dictionary* object = decoded.value->if_object();
    return object ? std::optional(textWithCS(std::move(*object), cs)) : std::nullopt;
}

// The cs rule: a report that carries a `cs` text carries it inside `extra` as well.
void foldCSIntoExtra(Dictionary& dict)
{
    const std::string cs(textOf(dict, "cs"));
    if (cs.empty())
        return;

    if (const Value* extra = dict.if_contains("extra"); extra && extra->is_object()) {
        if (auto text = encode(extra->get_object()))
            put(dict, "extra", Value(std::string_view(*text)));
    }
    const std::string_view extra = textOf(dict, "extra");
    const auto folded = extra.empty() ? textWithCS({}, cs) : foldedIntoText(extra, cs);
    if (folded)
        put(dict, "extra", Value(std::string_view(*folded)));
}

// `under` with the members of `over` laid over it, as a person should see it.
std::string describeMerged(const Dictionary& under, const Dictionary& over)
{
    Dictionary merged = copy(under);
    Dictionary copied = copy(over);
    for (auto& member : copied)
        put(merged, member.key(), std::move(member.value()));
    std::string text = describe(merged);
    dispose(std::move(merged));
    return text;
}

// Whatever the provider throws, in words; absent when the report was handed over.
std::optional<std::string> reportFailure(
    QVXOstraProviderProtocol& provider, const std::string& content)
{
    std::optional<std::string> failure;
    callHost([&] {
        try {
            provider.report(reportName, content);
        } catch (const std::exception& exception) {
            failure = std::string("The provider threw: ") + exception.what();
            throw;
        } catch (...) {
            failure = "The provider threw";
            throw;
        }
    });
    return failure;
}

void reportToProvider(
    QVXOstraProviderProtocol& provider, const Dictionary& commonDatas, const Dictionary& dict)
{
    const auto& category = QuorvexLog::Category::trackerData();
    QuorvexLog::log(
        category, [&] { return "Ostra report data: " + describeMerged(commonDatas, dict); });

    const auto content = encodeMerged(commonDatas, dict);
    const auto failure = content ? reportFailure(provider, *content)
                                 : std::optional<std::string>("A number in it is not finite");
    if (failure) {
        // The report is lost: nobody is asked to try again.
        QuorvexLog::log(category, "Ostra Report error", *failure);
        return;
    }
    QuorvexLog::log(category, "Ostra report succeed!");
}

void complete(Dictionary& dict)
{
    const double now = platform().clock.secondsSince1970();
    put(dict, "d", Value(now));
    // By the presence of the key: a null of the host's is an answer, and is kept.
    if (!dict.contains("p")) {
        if (const auto name = ReportContext::page())
            put(dict, "p", Value(std::string_view(*name)));
    }
    if (!dict.contains("wifi"))
        put(dict, "wifi", Value(ReportContext::isOnWiFi()));
    if (!dict.contains("si")) {
        const double sinceStart = now - TrackerDataExcavator::startTimestamp();
        put(dict, "si", Value(sinceStart > 0 ? sinceStart : 0.0));
    }
    if (!dict.contains("pageExpend")) {
        if (const auto parameters = ReportContext::pageParameters())
            put(dict, "pageExpend", detail::asValue(*parameters));
    }
    put(dict, "ipaMode", Value(TrackerConfiguration::ipaMode()));
    if (textOf(dict, "t") == "FPS")
        put(dict, "fpt", Value(TrackerDataExcavator::isTransitioning() ? 1 : 0));
    foldCSIntoExtra(dict);
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

void TrackerManager::reportRecord(FunctionRef<Dictionary()> makeDictionary, bool useOstra)
{
    handOn(apm(), [&] { wrapAppendTracker(makeDictionary(), useOstra); });
}

void TrackerManager::reportAPMDict(const Dictionary& dict, bool immediately, bool useOstra)
{
    handOn(apm(), [&] { reportAPMDict(copy(dict), immediately, useOstra); });
}

void TrackerManager::reportAPMDict(Dictionary&& dict, bool /*immediately*/, bool useOstra)
{
    if (dict.empty())
        return;
    handOn(apm(), [&] {
        complete(dict);
        wrapAppendTracker(std::move(dict), useOstra);
    });
}

void TrackerManager::wrapAppendTracker(const Dictionary& dict, bool useOstra)
{
    handOn(apm(), [&] { wrapAppendTracker(copy(dict), useOstra); });
}

void TrackerManager::wrapAppendTracker(Dictionary&& dict, bool /*useOstra*/)
{
    handOn(apm(), [&] {
        const auto provider = m_ostraProvider.getValue();
        const auto channel = provider ? config(rawValue(DefaultIndex::APM)) : nullptr;
        if (channel) {
            reportToProvider(*provider, channel->commonData()->commonDatas, dict);
            dispose(std::move(dict));
            return;
        }
        QuorvexLog::log(QuorvexLog::Category::trackerData(),
            [&] { return "Telvora report data: " + describe(dict); });
        appendTracker(std::move(dict), apm());
    });
}

} // namespace telvora
