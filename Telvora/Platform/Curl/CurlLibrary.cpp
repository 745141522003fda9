#include <Telvora/Platform/Curl/CurlLibrary.h>

#include <Telvora/Base/Mutex.h>

#include <curl/curl.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>
#include <string_view>

namespace telvora::detail {

namespace {

// Looked up at run time, because libcurl may use another TLS library.
template<typename Function> Function* functionOfOpenSSL(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

bool doesLibcurlUseOpenSSL()
{
    const char* library = curl_version_info(CURLVERSION_NOW)->ssl_version;
    return library && std::string_view(library).starts_with("OpenSSL/");
}

// libcurl sets its own callback just before it calls this function.
CURLcode stopKeyLog(CURL*, void* context, void*)
{
    using Callback = void(const void* connection, const char* line);
    using SetCallback = void(void* context, Callback*);
    if (auto* set = functionOfOpenSSL<SetCallback>("SSL_CTX_set_keylog_callback"))
        set(context, nullptr);
    return CURLE_OK;
}

} // namespace

curl_ssl_ctx_callback keyLogStopper()
{
    static const bool isOpenSSL = doesLibcurlUseOpenSSL();
    return isOpenSSL ? &stopKeyLog : nullptr;
}

void registerExitHandlerOfOpenSSL()
{
    // OPENSSL_INIT_ASYNC: the cheapest part of the initialization, about 10 microseconds. Every
    // part registers the exit handler.
    constexpr std::uint64_t smallestPiece = 0x100;
    // A thread of the parent may have held OpenSSL's locks at the fork.
    if (isForkedChild())
        return;
    if (auto* setUp = functionOfOpenSSL<int(std::uint64_t, const void*)>("OPENSSL_init_crypto"))
        static_cast<void>(setUp(smallestPiece, nullptr));
}

bool setUpLibcurl()
{
    if (!(curl_version_info(CURLVERSION_NOW)->features & CURL_VERSION_THREADSAFE))
        return false;
    static auto& mutex = *new Mutex;
    static bool isSetUp = false;
    MutexLock lock(mutex);
    if (!isSetUp) {
        isSetUp = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
        // Exit handlers that libcurl has registered now run after the gate's.
        ExitGate::watch();
    }
    return isSetUp;
}

CurlScope::Entry::Entry()
{
    if (!m_pass)
        sleepForever();
}

void sleepForever()
{
    for (;;)
        pause();
}

void releaseThreadFromOpenSSL()
{
    if (auto* stop = functionOfOpenSSL<void()>("OPENSSL_thread_stop"))
        stop();
}

} // namespace telvora::detail
