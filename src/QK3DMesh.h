// QK3DMesh.h: geometry as a resource: shared vertex data and a list of sub-meshes.
#pragma once

#include "QK3DRenderOperation.h"
#include "QK3DResource.h"
#include <vector>

namespace qk3d {
class CMesh;
class CRenderSystem;
class CSubEntity;

/// A part of a mesh that is drawn with one material: a shape, own or shared vertices, and perhaps indices. Sub-entities
/// that show it forget it when it is destroyed.
class QK3D_API CSubMesh {
public:
    CSubMesh(CMesh* parent, bool useShareVertexData);
    CSubMesh(CSubMesh const&) = delete;
    CSubMesh& operator=(CSubMesh const&) = delete;
    virtual ~CSubMesh();

    CMesh* GetParent() const { return m_parent; }
    void SetParent(CMesh* parent) { m_parent = parent; }
    string const& GetMaterialName() const { return m_materialName; }
    void SetMaterialName(string const& name) { m_materialName = name; }
    EShapeType GetShapeType() const { return m_shapeType; }
    void SetShapeType(EShapeType type) { m_shapeType = type; }
    bool IsUseShareVertexData() const { return m_useShareVertexData; }
    /// True destroys the own vertex data.
    void SetUseShareVertexData(bool share);

    /// The parent's shared data, which may be null, or the own data, made empty on first use.
    CVertexData* GetVertexData() const;
    /// Makes empty index data; existing data stays.
    void CreateIndexData();
    CIndexData* GetIndexData() const { return m_indexData; }
    /// Fills shape, vertices and indices of `out`; indices are used when there are any. Makes no data.
    void GetRenderOperation(CRenderOperation& out) const;

protected:
    CMesh* m_parent; // not owned
    bool m_useShareVertexData;
    mutable CVertexData* m_vertexData = nullptr; // owned
    CIndexData* m_indexData = nullptr;           // owned
    EShapeType m_shapeType = ST_TRIANGLELIST;
    string m_materialName;

private:
    friend class CSubEntity;

    CSubEntity* m_firstUser = nullptr; // the sub-entities that show this, linked through them
};

/// Sub-meshes and the vertices they share. The engine knows no mesh file: geometry comes from a resource loader or from
/// the caller's code. Loading succeeds when a render system with buffers is set; unloading destroys all geometry.
class QK3D_API CMesh : public CResource {
public:
    CMesh(CResourceManager* manager, string const& path, string const& name, bool manual,
          qklib::CSharePtr<CResourceLoader>& loader, CRenderSystem* renderSystem);
    ~CMesh() override;

    /// Reads nothing, true.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

    /// Replaces the shared vertex data. The mesh owns it; earlier pointers to it are dead.
    CVertexData* CreateShareVertexData(qklib::CSharePtr<CVertexDeclaration> const& declaration,
                                       qklib::CSharePtr<CVertexBufferBinding> const& binding);
    CVertexData* CreateShareVertexData();
    CVertexData* GetShareVertexData() const { return m_shareVertexData; }

    /// A new sub-mesh at the end, owned by the mesh.
    CSubMesh* CreateSubMesh(bool useShareVertexData);
    /// Null when out of range.
    CSubMesh* GetSubMesh(unsigned int index) const;
    unsigned int GetSubMeshNum() const { return static_cast<unsigned int>(m_subMeshes.size()); }
    /// Later ones move down one place. An index out of range is ignored.
    void DestroySubMesh(unsigned int index);
    void DestroyAllSubMesh();

    CRenderSystem* GetRenderSystem() const { return m_renderSystem; }
    /// A loaded mesh that is not manual unloads and loads again on the new system; null unloads. Always true.
    bool SetRenderSystem(CRenderSystem* renderSystem);

protected:
    void _CopyImpl(CResource* target) override;
    bool _PrepareImpl() override;
    bool _UnPrepareImpl() override;
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    std::vector<CSubMesh*> m_subMeshes;       // owned
    CRenderSystem* m_renderSystem;            // not owned
    CVertexData* m_shareVertexData = nullptr; // owned

private:
    void DestroyShareVertexData();
};
} // namespace qk3d
