// QK3DEmitableObject.cpp: birth, age and death.
#include "QK3DEmitableObject.h"
#include "QK3DEmitter.h"
#include <limits>

namespace qk3d {
CEmitableObject::CEmitableObject(CEmitter* emitter, string const& name) : CMovableObject(name), m_emitter(emitter) {}

void CEmitableObject::Born(long long const& time, Vector3 const& position) {
    m_bornTime = time;
    ResetTransform();
    Translation(position);
}

void CEmitableObject::ReBorn(long long const& time, Vector3 const& position) { CEmitableObject::Born(time, position); }

void CEmitableObject::GotoTime(long long const& time) { SetVisible(IsAlive(time)); }

bool CEmitableObject::IsValid(long long const& time) { return !IsDead(time); }

void CEmitableObject::Kill() { m_bornTime = std::numeric_limits<long long>::min(); }

long long CEmitableObject::GetAliveTime(long long const& time) const {
    long long const age = GetAge(time);
    return age >= 0 && age <= m_lifeTime ? age : -1;
}

void CEmitableObject::_FollowEmitter(bool changed) {
    if (changed && m_emitter && m_emitter->m_boundToEmitter)
        m_worldTransform = m_emitter->m_worldTransform * m_worldTransform;
}
} // namespace qk3d
