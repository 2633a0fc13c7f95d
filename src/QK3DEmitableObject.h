// QK3DEmitableObject.h: a movable object with a time of birth and a life time.
#pragma once

#include "QK3DMovableObject.h"

namespace qk3d {
class CEmitter;

/// What an emitter emits. Times are ticks of the scene clock, 10,000,000 a second. At the very tick of its birth an
/// object is not alive yet; an object not yet born counts as valid.
class QK3D_API CEmitableObject : public CMovableObject {
public:
    /// `emitter` is the one that makes the object; null for a root emitter.
    CEmitableObject(CEmitter* emitter, string const& name);

    /// Starts the life at `time`, at `position`.
    virtual void Born(long long const& time, Vector3 const& position);
    /// The same for an object that has lived before.
    virtual void ReBorn(long long const& time, Vector3 const& position);
    /// Visible exactly while alive.
    virtual void GotoTime(long long const& time);
    /// False once the life is over: the emitter takes the object back.
    virtual bool IsValid(long long const& time);

    /// Neither alive nor dead from now on, until it is born again.
    void Kill();

    CEmitter* GetEmitter() const { return m_emitter; }
    long long GetBornTime() const { return m_bornTime; }
    void SetBornTime(long long const& time) { m_bornTime = time; }
    long long GetLifeTime() const { return m_lifeTime; }
    void SetLifeTime(long long const& time) { m_lifeTime = time; }
    /// Since the birth; negative before it.
    long long GetAge(long long const& time) const {
        // Wraps, so that one that was killed comes out below zero, neither alive nor dead.
        return static_cast<long long>(static_cast<unsigned long long>(time) -
                                      static_cast<unsigned long long>(m_bornTime));
    }
    bool IsAlive(long long const& time) const {
        long long const age = GetAge(time);
        return age >= 1 && age <= m_lifeTime;
    }
    bool IsDead(long long const& time) const { return GetAge(time) > m_lifeTime; }
    /// The age from 0 to the life time, and -1 outside.
    long long GetAliveTime(long long const& time) const;

protected:
    friend class CEmitter;

    /// Puts the emitter's world transform before the own one, which has just been computed, if objects of that emitter
    /// follow it. For the start of an `_UpdateImpl`.
    void _FollowEmitter(bool changed);

    CEmitter* m_emitter; // not owned
    long long m_bornTime = -1;
    long long m_lifeTime = 0x7FFFFFFFFFFFFFFF; // for ever
};
} // namespace qk3d
