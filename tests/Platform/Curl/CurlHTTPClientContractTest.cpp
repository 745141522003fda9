#include <tests/Platform/HTTPClientContract.h>

#include <tests/Platform/Curl/HTTPTesting.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <deque>

namespace telvora::detail {
namespace {

/// A client and a server that answers it from a list.
class OverLoopback {
public:
    HTTPClient& client() { return m_client; }
    std::string url() { return m_server.url("/batch?x=1"); }

    void answerNext(int status, const std::string& body, const HTTPHeaders& headers = {})
    {
        std::string lines;
        for (const auto& [name, value] : headers)
            lines += name + ": " + value + "\r\n";
        add(LoopbackReply::answer(status, body, lines));
    }

    void failNext() { add(LoopbackReply::close()); }

    void settle() { EXPECT_TRUE(detail::settle(m_client)); }

    std::vector<HTTPRequest> received()
    {
        std::vector<HTTPRequest> requests;
        for (LoopbackRequest& request : m_server.received())
            requests.push_back({ "http://" + request.header("Host") + request.target,
                request.method, std::move(request.headers), std::move(request.body) });
        return requests;
    }

private:
    void add(LoopbackReply reply)
    {
        MutexLock lock(m_lock);
        m_replies.push_back(std::move(reply));
    }

    LoopbackReply next()
    {
        MutexLock lock(m_lock);
        if (m_replies.empty())
            return LoopbackReply::close();
        LoopbackReply reply = std::move(m_replies.front());
        m_replies.pop_front();
        return reply;
    }

    Mutex m_lock;
    std::deque<LoopbackReply> m_replies TELVORA_GUARDED_BY(m_lock);
    LoopbackServer m_server { [this](const LoopbackRequest&) { return next(); } };
    RealHTTPClient m_client;
};

INSTANTIATE_TYPED_TEST_SUITE_P(CurlHTTPClient, HTTPClientContract, OverLoopback);

} // namespace
} // namespace telvora::detail
