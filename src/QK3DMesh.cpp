// QK3DMesh.cpp: the geometry of a mesh and who owns it.
#include "QK3DMesh.h"
#include "QK3DEntity.h"
#include "QK3DRenderSystem.h"
#include <memory>

namespace qk3d {
CSubMesh::CSubMesh(CMesh* parent, bool useShareVertexData)
    : m_parent(parent), m_useShareVertexData(useShareVertexData) {}

CSubMesh::~CSubMesh() {
    while (m_firstUser) m_firstUser->LoseSubMesh();
    delete m_vertexData;
    delete m_indexData;
}

void CSubMesh::SetUseShareVertexData(bool share) {
    m_useShareVertexData = share;
    if (!share) return;
    delete m_vertexData;
    m_vertexData = nullptr;
}

CVertexData* CSubMesh::GetVertexData() const {
    if (m_useShareVertexData) return m_parent ? m_parent->GetShareVertexData() : nullptr;
    if (!m_vertexData) m_vertexData = new CVertexData;
    return m_vertexData;
}

void CSubMesh::CreateIndexData() {
    if (!m_indexData) m_indexData = new CIndexData;
}

void CSubMesh::GetRenderOperation(CRenderOperation& out) const {
    out.m_shapeType = m_shapeType;
    out.m_vertexData = m_useShareVertexData ? GetVertexData() : m_vertexData;
    out.m_useIndices = m_indexData && m_indexData->GetIndexNum() != 0;
    out.m_indexData = m_indexData;
}

CMesh::CMesh(CResourceManager* manager, string const& path, string const& name, bool manual,
             qklib::CSharePtr<CResourceLoader>& loader, CRenderSystem* renderSystem)
    : CResource(manager, path, name, manual, loader), m_renderSystem(renderSystem) {}

CMesh::~CMesh() {
    DestroyAllSubMesh();
    DestroyShareVertexData();
}

bool CMesh::SetFromParameter(Json::Value const&) { return true; }
bool CMesh::FormatToParameter(Json::Value&) const { return true; }

CVertexData* CMesh::CreateShareVertexData(qklib::CSharePtr<CVertexDeclaration> const& declaration,
                                          qklib::CSharePtr<CVertexBufferBinding> const& binding) {
    auto data = std::make_unique<CVertexData>(declaration, binding);
    DestroyShareVertexData();
    return m_shareVertexData = data.release();
}

CVertexData* CMesh::CreateShareVertexData() {
    auto data = std::make_unique<CVertexData>();
    DestroyShareVertexData();
    return m_shareVertexData = data.release();
}

void CMesh::DestroyShareVertexData() {
    delete m_shareVertexData;
    m_shareVertexData = nullptr;
}

CSubMesh* CMesh::CreateSubMesh(bool useShareVertexData) {
    auto subMesh = std::make_unique<CSubMesh>(this, useShareVertexData);
    m_subMeshes.push_back(subMesh.get());
    return subMesh.release();
}

CSubMesh* CMesh::GetSubMesh(unsigned int index) const {
    return index < m_subMeshes.size() ? m_subMeshes[index] : nullptr;
}

void CMesh::DestroySubMesh(unsigned int index) {
    if (index >= m_subMeshes.size()) return;
    delete m_subMeshes[index];
    m_subMeshes.erase(m_subMeshes.begin() + index);
}

void CMesh::DestroyAllSubMesh() {
    for (CSubMesh* subMesh : m_subMeshes) delete subMesh;
    m_subMeshes.clear();
}

bool CMesh::SetRenderSystem(CRenderSystem* renderSystem) {
    if (renderSystem == m_renderSystem) return true;
    if (!renderSystem) {
        Unload();
        m_renderSystem = nullptr;
    } else if (GetLoadingState() == LOADSTATE_LOADED && !IsManual()) {
        Unload();
        m_renderSystem = renderSystem;
        Load(false);
    } else {
        m_renderSystem = renderSystem;
    }
    return true;
}

void CMesh::_CopyImpl(CResource*) {}
bool CMesh::_PrepareImpl() { return true; }
bool CMesh::_UnPrepareImpl() { return true; }
bool CMesh::_LoadImpl() { return m_renderSystem && m_renderSystem->GetHardwareBufferManager(); }

bool CMesh::_UnloadImpl() {
    DestroyAllSubMesh();
    DestroyShareVertexData();
    return true;
}
} // namespace qk3d
