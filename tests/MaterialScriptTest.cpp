// MaterialScriptTest.cpp: materials, techniques and passes, from script to device.
#include "QK3DGPUProgram.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMemFileSystem.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DResourceSystem.h"
#include "QK3DSamplerState.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include "QKJson.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestStore.h"
#include <gtest/gtest.h>
#include <json/writer.h>

namespace qk3d {
namespace {
// The default resource system, with a store of files in memory for all types.
class MaterialScript : public testing::Test {
protected:
    MaterialScript() {
        Write("brick.png", "no image");
        Write("a.glsl", "uniform float x;");
    }

    void Write(string const& path, string const& text) { WriteFile(*files, path, text); }
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
    CPass const& constPass = pass;
};

TEST_F(MaterialScript, APassReadsObjectsAlone) {
    EXPECT_EQ(pass.GetName(), "7");
    for (char const* text : {"[]", "[{}]", "{}", "{\"Unknown\": 1}"}) {
        Json::Value const value = Parse(text);
        EXPECT_EQ(pass.SetFromParameter(value), value.isObject()) << text;
    }
    for (Json::Value const& value : Parse(R"([null, 5, "x", true, 1.5])"))
        EXPECT_FALSE(pass.SetFromParameter(value)) << value;
    EXPECT_EQ(pass.GetMaxTextureLevel() + pass.GetMaxTextureStateLevel() + pass.GetMaxSamplerStateLevel(), 0u);
    EXPECT_TRUE(pass.GetRenderState() == nullptr);
}

TEST_F(MaterialScript, AStateReferenceMakesABlockOfItsOwnUnlessItAsksForAnExistingOne) {
    Write("states.txt", R"({"ZENABLE": "FALSE", "CULLMODE": "NONE"})");
    auto const read = [](char const* reference) {
        CPass other(nullptr, 0);
        EXPECT_TRUE(other.SetFromScript(string("{\"RenderState\": ") + reference + "}"));
        return other.GetRenderState();
    };

    auto const a = read(R"({"Name": "n", "ZENABLE": "TRUE"})");
    auto const b = read(R"({"Name": "n", "UseExist": null, "FOGENABLE": true})");
    EXPECT_TRUE(a && b && a != b);
    EXPECT_EQ(a->GetName().substr(0, 2), "rs");
    EXPECT_EQ(a->GetName().size(), 15u);
    EXPECT_EQ(a->GetStateNum(), 1u);

    auto const shared = read(R"({"Name": "n", "UseExist": true, "ZENABLE": "TRUE"})");
    EXPECT_EQ(shared->GetName(), "n");
    EXPECT_EQ(shared->GetStateNum(), 1u);
    auto const again = read(R"({"Name": "n", "UseExist": true, "FOGENABLE": true})");
    EXPECT_TRUE(again == shared);
    EXPECT_EQ(shared->GetStateNum(), 1u); // what was found is not configured

    auto const file = read(R"({"Path": "states.txt", "UseExist": true, "ZENABLE": "USEW"})");
    EXPECT_EQ(file->GetName(), "states.txt");
    EXPECT_EQ(file->GetState(CRenderState::ZENABLE), 2u); // inline states go on top of the file
    EXPECT_EQ(file->GetState(CRenderState::CULLMODE), 1u);
    EXPECT_TRUE(read(R"({"Path": "states.txt", "UseExist": true})") == file);
    EXPECT_EQ(log.TakeText(), "");

    auto const missing = read(R"({"Path": "missing.txt", "ZENABLE": "TRUE"})");
    EXPECT_TRUE(missing == nullptr);
    EXPECT_NE(log.TakeText().find("Create auto load resource with a unexist file -> rs"), string::npos);

    Write("broken.txt", "{");
    auto const broken = read(R"({"Path": "broken.txt", "ZENABLE": "TRUE"})");
    EXPECT_EQ(broken->GetStateNum(), 1u);
    EXPECT_EQ(log.TakeText(), "8 CRenderState::_LoadImpl : The RenderState File Error : broken.txt\n");
}

TEST_F(MaterialScript, WhatDoesNotResolveLeavesItsSlotAsItWas) {
    ASSERT_TRUE(pass.SetFromScript(R"({"RenderState": {"ZENABLE": "TRUE"}, "VertexShader": {"Path": "a.glsl"},
        "Texture": [{"Type": "CTexture", "Path": "brick.png"}]})"));
    auto const before = pass.GetRenderState();
    auto const program = pass.GetVertexShader();
    auto const texture = pass.GetTexture(0);
    ASSERT_TRUE(before && program && texture);
    for (char const* value : {"null", "5", "[]", "\"a.glsl\"", "true", R"({"Path": "missing"})"}) {
        EXPECT_TRUE(pass.SetFromScript(string("{\"RenderState\": ") + value + ", \"VertexShader\": " + value + "}"));
        EXPECT_TRUE(pass.GetRenderState() == before && pass.GetVertexShader() == program) << value;
    }
    for (char const* value : {"null", "5", "{}", "\"x\""}) {
        EXPECT_TRUE(pass.SetFromScript(string("{\"Texture\": ") + value + "}"));
        EXPECT_EQ(pass.GetMaxTextureLevel(), 1u) << value;
    }
    EXPECT_TRUE(pass.SetFromScript(R"({"Texture": []})"));
    EXPECT_EQ(pass.GetMaxTextureLevel(), 0u);
}

TEST_F(MaterialScript, StagesCountWhateverTheyHold) {
    struct {
        char const *what, *stages;
        unsigned textures, textureStates, samplerStates;
    } const rows[] = {
        {"an empty first stage", R"([{}, {"Type": "CTexture", "Path": "brick.png"}])", 2, 0, 0},
        {"a sampler alone", R"([{"SamplerState": {"ADDRESSU": "WRAP"}}])", 0, 0, 1},
        {"a stage block without a type", R"([{}, {"TextureState": {}, "Type": ""}, {}])", 0, 2, 0},
        {"stages that are none", R"([null, 5, "x", [], true, {"SamplerState": {}}])", 0, 0, 6},
        {"a type that nobody makes", R"([{"Type": "Nothing", "Path": "brick.png"}])", 0, 0, 0},
        {"a type of another kind", R"([{"Type": "CRenderState", "Name": "r", "UseExist": true}])", 0, 0, 0},
        {"blocks that are none", R"([{"TextureState": [], "SamplerState": "x"}])", 0, 0, 0},
        {"a missing file", R"([{"Type": "CTexture", "Path": "missing.png"}])", 0, 0, 0},
    };
    for (auto const& row : rows) {
        EXPECT_TRUE(pass.SetFromScript(string("{\"Texture\": ") + row.stages + "}")) << row.what;
        EXPECT_EQ(pass.GetMaxTextureLevel(), row.textures) << row.what;
        EXPECT_EQ(pass.GetMaxTextureStateLevel(), row.textureStates) << row.what;
        EXPECT_EQ(pass.GetMaxSamplerStateLevel(), row.samplerStates) << row.what;
        pass.Load(); // passes over what is empty
        pass.PrepareForRender(&device, 0);
    }
    EXPECT_EQ(CountOf("CRenderState"), 0) << "what is of the wrong kind is let go again";
}

TEST_F(MaterialScript, ANewTextureTakesTheKeysOfItsStage) {
    ASSERT_TRUE(pass.SetFromScript(R"({"Texture": [
        {"Type": "CTexture", "Path": "brick.png", "UseExist": true, "Width": 64, "MipLevels": 3},
        {"Type": "CTexture", "Path": "brick.png", "UseExist": true, "Width": 128},
        {"Type": "CTexture", "Path": "brick.png", "Name": "own", "Width": 32}]})"));
    EXPECT_TRUE(pass.GetTexture(0) == pass.GetTexture(1));
    EXPECT_EQ(pass.GetTexture(0)->GetName(), "brick.png");
    EXPECT_EQ(pass.GetTexture(0)->GetWidth(), 64u);
    EXPECT_EQ(pass.GetTexture(0)->GetMipLevels(), 3u);
    EXPECT_EQ(pass.GetTexture(0)->GetLoadingState(), LOADSTATE_UNPREPARED);
    EXPECT_EQ(pass.GetTexture(2)->GetName().substr(0, 3), "tex");
    EXPECT_EQ(pass.GetTexture(2)->GetWidth(), 32u);
}

TEST_F(MaterialScript, ProgramsAreSharedUnlessTheScriptSaysOtherwise) {
    string const script =
        R"({"VertexShader": {"Path": "a.glsl", "CodeType": "glsl", "ShaderVer": "330", "MainFun": "vs"},
        "PixelShader": {"Name": "p", "Path": "a.glsl"}, "CommShader": {"Path": "a.glsl", "UseExist": false}})";
    ASSERT_TRUE(pass.SetFromScript(script));
    CPass second(nullptr, 1);
    ASSERT_TRUE(second.SetFromScript(R"({"VertexShader": {"Path": "a.glsl", "CodeType": "other"},
        "PixelShader": {"Name": "p"}, "CommShader": {"Path": "a.glsl", "UseExist": false}})"));
    EXPECT_TRUE(pass.GetVertexShader() == second.GetVertexShader());
    EXPECT_TRUE(pass.GetPixelShader() == second.GetPixelShader());
    EXPECT_TRUE(pass.GetCommShader() != second.GetCommShader());
    auto const program = pass.GetVertexShader();
    EXPECT_EQ(program->GetCodeType() + program->GetShaderVer() + program->GetMainFunName(), "glsl330vs");
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_EQ(pass.PeekVertexShader()->GetType(), CGPUProgram::GPT_VERTEX);
    EXPECT_EQ(pass.PeekPixelShader()->GetType(), CGPUProgram::GPT_PIXEL);
    EXPECT_EQ(pass.PeekCommShader()->GetType(), CGPUProgram::GPT_COMM);
}

