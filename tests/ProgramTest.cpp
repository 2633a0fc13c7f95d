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
    EXPECT_EQ(program->GetParamNum(), 0u);

    program->SetRenderSystem(&device); // only stored
    EXPECT_EQ(device.CountOf("CreateVertexShader"), 0u);
    EXPECT_TRUE(program->Load());
    EXPECT_NE(program->GetGPUShader(), nullptr);
    EXPECT_EQ(program->GetParamNum(), 2u);
    EXPECT_EQ(program->GetParamRegIndex("world"), 1u);
    EXPECT_EQ(program->GetParamRegIndex("unknown"), 0xFFFFFFFFu);

    files->DeleteFileA(string("a.glsl"));
    EXPECT_TRUE(program->Unload());
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 1u);
    EXPECT_EQ(program->GetGPUShader(), nullptr);
    EXPECT_EQ(program->GetParamNum(), 0u);
    EXPECT_TRUE(program->Load()); // from the code that it kept
    EXPECT_TRUE(program->UnPrepare());
    EXPECT_FALSE(program->Load());
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_UNPREPARED);
}

TEST_F(Program, ARefusedCompilationLeavesItPreparedForTheNextTry) {
    _ResourceSharePtr<CGPUProgram> program = Make("p");
    program->SetType(CGPUProgram::GPT_PIXEL);
    program->SetRenderSystem(&device);
    program->SetCode(string("#error\n") + kSource);
    EXPECT_FALSE(program->Load());
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_EQ(program->GetGPUShader(), nullptr);
    program->SetCode(kSource);
    EXPECT_TRUE(program->Load());
    EXPECT_EQ(device.CountOf("CreatePixelShader"), 2u);
    program->SetType(CGPUProgram::GPT_NONE); // it is released as what it was compiled as
    program->Unload();
    EXPECT_EQ(device.CountOf("ReleasePixelShader"), 1u);
    EXPECT_FALSE(program->Load()) << "a program of no type";
}

TEST_F(Program, MovesToAnotherDeviceIfItIsCompiled) {
    _ResourceSharePtr<CGPUProgram> program = MakeLoaded("p");
    program->SetRenderSystem(&other);
    EXPECT_EQ(device.CountOf("ReleaseVertexShader"), 1u);
    EXPECT_EQ(other.CountOf("CreateVertexShader"), 1u);
    EXPECT_EQ(program->GetLoadingState(), LOADSTATE_LOADED);
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
}

TEST_F(Program, AValueKeepsItsBufferUntilItsSizeChanges) {
    CGPUProgramParamTable table(MakeLoaded("p"));
    void* data = &table;
    EXPECT_EQ(table.BindParam("unknown", 4), nullptr);
    EXPECT_EQ(table.GetParamValue("colour", &data), 0u);
    EXPECT_EQ(data, nullptr);

    void* const bound = table.BindParam("colour", 4);
    ASSERT_NE(bound, nullptr);
    EXPECT_EQ(table.BindParam("colour", 1000), bound);
    EXPECT_EQ(table.GetParamValue("colour", &data), 4u);
    EXPECT_EQ(data, bound);

    table.SetParamValue("colour", "abcd", 4);
    EXPECT_EQ(std::memcmp(bound, "abcd", 4), 0);
    table.SetParamValue("colour", nullptr, 4); // no value at all
    EXPECT_EQ(std::memcmp(bound, "abcd", 4), 0);
    table.SetParamValue("colour", static_cast<char*>(bound) + 2, 2); // out of the buffer that it replaces
    EXPECT_EQ(table.GetParamValue("colour", &data), 2u);
    EXPECT_EQ(std::memcmp(data, "cd", 2), 0);
}

TEST_F(Program, ATableBelongsToOneProgram) {
    _ResourceSharePtr<CGPUProgram> a = MakeLoaded("a"), b = MakeLoaded("b");
    CGPUProgramParamTable table(a);
    table.FirstSetDefault(true);
    table.SetParamValue("colour", "abcd", 4);
    void* data = nullptr;
    CGPUProgramParamTable copy(table);
    copy.SetParamValue("colour", "efgh", 4);
    table.GetParamValue("colour", &data);
    EXPECT_EQ(std::memcmp(data, "abcd", 4), 0);
    table.SetGPUProgram(b);
    EXPECT_EQ(table.EnumParamValuesBegin(), table.EnumParamValuesEnd());

    device.SetVertexShaderParamTable(&table);
    table.SetParamValue("colour", "efgh", 4);
    device.SetVertexShaderParamTable(&table);
    EXPECT_EQ(device.CountOf("ApplyDefaultParams"), 2u);
    EXPECT_EQ(device.CountOf("SetVertexShaderParam"), 1u);
}
} // namespace
} // namespace qk3d
