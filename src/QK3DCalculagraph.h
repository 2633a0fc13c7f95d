// QK3DCalculagraph.h: stopwatches on the system's clocks, and a precise wait. The engine itself uses neither.
#pragma once

#include "QK3DExport.h"

namespace qk3d {
/// A stopwatch. Exact time is counted in units of 100 nanoseconds, 10,000,000 a second. One thread at a time.
class QK3D_API CCalculagraph {
public:
    /// Starts or resumes. If it runs already, the time since the last start is dropped.
    virtual void Start() = 0;

    /// Keeps the time since the start; only for one that runs.
    virtual void Pause() = 0;

    /// Back to zero.
    virtual void Stop() = 0;

    virtual long long GetTimeAsExactTime() = 0;
    virtual int GetTimeAsMillisecond() = 0;
    virtual double GetTimeAsSecond() = 0;

    /// Exact time on a clock that always runs and has no known start.
    virtual long long GetTimestamp() = 0;

protected:
    ~CCalculagraph() = default;
};

/// The stopwatch of this system. It runs on the high resolution counter where that can be relied on, else on a tick of
/// one millisecond that wraps round at 32 bits, which costs one millisecond.
class QK3D_API CWin32Calculagraph : public CCalculagraph {
public:
    /// The clocks to read. A test can put its own in their place.
    struct Clocks {
        unsigned int (*getProcessorCount)();
        bool isCounterShared; // all processors show the same count; if not, it serves a machine with just one
        long long (*getCounterFrequency)(); // steps a second; 0 is none
        long long (*getCounter)();
        unsigned int (*getTick)(); // milliseconds
    };

    CWin32Calculagraph();
    explicit CWin32Calculagraph(Clocks const& clocks);

    void Start() override;
    void Pause() override;
    void Stop() override;
    long long GetTimeAsExactTime() override;
    int GetTimeAsMillisecond() override;
    double GetTimeAsSecond() override;
    long long GetTimestamp() override;

    virtual ~CWin32Calculagraph();

protected:
    Clocks m_clocks;
    long long m_frequency = 0;
    bool m_useCounter = false;
    bool m_isRunning = false;
    long long m_counterAtStart = 0;
    long long m_counterAccumulated = 0;
    unsigned int m_tickAtStart = 0;
    unsigned int m_tickAccumulated = 0;

private:
    long long _GetElapsedCounter() const;
    unsigned int _GetElapsedTick() const;
};

/// Waits for `milliseconds`, or until somebody signals `event`, which is not signalled then. Returns at once for 0 or a
/// null event. `event` comes from CreateSleepEvent; it stays the caller's and is not changed.
QK3D_API void SleepEx(unsigned long milliseconds, void*& event);

/// An event for SleepEx; null if the system has none left. The caller destroys it.
QK3D_API void* CreateSleepEvent();
QK3D_API void DestroySleepEvent(void* event);

/// Ends a SleepEx on `event` early, from any thread; the next one, if none waits.
QK3D_API void SignalSleepEvent(void* event);
} // namespace qk3d