TEST_F(MaterialScript, ParameterTablesFollowTheirPrograms) {
    ASSERT_TRUE(
        pass.SetFromScript(R"({"VertexShader": {"Path": "a.glsl"}, "PixelShader": {"Name": "p", "Path": "a.glsl"}})"));
    EXPECT_EQ(pass.GetVertexShaderParamTable(), nullptr); // nothing is known before it is compiled
    pass.PrepareForRender(&device, 0);
    pass.PrepareForRender(&device, 0);
    EXPECT_EQ(device.CountOf("CreateVertexShader"), 1u);
    CGPUProgramParamTable* const vertex = pass.GetVertexShaderParamTable();
    ASSERT_NE(vertex, nullptr);
    EXPECT_EQ(constPass.GetVertexShaderParamTable(), vertex);
    EXPECT_NE(constPass.GetPixelShaderParamTable(), nullptr);
    EXPECT_EQ(pass.GetCommShaderParamTable(), nullptr);
    vertex->SetParamValue("x", "abcd", 4);

    CPass copy(pass), assigned(nullptr, 3);
    assigned = pass;
    void* data = nullptr;
    for (CPass* const other : {&copy, &assigned}) {
        EXPECT_NE(other->GetVertexShaderParamTable(), vertex);
        EXPECT_EQ(other->GetVertexShaderParamTable()->GetParamValue("x", &data), 4u);
        EXPECT_TRUE(other->GetPixelShader() == pass.GetPixelShader());
    }
    EXPECT_EQ(copy.GetName(), "7");

    pass.SetVertexShader(pass.GetVertexShader()); // the same one
    EXPECT_EQ(vertex->GetParamValue("x", &data), 4u);
    pass.SetVertexShader(pass.GetPixelShader());
    EXPECT_EQ(pass.GetVertexShaderParamTable(), vertex);
    EXPECT_EQ(vertex->GetParamValue("x", &data), 0u);
    pass.SetVertexShader(nullptr);
    EXPECT_EQ(pass.GetVertexShaderParamTable(), nullptr);
    EXPECT_NE(pass.GetPixelShaderParamTable(), nullptr);

    _ResourceSharePtr<CGPUProgram> bare = resources.CreateResourceManual("CGPUProgram", "bare");
    pass.SetCommShader(bare);
    EXPECT_EQ(pass.GetCommShaderParamTable(), nullptr); // a program without parameters has no table
}

