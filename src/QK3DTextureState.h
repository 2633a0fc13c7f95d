// QK3DTextureState.h: the block of states of one fixed-function texture stage: operations, arguments, transform.
#pragma once

#include "QK3DResourceManager.h"
#include "QK3DStateBlock.h"
#include "QK3DStateNames.h"
#include <array>
#include <memory>

namespace qk3d {
class CRenderSystem;
struct Matrix44;

/// As CRenderState, for one texture stage. Values are as wide as a pointer: numbers, words, floats and colours stand
/// in the low 32 bits, TRANSFORMMATRIX is the address of a matrix that the block owns.
class QK3D_API CTextureState : public CStateBlock<std::uintptr_t, 19> {
public:
    enum EState : int {
#define ROW(number, NAME, Setter, reader) NAME = number,
#include "QK3DTextureStateTable.inl"
    };

    using DeviceSetter = void (CRenderSystem::*)(unsigned int stage, void* value);

    CTextureState(CResourceManager* manager, string const& path, string const& name, bool isManual,
                  CSharePtr<CResourceLoader>& loader);
    CTextureState(CTextureState const& other);
    ~CTextureState() override;
    CTextureState& operator=(CTextureState const& other);

    /// For TRANSFORMMATRIX `value` points to a Matrix44, which is copied; null frees the block's matrix and sets the
    /// state to null. For all others it is the number itself.
    void SetState(EState state, void* value);
    void* GetState(EState state) const { return reinterpret_cast<void*>(m_entries.Get(state)); }

    /// Sends one state to a stage of a device, if it is set.
    void SetTextureState(EState state, CRenderSystem* system, unsigned int stage) const;

    /// The matrix is copied. Its address in the block stays the same from one call to the next.
    void SetTransformMatrix(Matrix44 const& matrix);

    /// TRANSFORMMATRIX takes an array of 16 numbers by row.
#define ROW(number, NAME, Setter, reader) void Set##Setter(Json::Value const& value);
#include "QK3DTextureStateTable.inl"

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

    std::unique_ptr<Matrix44> m_transformMatrix; // kept when the state is removed, for the next time

private:
    static std::array<DeviceSetter, LAST_STATE + 1> const s_deviceSetters;
};

/// The numbers of the texture stage states by name, empty before InitStringStateMap.
extern QK3D_API StateNameMap<CTextureState::LAST_STATE> gStringTextureStateStateMap;

class QK3D_API CTextureStateManager : public CResourceManager {
public:
    ~CTextureStateManager() override;
    string GetResourceTypeName() const override;

protected:
    CResource* _CreateResourceImpl(string const& path, string const& name, bool isManual,
                                   CSharePtr<CResourceLoader>& loader) override;
};
} // namespace qk3d
