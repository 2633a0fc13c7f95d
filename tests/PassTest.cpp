// PassTest.cpp: what a pass, a block or a program sends to the device, that nothing more is sent, and the life of programs.
#include "AllocationCount.h"
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestStore.h"
#include <map>
#include <random>

namespace qk3d {
namespace {
constexpr unsigned int kStages = 8;

// All that a device holds, by kind, stage and number.
using Registers = std::map<std::tuple<char, unsigned int, int>, std::uintptr_t>;

std::uintptr_t Number(void const* pointer) { return reinterpret_cast<std::uintptr_t>(pointer); }

// A device that has registers, and counts what is sent although it is there already.
class CStateDevice : public CRecordingRenderSystem {
public:
    CStateDevice() {
        CountOnly();
        for (unsigned int stage = 0; stage < kStages; ++stage) now[{'T', stage, 0}] = 0;
        for (unsigned int type = 0; type < 3; ++type) now[{'P', type, 0}] = 0;
        _SendActiveState();
        needless = 0;
    }

#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned long value) override { Write('r', 0, number, value); }
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned int stage, void* value) override { Write('t', stage, number, Number(value)); }
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned int stage, unsigned long value) override { Write('s', stage, number, value); }
#include "QK3DSamplerStateTable.inl"

    using CRecordingRenderSystem::SetTexture;
    void SetTexture(unsigned int stage, bool enable, CTexture const* texture) override {
        now[{'T', stage, 0}] = enable ? Number(texture) : 0;
    }
    bool _SetVertexShaderImpl(void* shader) override { return Write('P', 0, 0, Number(shader)); }
    bool _SetPixelShaderImpl(void* shader) override { return Write('P', 1, 0, Number(shader)); }
    bool _SetCommShaderImpl(void* shader) override { return Write('P', 2, 0, Number(shader)); }
    using CRecordingRenderSystem::_SendActiveState;

    Registers now;
    unsigned int needless = 0;

private:
    bool Write(char kind, unsigned int stage, int number, std::uintptr_t value) {
        std::uintptr_t& place = now[{kind, stage, number}];
        if (place == value) ++needless;
        place = value;
        return true;
    }
};

// The same rules without a memory: every step writes every state.
class CSlowDevice {
public:
    explicit CSlowDevice(Registers const& registers) : now(registers), m_base(registers) {}

    void SetRenderState(CRenderState const* block) { Show('r', 0, block); }
    void SetTextureState(unsigned int stage, CTextureState const* block) { Show('t', stage, block); }
    void SetSamplerState(unsigned int stage, CSamplerState const* block) { Show('s', stage, block); }
    void SetPass(CPass const* pass) {
        static CPass const none(nullptr, 0);
        CPass const& p = pass ? *pass : none; // which gives null for all stages that it does not have
        ForStages(0, p.GetMaxTextureLevel(), [&](unsigned int i) {
            now[{'T', i, 0}] = Number(static_cast<CTexture const*>(p.GetTexture(i)));
        });
        ForStages(1, p.GetMaxSamplerStateLevel(), [&](unsigned int i) { SetSamplerState(i, p.GetSamplerState(i)); });
        SetRenderState(p.GetRenderState());
        CGPUProgram const* const programs[] = {p.PeekVertexShader(), p.PeekPixelShader(), p.PeekCommShader()};
        for (unsigned int i = 0; i < 3; ++i) now[{'P', i, 0}] = programs[i] ? Number(programs[i]->GetGPUShader()) : 0;
        if (programs[0] && programs[1]) return; // nothing is left of the fixed function
        ForStages(2, p.GetMaxTextureStateLevel(), [&](unsigned int i) { SetTextureState(i, p.GetTextureState(i)); });
    }

    Registers now;

private:
    template <class Block>
    void Show(char kind, unsigned int stage, Block const* block) {
        if (stage >= kStages) return;
        for (int i = 1; i <= Block::LAST_STATE; ++i) {
            bool const isSet = block && block->GetEntries().IsSet(i);
            now[{kind, stage, i}] = isSet ? block->GetEntries().Get(i) : m_base.at({kind, stage, i});
        }
    }
    // Also those that the pass before had.
    template <class Visit>
    void ForStages(int kind, unsigned int level, Visit visit) {
        level = std::min(level, kStages);
        for (unsigned int i = 0; i < std::max(level, m_levels[kind]); ++i) visit(i);
        m_levels[kind] = level;
    }

