// ModelMaterials.cpp: materials, blocks and textures by the engine's own operations.
#include "ModelMaterials.h"

#include "ImageDecoder.h"
#include "ModelFiles.h"
#include "ModelLog.h"
#include "QK3DHardwarePixelBuffer.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DResourceSystem.h"
#include "QK3DSamplerState.h"
#include "QK3DText.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include <algorithm>
#include <cstdint>

namespace qk3d::models {
namespace {
// Numbers of the script words, as in the engine's word tables.
constexpr unsigned long kCullNone = 1, kBlendSrcAlpha = 5, kBlendInvSrcAlpha = 6, kFilterLinear = 2, kGreaterEqual = 7;
constexpr std::uintptr_t kOpSelectArg1 = 2, kOpModulate = 4;
constexpr std::uintptr_t kArgDiffuse = 0, kArgCurrent = 1, kArgTexture = 2, kArgFactor = 3;

CResourceSystem& Resources() { return CQK3DMain::GetResourceSystem(); }

bool IsWhite(Surface const& surface) { return surface.colour == 0xFFFFFFFF; }

// A resource made by code: under a name of its own, or a generated one if that is taken.
template <class T>
_ResourceSharePtr<T> Make(char const* type, string const& name) {
    ResourceSharePtr made = Resources().CreateResourceManual(type, name);
    return made ? made : Resources().CreateResourceManual(type, "");
}

_ResourceSharePtr<CRenderState> MakeRenderState(Surface const& surface, string const& name) {
    if (!surface.isBlended && !surface.isCutOut && !surface.isTwoSided && IsWhite(surface)) return {};
    auto block = Make<CRenderState>("CRenderState", name + "/state");
    if (!block) return block;
    if (!IsWhite(surface)) block->SetState(CRenderState::TEXTUREFACTOR, color(surface.colour));
    if (surface.isTwoSided) block->SetState(CRenderState::CULLMODE, kCullNone);
    if (surface.isBlended) {
        block->SetState(CRenderState::ALPHABLENDENABLE, 1);
        block->SetState(CRenderState::SRCBLEND, kBlendSrcAlpha);
        block->SetState(CRenderState::DESTBLEND, kBlendInvSrcAlpha);
        block->SetState(CRenderState::ZWRITEENABLE, 0);
    }
    if (surface.isCutOut) {
        block->SetState(CRenderState::ALPHATESTENABLE, 1);
        block->SetState(CRenderState::ALPHAFUNC, kGreaterEqual);
        block->SetState(CRenderState::ALPHAREF,
                        static_cast<unsigned long>(std::clamp(surface.cutOff, 0.0f, 1.0f) * 255 + 0.5f));
    }
    return block;
}

void SetStage(CPass& pass, unsigned int stage, string const& name, std::uintptr_t op, std::uintptr_t arg1,
              std::uintptr_t arg2) {
    auto block = Make<CTextureState>("CTextureState", name + "/stage" + std::to_string(stage));
    if (!block) return;
    auto const set = [&](CTextureState::EState state, std::uintptr_t value) {
        block->SetState(state, reinterpret_cast<void*>(value));
    };
    set(CTextureState::COLOROP, op);
    set(CTextureState::COLORARG1, arg1);
    set(CTextureState::COLORARG2, arg2);
    set(CTextureState::ALPHAOP, op);
    set(CTextureState::ALPHAARG1, arg1);
    set(CTextureState::ALPHAARG2, arg2);
    pass.SetTextureState(stage, block);
}

// All textures of models are sampled alike, so one block serves them.
_ResourceSharePtr<CSamplerState> SharedSampler() {
    static char const* const kName = "QK3DModels/sampler";
    _ResourceSharePtr<CSamplerState> block = Resources().GetResource("CSamplerState", kName);
    if (block) return block;
    block = Make<CSamplerState>("CSamplerState", kName);
    if (!block) return block;
    block->SetState(CSamplerState::MAGFILTER, kFilterLinear);
    block->SetState(CSamplerState::MINFILTER, kFilterLinear);
    block->SetState(CSamplerState::MIPFILTER, kFilterLinear);
    return block;
}

// For images that the texture's own manager cannot find: inside the model file, or in the store of the model alone. The
// texture is a blank one that gets its pixels here; it keeps them when it moves to another device.
_ResourceSharePtr<CTexture> MakeTextureOfPixels(image::DecodedImage& picture, string const& name,
                                                CRenderSystem* renderSystem) {
    if (!image::ConvertToArgb(picture)) return {};
    qklib::CSharePtr<CResourceLoader> noLoader;
    _ResourceSharePtr<CTexture> texture = Resources().CreateResource("CTexture", "", name, false, noLoader);
    if (!texture) return texture;
    texture->SetWidth(picture.width);
    texture->SetHeight(picture.height);
    texture->SetPixelFormat(PF_A8R8G8B8);
    texture->SetUsage(CTexture::TU_AUTOMIPMAP);
    texture->SetRenderSystem(renderSystem);
    auto const width = static_cast<int>(picture.width), height = static_cast<int>(picture.height);
    auto const pitch = static_cast<unsigned int>(picture.levels.front().pitch);
    CPixelBox const pixels(0, 0, width, height, PF_A8R8G8B8, picture.bytes.data(), pitch, pitch * picture.height);
    return texture->Load() && texture->GetPixelBuffer()->BlitFromMemory(pixels) ? texture : nullptr;
}

bool Decode(Image const& inside, image::DecodedImage& picture) {
    if (inside.width == 0) return image::DecodeImage(inside.bytes.data(), inside.bytes.size(), picture);
    if (inside.width > image::kMaxSide || inside.height > image::kMaxSide || inside.height == 0) return false;
    picture.width = inside.width;
    picture.height = inside.height;
    picture.format = PF_A8R8G8B8; // which is how a texel lies in memory: b, g, r, a
    picture.levels = {{picture.width, picture.height, 0, std::size_t{4} * picture.width, picture.height}};
    picture.bytes = inside.bytes;
    return true;
}

_ResourceSharePtr<CTexture> FindOrMakeTexture(ModelSource const& source, Surface const& surface) {
    if (surface.image != kNoImage) {
        string const name = source.meshName + "/" + surface.texture;
        if (_ResourceSharePtr<CTexture> found = Resources().GetResource("CTexture", name)) return found;
        image::DecodedImage picture;
        if (!Decode(source.scene.images[surface.image], picture)) return {};
        return MakeTextureOfPixels(picture, name, source.renderSystem);
    }

    wstring const relative = WithoutDot(Utf8ToWide(surface.texture));
    wstring absolute = relative;
    if (!source.folder.empty()) ResolvePath(source.folder, absolute, false);
    string const narrow = WideToAnsi(absolute, "chs");
    if (narrow.empty()) return {};
    if (_ResourceSharePtr<CTexture> found = Resources().GetResource("CTexture", narrow)) return found;
    string located = narrow;
    if (auto* const manager = Resources().GetResourceManager("CTexture"); manager && manager->LocateResource(located)) {
        qklib::CSharePtr<CResourceLoader> noLoader;
        _ResourceSharePtr<CTexture> texture = Resources().CreateResource("CTexture", located, "", false, noLoader);
        if (texture) texture->SetUsage(CTexture::TU_AUTOMIPMAP);
        return texture;
    }
    std::optional<Bytes> const bytes = ReadFile(source.store, source.folder + relative);
    image::DecodedImage picture;
    if (!bytes || !image::DecodeImage(bytes->data(), bytes->size(), picture)) return {};
    return MakeTextureOfPixels(picture, narrow, source.renderSystem);
}

void FillPass(CPass& pass, Surface const& surface, _ResourceSharePtr<CTexture> const& texture, string const& name) {
    if (auto const block = MakeRenderState(surface, name)) pass.SetRenderState(block);
    bool const isTinted = !IsWhite(surface);
    if (texture) {
        pass.SetTexture(0, texture);
        if (auto const sampler = SharedSampler()) pass.SetSamplerState(0, sampler);
        SetStage(pass, 0, name, kOpModulate, kArgTexture, kArgDiffuse);
        if (isTinted) SetStage(pass, 1, name, kOpModulate, kArgCurrent, kArgFactor);
    } else if (isTinted) {
        SetStage(pass, 0, name, kOpModulate, kArgDiffuse, kArgFactor);
    } else {
        SetStage(pass, 0, name, kOpSelectArg1, kArgDiffuse, kArgCurrent);
    }
}
} // namespace

string NameMaterial(ModelSource const& source, unsigned int index) {
    string const narrow = Utf8ToNarrow(source.scene.surfaces[index].name);
    return narrow.empty() ? source.meshName + "#" + std::to_string(index) : narrow;
}

void MakeMaterial(ModelSource const& source, unsigned int index, HeldResources& held) {
    string const name = NameMaterial(source, index);
    _ResourceSharePtr<CMaterial> material = Resources().GetResource("CMaterial", name);
    if (!material) material = Resources().CreateResourceManual("CMaterial", name);
    if (!material) return;
    held.push_back(material);
    // One that was made by code and then unloaded is empty, and nobody else would fill it again.
    if (!material->IsManual() || material->GetTechniqueNum() > 0) return;

    Surface const& surface = source.scene.surfaces[index];
    _ResourceSharePtr<CTexture> texture;
    if (!surface.texture.empty()) {
        texture = FindOrMakeTexture(source, surface);
        if (!texture)
            QK_LOG_TO(LogCategory(), LOG_WARNING, "Model texture cannot be had : %s of %s", surface.texture.c_str(),
                      source.meshName.c_str());
    }
    FillPass(*material->CreateTechnique()->CreatePass(), surface, texture, name);
}
} // namespace qk3d::models
