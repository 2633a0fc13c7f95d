// QK3DEntity.h: a movable object that shows a mesh.
#pragma once

#include "QK3DMovableObject.h"
#include "QK3DPointerList.h"
#include "QK3DRenderableObject.h"
#include "QK3DResourceSharePtr.h"
#include <cstddef>

namespace qk3d {
class CEntity;
class CMaterial;
class CMesh;
class CSubMesh;

/// Draws one sub-mesh of an entity, with a material and a transform of its own on top of the entity's.
class QK3D_API CSubEntity : public CRenderableObject {
public:
    explicit CSubEntity(CEntity* parent);
    /// Takes the material name of the sub-mesh.
    CSubEntity(CEntity* parent, CSubMesh* subMesh);
    CSubEntity(CSubEntity const&) = delete;
    CSubEntity& operator=(CSubEntity const&) = delete;
    ~CSubEntity() override;

    /// Those of this very class lie side by side; those of derived classes come from the heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* memory, std::size_t size) noexcept;

    /// The best technique of the material, which is looked up and loaded if need be. Null without a material.
    CTechnique* GetTechnique() override;
    /// Updates the entity first if that has moved since its last update; if its mesh has to be loaded again by that, this
    /// sub-entity is gone and `out` unchanged. A null `out` is ignored.
    void GetWorldTransform(Matrix44* out) const override;
    /// Always 0: sub-entities go by their pass alone.
    float GetSquaredViewDepth(CCamera* camera, long long time) const override;
    void GetRenderOperation(CRenderOperation& out) const override;

    CEntity* GetParent() const { return m_parent; }
    /// Null for none, and once the sub-mesh was destroyed.
    CSubMesh* GetSubMesh() { return m_subMesh; }
    void SetSubMesh(CSubMesh* subMesh);
    string const& GetMaterialName() const { return m_materialName; }
    /// A material that is held already stays in use: the name is looked up while there is none.
    void SetMaterialName(string const& name) { m_materialName = name; }
    void SetMaterial(_ResourceSharePtr<CMaterial> const& material);
    /// Looks the name up in the default resource system while there is no material, and loads it.
    _ResourceSharePtr<CMaterial>& GetMaterial();
    /// Recomputes the world transform if `force` is set or the own transform changed.
    void UpdateWordMatrix(bool force) const;

    // As those of a movable object, on the transform relative to the entity.
    void Translation(float x, float y, float z);
    void Translation(Vector3 const& offset) { Translation(offset.x, offset.y, offset.z); }
    void Scale(float sx, float sy, float sz);
    void Scale(Vector3 const& center, float sx, float sy, float sz);
    void Rotate(Quaternion const& q);
    void RotateAxis(Vector3 const& a, Vector3 const& b, float angle);
    void RotateAxis(Vector3 const& axis, float angle);
    void RotateX(float angle);
    void RotateY(float angle);
    void RotateZ(float angle);
    void RotateX(Vector3 const& point, float angle);
    void RotateY(Vector3 const& point, float angle);
    void RotateZ(Vector3 const& point, float angle);
    void Transform(Matrix44 const& m);
    void SetTransform(Matrix44 const& m);
    void ResetTransform();
    Matrix44 const& GetTransform() const { return m_transform; }

protected:
    void _MakeSureMaterialLoad();

    // What every frame looks at comes first, and the name last.
    CEntity* m_parent;   // not owned
    CSubMesh* m_subMesh; // not owned
    _ResourceSharePtr<CMaterial> m_material;
    mutable bool m_transformChanged = false;

private:
    friend class CEntity;
    friend class CSubMesh;

    void LoseSubMesh();

    bool m_isSubMeshLost = false;         // it was destroyed, and no other was set since
    CSubEntity* m_previousUser = nullptr; // of the same sub-mesh
    CSubEntity* m_nextUser = nullptr;

protected:
    Matrix44 m_transform = Matrix44::IDENTITY;
    mutable Matrix44 m_worldTransform = Matrix44::IDENTITY;
    string m_materialName;
};

/// Shows a mesh, with one sub-entity for each of its sub-meshes. Whenever it is updated or drawn and its mesh is not
/// loaded, it loads the mesh and makes all sub-entities anew; what was set on the old ones is gone then. A mesh that
/// cannot be loaded is tried again at the next update. When somebody else has loaded the mesh meanwhile, the entity makes
/// the sub-entities that it owes since `SetMesh`, or gives those it has the new sub-meshes of their places.
class QK3D_API CEntity : public CMovableObject {
public:
    using SubEntityList = CPointerList<CSubEntity>;

    explicit CEntity(string const& name);
    /// Loads the mesh at once, but makes no sub-entities: `SetMesh` does, or an update that finds the mesh not loaded.
    CEntity(string const& name, _ResourceSharePtr<CMesh> const& mesh);
    /// The same mesh, with sub-entities of its own.
    CEntity(CEntity const& other);
    CEntity& operator=(CEntity const& other);
    ~CEntity() override;

    /// Those of this very class lie side by side; those of derived classes come from the heap.
    static void* operator new(std::size_t size);
    static void operator delete(void* memory, std::size_t size) noexcept;

    string GetTypeName() override;
    void AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem) override;
    /// Draws invisible sub-entities too.
    void RenderRenderableObject(CRenderSystem* renderSystem, long long time) override;

    _ResourceSharePtr<CMesh>& GetMesh() { return m_mesh; }
    /// Another mesh gives new sub-entities, one for each sub-mesh that it has at this moment. The same mesh keeps the
    /// sub-entities there are, with their materials, and makes or destroys what differs in number.
    void SetMesh(_ResourceSharePtr<CMesh>& mesh);

    /// Null when out of range.
    CSubEntity* GetSubEntity(unsigned int index);
    unsigned int GetSubEntityNum() const { return m_subEntities.GetSize(); }
    SubEntityList::iterator EnumSubEntityBegin() { return m_subEntities.begin(); }
    SubEntityList::iterator EnumSubEntityEnd() { return m_subEntities.end(); }
    /// A new sub-entity at the end, owned by the entity.
    CSubEntity* _CreateSubEntity(CSubMesh* subMesh);
    CSubEntity* _CreateSubEntity();
    /// Later ones move down one place. What is not there is ignored.
    void DestroySubEntity(unsigned int index);
    void DestroySubEntity(CSubEntity* subEntity);
    void DestroyAllSubEntity();

    /// On all sub-entities there are.
    void SetSubEntityMaterial(_ResourceSharePtr<CMaterial>& material);
    /// Sets the material of that name of the default resource system, or only the name where there is none.
    void SetSubEntityMaterialName(string const& name);

    /// The visible flag, the transform and the mesh of `other`. If that is another mesh than before, sub-entities are
    /// made for it as `SetMesh` does.
    void CopyFrom(CEntity const& other);

protected:
    void _UpdateImpl(bool changed) override;

    SubEntityList m_subEntities; // owned

private:
    bool m_isMeshPending = false; // it was not loaded when it was set
    bool m_isSubMeshLost = false; // perhaps: some sub-entity lost its own since this was last looked at

protected:
    _ResourceSharePtr<CMesh> m_mesh;

private:
    friend class CSubEntity;

    enum class EMeshCheck { Failed, Kept, Renewed };

    EMeshCheck CheckMesh();
    EMeshCheck RenewSubEntities();
    EMeshCheck ReplaceLostSubMeshes();
    bool PrepareForDrawing(CRenderSystem* renderSystem);
};
} // namespace qk3d
