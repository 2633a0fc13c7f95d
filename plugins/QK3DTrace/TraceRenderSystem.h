// TraceRenderSystem.h: a back-end without a device, which writes down what reaches it. The model for writing a real one.
#pragma once

#include "QK3DRenderSystem.h"
#include "TraceJournal.h"
#include <memory>
#include <vector>

namespace qk3d {
class CTraceBufferManager;
struct TraceProgram;

/// A whole back-end: every operation of the device is there and answers as a device would, only that nothing is drawn.
/// Buffers lie in memory, images are decoded, targets hold the colour of their last clear.
///
/// GPU programs "compile" without being understood. Each line of the source that begins with "uniform TYPE NAME" declares
/// the parameter NAME, whose register is its place among them; a source with the word "#error" does not compile. So the
/// programs of a GLSL back-end run here too.
///
/// All states of the baseline are those of a device that was just made: see TraceBaseline.cpp.
class CTraceRenderSystem : public CRenderSystem {
public:
    explicit CTraceRenderSystem(string const& name);
    ~CTraceRenderSystem() override;

    /// Counts, listener and refusals; lives until the device and all its buffers are gone.
    CTraceJournal& GetJournal() { return *m_journal; }

    /// The device is lost from now on, until `Restore`.
    void LoseDevice() { m_isReady = false; }

    string GetTypeName() override;
    bool IsDeviceReady() override;

    /// Brings a lost device back with nothing bound, and makes the engine's records agree with that.
    bool Restore() override;
    CHardwareBufferManager* GetHardwareBufferManager() override;
    CRenderState const* GetDefaultRenderState() override;
    CTextureState const* GetDefaultTextureState(unsigned int stage) override;
    CSamplerState const* GetDefaultSamplerState(unsigned int stage) override;

    /// 8.
    int GetTextureStageNum() override;

    // The short forms of the base stay visible beside the device's own.
    using CRenderSystem::SetTexture;
    void SetTexture(unsigned int stage, bool enable, CTexture const* texture) override;
    void SetViewMatrix(Matrix44 const& matrix) override;
    void SetProjectionMatrix(Matrix44 const& matrix) override;
    void SetWorldMatrix(Matrix44 const& matrix) override;
    void _ReleaseVertexDeclaration(CVertexDeclaration* declaration) override;

#define ROW(number, name, setter, ...) void Set##setter(unsigned long value) override;
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...) void Set##setter(unsigned int stage, void* value) override;
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...) void Set##setter(unsigned int stage, unsigned long value) override;
#include "QK3DSamplerStateTable.inl"

    void Render(CRenderOperation const& operation) override;
    void ClearRenderTarget() override;
    bool BeginFrame() override;
    bool EndFrame() override;
    bool PresentFrame() override;
    bool StretchToRenderTexture(CTexture* const source, CBox const* sourceBox, CTexture* dest, CBox const* destBox,
                                CSamplerState::ETextureFilterType filter) override;

    /// Takes every command, and answers "GetStatistics" as our other back-ends do: "Frames", "Draws" and "StateSetters"
    /// (calls of state setters) since the device was made.
    bool UnusualCall(string const& command, Json::Value* in, Json::Value* out) override;

protected:
    void _ReleaseImpl() override;
    CRenderWindow* _CreateRenderWindowImpl(string const& name, unsigned int width, unsigned int height,
                                           EPixelFormat format, bool fullScreen) override;
    CRenderTexture* _CreateRenderTextureImpl(_ResourceSharePtr<CTexture>& texture) override;
    bool _SetViewportImpl(CViewport* viewport) override;
    bool _SetRenderTargetImpl(unsigned int index, CRenderTarget* target) override;

    bool _CreateVertexShaderImpl(CGPUProgram* program, void** gpuShader) override;
    bool _CreatePixelShaderImpl(CGPUProgram* program, void** gpuShader) override;
    bool _CreateCommShaderImpl(CGPUProgram* program, void** gpuShader) override;
    void _ReleaseVertexShaderImpl(void* gpuShader) override;
    void _ReleasePixelShaderImpl(void* gpuShader) override;
    void _ReleaseCommShaderImpl(void* gpuShader) override;
    bool _SetVertexShaderImpl(void* gpuShader) override;
    bool _SetPixelShaderImpl(void* gpuShader) override;
    bool _SetCommShaderImpl(void* gpuShader) override;
    void _ApplyDefaultParams(CGPUProgram* program) override;
    void _SetVertexShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) override;
    void _SetPixelShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) override;
    void _SetCommShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) override;

    // The three kinds of program differ in the name of the operation only.
    bool _CreateProgram(ETraceOperation operation, CGPUProgram* program, void** gpuShader);
    void _ReleaseProgram(ETraceOperation operation, void* gpuShader);
    bool _SetProgram(ETraceOperation operation, void* gpuShader);
    void _SetParam(ETraceOperation operation, void* gpuShader, void* paramHandle, void const* data, unsigned int size);

    std::shared_ptr<CTraceJournal> m_journal;
    std::unique_ptr<CTraceBufferManager> m_bufferManager;
    std::map<void*, std::shared_ptr<TraceProgram>> m_programs; // by handle; what was compiled and not released yet
    std::unique_ptr<CRenderState> m_defaultRenderState;
    std::vector<std::unique_ptr<CTextureState>> m_defaultTextureStates; // by stage
    std::unique_ptr<CSamplerState> m_defaultSamplerState;
    bool m_isReady = true;
};
} // namespace qk3d
