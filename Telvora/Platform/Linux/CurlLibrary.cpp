#include <Telvora/Platform/Linux/CurlLibrary.h>

#include <Telvora/Base/Mutex.h>

#include <curl/curl.h>
#include <dlfcn.h>
#include <unistd.h>

#include <cstdint>

namespace telvora {

namespace {

// Looked up at run time, because libcurl may just as well use another TLS library.
template<typename Function> Function* functionOfOpenSSL(const char* name)
{
    return reinterpret_cast<Function*>(dlsym(RTLD_DEFAULT, name));
}

} // namespace

void registerExitHandlerOfOpenSSL()
{
    // OPENSSL_INIT_ASYNC: the smallest piece of the set-up, about 10 microseconds. Any piece brings
    // the exit handler with it.
    constexpr std::uint64_t smallestPiece = 0x100;
    if (auto* setUp = functionOfOpenSSL<int(std::uint64_t, const void*)>("OPENSSL_init_crypto"))
        static_cast<void>(setUp(smallestPiece, nullptr));
}

bool setUpLibcurl()
{
    static auto& lock = *new Mutex;
    static bool isSetUp = false;
    MutexLock locked(lock);
    if (!isSetUp) {
        isSetUp = curl_global_init(CURL_GLOBAL_DEFAULT) == CURLE_OK;
        // Whatever exit handlers came with it now run after ours.
        detail::ExitGate::watch();
    }
    return isSetUp;
}

CurlScope::Entry::Entry()
{
    if (!m_pass)
        sleepForGood();
}

void sleepForGood()
{
    for (;;)
        pause();
}

void releaseThreadFromOpenSSL()
{
    if (auto* stop = functionOfOpenSSL<void()>("OPENSSL_thread_stop"))
        stop();
}

} // namespace telvora