TEST_F(MaterialScript, SlotsGrowOnDemandAndRefuseWhatIsNoStage) {
    _ResourceSharePtr<CTexture> texture = resources.CreateResourceManual("CTexture", "t");
    EXPECT_THROW(pass.GetTexture(0), std::runtime_error);
    EXPECT_THROW(pass.GetTextureState(0), std::runtime_error);
    try {
        pass.GetSamplerState(0);
        ADD_FAILURE();
    } catch (std::runtime_error const& error) { EXPECT_STREQ(error.what(), "CPass::GetSamplerState out of bound"); }
    EXPECT_TRUE(constPass.GetTexture(0) == nullptr);
    EXPECT_EQ(&constPass.GetTexture(0), &constPass.GetTexture(4000000000u));

    pass.SetTexture(3, texture);
    EXPECT_EQ(pass.GetMaxTextureLevel(), 4u);
    EXPECT_TRUE(pass.GetTexture(2) == nullptr && pass.GetTexture(3) == texture);
    pass.SetTexture(500, pass.GetTexture(3)); // a reference into the list that grows
    EXPECT_TRUE(pass.GetTexture(500) == texture);
    for (unsigned const stage : {CPass::MAX_STAGE_NUM, 4294967295u}) pass.SetTexture(stage, texture);
    EXPECT_EQ(pass.GetMaxTextureLevel(), 501u);
    EXPECT_EQ(texture.GetRef(), 4u); // the table, here, and two slots
}

