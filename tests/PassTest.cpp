// PassTest.cpp: what a pass, a block or a program sends to the device, and that nothing more is sent.
#include "AllocationCount.h"
#include "QK3DGPUProgram.h"
#include "QK3DMain.h"
#include "QK3DMatrix.h"
#include "QK3DPass.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include "RecordingRenderSystem.h"
#include <algorithm>
#include <array>
#include <cstdio>
#include <gtest/gtest.h>
#include <memory>
#include <random>

namespace {
using namespace qk3d;

constexpr unsigned int kStages = 8;

// A device that has registers, and counts what is sent although it is there already.
class CStateDevice : public CRecordingRenderSystem {
public:
    using CRecordingRenderSystem::SetTexture;

    CStateDevice() {
        CountOnly();
        for (int i = 1; i <= CRenderState::LAST_STATE; ++i) render[i] = m_defaultRenderState->GetEntries().Get(i);
        for (unsigned int stage = 0; stage < kStages; ++stage) {
            for (int i = 1; i <= CTextureState::LAST_STATE; ++i)
                texture[stage][i] = m_defaultTextureStates[stage]->GetEntries().Get(i);
            for (int i = 1; i <= CSamplerState::LAST_STATE; ++i)
                sampler[stage][i] = m_defaultSamplerState->GetEntries().Get(i);
        }
    }

#define ROW(number, name, setter, ...) void Set##setter(unsigned long value) override { Write(render[number], value); }
#include "QK3DRenderStateTable.inl"
#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned int stage, void* value) override {                                                       \
        Write(texture.at(stage)[number], reinterpret_cast<std::uintptr_t>(value));                                     \
    }
#include "QK3DTextureStateTable.inl"
#define ROW(number, name, setter, ...)                                                                                 \
    void Set##setter(unsigned int stage, unsigned long value) override { Write(sampler.at(stage)[number], value); }
#include "QK3DSamplerStateTable.inl"

    void SetTexture(unsigned int stage, bool enable, CTexture const* bound) override {
        textures.at(stage) = enable ? bound : nullptr;
    }
    bool _SetVertexShaderImpl(void* shader) override { return Bind(0, shader); }
    bool _SetPixelShaderImpl(void* shader) override { return Bind(1, shader); }
    bool _SetCommShaderImpl(void* shader) override { return Bind(2, shader); }

    // As after a loss: nothing is as the records say.
    void Scramble() {
        auto const scramble = [](auto& values) { std::fill(values.begin() + 1, values.end(), 4711); };
        scramble(render);
        for (auto& stage : texture) scramble(stage);
        for (auto& stage : sampler) scramble(stage);
        programs.fill(this);
    }
    void SendAll() { _SendActiveState(); }

    template <class Value>
    void Write(Value& place, std::uintptr_t value) {
        if (place == static_cast<Value>(value)) ++needless;
        place = static_cast<Value>(value);
    }
    bool Bind(std::size_t kind, void* shader) {
        if (refusesPrograms) return false;
        if (programs[kind] == shader) ++needless;
        programs[kind] = shader;
        return true;
    }

    std::array<std::uint32_t, CRenderState::LAST_STATE + 1> render{};
    std::array<std::array<std::uintptr_t, CTextureState::LAST_STATE + 1>, kStages> texture{};
    std::array<std::array<std::uint32_t, CSamplerState::LAST_STATE + 1>, kStages> sampler{};
    std::array<CTexture const*, kStages> textures{};
    std::array<void*, 3> programs{};
    bool refusesPrograms = false;
    unsigned int needless = 0;
};

template <class Resource, class... Rest>
_ResourceSharePtr<Resource> Make(char const* name, Rest... rest) {
    CSharePtr<CResourceLoader> none;
    return _ResourceSharePtr<Resource>(new Resource(nullptr, "", name, true, none, rest...));
}

_ResourceSharePtr<CTexture> MakeTexture(char const* name) {
    return Make<CTexture>(name, static_cast<CRenderSystem*>(nullptr), CTexture::TU_DEFAULT, false);
}

_ResourceSharePtr<CGPUProgram> MakeProgram(char const* name, CGPUProgram::EType type, CRenderSystem& device,
                                           char const* code = "uniform vec4 colour;\nuniform float time;\n") {
    CSharePtr<CResourceLoader> none;
    _ResourceSharePtr<CGPUProgram> program(new CGPUProgram(nullptr, "", name, false, none));
    program->SetCode(code);
    program->SetType(type);
    program->SetRenderSystem(&device);
    program->Load();
    return program;
}

