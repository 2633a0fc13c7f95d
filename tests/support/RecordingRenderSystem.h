// RecordingRenderSystem.h: the device of the tests: a whole back-end that writes down what reaches it.
#pragma once

#include "TraceRenderSystem.h"

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
    explicit CRecordingRenderSystem(string const& name = "device");
    ~CRecordingRenderSystem() override;

    /// The lines since the last take, each with a line end; the short form or the JSON one. Taking one drops the other.
    string TakeJournal();
    string TakeJsonJournal();

    /// From now on nothing is written, calls are counted only. For benchmarks: such a call allocates nothing.
    void CountOnly();

    /// As in CTraceJournal; these throw std::invalid_argument for a name that is no operation, so that a typing mistake in
    /// a test cannot make it pass.
    void Refuse(string const& operation);
    void RefuseNothing() { GetJournal().RefuseNothing(); }
    void Omit(string const& operation);
    unsigned long long CountOf(string const& operation) const;
    unsigned long long CountOfAll() const { return m_journal->GetTotalCount(); }
    void ResetCounts() { GetJournal().ResetCounts(); }

private:
    string m_brief;
    string m_json;
};
} // namespace qk3d
