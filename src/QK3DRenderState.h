// QK3DRenderState.h: the block of fixed-function render states that a pass asks for: depth, blending, fog, stencil.
#pragma once

#include "QK3DResourceManager.h"
#include "QK3DStateBlock.h"
#include "QK3DStateNames.h"
#include <array>

namespace qk3d {
class CRenderSystem;

/// The render states of a pass. Values are 32 bits; a float stands there as its bit pattern, a colour packed as
/// 0xAARRGGBB.
class QK3D_API CRenderState : public CStateBlock<std::uint32_t, 103> {
public:
    /// The numbers are the engine's own; each state bears its script name.
    enum EState : int {
#define ROW(number, NAME, Setter, reader) NAME = number,
#include "QK3DRenderStateTable.inl"
    };

    using DeviceSetter = void (CRenderSystem::*)(unsigned long value);

    CRenderState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                 CSharePtr<CResourceLoader>& loader);
    ~CRenderState() override;

    /// Of `value` the low 32 bits count. Nothing happens for a number that is no state.
    void SetState(EState state, unsigned long value);

    /// 0 for a state that is not set; IsStateSet tells the two apart.
    unsigned long GetState(EState state) const { return m_entries.Get(state); }

    /// Sends one state to a device, if it is set.
    void SetRenderState(EState state, CRenderSystem* system) const;

    /// One setter for each state, which reads the script's value for it. A value that cannot be one, such as an
    /// unknown word, leaves the state as it was.
#define ROW(number, NAME, Setter, reader) void Set##Setter(Json::Value const& value);
#include "QK3DRenderStateTable.inl"

    /// Reads the members of an object that are names of states (case and blanks around them don't matter) and skips
    /// the others. False if `value` is no object.
    bool SetFromParameter(Json::Value const& value) override;

    /// Names of states count between these two, which the engine root calls.
    static void InitStringStateMap();
    static void ClearStringStateMap();

    /// Nothing to do, the setters are constants; kept because start-up names it.
    static void InitSetStateFuns();

    /// The setter of the device that takes a state; null for a number that is none.
    static DeviceSetter GetDeviceSetter(int state) {
        return state >= 1 && state <= LAST_STATE ? s_deviceSetters[static_cast<std::size_t>(state)] : nullptr;
    }
    /// All of them by number, with null at 0: for walks, which know their numbers.
    static std::array<DeviceSetter, LAST_STATE + 1> const& GetDeviceSetters() { return s_deviceSetters; }

protected:
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    void _ClearAllState();

    /// Trims `name` and turns it to upper case, both in place. The number of that state, 0 if there is none.
    static EState _StringToState(string& name);

private:
    static std::array<DeviceSetter, LAST_STATE + 1> const s_deviceSetters;
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
