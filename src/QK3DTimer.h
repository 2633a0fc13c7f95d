// QK3DTimer.h: a clock that moves when told to, and calls events back as it passes their times.
#pragma once

#include "QK3DExport.h"
#include "QKFun.h"
#include <compare>
#include <map>
#include <memory>
#include <unordered_set>
#include <vector>

namespace qk3d {
class CTimer;
class CTimerAliveEvents;

/// A callback with a span of life on the clock of its timer, which makes it and owns it. From the start time on it is
/// alive, from the end time on it is dead; going back it comes to life again. Without an interval it is called at
/// every step of the clock while it is alive, and once with its end time (or, going back, with the time gone to) when
/// the step leaves its life or jumps over it. With an interval it is called for every interval that was passed, with
/// the time of that interval. What was called once is not called again when the clock goes back and forth.
class QK3D_API CTimerEvent {
public:
    enum ETimerEventState : unsigned int { TES_UNSTART = 1, TES_ALIVE = 2, TES_DEAD = 3 };
    enum ETimeSkipMode : unsigned int {
        TSM_CATCHUP = 1, // one call for each interval passed; so does any other value but TSM_SKIP
        TSM_SKIP = 2,    // one call a step, whatever the interval
    };

    CTimerEvent(CTimerEvent const&) = delete;
    CTimerEvent& operator=(CTimerEvent const&) = delete;
    virtual ~CTimerEvent();

    /// Brings this event alone to a time, with the calls that are due, and says what it is then. The timer does this;
    /// an event that was moved by hand is set right at the timer's next step.
    ETimerEventState GotoTime(long long time);

    /// The event is dead past that time.
    void Kill(long long time);

    /// Back to before the start. An event with a repeat count gets its full life again; any other one is dead past
    /// 2147483647.
    void Reset();

    void* GetParam() const { return m_param; }
    ETimerEventState GetState() const { return m_state; }

protected:
    friend class CTimer;
    friend class CTimerAliveEvents;

    using Function = void (*)(CTimerEvent* event, long long time);

    /// `functor` becomes the event's. A repeat count of 0 means no limit.
    CTimerEvent(CTimer* timer, Function function, void* param, qklib::CFun<void>* functor, long long interval,
                unsigned int repeatCount, long long startTime, long long endTime, ETimeSkipMode skipMode);

    CTimer* m_timer; // the owner
    long long m_startTime;
    long long m_endTime;
    long long m_killTime;
    ETimerEventState m_state = TES_UNSTART;
    ETimeSkipMode m_skipMode;
    long long m_interval; // 0: none
    Function m_function;
    void* m_param;
    std::unique_ptr<qklib::CFun<void>> m_functor; // called if there is no function
    unsigned int m_repeatCount;
    unsigned int m_callCount = 0; // of interval calls
    long long m_lastTime;         // of the last interval call, at first the start time

private:
    // Place in a container of the timer. Equal times are kept apart by the order of coming in.
    struct Key {
        long long time = 0;
        unsigned long long order = 0;
        auto operator<=>(Key const&) const = default;
    };
    enum class EHome { None, Unstart, Alive, Killed, Dead };

    ETimerEventState _Advance(long long time);
    void _MakeCalls(long long time);
    void _Call(long long time);
    long long _GetWakeTime() const;

    EHome m_home = EHome::None;
    Key m_key;
    unsigned int m_changes = 0;    // counts moves between containers and resets, to notice one inside a callback
    unsigned long long m_step = 0; // the step of the timer in which it came to life
};

/// The clock of a scene. It starts at 0, the unit is the caller's choice, and it can go back.
///
/// When several events fall due in one step, those that were alive come first, in ascending order of end time, then
/// those that start, in ascending order of start time; at equal times the later added comes first. Each event makes all
/// its calls of the step before the next has its turn.
///
/// Callbacks may do anything to the timer but destroy it. Events they add are up to date when SetTimerEvent returns and
/// not called again in the step; events they kill or remove are not called any more, and are deleted when the step is
/// over; Reset ends the step; and a move of the clock starts when the step is over (of several the last one counts).
///
/// A forward step costs for the events without an interval and for those that are due, not for all that are alive.
class QK3D_API CTimer {
public:
    using EventFunction = void (*)(CTimerEvent* event, long long time);

    CTimer();
    CTimer(CTimer const&) = delete;
    CTimer& operator=(CTimer const&) = delete;
    virtual ~CTimer();

