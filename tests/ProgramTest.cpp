// ProgramTest.cpp: GPU programs from source to device, and the values of their parameters.
#include "QK3DGPUProgram.h"
#include "QK3DGPUProgramManager.h"
#include "QK3DMemFileSystem.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include "TestLog.h"
#include <cstring>
#include <gtest/gtest.h>

namespace qk3d {
namespace {
char const* const kSource = "uniform vec4 colour;\nuniform mat4 world;\n";

class Program : public testing::Test {
protected:
    Program() {
        files = CSharePtr<CFileSystem>(new CMemFileSystem, qklib::PRM_DELETE);
        files->WriteStringToNewFile(string("a.glsl"), string(kSource));
        manager.AddFileSystem("A", files);
    }

    _ResourceSharePtr<CGPUProgram> Make(string const& name, string const& path = "", bool isManual = false) {
        _ResourceSharePtr<CGPUProgram> program = manager.CreateResource(path, name, isManual, NoLoader());
        program->SetType(CGPUProgram::GPT_VERTEX);
        if (path.empty()) program->SetCode(kSource);
        return program;
    }

    // A program with two parameters, compiled.
    _ResourceSharePtr<CGPUProgram> MakeLoaded(string const& name) {
        _ResourceSharePtr<CGPUProgram> program = Make(name);
        program->SetRenderSystem(&device);
        EXPECT_TRUE(program->Load());
        return program;
    }

    CTestLog log;
    CRecordingRenderSystem device{"one"}, other{"two"};
    CSharePtr<CFileSystem> files;
    CGPUProgramManager manager;
};

TEST_F(Program, GoesFromFileToDeviceAndBack) {
    _ResourceSharePtr<CGPUProgram> program = Make("p", "a.glsl");
    EXPECT_FALSE(program->Load()); // no device yet
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_EQ(program->GetCode().substr(0, 7), "uniform");
    EXPECT_EQ(program->GetParamNum(), 0u);

    program->SetRenderSystem(&device); // only stored
    EXPECT_EQ(device.CountOf("CreateVertexShader"), 0u);
    EXPECT_TRUE(program->Load());
    EXPECT_NE(program->GetGPUShader(), nullptr);
    EXPECT_EQ(program->GetParamNum(), 2u);
    EXPECT_EQ(program->GetParamRegIndex("world"), 1u);
    EXPECT_NE(program->GetParamHandle("world"), nullptr);
    EXPECT_EQ(program->GetParamRegIndex("unknown"), 0xFFFFFFFFu);
    EXPECT_EQ(program->GetParamDesc("unknown"), nullptr);

    files->DeleteFileA(string("a.glsl"));
    EXPECT_TRUE(program->Unload());
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 1u);
    EXPECT_EQ(program->GetGPUShader(), nullptr);
    EXPECT_EQ(program->GetParamNum(), 0u);
    EXPECT_TRUE(program->Load()); // from the code that it kept
    EXPECT_TRUE(program->UnPrepare());
    EXPECT_EQ(program->GetCode(), "");
    EXPECT_FALSE(program->Load());
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_UNPREPARED);
    program->SetCode("main");
    EXPECT_TRUE(program->Load()); // code that is set needs no file
}

TEST_F(Program, ARefusedCompilationLeavesItPreparedForTheNextTry) {
    struct {
        char const* what;
        CGPUProgram::EType type;
        char const* operation;
    } const rows[] = {
        {"vertex", CGPUProgram::GPT_VERTEX, "VertexShader"},
        {"pixel", CGPUProgram::GPT_PIXEL, "PixelShader"},
        {"comm", CGPUProgram::GPT_COMM, "CommShader"},
    };
    for (auto const& row : rows) {
        _ResourceSharePtr<CGPUProgram> program = Make(row.what);
        program->SetType(row.type);
        program->SetRenderSystem(&device);
        program->SetCode(string("#error\n") + kSource);
        EXPECT_FALSE(program->Load()) << row.what;
        EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED) << row.what;
        EXPECT_EQ(program->GetGPUShader(), nullptr) << row.what;
        program->SetCode(kSource);
        EXPECT_TRUE(program->Load()) << row.what;
        EXPECT_EQ(device.CountOf(string("Create") + row.operation), 2u) << row.what;
        program->SetType(CGPUProgram::GPT_NONE); // it is released as what it was compiled as
        program->Unload();
        EXPECT_EQ(device.CountOf(string("Release") + row.operation), 1u) << row.what;
        EXPECT_FALSE(program->Load()) << "a program of no type";
    }
}

TEST_F(Program, MovesToAnotherDeviceIfItIsCompiled) {
    _ResourceSharePtr<CGPUProgram> program = MakeLoaded("p");
    program->SetRenderSystem(&other);
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 1u);
    EXPECT_EQ(other.CountOf("CreateVertexShader"), 1u);
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_LOADED);
    program->SetRenderSystem(&other);
    EXPECT_EQ(other.CountOf("CreateVertexShader"), 1u);
    program->SetRenderSystem(nullptr);
    EXPECT_EQ(other.CountOf("ReleaseVertexShader"), 1u);
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_EQ(program->GetRenderSystem(), nullptr);
}

