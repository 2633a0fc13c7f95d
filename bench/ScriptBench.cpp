// ScriptBench.cpp: materials from text to passes and blocks, beside the parse of the same text alone.
#include "Bench.h"

#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DPass.h"
#include "QK3DResourceSystem.h"
#include <json/reader.h>
#include <memory>
#include <string>
#include <vector>

namespace {
using namespace qk3d;

constexpr int kMaterials = 200;

// About 27 values: a render state block, two stages with texture, stage block and sampler block, two names.
std::string MakeScript(int number) {
    std::string const id = std::to_string(number);
    std::string const stage = R"({ "Type": "CTexture", "Name": "tex)" + id + R"(", "UseExist": true,
        "TextureState": { "COLOROP": "MODULATE", "COLORARG1": "TEXTURE", "COLORARG2": "DIFFUSE" },
        "SamplerState": { "ADDRESSU": "WRAP", "ADDRESSV": "CLAMP", "MINFILTER": "LINEAR", "MAGFILTER": "LINEAR" } })";
    return R"({ "Technique": [ { "Name": "t", "Pass": [ { "Name": "p",
        "RenderState": { "ALPHABLENDENABLE": true, "SRCBLEND": "SRCALPHA", "DESTBLEND": "INVSRCALPHA",
            "ZWRITEENABLE": false, "CULLMODE": "NONE", "FOGEND": )" +
           id + R"(.5, "AMBIENT": [255, 10, 20, 30] },
        "Texture": [ )" +
           stage + "," + stage + " ] } ] } ] }";
}

std::vector<std::string> MakeScripts() {
    std::vector<std::string> scripts;
    for (int i = 0; i < kMaterials; ++i) scripts.push_back(MakeScript(i));
    return scripts;
}

void Materials(benchmark::State& state) {
    auto const scripts = MakeScripts();
    CResourceSystem& resources = CQK3DMain::GetQK3DMain().GetResourceSystem();
    bench::Measure(state, [&] {
        std::vector<ResourceSharePtr> materials;
        for (std::string const& script : scripts) {
            ResourceSharePtr material = resources.CreateResourceManual("CMaterial", "");
            bench::Check(material->SetFromScript(script), "a material's script");
            materials.push_back(material);
        }
        auto* const last = static_cast<CMaterial*>(static_cast<CResource*>(materials.back()));
        bench::Check(last->GetBestTechnique()->GetPass(0)->GetMaxSamplerStateLevel() == 2, "stages of a script");
    });
}

void Parse(benchmark::State& state) {
    auto const scripts = MakeScripts();
    std::unique_ptr<Json::CharReader> const reader(Json::CharReaderBuilder().newCharReader());
    bench::Measure(state, [&] {
        std::vector<Json::Value> roots(scripts.size());
        for (std::size_t i = 0; i < scripts.size(); ++i) {
            char const* const text = scripts[i].data();
            bench::Check(reader->parse(text, text + scripts[i].size(), &roots[i], nullptr), "a parse");
        }
    });
}

BENCHMARK(Materials)->Name("script/materials")->Unit(benchmark::kMicrosecond);
BENCHMARK(Parse)->Name("script/parse")->Unit(benchmark::kMicrosecond);
} // namespace
