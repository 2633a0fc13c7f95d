// QK3DBlockPoolInternal.h: memory for the many objects of one class that are walked over every frame.
#pragma once

#include "PlatformSanitizer.h"
#include "QK3DPrefetchInternal.h"
#include <cstddef>
#include <cstdint>
#include <new>

namespace qk3d {
/// Objects of `kSize` bytes, made one after the other, lie side by side, each at the beginning of a cache line: a walk in
/// that order is one that processors foresee, whatever else the heap holds. Memory comes and goes in slabs of 64 objects.
/// Meant for operator new and delete of a class; other sizes, of classes that derive from it, go to the heap. A static
/// pool needs neither constructor nor destructor.
template <std::size_t kSize>
class BlockPool {
public:
    void* Take(std::size_t size) {
        if (!IsOurs(size)) return ::operator new(size);
        if (!m_open) AddSlab();
        Slab* const slab = m_open;
        Block* block = slab->free;
        if (block)
            slab->free = block->next;
        else
            block = slab->GetBlock(slab->begun++);
        if (++slab->used == kBlocks) Unlink(slab);
        block->slab = slab;
        return block;
    }

    void Give(void* memory, std::size_t size) noexcept {
        if (!IsOurs(size)) return ::operator delete(memory);
        auto* const block = static_cast<Block*>(memory);
        Slab* const slab = block->slab;
        if (slab->used-- == kBlocks) Link(slab);
        block->next = slab->free;
        slab->free = block;
        if (slab->used != 0) return;
        Unlink(slab);
        ::operator delete(slab);
    }

private:
    static constexpr unsigned int kBlocks = 64;

    // Where the sanitizer watches each object has a block of its own: whoever uses one that is gone is found out.
    static constexpr bool IsOurs(std::size_t size) { return size == kSize && !QK_HAS_ADDRESS_SANITIZER; }

    struct Slab;
    struct Block {
        union {
            unsigned char object[kSize];
            Block* next; // while it is free
        };
        Slab* slab;
    };
    static constexpr std::size_t kStride = (sizeof(Block) + kCacheLine - 1) / kCacheLine * kCacheLine;

    struct Slab {
        Slab* previous; // of the slabs that are not full
        Slab* next;
        Block* free;        // those given back
        unsigned int used;  // how many are out
        unsigned int begun; // how many were out ever

        Block* GetBlock(unsigned int index) {
            auto const behind = reinterpret_cast<std::uintptr_t>(this + 1) + kCacheLine - 1;
            return reinterpret_cast<Block*>(behind / kCacheLine * kCacheLine + index * kStride);
        }
    };

    void AddSlab() {
        auto* const slab =
            static_cast<Slab*>(::operator new(sizeof(Slab) + kCacheLine - 1 + std::size_t(kBlocks) * kStride));
        *slab = {nullptr, nullptr, nullptr, 0, 0};
        Link(slab);
    }

    void Link(Slab* slab) {
        slab->previous = nullptr;
        slab->next = m_open;
        if (m_open) m_open->previous = slab;
        m_open = slab;
    }

    void Unlink(Slab* slab) {
        (slab->previous ? slab->previous->next : m_open) = slab->next;
        if (slab->next) slab->next->previous = slab->previous;
    }

    Slab* m_open = nullptr; // the slabs that are not full, those that were so last before the others
};
} // namespace qk3d
