// QK3DRenderState.h: the block of fixed-function render states that a pass asks for: depth, blending, fog, stencil.
#pragma once

#include "QK3DResource.h"
#include "QK3DResourceManager.h"
#include "QK3DStateEntries.h"
#include "QK3DStateNames.h"
#include <json/forwards.h>

namespace qk3d {
class CRenderSystem;

/// A sparse, named set of render states, shared by passes and filled by a script or by code. It has no defaults of its
/// own: what it does not set stays at the baseline that the back-end reports. Changing a block that is active on a
/// device does not reach the device before a block is applied the next time. Loading adds to what is set; unloading
/// clears, also a block that was filled by code. `Copy` of a block copies no states; copy construction and assignment
/// do.
class QK3D_API CRenderState : public CResource {
public:
    /// The numbers are the engine's own; each state bears its script name.
    enum EState : int {
#define ROW(number, NAME, Setter, reader) NAME = number,
#include "QK3DRenderStateTable.inl"
    };
    static constexpr int LAST_STATE = 103;

    /// Values are 32 bits; a float stands there as its bit pattern, a colour packed as 0xAARRGGBB.
    using Entries = StateEntries<std::uint32_t, LAST_STATE>;
    using DeviceSetter = void (CRenderSystem::*)(unsigned long value);

    CRenderState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                 CSharePtr<CResourceLoader>& loader);
    ~CRenderState() override;

    /// Of `value` the low 32 bits count. Nothing happens for a number that is no state.
    void SetState(EState state, unsigned long value);

    /// 0 for a state that is not set; IsStateSet tells the two apart.
    unsigned long GetState(EState state) const { return m_entries.Get(state); }
    bool IsStateSet(EState state) const { return m_entries.IsSet(state); }
    void RemoveState(EState state);
    unsigned int GetStateNum() const { return m_entries.GetCount(); }

    /// Sends one state to a device, if it is set.
    void SetRenderState(EState state, CRenderSystem* system) const;

    /// One setter for each state, which reads the script's value for it. A value that cannot be one, such as an
    /// unknown word, leaves the state as it was.
#define ROW(number, NAME, Setter, reader) void Set##Setter(Json::Value const& value);
#include "QK3DRenderStateTable.inl"

    /// Reads the members of an object that are names of states (case and blanks around them don't matter) and skips
    /// the others. False if `value` is no object.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;

    /// Names of states count between these two, which the engine root calls.
    static void InitStringStateMap();
    static void ClearStringStateMap();

    /// Nothing to do, the setters are constants; kept because start-up names it.
    static void InitSetStateFuns();

    /// For the walk of a render system: what is set and its bounds (103 and 1 in an empty block), and which setter of
    /// the device takes a state (null for a number that is none).
    Entries const& GetEntries() const { return m_entries; }
    int GetLowestState() const { return m_entries.GetLowest(); }
    int GetHighestState() const { return m_entries.GetHighest(); }
    static DeviceSetter GetDeviceSetter(int state);

protected:
    void _CopyImpl(CResource* target) override;
    bool _PrepareImpl() override;
    bool _UnPrepareImpl() override;
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    void _ClearAllState();

    /// Trims `name` and turns it to upper case, both in place. The number of that state, 0 if there is none.
    static EState _StringToState(string& name);

    Entries m_entries;
};

/// The numbers of the render states by name, empty before InitStringStateMap.
extern QK3D_API StateNameMap<CRenderState::LAST_STATE> gStringRenderStateStateMap;

class QK3D_API CRenderStateManager : public CResourceManager {
public:
    ~CRenderStateManager() override;
    string GetResourceTypeName() const override;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override;
};
} // namespace qk3d
