// QK3DRenderSystem.h: the abstract face of a graphics device: what a back-end implements, and what it gets for free.
#pragma once

#include "QK3DExport.h"
#include "QK3DPixelFormat.h"
#include "QK3DRenderState.h"
#include "QK3DResourceSharePtr.h"
#include "QK3DSamplerState.h"
#include "QK3DTextureState.h"
#include "QKSerial.h"
#include <map>
#include <set>
#include <vector>

namespace qk3d {
class CBox;
class CGPUProgram;
class CGPUProgramParamTable;
class CHardwareBufferManager;
class CKeepActive;
class CPass;
class CRenderOperation;
class CRenderTarget;
class CRenderTexture;
class CRenderWindow;
class CTexture;
class CVertexDeclaration;
class CViewport;
struct Matrix44;

/// A graphics device. The library draws nothing itself: a back-end derives from this class and implements the pure
/// operations. It gets the ownership of targets, the frame, and the filter that sends only what differs.
///
/// A back-end's destructor calls Release while its own part still stands; the base alone can no longer reach the
/// device.
class QK3D_API CRenderSystem : public qklib::ISerial {
public:
    explicit CRenderSystem(string const& name);
    CRenderSystem(CRenderSystem const&) = delete;
    CRenderSystem& operator=(CRenderSystem const&) = delete;

    /// Read and write nothing.
    bool SetFromParameter(Json::Value const& value) override;
    bool FormatToParameter(Json::Value& out) const override;
    virtual ~CRenderSystem();

    // What a back-end implements, in the order of the interface. Values arrive as the state blocks hold them.

    /// Binds a texture to a stage; `enable` false or a null texture unbinds it.
    virtual void SetTexture(unsigned int stage, bool enable, CTexture const* texture) = 0;

    /// The name under which the factory makes this back-end.
    virtual string GetTypeName() = 0;

    /// False while the device is lost.
    virtual bool IsDeviceReady() = 0;

    /// Brings a lost device back. The filter still believes in what is recorded, so a back-end that made its device
    /// objects anew ends with _SendActiveState or _ForgetActiveState. The base has nothing to restore and returns
    /// true.
    virtual bool Restore();

    /// Null means that this back-end has no buffers, and textures then do not load.
    virtual CHardwareBufferManager* GetHardwareBufferManager() = 0;

    /// The baseline: the state a device is in where no block says otherwise. Every state of the kind has to be set,
    /// and the blocks have to stay the same for the life of the device.
    virtual CRenderState const* GetDefaultRenderState() = 0;
    virtual CTextureState const* GetDefaultTextureState(unsigned int stage) = 0;
    virtual CSamplerState const* GetDefaultSamplerState(unsigned int stage) = 0;

    /// How many stages there are; fixed for the life of the device.
    virtual int GetTextureStageNum() = 0;

    virtual void SetViewMatrix(Matrix44 const& matrix) = 0;
    virtual void SetProjectionMatrix(Matrix44 const& matrix) = 0;
    virtual void SetWorldMatrix(Matrix44 const& matrix) = 0;

    /// Drops the device object of a declaration that this system owns (CVertexDeclaration::SetHardwareDeclaration).
    /// Called when the declaration changes or dies, and by Release.
    virtual void _ReleaseVertexDeclaration(CVertexDeclaration* declaration) = 0;

