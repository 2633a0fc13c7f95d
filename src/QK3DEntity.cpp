// QK3DEntity.cpp: entities, which keep a sub-entity for each sub-mesh of their mesh.
#include "QK3DEntity.h"
#include "QK3DBlockPoolInternal.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DRenderQueue.h"
#include "QK3DResourceSystem.h"
#include <algorithm>
#include <memory>

namespace qk3d {
namespace {
constinit BlockPool<sizeof(CEntity)> entities;
}

void* CEntity::operator new(std::size_t size) { return entities.Take(size); }
void CEntity::operator delete(void* memory, std::size_t size) noexcept { entities.Give(memory, size); }

CEntity::CEntity(string const& name) : CMovableObject(name) {}

CEntity::CEntity(string const& name, _ResourceSharePtr<CMesh> const& mesh) : CMovableObject(name), m_mesh(mesh) {
    if (m_mesh != nullptr) m_mesh->Load(false);
}

CEntity::CEntity(CEntity const& other) : CMovableObject(other) {
    _ResourceSharePtr<CMesh> mesh(other.m_mesh);
    SetMesh(mesh);
}

CEntity& CEntity::operator=(CEntity const& other) {
    CMovableObject::operator=(other);
    _ResourceSharePtr<CMesh> mesh(other.m_mesh);
    SetMesh(mesh);
    return *this;
}

CEntity::~CEntity() { DestroyAllSubEntity(); }

string CEntity::GetTypeName() { return "CEntity"; }

inline CEntity::EMeshCheck CEntity::CheckMesh() {
    if (!m_mesh) return EMeshCheck::Kept;
    if (m_mesh->GetLoadingState() != LOADSTATE_LOADED || m_isMeshPending) return RenewSubEntities();
    return m_isSubMeshLost ? ReplaceLostSubMeshes() : EMeshCheck::Kept;
}

// The walks below go by index: loading and drawing call out, and the sub-entities may change meanwhile.
void CEntity::AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem) {
    if (!PrepareForDrawing(renderSystem)) return;
    for (std::size_t i = 0; i < m_subEntities.GetSize(); ++i)
        if (m_subEntities[i]->IsVisible()) queue.AddRenderableObject(m_subEntities[i]);
}

void CEntity::RenderRenderableObject(CRenderSystem* renderSystem, long long time) {
    if (!PrepareForDrawing(renderSystem)) return;
    CLifeWatch const watch(m_life);
    for (std::size_t i = 0; !watch.IsDead() && i < m_subEntities.GetSize(); ++i)
        m_subEntities[i]->Render(renderSystem, time);
}

void CEntity::SetMesh(_ResourceSharePtr<CMesh>& mesh) {
    unsigned int const meshNum = mesh != nullptr ? mesh->GetSubMeshNum() : 0;
    if (mesh == m_mesh) {
        unsigned int const kept = std::min(meshNum, m_subEntities.GetSize());
        for (unsigned int i = 0; i < kept; ++i) m_subEntities[i]->SetSubMesh(mesh->GetSubMesh(i));
        while (m_subEntities.GetSize() > meshNum) DestroySubEntity(GetSubEntityNum() - 1);
    } else {
        DestroyAllSubEntity();
        m_mesh = mesh;
        m_isMeshPending = m_mesh != nullptr && m_mesh->GetLoadingState() != LOADSTATE_LOADED;
    }
    while (m_subEntities.GetSize() < meshNum) _CreateSubEntity(m_mesh->GetSubMesh(GetSubEntityNum()));
}

CSubEntity* CEntity::GetSubEntity(unsigned int index) {
    return index < m_subEntities.GetSize() ? m_subEntities[index] : nullptr;
}

CSubEntity* CEntity::_CreateSubEntity(CSubMesh* subMesh) {
    auto subEntity = std::make_unique<CSubEntity>(this, subMesh);
    m_subEntities.Append(subEntity.get());
    return subEntity.release();
}

CSubEntity* CEntity::_CreateSubEntity() { return _CreateSubEntity(nullptr); }

void CEntity::DestroySubEntity(unsigned int index) {
    if (index >= m_subEntities.GetSize()) return;
    CSubEntity* const subEntity = m_subEntities[index];
    m_subEntities.Erase(index);
    delete subEntity;
}

void CEntity::DestroySubEntity(CSubEntity* subEntity) {
    auto const place = std::find(m_subEntities.begin(), m_subEntities.end(), subEntity);
    DestroySubEntity(static_cast<unsigned int>(place - m_subEntities.begin()));
}

void CEntity::DestroyAllSubEntity() {
    while (!m_subEntities.IsEmpty()) DestroySubEntity(GetSubEntityNum() - 1);
}

void CEntity::SetSubEntityMaterial(_ResourceSharePtr<CMaterial>& material) {
    for (CSubEntity* subEntity : m_subEntities) subEntity->SetMaterial(material);
}

void CEntity::SetSubEntityMaterialName(string const& name) {
    if (!name.empty()) {
        _ResourceSharePtr<CMaterial> material = CQK3DMain::GetResourceSystem().GetResource("CMaterial", name);
        if (material != nullptr) {
            SetSubEntityMaterial(material);
            return;
        }
    }
    for (CSubEntity* subEntity : m_subEntities) subEntity->SetMaterialName(name);
}

void CEntity::CopyFrom(CEntity const& other) {
    CMovableObject::CopyFrom(other);
    _ResourceSharePtr<CMesh> mesh(other.m_mesh);
    if (mesh != m_mesh) SetMesh(mesh);
}

void CEntity::_UpdateImpl(bool changed) {
    EMeshCheck const check = CheckMesh();
    if (check == EMeshCheck::Failed) return;
    if (!changed && !m_transformChanged && check == EMeshCheck::Kept) return;
    for (CSubEntity* subEntity : m_subEntities) subEntity->UpdateWordMatrix(true);
}

// When the mesh cannot be loaded the old sub-entities stay.
CEntity::EMeshCheck CEntity::RenewSubEntities() {
    if (!m_mesh->MakeSureLoaded()) return EMeshCheck::Failed;
    m_isMeshPending = false;
    DestroyAllSubEntity();
    for (unsigned int i = 0; i < m_mesh->GetSubMeshNum(); ++i) _CreateSubEntity(m_mesh->GetSubMesh(i));
    return EMeshCheck::Renewed;
}

// When all of them are lost somebody else has loaded the mesh anew; else the caller took some away.
CEntity::EMeshCheck CEntity::ReplaceLostSubMeshes() {
    auto const isLost = [](CSubEntity const* sub) { return sub->m_isSubMeshLost; };
    m_isSubMeshLost = std::any_of(m_subEntities.begin(), m_subEntities.end(), isLost);
    if (!m_isSubMeshLost || !std::all_of(m_subEntities.begin(), m_subEntities.end(), isLost)) return EMeshCheck::Kept;
    SetMesh(m_mesh);
    return EMeshCheck::Renewed;
}

// False when there is nothing to draw now.
bool CEntity::PrepareForDrawing(CRenderSystem* renderSystem) {
    if (!m_visible) return false;
    if (m_mesh && m_mesh->GetRenderSystem() != renderSystem && !m_mesh->SetRenderSystem(renderSystem)) return false;
    return CheckMesh() != EMeshCheck::Failed;
}
} // namespace qk3d
