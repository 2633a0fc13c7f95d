// Bench.cpp: the main program of qk3d-bench, and the counters on operator new and delete.
#include "Bench.h"

#include <atomic>
#include <cstdio>
#include <malloc.h>
#include <new>

namespace {
std::atomic<unsigned long long> allocations{0};
std::atomic<unsigned long long> liveBlocks{0};

void* Allocate(std::size_t size) {
    allocations.fetch_add(1, std::memory_order_relaxed);
    liveBlocks.fetch_add(1, std::memory_order_relaxed);
    if (void* const block = std::malloc(size ? size : 1)) return block;
    throw std::bad_alloc();
}

void Free(void* block) {
    if (!block) return;
    liveBlocks.fetch_sub(1, std::memory_order_relaxed);
    std::free(block);
}
} // namespace

void* operator new(std::size_t size) { return Allocate(size); }
void* operator new[](std::size_t size) { return Allocate(size); }
void operator delete(void* block) noexcept { Free(block); }
void operator delete[](void* block) noexcept { Free(block); }
void operator delete(void* block, std::size_t) noexcept { Free(block); }
void operator delete[](void* block, std::size_t) noexcept { Free(block); }

namespace bench {
unsigned long long AllocationCount() { return allocations.load(std::memory_order_relaxed); }

HeapUse GetHeapUse() {
    return {static_cast<unsigned long long>(mallinfo2().uordblks), liveBlocks.load(std::memory_order_relaxed)};
}

void Fail(char const* what) {
    std::fprintf(stderr, "qk3d-bench: wrong result: %s\n", what);
    std::exit(1);
}
} // namespace bench

BENCHMARK_MAIN();
