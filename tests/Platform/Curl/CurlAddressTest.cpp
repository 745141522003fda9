// isAddressText() decides what a channel may be given, libcurl what can be sent: the two agree.

#include <Telvora/Base/AddressText.h>

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <random>
#include <string>

namespace telvora::detail {
namespace {

bool isAddressToCurl(const std::string& text)
{
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> address(curl_url(), &curl_url_cleanup);
    return curl_url_set(address.get(), CURLUPART_URL, text.c_str(),
               CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME | CURLU_NO_AUTHORITY)
        == CURLUE_OK;
}

constexpr std::array pieces { "http", "https", "file", "mailto", "x", "a.b", "127.0.0.1",
    "localhost", "1.2.3.4", "1", "256", "65535", "65536", "00080", "eth0", "user", "ffff",
    "ff:", ":1", "::", ":", ".", "/", "//", "///", "[", "]", "[::1]", "[fe80::1%25eth0]",
    "[1:2:3:4:5:6:7:8]", "@", "?", "#", "%25", "%41", "%", " ", "\t", "\x7f", "\xc3\xa9", "!", "$",
    "&", "'", "(", ")", "*", "+", ",", ";", "=", "{", "}", "|", "\\", "^", "\"", "`", "~", "_", "-",
    "<", ">" };

class AddressPieces {
public:
    std::string text()
    {
        constexpr std::array starts { "", "http://", "http://[", "file:" };
        const std::size_t start = m_random() % starts.size();
        std::string text = starts[start];
        for (auto count = 1 + m_random() % 8; count > 0; --count)
            text += pieces[m_random() % pieces.size()];
        if (start == 2)
            text += "]";
        return text;
    }

private:
    std::mt19937 m_random { 20240101 };
};

TEST(CurlAddressTest, SameTextsAreAddressesForTheLibraryAndForCurl)
{
    AddressPieces random;
    int addresses = 0;

    for (int round = 0; round < 100'000; ++round) {
        const std::string text = random.text();
        // libcurl takes the root of the file system for too short.
        if (text == "file:/")
            continue;

        addresses += isAddressText(text);
        ASSERT_EQ(isAddressText(text), isAddressToCurl(text)) << text;
    }
    EXPECT_GT(addresses, 1'000);
}

} // namespace
} // namespace telvora::detail
