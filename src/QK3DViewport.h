// QK3DViewport.h: a rectangle of a render target, seen through one camera.
#pragma once

#include "QK3DExport.h"
#include "QK3DRenderQueue.h"
#include <list>

namespace qk3d {
class CCamera;
class CMovableObject;
class CRenderSystem;
class CRenderTarget;
class CRenderableObject;

/// Draws what its camera's scene manager offers, and the objects of two lists of its own. Camera and objects are not
/// owned: remove them before they die. Both lists keep an object twice that is added twice. They may change while the
/// viewport is drawn.
class QK3D_API CViewport {
public:
    using MovableObjectList = std::list<CMovableObject*>;
    using RenderableObjectList = std::list<CRenderableObject*>;

    /// A range in pixels, stored as given.
    CViewport(CCamera* camera, CRenderTarget* target, unsigned int left, unsigned int top, unsigned int width,
              unsigned int height, short zOrder);

    /// A range in fractions of the target's size, stored as given and turned into pixels if there is a target. What no
    /// pixel number can hold becomes 0 or the highest value.
    CViewport(CCamera* camera, CRenderTarget* target, float left, float top, float width, float height, short zOrder);
    CViewport(CViewport const&) = delete;
    CViewport& operator=(CViewport const&) = delete;
    virtual ~CViewport();

    /// Set pixels. A relative value above 0 stays and wins at the next UpdateRange.
    void SetLeft(unsigned int left) { m_actualLeft = left; }
    void SetTop(unsigned int top) { m_actualTop = top; }
    void SetWidth(unsigned int width) { m_actualWidth = width; }
    void SetHeight(unsigned int height) { m_actualHeight = height; }

    /// Set fractions, and the pixels they give.
    void SetLeft(float left);
    void SetTop(float top);
    void SetWidth(float width);
    void SetHeight(float height);

    /// Computes the pixels of each side whose fraction is above 0 anew, then cuts width and height to the target's.
    /// Targets call it after a Reset.
    void UpdateRange();

    void AddMovableObject(CMovableObject* object);
    void AddRenderableObject(CRenderableObject* object);
    void AddMovableObjectFromAnotherViewport(CViewport const& other);
    void AddRenderableObjectFromAnotherViewport(CViewport const& other);

    /// Remove the first occurrence. Linear in the list.
    void RemoveMovableObject(CMovableObject* object);
    void RemoveRenderableObject(CRenderableObject* object);
    void RemoveAllMovableObject();
    void RemoveAllRenderableObject();
    void Clear();

    /// Draws into the target, which has to be the active one of its system. Nothing without a camera or a target, and
    /// nothing while hidden or while it is being drawn already.
    void Update(long long time);

    CCamera* GetCamera() const { return m_camera; }
    CRenderTarget* GetRenderTarget() const { return m_renderTarget; }
    unsigned int GetActualLeft() const { return m_actualLeft; }
    unsigned int GetActualTop() const { return m_actualTop; }
    unsigned int GetActualWidth() const { return m_actualWidth; }
    unsigned int GetActualHeight() const { return m_actualHeight; }

    /// The z-order is a label here: the target keeps the key the viewport was added under.
    short GetZOrder() const { return m_zOrder; }
    void SetZOrder(short zOrder) { m_zOrder = zOrder; }
    bool IsVisible() const { return m_isVisible; }
    void SetVisible(bool visible) { m_isVisible = visible; }

    /// With sorting on, objects are drawn through the render queue; with sorting off at once, in the order of the
    /// lists.
    bool IsEnableSortRenderQueue() const { return m_isSortRenderQueue; }
    void EnableSortRenderQueue() { m_isSortRenderQueue = true; }
    void DisableSortRenderQueue() { m_isSortRenderQueue = false; }

    bool IsMovableObjectInViewport(CMovableObject* object) const;
    bool IsRenderableObjectInViewport(CRenderableObject* object) const;
    MovableObjectList::iterator EnumMovableObjectBegin() { return m_movableObjects.begin(); }
    MovableObjectList::iterator EnumMovableObjectEnd() { return m_movableObjects.end(); }
    MovableObjectList::const_iterator EnumMovableObjectBegin() const { return m_movableObjects.begin(); }
    MovableObjectList::const_iterator EnumMovableObjectEnd() const { return m_movableObjects.end(); }
    RenderableObjectList::iterator EnumRenderableObjectBegin() { return m_renderableObjects.begin(); }
    RenderableObjectList::iterator EnumRenderableObjectEnd() { return m_renderableObjects.end(); }
    RenderableObjectList::const_iterator EnumRenderableObjectBegin() const { return m_renderableObjects.begin(); }
    RenderableObjectList::const_iterator EnumRenderableObjectEnd() const { return m_renderableObjects.end(); }

protected:
    CCamera* m_camera;             ///< not owned
    CRenderTarget* m_renderTarget; ///< the owner
    unsigned int m_actualLeft = 0;
    unsigned int m_actualTop = 0;
    unsigned int m_actualWidth = 0;
    unsigned int m_actualHeight = 0;
    float m_relativeLeft = -1.0f; ///< at 0 or below the side is not relative
    float m_relativeTop = -1.0f;
    float m_relativeWidth = -1.0f;
    float m_relativeHeight = -1.0f;
    short m_zOrder;
    bool m_isVisible = true;
    bool m_isSortRenderQueue = true;
    CRenderQueue m_renderQueue;
    MovableObjectList m_movableObjects;       ///< not owned
    RenderableObjectList m_renderableObjects; ///< not owned

private:
    void _DrawSorted(CRenderSystem* renderSystem, long long time);
    void _DrawAtOnce(CRenderSystem* renderSystem, long long time);

    bool m_isUpdating = false;
    // Where the walk of Update goes next; kept in step by the removals.
    MovableObjectList::iterator m_nextMovable = m_movableObjects.end();
    RenderableObjectList::iterator m_nextRenderable = m_renderableObjects.end();
};
} // namespace qk3d
