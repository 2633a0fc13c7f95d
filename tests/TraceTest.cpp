// TraceTest.cpp: the recording back-end: its lines and the settings of its plug-in.
#include "PluginEntry.h"
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TraceBuffers.h"
#include <cmath>
#include <sstream>

using namespace qk3d;

TEST(Trace, TellsEachKindOfStateInItsOwnForm) {
    CRecordingRenderSystem device;
    Matrix44 matrix = Matrix44::IDENTITY;
    matrix.m[12] = 0.5f;
    struct {
        std::function<void()> call;
        char const* brief;
        char const* json;
    } const rows[] = {
        {[&] { device.SetCullMode(3); }, "SetCullMode 3\n", R"("COUNTERCLOCKWISE")"},
        {[&] { device.SetFogEnd(0x3DCCCCCD); }, "SetFogEnd 0.1\n", "0.1"},
        {[&] { device.SetFogEnd(0xFF800000); }, "SetFogEnd -inf\n", R"("-inf")"},
        {[&] { device.SetFogColor(0x80FF0001); }, "SetFogColor #80FF0001\n", R"("#80FF0001")"},
        {[&] { device.SetColorWriteEnable(9); }, "SetColorWriteEnable 9\n", R"("RED|ALPHA")"},
        {[&] { device.SetColorWriteEnable(17); }, "SetColorWriteEnable 17\n", "17"}, // a flag without a word
        {[&] { device.SetColorOP(2, reinterpret_cast<void*>(4)); }, "SetColorOP 2 4\n", R"("MODULATE")"},
        {[&] { device.SetTransformMatrix(1, &matrix); }, "SetTransformMatrix 1 1 0 0 0 0 1 0 0 0 0 1 0 0.5 0 0 1\n",
         "[1,0,0,0,0,1,0,0,0,0,1,0,0.5,0,0,1]"},
        // unsigned long may be wider than a state is; what stands above 32 bits is no part of it
        {[&] { device.SetStencilMask(~0UL); }, "SetStencilMask 4294967295\n", "4294967295"},
    };
    for (auto const& row : rows) {
        row.call();
        EXPECT_EQ(device.TakeJournal(), row.brief);
        row.call();
        string const line = device.TakeJsonJournal();
        EXPECT_TRUE(line.ends_with("\":" + string(row.json) + "}\n")) << row.brief << line;
        Parse(line);
    }
    EXPECT_EQ(QuoteJson("a\"b\\c\n\x01"), R"("a\"b\\c\n\u0001")");
    EXPECT_EQ(QuoteJson("\x95\x5C"), R"("\u661e")") << "the second byte is a backslash";
    EXPECT_EQ(QuoteJson("\xFF\xFF"), R"("\ufffd")");
}

TEST(Trace, BuffersAreToldByHashOrWhole) {
    CRecordingRenderSystem device;
    auto buffer =
        device.GetHardwareBufferManager()->CreateVertexBuffer(4, 2, CHardwareBuffer::HBU_STATIC, false, false);
    ASSERT_TRUE(buffer->Create());
    buffer->WriteData(4, 4, "qk3d", false);
    // The hash is that of the four bytes: FNV-1a, 64 bits.
    EXPECT_EQ(device.TakeJournal(), "MakeVertexBuffer 4 2 1\nCreateBuffer vertex1 8\nLockBuffer vertex1 4 4 NORMAL\n"
                                    "UnlockBuffer vertex1 4:9644af07f65474c2\n");
    device.GetJournal().KeepBlobs(true);
    buffer->WriteData(0, 2, "\x01\xFE", false);
    EXPECT_NE(device.TakeJsonJournal().find(R"("data":"01fe")"), string::npos);
    EXPECT_EQ(buffer->Lock(6, 4, CHardwareBuffer::LM_NORMAL), nullptr) << "a lock that leaves the buffer";
}

namespace {
// Loads the plug-in with settings and gives what it wrote to that file in one frame; nothing if it refused.
std::optional<string> RunPlugin(string const& settings, std::filesystem::path const& file = "unused") {
    CQK3DMain& engine = CQK3DMain::GetQK3DMain();
    if (!engine.LoadPlugin("QK3DTrace.so", reinterpret_cast<unsigned char const*>(settings.data()),
                           static_cast<int>(settings.size())))
        return std::nullopt;
    if (CRenderSystem* const device = engine.CreateRenderSystem("QK3DTrace", "traced")) {
        device->SetAmbient(0xFF00FF00);
        device->UpdateAllRenderTarget(1);
    }
    engine.DestroyRenderSystem("traced");
    engine.UnloadPlugin("QK3DTrace.so");
    return TempFolder::Read(file);
}
} // namespace

TEST(TracePlugin, WritesWhatItsSettingsSayAndRefusesThoseItDoesNotUnderstand) {
    TempFolder const folder;
    string const file = folder.Path("\u4e2d.jsonl"); // settings are UTF-8, file names in the system's own form
    auto const text = RunPlugin(R"({"file": ")" + file + R"(", "omit": ["EndFrame"], "blobs": true})", file);
    string operations;
    std::istringstream lines(text.value_or(""));
    for (string line; std::getline(lines, line);) operations += Parse(line)["op"].asString() + ' ';
    EXPECT_TRUE(operations.starts_with("SetAmbient BeginFrame PresentFrame Release ")) << operations;

    EXPECT_TRUE(RunPlugin("")) << "no settings at all";
    for (char const* settings : {"{", "[]", R"({"fiel": "x"})", R"({"omit": ["SetWorldMatrices"]})", R"({"blobs": 1})",
                                 R"({"file": "/no/such/folder/x"})", "{} {}"})
        EXPECT_FALSE(RunPlugin(settings)) << settings;
}
