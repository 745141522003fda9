#pragma once

namespace telvora::detail {

// Handling of the two flags of a change of page. `Flags` has the four static functions of
// TrackerDataExcavator for them, each of which is one critical section.
//
// Deliberate: a test and the sets that follow are separate accesses. What another thread does in
// between is not noticed.

/// Call it when a page disappears. The first page to do so opens the change.
template<typename Flags> void openTransition()
{
    if (Flags::isTransitioning())
        return;
    Flags::setIsTransitioning(true);
    Flags::setIsTransitioningControl(true);
}

/// Call it when a page has come to the top. True for the first page of an open change: the caller
/// then schedules the end of the change.
template<typename Flags> bool claimTransitionClose()
{
    if (!Flags::isTransitioningControl() || !Flags::isTransitioning())
        return false;
    Flags::setIsTransitioningControl(false);
    return true;
}

} // namespace telvora::detail
