// AllocationCount.cpp: operator new of the test programs, which counts.
#include "AllocationCount.h"
#include <cstdlib>
#include <new>

namespace {
unsigned long long g_allocations = 0;

void* Allocate(std::size_t size) {
    ++g_allocations;
    if (void* const block = std::malloc(size ? size : 1)) return block;
    throw std::bad_alloc();
}
} // namespace

// Arrays come down to these by default. So would nothrow, were it not that the address sanitizer brings one of its own,
// whose blocks the delete below must not get.
void* operator new(std::size_t size) { return Allocate(size); }
void* operator new(std::size_t size, std::nothrow_t const&) noexcept {
    ++g_allocations;
    return std::malloc(size ? size : 1);
}
void operator delete(void* block) noexcept { std::free(block); }
void operator delete(void* block, std::size_t) noexcept { std::free(block); }

namespace qk3d {
AllocationCount::AllocationCount() : m_start(g_allocations) {}
unsigned long long AllocationCount::Get() const { return g_allocations - m_start; }
} // namespace qk3d
