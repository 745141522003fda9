#include <Telvora/Platform/AddressText.h>

#include <curl/curl.h>

#include <memory>

namespace telvora {

bool isAddressText(const std::string& text)
{
    // libcurl reads up to the first NUL and takes nothing at all for a relative address.
    if (text.empty() || text.find('\0') != std::string::npos)
        return false;
    std::unique_ptr<CURLU, decltype(&curl_url_cleanup)> address(curl_url(), &curl_url_cleanup);
    return address
        && curl_url_set(address.get(), CURLUPART_URL, text.c_str(),
               CURLU_NON_SUPPORT_SCHEME | CURLU_GUESS_SCHEME | CURLU_NO_AUTHORITY)
        == CURLUE_OK;
}

} // namespace telvora
