// AllocationCount.h: how often memory was asked for since some point, how much of it lives, and how it runs out.
#pragma once

namespace qk3d {
/// Counts what every part of the process asks of operator new from its construction on. Not for several threads.
class AllocationCount {
public:
    AllocationCount();
    unsigned long long Get() const;

    /// The blocks that are alive now, whoever made them.
    static long long GetLive();

private:
    unsigned long long m_start;
};

/// While it lives, one allocation fails: the one with this number from its construction on, counted from 0. Those after
/// it succeed again.
class AllocationFault {
public:
    explicit AllocationFault(unsigned long long number);
    AllocationFault(AllocationFault const&) = delete;
    AllocationFault& operator=(AllocationFault const&) = delete;
    ~AllocationFault();

    bool HasStruck() const;
};
} // namespace qk3d