TEST_F(MaterialScript, AMaterialIsAListOfTechniquesOfPasses) {
    _ResourceSharePtr<CMaterial> material = MakeMaterial("", "m");
    struct {
        char const *what, *script;
        bool isRead;
        unsigned techniques;
        unsigned passesOfLast;
    } const rows[] = {
        {"no techniques", R"({"Technique": []})", true, 0, 0},
        {"none at all", "{}", false, 0, 0},
        {"null", R"({"Technique": null})", false, 0, 0},
        {"no list", R"({"Technique": 5})", true, 0, 0},
        {"two, the first without passes", R"({"Technique": [{"Name": "a"}, {"Pass": [{}, {"Name": "p"}, 5]}]})", true,
         2, 3},
        {"elements of any type", R"({"Technique": [5, null, "x", [], {"Pass": {}}]})", true, 5, 0},
        {"an object's members count as well", R"({"Technique": {"a": {"Pass": [{}]}}})", true, 1, 1},
        {"no object", "[]", false, 0, 0},
    };
    for (auto const& row : rows) {
        material->DestroyAllTechnique();
        EXPECT_EQ(material->SetFromScript(row.script), row.isRead) << row.what;
        ASSERT_EQ(material->GetTechniqueNum(), row.techniques) << row.what;
        EXPECT_EQ(material->GetBestTechnique(), material->GetTechnique(0)) << row.what;
        CTechnique* const last = material->GetTechnique(row.techniques - 1);
        EXPECT_EQ(last ? last->GetPassNum() : 0, row.passesOfLast) << row.what;
    }

    material->CreateTechnique();
    material->SetFromScript(R"({"Technique": [{"Pass": [{"Name": "first"}, {}, {"Name": 5}]}]})");
    CTechnique* const technique = material->GetTechnique(1); // behind what was there
    ASSERT_NE(technique, nullptr);
    EXPECT_EQ(technique->GetParent(), static_cast<CMaterial*>(material));
    EXPECT_EQ(technique->GetPass(0)->GetName(), "first");
    EXPECT_EQ(technique->GetPass(1)->GetName(), "1");
    EXPECT_EQ(technique->GetPass(2)->GetName(), "2");
    EXPECT_EQ(technique->GetPass(0)->GetParent(), technique);
    technique->DestroyPass(0);
    technique->DestroyPass(5);
    EXPECT_EQ(technique->CreatePass()->GetName(), "2"); // the number of passes, as the one before it has
    EXPECT_EQ(technique->GetPassNum(), 3u);
    EXPECT_EQ(technique->GetPass(3), nullptr);
    material->DestroyTechnique(0);
    material->DestroyTechnique(5);
    EXPECT_EQ(material->GetBestTechnique(), technique);
}

