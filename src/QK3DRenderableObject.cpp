// QK3DRenderableObject.cpp: hooks and listeners of a draw, and drawing without a queue.
#include "QK3DRenderableObject.h"
#include "QK3DMaterial.h"
#include "QK3DMatrix.h"
#include "QK3DPass.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderSystem.h"

namespace qk3d {
CRenderableObject::CRenderListener::~CRenderListener() = default;
void CRenderableObject::CRenderListener::OnRenderableObjectPerRender(CRenderableObject*, CRenderSystem*) {}
void CRenderableObject::CRenderListener::OnRenderableObjectPostRender(CRenderableObject*, CRenderSystem*) {}

CRenderableObject::~CRenderableObject() = default;

bool CRenderableObject::_PerRenderImpl(CRenderSystem*, long long) { return true; }
void CRenderableObject::_PostRenderImpl(CRenderSystem*, long long) {}

void CRenderableObject::PostRender(CRenderSystem* renderSystem, long long time) {
    _PostRender(renderSystem, time, CLifeWatch(m_life));
}

void CRenderableObject::Render(CRenderSystem* renderSystem, long long time) {
    CLifeWatch const watch(m_life);
    CTechnique* const technique = GetTechnique();
    Matrix44 world;
    CRenderOperation operation;
    GetWorldTransform(&world);
    if (watch.IsDead()) return;
    GetRenderOperation(operation);

    if (!technique || technique->GetPassNum() == 0) {
        if (!PerRender(renderSystem, time)) return;
        renderSystem->SetWorldMatrix(world);
        renderSystem->SetPass(nullptr);
        renderSystem->Render(operation);
        PostRender(renderSystem, time);
        return;
    }

    for (unsigned int i = 0; !watch.IsDead() && i < technique->GetPassNum(); ++i) {
        CPass* const pass = technique->GetPass(i);
        pass->PrepareForRender(renderSystem, time);
        if (!PerRender(renderSystem, time)) continue;
        renderSystem->SetPass(pass);
        renderSystem->SetWorldMatrix(world);
        renderSystem->Render(operation);
        PostRender(renderSystem, time);
    }
}

bool CRenderableObject::_NotifyPerRenderListener(CRenderSystem* renderSystem) {
    return m_renderListeners.Notify([&](auto* l) { l->OnRenderableObjectPerRender(this, renderSystem); });
}

bool CRenderableObject::_NotifyPostRenderListener(CRenderSystem* renderSystem) {
    return m_renderListeners.Notify([&](auto* l) { l->OnRenderableObjectPostRender(this, renderSystem); });
}
} // namespace qk3d
