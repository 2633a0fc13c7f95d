// GLRenderSystem.h: the render system "QK3DGL": the engine's device operations on OpenGL 4.5.
#pragma once

#include "GLBuffers.h"
#include "GLDevice.h"
#include "GLPipeline.h"

#include "QK3DRenderSystem.h"

#include <memory>
#include <unordered_set>
#include <vector>

namespace qk3d::gl {
class GLRenderWindow;
class GLTarget;

/// Setters record, draws send what changed (GLPipeline). All drawing goes into framebuffers of our own; a window shows a
/// copy at the end of the frame.
///
/// UnusualCall knows these commands; input and output are JSON objects, colours arrays [r, g, b, a] of 0 to 1 and
/// beyond, vectors arrays of three numbers in world space. A key that is missing leaves what it names as it is; false
/// answers an unknown command or an input that cannot be used, with nothing changed.
/// - "SetLight": "Index" 0 to 7, "Enable", "Type" "POINT", "SPOT" or "DIRECTIONAL", "Diffuse", "Specular", "Ambient",
///   "Position", "Direction", "Range", "Falloff", "Attenuation" [constant, linear, quadratic], "Theta", "Phi" (whole
///   angles of the inner and outer cone, radians).
/// - "SetMaterial": "Diffuse", "Ambient", "Specular", "Emissive", "Power".
/// - "SetClipPlane": "Index" 0 to 5, "Plane" [a, b, c, d]; kept is where a x + b y + c z + d is not negative.
/// - "SetScissorRect": "Rect" [left, top, width, height] in pixels of the target.
/// - "PrepareMaterial": "Name" of a material of the default resource system, "Vertex" an object that says what its
///   vertices hold: "Position" 3 or 4, "Normal", "Diffuse", "Specular", "PointSize" true or false, "TexCoords" an array
///   of component numbers. Loads programs and textures of all its passes and compiles what they need, so that no
///   later frame has to. Output "Compilations".
/// - "GetStatistics": counts since the start or the last reset; "Reset" true starts anew after reading.
/// - "GetDeviceInfo": "Renderer", "Version", "HasWindows", "MaxTextureSize", "MaxSamples".
/// - "GetWindowState": "Name" of a window with a screen; "Closed", "Width", "Height", "Cursor", "Wheel", "Buttons",
///   "Keys".
/// - "LoseDevice": the device is lost, as by a reset of the driver, until Restore.
class GLRenderSystem final : public CRenderSystem {
public:
    /// Null if no device can be had; the log says why.
    static GLRenderSystem* Create(string const& name, Options const& options);
    ~GLRenderSystem() override;

    using CRenderSystem::SetTexture;
    void SetTexture(unsigned int stage, bool enable, CTexture const* texture) override;
    string GetTypeName() override { return "QK3DGL"; }
    bool IsDeviceReady() override;
    bool Restore() override;
    CHardwareBufferManager* GetHardwareBufferManager() override { return &m_bufferManager; }
    CRenderState const* GetDefaultRenderState() override { return m_defaultRenderState.get(); }
    CTextureState const* GetDefaultTextureState(unsigned int stage) override;
    CSamplerState const* GetDefaultSamplerState(unsigned int stage) override;
    int GetTextureStageNum() override { return static_cast<int>(GLDevice::kMaxUnits); }
    void SetViewMatrix(Matrix44 const& matrix) override;
    void SetProjectionMatrix(Matrix44 const& matrix) override;
    void SetWorldMatrix(Matrix44 const& matrix) override;
    void _ReleaseVertexDeclaration(CVertexDeclaration* declaration) override;

#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned long value) override {                                                                   \
        ++m_device->Count().stateSetters;                                                                              \
        m_pipeline.SetRender(CRenderState::name, static_cast<std::uint32_t>(value));                                   \
    }
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned int stage, void* value) override {                                                       \
        ++m_device->Count().stateSetters;                                                                              \
        m_pipeline.SetStage(stage, CTextureState::name, value);                                                        \
    }
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned int stage, unsigned long value) override {                                               \
        ++m_device->Count().stateSetters;                                                                              \
        m_pipeline.SetSampler(stage, CSamplerState::name, static_cast<std::uint32_t>(value));                          \
    }
#include "QK3DSamplerStateTable.inl"

    void Render(CRenderOperation const& operation) override;
    void ClearRenderTarget() override;
    bool BeginFrame() override;
    bool EndFrame() override;
    bool PresentFrame() override;
    bool StretchToRenderTexture(CTexture* const source, CBox const* sourceBox, CTexture* dest, CBox const* destBox,
                                CSamplerState::ETextureFilterType filter) override;
    bool UnusualCall(string const& command, Json::Value* in, Json::Value* out) override;

    /// For targets: their surface is another one now, or goes.
    void OnTargetSurfaceChanged(GLTarget const*) { m_pipeline.MarkTargetChanged(); }
    void ForgetTargetSurface(GLTarget const* target) { m_pipeline.Forget(target); }

    GLDevice& GetDevice() { return *m_device; }

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
    void _ReleaseVertexShaderImpl(void* gpuShader) override { ReleaseProgram(gpuShader); }
    void _ReleasePixelShaderImpl(void* gpuShader) override { ReleaseProgram(gpuShader); }
    void _ReleaseCommShaderImpl(void* gpuShader) override { ReleaseProgram(gpuShader); }
    bool _SetVertexShaderImpl(void* gpuShader) override { return BindProgram(Stage::Vertex, gpuShader); }
    bool _SetPixelShaderImpl(void* gpuShader) override { return BindProgram(Stage::Pixel, gpuShader); }
    bool _SetCommShaderImpl(void* gpuShader) override { return BindProgram(Stage::Geometry, gpuShader); }
    void _ApplyDefaultParams(CGPUProgram* program) override;
    void _SetVertexShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) override;
    void _SetPixelShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) override;
    void _SetCommShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) override;

private:
    GLRenderSystem(string const& name, std::unique_ptr<GLDevice> device);

    void SendBaseline();
    bool CreateProgram(Stage stage, CGPUProgram* program, void** gpuShader);
    void ReleaseProgram(void* gpuShader);
    bool BindProgram(Stage stage, void* gpuShader);
    GLVertexLayout* GetLayout(CVertexDeclaration& declaration);
    GLRenderWindow* FindWindow(string const& name);

    bool SetLight(Json::Value const& in);
    bool SetMaterial(Json::Value const& in);
    bool SetClipPlane(Json::Value const& in);
    bool SetScissorRect(Json::Value const& in);
    bool PrepareMaterial(Json::Value const& in, Json::Value& out);
    bool GetStatistics(Json::Value const& in, Json::Value& out);
    bool GetDeviceInfo(Json::Value& out);
    bool GetWindowState(Json::Value const& in, Json::Value& out);

    std::unique_ptr<GLDevice> m_device; // ends last
    GLBufferManager m_bufferManager;
    GLPipeline m_pipeline;
    std::unique_ptr<CRenderState> m_defaultRenderState;
    std::vector<std::unique_ptr<CTextureState>> m_defaultTextureStates; // by stage
    std::unique_ptr<CSamplerState> m_defaultSamplerState;
    std::vector<std::unique_ptr<GLProgram>> m_programs;
    std::unordered_set<std::size_t> m_failedSources; // hashes: a source that does not compile is not tried every frame
};

} // namespace qk3d::gl
