// AllocationCount.cpp: operator new of the test programs, which counts, and fails when told to.
#include "AllocationCount.h"
#include <algorithm>
#include <cstdlib>
#include <new>

namespace {
constexpr unsigned long long kNone = ~0ull;

unsigned long long g_allocations = 0;
long long g_live = 0;
unsigned long long g_failing = kNone; // the number of the allocation that fails

void* Allocate(std::size_t size, std::size_t alignment = 1) {
    if (g_allocations++ == g_failing) return nullptr;
    size = std::max(size, alignment);
    void* const block = alignment > 1 ? std::aligned_alloc(alignment, size) : std::malloc(size);
    if (block) ++g_live;
    return block;
}

void Release(void* block) {
    if (block) --g_live;
    std::free(block);
}
} // namespace

// Arrays come down to these by default. So would nothrow, were it not that the address sanitizer brings one of its own,
// whose blocks the delete below must not get.
void* operator new(std::size_t size) {
    if (void* const block = Allocate(size)) return block;
    throw std::bad_alloc();
}
void* operator new(std::size_t size, std::nothrow_t const&) noexcept { return Allocate(size); }
void* operator new(std::size_t size, std::align_val_t alignment) {
    if (void* const block = Allocate(size, static_cast<std::size_t>(alignment)))
        return block; // a multiple of it always
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept { Release(block); }
void operator delete(void* block, std::size_t) noexcept { Release(block); }
void operator delete(void* block, std::align_val_t) noexcept { Release(block); }
void operator delete(void* block, std::size_t, std::align_val_t) noexcept { Release(block); }

namespace qk3d {
AllocationCount::AllocationCount() : m_start(g_allocations) {}
unsigned long long AllocationCount::Get() const { return g_allocations - m_start; }
long long AllocationCount::GetLive() { return g_live; }

AllocationFault::AllocationFault(unsigned long long number) { g_failing = g_allocations + number; }
AllocationFault::~AllocationFault() { g_failing = kNone; }
bool AllocationFault::HasStruck() const { return g_allocations > g_failing; }
} // namespace qk3d
