// RecordingRenderSystem.cpp: keeps the journal's lines until a test takes them.
#include "RecordingRenderSystem.h"

#include <stdexcept>
#include <utility>

namespace qk3d {
namespace {
void Demand(bool isOperation, string const& name) {
    if (!isOperation) throw std::invalid_argument("no such operation: " + name);
}
} // namespace

CRecordingRenderSystem::CRecordingRenderSystem(string const& name) : CTraceRenderSystem(name) {
    GetJournal().SetListener([this](CTraceCall const& call) {
        m_brief += call.GetBrief() + '\n';
        m_json += call.GetJson() + '\n';
    });
}

// The base still has things to tell in its destructor, and buffers later still, when the two strings are gone.
CRecordingRenderSystem::~CRecordingRenderSystem() { CountOnly(); }

string CRecordingRenderSystem::TakeJournal() {
    m_json.clear();
    return std::exchange(m_brief, {});
}

string CRecordingRenderSystem::TakeJsonJournal() {
    m_brief.clear();
    return std::exchange(m_json, {});
}

void CRecordingRenderSystem::CountOnly() { GetJournal().SetListener(nullptr); }

void CRecordingRenderSystem::Refuse(string const& operation) { Demand(GetJournal().Refuse(operation), operation); }

void CRecordingRenderSystem::Omit(string const& operation) { Demand(GetJournal().Omit(operation), operation); }

unsigned long long CRecordingRenderSystem::CountOf(string const& operation) const {
    Demand(FindTraceOperation(operation) != ETraceOperation::Count, operation);
    return m_journal->GetCount(operation);
}
} // namespace qk3d