TEST_F(MaterialScript, CopiesAreDeep) {
    _ResourceSharePtr<CMaterial> material = MakeMaterial("", "m"), target = MakeMaterial("", "t");
    material->SetFromScript(R"({"Technique": [{"Pass": [{"Name": "p", "RenderState": {"ZENABLE": "TRUE"}}]}, {}]})");
    target->CreateTechnique()->CreatePass();
    target->CopyFrom(*material);
    target->CopyFrom(*target);
    CMaterial copy(*material), assigned(*target);
    assigned = *material;
    for (CMaterial* const other : {static_cast<CMaterial*>(target), &copy, &assigned}) {
        ASSERT_EQ(other->GetTechniqueNum(), 2u);
        CTechnique* const technique = other->GetBestTechnique();
        EXPECT_NE(technique, material->GetBestTechnique());
        EXPECT_EQ(technique->GetParent(), other);
        CPass* const copied = technique->GetPass(0);
        EXPECT_EQ(copied->GetParent(), technique);
        EXPECT_EQ(copied->GetName(), "p");
        EXPECT_TRUE(copied->GetRenderState() == material->GetBestTechnique()->GetPass(0)->GetRenderState());
    }
    CTechnique lonely(nullptr, "lonely");
    lonely = *material->GetBestTechnique();
    EXPECT_EQ(lonely.GetParent(), nullptr);
    EXPECT_EQ(lonely.GetPass(0)->GetParent(), &lonely);
    material->DestroyAllTechnique();
    EXPECT_EQ(copy.GetBestTechnique()->GetPass(0)->GetRenderState()->GetStateNum(), 1u);
}

TEST_F(MaterialScript, LoadingTellsWhatIsWrongWithAFile) {
    string const good = R"({"Technique": [{"Pass": [{"RenderState": {"ZENABLE": "TRUE"}}]}]})";
    struct {
        char const* what;
        string text, log;
    } const rows[] = {
        {"good", good, ""},
        {"no techniques", "{}", "Error"},
        {"no object", "[]", "Error"},
        {"deep", R"({"Technique": )" + string(100000, '[') + string(100000, ']') + "}", "Error"},
        {"deep objects", R"({"Technique": )" + string(100000, '{') + string(100000, '}') + "}", "Error"},
        {"neither UTF-8 nor GBK", "{\"Technique\": [], \"\xff\": 1}", "Error"},
        {"gone", "", "No Find"},
    };
    string const site = "8 CMaterial::_LoadImpl : The Material File ";
    for (auto const& row : rows) {
        Write("m.txt", row.text + " ");
        _ResourceSharePtr<CMaterial> material = MakeMaterial("m.txt", "");
        if (row.text.empty()) files->DeleteFileA(string("m.txt"));
        EXPECT_EQ(material->Load(), row.log.empty()) << row.what;
        EXPECT_EQ(log.TakeText(), row.log.empty() ? "" : site + row.log + " : m.txt\n") << row.what;
        EXPECT_EQ(material->GetTechniqueNum(), row.log.empty() ? 1u : 0u) << row.what;
        material->Unload();
        EXPECT_EQ(material->GetTechniqueNum(), 0u) << row.what;
    }
    for (std::size_t length = 1; length < good.size(); ++length) {
        Write("m.txt", good.substr(0, length));
        _ResourceSharePtr<CMaterial> material = MakeMaterial("m.txt", "");
        EXPECT_FALSE(material->Load()) << good.substr(0, length);
        EXPECT_EQ(log.TakeText(), site + "Error : m.txt\n");
        EXPECT_EQ(material->GetTechniqueNum(), 0u);
    }
    EXPECT_EQ(CountOf("CMaterial") + CountOf("CRenderState"), 0);
}

