// ResourceSystemTest.cpp: managers on demand, loaders, and what happens when a render system or the whole system goes.
#include "QK3DGPUProgram.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include "TestLog.h"
#include "TestResource.h"
#include <gtest/gtest.h>

namespace qk3d {
namespace {
class CTestSystem : public CResourceSystem {
public:
    CTestSystem() : CResourceSystem("test") {}
    using CResourceSystem::_DestroyAllResourceManager;
    std::size_t GetManagerNum() const { return m_managers.size(); }
};

HookBook* g_book = nullptr;
CTestSystem* g_system = nullptr;
void MakeTestManager(CResourceManager** out) { *out = new CTestManager(*g_book); }
void MakeThrow(CResourceManager**) { throw std::runtime_error("creator"); }
void MakeAskingItself(CResourceManager** out) {
    EXPECT_EQ(g_system->GetResourceManager("Asking"), nullptr);
    MakeTestManager(out);
}

class ResourceSystem : public testing::Test {
protected:
    ResourceSystem() {
        g_book = &book;
        g_system = &system;
        system.AddCreateResourceManagerFun("Test", &MakeTestManager);
    }
    CTestLog log;
    HookBook book;
    CRecordingRenderSystem going{"going"}, staying{"staying"}; // outlive the programs that the system keeps
    CTestSystem system;
};

TEST_F(ResourceSystem, MakesTheManagersOfItsTypesOnDemand) {
    for (char const* type :
         {"CMesh", "CTexture", "CMaterial", "CRenderState", "CTextureState", "CSamplerState", "CGPUProgram"}) {
        CResourceManager* const manager = system.GetResourceManager(type);
        ASSERT_NE(manager, nullptr) << type;
        EXPECT_EQ(system.GetResourceManager(type), manager);
        ResourceSharePtr const resource = system.CreateResourceManual(type, "m");
        ASSERT_TRUE(resource) << type;
        EXPECT_EQ(resource->GetTypeName(), type);
        EXPECT_FALSE(system.DestroyResource(type, "m")) << "held";
    }
    EXPECT_EQ(system.GetManagerNum(), 7u);
}

TEST_F(ResourceSystem, ACreatorThatFailsCountsAsUnknown) {
    system.AddCreateResourceManagerFun("Null", nullptr);
    system.AddCreateResourceManagerFun("Throws", &MakeThrow);
    system.AddCreateResourceManagerFun("Asking", &MakeAskingItself);
    system.RemoveCreateResourceManagerFun("CMesh");
    for (char const* type : {"Unknown", "Null", "CMesh"}) {
        EXPECT_EQ(system.GetResourceManager(type), nullptr) << type;
        EXPECT_FALSE(system.CreateResource(type, "", "a", false, NoLoader())) << type;
    }
    EXPECT_THROW(system.GetResourceManager("Throws"), std::runtime_error);
    EXPECT_THROW(system.GetResourceManager("Throws"), std::runtime_error) << "asked anew, not taken for being made";
    EXPECT_EQ(system.GetManagerNum(), 0u);
    EXPECT_NE(system.GetResourceManager("Asking"), nullptr);
}

TEST_F(ResourceSystem, NothingComesBackWhileItIsTornDown) {
    system.AddCreateResourceManagerFun("Keeping", [](CResourceManager** out) { *out = new CKeepingManager(*g_book); });
    ResourceSharePtr const held = system.CreateResource("Test", "", "held", false, NoLoader());
    system.CreateResource("Keeping", "", "kept", false, NoLoader());
    book.onHook = [&](string const& event) {
        if (event != "~kept") return;
        book.journal += system.GetResourceManager("CTexture") ? "manager " : "none ";
        book.journal += system.CreateResource("Keeping", "", "late", false, NoLoader()) ? "made " : "refused ";
    };
    system._DestroyAllResourceManager();
    book.onHook = nullptr;
    EXPECT_EQ(book.Take(), "~kept none made ~late "); // what is made late goes with its manager
    EXPECT_EQ(system.GetManagerNum(), 0u);
    EXPECT_EQ(held->GetResourceManager(), nullptr);
    EXPECT_NE(system.GetResourceManager("Test"), nullptr); // and afterwards it is usable again
}

TEST_F(ResourceSystem, ARenderSystemThatGoesLeavesNoResourceBehind) {
    auto const program = [&](char const* name, CRenderSystem* device) {
        _ResourceSharePtr<CGPUProgram> made = system.CreateResource("CGPUProgram", "", name, false, NoLoader());
        made->SetType(CGPUProgram::GPT_PIXEL);
        made->SetCode("uniform float x;");
        made->SetRenderSystem(device);
        EXPECT_TRUE(made->Load());
        return made;
    };
    _ResourceSharePtr<CGPUProgram> held = program("held", &going);
    program("unused", &going).Release();                                             // its manager keeps it
    _ResourceSharePtr<CGPUProgram> behind = program("unused, the next one", &going); // the walk gets there too
    _ResourceSharePtr<CTexture> texture = system.CreateResourceManual("CTexture", "t");
    texture->SetRenderSystem(&going);

    system.NotifyRenderSystemDestroy(&going);
    EXPECT_EQ(going.CountOf("ReleasePixelShader"), 3u);
    EXPECT_EQ(behind->GetRenderSystem(), nullptr);
    EXPECT_FALSE(system.IsResourceExist("CGPUProgram", "unused"));
    EXPECT_EQ(held->GetLoadingState(), LOADSTATE_PREPARED);
    EXPECT_EQ(held->GetRenderSystem(), nullptr);
    EXPECT_EQ(texture->GetRenderSystem(), nullptr);
    held->SetRenderSystem(&staying);
    EXPECT_TRUE(held->Load()); // usable again on another one
}
} // namespace
} // namespace qk3d
