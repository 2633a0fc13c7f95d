// QK3DTimer.cpp: the walks of the clock over its events, and what one event does at a time.
#include "QK3DTimer.h"
#include "QK3DTimerAliveInternal.h"
#include <algorithm>
#include <limits>
#include <new>
#include <utility>

namespace qk3d {
namespace {
constexpr long long kForever = std::numeric_limits<long long>::max();

// Sums of times stop at the ends of the range.
constexpr long long Add(long long a, long long b) {
    if (b > 0 && a > kForever - b) return kForever;
    if (b < 0 && a < std::numeric_limits<long long>::min() - b) return std::numeric_limits<long long>::min();
    return a + b;
}

constexpr long long EndOfCalls(long long startTime, unsigned int count, long long interval) {
    return interval > kForever / std::max(count, 1u) ? kForever : Add(startTime, count * interval);
}
} // namespace

// Keeps removed events in memory while callbacks run that may be theirs.
class CTimer::CCallScope {
public:
    explicit CCallScope(CTimer& timer) : m_timer(timer) { ++m_timer.m_callDepth; }
    CCallScope(CCallScope const&) = delete;
    CCallScope& operator=(CCallScope const&) = delete;

    ~CCallScope() {
        if (--m_timer.m_callDepth > 0 || m_timer.m_removedEvents.empty()) return;
        auto const removed = std::exchange(m_timer.m_removedEvents, {}); // functors may remove more as they go
        for (CTimerEvent* const event : removed) delete event;
    }

private:
    CTimer& m_timer;
};

CTimerEvent::CTimerEvent(CTimer* timer, Function function, void* param, qklib::CFun<void>* functor, long long interval,
                         unsigned int repeatCount, long long startTime, long long endTime, ETimeSkipMode skipMode)
    : m_timer(timer),
      m_startTime(startTime),
      m_endTime(endTime),
      m_killTime(endTime),
      m_skipMode(skipMode),
      m_interval(std::max(interval, 0LL)),
      m_function(function),
      m_param(param),
      m_functor(functor),
      m_repeatCount(repeatCount),
      m_lastTime(startTime) {}

CTimerEvent::~CTimerEvent() = default;

CTimerEvent::ETimerEventState CTimerEvent::GotoTime(long long time) {
    CTimer::CCallScope const scope(*m_timer); // it may be removed by its own callback
    ETimerEventState const state = _Advance(time);
    m_timer->_UpdateWakeTime(this);
    return state;
}

void CTimerEvent::Kill(long long time) {
    m_killTime = time;
    m_timer->_UpdateWakeTime(this);
}

void CTimerEvent::Reset() {
    ++m_changes;
    m_lastTime = m_startTime;
    m_callCount = 0;
    m_state = TES_UNSTART;
    if (m_repeatCount > 0)
        m_endTime = m_killTime = EndOfCalls(m_startTime, m_repeatCount, m_interval);
    else
        m_killTime = 2147483647;
    m_timer->_UpdateWakeTime(this);
}

CTimerEvent::ETimerEventState CTimerEvent::_Advance(long long time) {
    ETimerEventState const before = m_state;
    if (time > m_killTime)
        m_state = TES_DEAD;
    else if (time < m_startTime)
        m_state = TES_UNSTART;
    else
        m_state = time < m_endTime ? TES_ALIVE : TES_DEAD;

    bool const isJumpedOver = before == TES_UNSTART && m_state == TES_DEAD;
    if (m_state == TES_ALIVE || before == TES_ALIVE || isJumpedOver) _MakeCalls(std::min(time, m_endTime));
    return m_state;
}

void CTimerEvent::_MakeCalls(long long time) {
    if (m_skipMode == TSM_SKIP || m_interval == 0) {
        m_lastTime = time;
        _Call(time);
        return;
    }
    if (time <= m_lastTime) return; // going back does not bring calls back

    long long calls = (time - m_lastTime) / m_interval;
    if (calls > 0 && m_repeatCount > 0) {
        calls = std::min(calls, static_cast<long long>(m_repeatCount) - m_callCount);
        if (calls < 1) m_state = TES_DEAD;
    }
    unsigned int const changes = m_changes;
    for (; calls > 0; --calls) {
        m_lastTime += m_interval;
        _Call(m_lastTime);
        if (m_changes != changes) return; // killed, removed or reset by the call
        ++m_callCount;
    }
}

void CTimerEvent::_Call(long long time) {
    if (m_function)
        m_function(this, time);
    else if (m_functor)
        (*m_functor)();
}

// The first time at which a forward step has something to do with this living event.
long long CTimerEvent::_GetWakeTime() const {
    if (m_state != TES_ALIVE || m_skipMode == TSM_SKIP || m_interval == 0) return std::numeric_limits<long long>::min();
    return std::min({Add(m_lastTime, m_interval), m_endTime, Add(m_killTime, 1)});
}

CTimer::CTimer() : m_aliveEvents(std::make_unique<CTimerAliveEvents>()) {}

CTimer::~CTimer() { RemoveAllTimerEvents(); }

CTimerEvent* CTimer::SetTimerEvent(EventFunction fun, void* param, long long startTime, long long endTime) {
    return SetTimerEvent(0, fun, param, startTime, endTime, CTimerEvent::TSM_SKIP);
}

CTimerEvent* CTimer::SetTimerEvent(long long interval, EventFunction fun, void* param, long long startTime,
                                   long long endTime, CTimerEvent::ETimeSkipMode skipMode) {
    if (startTime > endTime) std::swap(startTime, endTime);
    return _Start(new (std::nothrow)
                      CTimerEvent(this, fun, param, nullptr, interval, 0, _StartTime(startTime), endTime, skipMode));
}

CTimerEvent* CTimer::SetTimerEvent(long long interval, EventFunction fun, void* param, unsigned int count,
                                   long long startTime, CTimerEvent::ETimeSkipMode skipMode) {
    if (interval < 1) count = 0;
    startTime = _StartTime(startTime);
    long long const endTime = count > 0 ? EndOfCalls(startTime, count, interval) : kForever;
    return _Start(new (std::nothrow)
                      CTimerEvent(this, fun, param, nullptr, interval, count, startTime, endTime, skipMode));
}

CTimerEvent* CTimer::SetTimerEvent(qklib::CFun<void>* fun, long long startTime, long long endTime) {
    return SetTimerEvent(0, fun, startTime, endTime, CTimerEvent::TSM_SKIP);
}

CTimerEvent* CTimer::SetTimerEvent(long long interval, qklib::CFun<void>* fun, long long startTime, long long endTime,
                                   CTimerEvent::ETimeSkipMode skipMode) {
    if (startTime > endTime) std::swap(startTime, endTime);
    return _Start(new (std::nothrow)
                      CTimerEvent(this, nullptr, nullptr, fun, interval, 0, _StartTime(startTime), endTime, skipMode));
}

CTimerEvent* CTimer::SetTimerEvent(long long interval, qklib::CFun<void>* fun, unsigned int count, long long startTime,
                                   CTimerEvent::ETimeSkipMode skipMode) {
    if (interval < 1) count = 0;
    startTime = _StartTime(startTime);
    long long const endTime = count > 0 ? EndOfCalls(startTime, count, interval) : kForever;
    return _Start(new (std::nothrow)
                      CTimerEvent(this, nullptr, nullptr, fun, interval, count, startTime, endTime, skipMode));
}

long long CTimer::_StartTime(long long asked) const { return asked < 1 ? std::max(m_time, 0LL) : asked; }

CTimerEvent* CTimer::_Start(CTimerEvent* event) {
    _SetTimerEvent(event);
    return m_events.contains(event) ? event : nullptr;
}

void CTimer::_SetTimerEvent(CTimerEvent* event) {
    if (!event) return;
    try {
        m_events.insert(event);
        _Link(event, CTimerEvent::EHome::Unstart, _TakeOut(event, CTimerEvent::EHome::Unstart));
    } catch (std::bad_alloc const&) { // as if there had been no memory for the event itself
        m_events.erase(event);
        static_cast<void>(event->m_functor.release()); // the caller's again
        delete event;
        return;
    }
    if (m_time <= 0) return;
    {
        CCallScope const scope(*this);
        unsigned int const changes = event->m_changes;
        auto const state = event->_Advance(m_time);
        if (event->m_changes == changes && state != CTimerEvent::TES_UNSTART) _Place(event, state);
    }
    _RunPendingMoves();
}

void CTimer::GotoTime(long long time) {
    m_hasPendingMove = true;
    m_pendingTime = time;
    _RunPendingMoves();
}

void CTimer::TimeStepIn(long long delta) { GotoTime(Add(m_time, delta)); }

void CTimer::_RunPendingMoves() {
    if (m_callDepth > 0) return; // whoever made the running calls comes by here when they are done
    while (std::exchange(m_hasPendingMove, false)) _StepTo(m_pendingTime);
}

void CTimer::_StepTo(long long time) {
    if (time == m_time) return;
    CCallScope const scope(*this);
    bool const isForward = time > std::max(m_time, 0LL);
    m_time = time;
    ++m_step;
    if (isForward)
        _StepForward(time);
    else
        _StepBackward(time);
}

// Advances the living events with something to do, in order, and gives `place` those that the callbacks left in place.
template <class Place>
void CTimer::_WalkAlive(long long limit, Place place) {
    CTimerAliveEvents::CCursor cursor;
    while (CTimerEvent* const event = m_aliveEvents->Next(cursor, limit)) {
        if (event->m_step == m_step) continue; // came to life in this step, and had its turn
        unsigned int const changes = event->m_changes;
        auto const state = event->_Advance(m_time);
        if (event->m_changes != changes) continue;
        if (!place(event, state)) m_aliveEvents->UpdateWakeTime(cursor, event);
    }
}

void CTimer::_StepForward(long long time) {
    unsigned int const resets = m_resets;
    _WalkAlive(time, [this](CTimerEvent* event, CTimerEvent::ETimerEventState state) {
        if (state != CTimerEvent::TES_DEAD) return false;
        _Place(event, state);
        return true;
    });
    if (m_resets != resets) return;

    CTimerEvent::Key key;
    for (auto at = m_unstartEvents.begin(); at != m_unstartEvents.end(); at = m_unstartEvents.upper_bound(key)) {
        CTimerEvent* const event = at->second;
        key = at->first;
        unsigned int const changes = event->m_changes;
        auto const state = event->_Advance(time);
        if (m_resets != resets) return;
        if (event->m_changes != changes) continue;
        if (state == CTimerEvent::TES_UNSTART) return; // all others start later
        _Place(event, state);
    }
}

void CTimer::_StepBackward(long long time) {
    unsigned int const resets = m_resets;
    _WalkAlive(kForever, [this](CTimerEvent* event, CTimerEvent::ETimerEventState state) {
        if (state != CTimerEvent::TES_UNSTART) return false; // one that is dead waits for a forward step
        _Place(event, state);
        return true;
    });
    if (m_resets != resets) return;

    // From the last to die on. Those that die while this runs are behind the first one, and not met.
    for (auto at = m_deadEvents.end(); at != m_deadEvents.begin();) {
        --at;
        CTimerEvent* const event = at->second;
        CTimerEvent::Key const key = at->first;
        unsigned int const changes = event->m_changes;
        auto const state = event->_Advance(time);
        if (m_resets != resets) return;
        if (event->m_changes == changes) {
            if (state == CTimerEvent::TES_DEAD) return;
            _Place(event, state);
        }
        at = m_deadEvents.lower_bound(key);
    }
}

void CTimer::Reset() {
    ++m_resets;
    m_time = 0;
    m_hasPendingMove = false;
    auto const moveBack = [this](CTimerEvent* event) {
        auto place = _TakeOut(event, CTimerEvent::EHome::Unstart);
        event->Reset();
        _Link(event, CTimerEvent::EHome::Unstart, std::move(place));
    };
    while (!m_deadEvents.empty()) moveBack(m_deadEvents.begin()->second);
    while (!m_killedEvents.empty()) moveBack(m_killedEvents.begin()->second);
    while (CTimerEvent* const event = m_aliveEvents->GetFirst()) moveBack(event);
}

void CTimer::KillTimerEvent(CTimerEvent* event) {
    if (!m_events.contains(event)) return;
    if (event->m_state == CTimerEvent::TES_ALIVE) {
        if (!_KillTimerEventInAliveEvents(event)) _KillTimerEventInUnStartEvents(event);
    } else if (event->m_state == CTimerEvent::TES_UNSTART) {
        if (!_KillTimerEventInUnStartEvents(event)) _KillTimerEventInAliveEvents(event);
    }
}

void CTimer::KillAllTimerEvent() {
    while (!m_unstartEvents.empty()) _Kill(m_unstartEvents.begin()->second);
    while (CTimerEvent* const event = m_aliveEvents->GetFirst()) _Kill(event);
}

void CTimer::RemoveTimerEvent(CTimerEvent* event) {
    if (m_events.contains(event)) _Delete(event);
}

void CTimer::RemoveAllTimerEvents() {
    _RemoveAllUnstartTimerEvents();
    _RemoveAllAliveTimerEvents();
    _RemoveAllKillTimerEvents();
    _RemoveAllDeadTimerEvents();
}

bool CTimer::_KillTimerEventInAliveEvents(CTimerEvent* event) {
    if (!m_events.contains(event) || event->m_home != CTimerEvent::EHome::Alive) return false;
    _Kill(event);
    return true;
}

bool CTimer::_KillTimerEventInUnStartEvents(CTimerEvent* event) {
    if (!m_events.contains(event) || event->m_home != CTimerEvent::EHome::Unstart) return false;
    _Kill(event);
    return true;
}

void CTimer::_RemoveAllUnstartTimerEvents() { _RemoveAll(m_unstartEvents); }
void CTimer::_RemoveAllKillTimerEvents() { _RemoveAll(m_killedEvents); }
void CTimer::_RemoveAllDeadTimerEvents() { _RemoveAll(m_deadEvents); }
void CTimer::_RemoveAllAliveTimerEvents() {
    while (CTimerEvent* const event = m_aliveEvents->GetFirst()) _Delete(event);
}

void CTimer::_RemoveAll(EventMap& events) {
    while (!events.empty()) _Delete(events.begin()->second);
}

void CTimer::_Kill(CTimerEvent* event) {
    if (m_time <= 0) return _Delete(event);
    auto place = _TakeOut(event, CTimerEvent::EHome::Killed);
    event->m_killTime = m_time;
    _Link(event, CTimerEvent::EHome::Killed, std::move(place));
}

void CTimer::_Delete(CTimerEvent* event) {
    if (m_callDepth > 0 && m_removedEvents.size() == m_removedEvents.capacity())
        m_removedEvents.reserve(2 * m_removedEvents.size() + 4); // before anything is changed
    _Unlink(event);
    m_events.erase(event);
    if (m_callDepth > 0)
        m_removedEvents.push_back(event);
    else
        delete event;
}

void CTimer::_Place(CTimerEvent* event, CTimerEvent::ETimerEventState state) {
    auto const home = state == CTimerEvent::TES_ALIVE     ? CTimerEvent::EHome::Alive
                      : state == CTimerEvent::TES_UNSTART ? CTimerEvent::EHome::Unstart
                                                          : CTimerEvent::EHome::Dead;
    auto place = _TakeOut(event, home);
    event->m_step = m_step;
    _Link(event, home, std::move(place));
}

// Null for the living ones, which have a container of their own.
CTimer::EventMap* CTimer::_MapOf(CTimerEvent::EHome home) {
    switch (home) {
    case CTimerEvent::EHome::Unstart: return &m_unstartEvents;
    case CTimerEvent::EHome::Killed: return &m_killedEvents;
    case CTimerEvent::EHome::Dead: return &m_deadEvents;
    default: return nullptr;
    }
}

// Gets the memory that the next home takes, and then takes the event out of where it is: it is never in no home for want
// of memory. What comes back goes to _Link.
CTimer::EventMap::node_type CTimer::_TakeOut(CTimerEvent* event, CTimerEvent::EHome next) {
    EventMap::node_type place;
    if (next == CTimerEvent::EHome::Alive) {
        m_aliveEvents->MakeRoom();
    } else if (EventMap* const map = _MapOf(event->m_home)) {
        place = map->extract(event->m_key);
    } else {
        EventMap made;
        made.emplace(event->m_key, event);
        place = made.extract(made.begin());
    }
    _Unlink(event);
    return place;
}

void CTimer::_Link(CTimerEvent* event, CTimerEvent::EHome home, EventMap::node_type place) {
    using enum CTimerEvent::EHome;
    ++event->m_changes;
    event->m_home = home;
    unsigned long long const order = ++m_lastOrder;
    switch (home) {
    case Unstart: event->m_key = {event->m_startTime, ~order}; break;
    case Alive: event->m_key = {event->m_endTime, ~order}; break;
    case Killed: event->m_key = {~event->m_killTime, ~order}; break; // ~ turns the order of times round
    default: event->m_key = {0, order}; break;
    }
    if (EventMap* const map = _MapOf(home)) {
        place.key() = event->m_key;
        map->insert(std::move(place));
    } else {
        m_aliveEvents->Insert(event);
    }
}

void CTimer::_Unlink(CTimerEvent* event) {
    ++event->m_changes;
    if (EventMap* const map = _MapOf(event->m_home))
        map->erase(event->m_key);
    else if (event->m_home == CTimerEvent::EHome::Alive)
        m_aliveEvents->Erase(event);
    event->m_home = CTimerEvent::EHome::None;
}

void CTimer::_UpdateWakeTime(CTimerEvent* event) {
    if (event->m_home == CTimerEvent::EHome::Alive) m_aliveEvents->UpdateWakeTime(event);
}
} // namespace qk3d
