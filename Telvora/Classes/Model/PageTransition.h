#pragma once

namespace telvora::detail {

// The two flags of a change of page. `Flags` has the four static functions of TrackerDataExcavator
// for them, each of which is one critical section.
//
// Deliberate: a test and the sets that follow are separate accesses. What another thread does in
// between is not noticed.

/// A page leaves: the first one opens the change.
template<typename Flags> void openTransition()
{
    if (Flags::isTransitioning())
        return;
    Flags::setIsTransitioning(true);
    Flags::setIsTransitioningControl(true);
}

/// A page has come to the top. True for the first one of an open change, whose close is now to be
/// scheduled.
template<typename Flags> bool claimTransitionClose()
{
    if (!Flags::isTransitioningControl() || !Flags::isTransitioning())
        return false;
    Flags::setIsTransitioningControl(false);
    return true;
}

} // namespace telvora::detail
