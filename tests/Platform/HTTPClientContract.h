#pragma once

#include <Telvora/Platform/HTTPClient.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace telvora {

/// What every HTTPClient does. Instantiated with a class that makes one together with a
/// server that answers it:
///
///     HTTPClient& client();
///     std::string url();                              // an address that the server answers
///     void answerNext(int status, std::string body, HTTPHeaders headers = {});
///                                                     // the answers, in the order of the calls
///     void failNext();                                // the next request gets no answer
///     void settle();                                  // waits until every completion has returned
///     std::vector<HTTPRequest> received();            // what was sent, in order; the headers may
///                                                     // include some of the client's own
template<typename Subject> class HTTPClientContract : public testing::Test {
protected:
    HTTPRequest post(std::string body = "{}")
    {
        return { subject.url(), "POST", { { "Content-Type", "application/json" } },
            std::move(body) };
    }

    /// Sends the request, waits for the completion, which must come once, and returns the answer.
    HTTPAnswer answerTo(HTTPRequest request)
    {
        HTTPAnswer result;
        int count = 0;
        subject.client().send(std::move(request), [&](HTTPAnswer answer) {
            ++count;
            result = std::move(answer);
        });
        subject.settle();
        EXPECT_EQ(count, 1);
        return result;
    }

    /// The names of the request's headers that are among `wanted`, in the order of their arrival.
    static std::vector<std::string> namesAmong(
        const HTTPRequest& request, const std::vector<std::string>& wanted)
    {
        std::vector<std::string> names;
        for (const auto& [name, value] : request.headers) {
            if (std::find(wanted.begin(), wanted.end(), name) != wanted.end())
                names.push_back(name);
        }
        return names;
    }

    static std::string valueOf(const HTTPRequest& request, const std::string& wanted)
    {
        for (const auto& [name, value] : request.headers) {
            if (name == wanted)
                return value;
        }
        return "(no such header)";
    }

    Subject subject;
};

TYPED_TEST_SUITE_P(HTTPClientContract);

TYPED_TEST_P(HTTPClientContract, AnswerIsDataAndItsStatus)
{
    this->subject.answerNext(200, "{\"success\":true}");

    HTTPAnswer answer = this->answerTo(this->post());

    EXPECT_EQ(answer.data, "{\"success\":true}");
    EXPECT_EQ(answer.error, std::nullopt);
    EXPECT_EQ(answer.status, 200);
}

TYPED_TEST_P(HTTPClientContract, HeadersOfTheAnswerComeInTheirOrder)
{
    this->subject.answerNext(429, "{}", { { "Retry-After", "7" }, { "X-a", "1" }, { "x-A", "" } });

    HTTPHeaders headers = this->answerTo(this->post()).headers;

    std::erase_if(headers, [](const auto& header) { return header.first == "Content-Length"; });
    EXPECT_THAT(headers,
        testing::ElementsAre(testing::Pair("Retry-After", "7"), testing::Pair("X-a", "1"),
            testing::Pair("x-A", "")));
}

TYPED_TEST_P(HTTPClientContract, StatusOfAFailureIsAnAnswerToo)
{
    this->subject.answerNext(500, "{\"success\":true}");

    HTTPAnswer answer = this->answerTo(this->post());

    EXPECT_EQ(answer.data, "{\"success\":true}");
    EXPECT_EQ(answer.error, std::nullopt);
    EXPECT_EQ(answer.status, 500);
}

TYPED_TEST_P(HTTPClientContract, EmptyAnswerIsEmptyData)
{
    this->subject.answerNext(200, "");

    HTTPAnswer answer = this->answerTo(this->post());

    EXPECT_EQ(answer.data, "");
    EXPECT_EQ(answer.error, std::nullopt);
}

TYPED_TEST_P(HTTPClientContract, MissingAnswerIsAnErrorWithoutData)
{
    this->subject.failNext();

    HTTPAnswer answer = this->answerTo(this->post());

    EXPECT_EQ(answer.data, std::nullopt);
    ASSERT_TRUE(answer.error);
    EXPECT_NE(*answer.error, "");
}

TYPED_TEST_P(HTTPClientContract, RequestArrivesAsItWasGiven)
{
    this->subject.answerNext(200, "{}");
    HTTPRequest request = this->post(std::string("{\"a\":\"\0\x80\xff\"}", 11));

    this->answerTo(request);

    ASSERT_EQ(this->subject.received().size(), 1U);
    HTTPRequest received = this->subject.received().front();
    EXPECT_EQ(received.url, request.url);
    EXPECT_EQ(received.method, "POST");
    EXPECT_EQ(received.body, request.body);
}

