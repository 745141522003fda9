#pragma once

#include <Telvora/Base/Dictionary.h>
#include <Telvora/Classes/TrackerConfig.h>
#include <Telvora/Classes/Utils/Batch.h>

#include <memory>

namespace telvora {

/// Makes the batches of a channel, posts them, and keeps account of what becomes of each.
///
/// Threads: each function says where it belongs; ends come on the HTTP client's thread.
///
/// Failure: nothing is thrown. A batch that was begun and could not be made or sent, because there
/// was no memory or a service of the platform threw, is an internal error on the channel's account.
class Delivery {
public:
    /// Sends the whole list of the channel and leaves it empty; in the barrier block that filled
    /// it. Gives back the events as they stand in the batch. Null where there was no memory for a
    /// batch: then nothing has changed, and the next event tries again.
    static std::shared_ptr<const Array> sendList(const std::shared_ptr<TrackerConfig>& config);

    /// Sends a copy of the list, on any thread.
    static void sendNormalData(
        const std::shared_ptr<TrackerConfig>& config, TrackerConfig::Copied apiDatas);

    /// Sends the retry entry whose turn it is, if there is one; on any thread.
    static void sendRetryData(const std::shared_ptr<TrackerConfig>& config);

private:
    class Upload;

    static void post(Upload upload, const Batch& batch);
};

} // namespace telvora
