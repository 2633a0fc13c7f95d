// QK3DTimerAliveInternal.h: the living events of a timer, in order, with a quick way to those that are due.
#pragma once

#include "QK3DTimer.h"

namespace qk3d {
/// A sorted list in blocks. Each event has a wake time: it has nothing to do before that. A block knows a lower bound
/// of its wake times, so a walk over what is due passes over the rest some dozens of events at a time, and what it finds
/// is in order already. A heap would find the due events as fast, but would have to sort them.
class CTimerAliveEvents {
public:
    /// A place in a walk. It stays good when events come and go.
    class CCursor {
        friend class CTimerAliveEvents;
        std::size_t m_block = 0;
        int m_index = -1;
        unsigned int m_version = 0;
        CTimerEvent::Key m_key;
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
    static constexpr int kBlockSize = 64;

    struct Block {
        int count = 0;
        long long wakeTimes[kBlockSize];
        Key keys[kBlockSize];
        CTimerEvent* events[kBlockSize];

        int Find(Key const& key) const; // the first with a key not below
        void Insert(int index, Key const& key, long long wakeTime, CTimerEvent* event);
        void Erase(int index);
        void MoveUpperHalfTo(Block& other);
        long long GetEarliest() const;
    };

    std::size_t FindBlock(Key const& key) const;
    void SetWakeTime(std::size_t block, int index, long long wakeTime);

    std::vector<std::unique_ptr<Block>> m_blocks; // none of them empty
    std::unique_ptr<Block> m_spareBlock;
    std::vector<long long> m_earliest; // for each block: none of its wake times is below
    unsigned int m_version = 0;                   // counts insertions and removals
};
} // namespace qk3d
