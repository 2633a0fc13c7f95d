// TraceTest.cpp: the recording back-end: its lines, its switches, and that it answers as a device does.
#include "PluginEntry.h"
#include "QK3DGPUProgram.h"
#include "QK3DHardwareBufferManager.h"
#include "QK3DMain.h"
#include "QK3DMatrix.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DTextureManager.h"
#include "RecordingRenderSystem.h"
#include "TraceBuffers.h"
#include <bit>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <json/reader.h>
#include <limits>
#include <sstream>

using namespace qk3d;

namespace {
std::vector<Json::Value> ParseLines(std::string const& text) {
    std::vector<Json::Value> values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        Json::Value value;
        Json::CharReaderBuilder builder;
        Json::CharReaderBuilder::strictMode(&builder.settings_);
        std::unique_ptr<Json::CharReader> const reader(builder.newCharReader());
        EXPECT_TRUE(reader->parse(line.data(), line.data() + line.size(), &value, nullptr)) << line;
        values.push_back(value);
    }
    return values;
}

unsigned long Bits(float value) { return std::bit_cast<unsigned int>(value); }
void* Pointer(std::uintptr_t value) { return reinterpret_cast<void*>(value); }

_ResourceSharePtr<CTexture> MakeTexture(CRenderSystem& device, string const& name, unsigned int side) {
    auto* const manager = static_cast<CTextureManager*>(CQK3DMain::GetResourceSystem().GetResourceManager("CTexture"));
    qklib::CSharePtr<CResourceLoader> noLoader;
    return manager->CreateTexture("", name, side, side, PF_A8R8G8B8, &device, CTexture::TU_DEFAULT, false, false,
                                  noLoader);
}
} // namespace

