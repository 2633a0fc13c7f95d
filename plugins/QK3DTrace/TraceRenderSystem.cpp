// TraceRenderSystem.cpp: what each operation writes down, and how a device would answer.
#include "TraceRenderSystem.h"

#include "BaselineStates.h"
#include "QK3DIndexData.h"
#include "QK3DRenderOperation.h"
#include "QK3DTexture.h"
#include "QK3DVertexData.h"
#include "QK3DViewport.h"
#include "TraceTargets.h"
#include <json/writer.h>

namespace qk3d {
namespace {
constexpr unsigned int kStages = 8;

// The blocks of the baseline belong to no manager and to no file.
template <class Block>
std::unique_ptr<Block> MakeBlock() {
    qklib::CSharePtr<CResourceLoader> noLoader;
    return std::make_unique<Block>(nullptr, "", "baseline", true, noLoader);
}

char const* NameShape(EShapeType shape) {
    switch (shape) {
    case ST_POINTLIST: return "POINTLIST";
    case ST_LINELIST: return "LINELIST";
    case ST_LINESTRIP: return "LINESTRIP";
    case ST_TRIANGLELIST: return "TRIANGLELIST";
    case ST_TRIANGLESTRIP: return "TRIANGLESTRIP";
    case ST_TRIANGLEFAN: return "TRIANGLEFAN";
    }
    return nullptr;
}

string const& NameOf(CTexture const* texture) {
    static string const none;
    return texture ? texture->GetName() : none;
}

// Stream by stream the buffer that a draw reads; a buffer of another device has no label here.
string DescribeStreams(CVertexBufferBinding const& binding) {
    string json = "[";
    for (unsigned int i = 0; i < binding.GetSourceNum(); ++i) {
        auto const* const buffer = dynamic_cast<CTraceVertexBuffer const*>(binding.GetSource(i).GetPointer());
        json += string(i ? "," : "") + (buffer ? QuoteJson(buffer->GetMemory().GetLabel()) : string("null"));
    }
    return json + ']';
}

string DescribeElements(CVertexDeclaration const& declaration) {
    string json = "[";
    for (CVertexElement const* element : declaration.GetElements())
        json += string(json.size() > 1 ? ",{\"source\":" : "{\"source\":") + std::to_string(element->GetSource()) +
                ",\"offset\":" + std::to_string(element->GetOffset()) +
                ",\"type\":" + std::to_string(element->GetType()) +
                ",\"semantic\":" + std::to_string(element->GetSemantic()) +
                ",\"index\":" + std::to_string(element->GetIndex()) + '}';
    return json + ']';
}

void DescribeDraw(CTraceCall& call, CRenderOperation const& operation) {
    char const* const shape = NameShape(operation.m_shapeType);
    if (shape)
        call.AddRaw("shape", QuoteJson(shape), shape);
    else
        call.AddNumber("shape", operation.m_shapeType);

    if (CVertexData* const vertices = operation.m_vertexData) {
        call.AddNumber("vertexStart", vertices->GetVertexStart());
        call.AddNumber("vertexNum", vertices->GetVertexNum());
        if (auto const* declaration = vertices->GetVertexDeclaration().GetPointer())
            call.AddRaw("elements", DescribeElements(*declaration), {});
        if (auto const* binding = vertices->GetVertexBufferBinding().GetPointer())
            call.AddRaw("streams", DescribeStreams(*binding), {});
    } else {
        call.AddNull("vertices");
    }
    if (CIndexData* const indices = operation.m_useIndices ? operation.m_indexData : nullptr) {
        call.AddNumber("indexStart", indices->GetIndexStart());
        call.AddNumber("indexNum", indices->GetIndexNum());
        auto const buffer = indices->GetIndexBuffer();
        if (auto const* const ours = dynamic_cast<CTraceIndexBuffer const*>(buffer.GetPointer()))
            call.AddRaw("indices", QuoteJson(ours->GetMemory().GetLabel()), {});
    }
}
} // namespace

CTraceRenderSystem::CTraceRenderSystem(string const& name)
    : CRenderSystem(name),
      m_journal(std::make_shared<CTraceJournal>()),
      m_bufferManager(std::make_unique<CTraceBufferManager>(m_journal)),
      m_defaultRenderState(MakeBlock<CRenderState>()),
      m_defaultSamplerState(MakeBlock<CSamplerState>()) {
    FillBaseline(*m_defaultRenderState);
    FillBaseline(*m_defaultSamplerState);
    for (unsigned int stage = 0; stage < kStages; ++stage) {
        m_defaultTextureStates.push_back(MakeBlock<CTextureState>());
        FillBaseline(*m_defaultTextureStates.back(), stage);
    }
}

// The base lets go of targets and blocks only after our part is gone, when it cannot reach our operations any more.
CTraceRenderSystem::~CTraceRenderSystem() { Release(); }

string CTraceRenderSystem::GetTypeName() {
    m_journal->Ask(ETraceOperation::GetTypeName);
    return "QK3DTrace";
}

bool CTraceRenderSystem::IsDeviceReady() { return m_journal->Ask(ETraceOperation::IsDeviceReady) && m_isReady; }

bool CTraceRenderSystem::Restore() {
    if (!m_journal->Record(ETraceOperation::Restore)) return false;
    m_isReady = true;
    // A device that comes back is in the baseline with nothing bound, and the engine's filter must not believe otherwise.
    _ForgetActiveState();
    return true;
}

CHardwareBufferManager* CTraceRenderSystem::GetHardwareBufferManager() {
    return m_journal->Ask(ETraceOperation::GetHardwareBufferManager) ? m_bufferManager.get() : nullptr;
}

CRenderState const* CTraceRenderSystem::GetDefaultRenderState() {
    m_journal->Ask(ETraceOperation::GetDefaultRenderState);
    return m_defaultRenderState.get();
}

CTextureState const* CTraceRenderSystem::GetDefaultTextureState(unsigned int stage) {
    m_journal->Ask(ETraceOperation::GetDefaultTextureState);
    return stage < kStages ? m_defaultTextureStates[stage].get() : nullptr;
}

CSamplerState const* CTraceRenderSystem::GetDefaultSamplerState(unsigned int) {
    m_journal->Ask(ETraceOperation::GetDefaultSamplerState);
    return m_defaultSamplerState.get();
}

int CTraceRenderSystem::GetTextureStageNum() {
    m_journal->Ask(ETraceOperation::GetTextureStageNum);
    return kStages;
}

void CTraceRenderSystem::SetTexture(unsigned int stage, bool enable, CTexture const* texture) {
    m_journal->Record(ETraceOperation::SetTexture, [&](CTraceCall& call) {
        call.AddNumber("stage", stage);
        call.AddRaw("enable", enable ? "true" : "false", enable ? "" : "off");
        if (texture)
            call.AddText("texture", NameOf(texture));
        else
            call.AddRaw("texture", "null", enable ? "null" : "");
    });
}

void CTraceRenderSystem::SetViewMatrix(Matrix44 const& matrix) {
    m_journal->Record(ETraceOperation::SetViewMatrix, [&](CTraceCall& call) { call.AddMatrix("matrix", matrix); });
}

void CTraceRenderSystem::SetProjectionMatrix(Matrix44 const& matrix) {
    m_journal->Record(ETraceOperation::SetProjectionMatrix,
                      [&](CTraceCall& call) { call.AddMatrix("matrix", matrix); });
}

void CTraceRenderSystem::SetWorldMatrix(Matrix44 const& matrix) {
    m_journal->Record(ETraceOperation::SetWorldMatrix, [&](CTraceCall& call) { call.AddMatrix("matrix", matrix); });
}

void CTraceRenderSystem::_ReleaseVertexDeclaration(CVertexDeclaration*) {
    m_journal->Record(ETraceOperation::ReleaseVertexDeclaration);
}

void CTraceRenderSystem::Render(CRenderOperation const& operation) {
    m_journal->Record(ETraceOperation::Render, [&](CTraceCall& call) { DescribeDraw(call, operation); });
}

void CTraceRenderSystem::ClearRenderTarget() {
    CRenderTarget* const target = GetActiveRenderTarget(0);
    m_journal->Record(ETraceOperation::ClearRenderTarget, [&](CTraceCall& call) {
        if (!target) return call.AddNull("target");
        call.AddText("target", target->GetName());
        if (target->IsClearBackgroundColor()) call.AddColour("colour", target->GetBackgroundColor());
        if (target->IsClearDepthBuffer()) call.AddFloat("depth", target->GetInitDepth());
        if (target->IsClearStencil()) call.AddNumber("stencil", target->GetInitStencil());
    });
    auto* const surface = dynamic_cast<CTraceSurface*>(target);
    if (surface && surface->GetSurface() && target->IsClearBackgroundColor())
        surface->GetSurface()->Fill(target->GetBackgroundColor());
}

bool CTraceRenderSystem::BeginFrame() {
    m_journal->BeginFrame();
    return m_journal->Record(ETraceOperation::BeginFrame);
}

bool CTraceRenderSystem::EndFrame() { return m_journal->Record(ETraceOperation::EndFrame); }

bool CTraceRenderSystem::PresentFrame() { return m_journal->Record(ETraceOperation::PresentFrame); }

bool CTraceRenderSystem::StretchToRenderTexture(CTexture* const source, CBox const*, CTexture* dest, CBox const*,
                                                CSamplerState::ETextureFilterType filter) {
    return m_journal->Record(ETraceOperation::StretchToRenderTexture, [&](CTraceCall& call) {
        call.AddText("source", NameOf(source));
        call.AddText("dest", NameOf(dest));
        call.AddNumber("filter", filter);
    });
}

bool CTraceRenderSystem::UnusualCall(string const& command, Json::Value* in, Json::Value* out) {
    bool const accepted = m_journal->Record(ETraceOperation::UnusualCall, [&](CTraceCall& call) {
        call.AddText("command", command);
        if (!in) return;
        Json::StreamWriterBuilder writer;
        writer["indentation"] = "";
        writer["precision"] = 9; // enough to tell any two floats apart
        call.AddRaw("in", Json::writeString(writer, *in), {});
    });
    if (accepted && out && command == "GetStatistics") {
        *out = Json::Value(Json::objectValue);
        (*out)["Frames"] = static_cast<Json::UInt64>(m_journal->GetFrame());
        (*out)["Draws"] = static_cast<Json::UInt64>(m_journal->GetCount(ETraceOperation::Render));
        (*out)["StateSetters"] = static_cast<Json::UInt64>(m_journal->GetStateCount());
    }
    return accepted;
}

void CTraceRenderSystem::_ReleaseImpl() { m_journal->Record(ETraceOperation::Release); }

CRenderWindow* CTraceRenderSystem::_CreateRenderWindowImpl(string const& name, unsigned int width, unsigned int height,
                                                           EPixelFormat format, bool fullScreen) {
    bool const accepted = m_journal->Record(ETraceOperation::CreateRenderWindow, [&](CTraceCall& call) {
        call.AddText("name", name);
        call.AddNumber("width", width);
        call.AddNumber("height", height);
        call.AddNumber("format", format);
        call.AddBool("fullScreen", fullScreen);
    });
    if (!accepted) return nullptr;
    auto window = std::make_unique<CTraceRenderWindow>(m_journal, this, name, width, height, format, fullScreen);
    // A window's surface is made here: the engine does not call Create on windows.
    return window->Create() ? window.release() : nullptr;
}

CRenderTexture* CTraceRenderSystem::_CreateRenderTextureImpl(_ResourceSharePtr<CTexture>& texture) {
    bool const accepted = m_journal->Record(ETraceOperation::CreateRenderTexture,
                                            [&](CTraceCall& call) { call.AddText("texture", NameOf(texture)); });
    return accepted ? std::make_unique<CTraceRenderTexture>(m_journal, this, texture).release() : nullptr;
}

bool CTraceRenderSystem::_SetViewportImpl(CViewport* viewport) {
    return m_journal->Record(ETraceOperation::SetViewport, [&](CTraceCall& call) {
        if (!viewport) return call.AddNull("viewport");
        call.AddNumber("left", viewport->GetActualLeft());
        call.AddNumber("top", viewport->GetActualTop());
        call.AddNumber("width", viewport->GetActualWidth());
        call.AddNumber("height", viewport->GetActualHeight());
    });
}

bool CTraceRenderSystem::_SetRenderTargetImpl(unsigned int index, CRenderTarget* target) {
    return m_journal->Record(ETraceOperation::SetRenderTarget, [&](CTraceCall& call) {
        call.AddNumber("index", index);
        if (target)
            call.AddText("target", target->GetName());
        else
            call.AddNull("target");
    });
}
} // namespace qk3d