// The parts of a script, each in turn replaced by something else.
int CountParts(Json::Value const& value) {
    int parts = 1;
    for (Json::Value const& member : value) parts += CountParts(member);
    return parts;
}
bool ReplacePart(Json::Value& value, int& index, Json::Value const& with) {
    if (index-- == 0) {
        value = with;
        return true;
    }
    for (Json::Value& member : value)
        if (ReplacePart(member, index, with)) return true;
    return false;
}

TEST_F(MaterialScript, NoTypeAnywhereInAScriptBreaksAnything) {
    Json::Value const good = Parse(R"({"Technique": [{"Name": "t", "Pass": [{"Name": "p",
        "RenderState": {"Name": "r", "Path": "", "UseExist": true, "ZENABLE": "TRUE"},
        "Texture": [{"Type": "CTexture", "Path": "brick.png", "UseExist": true, "Usage": "STATIC", "ColorKey": [1, 2, 3, 4],
            "TextureState": {"COLOROP": "ADD"}, "SamplerState": {"MINFILTER": "POINT"}}],
        "VertexShader": {"Path": "a.glsl", "CodeType": "c", "ShaderVer": "v", "MainFun": "m", "UseExist": false}}]}]})");
    Json::Value const others =
        Parse(R"([null, true, -1, 4294967296, 1e300, "", "x", "CMaterial", "\u4e2d\u6587", [], {},
        [[]], {"a": {}}, [{"Type": "CMaterial"}]])");
    int const parts = CountParts(good);
    EXPECT_GT(parts, 30);
    for (int part = 0; part < parts; ++part) {
        for (Json::Value const& other : others) {
            Json::Value script = good;
            int index = part;
            ASSERT_TRUE(ReplacePart(script, index, other));
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
}

TEST_F(MaterialScript, AMaterialFileReachesTheDevice) {
    Write("wall.txt", R"({"Technique": [{"Name": "plain", "Pass": [{
        "RenderState": {"ALPHABLENDENABLE": true, "SRCBLEND": "SRCALPHA", "DESTBLEND": "INVSRCALPHA", "ZWRITEENABLE": false},
        "Texture": [{"Type": "CTexture", "Name": "blank", "UseExist": true, "Width": 4, "Height": 4,
            "TextureState": {"COLOROP": "ADD"}, "SamplerState": {"ADDRESSU": "CLAMP", "MINFILTER": "LINEAR"}}],
        "VertexShader": {"Path": "a.glsl", "CodeType": "glsl", "MainFun": "main"}}]}]})");
    _ResourceSharePtr<CMaterial> material = MakeMaterial("wall.txt", "wall");
    ASSERT_TRUE(material->Load());
    CPass& first = *material->GetBestTechnique()->GetPass(0);
    EXPECT_EQ(first.GetRenderState()->GetStateNum(), 4u);
    first.PrepareForRender(&device, 0);
    first.GetVertexShaderParamTable()->SetParamValue("x", "\0\0\x80\x3f", 4);
    device.TakeJournal();
    device.SetPass(&first);
    EXPECT_EQ(device.TakeJournal(), "SetTexture 0 blank\n"
                                    "SetAddressU 0 3\n"
                                    "SetMinFilter 0 2\n"
                                    "SetZWriteEnable 0\n"
                                    "SetSrcBlend 5\n"
                                    "SetDestBlend 6\n"
                                    "SetAlphaBlendEnable 1\n"
                                    "SetVertexShader a.glsl\n"
                                    "SetVertexShaderParam a.glsl x 1\n"
                                    "SetColorOP 0 7\n");
    device.SetPass(nullptr);
    EXPECT_EQ(log.TakeText(), "");
}
} // namespace
} // namespace qk3d
