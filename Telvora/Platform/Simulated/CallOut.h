#pragma once

#include <Telvora/Base/Export.h>

namespace telvora::detail {

/// While one exists, the calling thread is in a function of the test's that a simulated service has
/// called, on the stack of the library. The platform cannot be taken down there.
class TELVORA_EXPORT CallOut {
public:
    CallOut();
    ~CallOut();

    CallOut(const CallOut&) = delete;
    CallOut& operator=(const CallOut&) = delete;

    /// Whether there is one on this thread.
    static bool isUnderWay();
};

} // namespace telvora::detail
