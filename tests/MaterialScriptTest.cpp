// MaterialScriptTest.cpp: materials, techniques and passes out of scripts; the scripts of the guide do what it says.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestStore.h"
#include <json/writer.h>

namespace qk3d {
namespace {
// The default resource system, with a store of files in memory for all types.
struct MaterialScript : testing::Test {
    MaterialScript() {
        WriteFile(*files, "brick.png", "no image");
        WriteFile(*files, "a.glsl", "uniform float x;");
    }

    int CountOf(string const& type) {
        CResourceManager* const manager = resources.GetResourceManager(type);
        return static_cast<int>(std::distance(manager->EnumResourceBegin(), manager->EnumResourceEnd()));
    }
    _ResourceSharePtr<CMaterial> MakeMaterial(string const& path, string const& name) {
        return resources.CreateResource("CMaterial", path, name, false, NoLoader());
    }

    CTestLog log;
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    CRecordingRenderSystem device; // outlives the programs of the pass
    CTestStore files{new CMemFileSystem};
    CPass pass{nullptr, 7};
};

TEST_F(MaterialScript, AReferenceMakesABlockOfItsOwnUnlessItAsksForAnExistingOne) {
    WriteFile(*files, "states.txt", R"({"ZENABLE": "FALSE", "CULLMODE": "NONE"})");
    WriteFile(*files, "broken.txt", "{");
    auto const read = [](char const* reference) {
        CPass other(nullptr, 0);
        EXPECT_TRUE(other.SetFromScript(string("{\"RenderState\": ") + reference + "}"));
        return other.GetRenderState();
    };

    auto const own = read(R"({"Name": "n", "ZENABLE": "TRUE"})");
    EXPECT_TRUE(own && own != read(R"({"Name": "n", "UseExist": null, "FOGENABLE": true})"));
    auto const shared = read(R"({"Name": "n", "UseExist": true, "ZENABLE": "TRUE"})");
    EXPECT_TRUE(shared && shared == read(R"({"Name": "n", "UseExist": true, "FOGENABLE": true})"));
    EXPECT_EQ(shared->GetStateNum(), 1u); // what was found is not configured
    auto const file = read(R"({"Path": "states.txt", "UseExist": true, "ZENABLE": "USEW"})");
    EXPECT_EQ(file->GetStateNum(), 2u);
    EXPECT_EQ(file->GetState(CRenderState::ZENABLE), 2u); // inline states go on top of the file
    EXPECT_EQ(log.TakeText(), "");

    EXPECT_TRUE(read(R"({"Path": "missing.txt", "ZENABLE": "TRUE"})") == nullptr);
    log.TakeText();
    EXPECT_EQ(read(R"({"Path": "broken.txt", "ZENABLE": "TRUE"})")->GetStateNum(), 1u);
    EXPECT_EQ(log.TakeText(), "8 CRenderState::_LoadImpl : The RenderState File Error : broken.txt\n");
}

TEST_F(MaterialScript, ProgramsAndTexturesAreSharedAndTheFirstScriptConfiguresThem) {
    ASSERT_TRUE(pass.SetFromScript(
        R"({"VertexShader": {"Path": "a.glsl", "CodeType": "glsl", "ShaderVer": "330", "MainFun": "vs"},
        "PixelShader": {"Name": "p", "Path": "a.glsl"}, "CommShader": {"Path": "a.glsl", "UseExist": false},
        "Texture": [{"Type": "CTexture", "Path": "brick.png", "UseExist": true, "Width": 64},
            {"Type": "CTexture", "Path": "brick.png", "UseExist": true, "Width": 128}]})"));
    CPass second(nullptr, 1);
    ASSERT_TRUE(second.SetFromScript(R"({"VertexShader": {"Path": "a.glsl", "CodeType": "other"},
        "PixelShader": {"Name": "p"}, "CommShader": {"Path": "a.glsl", "UseExist": false}})"));
    EXPECT_TRUE(pass.GetVertexShader() == second.GetVertexShader() && pass.GetPixelShader() == second.GetPixelShader());
    EXPECT_TRUE(pass.GetCommShader() != second.GetCommShader());
    auto const program = pass.GetVertexShader();
    EXPECT_EQ(program->GetCodeType() + program->GetShaderVer() + program->GetMainFunName(), "glsl330vs");
    EXPECT_EQ(pass.GetTexture(1)->GetWidth(), 64u);
}

TEST_F(MaterialScript, WhatDoesNotResolveLeavesItsSlotAsItWas) {
    ASSERT_TRUE(pass.SetFromScript(R"({"RenderState": {"ZENABLE": "TRUE"}, "VertexShader": {"Path": "a.glsl"},
        "Texture": [{"Type": "CTexture", "Path": "brick.png"}]})"));
    auto const before = pass.GetRenderState();
    auto const program = pass.GetVertexShader();
    ASSERT_TRUE(before && program && pass.GetTexture(0));
    for (string const value : {"null", "5", "true", "\"a.glsl\"", R"({"Path": "missing"})"}) {
        EXPECT_TRUE(pass.SetFromScript("{\"RenderState\": " + value + ", \"VertexShader\": " + value +
                                       ", \"Texture\": " + value + "}"));
        EXPECT_TRUE(pass.GetRenderState() == before && pass.GetVertexShader() == program) << value;
        EXPECT_EQ(pass.GetMaxTextureLevel(), 1u) << value;
    }
    EXPECT_TRUE(pass.SetFromScript(R"({"Texture": []})"));
    EXPECT_EQ(pass.GetMaxTextureLevel(), 0u);
}

TEST_F(MaterialScript, StagesCountWhateverTheyHold) {
    using Levels = std::tuple<unsigned, unsigned, unsigned>; // of textures, stage blocks and samplers
    std::pair<char const*, Levels> const rows[] = {
        {R"([{}, {"Type": "CTexture", "Path": "brick.png"}])", {2, 0, 0}},
        {R"([{}, {"TextureState": {}, "Type": ""}, {}])", {0, 2, 0}},
        {R"([null, 5, "x", [], true, {"SamplerState": {}}])", {0, 0, 6}},
        {R"([{"Type": "Nothing", "Path": "brick.png"}, {"Type": "CTexture", "Path": "missing.png"}])", {0, 0, 0}},
        {R"([{"Type": "CRenderState", "Name": "r", "UseExist": true, "SamplerState": "x"}])", {0, 0, 0}},
    };
    for (auto const& [stages, levels] : rows) {
        EXPECT_TRUE(pass.SetFromScript(string("{\"Texture\": ") + stages + "}"));
        Levels const got(pass.GetMaxTextureLevel(), pass.GetMaxTextureStateLevel(), pass.GetMaxSamplerStateLevel());
        EXPECT_EQ(got, levels) << stages;
        pass.PrepareForRender(&device, 0); // passes over what is empty
    }
    EXPECT_EQ(CountOf("CRenderState"), 0) << "what is of the wrong kind is let go again";
    for (unsigned const stage : {500u, CPass::MAX_STAGE_NUM, 4294967295u}) pass.SetTexture(stage, nullptr);
    EXPECT_EQ(pass.GetMaxTextureLevel(), 501u);
    EXPECT_THROW(pass.GetTexture(501), std::runtime_error);
}

TEST_F(MaterialScript, ParameterTablesFollowTheirPrograms) {
    ASSERT_TRUE(
        pass.SetFromScript(R"({"VertexShader": {"Path": "a.glsl"}, "PixelShader": {"Name": "p", "Path": "a.glsl"}})"));
    EXPECT_EQ(pass.GetVertexShaderParamTable(), nullptr); // nothing is known before it is compiled
    pass.PrepareForRender(&device, 0);
    CGPUProgramParamTable* const vertex = pass.GetVertexShaderParamTable();
    vertex->SetParamValue("x", "abcd", 4);

    CPass copy(pass);
    void* data = nullptr;
    EXPECT_NE(copy.GetVertexShaderParamTable(), vertex);
    EXPECT_EQ(copy.GetVertexShaderParamTable()->GetParamValue("x", &data), 4u);
    pass.SetVertexShader(pass.GetVertexShader()); // the same one
    EXPECT_EQ(vertex->GetParamValue("x", &data), 4u);
    pass.SetVertexShader(pass.GetPixelShader());
    EXPECT_EQ(vertex->GetParamValue("x", &data), 0u);
}

TEST_F(MaterialScript, AMaterialIsAListOfTechniquesOfPasses) {
    _ResourceSharePtr<CMaterial> material = MakeMaterial("", "m");
    struct {
        char const* script;
        bool isRead;
        unsigned techniques, passesOfLast;
    } const rows[] = {
        {R"({"Technique": null})", false, 0, 0},
        {R"({"Technique": 5})", true, 0, 0},
        {R"({"Technique": [{"Name": "a"}, {"Pass": [{}, {"Name": "p"}, 5]}]})", true, 2, 3},
        {R"({"Technique": [5, null, "x", [], {"Pass": {}}]})", true, 5, 0},
        {R"({"Technique": {"a": {"Pass": [{}]}}})", true, 1, 1},
    };
    for (auto const& row : rows) {
        material->DestroyAllTechnique();
        EXPECT_EQ(material->SetFromScript(row.script), row.isRead) << row.script;
        ASSERT_EQ(material->GetTechniqueNum(), row.techniques) << row.script;
        CTechnique* const last = material->GetTechnique(row.techniques - 1);
        EXPECT_EQ(last ? last->GetPassNum() : 0, row.passesOfLast) << row.script;
    }

    material->SetFromScript(R"({"Technique": [{"Pass": [{}, {}, {"Name": 5}]}]})");
    CTechnique* const technique = material->GetTechnique(1); // behind what was there
    EXPECT_EQ(technique->GetPass(2)->GetName(), "2");
    for (unsigned const number : {0u, 5u}) material->DestroyTechnique(number);
    EXPECT_EQ(material->GetBestTechnique(), technique);
}

TEST_F(MaterialScript, CopiesAreDeep) {
    _ResourceSharePtr<CMaterial> material = MakeMaterial("", "m"), target = MakeMaterial("", "t");
    material->SetFromScript(R"({"Technique": [{"Pass": [{"Name": "p", "RenderState": {"ZENABLE": "TRUE"}}]}]})");
    target->CreateTechnique()->CreatePass();
    target->CopyFrom(*material);
    target->CopyFrom(*target);
    CMaterial copy(*target);
    for (_ResourceSharePtr<CMaterial>* const gone : {&material, &target}) (*gone)->DestroyAllTechnique();
    ASSERT_EQ(copy.GetTechniqueNum(), 1u);
    CPass* const first = copy.GetBestTechnique()->GetPass(0);
    EXPECT_EQ(first->GetParent()->GetParent(), &copy);
    EXPECT_EQ(first->GetRenderState()->GetStateNum(), 1u);
}

// Replaces the part of that number in the order of a walk; false if there are not so many.
bool ReplacePart(Json::Value& value, int& index, Json::Value const& with) {
    if (index-- == 0) {
        value = with;
        return true;
    }
    return std::any_of(value.begin(), value.end(),
                       [&](Json::Value& member) { return ReplacePart(member, index, with); });
}

TEST_F(MaterialScript, NoTypeAnywhereInAScriptBreaksAnything) {
    Json::Value const good = Parse(R"({"Technique": [{"Name": "t", "Pass": [{"Name": "p",
        "RenderState": {"Name": "r", "Path": "", "UseExist": true, "ZENABLE": "TRUE"},
        "Texture": [{"Type": "CTexture", "Path": "brick.png", "UseExist": true, "Usage": "STATIC", "ColorKey": [1, 2, 3, 4],
            "TextureState": {"COLOROP": "ADD"}, "SamplerState": {"MINFILTER": "POINT"}}],
        "VertexShader": {"Path": "a.glsl", "CodeType": "c", "ShaderVer": "v", "MainFun": "m", "UseExist": false}}]}]})");
    int parts = 0;
    for (Json::Value const& other : Parse(R"([null, true, -1, 4294967296, 1e300, "", "x", "CMaterial", "\u4e2d\u6587",
        [], {}, [[]], {"a": {}}, [{"Type": "CMaterial"}]])")) {
        for (int part = 0;; ++part) {
            Json::Value script = good;
            int index = part;
            if (!ReplacePart(script, index, other)) break;
            ++parts;
            _ResourceSharePtr<CMaterial> material = MakeMaterial("", "m");
            bool const isMaterial = script.isObject() && !script["Technique"].isNull();
            EXPECT_EQ(material->SetFromParameter(script), isMaterial) << script;
            for (unsigned i = 0; i < material->GetTechniqueNum(); ++i) {
                material->GetTechnique(i)->Load();
                if (CPass* const made = material->GetTechnique(i)->GetPass(0)) {
                    made->PrepareForRender(&device, 0);
                    device.SetPass(made);
                }
            }
            device.SetPass(nullptr);
            material.Release();
            EXPECT_EQ(CountOf("CTexture") + CountOf("CRenderState") + CountOf("CMaterial"), 0) << script;
        }
    }
    EXPECT_GT(parts, 14 * 30);
}

