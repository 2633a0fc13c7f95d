// TraceJournal.cpp: the names of the operations, and the journal's switches.
#include "TraceJournal.h"

#include <algorithm>
#include <new>
#include <numeric>

namespace qk3d {
namespace {
constexpr char const* kNames[] = {
#define OPERATION(name) #name,
#include "TraceOperationTable.inl"
#define ROW(number, name, setter, ...) "Set" #setter,
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...) "Set" #setter,
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...) "Set" #setter,
#include "QK3DSamplerStateTable.inl"
};
static_assert(std::size(kNames) == static_cast<std::size_t>(ETraceOperation::Count));

// The state setters begin behind our own list.
constexpr std::ptrdiff_t kFirstState = 0
#define OPERATION(name) +1
#include "TraceOperationTable.inl"
    ;
} // namespace

char const* GetTraceOperationName(ETraceOperation operation) { return kNames[static_cast<std::size_t>(operation)]; }

ETraceOperation FindTraceOperation(std::string_view name) {
    auto const found = std::find(std::begin(kNames), std::end(kNames), name);
    return static_cast<ETraceOperation>(found - std::begin(kNames));
}

void CTraceJournal::_Tell(ETraceOperation operation, void* how, void (*describe)(void* how, CTraceCall& call)) {
    if (m_omitted[_Index(operation)]) return;
    try {
        m_call.Start(m_frame, GetTraceOperationName(operation), m_keepBlobs);
        describe(how, m_call);
        m_listener(m_call);
    } catch (std::bad_alloc const&) { // destructors tell what they do, too: the line is lost
    }
}

bool CTraceJournal::Omit(std::string_view operation, bool omit) {
    auto const found = FindTraceOperation(operation);
    if (found == ETraceOperation::Count) return false;
    m_omitted[_Index(found)] = omit;
    return true;
}

bool CTraceJournal::Refuse(std::string_view operation, bool refuse) {
    auto const found = FindTraceOperation(operation);
    if (found == ETraceOperation::Count) return false;
    m_refused[_Index(found)] = refuse;
    return true;
}

unsigned long long CTraceJournal::GetCount(std::string_view operation) const {
    auto const found = FindTraceOperation(operation);
    return found == ETraceOperation::Count ? 0 : GetCount(found);
}

unsigned long long CTraceJournal::GetTotalCount() const {
    return std::accumulate(m_counts.begin(), m_counts.end(), 0ULL);
}

unsigned long long CTraceJournal::GetStateCount() const {
    return std::accumulate(m_counts.begin() + kFirstState, m_counts.end(), 0ULL);
}
} // namespace qk3d