    /// Make an event. A start below 1 means now; start and end are swapped if they are the wrong way round. The first
    /// call can come from in here, if the clock is above 0. Null if there is no memory, or if that first call removed
    /// the event.
    CTimerEvent* SetTimerEvent(EventFunction fun, void* param, long long startTime, long long endTime);
    CTimerEvent* SetTimerEvent(long long interval, EventFunction fun, void* param, long long startTime,
                               long long endTime, CTimerEvent::ETimeSkipMode skipMode);

    /// With a number of interval calls in place of an end; 0 or an interval below 1 means for ever.
    CTimerEvent* SetTimerEvent(long long interval, EventFunction fun, void* param, unsigned int count,
                               long long startTime, CTimerEvent::ETimeSkipMode skipMode);

    /// The same with a callable, which the event owns.
    CTimerEvent* SetTimerEvent(qklib::CFun<void>* fun, long long startTime, long long endTime);
    CTimerEvent* SetTimerEvent(long long interval, qklib::CFun<void>* fun, long long startTime, long long endTime,
                               CTimerEvent::ETimeSkipMode skipMode);
    CTimerEvent* SetTimerEvent(long long interval, qklib::CFun<void>* fun, unsigned int count, long long startTime,
                               CTimerEvent::ETimeSkipMode skipMode);

    /// Moves the clock and makes the calls on the way. The present time does nothing.
    void GotoTime(long long time);
    void TimeStepIn(long long delta);

    /// Sets the clock to 0 without a call and brings all events back to before their start, killed and dead ones too.
    void Reset();

    /// Takes an event that is alive or not started out of the walks. It stays in memory until Reset brings it back or
    /// it is removed; with the clock at 0 or below it is deleted instead. Events of other timers and null are ignored,
    /// also below.
    void KillTimerEvent(CTimerEvent* event);
    void KillAllTimerEvent();

    /// Deletes the event, in whatever state it is.
    void RemoveTimerEvent(CTimerEvent* event);
    void RemoveAllTimerEvents();

    long long GetTime() const { return m_time; }

protected:
    void _SetTimerEvent(CTimerEvent* event);
    bool _KillTimerEventInAliveEvents(CTimerEvent* event);
    bool _KillTimerEventInUnStartEvents(CTimerEvent* event);
    void _RemoveAllUnstartTimerEvents();
    void _RemoveAllAliveTimerEvents();
    void _RemoveAllKillTimerEvents();
    void _RemoveAllDeadTimerEvents();

    long long m_time = 0;

private:
    friend class CTimerEvent;
    using EventMap = std::map<CTimerEvent::Key, CTimerEvent*>;
    class CCallScope;

    CTimerEvent* _Start(CTimerEvent* event);
    long long _StartTime(long long asked) const;
    void _StepTo(long long time);
    void _StepForward(long long time);
    void _StepBackward(long long time);
    template <class Place>
    void _WalkAlive(long long limit, Place place);
    void _RunPendingMoves();

    EventMap* _MapOf(CTimerEvent::EHome home);
    EventMap::node_type _TakeOut(CTimerEvent* event, CTimerEvent::EHome next);
    void _Link(CTimerEvent* event, CTimerEvent::EHome home, EventMap::node_type place);
    void _Unlink(CTimerEvent* event);
    void _Place(CTimerEvent* event, CTimerEvent::ETimerEventState state);
    void _Kill(CTimerEvent* event);
    void _Delete(CTimerEvent* event);
    void _RemoveAll(EventMap& events);
    void _UpdateWakeTime(CTimerEvent* event);

    std::unordered_set<CTimerEvent*> m_events;        // owned; every event that is in one of the four below
    EventMap m_unstartEvents;                         // by start time, at equal times the newest first
    std::unique_ptr<CTimerAliveEvents> m_aliveEvents; // by end time, at equal times the newest first
    EventMap m_killedEvents;                          // by kill time from the last on, at equal times the newest first
    EventMap m_deadEvents;                            // in order of dying
    std::vector<CTimerEvent*> m_removedEvents;        // owned; removed during callbacks, deleted after them
    unsigned long long m_lastOrder = 0;
    unsigned long long m_step = 0;
    unsigned int m_resets = 0;
    int m_callDepth = 0; // callbacks may be running while it is above 0
    bool m_hasPendingMove = false;
    long long m_pendingTime = 0;
};
} // namespace qk3d
