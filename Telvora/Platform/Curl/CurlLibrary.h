#pragma once

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/ForkedChild.h>

#include <curl/curl.h>

namespace telvora::detail {

/// Makes OpenSSL register its exit handler, if OpenSSL is loaded. Call it before the first
/// ExitGate::watch(), on a thread of the host's. exit() then closes the gate before it frees
/// OpenSSL's tables. If OpenSSL registered the handler later, on the library's thread, exit() could
/// begin in between. Does nothing if the host has used OpenSSL before.
void registerExitHandlerOfOpenSSL();

/// Initializes libcurl, once for the process. Never undone, because the host or another library may
/// use libcurl too. False when libcurl fails; the next call tries again.
///
/// Also false for a libcurl that does not lock its initialization (CURL_VERSION_THREADSAFE): the
/// host may initialize it on another thread at the same time. Every libcurl since 7.84 locks it,
/// unless it was built without threads and atomics. Requires a CurlScope.
bool setUpLibcurl();

/// For CURLOPT_SSL_CTX_FUNCTION: keeps libcurl from writing the keys of a connection to the file
/// that SSLKEYLOGFILE names. With these keys, anyone who can set the host's environment could read
/// its uploads. Null if libcurl does not use OpenSSL.
curl_ssl_ctx_callback keyLogStopper();

/// Exists while the library's thread is in libcurl or in a library that libcurl uses. exit() waits
/// for its end before these libraries free their tables, and fork() waits for it before it copies
/// their locks. Once the process is ending, the constructor does not return.
class CurlScope {
public:
    CurlScope() = default;

private:
    class Entry {
    public:
        Entry();

    private:
        const ExitGate::Pass m_pass;
    };

    // In this order: a thread that never returns from Entry() must not block a fork().
    const Entry m_entry;
    const NoForkScope m_noFork;
};

/// Never returns. For a thread of the library when the process is ending.
[[noreturn]] void sleepForever();

/// The last call of a thread that was in libcurl. Frees what OpenSSL keeps for the thread.
/// Otherwise the end of the thread would free it, perhaps after exit() has freed OpenSSL's tables.
/// Requires a CurlScope.
void releaseThreadFromOpenSSL();

} // namespace telvora::detail
