// QK3DRenderQueueSort.cpp: the order of the queue.
#include "QK3DPass.h"
#include "QK3DPrefetchInternal.h"
#include "QK3DRenderQueue.h"
#include "QK3DRenderState.h"
#include "QK3DRenderableObject.h"
#include "QK3DTextureState.h"
#include <algorithm>
#include <cmath>
#include <functional>

namespace qk3d {
namespace {
// Depths that differ by no more count as equal: the spacing of floats at 1.
constexpr float kDepthTolerance = 1.1920929e-7f;

// The number of the sort in progress: what a pass was counted for belongs to one of them.
constinit unsigned long long sorts = 0;

// A block that two passes share counts the same on both sides, so leaving it out of their comparison changes nothing, and
// one number for each pass serves against all others.
// Negative if `a` has fewer states, positive if it has more, 0 if addresses decide. No pass is less than any pass.
template <class Count>
int ComparePasses(CPass const* a, CPass const* b, Count const& count) {
    if (a == b) return 0;
    if (!a || !b) return a ? 1 : -1;
    unsigned int const na = count(*a), nb = count(*b);
    return na < nb ? -1 : na > nb ? 1 : 0;
}

int CompareStates(RenderablePass const& a, RenderablePass const& b) {
    return ComparePasses(a.pass, b.pass, [](CPass const& pass) { return pass.GetStateNum(); });
}

// Sorts what `less` may be wrong about: every loop is bounded by places alone. In order already costs one comparison a run.
template <class Item, class Less>
void MergeSort(std::vector<Item>& items, std::vector<Item>& scratch, Less const& less) {
    constexpr std::size_t kRun = 8;
    std::size_t const size = items.size();
    for (std::size_t begin = 0; begin < size; begin += kRun) {
        std::size_t const end = std::min(begin + kRun, size);
        for (std::size_t i = begin + 1; i < end; ++i) {
            Item const item = items[i];
            std::size_t hole = i;
            for (; hole > begin && less(item, items[hole - 1]); --hole) items[hole] = items[hole - 1];
            items[hole] = item;
        }
    }

    scratch.resize(size);
    for (std::size_t width = kRun; width < size; width *= 2) {
        for (std::size_t begin = 0; begin + width < size; begin += 2 * width) {
            std::size_t const middle = begin + width, end = std::min(middle + width, size);
            if (!less(items[middle], items[middle - 1])) continue;
            // The left run moves aside, so that the gap never reaches what is still to be read of the right one.
            std::copy_n(items.data() + begin, width, scratch.data());
            std::size_t left = 0, right = middle, out = begin;
            while (left < width && right < end)
                items[out++] = less(items[right], scratch[left]) ? items[right++] : scratch[left++];
            std::copy_n(scratch.data() + left, width - left, items.data() + out);
        }
    }
}
} // namespace

bool RenderablePass::RenderablePassCmpByPassAesc(RenderablePass const& a, RenderablePass const& b) {
    int const order = CompareStates(a, b);
    return order ? order < 0 : std::less<>()(&a, &b);
}

bool RenderablePass::RenderablePassCmpByPassDesc(RenderablePass const& a, RenderablePass const& b) {
    int const order = CompareStates(a, b);
    return order ? order > 0 : std::less<>()(&b, &a);
}

// Compares entries by their places, which rise with their addresses.
class CQueueRenderableCollection::CLess {
public:
    CLess(CQueueRenderableCollection const& collection, CCamera* camera, long long time)
        : m_entries(collection.m_entries.data()),
          m_camera(camera),
          m_time(time),
          m_sort(++sorts),
          m_isAscending(collection.m_sortMode == QSM_FRONT_TO_BACK) {}

    bool operator()(SortItem const& a, SortItem const& b) const {
        if (!m_camera) return IsPassBefore(a.place, b.place, true);
        float const da = a.renderable->GetSquaredViewDepth(m_camera, m_time);
        float const db = b.renderable->GetSquaredViewDepth(m_camera, m_time);
        if (std::fabs(db - da) > kDepthTolerance) return m_isAscending ? da < db : da > db;
        return IsPassBefore(a.place, b.place, m_isAscending);
    }

private:
    bool IsPassBefore(unsigned int a, unsigned int b, bool isAscending) const {
        int order = ComparePasses(m_entries[a].pass, m_entries[b].pass, [this](CPass const& pass) {
            if (pass.m_sort != m_sort) {
                pass.m_sortStateNum = pass.GetStateNum();
                pass.m_sort = m_sort;
            }
            return pass.m_sortStateNum;
        });
        if (order == 0) order = a < b ? -1 : 1;
        return isAscending ? order < 0 : order > 0;
    }

    RenderablePass const* m_entries;
    CCamera* m_camera;
    long long m_time;
    unsigned long long m_sort;
    bool m_isAscending;
};

void CQueueRenderableCollection::Sort(CCamera* camera, long long time) {
    if (m_sortMode == QSM_BY_PASS) return; // in order already
    CLess const less(*this, camera, time);
    auto const size = static_cast<unsigned int>(m_entries.size());
    auto const item = [this](unsigned int place) { return SortItem{m_entries[place].renderable, place}; };
    if (m_order.empty()) {
        unsigned int inOrder = 1;
        for (; inOrder < size && !less(item(inOrder), item(inOrder - 1)); ++inOrder)
            if (inOrder + kPrefetchAhead < size) Prefetch(m_entries[inOrder + kPrefetchAhead].renderable, 1);
        if (inOrder >= size) return;
    }
    GuessOrder();
    m_items.clear();
    for (unsigned int const place : m_order) m_items.push_back(item(place));
    MergeSort(m_items, m_scratch, less);
    // Only now: a depth that throws leaves the order whole.
    std::transform(m_items.begin(), m_items.end(), m_order.begin(),
                   [](SortItem const& sorted) { return sorted.place; });
    m_isInAddingOrder = false;
}

// The order of the last sort, less the places that are no more; those it did not have come last.
void CQueueRenderableCollection::GuessOrder() {
    std::size_t const size = m_entries.size(), known = m_order.size();
    if (known > size) std::erase_if(m_order, [size](unsigned int entry) { return entry >= size; });
    for (std::size_t entry = known; entry < size; ++entry) m_order.push_back(static_cast<unsigned int>(entry));
}
} // namespace qk3d
