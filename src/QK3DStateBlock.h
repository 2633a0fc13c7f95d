// QK3DStateBlock.h: what the three kinds of state blocks have in common.
#pragma once

#include "QK3DResource.h"
#include "QK3DStateEntries.h"
#include <json/forwards.h>

namespace qk3d {
/// A sparse, named set of states 1 to kLast, shared by passes and filled by a script or by code. It has no defaults of
/// its own: what it does not set stays at the baseline that the back-end reports. Changing a block that is active on a
/// device does not reach the device before a block is applied the next time. Loading adds to what is set; unloading
/// clears, also a block that was filled by code. `Copy` of a block copies no states; copy construction and assignment
/// do.
template <class TValue, int kLast>
class QK3D_API CStateBlock : public CResource {
public:
    static constexpr int LAST_STATE = kLast;
    using Entries = StateEntries<TValue, kLast>;

    using CResource::CResource;

    bool IsStateSet(int state) const { return m_entries.IsSet(state); }
    unsigned int GetStateNum() const { return m_entries.GetCount(); }
    void RemoveState(int state) { m_entries.Remove(state); }

    /// For the walk of a render system: what is set and its bounds, which are `kLast` and 1 in an empty block.
    Entries const& GetEntries() const { return m_entries; }
    int GetLowestState() const { return m_entries.GetLowest(); }
    int GetHighestState() const { return m_entries.GetHighest(); }

    bool FormatToParameter(Json::Value&) const override { return true; }

protected:
    CStateBlock(CStateBlock const&) = default;
    CStateBlock& operator=(CStateBlock const&) = default;

    void _CopyImpl(CResource*) override {}
    bool _PrepareImpl() override { return true; }
    bool _UnPrepareImpl() override { return true; }

    Entries m_entries;
};
} // namespace qk3d