// The same rules without a memory: every step writes every state.
struct SlowDevice {
    explicit SlowDevice(CStateDevice const& base)
        : render(base.render), texture(base.texture), sampler(base.sampler), baseRender(render), baseTexture(texture),
          baseSampler(sampler) {}

    template <class Entries, class Values>
    static void Show(Entries const* entries, Values const& base, Values& values) {
        for (int i = 1; i <= Entries::LAST; ++i) {
            auto const place = static_cast<std::size_t>(i);
            values[place] = entries && entries->IsSet(i) ? entries->Get(i) : base[place];
        }
    }
    void SetRender(CRenderState const* block) { Show(block ? &block->GetEntries() : nullptr, baseRender, render); }
    void SetTextureState(unsigned int stage, CTextureState const* block) {
        Show(block ? &block->GetEntries() : nullptr, baseTexture[stage], texture[stage]);
    }
    void SetSampler(unsigned int stage, CSamplerState const* block) {
        Show(block ? &block->GetEntries() : nullptr, baseSampler[stage], sampler[stage]);
    }
    void SetPass(CPass const* pass) {
        unsigned int const bound = pass ? std::min(pass->GetMaxTextureLevel(), kStages) : 0;
        for (unsigned int i = 0; i < std::max(bound, textureLevel); ++i)
            textures[i] = i < bound ? static_cast<CTexture const*>(pass->GetTexture(i)) : nullptr;
        textureLevel = bound;
        unsigned int const sampled = pass ? std::min(pass->GetMaxSamplerStateLevel(), kStages) : 0;
        for (unsigned int i = 0; i < std::max(sampled, samplerLevel); ++i)
            SetSampler(i, i < sampled ? static_cast<CSamplerState const*>(pass->GetSamplerState(i)) : nullptr);
        samplerLevel = sampled;
        SetRender(pass ? static_cast<CRenderState const*>(pass->GetRenderState()) : nullptr);
        _ResourceSharePtr<CGPUProgram> const programsOfPass[3] = {
            pass ? pass->GetVertexShader() : nullptr, pass ? pass->GetPixelShader() : nullptr,
            pass ? pass->GetCommShader() : nullptr};
        for (std::size_t i = 0; i < 3; ++i)
            programs[i] = programsOfPass[i] ? programsOfPass[i]->GetGPUShader() : nullptr;
        if (programsOfPass[0] && programsOfPass[1]) return;
        unsigned int const staged = pass ? std::min(pass->GetMaxTextureStateLevel(), kStages) : 0;
        for (unsigned int i = 0; i < std::max(staged, textureStateLevel); ++i)
            SetTextureState(i, i < staged ? static_cast<CTextureState const*>(pass->GetTextureState(i)) : nullptr);
        textureStateLevel = staged;
    }

    decltype(CStateDevice::render) render;
    decltype(CStateDevice::texture) texture;
    decltype(CStateDevice::sampler) sampler;
    decltype(CStateDevice::render) const baseRender;
    decltype(CStateDevice::texture) const baseTexture;
    decltype(CStateDevice::sampler) const baseSampler;
    decltype(CStateDevice::textures) textures{};
    decltype(CStateDevice::programs) programs{};
    unsigned int textureLevel = 0, textureStateLevel = 0, samplerLevel = 0;
};

