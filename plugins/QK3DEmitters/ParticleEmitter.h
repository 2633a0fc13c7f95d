// ParticleEmitter.h: the emitter that throws particles.
#pragma once

#include "EmitterRandom.h"
#include "QK3DEmitters.h"
#include "QK3DParticle.h"

namespace qk3d {
class CThrowingEmitter;

/// The turns of an emitter by its rate: object number i falls due, and is born, i / rate seconds after the start. (The base
/// cuts the time between two objects to whole ticks, which adds up, and makes an object one such time after its birth.)
class CEmitTurns {
public:
    /// Starts an emitter that was not told when to; `bornTime` is its time of birth. Passes over all objects whose life,
    /// `longestLife` seconds at most, would be over by now: after a long pause they would come one frame's worth at a time,
    /// and all dead.
    void Prepare(long long now, float rate, float longestLife, unsigned int total, long long& bornTime,
                 unsigned int& emittedNum);

    long long GetBirth(unsigned int index) const;
    /// The time between two objects, in ticks.
    long long GetInterval() const;

private:
    long long m_start = 0;
    double m_ticks = 0; // between two objects
};

/// Flies on a path that its age alone decides.
class CThrownParticle final : public CParticle {
public:
    explicit CThrownParticle(CThrowingEmitter* owner);

    void Born(long long const& time, Vector3 const& position) override;
    void ReBorn(long long const& time, Vector3 const& position) override { Born(time, position); }
    void GotoTime(long long const& time) override;

private:
    void _UpdateImpl(bool changed) override;

    CThrowingEmitter const* m_owner; // not owned
    Vector3 m_start;
    Vector3 m_velocity;    // a second
    float m_spin = 0;      // radians a second
    float m_lifeScale = 0; // one over the life in ticks
};

class CThrowingEmitter : public CParticleEmitter {
public:
    CThrowingEmitter(CEmitter* emitter, string const& name);

    string GetTypeName() override { return "ParticleEmitter"; }
    void SetSettings(ParticleEmitterSettings const& settings) override;
    ParticleEmitterSettings const& GetSettings() const override { return m_settings; }
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value&) const override { return true; }

    CEmitTurns const& GetTurns() const { return m_turns; }
    Matrix44 const& GetWorld() const { return m_worldTransform; }
    bool IsBound() const { return m_settings.isBound || m_boundToEmitter; }

protected:
    void _UpdateImpl(bool changed) override;
    /// Without looking for mesh and material; the settings are in range.
    void TakeSettings(ParticleEmitterSettings const& settings);

    ParticleEmitterSettings m_settings;
    CEmitTurns m_turns;
};
} // namespace qk3d
