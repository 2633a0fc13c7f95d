// QK3DTimerAliveInternal.h: the living events of a timer, in order, with a quick way to those that are due.
#pragma once

#include "QK3DPrefetchInternal.h"
#include "QK3DTimer.h"

namespace qk3d {
/// A sorted list in blocks. Each event has a wake time: it has nothing to do before that. A block knows a lower bound
/// of its wake times, and so does each group of eight in it, so a walk over what is due passes over the rest some dozens
/// of events at a time, and what it finds is in order already. A heap would find the due events as fast, but would have to
/// sort them.
///
/// A walk finds several due events ahead and asks the processor for their memory: with many events that come up rarely,
/// waiting for each of them in turn takes most of the time.
class CTimerAliveEvents {
    struct Place {
        std::uint32_t block;
        std::int32_t index;
    };

public:
    /// A place in a walk. It stays good when events come and go.
    class CCursor {
        friend class CTimerAliveEvents;
        static constexpr int kMostAhead = 64;

        CTimerEvent::Key m_key;     // of the event it stands on
        Place m_from{0, 0};         // nothing from here on was looked at
        unsigned int m_version = 0; // of the list, when it was
        int m_ahead = 2;            // how many events to look for, the more the longer nothing changes
        int m_count = 0;            // of events found; the one it stands on is in front of m_next
        int m_next = 0;
        CTimerEvent* m_events[kMostAhead + 8];
        Place m_places[kMostAhead + 8];
    };

    /// The next Insert finds all the memory it needs.
    void MakeRoom();

    void Insert(CTimerEvent* event);
    void Erase(CTimerEvent* event);
    void UpdateWakeTime(CTimerEvent* event);

    /// The first event behind the cursor with a wake time up to `limit`, or null. A cursor stands before the first
    /// event when it is new, and on the result afterwards.
    CTimerEvent* Next(CCursor& cursor, long long limit);

    /// As UpdateWakeTime for the event that the cursor stands on, without a search if nothing was moved since.
    void UpdateWakeTime(CCursor const& cursor, CTimerEvent* event);

    CTimerEvent* GetFirst() const { return m_blocks.empty() ? nullptr : m_blocks[0]->events[0]; }

private:
    using Key = CTimerEvent::Key;
    static constexpr int kGroupSize = 8;
    static constexpr int kBlockSize = 8 * kGroupSize;

    struct alignas(kCacheLine) Block {
        long long groupEarliest[kBlockSize / kGroupSize]; // exact, unless it is stale
        long long wakeTimes[kBlockSize];                  // those behind the last event are never due
        CTimerEvent* events[kBlockSize];
        Key keys[kBlockSize];
        int count = 0;
        bool isStale = true;

        Block();
        int Find(Key const& key) const; // the first with a key not below
        void Insert(int index, Key const& key, long long wakeTime, CTimerEvent* event);
        void Erase(int index);
        void MoveUpperHalfTo(Block& other);
        long long Refresh(); // the earliest of all
    };

    std::size_t FindBlock(Key const& key) const;
    std::size_t AddBlock(std::size_t at);
    void SetWakeTime(std::size_t block, int index, long long wakeTime);
    void FindAgain(CCursor& cursor, long long limit);
    void LookAhead(CCursor& cursor, long long limit);

    std::vector<std::unique_ptr<Block>> m_blocks; // none of them empty
    std::unique_ptr<Block> m_spareBlock;
    std::vector<long long> m_earliest; // for each block: none of its wake times is below
    unsigned int m_version = 0;        // counts what makes the places of a cursor old
};
} // namespace qk3d