TEST(Pass, LeavesTheDeviceAsIfEveryStateWereSent) {
    unsigned int const seed = std::random_device{}();
    std::printf("seed %u\n", seed);
    std::mt19937 random(seed);
    CStateDevice device;
    SlowDevice slow(device);

    // Few values, near those of the baseline, so that equal ones meet often.
    std::vector<_ResourceSharePtr<CRenderState>> renders(1);
    std::vector<_ResourceSharePtr<CTextureState>> stages(1);
    std::vector<_ResourceSharePtr<CSamplerState>> samplers(1);
    for (int i = 0; i < 6; ++i) {
        renders.push_back(Make<CRenderState>("r"));
        for (unsigned int n = random() % 40; n > 0; --n)
            renders.back()->SetState(static_cast<CRenderState::EState>(1 + random() % 103), random() % 3);
        stages.push_back(Make<CTextureState>("t"));
        for (unsigned int n = random() % 12; n > 0; --n) {
            auto const state = static_cast<CTextureState::EState>(1 + random() % 19);
            Matrix44 matrix = Matrix44::IDENTITY;
            matrix.m[3] = static_cast<float>(i);
            void* const number = reinterpret_cast<void*>(static_cast<std::uintptr_t>(1 + random() % 3));
            stages.back()->SetState(state, state == CTextureState::TRANSFORMMATRIX ? &matrix : number);
        }
        samplers.push_back(Make<CSamplerState>("s"));
        for (unsigned int n = random() % 9; n > 0; --n)
            samplers.back()->SetState(static_cast<CSamplerState::EState>(1 + random() % 13), random() % 3);
    }
    std::vector<_ResourceSharePtr<CTexture>> textures{nullptr, MakeTexture("a"), MakeTexture("b")};
    std::vector<_ResourceSharePtr<CGPUProgram>> vertex{nullptr}, pixel{nullptr}, comm{nullptr};
    for (char const* const name : {"p", "q"}) {
        vertex.push_back(MakeProgram(name, CGPUProgram::GPT_VERTEX, device));
        pixel.push_back(MakeProgram(name, CGPUProgram::GPT_PIXEL, device));
        comm.push_back(MakeProgram(name, CGPUProgram::GPT_COMM, device));
    }
    auto const any = [&](auto const& list) { return list[random() % list.size()]; };

    for (int step = 0; step < 5000; ++step) {
        unsigned int const stage = random() % kStages;
        switch (random() % 8) {
        case 0: {
            auto const block = any(renders);
            device.SetRenderState(block);
            slow.SetRender(block);
            break;
        }
        case 1: {
            auto const block = any(stages);
            device.SetTextureState(stage, block);
            slow.SetTextureState(stage, block);
            break;
        }
        case 2: {
            auto const block = any(samplers);
            device.SetSamplerState(stage, block);
            slow.SetSampler(stage, block);
            break;
        }
        case 3:
            device.SetPass(nullptr);
            slow.SetPass(nullptr);
            break;
        default: {
            CPass pass(nullptr, 0);
            pass.SetRenderState(any(renders));
            // More stages than there are, now and then.
            for (unsigned int i = random() % 11; i > 0; --i) pass.SetTexture(i - 1, any(textures));
            for (unsigned int i = random() % 11; i > 0; --i) pass.SetTextureState(i - 1, any(stages));
            for (unsigned int i = random() % 11; i > 0; --i) pass.SetSamplerState(i - 1, any(samplers));
            pass.SetVertexShader(any(vertex));
            pass.SetPixelShader(any(pixel));
            pass.SetCommShader(any(comm));
            device.SetPass(&pass);
            slow.SetPass(&pass);
        }
        }
        ASSERT_EQ(device.render, slow.render) << "step " << step;
        ASSERT_EQ(device.texture, slow.texture) << "step " << step;
        ASSERT_EQ(device.sampler, slow.sampler) << "step " << step;
        ASSERT_EQ(device.textures, slow.textures) << "step " << step;
        ASSERT_EQ(device.programs, slow.programs) << "step " << step;
        ASSERT_EQ(device.needless, 0u) << "sent although it was there, step " << step;
    }

    device.Scramble();
    device.SendAll();
    EXPECT_EQ(device.render, slow.render);
    EXPECT_EQ(device.texture, slow.texture);
    EXPECT_EQ(device.sampler, slow.sampler);
    EXPECT_EQ(device.programs, slow.programs);
}

TEST(Pass, AsksForNoMemoryOnceItHasBeenApplied) {
    CStateDevice device;
    CPass one(nullptr, 0), two(nullptr, 1);
    for (CPass* const pass : {&one, &two}) {
        auto render = Make<CRenderState>("r");
        for (int i = 1; i <= 30; ++i) render->SetState(static_cast<CRenderState::EState>(i), pass == &one ? 1 : 2);
        auto stage = Make<CTextureState>("t");
        stage->SetTransformMatrix(Matrix44::IDENTITY);
        auto sampler = Make<CSamplerState>("s");
        sampler->SetState(CSamplerState::ADDRESSU, pass == &one ? 2 : 3);
        pass->SetRenderState(render);
        for (unsigned int i = 0; i < kStages; ++i) {
            pass->SetTexture(i, MakeTexture("x"));
            pass->SetTextureState(i, stage);
            pass->SetSamplerState(i, sampler);
        }
        pass->SetVertexShader(MakeProgram("v", CGPUProgram::GPT_VERTEX, device));
        float const value = 1;
        pass->GetVertexShaderParamTable()->SetParamValue("time", &value, sizeof value);
    }
    device.CreateRenderWindow("window", 8, 8, PF_A8R8G8B8, false);
    auto const frame = [&](long long time) {
        device.SetPass(&one);
        device.SetPass(&two);
        EXPECT_TRUE(device.UpdateAllRenderTarget(time));
    };
    frame(1);
    frame(2);
    AllocationCount const count;
    frame(3);
    EXPECT_EQ(count.Get(), 0u);
}