string ReadDoc(string const& name) { return TempFolder::Read(QK3D_SOURCE_DIR "/docs/" + name); }

struct ScriptsGuide : MaterialScript {
    ScriptsGuide() {
        for (char const* name : {"glass.png", "leaf.png", "glass.vert", "glass.frag"})
            WriteFile(*files, name, "source");
        WriteFile(*files, "glow.json", R"({"ZENABLE": "TRUE", "LIGHTING": false})");
    }
    ~ScriptsGuide() override {
        EXPECT_EQ(log.TakeText(), ""); // no script made anybody complain
    }
    template <class T>
    _ResourceSharePtr<T> Load(string const& type, string const& name) {
        WriteFile(*files, name, ReadDoc("snippets/scripts/" + name));
        _ResourceSharePtr<T> resource = resources.CreateResource(type, name, "", false, NoLoader());
        EXPECT_TRUE(resource->Load()) << name;
        return resource;
    }
};

TEST_F(ScriptsGuide, ItsExamplesAreReadAsTold) {
    auto material = Load<CMaterial>("CMaterial", "material.json");
    CPass& first = *material->GetBestTechnique()->GetPass(0);
    EXPECT_EQ(first.GetRenderState()->GetStateNum(), 4u);
    EXPECT_TRUE(first.GetTexture(0) && first.GetVertexShader() && first.GetPixelShader());

    auto references = Load<CMaterial>("CMaterial", "references.json");
    auto const block = [&](unsigned i) { return references->GetBestTechnique()->GetPass(i)->GetRenderState(); };
    EXPECT_TRUE(block(0) != block(1) && block(1) == block(2)); // one of its own, and one shared

    auto textures = Load<CMaterial>("CMaterial", "texture.json");
    CPass& stages = *textures->GetBestTechnique()->GetPass(0);
    EXPECT_EQ(stages.GetMaxTextureLevel(), 3u);
    EXPECT_EQ(stages.GetTexture(2)->GetColorKey(), color(0xFFFF00FF));

    EXPECT_EQ(Load<CRenderState>("CRenderState", "render-state.json")->GetStateNum(), 10u);
    EXPECT_EQ(Load<CSamplerState>("CSamplerState", "sampler-state.json")->GetStateNum(), 9u);
    EXPECT_EQ(Load<CTextureState>("CTextureState", "texture-state.json")->GetStateNum(), 8u);
}

TEST_F(ScriptsGuide, ThePanelIsLaidOutAsTold) {
    COverlayItem panel(nullptr, nullptr, "panel", 0, 0, 0, 0, 0);
    ASSERT_TRUE(panel.SetFromScript(ReadDoc("snippets/scripts/overlay.json")));
    panel.Update(false, CBox());
    ASSERT_TRUE(panel.GetSubItem("badge") && panel.GetSubItem("water.bar"));
    EXPECT_TRUE(panel.GetSubItem("badge")->GetAbsoluteBox() == CBox(280, 24, 96, 96));
    EXPECT_TRUE(panel.GetSubItem("water.bar")->GetAbsoluteBox() == CBox(30, 74, 165, 12));
    EXPECT_FALSE(panel.GetSubItem("alarm")->IsVisible());
    log.TakeText(); // its pictures are not here
}

} // namespace
} // namespace qk3d
