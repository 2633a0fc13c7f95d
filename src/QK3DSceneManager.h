// QK3DSceneManager.h: one scene, with its nodes, cameras, objects and clock.
#pragma once

#include "QK3DExport.h"
#include "QK3DTimer.h"
#include "QK3DTypes.h"
#include <map>

namespace qk3d {
class CCamera;
class CEntity;
class CMovableObject;
class CRenderQueue;
class CSceneNode;
class CViewport;

/// Owns a root node, all nodes made through it, all cameras and all movable objects, and updates the tree below the root.
/// This class finds nothing to draw: a derived one culls in `GetShootedRenderableObject` and is registered with the
/// factory. Anything here may be destroyed in any order, from within an update too.
class QK3D_API CSceneManager {
protected:
    /// Makes a node for `CreateSceneNode`, which owns it then. Null refuses.
    virtual CSceneNode* _CreateSceneNodeImpl(string const& name);

public:
    explicit CSceneManager(string const& name);
    CSceneManager(CSceneManager const&) = delete;
    CSceneManager& operator=(CSceneManager const&) = delete;
    virtual ~CSceneManager();

    virtual string GetTypeName();
    /// Called once, when the engine made the manager. Nothing here.
    virtual void Init();

    /// Never null; not in the table of nodes.
    virtual CSceneNode* GetRootSceneNode();
    /// The node of that name, made if there is none. A new one is in no tree yet.
    virtual CSceneNode* CreateSceneNode(string const& name);
    virtual CSceneNode* GetSceneNode(string const& name);
    virtual void DestroySceneNode(string const& name);
    /// The root stays.
    virtual void DestroyAllSceneNode();

    /// The object of that type and name, made by the factory if there is none; null for a type the factory does not
    /// know. An empty name asks for a generated one.
    virtual CMovableObject* CreateMovableObject(string const& type, string const& name);
    virtual CMovableObject* CreateMovableObject(string const& type);
    /// The type "CCamera" gives cameras.
    virtual CMovableObject* GetMovableObject(string const& type, string const& name);
    /// Not for cameras, which go through `DestroyCamera`.
    virtual void DestroyMovableObject(string const& type, string const& name);
    virtual void DestroyAllMovableObject();

    /// Updates the tree below the root: world transforms, then what hangs there. It moves no clock, and what hangs on
    /// no node of the tree gets no update. Once a frame, by the host.
    virtual bool UpdateScene();

    /// Adds to `queue` what the camera of `viewport` sees. Nothing here. The result is not looked at.
    virtual bool GetShootedRenderableObject(CViewport const& viewport, CRenderQueue& queue);
    /// Draws at once what the camera of `viewport` sees. Nothing here. The result is not looked at.
    virtual bool RenderShootedRenderableObject(CViewport const& viewport, long long time);

    /// Always a new camera. When the name is taken or empty it gets a generated one, which `GetName` of the result
    /// tells and under which it is found and destroyed.
    CCamera* CreateCamera(string const& name);
    CCamera* GetCamera(string const& name) const;
    bool HasCamera(string const& name) const;
    void DestroyCamera(string const& name);
    /// A camera of another manager, and null, are ignored.
    void DestroyCamera(CCamera* camera);
    void DestroyAllCamera();

    /// An entity with a generated name. `type` names a class of entities, "CEntity" being the engine's own; the object
    /// of another type is made all the same, but the result is null.
    CEntity* CreateEntity(string const& type);
    CEntity* CreateEntity(string const& type, string const& name);
    /// An entity that shows a mesh of the default resource system: the resource `meshName`, or `meshFile` when that is
    /// empty, made from `meshFile` if there is none. When that fails, the entity comes without a mesh.
    CEntity* CreateEntity(string const& type, string const& name, string const& resourceType, string const& meshFile,
                          string const& meshName);
    CEntity* GetEntity(string const& type, string const& name);
    void DestroyEntity(string const& type, string const& name);

    string const& GetName() const { return m_name; }
    /// The scene clock; the host moves it.
    CTimer& GetTimer() { return m_timer; }
    CTimer const& GetTimer() const { return m_timer; }
    long long GetTime() const { return m_timer.GetTime(); }

protected:
    using MovableObjectMap = std::map<string, CMovableObject*>;

    string m_name;
    CSceneNode* m_rootSceneNode; // owned
    CTimer m_timer;
    std::map<string, CSceneNode*> m_sceneNodes;          // owned
    std::map<string, MovableObjectMap> m_movableObjects; // by type, then by name; owned
    std::map<string, CCamera*> m_cameras;                // owned

private:
    string FreeObjectName(string const& type, char const* prefix) const;
    CMovableObject* MakeMovableObject(string const& type, string const& name);
};
} // namespace qk3d
