#pragma once

#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/TrackerConfig.h>
#include <Telvora/Classes/Uploads.h>
#include <Telvora/Classes/Utils/Batch.h>

#include <memory>

namespace telvora::detail {

/// Makes the batches of a channel, posts them, and records on the ledger how each upload ended.
///
/// Threads: see each function. Uploads end on the HTTP client's thread.
///
/// Once Uploads says that none may begin, nothing is sent, and all stays where it is.
///
/// `withdrawn` is Uploads::consent() of before the batch or the copy was taken: consent that is
/// withdrawn and given again meanwhile does not cover it.
///
/// Failure: nothing is thrown. A batch that was begun and could not be made or sent, because there
/// was no memory or a service of the platform threw, is an `internalError` on the ledger.
class Delivery {
public:
    /// Sends the channel's list, if there is one, and empties it. Without the events that a tick
    /// has copied and not cleared yet, if `which` says so. Call it in a barrier block of the
    /// manager's queue. Where there is no memory for a batch, nothing changes, and the next event
    /// tries again.
    static void sendList(const std::shared_ptr<TrackerConfig>& config,
        PendingEvents::Which which = PendingEvents::Which::all);

    /// Sends a copy of the list. Threads: any.
    static void sendNormalData(const std::shared_ptr<TrackerConfig>& config,
        const PendingEvents::Copied& apiDatas, Uploads::Withdrawn withdrawn);

    /// Sends the first entry of the retry cache, if there is one. Threads: any.
    static void sendRetryData(const std::shared_ptr<TrackerConfig>& config);

    /// Sends an entry that was taken from the retry cache. Threads: any.
    static void sendTaken(const std::shared_ptr<TrackerConfig>& config,
        const TrackerRetryCache::Taken& taken, Uploads::Withdrawn withdrawn);

private:
    class Upload;

    static void post(Upload upload, const Batch& batch) noexcept;
};

} // namespace telvora::detail
