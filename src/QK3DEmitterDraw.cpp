// QK3DEmitterDraw.cpp: draws all objects of an emitter, pass by pass.
#include "QK3DEmitter.h"
#include "QK3DMaterial.h"
#include "QK3DMesh.h"
#include "QK3DParticle.h"
#include "QK3DPass.h"
#include "QK3DPrefetchInternal.h"
#include "QK3DRenderQueue.h"
#include "QK3DRenderSystem.h"
#include <algorithm>

namespace qk3d {
void CEmitter::AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem) {
    if (!IsVisible() || !m_drawObjects) return;
    PrepareForDrawing(renderSystem);
    queue.AddRenderableObject(this);
}

void CEmitter::RenderRenderableObject(CRenderSystem* renderSystem, long long time) {
    if (!IsVisible() || !m_drawObjects) return;
    PrepareForDrawing(renderSystem);
    CRenderableObject::Render(renderSystem, time);
}

CTechnique* CEmitter::GetTechnique() { return m_material != nullptr ? m_material->GetBestTechnique() : nullptr; }
void CEmitter::GetWorldTransform(Matrix44*) const {}
float CEmitter::GetSquaredViewDepth(CCamera*, long long) const { return 0; }
void CEmitter::GetRenderOperation(CRenderOperation&) const {}

// What cannot be loaded draws nothing, and is tried again the next time.
void CEmitter::PrepareForDrawing(CRenderSystem* renderSystem) {
    if (m_mesh != nullptr) {
        m_mesh->SetRenderSystem(renderSystem);
        m_mesh->MakeSureLoaded();
    }
    if (m_material != nullptr) m_material->MakeSureLoaded();
}

bool CEmitter::_PerRenderImpl(CRenderSystem* renderSystem, long long) {
    if (!IsVisible() || !_NotifyPerRenderListener(renderSystem)) return false;
    if (CTechnique* const technique = GetTechnique(); technique && m_mesh != nullptr && m_drawObjects)
        DrawObjects(renderSystem, *technique);
    _NotifyPostRenderListener(renderSystem);
    return false;
}

void CEmitter::DrawObjects(CRenderSystem* renderSystem, CTechnique& technique) {
    CPass const* lastPass = nullptr;
    for (unsigned int i = 0; i < technique.GetPassNum(); ++i) {
        lastPass = technique.GetPass(i);
        if (lastPass) DrawWithPass(renderSystem, lastPass);
    }

    // Colours and texture matrices went to the device past its records of the states.
    if (lastPass && lastPass->GetRenderState() != nullptr &&
        lastPass->GetRenderState()->IsStateSet(CRenderState::TEXTUREFACTOR))
        lastPass->GetRenderState()->SetRenderState(CRenderState::TEXTUREFACTOR, renderSystem);
    else
        renderSystem->ResetRenderStateToDefault(CRenderState::TEXTUREFACTOR);
    if (int const stages = renderSystem->GetTextureStageNum(); stages > 0)
        renderSystem->ResetTextureStateToDefault(0, static_cast<unsigned int>(stages) - 1,
                                                 CTextureState::TRANSFORMMATRIX);
}

void CEmitter::DrawWithPass(CRenderSystem* renderSystem, CPass const* pass) {
    renderSystem->SetPass(pass);
    unsigned int const subMeshNum = m_mesh->GetSubMeshNum();
    if (subMeshNum == 0) return;
    if (subMeshNum == 1) m_mesh->GetSubMesh(0)->GetRenderOperation(m_renderOperation);

    auto const stageNum = static_cast<unsigned int>(std::max(0, renderSystem->GetTextureStageNum()));
    for (std::size_t at = 0; at < m_aliveObjects.size(); ++at) {
        if (at + kPrefetchAhead < m_aliveObjects.size())
            Prefetch(m_aliveObjects[at + kPrefetchAhead], sizeof(CParticle));
        CEmitableObject* const object = m_aliveObjects[at];
        if (!object->IsVisible()) continue;
        // Whatever else a create function makes is never listed by an emitter that draws.
        auto const& particle = static_cast<CParticle const&>(*object);
        renderSystem->SetWorldMatrix(object->m_worldTransform);
        renderSystem->SetTextureFactor(static_cast<unsigned int>(particle.GetColor()));
        unsigned int const matrixNum = std::min(particle.GetTextureMatrixNum(), stageNum);
        for (unsigned int stage = 0; stage < matrixNum; ++stage)
            if (Matrix44* const matrix = particle.GetTextureTransform(stage))
                renderSystem->SetTransformMatrix(stage, matrix);
        if (subMeshNum == 1) {
            renderSystem->Render(m_renderOperation);
            continue;
        }
        for (unsigned int i = 0; i < subMeshNum; ++i) {
            m_mesh->GetSubMesh(i)->GetRenderOperation(m_renderOperation);
            renderSystem->Render(m_renderOperation);
        }
    }
}
} // namespace qk3d
