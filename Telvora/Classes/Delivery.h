#pragma once

#include <Telvora/Classes/PendingEvents.h>
#include <Telvora/Classes/TrackerConfig.h>
#include <Telvora/Classes/Utils/Batch.h>

#include <memory>

namespace telvora::detail {

/// Makes the batches of a channel, posts them, and records on the ledger how each upload ended.
///
/// Threads: see each function. Uploads end on the HTTP client's thread.
///
/// Once Uploads says that none may begin, nothing is sent, and all stays where it is.
///
/// Failure: nothing is thrown. A batch that was begun and could not be made or sent, because there
/// was no memory or a service of the platform threw, is an `internalError` on the ledger.
class Delivery {
public:
    /// Sends the whole list of the channel and empties it. Call it in the barrier block that filled
    /// the list. Where there is no memory for a batch, nothing changes, and the next event tries
    /// again.
    static void sendList(const std::shared_ptr<TrackerConfig>& config);

    /// Sends a copy of the list. Threads: any.
    static void sendNormalData(
        const std::shared_ptr<TrackerConfig>& config, const PendingEvents::Copied& apiDatas);

    /// Sends the first entry of the retry cache, if there is one. Threads: any.
    static void sendRetryData(const std::shared_ptr<TrackerConfig>& config);

    /// Sends an entry that was taken from the retry cache. Threads: any.
    static void sendTaken(
        const std::shared_ptr<TrackerConfig>& config, const TrackerRetryCache::Taken& taken);

private:
    class Upload;

    static void post(Upload upload, const Batch& batch) noexcept;
};

} // namespace telvora::detail
