#pragma once

#include <new>

namespace telvora {

/// While one exists, one allocation of this thread fails: the first after `spared` others. Link
/// AllocationFault.cpp, which replaces operator new.
class AllocationFault {
public:
    explicit AllocationFault(int spared);
    ~AllocationFault();

    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether that allocation has been tried.
    bool hasStruck() const;
};

} // namespace telvora
