// ScriptsGuideTest.cpp: the scripts of the guide load and do what it says, and the guide names all there is.
#include "QK3DGPUProgram.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DMemFileSystem.h"
#include "QK3DOverlayItem.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DResourceSystem.h"
#include "QK3DSamplerState.h"
#include "QK3DStateWords.h"
#include "QK3DTexture.h"
#include "QK3DTextureState.h"
#include "TestLog.h"
#include "TestStore.h"
#include <bit>
#include <fstream>
#include <gtest/gtest.h>
#include <sstream>

namespace qk3d {
namespace {
string ReadDoc(string const& name) {
    std::ifstream file(QK3D_SOURCE_DIR "/docs/" + name, std::ios::binary);
    EXPECT_TRUE(file) << name;
    std::ostringstream text;
    text << file.rdbuf();
    return text.str();
}

class ScriptsGuide : public testing::Test {
protected:
    ScriptsGuide() {
        for (char const* name : {"glass.png", "leaf.png", "glass.vert", "glass.frag"})
            files->WriteStringToNewFile(string(name), string("source"));
        files->WriteStringToNewFile(string("glow.json"), string(R"({"ZENABLE": "TRUE", "LIGHTING": false})"));
    }
    ~ScriptsGuide() override {
        EXPECT_EQ(log.TakeText(), ""); // no script made anybody complain
    }

    template <class T>
    _ResourceSharePtr<T> Load(string const& type, string const& name) {
        files->WriteStringToNewFile(name, ReadDoc("snippets/scripts/" + name));
        _ResourceSharePtr<T> resource =
            resources.CreateResource(type, name, "", false, CSharePtr<CResourceLoader>::GetNullSharePtr());
        EXPECT_TRUE(resource->Load()) << name;
        return resource;
    }
    CPass& FirstPass(CMaterial& material) { return *material.GetBestTechnique()->GetPass(0); }

