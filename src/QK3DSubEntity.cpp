// QK3DSubEntity.cpp: the drawable part of an entity, with a material and a transform of its own.
#include "QK3DBlockPoolInternal.h"
#include "QK3DEntity.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DResourceSystem.h"

namespace qk3d {
namespace {
constinit BlockPool<sizeof(CSubEntity)> subEntities;
}

void* CSubEntity::operator new(std::size_t size) { return subEntities.Take(size); }
void CSubEntity::operator delete(void* memory, std::size_t size) noexcept { subEntities.Give(memory, size); }

CSubEntity::CSubEntity(CEntity* parent) : CSubEntity(parent, nullptr) {}

CSubEntity::CSubEntity(CEntity* parent, CSubMesh* subMesh) : m_parent(parent), m_subMesh(nullptr) {
    SetSubMesh(subMesh);
    if (subMesh) m_materialName = subMesh->GetMaterialName();
}

CSubEntity::~CSubEntity() { SetSubMesh(nullptr); }

CTechnique* CSubEntity::GetTechnique() {
    _MakeSureMaterialLoad();
    return m_material ? m_material->GetBestTechnique() : nullptr;
}

void CSubEntity::GetWorldTransform(Matrix44* out) const {
    if (!out) return;
    if (m_parent && m_parent->IsTransformChange()) {
        CLifeWatch const watch(m_life);
        m_parent->Update(true);
        if (watch.IsDead()) return;
        UpdateWordMatrix(true);
    } else if (m_transformChanged) {
        UpdateWordMatrix(true);
    }
    *out = m_worldTransform;
}

float CSubEntity::GetSquaredViewDepth(CCamera*, long long) const { return 0; }

void CSubEntity::GetRenderOperation(CRenderOperation& out) const {
    if (m_subMesh)
        m_subMesh->GetRenderOperation(out);
    else
        out = CRenderOperation();
    out.m_renderable = this;
}

// Each sub-mesh keeps a list of its users, so that none is left with a pointer to one that is gone.
void CSubEntity::SetSubMesh(CSubMesh* subMesh) {
    if (m_subMesh) {
        (m_previousUser ? m_previousUser->m_nextUser : m_subMesh->m_firstUser) = m_nextUser;
        if (m_nextUser) m_nextUser->m_previousUser = m_previousUser;
    }
    m_subMesh = subMesh;
    m_isSubMeshLost = false;
    m_previousUser = nullptr;
    m_nextUser = subMesh ? subMesh->m_firstUser : nullptr;
    if (m_nextUser) m_nextUser->m_previousUser = this;
    if (subMesh) subMesh->m_firstUser = this;
}

void CSubEntity::LoseSubMesh() {
    SetSubMesh(nullptr);
    m_isSubMeshLost = true;
    if (m_parent) m_parent->m_isSubMeshLost = true;
}

void CSubEntity::SetMaterial(_ResourceSharePtr<CMaterial> const& material) { m_material = material; }

_ResourceSharePtr<CMaterial>& CSubEntity::GetMaterial() {
    _MakeSureMaterialLoad();
    return m_material;
}

void CSubEntity::UpdateWordMatrix(bool force) const {
    if (!force && !m_transformChanged) return;
    if (m_parent && !m_parent->IsWorldMatrixIdentity())
        m_worldTransform = m_transform * m_parent->GetWorldTransform();
    else
        m_worldTransform = m_transform;
    m_transformChanged = false;
}

#define TRANSFORM_OWNER CSubEntity
#define TRANSFORM_POINT_FORMS
#include "QK3DTransformInternal.inl"

void CSubEntity::_MakeSureMaterialLoad() {
    if (!m_material) {
        if (m_materialName.empty()) return;
        m_material = CQK3DMain::GetResourceSystem().GetResource("CMaterial", m_materialName);
    }
    if (m_material) m_material->MakeSureLoaded();
}
} // namespace qk3d
