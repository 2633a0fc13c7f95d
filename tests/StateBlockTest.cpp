// StateBlockTest.cpp: the three state blocks: their store, what scripts set, and what reaches a device.
#include "QK3DMatrix.h"
#include "QK3DMemFileSystem.h"
#include "QK3DRenderState.h"
#include "QK3DSamplerState.h"
#include "QK3DStateWords.h"
#include "QK3DTextureState.h"
#include "QKJson.h"
#include "TestFiles.h"
#include "TestLog.h"
#include <gtest/gtest.h>
#include <json/writer.h>
#include <map>
#include <random>

namespace qk3d {
namespace {
template <class TBlock>
class Block : public TBlock {
public:
    Block() : TBlock(nullptr, "", "block", false, NoLoader()) {}
};

std::uint64_t Number(void* value) { return reinterpret_cast<std::uintptr_t>(value); }

class StateBlock : public testing::Test {
protected:
    static void SetUpTestSuite() {
        CRenderState::InitStringStateMap();
        CTextureState::InitStringStateMap();
        CSamplerState::InitStringStateMap();
    }
    CTestLog log;
};

TEST_F(StateBlock, BoundsAndCountFollowWhatIsSet) {
    using Entries = CRenderState::Entries;
    unsigned const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    Entries entries;
    std::map<int, std::uint32_t> model;
    for (int step = 0; step < 5000; ++step) {
        int const state = static_cast<int>(random() % 106) - 1; // two numbers too low, one too high
        if (random() % 5 < 2) {
            entries.Set(state, random());
            if (state >= 1 && state <= 103) model[state] = entries.Get(state);
        } else if (step % 1000 == 999) {
            entries.Clear();
            model.clear();
        } else {
            entries.Remove(state);
            model.erase(state);
        }
        ASSERT_EQ(entries.GetCount(), model.size());
        ASSERT_EQ(entries.GetLowest(), model.empty() ? 103 : model.begin()->first);
        ASSERT_EQ(entries.GetHighest(), model.empty() ? 1 : model.rbegin()->first);
        for (int i = -1; i <= 104; ++i) {
            ASSERT_EQ(entries.IsSet(i), model.contains(i));
            ASSERT_EQ(entries.Get(i), model.contains(i) ? model[i] : 0);
        }
    }
}

// The plain form of the walk: one state after the other, as the rules say.
template <class TEntries>
string PlainDifferences(TEntries const* next, TEntries const* active, TEntries const& base) {
    string sent;
    auto const send = [&](int state, TEntries const& from) {
        sent += std::to_string(state) + "=" + std::to_string(from.Get(state)) + " ";
    };
    for (int i = 1; i <= TEntries::LAST; ++i) {
        bool const isNew = next && next->IsSet(i), wasActive = active && active->IsSet(i);
        if (isNew && wasActive && next->Get(i) != active->Get(i)) send(i, *next);
        if (isNew && !wasActive && !(base.IsSet(i) && base.Get(i) == next->Get(i))) send(i, *next);
        if (!isNew && wasActive && base.IsSet(i) && active->Get(i) != base.Get(i)) send(i, base);
    }
    return sent;
}

template <class TEntries>
void CompareRandomWalks() {
    unsigned const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    for (int round = 0; round < 3000; ++round) {
        TEntries blocks[3];
        unsigned const rarity = 1 + random() % 8;
        for (int block = 0; block < 3; ++block)
            for (int i = 1; i <= TEntries::LAST; ++i)
                if (random() % rarity == 0 || (block == 2 && round % 2)) blocks[block].Set(i, random() % 3);
        TEntries const* const next = random() % 8 ? &blocks[0] : nullptr;
        TEntries const* const active = random() % 8 ? &blocks[1] : nullptr;
        string sent;
        TEntries::VisitDifferences(next, active, blocks[2], [&](int state, auto value) {
            sent += std::to_string(state) + "=" + std::to_string(value) + " ";
        });
        ASSERT_EQ(sent, PlainDifferences(next, active, blocks[2])) << "round " << round;
    }
}

TEST_F(StateBlock, TheWalkSendsWhatThePlainRulesSay) {
    CompareRandomWalks<CRenderState::Entries>();
    CompareRandomWalks<CSamplerState::Entries>();
    CompareRandomWalks<CTextureState::Entries>();
}

TEST_F(StateBlock, ValuesThatAreNoneLeaveTheStateAsItWas) {
    struct {
        char const *what, *json;
        bool isSet;
        unsigned long value;
    } const rows[] = {
        {"a word in any case, with blanks", R"({"srcblend": " srcAlpha\r\n"})", true, 5},
        {"an unknown word", R"({"SRCBLEND": "SRC"})", false, 0},
        {"a word with more behind a zero", R"({"SRCBLEND": "ONE\u0000"})", false, 0},
        {"a word that is far too long", nullptr, false, 0},
        {"flags", R"({"COLORWRITEENABLE": "RED|GREEN | blue"})", true, 7},
        {"an empty field ends the flags", R"({"COLORWRITEENABLE": "RED||BLUE"})", true, 1},
        {"but not a blank one, nor a word that is none", R"({"COLORWRITEENABLE": "RED| |PINK|ALPHA|"})", true, 9},
        {"a coordinate by number", R"({"WRAP3": 3})", true, 256},
        {"a number that is none", R"({"WRAP3": 7})", true, 7},
        {"a float", R"({"FOGEND": 1.0})", true, 0x3F800000},
        {"a number above the range", R"({"ALPHAREF": 4294967296})", false, 0},
        {"a colour with channels out of range", R"({"FOGCOLOR": [256, 257, -1, 511]})", true, 0x0001FFFF},
        {"a short colour", R"({"FOGCOLOR": [255, 1, 2]})", false, 0},
        {"null", R"({"FOGCOLOR": null, "FOGEND": null, "ZENABLE": null, "WRAP1": null})", false, 0},
        {"a name that is none", R"({"FOGGY": true, "": 1, "ADDRESSU": "WRAP"})", false, 0},
    };
    string const longWord = R"({"SRCBLEND": ")" + string(100000, 'A') + R"(", ")" + string(100000, 'B') + R"(": 1})";
    for (auto const& row : rows) {
        Block<CRenderState> block;
        EXPECT_TRUE(block.SetFromScript(row.json ? row.json : longWord)) << row.what;
        EXPECT_EQ(block.GetStateNum(), row.isSet ? 1u : 0u) << row.what;
        EXPECT_EQ(block.GetState(static_cast<CRenderState::EState>(block.GetLowestState())), row.value) << row.what;
    }
}

TEST_F(StateBlock, NoValueOfAnyTypeForAnyStateBreaksAnything) {
    Json::Value const values = Parse(R"([null, true, 0, -1, 5, 4294967296, 1.5, 1e300, -1e300, "", "|", " | ", "ONE",
        [], [[]], [1, {}, 2], {}, {"a": 1}, [1e300, 1e300, 1e300, 1e300], "\u4e2d\uff5c|RED", [null, null, null, null],
        [0,1,2,3,4,5,6,7,8,9,10,11,12,13,14,"x"], [1,2,3,4,5,6,7,8,9,10,11,12,13,14,15,16,17,18]])");
    for (Json::Value const& value : values) {
        Block<CRenderState> render;
        Block<CSamplerState> sampler;
        Block<CTextureState> texture;
        Json::Value script;
        for (auto const& row : gStringRenderStateStateMap) script[string(row.name)] = value;
        for (auto const& row : gStringSamplerStateStateMap) script[string(row.name)] = value;
        for (auto const& row : gStringTextureStateStateMap) script[string(row.name)] = value;
        EXPECT_TRUE(render.SetFromParameter(script));
        EXPECT_TRUE(sampler.SetFromParameter(script));
        EXPECT_TRUE(texture.SetFromParameter(script));
        // At the top only an object counts.
        EXPECT_EQ(render.SetFromParameter(value), value.isObject()) << value;
        EXPECT_EQ(sampler.SetFromParameter(value), value.isObject()) << value;
        EXPECT_EQ(texture.SetFromParameter(value), value.isObject()) << value;
        // One and the same value never suits all kinds.
        EXPECT_LT(render.GetStateNum(), 103u) << value;
        EXPECT_LT(texture.GetStateNum(), 19u) << value;
    }
}

TEST_F(StateBlock, OtherKindsOfBlocksReadTheirOwnWords) {
    Block<CSamplerState> sampler;
    EXPECT_TRUE(sampler.SetFromScript(R"({" MagFilter ": "anisotropic", "SRGBTEXTURE": 1.0, "ZENABLE": "TRUE"})"));
    EXPECT_EQ(sampler.GetStateNum(), 2u);
    EXPECT_EQ(sampler.GetState(CSamplerState::MAGFILTER), 3u);
    EXPECT_EQ(sampler.GetState(CSamplerState::SRGBTEXTURE), 0x3F800000u);

    Block<CTextureState> texture;
    EXPECT_TRUE(texture.SetFromScript(R"({"COLORARG1": "complement", "COLORARG2": "TEXTURE|COMPLEMENT",
        "TEXCOORDINDEX": "CAMERASPACEREFLECTIONVECTOR", "TRANSFORMFLAGS": "COUNT2|PROJECTED|DISABLE"})"));
    EXPECT_EQ(texture.GetStateNum(), 3u); // an argument is one word
    EXPECT_EQ(Number(texture.GetState(CTextureState::COLORARG1)), 16u);
    EXPECT_EQ(Number(texture.GetState(CTextureState::TEXCOORDINDEX)), 0x30000u);
    EXPECT_EQ(Number(texture.GetState(CTextureState::TRANSFORMFLAGS)), 0x102u);
}

TEST_F(StateBlock, ATextureBlockOwnsItsMatrix) {
    auto const TRANSFORM = CTextureState::TRANSFORMMATRIX;
    auto const element = [](CTextureState const& block, int i) {
        return static_cast<Matrix44 const*>(block.GetState(CTextureState::TRANSFORMMATRIX))->m[i];
    };
    Block<CTextureState> block;
    Matrix44 matrix;
    matrix.m[0] = 1;
    block.SetState(TRANSFORM, &matrix);
    matrix.m[0] = 2;
    EXPECT_NE(block.GetState(TRANSFORM), &matrix);
    EXPECT_EQ(element(block, 0), 1); // copied

    void* const address = block.GetState(TRANSFORM);
    block.SetTransformMatrix(matrix);
    EXPECT_EQ(block.GetState(TRANSFORM), address);
    EXPECT_EQ(element(block, 0), 2);
    block.SetState(TRANSFORM, address); // its own
    EXPECT_EQ(element(block, 0), 2);

    EXPECT_TRUE(block.SetFromScript(R"({"TRANSFORMMATRIX": [7, 0, 0, 0, 0, 7]})"));
    EXPECT_EQ(element(block, 0), 2); // nothing of a matrix that is none
    EXPECT_TRUE(block.SetFromScript(R"({"TRANSFORMMATRIX": [2, 0, 0, 0, 0, 3, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1]})"));
    EXPECT_EQ(element(block, 5), 3);

    block.SetState(CTextureState::COLOROP, reinterpret_cast<void*>(4));
    CTextureState copy(block);
    Block<CTextureState> assigned;
    assigned.SetTransformMatrix(Matrix44::IDENTITY);
    assigned = block;
    block.SetState(TRANSFORM, nullptr);
    for (CTextureState const* other : std::initializer_list<CTextureState const*>{&copy, &assigned}) {
        EXPECT_EQ(other->GetStateNum(), 2u);
        EXPECT_EQ(element(*other, 5), 3);
    }
    assigned = block; // a null matrix is copied as that
    EXPECT_EQ(assigned.GetState(TRANSFORM), nullptr);
}

// What loading a file does, for each kind of block.
template <class TBlock, class TManager>
void ExpectLoading(CTestLog& log, string const& kind, string const& script) {
    struct {
        char const* what;
        string text;
        bool isLoaded;
        unsigned states;
        string log;
    } const rows[] = {
        {"a script", script, true, 1, ""},
        {"with comments", "// states\n" + script + "/* end */", true, 1, ""},
        {"blanks alone", " \n", false, 0, "Error"},
        {"something behind the script", script + "x", false, 0, "Error"},
        {"not UTF-8, not GBK", "{\"\xff\xff\": 1}", false, 0, "Error"},
        {"deep", "{\"a\": " + string(100000, '[') + string(100000, ']') + "}", false, 0, "Error"},
        {"a good one after all that", script, true, 1, ""},
        {"no file", "", false, 0, "No Find"},
    };
    TManager manager;
    CSharePtr<CFileSystem> files(new CMemFileSystem, qklib::PRM_DELETE);
    manager.AddFileSystem("A", files);
    string const site = "8 C" + kind + "::_LoadImpl : The " + kind + " File ";
    for (auto const& row : rows) {
        // The file is there when the resource is made, and gone when it is loaded, if it is to be missing.
        string const text = row.text.empty() ? "gone" : row.text;
        WriteFile(*files, "f", text);
        _ResourceSharePtr<TBlock> block = manager.CreateResource("f", "b", false, NoLoader());
        if (row.text.empty()) files->DeleteFileA(string("f"));
        EXPECT_EQ(block->Load(), row.isLoaded) << kind << row.what;
        EXPECT_EQ(block->GetStateNum(), row.states) << kind << row.what;
        EXPECT_EQ(log.TakeText(), row.log.empty() ? "" : site + row.log + " : f\n") << kind << row.what;
        block->Unload();
        EXPECT_EQ(block->GetStateNum(), 0u) << kind << row.what;
    }

    // Cut off anywhere, a script is refused and sets nothing.
    for (std::size_t length = 1; length < script.size(); ++length) {
        WriteFile(*files, "f", script.substr(0, length));
        _ResourceSharePtr<TBlock> block = manager.CreateResource("f", "b", false, NoLoader());
        EXPECT_FALSE(block->Load()) << script.substr(0, length);
        EXPECT_EQ(block->GetStateNum(), 0u);
        EXPECT_EQ(log.TakeText(), site + "Error : f\n");
    }
}

TEST_F(StateBlock, LoadingTellsWhatIsWrongWithAFile) {
    ExpectLoading<CRenderState, CRenderStateManager>(log, "RenderState", R"({"ZENABLE": "TRUE"})");
    log.TakeText();
    ExpectLoading<CSamplerState, CSamplerStateManager>(log, "SamplerState", R"({"MINFILTER": "POINT"})");
    log.TakeText();
    ExpectLoading<CTextureState, CTextureStateManager>(log, "TextureState", R"({"COLOROP": "ADD"})");
}
} // namespace
} // namespace qk3d