TEST(Trace, TellsEachKindOfStateInItsOwnForm) {
    CRecordingRenderSystem device;
    Matrix44 matrix = Matrix44::IDENTITY;
    matrix.m[12] = 0.5f;
    struct {
        char const* what;
        std::function<void()> call;
        char const* brief;
        char const* json;
    } const rows[] = {
        {"a word", [&] { device.SetCullMode(3); }, "SetCullMode 3\n", R"("COUNTERCLOCKWISE")"},
        {"a number that is no word", [&] { device.SetCullMode(77); }, "SetCullMode 77\n", "77"},
        {"a boolean", [&] { device.SetZWriteEnable(0); }, "SetZWriteEnable 0\n", "false"},
        {"a boolean with an odd value", [&] { device.SetZWriteEnable(2); }, "SetZWriteEnable 2\n", "2"},
        {"a float", [&] { device.SetFogEnd(Bits(0.1f)); }, "SetFogEnd 0.1\n", "0.1"},
        {"a float JSON has not", [&] { device.SetFogEnd(Bits(-INFINITY)); }, "SetFogEnd -inf\n", R"("-inf")"},
        {"a colour", [&] { device.SetFogColor(0x80FF0001); }, "SetFogColor #80FF0001\n", R"("#80FF0001")"},
        {"flags", [&] { device.SetColorWriteEnable(9); }, "SetColorWriteEnable 9\n", R"("RED|ALPHA")"},
        {"no flag", [&] { device.SetColorWriteEnable(0); }, "SetColorWriteEnable 0\n", "0"},
        {"a flag without a word", [&] { device.SetColorWriteEnable(17); }, "SetColorWriteEnable 17\n", "17"},
        {"a stage's word", [&] { device.SetColorOP(2, Pointer(4)); }, "SetColorOP 2 4\n", R"("MODULATE")"},
        {"a stage's matrix", [&] { device.SetTransformMatrix(1, &matrix); },
         "SetTransformMatrix 1 1 0 0 0 0 1 0 0 0 0 1 0 0.5 0 0 1\n", "[1,0,0,0,0,1,0,0,0,0,1,0,0.5,0,0,1]"},
        {"no matrix", [&] { device.SetTransformMatrix(1, nullptr); }, "SetTransformMatrix 1 null\n", "null"},
        {"a sampler's word", [&] { device.SetAddressU(7, 5); }, "SetAddressU 7 5\n", R"("MIRRORONCE")"},
        // unsigned long may be wider than a state is; what stands above 32 bits is no part of it
        {"a state of 32 bits", [&] { device.SetStencilMask(~0UL); }, "SetStencilMask 4294967295\n", "4294967295"},
    };
    for (auto const& row : rows) {
        row.call();
        EXPECT_EQ(device.TakeJournal(), row.brief) << row.what;
        row.call();
        string const line = device.TakeJsonJournal();
        EXPECT_NE(line.find("\":" + string(row.json) + "}"), string::npos) << row.what << ": " << line;
        ParseLines(line);
    }
}

TEST(Trace, LinesCarryTheFrameTheyBelongTo) {
    CRecordingRenderSystem device;
    device.SetLighting(1);
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_TRUE(device.UpdateAllRenderTarget(2));
    std::vector<std::pair<int, string>> seen;
    for (auto const& line : ParseLines(device.TakeJsonJournal()))
        seen.emplace_back(line["frame"].asInt(), line["op"].asString());
    std::vector<std::pair<int, string>> const expected = {
        {0, "SetLighting"}, {1, "BeginFrame"}, {1, "EndFrame"},     {1, "PresentFrame"},
        {2, "BeginFrame"},  {2, "EndFrame"},   {2, "PresentFrame"},
    };
    EXPECT_EQ(seen, expected);
}

TEST(Trace, TextIsValidJsonWhateverANameHolds) {
    struct {
        char const* what;
        string narrow;
        char const* json;
    } const rows[] = {
        {"plain", "brick", R"("brick")"},
        {"what JSON escapes", "a\"b\\c\n\x01", R"("a\"b\\c\n\u0001")"},
        {"a character of GBK whose second byte is a backslash", "\x95\x5C", R"("\u661e")"},
        {"what is no text", "\xFF\xFF", R"("\ufffd")"},
    };
    for (auto const& row : rows) EXPECT_EQ(QuoteJson(row.narrow), row.json) << row.what;
}

TEST(Trace, BuffersAreToldByHashOrWhole) {
    CRecordingRenderSystem device;
    auto buffer =
        device.GetHardwareBufferManager()->CreateVertexBuffer(4, 2, CHardwareBuffer::HBU_STATIC, false, false);
    ASSERT_TRUE(buffer->Create());
    EXPECT_EQ(device.TakeJournal(), "MakeVertexBuffer 4 2 1\nCreateBuffer vertex1 8\n");

    buffer->WriteData(4, 4, "qk3d", false);
    // The hash is that of the four bytes: FNV-1a, 64 bits.
    EXPECT_EQ(device.TakeJournal(), "LockBuffer vertex1 4 4 NORMAL\nUnlockBuffer vertex1 4:9644af07f65474c2\n");

    char read[4];
    buffer->ReadData(4, 4, read);
    EXPECT_EQ(std::memcmp(read, "qk3d", 4), 0);
    EXPECT_EQ(device.TakeJournal(), "LockBuffer vertex1 4 4 READONLY\nUnlockBuffer vertex1\n");

    device.GetJournal().KeepBlobs(true);
    buffer->WriteData(0, 2, "\x01\xFE", false);
    auto const lines = ParseLines(device.TakeJsonJournal());
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[1]["data"]["size"].asInt(), 2);
    EXPECT_EQ(lines[1]["data"]["data"].asString(), "01fe");

    EXPECT_EQ(buffer->Lock(6, 4, CHardwareBuffer::LM_NORMAL), nullptr) << "a lock that leaves the buffer";
}

TEST(Trace, OmittedCallsAreCountedAndNotWritten) {
    CRecordingRenderSystem device;
    device.Omit("SetWorldMatrix");
    device.SetWorldMatrix(Matrix44::IDENTITY);
    device.SetViewMatrix(Matrix44::IDENTITY);
    EXPECT_EQ(device.TakeJournal(), "SetViewMatrix identity\n");
    EXPECT_EQ(device.CountOf("SetWorldMatrix"), 1u);

    device.CountOnly();
    device.SetViewMatrix(Matrix44::IDENTITY);
    device.SetAddressU(0, 1);
    EXPECT_EQ(device.TakeJournal(), "");
    EXPECT_EQ(device.CountOf("SetViewMatrix"), 2u);
    EXPECT_EQ(device.CountOfStates(), 1u);
    EXPECT_THROW(device.Omit("SetWorldMatrices"), std::invalid_argument) << "no operation of the device";
}

