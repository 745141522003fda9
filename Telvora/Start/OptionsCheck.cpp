#include <Telvora/Start/OptionsCheck.h>

#include <Telvora/Base/ASCII.h>
#include <Telvora/Base/AddressText.h>
#include <Telvora/Base/HeaderField.h>
#include <Telvora/Classes/Domain/TrackerDomainConstant.h>
#include <Telvora/Classes/TrackerManager.h>
#include <Telvora/Platform/Platform.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <set>
#include <span>
#include <string_view>

namespace telvora::detail {

namespace {

using Problems = std::vector<std::string>;

std::string quoted(std::string_view text)
{
    return '"' + std::string(text) + '"';
}

// What keeps the text from being an address for HTTP; empty if nothing does.
std::string_view faultOf(std::string_view text)
{
    const std::size_t colon = std::min(text.find(':'), text.size());
    const std::string_view scheme = text.substr(0, colon);
    if ((!equalsIgnoringCase(scheme, "http") && !equalsIgnoringCase(scheme, "https"))
        || !text.substr(colon).starts_with("://"))
        return " does not begin with http:// or https://";
    std::string_view authority = text.substr(colon + 3);
    authority = authority.substr(0, authority.find_first_of("/?#"));
    const std::string_view host = authority.substr(authority.find('@') + 1);
    if (host.empty() || host.starts_with(':'))
        return " has no host";
    if (!isAddressText(text))
        return " cannot be parsed: it has a space in it, or its host or its port is wrong";
    return {};
}

// Whether the library sets the header in requests of one of the channels, so that the host's would
// not be sent there.
bool isSetByLibrary(std::string_view name, std::span<const Channel> channels)
{
    constexpr std::string_view always[] { "clienttype", "versioncode", "system-version", "QVX-UUID",
        "Content-Type", "x-trace-id" };
    const auto isName = [&](std::string_view other) { return isSameFieldName(name, other); };
    return std::ranges::any_of(always, isName)
        || (isName("Content-Encoding")
            && std::ranges::any_of(channels,
                [](const Channel& channel) { return channel.encoding == BodyEncoding::gzip; }))
        || (isName("x-batch-id") && std::ranges::any_of(channels, &Channel::hasBatchId));
}

// The value is not shown, because it may be a secret.
void checkHeaders(const std::string& owner, const StringDictionary& headers,
    std::span<const Channel> channels, Problems& problems)
{
    std::set<std::string> names;
    for (const auto& [name, value] : headers) {
        if (!isFieldName(name))
            problems.push_back(owner + ": HTTP cannot carry a header named " + quoted(name));
        else if (!isFieldValue(trimmedFieldValue(value)))
            problems.push_back(owner + ": HTTP cannot carry the value of the header " + name);
        else if (isSetByLibrary(name, channels))
            problems.push_back(owner + ": the library itself sets the header " + name);
        if (!names.insert(lowered(name)).second)
            problems.push_back(owner + ": the header " + name + " is there twice; case is ignored");
    }
}

void checkAddress(
    const std::string& owner, const Channel& channel, bool mayLackAddress, Problems& problems)
{
    if (channel.url.isEmpty()) {
        if (!mayLackAddress)
            problems.push_back(owner + " has no URL");
    } else if (!channel.url.isClosure()) {
        const std::string_view fault = faultOf(channel.url.text());
        if (!fault.empty())
            problems.push_back(
                owner + ": " + quoted(withoutUserInfo(channel.url.text())) + std::string(fault));
    }
}

// As TrackerManager sets it up.
std::string_view listKeyOf(const Channel& channel)
{
    if (channel.listKey)
        return *channel.listKey;
    const auto index = defaultIndex(channel.index);
    const bool isPlain = channel.standardData == StandardData::standard
        && (index == DefaultIndex::APM || index == DefaultIndex::E2E
            || index == DefaultIndex::Sentry);
    return isPlain ? "data" : "data-list";
}

void checkCommonData(const std::string& owner, const Channel& channel, Problems& problems)
{
    if (channel.standardData == StandardData::frontEndMonitor
        && channel.index != rawValue(DefaultIndex::Sentry))
        problems.push_back(owner + ": only \"Sentry\" has data for the front-end monitor");
    const std::string_view listKey = listKeyOf(channel);
    if (listKey.empty())
        problems.push_back(owner + ": the key of its event list is empty");
    else if (channel.commonData.contains(listKey))
        problems.push_back(
            owner + ": its common data have " + quoted(listKey) + ", the key of its event list");
    if (channel.nonFinite != NonFiniteCost::null && !encode(channel.commonData)) {
        problems.push_back(
            owner + ": a number in its common data is not finite, which JSON cannot express");
    }
}

void checkRetry(const std::string& owner, const RetryPolicy& policy, Problems& problems)
{
    const auto checkWait = [&](std::string_view name, double seconds) {
        if (!std::isfinite(seconds) || seconds < 0) {
            problems.push_back(owner + ": the " + std::string(name)
                + " wait of its retry policy is negative or not finite");
        }
    };
    if (policy.tries && *policy.tries < 1) {
        problems.push_back(owner + ": a batch cannot be tried " + std::to_string(*policy.tries)
            + " times; the first time counts too");
    }
    checkWait("first", policy.first.count());
    checkWait("longest", policy.longest.count());
    if (policy.longest < policy.first) {
        problems.push_back(
            owner + ": the longest wait of its retry policy is shorter than the first");
    }
}

// Fewer events than fill the channel's list are right: they are sent with the timer.
void checkLimits(const std::string& owner, const Limits& limits, bool hasRetry, Problems& problems)
{
    if (limits.events == 0u || limits.bytes == 0u) {
        problems.push_back(owner + ": with at most 0 " + (limits.events == 0u ? "events" : "bytes")
            + " in memory every event is dropped");
    } else if (limits.batches == 0u && hasRetry) {
        problems.push_back(
            owner + ": with at most 0 batches in memory a retry policy has nothing to try again");
    }
}

} // namespace

std::vector<std::string> problemsOf(const TelvoraOptions& options)
{
    Problems problems;
    checkHeaders("The headers of all channels", options.headers, options.channels, problems);
    checkLimits("The limits of all channels", options.limits,
        std::ranges::any_of(
            options.channels, [](const Channel& channel) { return channel.retry.has_value(); }),
        problems);

    const TrackerManager* manager = usedPlatform() ? &TrackerManager::shared() : nullptr;
    const std::string_view reports = rawValue(DefaultIndex::APM);
    std::set<std::string_view> indexes;
    for (const Channel& channel : options.channels) {
        const std::size_t number = static_cast<std::size_t>(&channel - options.channels.data()) + 1;
        const std::string owner
            = "Channel " + (channel.index.empty() ? std::to_string(number) : quoted(channel.index));
        if (channel.index.empty())
            problems.push_back(owner + " has no index");
        else if (!indexes.insert(channel.index).second)
            problems.push_back(owner + " is there twice");
        else if (manager && manager->config(channel.index))
            problems.push_back(owner + " is registered already");
        if (channel.limit < 0)
            problems.push_back(owner + ": a limit of " + std::to_string(channel.limit)
                + " is negative; with 0 each event is sent alone");
        const bool isForProvider = options.reportingProvider && channel.index == reports;
        checkAddress(owner, channel, isForProvider, problems);
        checkHeaders(owner, channel.headers, { &channel, 1 }, problems);
        checkCommonData(owner, channel, problems);
        if (channel.retry)
            checkRetry(owner, *channel.retry, problems);
        checkLimits(owner, channel.limits, channel.retry.has_value(), problems);
    }
    const bool hasReports = indexes.contains(reports) || (manager && manager->config(reports));
    if (options.reportingProvider && !hasReports) {
        problems.emplace_back("The reporting provider gets no report without a channel \"APM\", "
                              "which needs no URL");
    }
    return problems;
}

} // namespace telvora::detail
