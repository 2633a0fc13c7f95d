// QK3DSamplerState.h: the block of states of one texture sampler: addressing, filtering and the like.
#pragma once

#include "QK3DResourceManager.h"
#include "QK3DStateBlock.h"
#include "QK3DStateNames.h"
#include <array>

namespace qk3d {
class CRenderSystem;

/// As CRenderState, for one sampler: a pass has one block for each texture stage, and the stage is named when a block
/// is applied.
class QK3D_API CSamplerState : public CStateBlock<std::uint32_t, 13> {
public:
    enum EState : int {
#define ROW(number, NAME, Setter, reader) NAME = number,
#include "QK3DSamplerStateTable.inl"
    };

    enum ETextureFilterType {
        TFT_NONE = 0,
        TFT_POINT = 1,
        TFT_LINEAR = 2,
        TFT_ANISOTROPIC = 3,
        TFT_FLATCUBIC = 4,
        TFT_GAUSSIANCUBIC = 5,
    };

    using DeviceSetter = void (CRenderSystem::*)(unsigned int stage, unsigned long value);

    CSamplerState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                  CSharePtr<CResourceLoader>& loader);
    ~CSamplerState() override;

    void SetState(EState state, unsigned long value);
    unsigned long GetState(EState state) const { return m_entries.Get(state); }

    /// Sends one state to a stage of a device, if it is set.
    void SetSamplerState(EState state, CRenderSystem* system, unsigned int stage) const;

#define ROW(number, NAME, Setter, reader) void Set##Setter(Json::Value const& value);
#include "QK3DSamplerStateTable.inl"

    bool SetFromParameter(Json::Value const& value) override;

    static void InitStringStateMap();
    static void ClearStringStateMap();
    static void InitSetStateFuns();

    static DeviceSetter GetDeviceSetter(int state) {
        return state >= 1 && state <= LAST_STATE ? s_deviceSetters[static_cast<std::size_t>(state)] : nullptr;
    }
    /// All of them by number, with null at 0: for walks, which know their numbers.
    static std::array<DeviceSetter, LAST_STATE + 1> const& GetDeviceSetters() { return s_deviceSetters; }

protected:
    bool _LoadImpl() override;
    bool _UnloadImpl() override;

    void _ClearAllState();
    static EState _StringToState(string& name);

private:
    static std::array<DeviceSetter, LAST_STATE + 1> const s_deviceSetters;
};

/// The numbers of the sampler states by name, empty before InitStringStateMap.
extern QK3D_API StateNameMap<CSamplerState::LAST_STATE> gStringSamplerStateStateMap;

class QK3D_API CSamplerStateManager : public CResourceManager {
public:
    ~CSamplerStateManager() override;
    string GetResourceTypeName() const override;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override;
};
} // namespace qk3d
