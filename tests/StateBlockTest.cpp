// StateBlockTest.cpp: the three state blocks: their store, what scripts set, and what reaches a device.
#include "QK3D.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestStore.h"
#include <json/writer.h>

namespace qk3d {
namespace {
template <class TBlock>
class Block : public TBlock {
public:
    Block() : TBlock(nullptr, "", "block", false, NoLoader()) {}
};

struct StateBlock : testing::Test {
    static void SetUpTestSuite() { CQK3DMain::GetQK3DMain(); } // has the words
};

TEST_F(StateBlock, ValuesThatAreNoneLeaveTheStateAsItWas) {
    struct {
        char const* what;
        string json;
        unsigned states;
        unsigned long value;
    } const rows[] = {
        {"a word in any case, with blanks", R"({"srcblend": " srcAlpha\r\n"})", 1, 5},
        {"a word with more behind a zero", R"({"SRCBLEND": "ONE\u0000"})", 0, 0},
        {"a far too long word",
         R"({"SRCBLEND": ")" + string(100000, 'A') + R"(", ")" + string(100000, 'B') + R"(": 1})", 0, 0},
        {"an empty field ends the flags", R"({"COLORWRITEENABLE": "RED||BLUE"})", 1, 1},
        {"but not a blank one, nor a word that is none", R"({"COLORWRITEENABLE": "RED| |PINK|alpha|"})", 1, 9},
        {"a number above the range", R"({"ALPHAREF": 4294967296})", 0, 0},
        {"a colour with channels out of range", R"({"FOGCOLOR": [256, 257, -1, 511]})", 1, 0x0001FFFF},
        {"a short colour", R"({"FOGCOLOR": [255, 1, 2]})", 0, 0},
    };
    for (auto const& row : rows) {
        Block<CRenderState> block;
        EXPECT_TRUE(block.SetFromScript(row.json)) << row.what;
        EXPECT_EQ(block.GetStateNum(), row.states) << row.what;
        EXPECT_EQ(block.GetState(static_cast<CRenderState::EState>(block.GetLowestState())), row.value) << row.what;
    }

    Block<CTextureState> texture;
    EXPECT_TRUE(texture.SetFromScript(R"({" colorarg1 ": "complement", "COLORARG2": "TEXTURE|COMPLEMENT",
        "TRANSFORMFLAGS": "COUNT2|PROJECTED|DISABLE", "ZENABLE": "TRUE"})"));
    EXPECT_EQ(texture.GetStateNum(), 2u); // an argument is one word
    EXPECT_EQ(texture.GetState(CTextureState::COLORARG1), reinterpret_cast<void*>(16));
    EXPECT_EQ(texture.GetState(CTextureState::TRANSFORMFLAGS), reinterpret_cast<void*>(0x102));
}

TEST_F(StateBlock, NoValueOfAnyTypeForAnyStateBreaksAnything) {
    Json::Value const values = Parse(R"([null, true, 0, -1, 5, 4294967296, 1.5, 1e300, -1e300, "", "|", " | ", "ONE",
        [], [[]], [1, {}, 2], {}, {"a": 1}, [1e300, 1e300, 1e300, 1e300], "\u4e2d\uff5c|RED", [null, null, null, null],
        [0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,"x"], [1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18]])");
    auto const expectWhole = [](auto&& block, auto const& names, Json::Value const& value) {
        Json::Value script;
        for (auto const& row : names) script[string(row.name)] = value;
        EXPECT_TRUE(block.SetFromParameter(script));
        EXPECT_EQ(block.SetFromParameter(value), value.isObject()) << value << " at the top";
        EXPECT_LT(block.GetStateNum(), std::size(names)) << "one and the same value never suits all: " << value;
    };
    for (Json::Value const& value : values) {
        expectWhole(Block<CRenderState>(), gStringRenderStateStateMap, value);
        expectWhole(Block<CSamplerState>(), gStringSamplerStateStateMap, value);
        expectWhole(Block<CTextureState>(), gStringTextureStateStateMap, value);
    }
}

TEST_F(StateBlock, ATextureBlockOwnsItsMatrix) {
    auto const TRANSFORM = CTextureState::TRANSFORMMATRIX;
    auto const diagonal = [](CTextureState const& block) {
        return static_cast<Matrix44 const*>(block.GetState(CTextureState::TRANSFORMMATRIX))->m[5];
    };
    Block<CTextureState> block, assigned;
    Matrix44 matrix;
    matrix.m[5] = 1;
    block.SetState(TRANSFORM, &matrix);
    void* const address = block.GetState(TRANSFORM);
    matrix.m[5] = 2;
    EXPECT_EQ(diagonal(block), 1);      // copied
    block.SetState(TRANSFORM, address); // its own
    EXPECT_EQ(diagonal(block), 1);
    EXPECT_TRUE(block.SetFromScript(R"({"TRANSFORMMATRIX": [7, 0, 0, 0, 0, 7]})"));
    EXPECT_EQ(diagonal(block), 1); // nothing of a matrix that is none
    EXPECT_TRUE(block.SetFromScript(R"({"TRANSFORMMATRIX": [2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]})"));
    CTextureState const copy(block);
    assigned = block;
    block.SetState(TRANSFORM, nullptr);
    EXPECT_EQ(diagonal(copy) + diagonal(assigned), 6);
}

// What loading a file does, for each kind of resource that is a script.
template <class TBlock>
void ExpectLoading(string const& kind, string const& script, unsigned int (TBlock::*count)() const) {
    std::vector<string> bad = {" \n", script + "x", "{\"\xff\xff\": 1}",
                               "{\"a\": " + string(100000, '[') + string(100000, ']') + "}"};
    for (std::size_t length = 1; length < script.size(); ++length) bad.push_back(script.substr(0, length));
    CTestLog log;
    CTestStore files(new CMemFileSystem);
    WriteFile(*files, "f", script);
    _ResourceSharePtr<TBlock> block =
        CQK3DMain::GetResourceSystem().CreateResource("C" + kind, "f", "b", false, NoLoader());
    string const site = "8 C" + kind + "::_LoadImpl : The " + kind + " File ";
    for (string const& text : bad) {
        WriteFile(*files, "f", text);
        EXPECT_FALSE(block->Load()) << text.substr(0, 99);
        EXPECT_EQ((*block.*count)(), 0u) << text.substr(0, 99);
        EXPECT_EQ(log.TakeText(), site + "Error : f\n") << text.substr(0, 99);
    }
    files->DeleteFileA(string("f"));
    EXPECT_FALSE(block->Load());
    EXPECT_EQ(log.TakeText(), site + "No Find : f\n");
    WriteFile(*files, "f", "// states\n" + script + "/* end */");
    EXPECT_TRUE(block->Load());
    EXPECT_EQ((*block.*count)(), 1u);
    block->Unload();
    EXPECT_EQ((*block.*count)(), 0u);
    EXPECT_EQ(log.TakeText(), "");
}

TEST_F(StateBlock, LoadingTellsWhatIsWrongWithAFile) {
    ExpectLoading("RenderState", R"({"ZENABLE": "TRUE"})", &CRenderState::GetStateNum);
    ExpectLoading("SamplerState", R"({"MINFILTER": "POINT"})", &CSamplerState::GetStateNum);
    ExpectLoading("TextureState", R"({"COLOROP": "ADD"})", &CTextureState::GetStateNum);
    ExpectLoading("Material", R"({"Technique": [{}]})", &CMaterial::GetTechniqueNum);
}
} // namespace
} // namespace qk3d
