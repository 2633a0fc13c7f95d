// QK3DCalculagraph.cpp: the stopwatch on its two clocks, and the precise wait.
#include "QK3DCalculagraph.h"

#include "PlatformClock.h"

namespace qk3d {
namespace {
namespace platform = qklib::platform;

constexpr long long kExactPerSecond = 10'000'000;
constexpr long long kExactPerMillisecond = 10'000;

// Milliseconds from `start` to `now` on a tick that wraps round. A wrap costs one of them.
unsigned int TickDifference(unsigned int start, unsigned int now) { return now - start - (now < start ? 1u : 0u); }

CWin32Calculagraph::Clocks SystemClocks() {
    return {platform::GetProcessorCount, true, platform::GetCounterFrequency, platform::GetCounter,
            platform::GetMillisecondTick};
}
} // namespace

CWin32Calculagraph::CWin32Calculagraph() : CWin32Calculagraph(SystemClocks()) {}

CWin32Calculagraph::CWin32Calculagraph(Clocks const& clocks) : m_clocks(clocks) {
    if (!clocks.isCounterShared && clocks.getProcessorCount() != 1) return;
    m_frequency = clocks.getCounterFrequency();
    m_useCounter = m_frequency > 0;
}

CWin32Calculagraph::~CWin32Calculagraph() = default;

void CWin32Calculagraph::Start() {
    if (m_useCounter)
        m_counterAtStart = m_clocks.getCounter();
    else
        m_tickAtStart = m_clocks.getTick();
    m_isRunning = true;
}

void CWin32Calculagraph::Pause() {
    if (m_useCounter)
        m_counterAccumulated += m_clocks.getCounter() - m_counterAtStart;
    else
        m_tickAccumulated += TickDifference(m_tickAtStart, m_clocks.getTick());
    m_isRunning = false;
}

void CWin32Calculagraph::Stop() {
    m_counterAtStart = m_counterAccumulated = 0;
    m_tickAtStart = m_tickAccumulated = 0;
    m_isRunning = false;
}

long long CWin32Calculagraph::GetTimeAsExactTime() {
    if (!m_useCounter) return _GetElapsedTick() * kExactPerMillisecond;
    return static_cast<long long>(GetTimeAsSecond() * static_cast<double>(kExactPerSecond));
}

int CWin32Calculagraph::GetTimeAsMillisecond() {
    if (!m_useCounter) return static_cast<int>(_GetElapsedTick());
    return static_cast<int>(
        static_cast<long long>(GetTimeAsSecond() * 1000.0)); // wraps after 24 days, as the tick does
}

double CWin32Calculagraph::GetTimeAsSecond() {
    if (!m_useCounter) return _GetElapsedTick() / 1000.0;
    return static_cast<double>(_GetElapsedCounter()) / static_cast<double>(m_frequency);
}

long long CWin32Calculagraph::GetTimestamp() {
    if (!m_useCounter) return m_clocks.getTick() * kExactPerMillisecond;
    double const seconds = static_cast<double>(m_clocks.getCounter()) / static_cast<double>(m_frequency);
    return static_cast<long long>(seconds * static_cast<double>(kExactPerSecond));
}

long long CWin32Calculagraph::_GetElapsedCounter() const {
    return m_counterAccumulated + (m_isRunning ? m_clocks.getCounter() - m_counterAtStart : 0);
}

unsigned int CWin32Calculagraph::_GetElapsedTick() const {
    return m_tickAccumulated + (m_isRunning ? TickDifference(m_tickAtStart, m_clocks.getTick()) : 0);
}

void SleepEx(unsigned long milliseconds, void*& event) {
    if (milliseconds > 0 && event) platform::WaitForEvent(event, milliseconds);
}

void* CreateSleepEvent() { return platform::MakeEvent(); }

void DestroySleepEvent(void* event) { platform::DestroyEvent(event); }

void SignalSleepEvent(void* event) { platform::SignalEvent(event); }
} // namespace qk3d