TEST_F(Program, ACompiledProgramStaysForTheNextOneWhoAsks) {
    MakeLoaded("automatic").Release();
    EXPECT_TRUE(manager.GetResource("automatic"));
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 0u);

    _ResourceSharePtr<CGPUProgram> manual = Make("manual", "", true);
    manual.Release();
    EXPECT_FALSE(manager.IsResourceExist("manual"));

    manager.DestroyUnusedResources();
    EXPECT_FALSE(manager.IsResourceExist("automatic"));
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 1u);

    struct Open : CGPUProgramManager {
        using CGPUProgramManager::_NotifyResourceRelease;
    } open;
    ResourceSharePtr const wrong = open.CreateResource("", "w", false, NoLoader());
    log.TakeText();
    open._NotifyResourceRelease(wrong, 0);
    EXPECT_EQ(log.TakeText(), "16 CGPUProgramManager::_NotifyResourceRelease : "
                              "Auto Destroy GPU Program [Something Wrong] -> w, 0\n");
    EXPECT_FALSE(open.IsResourceExist("w"));
}

TEST_F(Program, AParameterThatIsAddedTwiceIsReplaced) {
    struct Open : CGPUProgram {
        Open() : CGPUProgram(nullptr, "", "o", false, NoLoader()) {}
        using CGPUProgram::_AddParamDesc;
    } program;
    int a = 0, b = 0;
    program._AddParamDesc("p", &a, 1);
    program._AddParamDesc("p", &b, 2);
    EXPECT_EQ(program.GetParamNum(), 1u);
    EXPECT_EQ(program.GetParamHandle("p"), &b);
    EXPECT_EQ(program.GetParamRegIndex("p"), 2u);
}

TEST_F(Program, AValueKeepsItsBufferUntilItsSizeChanges) {
    CGPUProgramParamTable table(MakeLoaded("p"));
    void* data = &table;
    EXPECT_EQ(table.BindParam("unknown", 4), nullptr);
    EXPECT_EQ(table.BindParam(nullptr, 4), nullptr);
    EXPECT_EQ(table.GetParamValue("colour", &data), 0u);
    EXPECT_EQ(data, nullptr);

    void* const bound = table.BindParam("colour", 4);
    ASSERT_NE(bound, nullptr);
    EXPECT_EQ(table.BindParam("colour", 1000), bound);
    EXPECT_EQ(table.GetParamValue("colour", &data), 4u);
    EXPECT_EQ(data, bound);
    EXPECT_EQ(table.GetParamValue("colour", nullptr), 0u);

    table.SetParamValue("colour", "abcd", 4);
    EXPECT_EQ(std::memcmp(bound, "abcd", 4), 0);
    table.SetParamValue("colour", nullptr, 4); // no value at all
    table.SetParamValue("unknown", "x", 1);
    EXPECT_EQ(std::memcmp(bound, "abcd", 4), 0);
    table.SetParamValue("colour", static_cast<char*>(bound) + 2, 2); // out of the buffer that it replaces
    EXPECT_EQ(table.GetParamValue("colour", &data), 2u);
    EXPECT_EQ(std::memcmp(data, "cd", 2), 0);
    table.SetParamValue("colour", nullptr, 0);
    EXPECT_EQ(table.GetParamValue("colour", &data), 0u);
    EXPECT_NE(data, nullptr); // a value of no size is a value
}

TEST_F(Program, ATableBelongsToOneProgram) {
    _ResourceSharePtr<CGPUProgram> a = MakeLoaded("a"), b = MakeLoaded("b");
    CGPUProgramParamTable table(a);
    table.FirstSetDefault(true);
    table.SetParamValue("colour", "abcd", 4);
    table.SetGPUProgram(a);
    void* data = nullptr;
    EXPECT_EQ(table.GetParamValue("colour", &data), 4u);

    CGPUProgramParamTable copy(table), assigned;
    assigned = table;
    copy.SetParamValue("colour", "efgh", 4);
    table.GetParamValue("colour", &data);
    EXPECT_EQ(std::memcmp(data, "abcd", 4), 0);
    table.SetGPUProgram(b);
    EXPECT_EQ(table.EnumParamValuesBegin(), table.EnumParamValuesEnd());
    EXPECT_EQ(assigned.GetParamValue("colour", &data), 4u);
    EXPECT_EQ(assigned.GetGPUProgram(), a);
    EXPECT_TRUE(assigned.IsFirstSetDefault() && copy.IsFirstSetDefault());

    device.TakeJournal();
    device.SetVertexShaderParamTable(&table);
    table.SetParamValue("colour", "efgh", 4);
    device.SetVertexShaderParamTable(&table);
    EXPECT_EQ(device.CountOf("ApplyDefaultParams"), 2u);
    EXPECT_EQ(device.CountOf("SetVertexShaderParam"), 1u);
}
} // namespace
} // namespace qk3d
