// QK3DRenderQueue.h: what is to be drawn in one update of a viewport, sorted.
#pragma once

#include "QK3DExport.h"
#include "QK3DLifeWatch.h"
#include <cstddef>
#include <vector>

namespace qk3d {
class CCamera;
class CPass;
class CRenderableObject;
class CRenderSystem;

enum QueueSortMode {
    QSM_BY_PASS = 0,       ///< by the pass alone, kept in order while entries are added
    QSM_FRONT_TO_BACK = 1, ///< ascending depth, once sorted
    QSM_BACK_TO_FRONT = 2, ///< descending depth, once sorted
};

/// One object to be drawn with one pass, which may be null. Owns neither.
struct QK3D_API RenderablePass {
    CRenderableObject* renderable;
    CPass* pass;

    RenderablePass(CRenderableObject* renderable_, CPass* pass_) : renderable(renderable_), pass(pass_) {}
    bool operator<(RenderablePass const& other) const { return RenderablePassCmpByPassAesc(*this, other); }

    /// Order by the number of states that the pass sets itself, fewest first: those of its render state and of its texture
    /// states. An entry without a pass goes before one with a pass. Entries with as many states, or with the same pass, go
    /// by their addresses.
    static bool RenderablePassCmpByPassAesc(RenderablePass const& a, RenderablePass const& b);
    /// The same backwards: most states first, the higher address first. An entry without a pass goes last.
    static bool RenderablePassCmpByPassDesc(RenderablePass const& a, RenderablePass const& b);
};

/// The entries of one kind. They lie in one block in the order of adding, which is kept from frame to frame: after the
/// first frames nothing is allocated, and since addresses rise in the order of adding, ties keep that order. A sort begins
/// with the order that the last one ended with, so it costs little where not much has changed.
class QK3D_API CQueueRenderableCollection {
public:
    explicit CQueueRenderableCollection(QueueSortMode mode);
    CQueueRenderableCollection(CQueueRenderableCollection const&) = delete;
    CQueueRenderableCollection& operator=(CQueueRenderableCollection const&) = delete;
    ~CQueueRenderableCollection();

    QueueSortMode GetQueueSortMode() const { return m_sortMode; }
    /// Only while the collection is empty; otherwise nothing changes.
    void SetQueueSortMode(QueueSortMode mode);
    /// A null renderable is ignored.
    void AddRenderablePass(CRenderableObject* renderable, CPass* pass);
    void Clear();
    /// By depth from `camera`; depths that differ by no more than 1.1920929e-7 are equal, and then the pass decides, as
    /// it does alone with no camera. Whatever the depths are, NaN too, all entries come out, each of them once. Telling
    /// its depth, an object must not change the queue.
    void Sort(CCamera* camera, long long time);
    /// In the present order. An object may add to the collection or clear it while it is drawn.
    void Render(CRenderSystem* renderSystem, long long time);

    std::size_t GetRenderablePassNum() const { return m_entries.size(); }
    /// The entry that is drawn as number `index`; the index is not tested.
    RenderablePass const& GetRenderablePass(std::size_t index) const {
        return m_entries[m_isInAddingOrder ? index : m_order[index]];
    }

private:
    class CLess;
    struct SortItem {
        CRenderableObject* renderable;
        unsigned int place; // in m_entries
    };

    void InsertInOrder(unsigned int entry);
    void GuessOrder();

    QueueSortMode m_sortMode;
    bool m_isInAddingOrder = true;
    std::vector<RenderablePass> m_entries;
    std::vector<unsigned int> m_order; // places in m_entries, in the order of drawing; else what the last sort came to
    std::vector<SortItem> m_items;     // these two are of the sort
    std::vector<SortItem> m_scratch;
    CLifeLine m_life;
};

/// The queue of a viewport: opaque entries near to far, then a third collection that the engine leaves empty, then
/// transparent entries far to near. Entries point at objects and passes, so a queue is good for one update only.
class QK3D_API CRenderQueue {
public:
    CRenderQueue();
    ~CRenderQueue();

    /// One entry for each pass of its technique, in the collection that the pass's alpha flag picks; one opaque entry
    /// without a pass when there are none. Does not ask whether the object is visible. Null is ignored.
    void AddRenderableObject(CRenderableObject* object);
    void Clear();
    void Sort(CCamera* camera, long long time);
    void Render(CRenderSystem* renderSystem, long long time);

    CQueueRenderableCollection const& GetOpaqueCollection() const { return m_opaque; }
    CQueueRenderableCollection const& GetAlphaCollection() const { return m_alpha; }

private:
    CQueueRenderableCollection m_opaque;
    CQueueRenderableCollection m_alpha;
    CQueueRenderableCollection m_byPass;
    CLifeLine m_life;
};
} // namespace qk3d
