#include <Telvora/Platform/Linux/Process/LinuxThread.h>

#include <Telvora/Base/ForkedChild.h>

#include <tests/ChildProcess.h>

#include <gtest/gtest.h>

#include <future>
#include <memory>
#include <stdexcept>
#include <string>

#include <pthread.h>
#include <signal.h>

namespace telvora::detail {
namespace {

/// What `ask` answers on a thread of ours.
template<typename Result> Result onThread(Result (*ask)())
{
    const auto promise = std::make_shared<std::promise<Result>>();
    auto answer = promise->get_future();
    EXPECT_TRUE(startDetachedThread("telvora-test", [promise, ask] { promise->set_value(ask()); }));
    return answer.get();
}

TEST(LinuxThreadTest, AThreadCarriesItsName)
{
    EXPECT_EQ(onThread<std::string>([] {
        char name[16] {};
        ::pthread_getname_np(::pthread_self(), name, sizeof name);
        return std::string(name);
    }),
        "telvora-test");
}

TEST(LinuxThreadTest, AThreadBlocksEverySignalAndItsStarterKeepsItsOwnMask)
{
    sigset_t before;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &before);

    EXPECT_TRUE(onThread<bool>([] {
        sigset_t mask;
        ::pthread_sigmask(SIG_SETMASK, nullptr, &mask);
        return ::sigismember(&mask, SIGTERM) == 1 && ::sigismember(&mask, SIGUSR1) == 1;
    }));
    sigset_t after;
    ::pthread_sigmask(SIG_SETMASK, nullptr, &after);
    EXPECT_EQ(::sigismember(&after, SIGTERM), ::sigismember(&before, SIGTERM));
}

TEST(LinuxThreadTest, AnExceptionEndsTheThreadAlone)
{
    const auto promise = std::make_shared<std::promise<void>>();
    auto isOver = promise->get_future();
    struct AtEnd {
        std::shared_ptr<std::promise<void>> promise;
        ~AtEnd() { promise->set_value(); }
    };

    EXPECT_TRUE(startDetachedThread(
        "telvora-test", [atEnd = std::shared_ptr<AtEnd>(new AtEnd { promise })] {
            throw std::runtime_error("x");
        }));

    isOver.get();
}

TEST(LinuxThreadTest, TheFirstThreadPutsTheLibraryInUseSoThatALaterChildIsInert)
{
    EXPECT_FALSE(isInUse());

    onThread<int>([] { return 0; });

    EXPECT_TRUE(isInUse());
    EXPECT_EQ(endOfChild([] {
        const bool isStarted = startDetachedThread("telvora-test", [] {});
        ::_exit(isForkedChild() && !isStarted ? 0 : 3);
    }),
        "exited 0");
}

} // namespace
} // namespace telvora::detail
