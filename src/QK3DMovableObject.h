// QK3DMovableObject.h: the base of everything that can hang from a scene node.
#pragma once

#include "QK3DExport.h"
#include "QK3DLifeWatch.h"
#include "QK3DListenerList.h"
#include "QK3DQuaternion.h"
#include "QK3DTypes.h"

namespace qk3d {
class CRenderQueue;
class CRenderSystem;
class CSceneManager;
class CSceneNode;

/// Something with a name and a place in the scene: a camera, an entity, an emitter, a particle. It hangs from one node
/// at most, which updates it once a scene update; an object on no node is updated by whoever keeps it, and its world
/// transform is its local one. A listener, or the object's own update, may destroy the object while it is updated.
class QK3D_API CMovableObject {
public:
    /// Told before and after each update of the object. Does nothing until overridden.
    class QK3D_API CUpdateListener {
    public:
        virtual ~CUpdateListener();

    protected:
        friend class CMovableObject;
        virtual void OnMovableObjectPerUpdate(CMovableObject* object);
        virtual void OnMovableObjectPostUpdate(CMovableObject* object);
    };

    /// An empty name is replaced by a generated one.
    explicit CMovableObject(string const& name);
    /// A copy has the name, the visible flag and the local transform of the other. It hangs on no node, has no creator
    /// and no listeners.
    CMovableObject(CMovableObject const& other);
    /// Takes over the visible flag and the local transform, as `CopyFrom`; a changed transform is recomputed.
    CMovableObject& operator=(CMovableObject const& other);
    /// Takes the object off its node.
    virtual ~CMovableObject();

    virtual string GetTypeName() = 0;
    virtual void DetachFromSceneNode();
    /// Enters what the object draws in `queue`. Nothing here.
    virtual void AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem);
    /// Draws at once, without a queue. Nothing here.
    virtual void RenderRenderableObject(CRenderSystem* renderSystem, long long time);

    /// Recomputes the world transform if `force` is set or the local one changed, and runs the object's own update and
    /// the listeners in any case. Always true.
    bool Update(bool force);

    /// Copies the visible flag and the local transform and nothing else. It does not mark the transform as changed.
    void CopyFrom(CMovableObject const& other);

    // Each of these multiplies the local transform from the right, so it happens after what is there, and marks it as
    // changed. Angles are radians.
    void Translation(float x, float y, float z);
    void Translation(Vector3 const& offset) { Translation(offset.x, offset.y, offset.z); }
    void Scale(float sx, float sy, float sz);
    /// Keeps `center` in place.
    void Scale(Vector3 const& center, float sx, float sy, float sz);
    void Rotate(Quaternion const& q);
    /// About the line from `a` through `b`.
    void RotateAxis(Vector3 const& a, Vector3 const& b, float angle);
    void RotateAxis(Vector3 const& axis, float angle);
    void RotateX(float angle);
    void RotateY(float angle);
    void RotateZ(float angle);
    /// About the line through `point` along the axis.
    void RotateX(Vector3 const& point, float angle);
    void RotateY(Vector3 const& point, float angle);
    void RotateZ(Vector3 const& point, float angle);
    void Transform(Matrix44 const& m);
    /// Replaces the local transform. An equal one changes nothing, the mark included.
    void SetTransform(Matrix44 const& m);
    void ResetTransform();

    void SetVisible(bool visible) { m_visible = visible; }
    void AddUpdateListener(CUpdateListener* listener) { m_updateListeners.Add(listener); }
    void RemoveUpdateListener(CUpdateListener* listener) { m_updateListeners.Remove(listener); }
    void RemoveAllUpdateListener() { m_updateListeners.RemoveAll(); }
    void _SetCreator(CSceneManager* creator) { m_creator = creator; }

    string const& GetName() const { return m_name; }
    CSceneManager* GetCreator() const { return m_creator; }
    CSceneManager* GetAttachedSceneManager() const { return m_attachedSceneManager; }
    CSceneNode* GetAttachedSceneNode() const { return m_attachedSceneNode; }
    /// The clock of the scene the object hangs in; 0 without one.
    long long GetAttachedSceneManagerTime() const;
    /// The local transform.
    Matrix44 const& GetTransform() const { return m_transform; }
    /// As of the last update while the object hangs on a node, and the local transform otherwise.
    Matrix44 const& GetWorldTransform() const { return m_attachedSceneNode ? m_worldTransform : m_transform; }
    bool IsAttached() const { return m_attachedSceneNode != nullptr; }
    /// Whether the local transform changed since the last update. Still true inside that update.
    bool IsTransformChange() const { return m_transformChanged; }
    bool IsVisible() const { return m_visible; }
    bool IsWorldMatrixIdentity() const { return m_worldMatrixIdentity; }

protected:
    friend class CSceneNode;

    /// Called by the node that takes the object, and with null by the one that lets it go. An override calls this one.
    virtual void _NotifyAttached(CSceneNode* node);
    /// The object's own part of an update; `changed` tells whether the world transform was recomputed.
    virtual void _UpdateImpl(bool changed);

    // In the order of use: with the pointer to the virtual operations, what every frame looks at comes first.
    CSceneNode* m_attachedSceneNode = nullptr; // not owned
    CListenerList<CUpdateListener> m_updateListeners;
    CLifeLine m_life;
    bool m_visible = true;
    bool m_transformChanged = false;
    bool m_worldMatrixIdentity = true;
    CSceneManager* m_creator = nullptr; // not owned
    Matrix44 m_transform = Matrix44::IDENTITY;
    Matrix44 m_worldTransform = Matrix44::IDENTITY;
    CSceneManager* m_attachedSceneManager = nullptr; // not owned
    string m_name;

private:
    void NotifyPerUpdate();
    void NotifyPostUpdate();
};
} // namespace qk3d
