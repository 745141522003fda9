#pragma once

#include <new>

namespace telvora {

/// While one lives, one allocation of this thread fails: the first after `spared` others. A program
/// that uses it has AllocationFault.cpp, which replaces operator new.
class AllocationFault {
public:
    explicit AllocationFault(int spared);
    ~AllocationFault();

    AllocationFault(const AllocationFault&) = delete;
    AllocationFault& operator=(const AllocationFault&) = delete;

    /// Whether that allocation was asked for.
    bool hasStruck() const;
};

} // namespace telvora
