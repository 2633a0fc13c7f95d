// TraceJournal.h: counts what reaches the recording back-end, hands it to a listener, and says no where it is told to.
#pragma once

#include "TraceCall.h"
#include <array>
#include <functional>
#include <string_view>
#include <type_traits>

namespace qk3d {
/// Every operation by number; the state setters stand behind the others in the order of their tables.
enum class ETraceOperation : unsigned short {
#define OPERATION(name) name,
#include "TraceOperationTable.inl"
#define ROW(number, name, setter, ...) Set##setter,
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...) Set##setter,
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...) Set##setter,
#include "QK3DSamplerStateTable.inl"
    Count
};

/// The name of an operation as it stands in the lines, and the operation of a name (`Count` if there is none).
char const* GetTraceOperationName(ETraceOperation operation);
ETraceOperation FindTraceOperation(std::string_view name);

/// One journal serves a device and all that it made.
class CTraceJournal {
public:
    using Listener = std::function<void(CTraceCall const&)>;

    /// Who gets the calls. Without one, calls are counted and nothing else: no text is made, nothing is allocated.
    void SetListener(Listener listener) { m_listener = std::move(listener); }

    /// Leaves an operation out of what the listener gets (it is counted all the same), or brings it back. False for a
    /// name that is none.
    bool Omit(std::string_view operation, bool omit = true);

    /// Whether blobs are told whole, beside size and hash.
    void KeepBlobs(bool keep) { m_keepBlobs = keep; }

    /// From now on the operation fails, if it is one that has a result: false, null, or a device that is not ready. It
    /// is recorded and counted like any other. False for a name that is none.
    bool Refuse(std::string_view operation, bool refuse = true);
    void RefuseNothing() { m_refused.fill(false); }

    /// How often an operation was called since the last reset, refused calls included; 0 for a name that is none.
    unsigned long long GetCount(std::string_view operation) const;
    unsigned long long GetCount(ETraceOperation operation) const { return m_counts[_Index(operation)]; }
    /// Calls of all kinds, or those of the state setters alone.
    unsigned long long GetTotalCount() const;
    unsigned long long GetStateCount() const;
    void ResetCounts() { m_counts.fill(0); }

    /// The number of frames begun so far, which is the frame number of the calls.
    unsigned long long GetFrame() const { return m_frame; }
    void BeginFrame() { ++m_frame; }

    /// A fresh number for an object, so that lines can speak of it.
    unsigned int MakeId() { return ++m_lastId; }

    /// Counts a call, lets `describe(CTraceCall&)` add its arguments if somebody listens, and returns whether the
    /// operation goes through. Questions (operations that ask and change nothing) are counted but never written.
    template <class Describe>
    bool Record(ETraceOperation operation, Describe&& describe) {
        std::size_t const index = _Index(operation);
        ++m_counts[index];
        if (m_listener)
            _Tell(operation, &describe, [](void* how, CTraceCall& call) {
                (*static_cast<std::remove_reference_t<Describe>*>(how))(call);
            });
        return !m_refused[index];
    }
    bool Record(ETraceOperation operation) {
        return Record(operation, [](CTraceCall&) {});
    }
    bool Ask(ETraceOperation question) {
        ++m_counts[_Index(question)];
        return !m_refused[_Index(question)];
    }

private:
    static constexpr std::size_t kCount = static_cast<std::size_t>(ETraceOperation::Count);
    static std::size_t _Index(ETraceOperation operation) { return static_cast<std::size_t>(operation); }

    // Apart from the counting, which is all that most calls need.
    void _Tell(ETraceOperation operation, void* how, void (*describe)(void* how, CTraceCall& call));

    Listener m_listener;
    CTraceCall m_call; // its storage serves all calls
    unsigned long long m_frame = 0;
    unsigned int m_lastId = 0;
    bool m_keepBlobs = false;
    std::array<unsigned long long, kCount> m_counts{};
    std::array<bool, kCount> m_omitted{};
    std::array<bool, kCount> m_refused{};
};
} // namespace qk3d
