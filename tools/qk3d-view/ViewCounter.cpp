// ViewCounter.cpp: adds up the states of the passes that are drawn.
#include "ViewCounter.h"

#include "QK3DEmitter.h"
#include "QK3DEntity.h"
#include "QK3DMaterial.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DText.h"
#include "QK3DTextureState.h"
#include "QKJson.h"
#include <algorithm>

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

void CDrawCounter::Watch(qk3d::CEmitter& emitter) { emitter.qk3d::CRenderableObject::AddRenderListener(this); }

void CDrawCounter::Watch(qk3d::COverlayItem& item, Json::Value const& script) {
    item.AddRenderListener(this);
    for (Json::Value const& entry : qklib::JsonMember(script, "SubItems"))
        if (auto* const subItem = item.GetSubItem(qk3d::JsonToAnsi(qklib::JsonMember(entry, "Name"))))
            Watch(*subItem, entry);
}

// A renderable hears of each pass, but not of which: over all passes of a technique the mean gives the right sum. An
// emitter draws all its objects with all passes each time.
void CDrawCounter::OnRenderableObjectPostRender(qk3d::CRenderableObject* object, qk3d::CRenderSystem*) {
    qk3d::CTechnique* const technique = object->GetTechnique();
    unsigned int const passNum = technique ? technique->GetPassNum() : 0;
    unsigned int sum = 0;
    for (unsigned int i = 0; i < passNum; ++i) sum += CountStates(*technique->GetPass(i));
    if (auto* const emitter = dynamic_cast<qk3d::CEmitter*>(object)) {
        auto const seen = std::count_if(emitter->EnumAliveParticleBegin(), emitter->EnumAliveParticleEnd(),
                                        [](qk3d::CEmitableObject const* particle) { return particle->IsVisible(); });
        m_draws += static_cast<unsigned long long>(seen) * passNum;
        m_colours += static_cast<unsigned long long>(seen) * passNum;
        m_states += sum;
        return;
    }
    ++m_draws;
    if (passNum) m_states += static_cast<double>(sum) / passNum;
}

void CDrawCounter::OnOverlayItemPostRender(qk3d::COverlayItem* item, qk3d::CRenderSystem*) {
    if (!item->GetTexture() || !item->GetPass()) return; // it only holds others
    ++m_draws;
    m_states += CountStates(*item->GetPass());
}
} // namespace view