TYPED_TEST_P(HTTPClientContract, HeadersArriveInTheGivenOrder)
{
    this->subject.answerNext(200, "{}");
    HTTPRequest request = this->post();
    request.headers = { { "x-trace-id", "1" }, { "clienttype", "ios" },
        { "Content-Type", "application/json" }, { "QVX-UUID", "u; v: w, \"x\"" } };

    this->answerTo(request);

    HTTPRequest received = this->subject.received().at(0);
    EXPECT_THAT(
        this->namesAmong(received, { "clienttype", "Content-Type", "QVX-UUID", "x-trace-id" }),
        testing::ElementsAre("x-trace-id", "clienttype", "Content-Type", "QVX-UUID"));
    EXPECT_EQ(this->valueOf(received, "clienttype"), "ios");
    EXPECT_EQ(this->valueOf(received, "QVX-UUID"), "u; v: w, \"x\"");
}

TYPED_TEST_P(HTTPClientContract, EmptyHeaderValueIsSent)
{
    this->subject.answerNext(200, "{}");
    HTTPRequest request = this->post();
    request.headers.emplace_back("versioncode", "");

    this->answerTo(request);

    EXPECT_EQ(this->valueOf(this->subject.received().at(0), "versioncode"), "");
}

TYPED_TEST_P(HTTPClientContract, LineBreakInAHeaderIsAnErrorAndNothingGoesOut)
{
    for (std::string bad : { std::string("a\r\nB: c"), std::string("a\nb"), std::string("a\rb"),
             std::string("a\0b", 3) }) {
        HTTPRequest inValue = this->post();
        inValue.headers.emplace_back("X-Value", bad);
        HTTPRequest inName = this->post();
        inName.headers.emplace_back(bad, "value");

        EXPECT_TRUE(this->answerTo(inValue).error);
        EXPECT_TRUE(this->answerTo(inName).error);
    }

    EXPECT_EQ(this->subject.received().size(), 0U);
}

TYPED_TEST_P(HTTPClientContract, AddressThatCannotBeFetchedIsAnError)
{
    for (const char* url : { "foo", "/path", "foo://bar", "mailto:x@y", "file:///etc/passwd",
             "ftp://127.0.0.1/", "http://" }) {
        HTTPRequest request = this->post();
        request.url = url;

        HTTPAnswer answer = this->answerTo(request);

        EXPECT_TRUE(answer.error) << url;
        EXPECT_FALSE(answer.data) << url;
    }
}

TYPED_TEST_P(HTTPClientContract, CompletionDoesNotRunOnTheCallersStack)
{
    this->subject.answerNext(200, "{}");
    std::atomic<bool> hasReturned { false };
    std::atomic<bool> wasOutsideSend { false };

    {
        // A completion that send() calls runs on this thread and before send() has returned.
        std::thread::id caller = std::this_thread::get_id();
        this->subject.client().send(this->post(), [&, caller](HTTPAnswer) {
            wasOutsideSend = hasReturned || std::this_thread::get_id() != caller;
        });
        hasReturned = true;
    }
    this->subject.settle();

    EXPECT_TRUE(wasOutsideSend);
}

TYPED_TEST_P(HTTPClientContract, EveryOneOfManyRequestsCompletesOnce)
{
    constexpr std::size_t count = 100;
    std::atomic<std::size_t> completions { 0 };
    for (std::size_t number = 0; number < count; ++number)
        this->subject.answerNext(200, "{}");

    for (std::size_t number = 0; number < count; ++number)
        this->subject.client().send(this->post(), [&](HTTPAnswer answer) {
            if (answer.data == "{}")
                ++completions;
        });
    this->subject.settle();

    EXPECT_EQ(completions, count);
    EXPECT_EQ(this->subject.received().size(), count);
}

TYPED_TEST_P(HTTPClientContract, CompletionMaySendAgain)
{
    this->subject.answerNext(200, "first");
    this->subject.answerNext(200, "second");
    std::string seen;

    this->subject.client().send(this->post(), [&](HTTPAnswer) {
        this->subject.client().send(
            this->post(), [&](HTTPAnswer answer) { seen = answer.data.value_or("(error)"); });
    });
    this->subject.settle();

    EXPECT_EQ(seen, "second");
}

TYPED_TEST_P(HTTPClientContract, CompletionIsDestroyedOnceItHasRun)
{
    this->subject.answerNext(200, "{}");
    auto held = std::make_shared<int>();

    this->subject.client().send(this->post(), [held](HTTPAnswer) {});
    this->subject.settle();

    EXPECT_EQ(held.use_count(), 1);
}

REGISTER_TYPED_TEST_SUITE_P(HTTPClientContract, AnswerIsDataAndItsStatus,
    HeadersOfTheAnswerComeInTheirOrder, StatusOfAFailureIsAnAnswerToo, EmptyAnswerIsEmptyData,
    MissingAnswerIsAnErrorWithoutData, RequestArrivesAsItWasGiven, HeadersArriveInTheGivenOrder,
    EmptyHeaderValueIsSent, LineBreakInAHeaderIsAnErrorAndNothingGoesOut,
    AddressThatCannotBeFetchedIsAnError, CompletionDoesNotRunOnTheCallersStack,
    EveryOneOfManyRequestsCompletesOnce, CompletionMaySendAgain, CompletionIsDestroyedOnceItHasRun);

} // namespace telvora
