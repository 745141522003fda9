#include <Telvora/Platform/Linux/Machine/LinuxUUIDSource.h>

#include <boost/uuid/entropy_error.hpp>
#include <boost/uuid/random_generator.hpp>

#include <atomic>
#include <chrono>
#include <random>

#include <unistd.h>

namespace telvora::detail {

namespace {

UUID uuidWithoutKernel()
{
    static std::atomic<unsigned> s_count { 0 };

    const auto wall = std::chrono::system_clock::now().time_since_epoch().count();
    const auto steady = std::chrono::steady_clock::now().time_since_epoch().count();
    std::seed_seq seed { wall, wall >> 32, steady, steady >> 32, long { ::getpid() },
        long { s_count.fetch_add(1, std::memory_order_relaxed) } };
    std::mt19937 engine(seed);
    return boost::uuids::basic_random_generator<std::mt19937>(engine)();
}

} // namespace

UUID LinuxUUIDSource::next()
{
    try {
        return boost::uuids::random_generator_pure()();
    } catch (const boost::uuids::entropy_error&) {
        return uuidWithoutKernel();
    }
}

} // namespace telvora::detail
