// GLRenderSystemCalls.cpp: the commands of UnusualCall: lights, material, planes, scissor, preparation, reports.
#include "GLRenderSystem.h"

#include "GLPixelBuffer.h"
#include "GLRenderTarget.h"

#include "QK3DGPUProgram.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DPass.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include "QKJson.h"
#include "QKText.h"

#include <algorithm>
#include <cmath>
#include <json/value.h>

namespace qk3d::gl {
namespace {
using qklib::JsonElement;
using qklib::JsonMember;
using qklib::ReadBool;
using qklib::ReadFloat;
using qklib::ReadInt;
using qklib::ReadString;
using qklib::ReadUInt;

/// Reads up to four finite numbers of an array; those it lacks stay. False for a member that is there and is no such
/// array, true for a missing one.
bool ReadVector(Json::Value const& in, char const* key, Float4& out) {
    Json::Value const& value = JsonMember(in, key);
    if (value.isNull()) return true;
    if (!value.isArray() || value.size() > 4) return false;
    Float4 result = out;
    for (unsigned i = 0; i < value.size(); ++i)
        if (!ReadFloat(JsonElement(value, i), result[i]) || !std::isfinite(result[i])) return false;
    out = result;
    return true;
}

bool ReadNumber(Json::Value const& in, char const* key, float& out) {
    float value = out;
    if (JsonMember(in, key).isNull()) return true;
    if (!ReadFloat(in, key, value) || !std::isfinite(value)) return false;
    out = value;
    return true;
}

bool ReadIndex(Json::Value const& in, unsigned end, unsigned& index) {
    return ReadUInt(in, "Index", index) && index < end;
}

bool ReadLightType(Json::Value const& in, int& type) {
    if (JsonMember(in, "Type").isNull()) return true;
    string word;
    if (!ReadString(in, "Type", word)) return false;
    word = qklib::ToUpperAscii(qklib::TrimBlanks(word));
    constexpr char const* kWords[] = {"POINT", "SPOT", "DIRECTIONAL"}; // 1, 2, 3
    auto const found = std::find(std::begin(kWords), std::end(kWords), word);
    if (found == std::end(kWords)) return false;
    type = static_cast<int>(found - std::begin(kWords)) + 1;
    return true;
}

VertexFeatures ReadFeatures(Json::Value const& in) {
    VertexFeatures features;
    int position = 3;
    ReadInt(in, "Position", position);
    features.preTransformed = position == 4;
    ReadBool(in, "Normal", features.normal);
    ReadBool(in, "Diffuse", features.diffuse);
    ReadBool(in, "Specular", features.specular);
    ReadBool(in, "PointSize", features.pointSize);
    Json::Value const& sets = JsonMember(in, "TexCoords");
    if (!sets.isArray()) return features;
    features.texCoordSets = static_cast<std::uint8_t>(std::min(sets.size(), kTexCoordSets));
    for (unsigned i = 0; i < features.texCoordSets; ++i) {
        unsigned components = 2;
        ReadUInt(JsonElement(sets, i), components);
        features.texCoordSize[i] = static_cast<std::uint8_t>(std::clamp(components, 1u, 4u));
    }
    return features;
}

Json::Value Number(std::uint64_t value) { return static_cast<Json::UInt64>(value); }
} // namespace

bool GLRenderSystem::UnusualCall(string const& command, Json::Value* in, Json::Value* out) {
    Json::Value const nothing(Json::objectValue);
    Json::Value const& input = in ? *in : nothing;
    Json::Value output(Json::objectValue);
    if (!input.isObject()) return false;

    bool done = false;
    if (command == "SetLight")
        done = SetLight(input);
    else if (command == "SetMaterial")
        done = SetMaterial(input);
    else if (command == "SetClipPlane")
        done = SetClipPlane(input);
    else if (command == "SetScissorRect")
        done = SetScissorRect(input);
    else if (command == "PrepareMaterial")
        done = PrepareMaterial(input, output);
    else if (command == "GetStatistics")
        done = GetStatistics(input, output);
    else if (command == "GetDeviceInfo")
        done = GetDeviceInfo(output);
    else if (command == "GetWindowState")
        done = GetWindowState(input, output);
    else if (command == "LoseDevice") {
        m_device->Lose();
        done = true;
    }
    if (done && out) *out = output;
    return done;
}

bool GLRenderSystem::SetLight(Json::Value const& in) {
    unsigned index = 0;
    if (!ReadIndex(in, kLights, index)) return false;
    Light light = m_pipeline.GetFixedState().lights[index];
    if (!ReadLightType(in, light.type) || !ReadVector(in, "Diffuse", light.diffuse) ||
        !ReadVector(in, "Specular", light.specular) || !ReadVector(in, "Ambient", light.ambient) ||
        !ReadVector(in, "Position", light.position) || !ReadVector(in, "Direction", light.direction) ||
        !ReadNumber(in, "Range", light.range) || !ReadNumber(in, "Falloff", light.falloff) ||
        !ReadVector(in, "Attenuation", light.attenuation) || !ReadNumber(in, "Theta", light.theta) ||
        !ReadNumber(in, "Phi", light.phi))
        return false;
    ReadBool(in, "Enable", light.enabled);
    m_pipeline.SetLight(index, light);
    return true;
}

bool GLRenderSystem::SetMaterial(Json::Value const& in) {
    Surface surface = m_pipeline.GetFixedState().surface;
    if (!ReadVector(in, "Diffuse", surface.diffuse) || !ReadVector(in, "Ambient", surface.ambient) ||
        !ReadVector(in, "Specular", surface.specular) || !ReadVector(in, "Emissive", surface.emissive) ||
        !ReadNumber(in, "Power", surface.power))
        return false;
    m_pipeline.SetSurface(surface);
    return true;
}

bool GLRenderSystem::SetClipPlane(Json::Value const& in) {
    unsigned index = 0;
    if (!ReadIndex(in, kClipPlanes, index)) return false;
    Float4 plane = m_pipeline.GetFixedState().clipPlanes[index];
    if (!ReadVector(in, "Plane", plane)) return false;
    m_pipeline.SetClipPlane(index, plane);
    return true;
}

bool GLRenderSystem::SetScissorRect(Json::Value const& in) {
    Json::Value const& rect = JsonMember(in, "Rect");
    if (!rect.isArray() || rect.size() != 4) return false;
    int numbers[4];
    for (unsigned i = 0; i < 4; ++i)
        if (!ReadInt(JsonElement(rect, i), numbers[i])) return false;
    if (numbers[2] < 0 || numbers[3] < 0) return false;
    m_pipeline.SetScissor({numbers[0], numbers[1], numbers[2], numbers[3]});
    return true;
}

bool GLRenderSystem::PrepareMaterial(Json::Value const& in, Json::Value& out) {
    string name;
    if (!m_device->Use() || !ReadString(in, "Name", name)) return false;
    _ResourceSharePtr<CMaterial> material = CQK3DMain::GetResourceSystem().GetResource("CMaterial", name);
    if (!material || !material->MakeSureLoaded()) return false;
    VertexFeatures const features = ReadFeatures(JsonMember(in, "Vertex"));
    auto const before = m_device->GetStatistics().compilations;
    bool complete = true;
    for (unsigned t = 0; t < material->GetTechniqueNum(); ++t)
        for (unsigned p = 0; p < material->GetTechnique(t)->GetPassNum(); ++p) {
            CPass& pass = *material->GetTechnique(t)->GetPass(p);
            // What a pass needs before a draw, but without drawing the render textures among its textures.
            for (auto texture = pass.EnumTextureBegin(); texture != pass.EnumTextureEnd(); ++texture)
                if (*texture) {
                    (*texture)->SetRenderSystem(this);
                    complete &= (*texture)->MakeSureLoaded();
                }
            for (auto program : {pass.GetVertexShader(), pass.GetPixelShader(), pass.GetCommShader()})
                if (program) {
                    program->SetRenderSystem(this);
                    complete &= program->MakeSureLoaded();
                }
            SetPass(&pass);
            complete &= m_pipeline.Prepare(features);
        }
    SetPass(nullptr);
    out["Compilations"] = Number(m_device->GetStatistics().compilations - before);
    return complete;
}

bool GLRenderSystem::GetStatistics(Json::Value const& in, Json::Value& out) {
    Statistics const& count = m_device->GetStatistics();
    out["Frames"] = Number(count.frames);
    out["Draws"] = Number(count.draws);
    out["Primitives"] = Number(count.primitives);
    out["StateSetters"] = Number(count.stateSetters);
    out["StateCalls"] = Number(count.stateCalls);
    out["TextureBinds"] = Number(count.textureBinds);
    out["ProgramBinds"] = Number(count.programBinds);
    out["UploadedBytes"] = Number(count.uploadedBytes);
    out["Compilations"] = Number(count.compilations);
    out["LateCompilations"] = Number(count.lateCompilations);
    out["BufferBytes"] = Number(m_bufferManager.GetMemorySizeTotalHarewareBufferUsed());
    bool reset = false;
    if (ReadBool(in, "Reset", reset) && reset) m_device->Count() = {};
    return true;
}

bool GLRenderSystem::GetDeviceInfo(Json::Value& out) {
    if (!m_device->Use()) return false;
    auto const text = [](GLenum name) { return reinterpret_cast<char const*>(glGetString(name)); };
    out["Renderer"] = text(GL_RENDERER);
    out["Version"] = text(GL_VERSION);
    out["HasWindows"] = m_device->GetContext().HasWindows();
    out["MaxTextureSize"] = m_device->GetMaxTextureSize();
    out["MaxSamples"] = m_device->GetMaxSamples();
    return true;
}

GLRenderWindow* GLRenderSystem::FindWindow(string const& name) {
    return dynamic_cast<GLRenderWindow*>(GetRenderTarget(name));
}

bool GLRenderSystem::GetWindowState(Json::Value const& in, Json::Value& out) {
    string name;
    ReadString(in, "Name", name);
    GLRenderWindow* const window = FindWindow(name);
    WindowState state;
    if (!window || !window->TakeState(state)) return false;
    out["Closed"] = state.closed;
    out["Width"] = state.width;
    out["Height"] = state.height;
    out["Cursor"].append(state.cursorX);
    out["Cursor"].append(state.cursorY);
    out["Wheel"] = state.wheel;
    out["Buttons"] = state.buttons;
    out["Keys"] = Json::Value(Json::arrayValue);
    for (auto const& key : state.keys) out["Keys"].append(key);
    return true;
}
} // namespace qk3d::gl
