// RecordingRenderSystem.h: the device of the tests: a whole back-end that writes down what reaches it.
#pragma once

#include "TraceRenderSystem.h"
#include <stdexcept>
#include <utility>

namespace qk3d {
/// The recording back-end with its journal at hand.
///
///     CRecordingRenderSystem device("device");
///     device.SetPass(&brick);
///     EXPECT_EQ(device.TakeJournal(), "SetTexture 0 brick\nSetCullMode 3\n");
///
/// A line is the name of the operation and its arguments: numbers as they are (words of scripts too), floats as such,
/// colours as "#AARRGGBB", matrices as sixteen numbers or "identity", textures, targets and programs by name, buffers as
/// "vertex1", null as "null". Operations that only ask (IsDeviceReady, GetDefaultRenderState...) are counted, never written.
/// TraceOperationTable.inl has all names; a state's is that of its setter.
class CRecordingRenderSystem : public CTraceRenderSystem {
public:
    explicit CRecordingRenderSystem(string const& name = "device") : CTraceRenderSystem(name) {
        GetJournal().SetListener([this](CTraceCall const& call) {
            m_brief += call.GetBrief() + '\n';
            m_json += call.GetJson() + '\n';
        });
    }
    // The base still has things to tell in its destructor, and buffers later still, when the two strings are gone.
    ~CRecordingRenderSystem() override { CountOnly(); }

    /// The lines since the last take, each with a line end; the short form or the JSON one. Taking one drops the other.
    string TakeJournal() { return m_json.clear(), std::exchange(m_brief, {}); }
    string TakeJsonJournal() { return m_brief.clear(), std::exchange(m_json, {}); }

    /// From now on nothing is written, calls are counted only. For benchmarks: such a call allocates nothing.
    void CountOnly() { GetJournal().SetListener(nullptr); }

    /// As in CTraceJournal; these throw std::invalid_argument for a name that is no operation, so that a typing mistake in
    /// a test cannot make it pass.
    void Refuse(string const& operation) { Demand(GetJournal().Refuse(operation), operation); }
    void RefuseNothing() { GetJournal().RefuseNothing(); }
    void Omit(string const& operation) { Demand(GetJournal().Omit(operation), operation); }
    unsigned long long CountOf(string const& operation) const {
        Demand(FindTraceOperation(operation) != ETraceOperation::Count, operation);
        return m_journal->GetCount(operation);
    }
    void ResetCounts() { GetJournal().ResetCounts(); }

private:
    static void Demand(bool isOperation, string const& name) {
        if (!isOperation) throw std::invalid_argument("no such operation: " + name);
    }

    string m_brief;
    string m_json;
};
} // namespace qk3d
