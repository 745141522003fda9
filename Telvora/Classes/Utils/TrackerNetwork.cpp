#include <Telvora/Classes/Utils/TrackerNetwork.h>

#include <Telvora/Base/AddressText.h>
#include <Telvora/Base/Fatal.h>
#include <Telvora/Base/ForkedChild.h>
#include <Telvora/Base/HeaderField.h>
#include <Telvora/Base/HostCall.h>
#include <Telvora/Base/JSONBytes.h>
#include <Telvora/Base/Lazy.h>
#include <Telvora/Base/Signal.h>
#include <Telvora/Base/UUIDText.h>
#include <Telvora/Classes/Utils/RetryAfter.h>
#include <Telvora/LoggableKit/Classes/QuorvexLog.h>
#include <Telvora/Platform/Bundle.h>
#include <Telvora/Platform/Clock.h>
#include <Telvora/Platform/Device.h>
#include <Telvora/Platform/HTTPClient.h>
#include <Telvora/Platform/Platform.h>
#include <Telvora/Platform/UUIDSource.h>

#include <algorithm>
#include <chrono>
#include <iterator>
#include <string_view>

namespace telvora {

namespace {

constexpr std::chrono::seconds requestTimeout { 60 };
constexpr std::string_view identifierHeader = "QVX-UUID";

void remove(HTTPHeaders& headers, std::string_view name)
{
    std::erase_if(
        headers, [&](const auto& header) { return detail::isSameFieldName(header.first, name); });
}

// A header that HTTP does not allow is left out, so that the batch is sent all the same.
bool set(HTTPHeaders& headers, std::string_view name, std::string_view value)
{
    remove(headers, name);
    const std::string_view trimmed = detail::trimmedFieldValue(value);
    if (!detail::isFieldName(name) || !detail::isFieldValue(trimmed))
        return false;
    headers.emplace_back(name, repairedUTF8(trimmed));
    return true;
}

// Deliberate: the value does not matter, only whether it can be converted to a boolean.
bool isConvertibleToBoolean(const Value& value)
{
    switch (value.kind()) {
    case boost::json::kind::bool_:
        return true;
    case boost::json::kind::int64:
        return value.get_int64() == 0 || value.get_int64() == 1;
    case boost::json::kind::uint64:
        return value.get_uint64() <= 1;
    case boost::json::kind::double_:
        return value.get_double() == 0 || value.get_double() == 1;
    default:
        return false;
    }
}

// "failured" is misspelt on purpose: tools search for it.
void logFailure(std::string_view reason)
{
    QuorvexLog::log(QuorvexLog::Category::tracker(),
        [&] { return "Tracker post failured: " + std::string(reason); });
}

} // namespace

TrackerNetwork& TrackerNetwork::shareInstance()
{
    static constinit detail::Lazy<TrackerNetwork> instance;
    return instance.get([] { return new TrackerNetwork; });
}

std::string TrackerNetwork::applicationVersion()
{
    const auto version = platform().bundle.objectForInfoDictionaryKey("CFBundleShortVersionString");
    return version && version->is_string() ? std::string(version->get_string()) : std::string();
}

void TrackerNetwork::post(
    const std::string& with, Batch param, const StringDictionary& externHeaders, Handler handler)
try {
    if (detail::isForkedChild()) {
        if (handler)
            handler(false, std::move(param));
        return;
    }
    shareInstance().postWithEnds(with, std::move(param), externHeaders,
        [handler = std::move(handler)](const PostResult& result, Batch posted) {
            const bool isAccepted = result.end == PostEnd::accepted;
            if (handler && (isAccepted || result.end == PostEnd::notAccepted))
                detail::callHost(
                    [&] { handler(isAccepted, std::move(posted)); }, { "The handler of a post" });
        },
        {});
} catch (...) {
    // The handler was destroyed without a call, or threw.
}

void TrackerNetwork::postWithEnds(const std::string& url, Batch param,
    const StringDictionary& externHeaders, EndHandler handler, const PostOptions& options)
{
    if (m_isRetired.load(std::memory_order_relaxed)) {
        handler({ PostEnd::notAccepted, "The platform was taken down" }, std::move(param));
        return;
    }
    if (!detail::isAddressText(url))
        detail::fatal(detail::badAddressText(url), "TrackerNetwork");

    const detail::NoWaitScope inRequest;
    HTTPRequest request { url, "POST", {}, {}, requestTimeout };
    request.withdrawn = options.withdrawn;
    setHeaders(request, externHeaders, param.encoding(options.encoding), options);
    auto body = param.encoded(options.encoding);
    if (!body) {
        // JSON cannot express a number in it: the batch is lost, and the host is not told.
        handler({ PostEnd::unencodable, "A number in it is not finite" }, std::move(param));
        return;
    }
    request.body = std::move(*body);
    platform().httpClient.send(std::move(request),
        [param = std::move(param), handler = std::move(handler)](HTTPAnswer answer) mutable {
            finish(std::move(answer), std::move(param), std::move(handler));
        });
}

void TrackerNetwork::setHeaders(HTTPRequest& request, const StringDictionary& externHeaders,
    BodyEncoding encoding, const PostOptions& options) const
{
    const auto set = [&](HTTPHeaders& headers, std::string_view name, std::string_view value) {
        if (!telvora::set(headers, name, value))
            options.leftOut(name);
    };
    HTTPHeaders own;
    if (const auto additionHeaders = m_additionHeaders.get()) {
        for (const auto& [name, value] : *additionHeaders)
            set(own, name, value);
    }
    for (const auto& [name, value] : externHeaders)
        set(own, name, value);

    HTTPHeaders fixed;
    set(fixed, "clienttype", "ios");
    set(fixed, "versioncode", applicationVersion());
    set(fixed, "system-version", platform().device.systemVersion());
    std::optional<std::string> identifier;
    if (const auto source = m_identifierSource.get())
        detail::callHost([&] { identifier = (*source)(); }, { "The identifier source" });
    if (identifier)
        set(fixed, identifierHeader, *identifier);
    set(fixed, "Content-Type", "application/json");
    if (encoding == BodyEncoding::gzip)
        set(fixed, "Content-Encoding", "gzip");
    set(fixed, "x-trace-id", uuidText(platform().uuids.next()));
    if (!options.batchId.empty())
        set(fixed, "x-batch-id", options.batchId);

    // A fixed header replaces the others even where it is left out.
    remove(own, identifierHeader);
    for (const auto& header : fixed)
        remove(own, header.first);

    // Headers that may identify the installation or the host are not sent on a redirect to another
    // host.
    request.hostOnlyHeaders.emplace_back(identifierHeader);
    for (const auto& header : own)
        request.hostOnlyHeaders.push_back(header.first);

    request.headers = std::move(own);
    std::move(fixed.begin(), fixed.end(), std::back_inserter(request.headers));
}

// On the HTTP client's thread. The handler is called before the line is logged.
void TrackerNetwork::finish(HTTPAnswer answer, Batch param, EndHandler handler)
try {
    const detail::NoWaitScope inCompletion;
    const int status = answer.status;
    const auto wait = detail::retryAfter(answer, platform().clock.secondsSince1970())
                          .value_or(std::chrono::duration<double>(0));
    if (!answer.data || answer.error) {
        handler({ PostEnd::notAccepted, answer.error.value_or("There is no answer"), status },
            std::move(param));
        return;
    }
    const Decoded decoded = detail::decodeBytes(*answer.data);
    if (!decoded.value) {
        handler({ PostEnd::notAccepted, "The answer is not JSON: " + decoded.error, status, wait },
            std::move(param));
        logFailure(decoded.error);
        return;
    }
    const Dictionary* response = decoded.value->if_object();
    if (!response) {
        // No collector of ours answers like this: the batch is lost.
        handler({ PostEnd::answerNotObject, "The answer is JSON, but no object", status },
            std::move(param));
        return;
    }
    const Value* success = response->if_contains("success");
    if (success && isConvertibleToBoolean(*success)) {
        handler({ PostEnd::accepted }, std::move(param));
        return;
    }
    handler({ PostEnd::notAccepted, "The answer does not say \"success\"", status, wait },
        std::move(param));
    logFailure("resp result is `failure`");
} catch (...) {
    // The client must not get the exception. The handler was destroyed without a call, or the log
    // line is lost.
}

void TrackerNetwork::setAdditionHeaders(std::optional<StringDictionary> headers)
{
    m_additionHeaders.set(
        headers ? std::make_shared<const StringDictionary>(std::move(*headers)) : nullptr);
}

void TrackerNetwork::setIdentifierSource(IdentifierSource source)
{
    m_identifierSource.set(source ? detail::keepHostClosure(std::move(source)) : nullptr);
}

} // namespace telvora
