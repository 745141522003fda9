#include <Telvora/Platform/Linux/LinuxUUIDSource.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <functional>
#include <thread>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/random.h>
#include <unistd.h>

namespace telvora {

namespace {

constexpr std::size_t storedUUIDs = 16;

struct Store {
    std::array<UUIDBytes, storedUUIDs> uuids;
    std::size_t left = 0;
    std::uint64_t generation = 0;
};

bool readKernel(std::uint8_t* bytes, std::size_t size)
{
    while (size > 0) {
        const ssize_t count = ::getrandom(bytes, size, 0);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return false;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    return true;
}

bool readDevice(std::uint8_t* bytes, std::size_t size)
{
    const int descriptor = ::open("/dev/urandom", O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    while (size > 0) {
        const ssize_t count = ::read(descriptor, bytes, size);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            break;
        bytes += count;
        size -= static_cast<std::size_t>(count);
    }
    ::close(descriptor);
    return size == 0;
}

/// SplitMix64 over everything that differs from one fill to the next.
void inventBytes(std::uint8_t* bytes, std::size_t size)
{
    static std::atomic<std::uint64_t> s_fills { 0 };

    const auto wall = std::chrono::system_clock::now().time_since_epoch().count();
    const auto steady = std::chrono::steady_clock::now().time_since_epoch().count();
    const auto thread = std::hash<std::thread::id> {}(std::this_thread::get_id());
    std::uint64_t state = static_cast<std::uint64_t>(wall);
    const auto mix = [&state](std::uint64_t value) {
        state += value + 0x9E3779B97F4A7C15;
        std::uint64_t mixed = state;
        mixed = (mixed ^ (mixed >> 30)) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ (mixed >> 27)) * 0x94D049BB133111EB;
        state = mixed ^ (mixed >> 31);
        return state;
    };
    mix(static_cast<std::uint64_t>(steady));
    mix(static_cast<std::uint64_t>(::getpid()));
    mix(thread);
    mix(s_fills.fetch_add(1, std::memory_order_relaxed));
    while (size > 0) {
        const std::uint64_t word = mix(0);
        const std::size_t count = std::min(size, sizeof word);
        std::memcpy(bytes, &word, count);
        bytes += count;
        size -= count;
    }
}

/// A number in a page of memory that the kernel clears in every child, also in one made without
/// the C library's knowledge. Null where the kernel cannot do that.
std::atomic<std::uint64_t>* makeForkMark()
{
    const auto pageSize = static_cast<std::size_t>(::sysconf(_SC_PAGESIZE));
    void* page
        = ::mmap(nullptr, pageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED)
        return nullptr;
    if (::madvise(page, pageSize, MADV_WIPEONFORK) != 0) {
        ::munmap(page, pageSize);
        return nullptr;
    }
    return ::new (page) std::atomic<std::uint64_t>(0);
}

/// The same number in a process as long as it lives, another one in each child; 0 where that
/// cannot be told.
std::uint64_t processGeneration()
{
    static std::atomic<std::uint64_t>* const s_mark = makeForkMark();
    // Not cleared in a child, so a child never takes a number that its parent used.
    static std::atomic<std::uint64_t> s_last { 0 };

    if (!s_mark)
        return 0;
    std::uint64_t generation = s_mark->load(std::memory_order_relaxed);
    if (generation == 0) {
        const std::uint64_t fresh = s_last.fetch_add(1, std::memory_order_relaxed) + 1;
        if (s_mark->compare_exchange_strong(generation, fresh, std::memory_order_relaxed))
            generation = fresh;
    }
    return generation;
}

void fill(std::uint8_t* bytes, std::size_t size)
{
    if (!readKernel(bytes, size) && !readDevice(bytes, size))
        inventBytes(bytes, size);
}

} // namespace

UUIDBytes LinuxUUIDSource::next()
{
    thread_local Store t_store;

    const std::uint64_t generation = processGeneration();
    if (generation == 0) {
        UUIDBytes bytes;
        fill(bytes.data(), bytes.size());
        return asRandomUUID(bytes);
    }
    if (t_store.left == 0 || t_store.generation != generation) {
        fill(t_store.uuids.front().data(), sizeof t_store.uuids);
        t_store.left = storedUUIDs;
        t_store.generation = generation;
    }
    return asRandomUUID(t_store.uuids[--t_store.left]);
}

} // namespace telvora
