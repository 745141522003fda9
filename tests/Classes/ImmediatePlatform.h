#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Platform/DispatchQueue.h>
#include <Telvora/Platform/HTTPClient.h>
#include <Telvora/Platform/Simulated/SimulatedPlatform.h>
#include <Telvora/Platform/TimerSource.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

namespace telvora {

/// Queues that run each block inside the call that submits it. Each submission allocates once, as a
/// real queue does. What a block throws is caught and counted.
class ImmediateDispatch final : public Dispatch {
public:
    std::unique_ptr<DispatchQueue> makeConcurrentQueue(std::string) override
    {
        return std::make_unique<Queue>(*this);
    }
    std::unique_ptr<TimerSource> makeTimerSource() override
    {
        return m_simulated.makeTimerSource();
    }
    void globalAsyncAfter(std::chrono::nanoseconds, Work) override { }
    void mainAsync(Work block) override { run(std::move(block)); }

    int escapedCount() const { return m_escaped; }

private:
    class Queue final : public DispatchQueue {
    public:
        explicit Queue(ImmediateDispatch& dispatch)
            : m_dispatch(dispatch)
        {
        }
        void barrierAsync(Work block) override { m_dispatch.run(std::move(block)); }
        void sync(FunctionRef<void()> block) override { block(); }
        void barrierSync(FunctionRef<void()> block) override { block(); }

    protected:
        // Allocates before the block is made.
        void makeBarrier(FunctionRef<void(Work&)> make) override
        {
            const auto place = std::make_unique<Work>();
            make(*place);
            m_dispatch.call(*place);
        }

    private:
        ImmediateDispatch& m_dispatch;
    };

    void run(Work block) { call(*std::make_unique<Work>(std::move(block))); }

    void call(Work& block)
    {
        try {
            block();
        } catch (...) {
            ++m_escaped;
        }
    }

    ManualClock m_clock;
    ManualDispatch m_simulated { m_clock };
    int m_escaped = 0;
};

/// Answers every request before send() returns, unless `manner` says otherwise, and records the
/// bodies that it has accepted. What a completion throws is caught and counted.
class ImmediateClient final : public HTTPClient {
public:
    enum class Manner {
        accepts,
        refuses,
        /// Keeps the request and throws. complete() answers it later.
        keepsAndThrows,
        /// Never answers.
        forgets,
    };

    void send(HTTPRequest request, Completion completion) override
    {
        if (manner == Manner::forgets)
            return;
        if (manner == Manner::keepsAndThrows) {
            m_kept = std::move(completion);
            throw std::runtime_error("after the request was taken");
        }
        answer(std::move(request), std::move(completion));
    }

    /// Accepts the request that keepsAndThrows kept.
    void complete() { answer({}, std::move(m_kept)); }

    Manner manner = Manner::accepts;
    std::vector<std::string> accepted;
    int escapedCount = 0;

private:
    void answer(HTTPRequest request, Completion completion)
    {
        HTTPAnswer answer;
        if (manner == Manner::refuses) {
            answer.error = "no route to the collector, said at length";
        } else {
            answer.data = R"({"success":true,"note":"long enough to need memory"})";
            accepted.push_back(std::move(request.body));
        }
        try {
            completion(std::move(answer));
        } catch (...) {
            ++escapedCount;
        }
    }

    Completion m_kept;
};

/// The simulated platform with ImmediateDispatch and ImmediateClient.
struct ImmediatePlatform {
    SimulatedPlatform simulated;
    ImmediateDispatch dispatch;
    ImmediateClient client;
    Platform services { simulated.application(), simulated.bundle(), simulated.clock(),
        simulated.device(), dispatch, simulated.fileManager(), client, simulated.lifeCycleChecker(),
        simulated.notificationCenter(), simulated.reachability(), simulated.screens(),
        simulated.telephony(), simulated.uuids() };
};

/// The one of this process, installed by the first call and never destroyed.
inline ImmediatePlatform& immediate()
{
    static auto& platform = []() -> ImmediatePlatform& {
        auto& made = *new ImmediatePlatform;
        installPlatform(made.services);
        return made;
    }();
    return platform;
}

} // namespace telvora
