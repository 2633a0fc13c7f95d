// AllocationCount.h: how often memory was asked for since some point.
#pragma once

namespace qk3d {
/// Counts what every part of the process asks of operator new from its construction on. Not for several threads.
class AllocationCount {
public:
    AllocationCount();
    unsigned long long Get() const;

private:
    unsigned long long m_start;
};
} // namespace qk3d