struct PassJournal : ::testing::Test {
    CRecordingRenderSystem device;
    CPass pass{nullptr, 0};
};

TEST_F(PassJournal, GoesInOneOrder) {
    auto render = Make<CRenderState>("r");
    render->SetState(CRenderState::CULLMODE, 1);
    auto stage = Make<CTextureState>("t");
    stage->SetState(CTextureState::COLOROP, reinterpret_cast<void*>(2));
    auto sampler = Make<CSamplerState>("s");
    sampler->SetState(CSamplerState::ADDRESSU, 3);
    auto program = MakeProgram("v", CGPUProgram::GPT_VERTEX, device);
    auto comm = MakeProgram("c", CGPUProgram::GPT_COMM, device);
    pass.SetTexture(1, MakeTexture("brick"));
    pass.SetSamplerState(0, sampler);
    pass.SetRenderState(render);
    pass.SetVertexShader(program);
    pass.SetTextureState(0, stage);
    pass.SetCommShader(comm);
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
    device.SetPass(nullptr);
    EXPECT_EQ(device.TakeJournal(), "SetTexture 0 off\nSetTexture 1 off\nSetColorOP 0 4\nSetAddressU 0 1\nSetCullMode 3\n"
                                    "SetVertexShader null\nSetCommShader null\n");
    device.SetPass(nullptr);
    EXPECT_EQ(device.TakeJournal(), "");
}

TEST_F(PassJournal, UnbindsExactlyTheTexturesBetween) {
    for (unsigned int i = 0; i < 12; ++i) pass.SetTexture(i, MakeTexture("x")); // more than there are stages
    device.SetPass(&pass);
    EXPECT_EQ(device.CountOf("SetTexture"), kStages);
    CPass shorter(nullptr, 1);
    shorter.SetTexture(5, MakeTexture("y"));
    device.TakeJournal();
    device.SetPass(&shorter);
    EXPECT_TRUE(device.TakeJournal().ends_with("SetTexture 5 y\nSetTexture 6 off\nSetTexture 7 off\n"));
    device.DisableTexturesFrom(6);
    device.DisableTexture(8);
    EXPECT_EQ(device.TakeJournal(), "SetTexture 6 off\nSetTexture 7 off\n");
}

TEST_F(PassJournal, IgnoresStagesThatDoNotExist) {
    auto stage = Make<CTextureState>("t");
    stage->SetState(CTextureState::COLOROP, reinterpret_cast<void*>(2));
    auto sampler = Make<CSamplerState>("s");
    sampler->SetState(CSamplerState::ADDRESSU, 3);
    for (unsigned int const number : {8u, 0xFFFFFFFFu}) {
        device.SetTextureState(number, stage);
        device.SetSamplerState(number, sampler);
        device.ResetActiveTextureStateToDefault(number);
        device.ResetTextureStateToDefault(number, CTextureState::COLOROP);
        device.ResetSamplerStateToDefault(number, number, CSamplerState::ADDRESSU);
        device.SetTexture(number, true, "CTexture", "none");
    }
    device.ResetTextureStateToDefault(1, 0, CTextureState::COLOROP);
    device.ResetRenderStateToDefault(static_cast<CRenderState::EState>(104));
    EXPECT_EQ(device.TakeJournal(), "");
    device.ResetSamplerStateToDefault(6, 0xFFFFFFFF, CSamplerState::ADDRESSU);
    device.ResetTextureStateToDefault(0, 1, CTextureState::COLOROP);
    device.ResetRenderStateToDefault(CRenderState::CULLMODE);
    EXPECT_EQ(device.TakeJournal(),
              "SetAddressU 6 1\nSetAddressU 7 1\nSetColorOP 0 4\nSetColorOP 1 1\nSetCullMode 3\n");
}