TEST(Trace, RefusesWhatItIsToldToAndNothingElse) {
    CRecordingRenderSystem device;
    device.Refuse("CreateRenderWindow");
    EXPECT_EQ(device.CreateRenderWindow("w", 4, 4, PF_A8R8G8B8, false), nullptr);
    device.Refuse("GetHardwareBufferManager");
    EXPECT_EQ(device.GetHardwareBufferManager(), nullptr);
    device.RefuseNothing();
    CRenderWindow* const window = device.CreateRenderWindow("w", 4, 4, PF_A8R8G8B8, false);
    ASSERT_NE(window, nullptr);

    device.TakeJournal();
    device.Refuse("SetRenderTarget");
    EXPECT_FALSE(device.SetActiveRenderTarget(0, window));
    EXPECT_EQ(device.TakeJournal(), "SetRenderTarget 0 w\n") << "a refused call was made all the same";
    EXPECT_EQ(device.CountOf("SetRenderTarget"), 1u);
}

TEST(Trace, ALostDeviceDrawsNothingUntilItIsRestored) {
    CRecordingRenderSystem device;
    _ResourceSharePtr<CRenderState> const state(
        CQK3DMain::GetResourceSystem().CreateResourceManual("CRenderState", "lost"));
    const_cast<CRenderState*>(static_cast<CRenderState const*>(state))->SetState(CRenderState::CULLMODE, 1);
    device.SetRenderState(state);
    device.TakeJournal();

    device.LoseDevice();
    device.Refuse("Restore");
    EXPECT_FALSE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "Restore\n");
    device.RefuseNothing();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "Restore\nBeginFrame\nEndFrame\nPresentFrame\n");

    device.SetRenderState(state);
    EXPECT_EQ(device.TakeJournal(), "SetCullMode 1\n") << "the filter must not believe in what the device lost";
}

TEST(Trace, ProgramsHaveTheParametersTheyDeclare) {
    CRecordingRenderSystem device;
    auto* const manager = CQK3DMain::GetResourceSystem().GetResourceManager("CGPUProgram");
    qklib::CSharePtr<CResourceLoader> noLoader;
    _ResourceSharePtr<CGPUProgram> program(manager->CreateResource("", "wave", false, noLoader));
    program->SetType(CGPUProgram::GPT_VERTEX);
    program->SetCode("#version 450\n  uniform vec4 tint;\nuniform mat4 bones[4];\nuniform sampler2D image;\nuniform "
                     "mat4 qk3dWorld;\nvoid main() {}\n");
    program->SetRenderSystem(&device);
    ASSERT_TRUE(program->Load());
    EXPECT_EQ(program->GetParamNum(), 3u);
    EXPECT_EQ(program->GetParamRegIndex("bones"), 1u);
    EXPECT_EQ(program->GetParamHandle("main"), nullptr);

    CGPUProgramParamTable table(program);
    float tint[] = {1, 0.5f, 0, 1};
    int image = 3;
    table.SetParamValue("tint", tint, sizeof tint);
    table.SetParamValue("image", &image, sizeof image);
    device.TakeJournal();
    device.SetVertexShader(program);
    device.SetVertexShaderParamTable(&table);
    string const journal = device.TakeJournal();
    EXPECT_NE(journal.find("SetVertexShader wave\n"), string::npos);
    EXPECT_NE(journal.find("SetVertexShaderParam wave tint 1 0.5 0 1\n"), string::npos) << journal;
    EXPECT_NE(journal.find("SetVertexShaderParam wave image 4:"), string::npos) << journal;

    device.SetVertexShader({});
    program->Unload();
    EXPECT_EQ(device.TakeJournal(), "SetVertexShader null\nReleaseVertexShader wave\n");
    program->SetCode("#error not today\n");
    EXPECT_FALSE(program->Load());
    program->SetRenderSystem(nullptr);
}

