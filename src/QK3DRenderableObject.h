// QK3DRenderableObject.h: the interface of one drawable thing.
#pragma once

#include "QK3DExport.h"
#include "QK3DLifeWatch.h"
#include "QK3DListenerList.h"

namespace qk3d {
class CCamera;
class CRenderOperation;
class CRenderSystem;
class CTechnique;
struct Matrix44;

/// Says how it is drawn (technique), where (world transform, depth) and what (geometry), and frames each draw with two
/// hooks. It must live as long as it stands in a queue; while it is drawn itself, a listener may destroy it.
class QK3D_API CRenderableObject {
public:
    /// Told before and after each draw. Does nothing until overridden.
    class QK3D_API CRenderListener {
    public:
        virtual ~CRenderListener();

    protected:
        friend class CRenderableObject;
        virtual void OnRenderableObjectPerRender(CRenderableObject* object, CRenderSystem* renderSystem);
        virtual void OnRenderableObjectPostRender(CRenderableObject* object, CRenderSystem* renderSystem);
    };

    CRenderableObject() = default;
    virtual ~CRenderableObject();

    /// Null draws with no pass.
    virtual CTechnique* GetTechnique() = 0;
    virtual void GetWorldTransform(Matrix44* out) const = 0;
    /// How far from the camera, squared: what the queue sorts by. Asked often while it sorts, so it must be cheap.
    virtual float GetSquaredViewDepth(CCamera* camera, long long time) const = 0;
    virtual void GetRenderOperation(CRenderOperation& out) const = 0;

protected:
    friend class CQueueRenderableCollection;

    /// False leaves this draw out.
    virtual bool _PerRenderImpl(CRenderSystem* renderSystem, long long time);
    virtual void _PostRenderImpl(CRenderSystem* renderSystem, long long time);

public:
    /// Called before each draw. False when this draw is to be left out; the listeners do not hear of it then.
    bool PerRender(CRenderSystem* renderSystem, long long time) {
        return _PerRenderImpl(renderSystem, time) &&
               (m_renderListeners.IsEmpty() || _NotifyPerRenderListener(renderSystem));
    }
    void PostRender(CRenderSystem* renderSystem, long long time);
    /// Draws at once, pass by pass, without a queue.
    void Render(CRenderSystem* renderSystem, long long time);

    bool IsVisible() const { return m_visible; }
    void SetVisible(bool visible) { m_visible = visible; }
    void AddRenderListener(CRenderListener* listener) { m_renderListeners.Add(listener); }
    void RemoveRenderListener(CRenderListener* listener) { m_renderListeners.Remove(listener); }
    void RemoveAllRenderListener() { m_renderListeners.RemoveAll(); }

protected:
    /// False when a listener destroyed this object.
    bool _NotifyPerRenderListener(CRenderSystem* renderSystem);
    bool _NotifyPostRenderListener(CRenderSystem* renderSystem);
    /// `PostRender` under a watch on this object that stands anyway.
    void _PostRender(CRenderSystem* renderSystem, long long time, CLifeWatch const& watch) {
        _PostRenderImpl(renderSystem, time);
        if (!watch.IsDead() && !m_renderListeners.IsEmpty()) _NotifyPostRenderListener(renderSystem);
    }

    bool m_visible = true;
    CListenerList<CRenderListener> m_renderListeners;
    mutable CLifeLine m_life;
};
} // namespace qk3d
