// QK3DTimerAlive.cpp: the sorted blocks of living events.
#include "QK3DTimerAliveInternal.h"
#include <algorithm>

namespace qk3d {
int CTimerAliveEvents::Block::Find(Key const& key) const {
    return static_cast<int>(std::lower_bound(keys, keys + count, key) - keys);
}

void CTimerAliveEvents::Block::Insert(int index, Key const& key, long long wakeTime, CTimerEvent* event) {
    std::copy_backward(wakeTimes + index, wakeTimes + count, wakeTimes + count + 1);
    std::copy_backward(keys + index, keys + count, keys + count + 1);
    std::copy_backward(events + index, events + count, events + count + 1);
    wakeTimes[index] = wakeTime;
    keys[index] = key;
    events[index] = event;
    ++count;
}

void CTimerAliveEvents::Block::Erase(int index) {
    std::copy(wakeTimes + index + 1, wakeTimes + count, wakeTimes + index);
    std::copy(keys + index + 1, keys + count, keys + index);
    std::copy(events + index + 1, events + count, events + index);
    --count;
}

void CTimerAliveEvents::Block::MoveUpperHalfTo(Block& other) {
    int const half = count / 2;
    std::copy(wakeTimes + half, wakeTimes + count, other.wakeTimes);
    std::copy(keys + half, keys + count, other.keys);
    std::copy(events + half, events + count, other.events);
    other.count = count - half;
    count = half;
}

long long CTimerAliveEvents::Block::GetEarliest() const { return *std::min_element(wakeTimes, wakeTimes + count); }

// The last block that starts at or before the key; the first one for a key below all.
std::size_t CTimerAliveEvents::FindBlock(Key const& key) const {
    auto const behind = std::upper_bound(m_blocks.begin(), m_blocks.end(), key,
                                         [](Key const& k, auto const& block) { return k < block->keys[0]; });
    return behind == m_blocks.begin() ? 0 : static_cast<std::size_t>(behind - m_blocks.begin()) - 1;
}

void CTimerAliveEvents::SetWakeTime(std::size_t block, int index, long long wakeTime) {
    m_blocks[block]->wakeTimes[index] = wakeTime;
    m_earliest[block] = std::min(m_earliest[block], wakeTime);
}

void CTimerAliveEvents::MakeRoom() {
    if (!m_spareBlock) m_spareBlock = std::make_unique<Block>();
    if (m_blocks.size() == m_blocks.capacity()) m_blocks.reserve(2 * m_blocks.size() + 1);
    if (m_earliest.capacity() < m_blocks.capacity()) m_earliest.reserve(m_blocks.capacity());
}

void CTimerAliveEvents::Insert(CTimerEvent* event) {
    ++m_version;
    if (m_blocks.empty()) {
        m_blocks.push_back(std::move(m_spareBlock));
        m_earliest.push_back(event->_GetWakeTime());
    }
    std::size_t at = FindBlock(event->m_key);
    if (m_blocks[at]->count == kBlockSize) {
        auto const next =
            m_blocks.insert(m_blocks.begin() + static_cast<std::ptrdiff_t>(at) + 1, std::move(m_spareBlock));
        m_blocks[at]->MoveUpperHalfTo(**next);
        m_earliest.insert(m_earliest.begin() + static_cast<std::ptrdiff_t>(at) + 1, (*next)->GetEarliest());
        if (event->m_key > m_blocks[at + 1]->keys[0]) ++at;
    }
    Block& block = *m_blocks[at];
    int const index = block.Find(event->m_key);
    block.Insert(index, event->m_key, event->_GetWakeTime(), event);
    SetWakeTime(at, index, event->_GetWakeTime());
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
    std::size_t const at = FindBlock(event->m_key);
    SetWakeTime(at, m_blocks[at]->Find(event->m_key), event->_GetWakeTime());
}

void CTimerAliveEvents::UpdateWakeTime(CCursor const& cursor, CTimerEvent* event) {
    if (cursor.m_version == m_version)
        SetWakeTime(cursor.m_block, cursor.m_index, event->_GetWakeTime());
    else
        UpdateWakeTime(event);
}

CTimerEvent* CTimerAliveEvents::Next(CCursor& cursor, long long limit) {
    std::size_t at = cursor.m_block;
    int index = cursor.m_index + 1;
    if (cursor.m_index >= 0 && cursor.m_version != m_version && !m_blocks.empty()) {
        at = FindBlock(cursor.m_key);
        Block const& block = *m_blocks[at];
        index = block.Find(cursor.m_key);
        if (index < block.count && block.keys[index] == cursor.m_key) ++index;
    }
    for (; at < m_blocks.size(); ++at, index = 0) {
        if (m_earliest[at] > limit) continue;
        Block const& block = *m_blocks[at];
        while (index < block.count && block.wakeTimes[index] > limit) ++index;
        if (index < block.count) {
            cursor.m_block = at;
            cursor.m_index = index;
            cursor.m_version = m_version;
            cursor.m_key = block.keys[index];
            return block.events[index];
        }
        m_earliest[at] = block.GetEarliest(); // waking moves wake times on, and only here the bound follows
    }
    return nullptr;
}
} // namespace qk3d
