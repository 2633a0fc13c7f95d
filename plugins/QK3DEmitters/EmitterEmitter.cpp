// EmitterEmitter.cpp: the emitter that emits emitters of particles.
#include "EmitterEmitter.h"
#include "EmitterSettings.h"
#include "QK3DSceneManager.h"
#include <algorithm>
#include <json/value.h>
#include <utility>

namespace qk3d {
namespace {
// Emits for its life, and lives on until its last particle is gone.
class CEmittedEmitter final : public CThrowingEmitter {
public:
    explicit CEmittedEmitter(CNestingEmitter* owner) : CThrowingEmitter(owner, ""), m_owner(owner) {
        m_emitter = nullptr; // the binding below is the only one
    }

    void Born(long long const&, Vector3 const&) override {
        EmitterEmitterSettings const& settings = m_owner->GetSettings();
        unsigned int const index = m_owner->GetEmittedNum();
        CEmitRandom random(settings.seed, index);
        float const life = random.Next(settings.life);
        m_start = random.Next(settings.rangeMin, settings.rangeMax);
        if (!m_owner->IsBound()) m_start *= m_owner->GetWorld();

        ResetEmitter();
        SetMesh(m_owner->GetChildMesh());
        SetMaterial(m_owner->GetChildMaterial());
        TakeSettings(settings.child);
        m_settings.seed = static_cast<unsigned int>(random.NextBits());
        auto const most = std::ceil(static_cast<double>(m_settings.rate) * static_cast<double>(life));
        SetTotalEmitNum(static_cast<unsigned int>(std::min(static_cast<double>(m_settings.total), most)));
        CThrowingEmitter::Born(m_owner->GetTurns().GetBirth(index), m_start);
        SetLifeTime(
            static_cast<long long>((static_cast<double>(life) + static_cast<double>(m_settings.life.to)) * 1e7) + 1);
    }
    void ReBorn(long long const& time, Vector3 const& position) override { Born(time, position); }

private:
    void _UpdateImpl(bool changed) override {
        if (changed && m_owner->IsBound()) m_worldTransform = m_worldTransform * m_owner->GetWorld();
        CThrowingEmitter::_UpdateImpl(changed);
    }

    CNestingEmitter* m_owner; // not owned
    Vector3 m_start;
};
} // namespace

CNestingEmitter::CNestingEmitter(CEmitter* emitter, string const& name) : CEmitterEmitter(emitter, name) {
    SetEmitableObjectCreateFun(
        [](CEmitter* owner, CEmitableObject** out) {
            *out = new CEmittedEmitter(static_cast<CNestingEmitter*>(owner));
        },
        false);
    Apply(m_settings, *this);
}

void CNestingEmitter::SetSettings(EmitterEmitterSettings const& settings) {
    m_settings = settings;
    BringIntoRange(m_settings);
    Apply(m_settings, *this);
    m_childMesh = FindMesh(m_settings.child.mesh);
    m_childMaterial = FindMaterial(m_settings.child.material);
}

bool CNestingEmitter::SetFromParameter(Json::Value const& value) {
    if (!value.isObject()) return false;
    EmitterEmitterSettings settings = m_settings;
    ReadSettings(value, settings);
    SetSettings(settings);
    return true;
}

void CNestingEmitter::AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem* renderSystem) {
    if (!IsVisible()) return;
    for (std::size_t i = 0; i < m_aliveObjects.size(); ++i)
        m_aliveObjects[i]->AddRenderableObjectToRenderQueue(queue, renderSystem);
}

void CNestingEmitter::RenderRenderableObject(CRenderSystem* renderSystem, long long time) {
    if (!IsVisible()) return;
    for (std::size_t i = 0; i < m_aliveObjects.size(); ++i)
        m_aliveObjects[i]->RenderRenderableObject(renderSystem, time);
}

void CNestingEmitter::_UpdateImpl(bool changed) {
    if (!m_attachedSceneManager) return;
    m_turns.Prepare(m_attachedSceneManager->GetTime(), m_emitSpeed, m_settings.life.to + m_settings.child.life.to,
                    m_totalEmitNum, m_bornTime, m_emittedNum);
    CLifeWatch const watch(CMovableObject::m_life);
    long long const bornTime = std::exchange(m_bornTime, m_bornTime - m_turns.GetInterval());
    CEmitterEmitter::_UpdateImpl(changed);
    if (!watch.IsDead()) m_bornTime = bornTime;
}
} // namespace qk3d
