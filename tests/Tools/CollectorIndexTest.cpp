#include <tests/Tools/CollectorProgram.h>

#include <tools/collector/Query.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace telvora::tests {
namespace {

using collector::percentDecoded;
using collector::percentEncoded;
using testing::HasSubstr;
using testing::Not;

std::string page(const CollectorProgram& program)
{
    const Wire::Reply reply = program.connect().exchange(get("/_telvora/"));
    EXPECT_EQ(reply.status, 200);
    EXPECT_THAT(reply.head, HasSubstr("Content-Type: text/html; charset=utf-8\r\n"));
    return reply.body;
}

std::vector<std::string> linksOf(const std::string& html)
{
    constexpr std::string_view start = "<a href=\"";
    std::vector<std::string> links;
    for (std::size_t at = html.find(start); at != std::string::npos; at = html.find(start, at)) {
        at += start.size();
        std::string link = html.substr(at, html.find('"', at) - at);
        for (std::size_t ampersand = 0;
             (ampersand = link.find("&amp;", ampersand)) != std::string::npos; ++ampersand)
            link.erase(ampersand + 1, 4);
        links.push_back(link);
    }
    return links;
}

TEST(CollectorIndexTest, NamesEveryAddressWithItsMethods)
{
    const CollectorProgram program;

    const std::string html = page(program);

    for (const std::string name : { "health", "requests", "summary", "wait" })
        EXPECT_THAT(html, HasSubstr("<td>GET<td><a href=\"/_telvora/" + name));
    EXPECT_THAT(html, HasSubstr("<td>GET, PUT<td><a href=\"/_telvora/rules\""));
    EXPECT_THAT(
        html, HasSubstr("verdict=bad\">/_telvora/requests?since=0&amp;path=/&amp;verdict=bad</a>"));
    EXPECT_THAT(html, HasSubstr("<td>POST<td>/_telvora/reset<td>"));
    EXPECT_THAT(html, HasSubstr("<h1>telvora-collector " TELVORA_COLLECTOR_VERSION "</h1>"));
}

TEST(CollectorIndexTest, EveryLinkIsServed)
{
    const CollectorProgram program;
    program.post("/e2e", eventsBody(1));
    program.post("/a%20b&c=%22<d>'\xC3\xA4", "no JSON");

    const auto links = linksOf(page(program));

    EXPECT_GE(links.size(), 10U);
    for (const std::string& link : links)
        EXPECT_EQ(program.connect().exchange(get(link)).status, 200) << link;
}

TEST(CollectorIndexTest, TheLinkOfAPathListsItsRequests)
{
    const CollectorProgram program;
    program.post("/a%20b&c=%22<d>'\xC3\xA4", eventsBody(1));

    const std::string link = linksOf(page(program)).back();

    EXPECT_EQ(program.control("GET", link).at("requests").as_array().size(), 1U);
}

TEST(CollectorIndexTest, WhatClientsSendIsEscaped)
{
    const CollectorProgram program;
    program.post("/<script>alert(\"1\")</script>&'", eventsBody(1));
    program.post("/\xC2\x9B\xE2\x80\xAE", eventsBody(1));
    program.post("/\xFF<b>", eventsBody(1));
    program.post("<i>", eventsBody(1));

    const std::string html = page(program);

    EXPECT_THAT(html, HasSubstr("/&lt;script&gt;alert(&quot;1&quot;)&lt;/script&gt;&amp;&#39;"));
    EXPECT_THAT(html, HasSubstr("/\\xc2\\x9b\\xe2\\x80\\xae"));
    EXPECT_THAT(html, HasSubstr("{&quot;$bytes&quot;:&quot;2fff3c623e&quot;}"));
    EXPECT_THAT(html, HasSubstr("&lt;i&gt;"));
    for (const char* text : { "<script", "<b>", "<i>", "\xC2\x9B", "\xFF" })
        EXPECT_THAT(html, Not(HasSubstr(text)));
}

TEST(CollectorIndexTest, LoadsNothingFromElsewhere)
{
    const CollectorProgram program;

    const std::string html = page(program);

    EXPECT_THAT(html, HasSubstr("default-src 'none'"));
    for (const char* text : { "http:", "https:", "src=", "<link", "<script", "@import", "url(" })
        EXPECT_THAT(html, Not(HasSubstr(text)));
}

TEST(CollectorIndexTest, ShowsAHundredPathsAtMost)
{
    const CollectorProgram program;
    Wire wire = program.connect();
    for (int i = 0; i < 101; ++i)
        wire.exchange(batch("/path" + std::to_string(i), eventsBody(1)));

    const std::string html = page(program);

    EXPECT_THAT(html, HasSubstr("Further paths are in the summary"));
    EXPECT_LT(html.size(), 50000U);
}

TEST(CollectorIndexTest, IsServedOnTheControlPortAndInSinkMode)
{
    const CollectorProgram program({ "--sink" });
    program.post("/e2e", eventsBody(1));

    EXPECT_EQ(Wire(program.controlPort()).exchange(get("/_telvora/")).status, 200);
    EXPECT_THAT(page(program), HasSubstr("<tr><td>all<td>1<td>1<td><td>\n"));
}

TEST(CollectorIndexTest, TakesGETOnly)
{
    const CollectorProgram program;

    const auto reply = program.connect().exchange(request("POST", "/_telvora/", ""));

    EXPECT_EQ(reply.status, 405);
    EXPECT_THAT(reply.body, HasSubstr("/_telvora/ takes GET"));
}

TEST(CollectorIndexTest, PercentEncodingIsUndoneByDecoding)
{
    std::string bytes;
    for (int i = 0; i < 256; ++i)
        bytes += static_cast<char>(i);

    EXPECT_EQ(percentDecoded(percentEncoded(bytes)), bytes);
    EXPECT_EQ(percentEncoded("/a b&c=\xC3\xA4"), "/a%20b%26c%3D%C3%A4");
}

} // namespace
} // namespace telvora::tests
