// QK3DTimerAlive.cpp: the sorted blocks of living events.
#include "QK3DTimerAliveInternal.h"
#include <algorithm>
#include <bit>
#include <limits>

namespace qk3d {
namespace {
constexpr long long kNever = std::numeric_limits<long long>::max();

long long EarliestOfEight(long long const* times) {
    return std::min(std::min(std::min(times[0], times[1]), std::min(times[2], times[3])),
                    std::min(std::min(times[4], times[5]), std::min(times[6], times[7])));
}

// A bit for each of eight times that is not above the limit.
unsigned int DueOfEight(long long const* times, long long limit) {
    unsigned int due = 0;
    for (unsigned int i = 0; i < 8; ++i) due |= static_cast<unsigned int>(times[i] <= limit) << i;
    return due;
}

template <class T>
void InsertAt(T* list, int count, int index, T const& value) {
    std::copy_backward(list + index, list + count, list + count + 1);
    list[index] = value;
}
} // namespace

CTimerAliveEvents::Block::Block() { std::fill(std::begin(wakeTimes), std::end(wakeTimes), kNever); }

int CTimerAliveEvents::Block::Find(Key const& key) const {
    return static_cast<int>(std::lower_bound(keys, keys + count, key) - keys);
}

void CTimerAliveEvents::Block::Insert(int index, Key const& key, long long wakeTime, CTimerEvent* event) {
    InsertAt(wakeTimes, count, index, wakeTime);
    InsertAt(keys, count, index, key);
    InsertAt(events, count, index, event);
    ++count;
    isStale = true;
}

void CTimerAliveEvents::Block::Erase(int index) {
    std::copy(wakeTimes + index + 1, wakeTimes + count, wakeTimes + index);
    std::copy(keys + index + 1, keys + count, keys + index);
    std::copy(events + index + 1, events + count, events + index);
    wakeTimes[--count] = kNever;
    isStale = true;
}

void CTimerAliveEvents::Block::MoveUpperHalfTo(Block& other) {
    int const half = count / 2;
    std::copy(wakeTimes + half, wakeTimes + count, other.wakeTimes);
    std::copy(keys + half, keys + count, other.keys);
    std::copy(events + half, events + count, other.events);
    std::fill(wakeTimes + half, wakeTimes + count, kNever);
    other.count = count - half;
    count = half;
    isStale = other.isStale = true;
}

long long CTimerAliveEvents::Block::Refresh() {
    for (int i = 0; i < kBlockSize / kGroupSize; ++i) groupEarliest[i] = EarliestOfEight(wakeTimes + i * kGroupSize);
    isStale = false;
    return EarliestOfEight(groupEarliest);
}

// The last block that starts at or before the key; the first one for a key below all.
std::size_t CTimerAliveEvents::FindBlock(Key const& key) const {
    auto const behind = std::upper_bound(m_blocks.begin(), m_blocks.end(), key,
                                         [](Key const& k, auto const& block) { return k < block->keys[0]; });
    return behind == m_blocks.begin() ? 0 : static_cast<std::size_t>(behind - m_blocks.begin()) - 1;
}

// The spare block takes its place, empty.
std::size_t CTimerAliveEvents::AddBlock(std::size_t at) {
    m_blocks.insert(m_blocks.begin() + static_cast<std::ptrdiff_t>(at), std::move(m_spareBlock));
    m_earliest.insert(m_earliest.begin() + static_cast<std::ptrdiff_t>(at), kNever);
    return at;
}

void CTimerAliveEvents::SetWakeTime(std::size_t at, int index, long long wakeTime) {
    Block& block = *m_blocks[at];
    if (block.wakeTimes[index] == wakeTime) return;
    block.wakeTimes[index] = wakeTime;
    if (block.isStale) {
        m_earliest[at] = std::min(m_earliest[at], wakeTime);
        return;
    }
    int const group = index / kGroupSize;
    block.groupEarliest[group] = EarliestOfEight(block.wakeTimes + group * kGroupSize);
    m_earliest[at] = EarliestOfEight(block.groupEarliest);
}

void CTimerAliveEvents::MakeRoom() {
    if (!m_spareBlock) m_spareBlock = std::make_unique<Block>();
    if (m_blocks.size() == m_blocks.capacity()) m_blocks.reserve(2 * m_blocks.size() + 1);
    if (m_earliest.capacity() < m_blocks.capacity()) m_earliest.reserve(m_blocks.capacity());
}

void CTimerAliveEvents::Insert(CTimerEvent* event) {
    ++m_version;
    Key const& key = event->m_key;
    std::size_t at = m_blocks.empty() ? AddBlock(0) : FindBlock(key);
    if (m_blocks[at]->count == kBlockSize) {
        if (key < m_blocks[at]->keys[0]) {
            AddBlock(at); // below all there are: whole blocks stay whole
        } else if (at + 1 == m_blocks.size() && m_blocks[at]->keys[kBlockSize - 1] < key) {
            at = AddBlock(at + 1); // and so above all
        } else {
            AddBlock(at + 1);
            m_blocks[at]->MoveUpperHalfTo(*m_blocks[at + 1]);
            m_earliest[at + 1] = m_earliest[at];
            if (m_blocks[at + 1]->keys[0] < key) ++at;
        }
    }
    Block& block = *m_blocks[at];
    long long const wakeTime = event->_GetWakeTime();
    block.Insert(block.Find(key), key, wakeTime, event);
    m_earliest[at] = std::min(m_earliest[at], wakeTime);
}

void CTimerAliveEvents::Erase(CTimerEvent* event) {
    ++m_version;
    std::size_t const at = FindBlock(event->m_key);
    Block& block = *m_blocks[at];
    block.Erase(block.Find(event->m_key));
    if (block.count > 0) return;
    m_spareBlock = std::move(m_blocks[at]);
    m_blocks.erase(m_blocks.begin() + static_cast<std::ptrdiff_t>(at));
    m_earliest.erase(m_earliest.begin() + static_cast<std::ptrdiff_t>(at));
}

void CTimerAliveEvents::UpdateWakeTime(CTimerEvent* event) {
    ++m_version;
    std::size_t const at = FindBlock(event->m_key);
    SetWakeTime(at, m_blocks[at]->Find(event->m_key), event->_GetWakeTime());
}

void CTimerAliveEvents::UpdateWakeTime(CCursor const& cursor, CTimerEvent* event) {
    if (cursor.m_version != m_version) return UpdateWakeTime(event);
    auto const& place = cursor.m_places[cursor.m_next - 1];
    SetWakeTime(place.block, place.index, event->_GetWakeTime());
}

CTimerEvent* CTimerAliveEvents::Next(CCursor& cursor, long long limit) {
    if (m_blocks.empty()) return nullptr;
    if (cursor.m_count > 0 && cursor.m_version != m_version)
        FindAgain(cursor, limit);
    else if (cursor.m_next == cursor.m_count)
        LookAhead(cursor, limit);
    if (cursor.m_count == 0) return nullptr;
    CTimerEvent* const event = cursor.m_events[cursor.m_next++];
    cursor.m_key = event->m_key;
    return event;
}

// What the cursor found may be gone, so it goes on from its key, and not far: where one callback changes the list, others do.
void CTimerAliveEvents::FindAgain(CCursor& cursor, long long limit) {
    std::size_t const at = FindBlock(cursor.m_key);
    Block const& block = *m_blocks[at];
    int index = block.Find(cursor.m_key);
    if (index < block.count && block.keys[index] == cursor.m_key) ++index;
    while (index < block.count && block.wakeTimes[index] > limit) ++index;

    auto const number = static_cast<std::uint32_t>(at);
    cursor.m_version = m_version;
    cursor.m_ahead = 2;
    cursor.m_next = 0;
    if (index == block.count) {
        cursor.m_from = {number + 1, 0};
        LookAhead(cursor, limit);
    } else {
        cursor.m_from = {number, index + 1};
        cursor.m_count = 1;
        cursor.m_events[0] = block.events[index];
        cursor.m_places[0] = {number, index};
    }
}

// Finds blocks, then groups in them, then events in those; each round asks for the memory that the next one reads.
void CTimerAliveEvents::LookAhead(CCursor& cursor, long long limit) {
    std::uint32_t blocks[CCursor::kMostAhead];
    Place groups[CCursor::kMostAhead + 8];
    cursor.m_version = m_version;
    cursor.m_count = cursor.m_next = 0;
    while (cursor.m_count == 0 && cursor.m_from.block < m_blocks.size()) {
        Place const from = cursor.m_from;
        std::uint32_t at = from.block;
        int blockCount = 0;
        for (; at < m_blocks.size() && blockCount < cursor.m_ahead; ++at) {
            if (m_earliest[at] > limit) continue;
            blocks[blockCount++] = at;
            Prefetch(m_blocks[at]->groupEarliest, kCacheLine);
            Prefetch(&m_blocks[at]->count, sizeof Block::count);
        }
        cursor.m_from = {at, 0}; // unless a later round does not come to its end

        int groupCount = 0;
        for (int i = 0; i < blockCount; ++i) {
            if (groupCount >= cursor.m_ahead) {
                cursor.m_from = {blocks[i], 0};
                break;
            }
            Block& block = *m_blocks[blocks[i]];
            if (block.isStale) m_earliest[blocks[i]] = block.Refresh();
            for (unsigned int due = DueOfEight(block.groupEarliest, limit); due; due &= due - 1) {
                int const first = std::countr_zero(due) * kGroupSize;
                groups[groupCount++] = {blocks[i], first};
                Prefetch(block.wakeTimes + first, kCacheLine);
                Prefetch(block.events + first, kCacheLine);
            }
        }

        for (int i = 0; i < groupCount; ++i) {
            auto const [number, first] = groups[i];
            if (cursor.m_count >= cursor.m_ahead) {
                cursor.m_from = groups[i];
                break;
            }
            Block const& block = *m_blocks[number];
            for (unsigned int due = DueOfEight(block.wakeTimes + first, limit); due; due &= due - 1) {
                int const index = first + std::countr_zero(due);
                if (index >= block.count || (number == from.block && index < from.index)) continue;
                Prefetch(block.events[index], sizeof(CTimerEvent));
                cursor.m_places[cursor.m_count] = {number, index};
                cursor.m_events[cursor.m_count++] = block.events[index];
            }
        }
    }
    cursor.m_ahead = std::min(2 * cursor.m_ahead, CCursor::kMostAhead);
}
} // namespace qk3d
