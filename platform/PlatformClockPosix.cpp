// PlatformClockPosix.cpp: the clocks of POSIX, and an event made of a condition variable.
#include "PlatformClock.h"

#include <chrono>
#include <condition_variable>
#include <limits>
#include <mutex>
#include <new>
#include <thread>
#include <time.h>

namespace qklib::platform {
namespace {
constexpr long long kNanosecondsPerSecond = 1'000'000'000;

struct Event {
    std::mutex mutex;
    std::condition_variable changed;
    bool isSignalled = false;
};
} // namespace

long long GetCalendarSeconds() { return static_cast<long long>(time(nullptr)); }

bool BreakDownCalendarSeconds(long long seconds, CalendarTime& time) {
    auto const moment = static_cast<time_t>(seconds);
    tm parts{};
    if (moment != seconds || !gmtime_r(&moment, &parts)) return false;
    if (parts.tm_year > std::numeric_limits<int>::max() - 1900) return false;
    time = {parts.tm_year + 1900, parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec};
    return true;
}

long long GetCounterFrequency() {
    timespec resolution{};
    return clock_getres(CLOCK_MONOTONIC, &resolution) == 0 ? kNanosecondsPerSecond : 0;
}

long long GetCounter() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * kNanosecondsPerSecond + now.tv_nsec;
}

std::uint32_t GetMillisecondTick() { return static_cast<std::uint32_t>(GetCounter() / 1'000'000); }

unsigned int GetProcessorCount() {
    unsigned int const count = std::thread::hardware_concurrency();
    return count > 0 ? count : 1;
}

EventHandle MakeEvent() { return new (std::nothrow) Event; }

void DestroyEvent(EventHandle event) { delete static_cast<Event*>(event); }

void SignalEvent(EventHandle event) {
    auto const target = static_cast<Event*>(event);
    if (!target) return;
    std::lock_guard const lock(target->mutex);
    target->isSignalled = true;
    target->changed.notify_one(); // under the lock, so that a waiter may destroy the event once it is through
}

bool WaitForEvent(EventHandle event, unsigned long milliseconds) {
    auto const target = static_cast<Event*>(event);
    if (!target) return false;
    constexpr unsigned long kTenYears = 10ul * 365 * 86'400'000; // more would overflow the clock when added to now
    auto const end = std::chrono::steady_clock::now() + std::chrono::milliseconds(std::min(milliseconds, kTenYears));
    std::unique_lock lock(target->mutex);
    bool const isTaken = target->changed.wait_until(lock, end, [target] { return target->isSignalled; });
    target->isSignalled = false;
    return isTaken;
}
} // namespace qklib::platform