TEST_F(PassJournal, RecordsABlockOfEqualContentsAndSendsNothing) {
    auto one = Make<CRenderState>("one"), two = Make<CRenderState>("two");
    one->SetState(CRenderState::CULLMODE, 1);
    two->SetState(CRenderState::CULLMODE, 1);
    device.SetRenderState(one);
    device.TakeJournal();
    device.SetRenderState(two);
    EXPECT_EQ(device.TakeJournal(), "");
    EXPECT_EQ(one.GetRef(), 1u);
    EXPECT_EQ(two.GetRef(), 2u);
}

TEST_F(PassJournal, EndsTheFrameInTheBaselineWithTexturesAndProgramsBound) {
    auto render = Make<CRenderState>("r");
    render->SetState(CRenderState::CULLMODE, 1);
    pass.SetRenderState(render);
    pass.SetTexture(0, MakeTexture("brick"));
    pass.SetVertexShader(MakeProgram("v", CGPUProgram::GPT_VERTEX, device));
    device.SetPass(&pass);
    device.TakeJournal();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "BeginFrame\nEndFrame\nPresentFrame\nSetCullMode 3\n");
    EXPECT_NE(device.GetActiveVertexShader(), nullptr);
}

TEST_F(PassJournal, KeepsTheProgramThatIsBoundWhenAnotherIsRefused) {
    auto first = MakeProgram("first", CGPUProgram::GPT_PIXEL, device);
    auto second = MakeProgram("second", CGPUProgram::GPT_PIXEL, device);
    float const value = 1;
    EXPECT_TRUE(device.SetPixelShader(first));
    pass.SetPixelShader(second);
    pass.GetPixelShaderParamTable()->SetParamValue("time", &value, sizeof value);
    device.Refuse("SetPixelShader");
    device.TakeJournal();
    device.SetPass(&pass);
    EXPECT_EQ(device.TakeJournal(), "SetPixelShader second\n") << "no parameters for a refused program";
    EXPECT_EQ(device.GetActivePixelShader(), first);
    EXPECT_FALSE(device.SetPixelShader(nullptr));
    EXPECT_EQ(device.GetActivePixelShader(), first);
    device.RefuseNothing();
}

TEST_F(PassJournal, BindsAProgramAgainThatWasCompiledAnew) {
    auto program = MakeProgram("v", CGPUProgram::GPT_VERTEX, device);
    device.SetVertexShader(program);
    device.TakeJournal();
    program->Unload();
    EXPECT_EQ(device.TakeJournal(), "SetVertexShader null\nReleaseVertexShader v\n") << "unbound before it goes";
    program->Load();
    device.TakeJournal();
    EXPECT_TRUE(device.SetVertexShader(program));
    EXPECT_EQ(device.TakeJournal(), "SetVertexShader v\n");
    device.SetVertexShaderParamTable(nullptr);
    CGPUProgramParamTable const empty;
    device.SetVertexShaderParamTable(&empty);
    EXPECT_EQ(device.TakeJournal(), "");
}

TEST_F(PassJournal, FindsTexturesByName) {
    ResourceSharePtr const brick = CQK3DMain::GetResourceSystem().CreateResourceManual("CTexture", "brick");
    ResourceSharePtr const block = CQK3DMain::GetResourceSystem().CreateResourceManual("CRenderState", "brick");
    device.SetTexture(2, true, "CTexture", "brick");
    device.SetTexture(2, true, "CTexture", "stone");
    device.SetTexture(2, true, "CRenderState", "brick"); // is none
    device.SetTexture(2, true, "Nothing", "brick");
    EXPECT_EQ(device.TakeJournal(), "SetTexture 2 brick\nSetTexture 2 null\nSetTexture 2 null\nSetTexture 2 null\n");
}

TEST_F(PassJournal, LetsGoOfEverythingAtRelease) {
    auto render = Make<CRenderState>("r");
    auto sampler = Make<CSamplerState>("s");
    auto program = MakeProgram("v", CGPUProgram::GPT_VERTEX, device);
    device.SetRenderState(render);
    device.SetSamplerState(3, sampler);
    device.SetVertexShader(program);
    EXPECT_EQ(sampler.GetRef(), 2u);
    device.Release();
    EXPECT_EQ(render.GetRef(), 1u);
    EXPECT_EQ(sampler.GetRef(), 1u);
    EXPECT_EQ(program.GetRef(), 1u);
    device.SetSamplerState(3, sampler); // usable again
    EXPECT_EQ(sampler.GetRef(), 2u);
    device.LoseDevice();
    device.UpdateAllRenderTarget(1); // this back-end forgets what is active when it comes back
    EXPECT_EQ(sampler.GetRef(), 1u);
}
} // namespace