    Registers const m_base;
    unsigned int m_levels[3] = {};
};

_ResourceSharePtr<CTexture> MakeTexture(char const* name) {
    return _ResourceSharePtr<CTexture>(
        new CTexture(nullptr, "", name, true, NoLoader(), nullptr, CTexture::TU_DEFAULT, false));
}

template <class Block>
_ResourceSharePtr<Block> MakeBlock(char const* script = "{}") {
    _ResourceSharePtr<Block> block(new Block(nullptr, "", "block", true, NoLoader()));
    CQK3DMain::GetQK3DMain(); // has the words
    EXPECT_TRUE(block->SetFromScript(script));
    return block;
}

_ResourceSharePtr<CGPUProgram> MakeProgram(char const* name, CGPUProgram::EType type, CRenderSystem& device) {
    _ResourceSharePtr<CGPUProgram> program(new CGPUProgram(nullptr, "", name, false, NoLoader()));
    program->SetCode("uniform vec4 colour;\nuniform float time;\n");
    program->SetType(type);
    program->SetRenderSystem(&device);
    program->Load();
    return program;
}

TEST(Pass, LeavesTheDeviceAsIfEveryStateWereSentAndAsksForNoMemory) {
    unsigned int const seed = std::random_device{}();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    CStateDevice device;
    CSlowDevice slow(device.now);

    // Few values, near those of the baseline, so that equal ones meet often.
    std::vector<_ResourceSharePtr<CRenderState>> renders(1);
    std::vector<_ResourceSharePtr<CTextureState>> stages(1);
    std::vector<_ResourceSharePtr<CSamplerState>> samplers(1);
    auto const add = [&]<class Block>(std::vector<_ResourceSharePtr<Block>>& blocks, unsigned int most, auto value) {
        blocks.push_back(MakeBlock<Block>());
        for (unsigned int n = random() % most; n > 0; --n) {
            auto const state = static_cast<typename Block::EState>(1 + random() % Block::LAST_STATE);
            blocks.back()->SetState(state, value(state));
            blocks.back()->RemoveState(static_cast<int>(random() % 106) - 1); // two numbers too low, one too high
        }
    };
    auto const small = [&](auto) { return random() % 3; };
    for (int i = 0; i < 6; ++i) {
        Matrix44 matrix = Matrix44::IDENTITY;
        matrix.m[3] = static_cast<float>(i);
        add(renders, 40, small);
        add(samplers, 9, small);
        add(stages, 12, [&](CTextureState::EState state) {
            return state == CTextureState::TRANSFORMMATRIX ? &matrix : reinterpret_cast<void*>(1 + random() % 3);
        });
    }
    std::vector<_ResourceSharePtr<CTexture>> textures{nullptr, MakeTexture("a"), MakeTexture("b")};
    std::vector<_ResourceSharePtr<CGPUProgram>> programs[3];
    for (unsigned int i = 0; i < 3; ++i) {
        auto const type = static_cast<CGPUProgram::EType>(i + 1);
        programs[i] = {nullptr, MakeProgram("a", type, device), MakeProgram("b", type, device)};
    }
    auto const any = [&](auto const& list) { return list[random() % list.size()]; };
    auto const both = [&](auto const& act) { act(device), act(slow); };

    for (int step = 0; step < 1000; ++step) {
        unsigned int const stage = random() % (kStages + 2); // two too many
        switch (random() % 8) {
        case 0: both([block = any(renders)](auto& d) { d.SetRenderState(block); }); break;
        case 1: both([&, block = any(stages)](auto& d) { d.SetTextureState(stage, block); }); break;
        case 2: both([&, block = any(samplers)](auto& d) { d.SetSamplerState(stage, block); }); break;
        case 3:
            both([](auto& d) { d.SetPass(nullptr); });
            device.ResetTextureStateToDefault(kStages, CTextureState::COLOROP);
            device.ResetSamplerStateToDefault(kStages, 0xFFFFFFFF, CSamplerState::ADDRESSU);
            break;
        default: {
            CPass pass(nullptr, 0);
            pass.SetRenderState(any(renders));
            // More stages than there are, now and then.
            for (unsigned int i = random() % 11; i > 0; --i) pass.SetTexture(i - 1, any(textures));
            for (unsigned int i = random() % 11; i > 0; --i) pass.SetTextureState(i - 1, any(stages));
            for (unsigned int i = random() % 11; i > 0; --i) pass.SetSamplerState(i - 1, any(samplers));
            pass.SetVertexShader(any(programs[0]));
            pass.SetPixelShader(any(programs[1]));
            pass.SetCommShader(any(programs[2]));
            for (CPass* const each : {&pass, static_cast<CPass*>(nullptr)}) both([&](auto& d) { d.SetPass(each); });
            slow.SetPass(&pass);
            AllocationCount const count;
            device.SetPass(&pass);
            ASSERT_EQ(count.Get(), 0u) << "a pass that was applied before, step " << step;
        }
        }
        ASSERT_TRUE(device.now == slow.now) << "step " << step;
        ASSERT_EQ(device.needless, 0u) << "sent although it was there, step " << step;
    }

    for (auto& [place, value] : device.now) // as after a loss: nothing is as the records say
        if (std::get<0>(place) != 'T') value = 4711;
    device._SendActiveState();
    EXPECT_TRUE(device.now == slow.now);
}

