// ParticleEmitter.cpp: the emitter that throws particles.
#include "ParticleEmitter.h"
#include "EmitterSettings.h"
#include "QK3DSceneManager.h"
#include <algorithm>
#include <json/value.h>
#include <utility>

namespace qk3d {
namespace {
constexpr double kTicksASecond = 1e7;

// `direction`, of length 1, turned by up to `spread`, evenly around.
Vector3 InCone(Vector3 const& direction, float spread, CEmitRandom& random) {
    float const tilt = spread * std::sqrt(random.Next());
    float const turn = random.Next() * 6.2831853f;
    if (tilt == 0) return direction;
    Vector3 const across = VecCross(direction, std::fabs(direction.x) < 0.5f ? Vector3::UNIT_X : Vector3::UNIT_Y);
    Vector3 result = direction;
    result *= MatBuildRotationAxis(across, tilt);
    result *= MatBuildRotationAxis(direction, turn);
    return result;
}

color ColorAt(std::vector<ColorKey> const& keys, float age) {
    auto const after = std::find_if(keys.begin(), keys.end(), [age](ColorKey const& key) { return key.age > age; });
    if (after == keys.begin()) return after->value;
    if (after == keys.end()) return keys.back().value;
    auto const before = after - 1;
    float const share = (age - before->age) / (after->age - before->age);
    ColorInt const from(before->value), to(after->value);
    return from + (to - from) * share;
}
} // namespace

CThrownParticle::CThrownParticle(CThrowingEmitter* owner) : CParticle(owner), m_owner(owner) {}

void CThrownParticle::Born(long long const&, Vector3 const&) {
    ParticleEmitterSettings const& settings = m_owner->GetSettings();
    unsigned int const index = m_owner->GetEmittedNum();
    CEmitRandom random(settings.seed, index);
    float const life = std::max(random.Next(settings.life) * 1e7f, 1.0f);
    m_bornTime = m_owner->GetTurns().GetBirth(index);
    m_lifeTime = static_cast<long long>(life);
    m_lifeScale = 1 / life;
    m_spin = random.Next(settings.spin);
    m_velocity = InCone(settings.direction, settings.spread, random) * random.Next(settings.speed);
    m_start = random.Next(settings.rangeMin, settings.rangeMax);
    if (m_owner->IsBound()) return; // it stays in the emitter's space
    Matrix44 const& world = m_owner->GetWorld();
    Vector3 const end = m_start + m_velocity;
    m_start *= world;
    Vector3 moved = end;
    moved *= world;
    m_velocity = moved - m_start;
}

void CThrownParticle::GotoTime(long long const& time) {
    CParticle::GotoTime(time);
    if (!IsVisible()) return;
    ParticleEmitterSettings const& settings = m_owner->GetSettings();
    auto const ticks = static_cast<float>(GetAge(time));
    float const seconds = ticks / 1e7f, age = std::min(ticks * m_lifeScale, 1.0f);
    float const size = settings.size.from + (settings.size.to - settings.size.from) * age;
    Vector3 const place = m_start + (m_velocity + settings.gravity * (0.5f * seconds)) * seconds;
    m_transform = m_spin == 0 ? Matrix44::IDENTITY : MatBuildRotationZ(m_spin * seconds);
    for (int i = 0; i < 11; ++i) m_transform.m[i] *= size;
    m_transform.m[12] = place.x, m_transform.m[13] = place.y, m_transform.m[14] = place.z;
    m_transformChanged = true;
    if (!settings.colors.empty()) m_color = ColorAt(settings.colors, age);
}

void CThrownParticle::_UpdateImpl(bool changed) {
    if (changed && m_owner->IsBound()) m_worldTransform = m_worldTransform * m_owner->GetWorld();
}

CThrowingEmitter::CThrowingEmitter(CEmitter* emitter, string const& name) : CParticleEmitter(emitter, name) {
    SetEmitableObjectCreateFun(
        [](CEmitter* owner, CEmitableObject** out) {
            *out = new CThrownParticle(static_cast<CThrowingEmitter*>(owner));
        },
        true);
    Apply(m_settings, *this);
}

void CThrowingEmitter::SetSettings(ParticleEmitterSettings const& settings) {
    ParticleEmitterSettings inRange = settings;
    BringIntoRange(inRange);
    TakeSettings(inRange);
    if (auto mesh = FindMesh(m_settings.mesh); mesh != nullptr) SetMesh(mesh);
    if (auto material = FindMaterial(m_settings.material); material != nullptr) SetMaterial(material);
}

void CThrowingEmitter::TakeSettings(ParticleEmitterSettings const& settings) {
    m_settings = settings;
    Apply(m_settings, *this);
}

bool CThrowingEmitter::SetFromParameter(Json::Value const& value) {
    if (!value.isObject()) return false;
    ParticleEmitterSettings settings = m_settings;
    ReadSettings(value, settings);
    SetSettings(settings);
    return true;
}

void CThrowingEmitter::_UpdateImpl(bool changed) {
    if (!m_attachedSceneManager) return;
    m_turns.Prepare(m_attachedSceneManager->GetTime(), m_emitSpeed, m_settings.life.to, m_totalEmitNum, m_bornTime,
                    m_emittedNum);
    CLifeWatch const watch(CMovableObject::m_life);
    long long const bornTime = std::exchange(m_bornTime, m_bornTime - m_turns.GetInterval());
    CParticleEmitter::_UpdateImpl(changed);
    if (!watch.IsDead()) m_bornTime = bornTime;
}

void CEmitTurns::Prepare(long long now, float rate, float longestLife, unsigned int total, long long& bornTime,
                         unsigned int& emittedNum) {
    if (bornTime == -1) bornTime = now;
    // A start so far off that differences overflow is none.
    constexpr long long kFarthest = 0x3FFFFFFFFFFFFFFF;
    m_start = bornTime = std::clamp(bornTime, -kFarthest, kFarthest);
    m_ticks = rate > 0 ? kTicksASecond / static_cast<double>(rate) : 0;
    double const dead = (static_cast<double>(std::clamp(now, -kFarthest, kFarthest) - m_start) / kTicksASecond -
                         static_cast<double>(longestLife)) *
                        static_cast<double>(rate);
    if (dead > emittedNum) emittedNum = dead < total ? static_cast<unsigned int>(dead) : total;
}

long long CEmitTurns::GetBirth(unsigned int index) const {
    double const after = m_ticks * index;
    return after < 4e18 ? m_start + static_cast<long long>(after) : 0x7FFFFFFFFFFFFFFF;
}

long long CEmitTurns::GetInterval() const { return m_ticks < 4e18 ? static_cast<long long>(m_ticks) : 0; }
} // namespace qk3d
