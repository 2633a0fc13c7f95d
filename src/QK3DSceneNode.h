// QK3DSceneNode.h: the element of the transform tree of a scene.
#pragma once

#include "QK3DExport.h"
#include "QK3DListenerList.h"
#include "QK3DPointerList.h"
#include "QK3DQuaternion.h"
#include "QK3DTypes.h"
#include <cstddef>

namespace qk3d {
class CCamera;
class CMovableObject;
class CRenderQueue;
class CSceneManager;

/// A place in the scene: a transform relative to the parent, children by name, and attached objects in attach order.
/// The scene manager owns the nodes it made; a node owns neither its children nor its objects. A node may be destroyed
/// at any time and in any order, from within an update too: its parent, its children and its objects forget it, and
/// the update goes on with what is left. A child or object added during an update is updated in it, unless its place in
/// the order has already gone by.
class QK3D_API CSceneNode {
public:
    /// Told before and after each update of the node. Does nothing until overridden.
    class QK3D_API CUpdateListener {
    public:
        virtual ~CUpdateListener();

    protected:
        friend class CSceneNode;
        virtual void OnSceneNodePerUpdate(CSceneNode* node);
        virtual void OnSceneNodePostUpdate(CSceneNode* node);
    };

    /// `manager` makes the child nodes and may be null.
    CSceneNode(string const& name, CSceneManager* manager);
    CSceneNode(CSceneNode const&) = delete;
    CSceneNode& operator=(CSceneNode const&) = delete;
    /// Takes the node out of its parent and lets children and objects go. It destroys neither.
    virtual ~CSceneNode();

    /// Nodes of this very class lie side by side; those of derived classes come from the heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* memory, std::size_t size) noexcept;

    /// Gets or makes the node `name` of the scene manager, moves it by `position` and then `rotation` on top of the
    /// transform it has, and adds it here. Null without a scene manager, or when the manager makes none.
    virtual CSceneNode* CreateChildSceneNode(string const& name, Vector3 const& position = Vector3::ZERO,
                                             Quaternion const& rotation = Quaternion::IDENTITY);
    /// The same under a generated name.
    virtual CSceneNode* CreateChildSceneNode(Vector3 const& position, Quaternion const& rotation);

    /// Takes `child` from its parent, if it has one, and lists it here. A name that is listed already keeps its node: the
    /// new child then has this node as its parent, but is not found, shown or updated through it, and the log says so.
    /// Refused with a log line, and nothing changes, when this node is `child` or lies below it. Null is ignored.
    /// Children lie in an array in name order, so adding costs time with the number of children that follow.
    virtual void AddChild(CSceneNode* child);
    virtual CSceneNode* GetChild(string const& name);
    /// Gives the child `name` to `other`, under the rules of `AddChild`.
    virtual void MoveChileToAnothreNode(string const& name, CSceneNode* other);
    /// A node that is no child of this one is left alone.
    virtual void RemoveChild(CSceneNode* child);
    virtual void RemoveChild(string const& name);
    virtual void RemoveChildren();

    /// An object that hangs on a node already, this one or another, stays there. Null is ignored.
    virtual void AttachMovableObject(CMovableObject* object);
    /// `index` counts in attach order; one out of range is ignored.
    virtual void DetachMovableObject(unsigned int index);
    virtual void DetachMovableObject(CMovableObject* object);
    virtual void DetachAllObjects();
    virtual unsigned int GetAttachMovableObjectNum() const;

    /// Recomputes the world transform if `parentChanged` is set or the local one changed; then the children in name
    /// order, if `updateChildren` is set, and the objects in attach order, each of them with what was decided here. The
    /// depth of the tree costs no stack, except through nodes of derived classes, whose own `Update` is called.
    virtual void Update(bool updateChildren, bool parentChanged);

    /// A hook for scene managers that cull. Nothing here.
    virtual void FindVisibleObjects(CCamera* camera, CRenderQueue* queue, bool, bool, bool);