    // One setter for each state: SetZEnable(value), SetColorOP(stage, value), SetAddressU(stage, value) and so on.
#define ROW(number, name, setter, ...) virtual void Set##setter(unsigned long value) = 0;
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...) virtual void Set##setter(unsigned int stage, void* value) = 0;
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...) virtual void Set##setter(unsigned int stage, unsigned long value) = 0;
#include "QK3DSamplerStateTable.inl"

    /// Draws one operation with what is bound.
    virtual void Render(CRenderOperation const& operation) = 0;

    /// Clears the active target by its own clear settings, over the active viewport or, without one, all of it.
    virtual void ClearRenderTarget() = 0;

    /// Bracket a frame and show it. Nothing looks at the results.
    virtual bool BeginFrame() = 0;
    virtual bool EndFrame() = 0;
    virtual bool PresentFrame() = 0;

    /// Copies a part of one texture to a part of another, stretched; null boxes mean all of it. The base can't: false.
    virtual bool StretchToRenderTexture(CTexture* const source, CBox const* sourceBox, CTexture* dest,
                                        CBox const* destBox, CSamplerState::ETextureFilterType filter);

    /// An extension point of a back-end. The library never calls it; the base knows no command: false.
    virtual bool UnusualCall(string const& command, Json::Value* in, Json::Value* out);

    // What hosts and the library call.

    /// A window that the back-end makes and this system owns. Null if a target of that name exists or the back-end
    /// makes none. An empty name is replaced by a generated one.
    CRenderWindow* CreateRenderWindow(string const& name, unsigned int width, unsigned int height, EPixelFormat format,
                                      bool fullScreen);

    /// The target that draws into `texture`, made at the first call and owned by this system. Null if the texture is
    /// null, of another system or in no manager, if its name belongs to another target, or if the back-end makes
    /// none.
    CRenderTexture* CreateRenderTexture(CTexture* texture);

    CRenderTarget* GetRenderTarget(string const& name);

    /// Destroys a target; an unknown name is ignored. What was active of it, as target or as viewport, is so no
    /// longer. A target that is being drawn leaves the table now and dies when its Update ends. All three do the
    /// same.
    void DestroyRenderTarget(string const& name);
    void DestroyRenderTexture(string const& name) { DestroyRenderTarget(name); }
    void DestroyRenderWindow(string const& name) { DestroyRenderTarget(name); }
    void DestroyAllRenderTarget();

    /// Draws one frame: every target with auto update on, in order of name. False, with nothing drawn, if the device
    /// is lost and can't be restored, and inside another frame.
    bool UpdateAllRenderTarget(long long time);

    /// Makes the next frame draw all targets with auto update on, also at the same time value.
    void ResetUpdateFlag();

    /// Binds `target` at `index`; null unbinds. False if it belongs to another system or the back-end refuses. A
    /// refused bind at index 0 still makes `target` the active one.
    bool SetActiveRenderTarget(unsigned int index, CRenderTarget* target);
    CRenderTarget* GetActiveRenderTarget(unsigned int index) const;

    /// Binds a viewport of the active target and sends its camera's matrices; null means the whole target. False if
    /// it is a viewport of another target or the back-end refuses. Nothing is filtered.
    bool SetActiveViewport(CViewport* viewport);
    CViewport* GetActiveViewport() const { return m_activeViewport; }

    /// Passes the product matrices[0] * matrices[1] * ... to SetWorldMatrix. `count` 0 counts as 1; null does nothing.
    void SetWorldMatrices(Matrix44 const* matrices, unsigned int count);

    /// Brings the device to what `pass` asks for, null: to the baseline, and sends only what differs.
    void SetPass(CPass const* pass);

    /// Apply a block against the active one; an empty pointer goes back to the baseline. A stage that does not exist is
    /// ignored, here and below.
    void SetRenderState(_ResourceSharePtr<CRenderState> const& state);
    void SetTextureState(unsigned int stage, _ResourceSharePtr<CTextureState> const& state);
    void SetSamplerState(unsigned int stage, _ResourceSharePtr<CSamplerState> const& state);

    /// Undo the active block and forget it; without a stage, on all of them.
    void ResetActiveRenderStateToDefault();
    void ResetActiveTextureStateToDefault(unsigned int stage);
    void ResetActiveTextureStateToDefault();
    void ResetActiveSamplerStateToDefault(unsigned int stage);
    void ResetActiveSamplerStateToDefault();

    /// Send the baseline value of one state, whatever is active; the active block stays. The forms with `first` and
    /// `last` do so on all stages from one to the other.
    void ResetRenderStateToDefault(CRenderState::EState state);
    void ResetTextureStateToDefault(unsigned int first, unsigned int last, CTextureState::EState state);
    void ResetTextureStateToDefault(unsigned int stage, CTextureState::EState state);
    void ResetSamplerStateToDefault(unsigned int first, unsigned int last, CSamplerState::EState state);
    void ResetSamplerStateToDefault(unsigned int stage, CSamplerState::EState state);

    /// Binds a texture of the default resource system by its name. If there is none of that name, the back-end gets
    /// null.
    void SetTexture(unsigned int stage, bool enable, string const& managerType, string const& resourceName);
    void DisableTexture(unsigned int stage);

    /// Disables `stage` and all behind it.
    void DisableTexturesFrom(unsigned int stage);

    /// Bind a program; an empty pointer unbinds. The one that is bound already is not sent again, unless it was compiled
    /// anew. False if the back-end refuses; what was bound then stays on record.
    bool SetVertexShader(_ResourceSharePtr<CGPUProgram> const& program);
    bool SetPixelShader(_ResourceSharePtr<CGPUProgram> const& program);
    bool SetCommShader(_ResourceSharePtr<CGPUProgram> const& program);
    CGPUProgram const* GetActiveVertexShader() const;
    CGPUProgram const* GetActivePixelShader() const;
    CGPUProgram const* GetActiveCommShader() const;

    /// Send all values of a table to its program; null, or a table without a program, sends nothing.
    void SetVertexShaderParamTable(CGPUProgramParamTable const* table);
    void SetPixelShaderParamTable(CGPUProgramParamTable const* table);
    void SetCommShaderParamTable(CGPUProgramParamTable const* table);

    /// Take the compiled form of a program off the device, and unbind it first if it is bound. Programs call them when
    /// they unload.
    void ReleaseVertexShader(CGPUProgram* program);
    void ReleasePixelShader(CGPUProgram* program);
    void ReleaseCommShader(CGPUProgram* program);

    /// Destroys all targets, forgets everything active, and has the back-end tear down. The system can be used again.
    void Release();

    string const& GetName() const { return m_name; }

