// ViewCounter.cpp: adds up the states of the passes that are drawn.
#include "ViewCounter.h"

#include "QK3DEntity.h"
#include "QK3DMaterial.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DTextureState.h"

namespace view {
namespace {
unsigned int CountStates(qk3d::CPass const& pass) {
    unsigned int count = pass.GetRenderState() ? pass.GetRenderState()->GetStateNum() : 0;
    // With both programs on, the engine leaves the fixed-function stages alone.
    bool const isProgrammed = pass.PeekVertexShader() && pass.PeekPixelShader();
    for (auto it = pass.EnumTextureStateBegin(); it != pass.EnumTextureStateEnd(); ++it)
        if (*it && !isProgrammed) count += (*it)->GetStateNum();
    for (auto it = pass.EnumSamplerStateBegin(); it != pass.EnumSamplerStateEnd(); ++it)
        if (*it) count += (*it)->GetStateNum();
    return count;
}
} // namespace

void CDrawCounter::Watch(qk3d::CEntity& entity) {
    for (unsigned int i = 0; i < entity.GetSubEntityNum(); ++i) {
        entity.GetSubEntity(i)->RemoveRenderListener(this);
        entity.GetSubEntity(i)->AddRenderListener(this);
    }
}

// A renderable hears of each pass, but not of which: over all passes of a technique the mean gives the right sum.
void CDrawCounter::OnRenderableObjectPostRender(qk3d::CRenderableObject* object, qk3d::CRenderSystem*) {
    ++m_draws;
    qk3d::CTechnique* const technique = object->GetTechnique();
    if (!technique || technique->GetPassNum() == 0) return;
    unsigned int sum = 0;
    for (unsigned int i = 0; i < technique->GetPassNum(); ++i) sum += CountStates(*technique->GetPass(i));
    m_states += static_cast<double>(sum) / technique->GetPassNum();
}
} // namespace view
