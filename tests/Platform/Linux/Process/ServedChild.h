#pragma once

#include <tests/ChildProcess.h>
#include <tests/Platform/Curl/LoopbackServer.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <utility>

#include <unistd.h>

namespace telvora::detail {

/// A case whose host runs in a child, while this process serves its uploads.
///
/// The server starts after the fork: a child that is forked beside the server's threads could find
/// an allocator's lock taken, with the sanitizers' allocators at least.
class ServedChildTest : public testing::Test {
protected:
    /// Runs `body` with the server's address in a child; gives back how the child ended.
    template<typename Body> std::string endOfHost(Body body)
    {
        int ends[2];
        if (::pipe(ends) != 0)
            return "no pipe";
        const pid_t child = startChild([&] {
            char url[64] {};
            if (::read(ends[0], url, sizeof url - 1) <= 0)
                ::_exit(99);
            body(std::string(url));
        });
        const LoopbackServer server([](const LoopbackRequest&) {
            return LoopbackReply::answer(200, "{\"success\":true}");
        });
        const std::string url = server.url();
        const bool isSent = ::write(ends[1], url.data(), url.size()) > 0;
        const std::string end = isSent ? endOf(child) : "not told the address";
        ::close(ends[0]);
        ::close(ends[1]);
        requests += server.received().size();
        return end;
    }

    /// How many the server has had.
    std::size_t requests = 0;
};

} // namespace telvora::detail