protected:
    /// Tears the device down; the last step of Release.
    virtual void _ReleaseImpl() = 0;

    /// Make a target, which this system then owns, or give null. A window's maker also calls its Create.
    virtual CRenderWindow* _CreateRenderWindowImpl(string const& name, unsigned int width, unsigned int height,
                                                   EPixelFormat format, bool fullScreen) = 0;
    virtual CRenderTexture* _CreateRenderTextureImpl(_ResourceSharePtr<CTexture>& texture) = 0;

    /// Null is the whole target.
    virtual bool _SetViewportImpl(CViewport* viewport) = 0;

    /// Null unbinds the index.
    virtual bool _SetRenderTargetImpl(unsigned int index, CRenderTarget* target) = 0;

    /// Compile a program's code, store the handle through `gpuShader` and register its parameters with
    /// AddGPUProgramParamDec. False means that it does not compile.
    virtual bool _CreateVertexShaderImpl(CGPUProgram* program, void** gpuShader) = 0;
    virtual bool _CreatePixelShaderImpl(CGPUProgram* program, void** gpuShader) = 0;
    virtual bool _CreateCommShaderImpl(CGPUProgram* program, void** gpuShader) = 0;
    virtual void _ReleaseVertexShaderImpl(void* gpuShader) = 0;
    virtual void _ReleasePixelShaderImpl(void* gpuShader) = 0;
    virtual void _ReleaseCommShaderImpl(void* gpuShader) = 0;

    /// Null unbinds.
    virtual bool _SetVertexShaderImpl(void* gpuShader) = 0;
    virtual bool _SetPixelShaderImpl(void* gpuShader) = 0;
    virtual bool _SetCommShaderImpl(void* gpuShader) = 0;

    /// Loads the default parameter values of a program of any kind.
    virtual void _ApplyDefaultParams(CGPUProgram* program) = 0;

    /// Hand over one parameter: `size` raw bytes at `data`, which stay valid for the call.
    virtual void _SetVertexShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) = 0;
    virtual void _SetPixelShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) = 0;
    virtual void _SetCommShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) = 0;

    /// Registers a parameter of a program that is being compiled.
    void AddGPUProgramParamDec(CGPUProgram* program, string const& name, void* handle, unsigned int registerIndex);

    /// For Restore, once the device is rebuilt. The first sends everything on record to the device: targets, viewport
    /// with its matrices, all states of all kinds, and programs; textures follow with the next pass. The second takes
    /// the device to be in the baseline with nothing bound, and drops the record without a call.
    void _SendActiveState();
    void _ForgetActiveState();

    string m_name;
    std::map<string, CRenderTarget*> m_renderTargets;             ///< owned
    std::map<unsigned int, CRenderTarget*> m_activeRenderTargets; ///< by index; not owned
    CRenderTarget* m_activeRenderTarget = nullptr;                ///< at index 0
    CViewport* m_activeViewport = nullptr;
    _ResourceSharePtr<CRenderState> m_activeRenderState;
    std::vector<_ResourceSharePtr<CTextureState>> m_activeTextureStates; ///< one for each stage, once one is needed
    std::vector<_ResourceSharePtr<CSamplerState>> m_activeSamplerStates;
    _ResourceSharePtr<CGPUProgram> m_activeVertexShader;
    _ResourceSharePtr<CGPUProgram> m_activePixelShader;
    _ResourceSharePtr<CGPUProgram> m_activeCommShader;
    unsigned int m_activeTextureLevel = 0; ///< stages that the last pass bound
    unsigned int m_activeTextureStateLevel = 0;
    unsigned int m_activeSamplerStateLevel = 0;

private:
    friend class CGPUProgram;        // compiles itself
    friend class CKeepActive;        // hears when what it remembers dies
    friend class CRenderTarget;      // says when its update ends, and when it or a viewport dies
    friend class CVertexDeclaration; // notes itself in m_vertexDeclarations

    using TargetIterator = std::map<string, CRenderTarget*>::iterator;

    CRenderTarget* _InsertTarget(CRenderTarget* target);
    void _RemoveTarget(TargetIterator entry);
    void _DeleteTarget(CRenderTarget* target);
    void _DeleteRemovedTargets();
    void _ForgetTarget(CRenderTarget* target);
    void _ForgetViewport(CViewport* viewport);
    void _DropActiveState();
    void _DropVertexDeclarations();

    unsigned int _StageNum();
    void _UnbindTextures(unsigned int first, unsigned int end);
    void _ApplyPassTextures(CPass const& pass);
    void _ApplyPassSamplerStates(CPass const& pass);
    void _ApplyPassTextureStates(CPass const& pass);

    unsigned int m_stageNum = 0; // 0 while the device was not asked
    bool m_isInFrame = false;
    bool m_isDying = false;                             // the back-end's part is gone: no call can reach it
    string m_lastDrawn;                                 // the target that the frame is at
    std::vector<CRenderTarget*> m_removedTargets;       // owned; removed during their Update, deleted when it ends
    CKeepActive* m_keepers = nullptr;                   // innermost first; they lie on the stack
    std::set<CVertexDeclaration*> m_vertexDeclarations; // that this system has device objects of
    void* m_boundVertexShader = nullptr;                // the handles that the device got for the active programs
    void* m_boundPixelShader = nullptr;
    void* m_boundCommShader = nullptr;
};
} // namespace qk3d