TEST(Trace, TargetsHoldTheColourOfTheirClear) {
    CRecordingRenderSystem device;
    CRenderWindow* const window = device.CreateRenderWindow("w", 4, 4, PF_A8R8G8B8, false);
    window->SetBackgroundColor(color(0xFF102030u));
    device.UpdateAllRenderTarget(1);

    auto texture = MakeTexture(device, "copy", 4);
    ASSERT_TRUE(texture->Load());
    CBox const box(1, 1, 2, 2);
    Vector2 position(2, 0);
    ASSERT_TRUE(window->CopyToTexture(texture, &box, 1, &position));
    CPixelBox const& pixels = texture->GetPixelBuffer()->Lock(CBox(0, 0, 4, 4), CHardwareBuffer::LM_READONLY);
    auto const at = [&](int x, int y) {
        unsigned int value;
        std::memcpy(&value, static_cast<char*>(pixels.m_data) + y * pixels.m_rowPitch + x * 4, 4);
        return value;
    };
    EXPECT_EQ(at(1, 0), 0u) << "left of the rectangle";
    EXPECT_EQ(at(2, 0), 0xFF102030u);
    EXPECT_EQ(at(3, 1), 0xFF102030u);
    EXPECT_EQ(at(3, 2), 0u) << "below the rectangle";
    texture->GetPixelBuffer()->Unlock();

    position = Vector2(3, 0);
    EXPECT_FALSE(window->CopyToTexture(texture, &box, 1, &position)) << "a rectangle that leaves the texture";
    texture->SetRenderSystem(nullptr);
}

TEST(Trace, BaselineSetsEveryState) {
    CRecordingRenderSystem device;
    EXPECT_EQ(device.GetDefaultRenderState()->GetStateNum(), 103u);
    EXPECT_EQ(device.GetDefaultSamplerState(0)->GetStateNum(), 13u);
    for (int stage = 0; stage < device.GetTextureStageNum(); ++stage)
        EXPECT_EQ(device.GetDefaultTextureState(stage)->GetStateNum(), 19u) << stage;
}

namespace {
// Loads the plug-in with settings and gives what it wrote in one frame; nothing if it refused.
std::optional<std::string> RunPlugin(std::string const& settings, std::filesystem::path const& file) {
    std::filesystem::remove(file);
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    if (!engine.LoadPlugin("QK3DTrace.so", reinterpret_cast<unsigned char const*>(settings.data()),
                           static_cast<int>(settings.size())))
        return std::nullopt;
    CRenderSystem* const device = engine.CreateRenderSystem("QK3DTrace", "traced");
    EXPECT_NE(device, nullptr);
    if (device) {
        device->SetAmbient(0xFF00FF00);
        device->UpdateAllRenderTarget(1);
    }
    engine.DestroyRenderSystem("traced");
    engine.UnloadPlugin("QK3DTrace.so");
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}
} // namespace

TEST(TracePlugin, WritesItsLinesToTheFileOfItsSettings) {
    // A name beyond ASCII, since settings are UTF-8 and file names in the system's own form.
    auto const file = std::filesystem::temp_directory_path() / std::filesystem::path(u8"qk3d-trace-\u4e2d.jsonl");
    std::string const name(reinterpret_cast<char const*>(file.u8string().c_str()));
    auto const text = RunPlugin(R"({"file": ")" + name + R"(", "omit": ["EndFrame"], "blobs": true})", file);
    ASSERT_TRUE(text.has_value());
    std::vector<std::string> operations;
    for (auto const& line : ParseLines(*text)) operations.push_back(line["op"].asString());
    std::vector<std::string> const expected = {"SetAmbient", "BeginFrame", "PresentFrame", "Release"};
    operations.resize(std::min(operations.size(), expected.size()));
    EXPECT_EQ(operations, expected);
    std::filesystem::remove(file);
}

TEST(TracePlugin, RefusesSettingsItDoesNotUnderstand) {
    for (char const* settings : {"{", "[]", R"({"fiel": "x"})", R"({"omit": ["SetWorldMatrices"]})", R"({"blobs": 1})",
                                 R"({"file": "/no/such/folder/x"})", "{} {}"})
        EXPECT_FALSE(RunPlugin(settings, "unused").has_value()) << settings;
    EXPECT_TRUE(RunPlugin("", "unused").has_value()) << "no settings at all";
}
