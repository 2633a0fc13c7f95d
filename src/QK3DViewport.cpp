// QK3DViewport.cpp: the range of a viewport, its lists, and how it is drawn.
#include "QK3DViewport.h"

#include "QK3DCamera.h"
#include "QK3DMovableObject.h"
#include "QK3DPrefetchInternal.h"
#include "QK3DRenderSystem.h"
#include "QK3DRenderTarget.h"
#include "QK3DRenderableObject.h"
#include "QK3DSceneManager.h"
#include <algorithm>
#include <limits>

namespace qk3d {
namespace {
// `size` times `part`, cut off, for any float there is.
unsigned int PartOf(unsigned int size, float part) {
    float const value = static_cast<float>(size) * part;
    if (!(value > 0)) return 0; // NaN too
    constexpr float kEnd = 4294967296.0f;
    return value < kEnd ? static_cast<unsigned int>(value) : std::numeric_limits<unsigned int>::max();
}

// Objects lie about in memory, and their turn comes soon.
template <class Object>
void FetchNext(std::list<Object*> const& list, typename std::list<Object*>::const_iterator next) {
    if (next != list.end()) Prefetch(*next, kObjectBytes);
}

template <class Object>
void RemoveFirst(std::list<Object*>& list, typename std::list<Object*>::iterator& next, Object* object) {
    auto const found = std::find(list.begin(), list.end(), object);
    if (found == list.end()) return;
    if (found == next) ++next;
    list.erase(found);
}

template <class Object>
void AppendAll(std::list<Object*>& list, std::list<Object*> const& other) {
    std::list<Object*> copy(other); // `other` may be `list` itself
    list.splice(list.end(), copy);
}
} // namespace

CViewport::CViewport(CCamera* camera, CRenderTarget* target, unsigned int left, unsigned int top, unsigned int width,
                     unsigned int height, short zOrder)
    : m_camera(camera),
      m_renderTarget(target),
      m_actualLeft(left),
      m_actualTop(top),
      m_actualWidth(width),
      m_actualHeight(height),
      m_zOrder(zOrder) {}

CViewport::CViewport(CCamera* camera, CRenderTarget* target, float left, float top, float width, float height,
                     short zOrder)
    : m_camera(camera), m_renderTarget(target), m_zOrder(zOrder) {
    SetLeft(left);
    SetTop(top);
    SetWidth(width);
    SetHeight(height);
}

CViewport::~CViewport() { Clear(); }

void CViewport::SetLeft(float left) {
    m_relativeLeft = left;
    if (m_renderTarget) m_actualLeft = PartOf(m_renderTarget->GetWidth(), left);
}

void CViewport::SetTop(float top) {
    m_relativeTop = top;
    if (m_renderTarget) m_actualTop = PartOf(m_renderTarget->GetHeight(), top);
}

void CViewport::SetWidth(float width) {
    m_relativeWidth = width;
    if (m_renderTarget) m_actualWidth = PartOf(m_renderTarget->GetWidth(), width);
}

void CViewport::SetHeight(float height) {
    m_relativeHeight = height;
    if (m_renderTarget) m_actualHeight = PartOf(m_renderTarget->GetHeight(), height);
}

void CViewport::UpdateRange() {
    if (!m_renderTarget) return;
    if (m_relativeLeft > 0) SetLeft(m_relativeLeft);
    if (m_relativeTop > 0) SetTop(m_relativeTop);
    if (m_relativeWidth > 0) SetWidth(m_relativeWidth);
    if (m_relativeHeight > 0) SetHeight(m_relativeHeight);
    m_actualWidth = std::min(m_actualWidth, m_renderTarget->GetWidth());
    m_actualHeight = std::min(m_actualHeight, m_renderTarget->GetHeight());
}

void CViewport::AddMovableObject(CMovableObject* object) {
    if (object) m_movableObjects.push_back(object);
}

void CViewport::AddRenderableObject(CRenderableObject* object) {
    if (object) m_renderableObjects.push_back(object);
}

void CViewport::AddMovableObjectFromAnotherViewport(CViewport const& other) {
    AppendAll(m_movableObjects, other.m_movableObjects);
}

void CViewport::AddRenderableObjectFromAnotherViewport(CViewport const& other) {
    AppendAll(m_renderableObjects, other.m_renderableObjects);
}

void CViewport::RemoveMovableObject(CMovableObject* object) { RemoveFirst(m_movableObjects, m_nextMovable, object); }

void CViewport::RemoveRenderableObject(CRenderableObject* object) {
    RemoveFirst(m_renderableObjects, m_nextRenderable, object);
}

void CViewport::RemoveAllMovableObject() {
    m_movableObjects.clear();
    m_nextMovable = m_movableObjects.end();
}

void CViewport::RemoveAllRenderableObject() {
    m_renderableObjects.clear();
    m_nextRenderable = m_renderableObjects.end();
}

void CViewport::Clear() {
    RemoveAllMovableObject();
    RemoveAllRenderableObject();
}

void CViewport::Update(long long time) {
    if (!m_camera || !m_renderTarget || !m_isVisible || m_isUpdating) return;
    CRenderSystem* const renderSystem = m_renderTarget->GetRenderSystem();
    if (!renderSystem || !renderSystem->SetActiveViewport(this)) return;

    struct Updating { // also when an object of the host throws
        explicit Updating(bool& flag) : m_flag(flag) { m_flag = true; }
        ~Updating() { m_flag = false; }
        bool& m_flag;
    } const updating(m_isUpdating);
    if (m_isSortRenderQueue)
        _DrawSorted(renderSystem, time);
    else
        _DrawAtOnce(renderSystem, time);
}

void CViewport::_DrawSorted(CRenderSystem* renderSystem, long long time) {
    m_renderQueue.Clear();
    if (CSceneManager* const scene = m_camera->GetAttachedSceneManager())
        scene->GetShootedRenderableObject(*this, m_renderQueue);
    for (m_nextMovable = m_movableObjects.begin(); m_nextMovable != m_movableObjects.end();) {
        CMovableObject* const object = *m_nextMovable++;
        FetchNext(m_movableObjects, m_nextMovable);
        if (object->IsVisible()) object->AddRenderableObjectToRenderQueue(m_renderQueue, renderSystem);
    }
    for (m_nextRenderable = m_renderableObjects.begin(); m_nextRenderable != m_renderableObjects.end();) {
        CRenderableObject* const object = *m_nextRenderable++;
        FetchNext(m_renderableObjects, m_nextRenderable);
        if (object->IsVisible()) m_renderQueue.AddRenderableObject(object);
    }
    m_renderQueue.Sort(m_camera, time);
    m_renderQueue.Render(renderSystem, time);
}

void CViewport::_DrawAtOnce(CRenderSystem* renderSystem, long long time) {
    if (CSceneManager* const scene = m_camera->GetAttachedSceneManager())
        scene->RenderShootedRenderableObject(*this, time);
    for (m_nextMovable = m_movableObjects.begin(); m_nextMovable != m_movableObjects.end();) {
        CMovableObject* const object = *m_nextMovable++;
        FetchNext(m_movableObjects, m_nextMovable);
        if (object->IsVisible()) object->RenderRenderableObject(renderSystem, time);
    }
    for (m_nextRenderable = m_renderableObjects.begin(); m_nextRenderable != m_renderableObjects.end();) {
        CRenderableObject* const object = *m_nextRenderable++;
        FetchNext(m_renderableObjects, m_nextRenderable);
        if (object->IsVisible()) object->Render(renderSystem, time);
    }
}

bool CViewport::IsMovableObjectInViewport(CMovableObject* object) const {
    return std::find(m_movableObjects.begin(), m_movableObjects.end(), object) != m_movableObjects.end();
}

bool CViewport::IsRenderableObjectInViewport(CRenderableObject* object) const {
    return std::find(m_renderableObjects.begin(), m_renderableObjects.end(), object) != m_renderableObjects.end();
}
} // namespace qk3d
