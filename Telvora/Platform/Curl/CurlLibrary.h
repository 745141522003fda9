#pragma once

#include <Telvora/Base/ExitGate.h>
#include <Telvora/Base/ForkedChild.h>

#include <curl/curl.h>

namespace telvora::detail {

/// Has OpenSSL put its exit handler in place, if libcurl comes with OpenSSL. Comes before the first
/// ExitGate::watch() and on a thread of the host's: from then on exit() closes the gate before it
/// frees OpenSSL's tables, whatever our thread is doing. If OpenSSL did it on our thread, exit()
/// could come in between. Changes nothing where the host has used OpenSSL before.
void registerExitHandlerOfOpenSSL();

/// Sets libcurl up, once for the process. Never undone: the host or another library may use
/// libcurl too. False when the system refuses what libcurl needs; the next call tries again.
/// Requires a CurlScope.
bool setUpLibcurl();

/// For CURLOPT_SSL_CTX_FUNCTION: keeps the keys of a connection out of the file that SSLKEYLOGFILE
/// names. Whoever can set a variable of the host's environment could read its uploads with them.
/// Null where libcurl does not use OpenSSL.
curl_ssl_ctx_callback keyLogStopper();

/// The time that a thread of ours spends in libcurl and in the libraries that libcurl uses. exit()
/// waits for its end before these libraries free their tables, and fork() before it copies their
/// locks. Once the process is ending, making one puts the thread to sleep for good.
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

    // In this order: a thread that sleeps for good must not keep a fork() waiting.
    const Entry m_entry;
    const NoForkScope m_noFork;
};

/// Never returns. For a thread of ours that has nothing left to do because the process ends.
[[noreturn]] void sleepForGood();

/// Comes last on a thread that was in libcurl. What OpenSSL keeps for the thread would otherwise be
/// freed when the system takes the thread down, perhaps after exit() has freed OpenSSL's tables.
/// Requires a CurlScope.
void releaseThreadFromOpenSSL();

} // namespace telvora::detail
