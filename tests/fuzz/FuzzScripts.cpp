// FuzzScripts.cpp: scripts, on their way through a resource or an overlay item to the device.
#include "FuzzStage.h"
#include "QK3DMaterial.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DTextureState.h"

namespace qk3d::fuzz {
namespace {
// Loads the script as a resource of the type, twice, and lets `use` see it in between.
template <class Resource, class Use>
void LoadScript(char const* type, Bytes script, Use use) {
    Stage& stage = Stage::Get();
    stage.Write("script", script);
    {
        _ResourceSharePtr<Resource> resource =
            stage.resources.CreateResource(type, "script", "", false, CSharePtr<CResourceLoader>::GetNullSharePtr());
        if (resource) {
            bool const isLoaded = resource->Load();
            use(stage.device, *resource, resource);
            resource->Unload();
            Require(resource->Load() == isLoaded, "the second load does what the first did");
        }
    }
    stage.device.DestroyAllRenderTarget(); // which hold the textures that are drawn into
    stage.device.SetPass(nullptr);
    stage.device.ResetActiveRenderStateToDefault();
    stage.device.ResetActiveSamplerStateToDefault();
    stage.device.ResetActiveTextureStateToDefault();
    stage.RequireNoResource();
    stage.Delete("script");
}

// Texture sizes that a script asks for are the host's affair up to what the device can do; here they only take time.
constexpr std::size_t kLongestScript = 4096;
} // namespace

void FuzzRenderState(Bytes input) {
    LoadScript<CRenderState>("CRenderState", input,
                             [](auto& device, auto&, auto& handle) { device.SetRenderState(handle); });
}

void FuzzSamplerState(Bytes input) {
    LoadScript<CSamplerState>("CSamplerState", input,
                              [](auto& device, auto&, auto& handle) { device.SetSamplerState(1, handle); });
}

void FuzzTextureState(Bytes input) {
    LoadScript<CTextureState>("CTextureState", input,
                              [](auto& device, auto&, auto& handle) { device.SetTextureState(1, handle); });
}

void FuzzMaterial(Bytes input) {
    if (input.size() > kLongestScript) return;
    LoadScript<CMaterial>("CMaterial", input, [](auto& device, CMaterial& material, auto&) {
        for (unsigned int t = 0; t < material.GetTechniqueNum(); ++t) {
            CTechnique& technique = *material.GetTechnique(t);
            for (unsigned int p = 0; p < technique.GetPassNum(); ++p) {
                technique.GetPass(p)->PrepareForRender(&device, 1);
                device.SetPass(technique.GetPass(p));
            }
        }
        CMaterial const copy(material);
        Require(copy.GetTechniqueNum() == material.GetTechniqueNum(), "a copy has the same techniques");
    });
}

void FuzzOverlay(Bytes input) {
    if (input.size() > kLongestScript) return;
    Stage& stage = Stage::Get();
    {
        COverlayManager manager;
        COverlayItem& item = *manager.CreateOverlayItem("item", 3, 5, 64, 32, 0);
        string const script = Text(input);
        bool const isRead = item.SetFromScript(script);
        manager.Update();
        item.Render(&stage.device, 1);
        Require(item.SetFromScript(script) == isRead, "a script reads as well the second time");
        COverlayItem copy(item);
        manager.Update();
        copy.Render(&stage.device, 2);
        item.Render(&stage.device, 2);
    }
    stage.device.SetPass(nullptr);
    stage.RequireNoResource();
}
} // namespace qk3d::fuzz
