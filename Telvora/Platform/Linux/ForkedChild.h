#pragma once

namespace telvora {

/// True in a process that was forked from one in which watchForForks() had been called.
///
/// Only the thread that forked exists in the child. Our pool and timer threads are gone, perhaps
/// with a lock in their hands or a block half run, so the child takes none of our locks and starts
/// none of our threads: asynchronous work is kept and never runs, timers stand still, and a
/// synchronous block runs on its caller's thread, at once where it would have to wait for a thread
/// that is not there.
bool isForkedChild() noexcept;

/// Called once or more before the first thing that a fork could break.
void watchForForks();

} // namespace telvora
