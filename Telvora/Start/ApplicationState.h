#pragma once

#include <Telvora/Base/Export.h>

/// The host calls these when its application goes to the background and when it comes back. They
/// post to the notification centre of the platform, whichever it is.
///
/// Threads: any; usually the main thread. They return when all observers have run: the hooks of the
/// channels, and the hand-over of batches to the HTTP client. They do not wait for the network.
/// Failure: none is reported. Before the first use of the library, and in a forked child, nothing
/// happens. What an observer of the host's throws is caught, and ends the post.
namespace telvora {

/// The flush timer pauses, each channel's stop hook is called, and each channel is flushed.
TELVORA_EXPORT void enterBackground() noexcept;

/// The flush timer goes on, and each channel's restart hook is called.
TELVORA_EXPORT void enterForeground() noexcept;

} // namespace telvora
