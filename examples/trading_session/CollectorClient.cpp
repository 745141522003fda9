#include "CollectorClient.h"

#include <curl/curl.h>

#include <memory>
#include <stdexcept>

using telvora::Array;
using telvora::Dictionary;
using telvora::Value;

namespace {

std::size_t appendTo(char* bytes, std::size_t size, std::size_t count, void* text)
{
    static_cast<std::string*>(text)->append(bytes, size * count);
    return size * count;
}

std::int64_t number(const Dictionary& dictionary, std::string_view key)
{
    const Value* value = dictionary.if_contains(key);
    return value && value->is_int64() ? value->get_int64() : 0;
}

const Dictionary* member(const Dictionary* dictionary, std::string_view key)
{
    const Value* value = dictionary ? dictionary->if_contains(key) : nullptr;
    return value ? value->if_object() : nullptr;
}

} // namespace

CollectorClient::CollectorClient(std::string base)
    : m_base(std::move(base))
{
    curl_global_init(CURL_GLOBAL_DEFAULT);
}

CollectorClient::Counts CollectorClient::counts(const std::string& path) const
{
    const Dictionary summary = call("GET", "/_telvora/summary", "");
    const Dictionary* found = member(member(&summary, "paths"), path);
    if (!found)
        return {};
    Counts counts;
    counts.requests = number(*found, "requests");
    counts.badVerdicts = number(*found, "badVerdicts");
    if (const Dictionary* accepted = member(found, "accepted")) {
        counts.acceptedBatches = number(*accepted, "batches");
        counts.acceptedEvents = number(*accepted, "events");
    }
    return counts;
}

void CollectorClient::setRule(const std::string& path, Dictionary rule, int times) const
{
    rule["path"] = path;
    if (times > 0)
        rule["times"] = times;
    Array rules;
    rules.emplace_back(std::move(rule));
    call("PUT", "/_telvora/rules", *telvora::encode(Value(std::move(rules))));
}

void CollectorClient::clearRules() const
{
    call("PUT", "/_telvora/rules", "[]");
}

void CollectorClient::reset() const
{
    call("POST", "/_telvora/reset", "");
}

Dictionary CollectorClient::call(
    const char* method, const std::string& path, const std::string& body) const
{
    const std::unique_ptr<CURL, void (*)(CURL*)> handle(curl_easy_init(), curl_easy_cleanup);
    std::string answer;
    curl_easy_setopt(handle.get(), CURLOPT_URL, (m_base + path).c_str());
    curl_easy_setopt(handle.get(), CURLOPT_CUSTOMREQUEST, method);
    curl_easy_setopt(handle.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(handle.get(), CURLOPT_TIMEOUT, 10L);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEFUNCTION, appendTo);
    curl_easy_setopt(handle.get(), CURLOPT_WRITEDATA, &answer);
    if (!body.empty())
        curl_easy_setopt(handle.get(), CURLOPT_POSTFIELDS, body.c_str());

    const CURLcode code = curl_easy_perform(handle.get());
    if (code != CURLE_OK)
        throw std::runtime_error("the collector does not answer: " + m_base + path);
    const auto decoded = telvora::decode(answer);
    return decoded.value && decoded.value->is_object() ? decoded.value->get_object() : Dictionary();
}