    CTestLog log;
    CResourceSystem& resources = CQK3DMain::GetResourceSystem();
    CTestStore files{new CMemFileSystem};
};

TEST_F(ScriptsGuide, TheMaterialHasTwoTechniques) {
    auto material = Load<CMaterial>("CMaterial", "material.json");
    EXPECT_EQ(material->GetTechniqueNum(), 2u);
    CPass& pass = FirstPass(*material);
    EXPECT_EQ(pass.GetName(), "base");
    EXPECT_EQ(pass.GetRenderState()->GetStateNum(), 4u);
    EXPECT_EQ(pass.GetTexture(0)->GetName(), "glass.png");
    EXPECT_EQ(pass.GetTextureState(0)->GetStateNum(), 3u);
    EXPECT_EQ(pass.GetSamplerState(0)->GetStateNum(), 3u);
    EXPECT_EQ(pass.GetVertexShader()->GetShaderVer(), "330");
    EXPECT_EQ(pass.GetPixelShader()->GetLoadingState(), LOADSTATE_PREPARED);
}

TEST_F(ScriptsGuide, ReferencesMakeOneBlockOfTheirOwnAndShareTheOther) {
    auto material = Load<CMaterial>("CMaterial", "references.json");
    auto const block = [&](unsigned i) { return material->GetBestTechnique()->GetPass(i)->GetRenderState(); };
    EXPECT_TRUE(block(0) != block(1) && block(1) == block(2));
    EXPECT_EQ(block(0)->GetState(CRenderState::ZENABLE), 0u);
    EXPECT_EQ(block(1)->GetState(CRenderState::ZENABLE), 1u);
    EXPECT_EQ(block(0)->GetStateNum() + block(1)->GetStateNum(), 4u);
}

TEST_F(ScriptsGuide, EveryStateOfTheExamplesIsRead) {
    auto const render = Load<CRenderState>("CRenderState", "render-state.json");
    EXPECT_EQ(render->GetStateNum(), 10u);
    EXPECT_EQ(render->GetState(CRenderState::FOGCOLOR), 0xFFFF0000u);
    EXPECT_EQ(render->GetState(CRenderState::COLORWRITEENABLE), 7u);
    auto const sampler = Load<CSamplerState>("CSamplerState", "sampler-state.json");
    EXPECT_EQ(sampler->GetStateNum(), 9u);
    EXPECT_EQ(sampler->GetState(CSamplerState::MIPMAPLODBIAS), std::bit_cast<std::uint32_t>(-0.5f));
    auto const texture = Load<CTextureState>("CTextureState", "texture-state.json");
    EXPECT_EQ(texture->GetStateNum(), 8u);
    EXPECT_EQ(texture->GetState(CTextureState::COLORARG2), nullptr); // DIFFUSE is 0
}

TEST_F(ScriptsGuide, TexturesTakeTheirKeys) {
    auto material = Load<CMaterial>("CMaterial", "texture.json");
    CPass& pass = FirstPass(*material);
    EXPECT_EQ(pass.GetMaxTextureLevel(), 3u);
    auto const mirror = pass.GetTexture(0), leaf = pass.GetTexture(2);
    EXPECT_EQ(mirror->GetWidth(), 256u);
    EXPECT_EQ(mirror->GetPixelFormat(), PF_A8R8G8B8);
    EXPECT_TRUE(mirror->IsRenderTexture());
    EXPECT_TRUE(pass.GetTexture(1) == nullptr && pass.GetSamplerState(1));
    EXPECT_EQ(leaf->GetMipLevels(), 4u);
    EXPECT_EQ(leaf->GetFilter(), FILTER_BOX);
    EXPECT_EQ(leaf->GetMipFilter(), FILTER_TRIANGLE);
    EXPECT_EQ(leaf->GetColorKey(), color(0xFFFF00FF));
}

TEST_F(ScriptsGuide, ThePanelIsLaidOutAsTold) {
    COverlayItem panel(nullptr, nullptr, "panel", 0, 0, 0, 0, 0);
    ASSERT_TRUE(panel.SetFromScript(ReadDoc("snippets/scripts/overlay.json")));
    panel.Update(false, CBox());
    struct {
        char const* path;
        CBox box;
    } const rows[] = {
        {"edge", {12, 12, 376, 3}},   {"badge", {280, 24, 96, 96}},     {"title", {28, 26, 236, 28}},
        {"water", {28, 72, 236, 16}}, {"water.bar", {30, 74, 165, 12}},
    };
    for (auto const& row : rows) {
        COverlayItem* const item = panel.GetSubItem(row.path);
        ASSERT_TRUE(item) << row.path;
        EXPECT_TRUE(item->GetAbsoluteBox() == row.box)
            << row.path << " at " << item->GetAbsoluteBox().x << ", " << item->GetAbsoluteBox().y << ", "
            << item->GetAbsoluteBox().width << " x " << item->GetAbsoluteBox().height;
    }
    EXPECT_FALSE(panel.GetSubItem("alarm")->IsVisible());
    log.TakeText(); // its pictures are not here
}

template <auto const& kWords>
void WordsWord(string const& guide) {
    for (StateWord const& word : kWords) {
        auto const plain = "`" + string(word.word) + "` " + std::to_string(word.value);
        EXPECT_NE(guide.find(plain), string::npos) << plain;
    }
}

template <auto const& kWords>
void WordsFlags(string const& guide) {
    WordsWord<kWords>(guide);
}

TEST_F(ScriptsGuide, NamesEveryStateAndEveryWord) {
    string const guide = ReadDoc("scripts.md");
    auto const expectName = [&](string const& name) {
        EXPECT_TRUE(name.starts_with("WRAP") || guide.find("`" + name + "`") != string::npos) << name;
    };
    auto const WordsBool = [](string const&) {};
    auto const WordsUnsigned = WordsBool, WordsFloat = WordsBool, WordsColour = WordsBool, WordsMatrix = WordsBool;
    auto const WordsWrap = [](string const& text) { EXPECT_NE(text.find("`WRAP0` to `WRAP15`"), string::npos); };
#define ROW(number, NAME, Setter, reader)                                                                              \
    expectName(#NAME);                                                                                                 \
    Words##reader(guide);
#include "QK3DRenderStateTable.inl"
#define ROW(number, NAME, Setter, reader)                                                                              \
    expectName(#NAME);                                                                                                 \
    Words##reader(guide);
#include "QK3DSamplerStateTable.inl"
#define ROW(number, NAME, Setter, reader)                                                                              \
    expectName(#NAME);                                                                                                 \
    Words##reader(guide);
#include "QK3DTextureStateTable.inl"
}
} // namespace
} // namespace qk3d
