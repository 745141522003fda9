#include <tools/host/Operations.h>

#include <Telvora/Classes/TrackerManager.h>

#include <utility>

// Operations that read channels and their retry caches, the timer and the ledger.
namespace telvora::host {

namespace {

Dictionary entryDictionary(const TrackerRetryData& entry)
{
    Dictionary dictionary {
        { "retryCount", entry.retryCount },
        { "timestamp", entry.timestamp },
        { "maxRetryCount",
            entry.maxRetryCount == RetryPolicy::endless ? Value(nullptr)
                                                        : Value(entry.maxRetryCount) },
    };
    dictionary["data"] = entry.data ? Value(copy(*entry.data)) : Value(nullptr);
    return dictionary;
}

Dictionary stringsDictionary(const StringDictionary& strings)
{
    Dictionary dictionary;
    for (const auto& [key, text] : strings)
        dictionary[key] = text;
    return dictionary;
}

Result state(const Call& call)
{
    const auto config = TrackerManager::shared().config(call.arguments.text("index"));
    if (!config)
        return Value(nullptr);
    const auto commonData = config->commonData();
    Array retry;
    for (const TrackerRetryEntry& entry : config->retryCache().entries())
        retry.push_back(entryDictionary(*entry));

    Dictionary result;
    result["apiDatas"] = config->apiDatas();
    result["commonDatas"] = copy(commonData->commonDatas);
    result["dataListKey"] = commonData->dataListKey;
    result["headers"] = stringsDictionary(config->headers());
    result["maxLimit"] = config->maxLimit();
    result["useOstraReport"] = config->useOstraReport();
    result["retry"] = std::move(retry);
    return Value(std::move(result));
}

Result insertRetry(const Call& call)
{
    const auto config = call.host.channel(call.arguments.text("index")).config;
    const std::int64_t retryCount = call.arguments.integer("retryCount");
    Batch batch;
    if (!call.arguments.value("data").is_null())
        batch = makeBatch(call.arguments.dictionary("data"));
    config->insert(std::make_shared<TrackerRetryData>(std::move(batch), retryCount));
    return {};
}

Result popRetryData(const Call& call)
{
    const auto entry = call.host.channel(call.arguments.text("index")).config->popRetryData();
    return entry ? Value(entryDictionary(*entry)) : Value(nullptr);
}

Result retrySize(const Call& call)
{
    const auto config = call.host.channel(call.arguments.text("index")).config;
    return Value(static_cast<std::int64_t>(config->retryCache().size()));
}

Result timer(const Call&)
{
    const TrackerTimer& timer = TrackerManager::shared().trackerTimer();
    return Value(Dictionary {
        { "isRunning", timer.isRunning() },
        { "postInterval", timer.postInterval() },
        { "failureCount", timer.failureCount() },
    });
}

// Reading the ledger before anything was registered or appended must not make the shared object.
Result ledger(const Call& call)
{
    const auto index = call.arguments.optionalText("index");
    const bool hasManager = call.host.hasTouchedManager();
    if (!index) {
        return hasManager ? Value(TrackerManager::shared().ledgersDictionary())
                          : Value(Dictionary { { "", ledgerDictionary({}) } });
    }
    if (!hasManager)
        return Value(nullptr);
    const auto snapshot = TrackerManager::shared().ledger(*index);
    return snapshot ? Value(ledgerDictionary(*snapshot)) : Value(nullptr);
}

} // namespace

void addChannelOperations(OperationTable& table)
{
    table["state"] = { .run = state, .touchesManager = true };
    table["insertRetry"] = { .run = insertRetry };
    table["popRetryData"] = { .run = popRetryData };
    table["retrySize"] = { .run = retrySize };
    table["timer"] = { .run = timer, .touchesManager = true };
    table["ledger"] = { .run = ledger };
}

} // namespace telvora::host