    /// Stores the flag; with `cascade` set, the attached objects and the whole tree below get it too.
    void SetVisible(bool visible, bool cascade);

    // Each of these multiplies the local transform from the right, so it happens after what is there, and marks it as
    // changed. Angles are radians.
    void Translation(float x, float y, float z);
    void Translation(Vector3 const& offset) { Translation(offset.x, offset.y, offset.z); }
    void Scale(float sx, float sy, float sz);
    void Rotate(Quaternion const& q);
    /// About the line from `a` through `b`.
    void RotateAxis(Vector3 const& a, Vector3 const& b, float angle);
    void RotateAxis(Vector3 const& axis, float angle);
    void RotateX(float angle);
    void RotateY(float angle);
    void RotateZ(float angle);
    void Transform(Matrix44 const& m);
    /// Replaces the local transform. An equal one changes nothing, the mark included.
    void SetTransform(Matrix44 const& m);
    void ResetTransform();

    void AddUpdateListener(CUpdateListener* listener) { m_updateListeners.Add(listener); }
    void RemoveUpdateListener(CUpdateListener* listener) { m_updateListeners.Remove(listener); }
    void RemoveAllUpdateListener() { m_updateListeners.RemoveAll(); }

    /// Sets the pointer and nothing else: `AddChild` and `RemoveChild` are the way to move a node.
    void _SetParentSceneNode(CSceneNode* parent) { m_parent = parent; }
    /// An object that is being destroyed leaves the list, without being called.
    void _NotifyMovableObjectDestroy(CMovableObject* object);

    string const& GetName() const { return m_name; }
    CSceneManager* GetSceneManager() const { return m_sceneManager; }
    CSceneNode* GetParentSceneNode() const { return m_parent; }
    /// The local transform.
    Matrix44 const& GetTransform() const { return m_transform; }
    /// As of the last update while the node has a parent, and the local transform otherwise.
    Matrix44 const& GetWorldTransform() const { return m_parent ? m_worldTransform : m_transform; }
    bool IsVisible() const { return m_visible; }
    bool IsTransformChange() const { return m_transformChanged; }
    bool IsWorldMatrixIdentity() const { return m_worldMatrixIdentity; }

protected:
    /// Called when the flag was set. Nothing here.
    virtual void _SetVisible(bool visible);

    // What an update reads and writes lies in the first three cache lines, with one matrix in each of the last two.
    CSceneNode* m_parent = nullptr;                 // not owned
    CPointerList<CSceneNode> m_children;            // in name order
    CPointerList<CMovableObject> m_attachedObjects; // in attach order
    CListenerList<CUpdateListener> m_updateListeners;
    bool m_visible = true;
    bool m_transformChanged = false;
    bool m_worldMatrixIdentity = true;
    bool m_isListed = false; // by the parent, under the name
    bool m_isWalked = false; // some walk over the tree stands on this node or below it

private:
    class CWalk;
    enum class EClass : unsigned char { Unknown, Plain, Derived };
    EClass m_class = EClass::Unknown; // asked for at the first update

protected:
    Matrix44 m_transform = Matrix44::IDENTITY;
    Matrix44 m_worldTransform = Matrix44::IDENTITY;
    string m_name;
    CSceneManager* m_sceneManager; // not owned

private:
    std::size_t FindChildPlace(string const& name) const;
    CSceneNode* FindListedChild(string const& name) const;
    void UnlinkChild(CSceneNode* child);
    void UnlinkObject(CMovableObject* object);
    bool IsPlain();
    bool IsSilentLeaf();
    CSceneNode* UpdateLeaves(unsigned int& next, bool changed);
    static CSceneNode* UpdateUpToNext(CWalk& walk, bool& changed);
    static bool NotifyPerUpdate(CWalk& walk, CSceneNode* node);
    static void NotifyPostUpdate(CWalk& walk, CSceneNode* node);
    bool RecomputeWorld(CSceneNode const* parent, bool parentChanged);
};
} // namespace qk3d