struct PassJournal : ::testing::Test {
    CRecordingRenderSystem device;
    CPass pass{nullptr, 0};
};

TEST_F(PassJournal, GoesInOneOrder) {
    pass.SetTexture(1, MakeTexture("brick"));
    pass.SetSamplerState(0, MakeBlock<CSamplerState>(R"({"ADDRESSU": "CLAMP"})"));
    pass.SetRenderState(MakeBlock<CRenderState>(R"({"CULLMODE": "NONE"})"));
    pass.SetVertexShader(MakeProgram("v", CGPUProgram::GPT_VERTEX, device));
    pass.SetTextureState(0, MakeBlock<CTextureState>(R"({"COLOROP": "SELECTARG1"})"));
    pass.SetCommShader(MakeProgram("c", CGPUProgram::GPT_COMM, device));
    float const value = 1.5f;
    pass.GetVertexShaderParamTable()->SetParamValue("time", &value, sizeof value);
    pass.GetVertexShaderParamTable()->FirstSetDefault(true);
    device.TakeJournal();

    device.SetPass(&pass);
    EXPECT_EQ(device.TakeJournal(), "SetTexture 0 null\nSetTexture 1 brick\nSetAddressU 0 3\nSetCullMode 1\n"
                                    "SetVertexShader v\nApplyDefaultParams v\nSetVertexShaderParam v time 1.5\n"
                                    "SetColorOP 0 2\nSetCommShader c\n");
    device.SetPass(&pass);
    EXPECT_EQ(device.TakeJournal(), "SetTexture 0 null\nSetTexture 1 brick\n"
                                    "ApplyDefaultParams v\nSetVertexShaderParam v time 1.5\n")
        << "textures and parameters go every time";
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(),
              "BeginFrame\nEndFrame\nPresentFrame\nSetCullMode 3\nSetColorOP 0 4\nSetAddressU 0 1\n")
        << "the frame ends in the baseline, with textures and programs bound";
    device.SetPass(nullptr);
    EXPECT_EQ(device.TakeJournal(), "SetTexture 0 off\nSetTexture 1 off\nSetVertexShader null\nSetCommShader null\n");
}

TEST_F(PassJournal, KeepsTheProgramThatIsBoundWhenAnotherIsRefused) {
    auto first = MakeProgram("first", CGPUProgram::GPT_PIXEL, device);
    device.SetPixelShader(first);
    pass.SetPixelShader(MakeProgram("second", CGPUProgram::GPT_PIXEL, device));
    pass.GetPixelShaderParamTable()->SetParamValue("time", "1234", 4);
    device.Refuse("SetPixelShader");
    device.TakeJournal();
    device.SetPass(&pass);
    EXPECT_EQ(device.TakeJournal(), "SetPixelShader second\n") << "no parameters for a refused program";
    EXPECT_EQ(device.GetActivePixelShader(), first);
}

