#include <tests/Classes/AllocationFault.h>

#include <cstdlib>

namespace {

constexpr int none = -1;

// How many allocations succeed before one fails; `none` while no fault is set.
thread_local int s_spared = none;

void* allocate(std::size_t size, std::size_t alignment)
{
    if (s_spared != none && s_spared-- == 0)
        throw std::bad_alloc();
    void* memory = alignment > __STDCPP_DEFAULT_NEW_ALIGNMENT__
        ? std::aligned_alloc(alignment, (size + alignment - 1) / alignment * alignment)
        : std::malloc(size > 0 ? size : 1);
    if (!memory)
        throw std::bad_alloc();
    return memory;
}

} // namespace

namespace telvora {

AllocationFault::AllocationFault(int spared)
{
    s_spared = spared;
}

AllocationFault::~AllocationFault()
{
    s_spared = none;
}

// The failing allocation counts down from 0 to -1, which is `none`: no other one fails.
bool AllocationFault::hasStruck() const
{
    return s_spared == none;
}

} // namespace telvora

void* operator new(std::size_t size)
{
    return allocate(size, 0);
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    return allocate(size, static_cast<std::size_t>(alignment));
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    std::free(memory);
}
