// PlatformClock.h: calendar time, running clocks, the number of processors, and an event to wait on.
#pragma once

#include "QKExport.h"
#include <cstdint>

namespace qklib::platform {
/// A moment in UTC, in numbers as people write them: month and day start at 1.
struct CalendarTime {
    int year;
    int month;
    int day;
    int hour;
    int minute;
    int second;
};

/// Seconds since 1970-01-01 00:00:00 UTC.
QKLIB_API long long GetCalendarSeconds();

/// Breaks seconds since 1970 down into UTC. Moments that have no calendar year of an int give false.
QKLIB_API bool BreakDownCalendarSeconds(long long seconds, CalendarTime& time);

/// Steps a second of the high resolution counter; 0 if there is none.
QKLIB_API long long GetCounterFrequency();

/// The high resolution counter. It never runs backward and knows nothing of the calendar.
QKLIB_API long long GetCounter();

/// A running count of milliseconds that wraps round at 32 bits.
QKLIB_API std::uint32_t GetMillisecondTick();

/// Processors that this process may run on, 1 at least.
QKLIB_API unsigned int GetProcessorCount();

/// An event that a single wait uses up. Opaque; null is none.
using EventHandle = void*;

/// A new event, not signalled. Null if the system refuses. The caller destroys it, when nobody waits on it.
QKLIB_API EventHandle MakeEvent();
QKLIB_API void DestroyEvent(EventHandle event);

/// Signals the event, from any thread. It stays signalled until a wait takes the signal.
QKLIB_API void SignalEvent(EventHandle event);

/// Waits until the event is signalled, or `milliseconds` have passed on the monotonic clock. True if it took a signal.
QKLIB_API bool WaitForEvent(EventHandle event, unsigned long milliseconds);
} // namespace qklib::platform
