// QK3DRenderQueue.cpp: filling and drawing the queue.
#include "QK3DRenderQueue.h"
#include "QK3DMaterial.h"
#include "QK3DMatrix.h"
#include "QK3DPass.h"
#include "QK3DPrefetchInternal.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderableObject.h"
#include <algorithm>

namespace qk3d {
namespace {
// How many entries before its turn one is fetched.
constexpr std::size_t kAhead = 3;
} // namespace

CQueueRenderableCollection::CQueueRenderableCollection(QueueSortMode mode)
    : m_sortMode(mode), m_isInAddingOrder(mode != QSM_BY_PASS) {}
CQueueRenderableCollection::~CQueueRenderableCollection() = default;

void CQueueRenderableCollection::SetQueueSortMode(QueueSortMode mode) {
    if (!m_entries.empty()) return;
    m_sortMode = mode;
    Clear();
}

void CQueueRenderableCollection::AddRenderablePass(CRenderableObject* renderable, CPass* pass) {
    if (!renderable) return;
    m_entries.emplace_back(renderable, pass);
    if (!m_isInAddingOrder) InsertInOrder(static_cast<unsigned int>(m_entries.size() - 1));
}

// While entries are not drawn in the order of adding each new one needs a place among them: where its pass belongs, or
// the last one until the next sort.
void CQueueRenderableCollection::InsertInOrder(unsigned int entry) {
    auto place = m_order.end();
    if (m_sortMode == QSM_BY_PASS)
        place = std::lower_bound(m_order.begin(), m_order.end(), entry, [this](unsigned int a, unsigned int b) {
            return RenderablePass::RenderablePassCmpByPassDesc(m_entries[a], m_entries[b]);
        });
    try {
        m_order.insert(place, entry);
    } catch (...) {
        m_entries.pop_back();
        throw;
    }
}

void CQueueRenderableCollection::Clear() {
    m_entries.clear();
    m_isInAddingOrder = m_sortMode != QSM_BY_PASS;
    if (!m_isInAddingOrder) m_order.clear();
}

void CQueueRenderableCollection::Render(CRenderSystem* renderSystem, long long time) {
    CLifeWatch const watch(m_life);
    CRenderOperation operation;
    Matrix44 world;
    for (std::size_t i = 0; !watch.IsDead() && i < m_entries.size(); ++i) {
        // A copy: drawing may draw a texture, and with it anything.
        RenderablePass const entry = GetRenderablePass(i);
        if (i + kAhead < m_entries.size()) Prefetch(GetRenderablePass(i + kAhead).renderable, kObjectBytes);
        CLifeWatch const entryWatch(entry.renderable->m_life);
        if (entry.pass) entry.pass->PrepareForRender(renderSystem, time);
        if (entryWatch.IsDead() || !entry.renderable->PerRender(renderSystem, time)) continue;
        renderSystem->SetPass(entry.pass);
        entry.renderable->GetWorldTransform(&world);
        if (entryWatch.IsDead()) continue;
        renderSystem->SetWorldMatrix(world);
        entry.renderable->GetRenderOperation(operation);
        renderSystem->Render(operation);
        entry.renderable->_PostRender(renderSystem, time, entryWatch);
    }
}

CRenderQueue::CRenderQueue() : m_opaque(QSM_FRONT_TO_BACK), m_alpha(QSM_BACK_TO_FRONT), m_byPass(QSM_BY_PASS) {}
CRenderQueue::~CRenderQueue() = default;

void CRenderQueue::AddRenderableObject(CRenderableObject* object) {
    if (!object) return;
    CTechnique* const technique = object->GetTechnique();
    unsigned int const passNum = technique ? technique->GetPassNum() : 0;
    for (unsigned int i = 0; i < passNum; ++i) {
        CPass* const pass = technique->GetPass(i);
        (pass->IsAlpha() ? m_alpha : m_opaque).AddRenderablePass(object, pass);
    }
    if (passNum == 0) m_opaque.AddRenderablePass(object, nullptr);
}

void CRenderQueue::Clear() {
    m_opaque.Clear();
    m_alpha.Clear();
    m_byPass.Clear();
}

void CRenderQueue::Sort(CCamera* camera, long long time) {
    m_opaque.Sort(camera, time);
    m_alpha.Sort(camera, time);
}

void CRenderQueue::Render(CRenderSystem* renderSystem, long long time) {
    CLifeWatch const watch(m_life);
    m_opaque.Render(renderSystem, time);
    if (!watch.IsDead()) m_byPass.Render(renderSystem, time);
    if (!watch.IsDead()) m_alpha.Render(renderSystem, time);
}
} // namespace qk3d
