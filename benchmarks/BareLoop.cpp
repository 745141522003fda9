#include <benchmarks/BareLoop.h>

#include <benchmarks/SampleEvent.h>

#include <boost/json/serialize.hpp>
#include <curl/curl.h>

#include <array>
#include <cstdlib>
#include <deque>
#include <iostream>

namespace telvora {

struct BareLoop::Transfer {
    CURL* handle = nullptr;
    curl_slist* headers = nullptr;
    std::string body;
    std::string answer;
    std::size_t events = 0;
    bool isBusy = false;
};

namespace {

std::size_t appendTo(char* data, std::size_t size, std::size_t count, void* answer)
{
    static_cast<std::string*>(answer)->append(data, size * count);
    return size * count;
}

// The same number and sizes of headers as Telvora sends.
curl_slist* makeHeaders()
{
    curl_slist* headers = nullptr;
    for (const char* header : { "clienttype: ios", "versioncode: 1.4.2", "system-version: 12",
             "QVX-UUID: installation-42", "Content-Type: application/json",
             "x-trace-id: 7C2E5B1D-93A4-4F06-8D17-2B6E0C9F4A58", "Expect:" })
        headers = curl_slist_append(headers, header);
    return headers;
}

} // namespace

BareLoop::BareLoop(std::string url)
    : m_url(std::move(url))
    , m_multi(curl_multi_init())
    , m_thread([this] { run(); })
{
}

BareLoop::~BareLoop()
{
    m_isEnding = true;
    curl_multi_wakeup(static_cast<CURLM*>(m_multi));
    m_thread.join();
    curl_multi_cleanup(static_cast<CURLM*>(m_multi));
}

void BareLoop::append(Dictionary event)
{
    bool isFull = false;
    {
        std::lock_guard lock(m_mutex);
        m_pending.push_back(std::move(event));
        isFull = m_pending.size() == batchSize;
        if (isFull) {
            m_full.push_back(std::move(m_pending));
            m_pending = {};
            m_pending.reserve(batchSize);
        }
    }
    if (isFull)
        curl_multi_wakeup(static_cast<CURLM*>(m_multi));
}

void BareLoop::start(Transfer& transfer, std::vector<Dictionary> batch)
{
    Dictionary body = makeSampleCommonData();
    Array list;
    list.reserve(batch.size());
    for (Dictionary& event : batch)
        list.emplace_back(std::move(event));
    transfer.events = batch.size();
    body.emplace("data", std::move(list));
    transfer.body = boost::json::serialize(body);
    transfer.answer.clear();
    transfer.isBusy = true;
    if (!transfer.handle) {
        transfer.handle = curl_easy_init();
        transfer.headers = makeHeaders();
        curl_easy_setopt(transfer.handle, CURLOPT_URL, m_url.c_str());
        curl_easy_setopt(transfer.handle, CURLOPT_NOPROXY, "*");
        curl_easy_setopt(transfer.handle, CURLOPT_NOSIGNAL, 1L);
        curl_easy_setopt(transfer.handle, CURLOPT_HTTPHEADER, transfer.headers);
        curl_easy_setopt(transfer.handle, CURLOPT_WRITEFUNCTION, appendTo);
        curl_easy_setopt(transfer.handle, CURLOPT_WRITEDATA, &transfer.answer);
        curl_easy_setopt(transfer.handle, CURLOPT_PRIVATE, &transfer);
    }
    curl_easy_setopt(transfer.handle, CURLOPT_POSTFIELDS, transfer.body.data());
    curl_easy_setopt(transfer.handle, CURLOPT_POSTFIELDSIZE_LARGE,
        static_cast<curl_off_t>(transfer.body.size()));
    curl_multi_add_handle(static_cast<CURLM*>(m_multi), transfer.handle);
}

void BareLoop::run()
{
    auto* multi = static_cast<CURLM*>(m_multi);
    std::array<Transfer, connections> transfers;
    std::deque<std::vector<Dictionary>> waiting;
    while (!m_isEnding) {
        std::vector<std::vector<Dictionary>> full;
        {
            std::lock_guard lock(m_mutex);
            std::swap(full, m_full);
        }
        for (std::vector<Dictionary>& batch : full)
            waiting.push_back(std::move(batch));
        for (Transfer& transfer : transfers) {
            if (transfer.isBusy || waiting.empty())
                continue;
            start(transfer, std::move(waiting.front()));
            waiting.pop_front();
        }

        int running = 0;
        curl_multi_perform(multi, &running);
        int left = 0;
        bool isAnyDone = false;
        while (const CURLMsg* message = curl_multi_info_read(multi, &left)) {
            Transfer* transfer = nullptr;
            curl_easy_getinfo(message->easy_handle, CURLINFO_PRIVATE, &transfer);
            if (message->data.result != CURLE_OK || transfer->answer != R"({"success":true})") {
                std::cerr << "a request failed: " << transfer->answer << '\n';
                std::_Exit(1);
            }
            curl_multi_remove_handle(multi, transfer->handle);
            transfer->isBusy = false;
            m_delivered.fetch_add(static_cast<long>(transfer->events), std::memory_order_relaxed);
            isAnyDone = true;
        }
        if (!isAnyDone || waiting.empty())
            curl_multi_poll(multi, nullptr, 0, 1000, nullptr);
    }
    for (Transfer& transfer : transfers) {
        if (transfer.handle) {
            curl_easy_cleanup(transfer.handle);
            curl_slist_free_all(transfer.headers);
        }
    }
}

} // namespace telvora
