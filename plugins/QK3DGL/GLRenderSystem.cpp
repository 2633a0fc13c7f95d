// GLRenderSystem.cpp: the engine's device operations, handed to the parts that do them.
#include "GLRenderSystem.h"

#include "BaselineStates.h"
#include "GLLog.h"
#include "GLPixelBuffer.h"
#include "GLRenderTarget.h"
#include "GLVertexLayout.h"

#include "QK3DBox.h"
#include "QK3DGPUProgram.h"
#include "QK3DMatrix.h"
#include "QK3DRenderOperation.h"
#include "QK3DTexture.h"
#include "QK3DViewport.h"
#include "QKText.h"

#include <algorithm>
#include <limits>

namespace qk3d::gl {
namespace {
Matrix ToMatrix(Matrix44 const& matrix) {
    Matrix result;
    std::copy(std::begin(matrix.m), std::end(matrix.m), result.begin());
    return result;
}

template <class Block>
std::unique_ptr<Block> MakeBlock() {
    CSharePtr<CResourceLoader> noLoader;
    return std::make_unique<Block>(nullptr, string(), string(), true, noLoader);
}

GLPixelBuffer* FindBuffer(CTexture const* texture, GLDevice const& device) {
    if (!texture) return nullptr;
    auto* const buffer =
        const_cast<CHardwarePixelBuffer*>(static_cast<CHardwarePixelBuffer const*>(texture->GetPixelBuffer()));
    GLPixelBuffer* const own = GLPixelBuffer::From(buffer);
    return own && own->IsOf(device) && own->IsCreated() ? own : nullptr;
}
} // namespace

GLRenderSystem* GLRenderSystem::Create(string const& name, Options const& options) {
    auto device = GLDevice::Create(options);
    return device ? new GLRenderSystem(name, std::move(device)) : nullptr;
}

GLRenderSystem::GLRenderSystem(string const& name, std::unique_ptr<GLDevice> device)
    : CRenderSystem(name),
      m_device(std::move(device)),
      m_bufferManager(*m_device),
      m_pipeline(*m_device),
      m_defaultRenderState(MakeBlock<CRenderState>()),
      m_defaultSamplerState(MakeBlock<CSamplerState>()) {
    FillBaseline(*m_defaultRenderState);
    FillBaseline(*m_defaultSamplerState);
    for (unsigned stage = 0; stage < GLDevice::kMaxUnits; ++stage) {
        auto block = MakeBlock<CTextureState>();
        FillBaseline(*block, stage);
        m_defaultTextureStates.push_back(std::move(block));
    }
    SendBaseline();
}

void GLRenderSystem::SendBaseline() {
    constexpr unsigned kLast = GLDevice::kMaxUnits - 1;
    for (int state = 1; state <= CRenderState::LAST_STATE; ++state)
        ResetRenderStateToDefault(static_cast<CRenderState::EState>(state));
    for (int state = 1; state <= CTextureState::LAST_STATE; ++state)
        ResetTextureStateToDefault(0, kLast, static_cast<CTextureState::EState>(state));
    for (int state = 1; state <= CSamplerState::LAST_STATE; ++state)
        ResetSamplerStateToDefault(0, kLast, static_cast<CSamplerState::EState>(state));
}

GLRenderSystem::~GLRenderSystem() {
    Release();
    m_programs.clear();
}

void GLRenderSystem::_ReleaseImpl() {
    m_pipeline.Reset();
    SendBaseline();
}

CTextureState const* GLRenderSystem::GetDefaultTextureState(unsigned int stage) {
    return m_defaultTextureStates[std::min<std::size_t>(stage, m_defaultTextureStates.size() - 1)].get();
}

CSamplerState const* GLRenderSystem::GetDefaultSamplerState(unsigned int) { return m_defaultSamplerState.get(); }

bool GLRenderSystem::IsDeviceReady() { return !m_device->IsLost() && !m_device->CheckForReset(); }

// Every object makes itself anew, and the pipeline sends all it has on record with the next draw, so there is nothing
// to send from here.
bool GLRenderSystem::Restore() { return m_device->Restore(); }

void GLRenderSystem::SetTexture(unsigned int stage, bool enable, CTexture const* texture) {
    m_pipeline.SetTexture(stage, enable ? FindBuffer(texture, *m_device) : nullptr);
}

void GLRenderSystem::SetViewMatrix(Matrix44 const& matrix) { m_pipeline.SetView(ToMatrix(matrix)); }
void GLRenderSystem::SetProjectionMatrix(Matrix44 const& matrix) { m_pipeline.SetProjection(ToMatrix(matrix)); }
void GLRenderSystem::SetWorldMatrix(Matrix44 const& matrix) { m_pipeline.SetWorld(ToMatrix(matrix)); }

void GLRenderSystem::_ReleaseVertexDeclaration(CVertexDeclaration* declaration) {
    delete reinterpret_cast<GLVertexLayout*>(declaration->GetHardwareDeclaration());
}

GLVertexLayout* GLRenderSystem::GetLayout(CVertexDeclaration& declaration) {
    if (declaration.GetHardwareOwner() != this || !declaration.GetHardwareDeclaration()) {
        auto layout = std::make_unique<GLVertexLayout>(*m_device, declaration);
        declaration.SetHardwareDeclaration(this, reinterpret_cast<std::uintptr_t>(layout.get()));
        layout.release();
        m_device->Use(); // another device may just have dropped a layout of its own, in its own context
    }
    return reinterpret_cast<GLVertexLayout*>(declaration.GetHardwareDeclaration());
}

void GLRenderSystem::Render(CRenderOperation const& operation) {
    if (!operation.m_vertexData || !m_device->Use()) return;
    CVertexDeclaration* const declaration = operation.m_vertexData->GetVertexDeclaration();
    if (!declaration) return;
    m_pipeline.Draw(operation, *GetLayout(*declaration));
}

void GLRenderSystem::ClearRenderTarget() {
    CRenderTarget const* const target = GetActiveRenderTarget(0);
    if (!target) return;
    m_pipeline.Clear(target->IsClearBackgroundColor(), static_cast<unsigned int>(target->GetBackgroundColor()),
                     target->IsClearDepthBuffer(), target->GetInitDepth(), target->IsClearStencil(),
                     static_cast<unsigned>(target->GetInitStencil()));
}

bool GLRenderSystem::BeginFrame() {
    if (!m_device->Use()) return false;
    m_device->SetInFrame(true);
    ++m_device->Count().frames;
    return true;
}

bool GLRenderSystem::EndFrame() {
    m_device->SetInFrame(false);
    return m_device->Use();
}

bool GLRenderSystem::PresentFrame() {
    if (!m_device->Use()) return false;
    for (auto const& [name, target] : m_renderTargets)
        if (auto* const window = dynamic_cast<GLRenderWindow*>(target)) window->Present();
    m_device->GetContext().PollEvents();
    return true;
}

bool GLRenderSystem::StretchToRenderTexture(CTexture* const source, CBox const* sourceBox, CTexture* dest,
                                            CBox const* destBox, CSamplerState::ETextureFilterType filter) {
    if (!source || !dest || !m_device->Use()) return false;
    GLPixelBuffer* const from = FindBuffer(source, *m_device);
    GLPixelBuffer* const to = FindBuffer(dest, *m_device);
    if (!from || !to || from == to || from->IsLocked() || to->IsLocked()) return false;
    auto const whole = [](GLPixelBuffer const& buffer) {
        return CBox(0, 0, static_cast<int>(buffer.GetWidth()), static_cast<int>(buffer.GetHeight()));
    };
    auto const inside = [](CBox const& box, GLPixelBuffer const& buffer) {
        return box.x >= 0 && box.y >= 0 && box.width > 0 && box.height > 0 &&
               box.width <= static_cast<long long>(buffer.GetWidth()) - box.x &&
               box.height <= static_cast<long long>(buffer.GetHeight()) - box.y;
    };
    CBox const sourceRange = sourceBox ? *sourceBox : whole(*from), destRange = destBox ? *destBox : whole(*to);
    if (!inside(sourceRange, *from) || !inside(destRange, *to) ||
        !StretchRectangle(from->GetSurface(), sourceRange, to->GetSurface(), destRange, static_cast<int>(filter) >= 2))
        return false;
    to->MarkWrittenByDevice();
    return true;
}

CRenderWindow* GLRenderSystem::_CreateRenderWindowImpl(string const& name, unsigned int width, unsigned int height,
                                                       EPixelFormat format, bool fullScreen) {
    if (!m_device->Use()) return nullptr;
    auto window = std::make_unique<GLRenderWindow>(*this, *m_device, name, width, height, format, fullScreen);
    return window->Create() ? window.release() : nullptr;
}

CRenderTexture* GLRenderSystem::_CreateRenderTextureImpl(_ResourceSharePtr<CTexture>& texture) {
    return m_device->Use() ? new GLRenderTexture(*this, *m_device, texture) : nullptr;
}

bool GLRenderSystem::_SetViewportImpl(CViewport* viewport) {
    if (!viewport) {
        m_pipeline.SetViewport(nullptr);
        return true;
    }
    auto const number = [](unsigned value) { return static_cast<int>(std::min(value, 1u << 20)); };
    PixelRange const range = {number(viewport->GetActualLeft()), number(viewport->GetActualTop()),
                              number(viewport->GetActualWidth()), number(viewport->GetActualHeight())};
    m_pipeline.SetViewport(&range);
    return true;
}

bool GLRenderSystem::_SetRenderTargetImpl(unsigned int index, CRenderTarget* target) {
    if (index >= GLPipeline::kMaxTargets) return false;
    auto* const own = dynamic_cast<GLTarget*>(target);
    if (target && (!own || (!m_device->IsLost() && !own->IsComplete()))) return false;
    m_pipeline.SetTarget(index, own);
    if (index == 0) m_pipeline.SetViewport(nullptr);
    return true;
}

bool GLRenderSystem::CreateProgram(Stage stage, CGPUProgram* program, void** gpuShader) {
    string const& origin = program->GetPath().empty() ? program->GetName() : program->GetPath();
    auto const hash = std::hash<string>()(program->GetCode() + '\0' + program->GetShaderVer() + '\0' +
                                          program->GetMainFunName() + static_cast<char>('0' + static_cast<int>(stage)));
    if (m_failedSources.count(hash) || !m_device->Use()) return false;

    auto const type = qklib::ToUpperAscii(qklib::TrimBlanks(program->GetCodeType()));
    bool const known = type.empty() || type == "GLSL";
    if (!known)
        GL_LOG(LOG_ERROR, "This device compiles GLSL, not %s : %s", program->GetCodeType().c_str(), origin.c_str());
    auto compiled = std::make_unique<GLProgram>(*m_device, stage);
    if (!known || !compiled->Compile(origin, program->GetCode(), program->GetShaderVer(), program->GetMainFunName())) {
        m_failedSources.insert(hash);
        return false;
    }
    for (auto const& param : compiled->GetParams())
        AddGPUProgramParamDec(program, param->name, param.get(), static_cast<unsigned>(param->location));
    *gpuShader = compiled.get();
    m_programs.push_back(std::move(compiled));
    return true;
}

bool GLRenderSystem::_CreateVertexShaderImpl(CGPUProgram* program, void** gpuShader) {
    return CreateProgram(Stage::Vertex, program, gpuShader);
}
bool GLRenderSystem::_CreatePixelShaderImpl(CGPUProgram* program, void** gpuShader) {
    return CreateProgram(Stage::Pixel, program, gpuShader);
}
bool GLRenderSystem::_CreateCommShaderImpl(CGPUProgram* program, void** gpuShader) {
    return CreateProgram(Stage::Geometry, program, gpuShader);
}

void GLRenderSystem::ReleaseProgram(void* gpuShader) {
    auto const found = std::find_if(m_programs.begin(), m_programs.end(),
                                    [gpuShader](auto const& program) { return program.get() == gpuShader; });
    if (found == m_programs.end()) return;
    m_pipeline.Forget(found->get());
    m_programs.erase(found);
}

bool GLRenderSystem::BindProgram(Stage stage, void* gpuShader) {
    auto* const program = static_cast<GLProgram*>(gpuShader);
    if (program && program->GetStage() != stage) return false;
    m_pipeline.SetProgram(stage, program);
    return true;
}

void GLRenderSystem::_ApplyDefaultParams(CGPUProgram* program) {
    if (auto* const compiled = static_cast<GLProgram*>(program->GetGPUShader())) compiled->ApplyDefaults();
}

void GLRenderSystem::_SetVertexShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) {
    if (gpuShader && paramHandle)
        static_cast<GLProgram*>(gpuShader)->SetParam(*static_cast<GLProgram::Param*>(paramHandle), data, size);
}

void GLRenderSystem::_SetPixelShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) {
    _SetVertexShaderParam(gpuShader, paramHandle, data, size);
}

void GLRenderSystem::_SetCommShaderParam(void* gpuShader, void* paramHandle, void* data, unsigned int size) {
    _SetVertexShaderParam(gpuShader, paramHandle, data, size);
}
} // namespace qk3d::gl