TEST_F(PassJournal, BindsAProgramAgainThatWasCompiledAnew) {
    auto program = MakeProgram("v", CGPUProgram::GPT_VERTEX, device);
    device.SetVertexShader(program);
    device.TakeJournal();
    program->Unload();
    EXPECT_EQ(device.TakeJournal(), "SetVertexShader null\nReleaseVertexShader v\n") << "unbound before it goes";
    program->Load();
    EXPECT_TRUE(device.SetVertexShader(program));
    EXPECT_TRUE(device.TakeJournal().ends_with("SetVertexShader v\n"));
    device.Release();
    EXPECT_EQ(program.GetRef(), 1u) << "nothing holds it";
}

struct Program : testing::Test {
    CTestLog log;
    CRecordingRenderSystem device{"one"}, other{"two"};
    CTestStore files{new CMemFileSystem};
    CResourceManager& manager = *CQK3DMain::GetResourceSystem().GetResourceManager("CGPUProgram");
};

TEST_F(Program, GoesFromFileToDevicesAndBack) {
    WriteFile(*files, "a.glsl", "#error\n");
    _ResourceSharePtr<CGPUProgram> program = manager.CreateResource("a.glsl", "p", false, NoLoader());
    program->SetType(CGPUProgram::GPT_PIXEL);
    EXPECT_FALSE(program->Load()); // no device yet
    program->SetRenderSystem(&device);
    EXPECT_FALSE(program->Load()); // not compiled
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED);
    program->SetCode("uniform float x;\nuniform float y;\n");
    EXPECT_TRUE(program->Load());
    EXPECT_EQ(program->GetParamNum(), 2u);
    program->SetType(CGPUProgram::GPT_VERTEX);
    EXPECT_TRUE(program->Unload());
    EXPECT_EQ(device.CountOf("ReleasePixelShader"), 1u) << "released as what it was compiled as";
    EXPECT_TRUE(program->Load()); // from the code that it kept
    program->SetRenderSystem(&other);
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 1u);
    program->SetRenderSystem(nullptr);
    EXPECT_EQ(other.CountOf("ReleaseVertexShader"), 1u);
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_TRUE(program->UnPrepare());
    files->DeleteFileA(string("a.glsl"));
    EXPECT_FALSE(program->Load());
}

TEST_F(Program, ACompiledOneStaysForTheNextWhoAsksUntilItsDeviceGoes) {
    for (string const name : {"a", "b", "c", "manual"}) {
        _ResourceSharePtr<CGPUProgram> program = manager.CreateResource("", name, name == "manual", NoLoader());
        program->SetType(CGPUProgram::GPT_VERTEX);
        program->SetCode("uniform float x;");
        program->SetRenderSystem(&device);
        EXPECT_TRUE(program->Load());
    }
    _ResourceSharePtr<CGPUProgram> held = manager.GetResource("c");
    CQK3DMain::GetResourceSystem().NotifyRenderSystemDestroy(&device);
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 3u) << "also one behind one that goes with that";
    EXPECT_FALSE(manager.IsResourceExist("a") || manager.IsResourceExist("manual"));
    EXPECT_EQ(held->GetRenderSystem(), nullptr);
}

TEST_F(Program, AValueKeepsItsBufferUntilItsSizeChanges) {
    CGPUProgramParamTable table(MakeProgram("p", CGPUProgram::GPT_VERTEX, device));
    void* data = nullptr;
    void* const bound = table.BindParam("colour", 4);
    EXPECT_EQ(table.BindParam("colour", 1000), bound);
    table.SetParamValue("colour", "abcd", 4);
    table.SetParamValue("colour", nullptr, 4); // no value at all
    EXPECT_EQ(std::memcmp(bound, "abcd", 4), 0);
    table.SetParamValue("colour", static_cast<char*>(bound) + 2, 2); // out of the buffer that it replaces
    EXPECT_EQ(table.GetParamValue("colour", &data), 2u);
    EXPECT_EQ(std::memcmp(data, "cd", 2), 0);
}
} // namespace
} // namespace qk3d
