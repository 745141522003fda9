#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>

namespace telvora {

/// A word that threads sleep on. The kernel only compares it; what it means, and the order of
/// memory around it, is the business of those who read and write it.
using FutexWord = std::atomic<std::uint32_t>;

/// Sleeps while `word` holds `expected`. May return for no reason: look again.
void futexWait(const FutexWord& word, std::uint32_t expected);

/// The same, until `deadline` at the latest. False when that is why it returned.
bool futexWaitUntil(
    const FutexWord& word, std::uint32_t expected, std::chrono::steady_clock::time_point deadline);

/// Wakes one sleeper. Never looks at the word, so it may be gone already: the worst that comes of
/// it is a sleeper that wakes for no reason.
void futexWake(const FutexWord& word);

} // namespace telvora
