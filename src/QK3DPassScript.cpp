// QK3DPassScript.cpp: reads a pass of a material script, and finds or makes the resources that it refers to.
#include "QK3DPass.h"

#include "QK3DGPUProgram.h"
#include "QK3DGenName.h"
#include "QK3DMain.h"
#include "QK3DRenderState.h"
#include "QK3DResourceSystem.h"
#include "QK3DSamplerState.h"
#include "QK3DText.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include "QKJson.h"

namespace qk3d {
namespace {
string MemberText(Json::Value const& object, char const* key) { return JsonToAnsi(qklib::JsonMember(object, key)); }

string GenerateName(CResourceManager const& manager, char const* prefix) {
    string name;
    do name = CGenName::GenNameByTime_ansi(prefix, "");
    while (manager.IsResourceExist(name)); // the generator repeats itself in time
    return name;
}

// Finds or makes the resource that `reference` names; `configure` gets it if it was made here. Empty if there is none,
// or if it is no T: the type of a texture is the script's, and a plug-in may make anything under any type.
template <class T, class TConfigure>
_ResourceSharePtr<T> Resolve(Json::Value const& reference, string const& type, char const* prefix, bool useExist,
                             TConfigure&& configure) {
    CResourceManager* const manager = CQK3DMain::GetResourceSystem().GetResourceManager(type);
    if (!manager) return nullptr;
    string name = MemberText(reference, "Name");
    string const path = MemberText(reference, "Path");
    qklib::ReadBool(reference, "UseExist", useExist);

    ResourceSharePtr resource;
    if (useExist) resource = manager->GetResource(name.empty() ? path : name);
    bool const isNew = !resource;
    if (isNew) {
        if (!useExist) name = GenerateName(*manager, prefix);
        resource = manager->CreateResource(path, name, false, CSharePtr<CResourceLoader>::GetNullSharePtr());
    }
    if (!dynamic_cast<T*>(static_cast<CResource*>(resource))) return nullptr;
    _ResourceSharePtr<T> typed = resource;
    if (isNew) configure(*typed);
    return typed;
}

// A block may come from a file, from the states that stand in the reference itself, or from both: these go on top.
template <class TBlock>
_ResourceSharePtr<TBlock> ResolveBlock(Json::Value const& reference, char const* type, char const* prefix) {
    if (!reference.isObject()) return nullptr;
    return Resolve<TBlock>(reference, type, prefix, false, [&reference](TBlock& block) {
        block.Load();
        block.SetFromParameter(reference);
    });
}

// Programs are shared unless the script says otherwise: compiling is expensive.
_ResourceSharePtr<CGPUProgram> ResolveProgram(Json::Value const& reference, char const* prefix,
                                              CGPUProgram::EType type) {
    if (!reference.isObject()) return nullptr;
    return Resolve<CGPUProgram>(reference, "CGPUProgram", prefix, true, [&reference, type](CGPUProgram& program) {
        program.SetCodeType(MemberText(reference, "CodeType"));
        program.SetType(type);
        program.SetMainFunName(MemberText(reference, "MainFun"));
        program.SetShaderVer(MemberText(reference, "ShaderVer"));
        program.Load();
        program.SetFromParameter(reference);
    });
}
} // namespace

bool CPass::SetFromParameter(Json::Value const& value) {
    if (!value.isObject()) return false;
    if (auto const block = ResolveBlock<CRenderState>(qklib::JsonMember(value, "RenderState"), "CRenderState", "rs"))
        m_renderState = block;
    if (Json::Value const& stages = qklib::JsonMember(value, "Texture"); stages.isArray()) _ReadStages(stages);

    struct {
        char const* key;
        char const* prefix;
        CGPUProgram::EType type;
        ProgramSlot& slot;
    } const programs[] = {
        {"VertexShader", "vs", CGPUProgram::GPT_VERTEX, m_vertexProgram},
        {"PixelShader", "ps", CGPUProgram::GPT_PIXEL, m_pixelProgram},
        {"CommShader", "cs", CGPUProgram::GPT_COMM, m_commProgram},
    };
    for (auto const& [key, prefix, type, slot] : programs)
        if (auto const program = ResolveProgram(qklib::JsonMember(value, key), prefix, type)) slot.program = program;
    return true;
}

void CPass::_ReadStages(Json::Value const& value) {
    // Each goes when it has left the pass, so that nothing it takes along finds a list half destroyed.
    TextureList().swap(m_textures);
    TextureStateList().swap(m_textureStates);
    SamplerStateList().swap(m_samplerStates);
    for (unsigned int stage = 0; stage < value.size() && stage < MAX_STAGE_NUM; ++stage)
        if (Json::Value const& element = value[stage]; element.isObject()) _ReadStage(stage, element);
}

void CPass::_ReadStage(unsigned int stage, Json::Value const& value) {
    if (string const type = MemberText(value, "Type"); !type.empty()) {
        auto const configure = [&value](CTexture& texture) { texture.SetFromParameter(value); };
        if (auto const texture = Resolve<CTexture>(value, type, "tex", false, configure)) SetTexture(stage, texture);
    }
    if (auto const block = ResolveBlock<CTextureState>(qklib::JsonMember(value, "TextureState"), "CTextureState", "ts"))
        SetTextureState(stage, block);
    if (auto const block = ResolveBlock<CSamplerState>(qklib::JsonMember(value, "SamplerState"), "CSamplerState", "ss"))
        SetSamplerState(stage, block);
}
} // namespace qk3d
