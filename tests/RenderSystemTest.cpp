// RenderSystemTest.cpp: the frame, the targets of a device, and what of them is active.
#include "QK3DCamera.h"
#include "QK3DMatrix.h"
#include "QK3DRenderTarget.h"
#include "QK3DRenderWindow.h"
#include "QK3DVertexDeclaration.h"
#include "QK3DViewport.h"
#include "RecordingRenderSystem.h"
#include "TestLog.h"
#include <functional>
#include <gtest/gtest.h>

namespace {
using namespace qk3d;

class CListener : public CRenderTarget::CUpdateListener {
public:
    explicit CListener(std::function<void(CRenderTarget*)> onPer) : m_onPer(std::move(onPer)) {}
    void OnRenderTargetPerUpdate(CRenderTarget* target, long long) override { m_onPer(target); }

private:
    std::function<void(CRenderTarget*)> m_onPer;
};

struct RenderSystem : ::testing::Test {
    CRenderWindow* MakeWindow(string const& name) { return device.CreateRenderWindow(name, 8, 8, PF_A8R8G8B8, false); }

    CRecordingRenderSystem device;
    CCamera camera{"camera"};
};

TEST_F(RenderSystem, DrawsAFrameOverItsTargetsInOrderOfName) {
    MakeWindow("b");
    MakeWindow("a");
    MakeWindow("c")->SetAutoUpdate(false);
    device.TakeJournal();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "BeginFrame\n"
                                    "SetRenderTarget 0 a\nSetViewport null\nClearRenderTarget a #FF000000 1 0\n"
                                    "SetRenderTarget 0 b\nSetViewport null\nClearRenderTarget b #FF000000 1 0\n"
                                    "EndFrame\nPresentFrame\n");
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "BeginFrame\nEndFrame\nPresentFrame\n");
    device.ResetUpdateFlag();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 4u);
}

TEST_F(RenderSystem, DrawsNothingOnALostDeviceBeforeItIsBack) {
    MakeWindow("a");
    device.LoseDevice();
    device.Refuse("Restore");
    device.TakeJournal();
    EXPECT_FALSE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.TakeJournal(), "Restore\n");
    device.RefuseNothing();
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 1u);
}

TEST_F(RenderSystem, MakesWindowsUnderFreeNamesOnly) {
    CRenderWindow* const window = MakeWindow("a");
    EXPECT_EQ(device.GetRenderTarget("a"), window);
    device.ResetCounts();
    EXPECT_EQ(MakeWindow("a"), nullptr);
    EXPECT_EQ(device.CountOf("CreateRenderWindow"), 0u);
    EXPECT_TRUE(MakeWindow("")->GetName().starts_with("rwin"));
    device.Refuse("CreateRenderWindow");
    EXPECT_EQ(MakeWindow("b"), nullptr);
    EXPECT_EQ(device.GetRenderTarget("b"), nullptr);
}

TEST_F(RenderSystem, BindsTargetsOfItsOwnOnce) {
    CRecordingRenderSystem foreign("foreign");
    CRenderWindow* const far = foreign.CreateRenderWindow("far", 8, 8, PF_A8R8G8B8, false);
    CRenderWindow* const a = MakeWindow("a");
    device.TakeJournal();
    EXPECT_FALSE(device.SetActiveRenderTarget(0, far));
    EXPECT_TRUE(device.SetActiveRenderTarget(0, a));
    EXPECT_TRUE(device.SetActiveRenderTarget(0, a));
    EXPECT_TRUE(device.SetActiveRenderTarget(2, nullptr)) << "nothing was there";
    EXPECT_EQ(device.TakeJournal(), "SetRenderTarget 0 a\n");

    device.Refuse("SetRenderTarget");
    EXPECT_FALSE(device.SetActiveRenderTarget(2, a));
    EXPECT_EQ(device.GetActiveRenderTarget(2), nullptr);
    EXPECT_FALSE(device.SetActiveRenderTarget(0, nullptr));
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr) << "the first index moves all the same";
}

TEST_F(RenderSystem, BindsViewportsOfTheActiveTargetWithTheirMatrices) {
    CViewport* const ofA = MakeWindow("a")->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    CViewport* const ofB = MakeWindow("b")->AddViewport(nullptr, 0, 0u, 0u, 8u, 8u);
    device.SetActiveRenderTarget(0, device.GetRenderTarget("a"));
    Matrix44 view = Matrix44::IDENTITY;
    view.m[12] = 7;
    camera.SetViewMatrix(view);
    camera.SetProjectionMatrix(Matrix44::IDENTITY);
    device.TakeJournal();
    EXPECT_TRUE(device.SetActiveViewport(ofA));
    EXPECT_TRUE(device.SetActiveViewport(ofA));
    EXPECT_FALSE(device.SetActiveViewport(ofB));
    EXPECT_EQ(device.GetActiveViewport(), ofA);
    std::string const bind = "SetViewport 0 0 8 8\nSetViewMatrix 1 0 0 0 0 1 0 0 0 0 1 0 7 0 0 1\n"
                             "SetProjectionMatrix identity\n";
    EXPECT_EQ(device.TakeJournal(), bind + bind);

    device.SetActiveRenderTarget(0, device.GetRenderTarget("b"));
    device.TakeJournal();
    EXPECT_TRUE(device.SetActiveViewport(ofB));
    EXPECT_EQ(device.TakeJournal(), "SetViewport 0 0 8 8\n") << "no camera, no matrices";
    device.Refuse("SetViewport");
    EXPECT_FALSE(device.SetActiveViewport(nullptr));
    EXPECT_EQ(device.GetActiveViewport(), ofB);
}

TEST_F(RenderSystem, MultipliesWorldMatricesInTheirOrder) {
    Matrix44 matrices[3] = {Matrix44::IDENTITY, Matrix44::IDENTITY, Matrix44::IDENTITY};
    matrices[0].m[12] = 1; // a move along x
    matrices[1].m[0] = 5; // then x five times
    device.SetWorldMatrices(matrices, 2);
    device.SetWorldMatrices(matrices, 0);
    device.SetWorldMatrices(nullptr, 2);
    EXPECT_EQ(device.TakeJournal(), "SetWorldMatrix 5 0 0 0 0 1 0 0 0 0 1 0 5 0 0 1\n"
                                    "SetWorldMatrix 1 0 0 0 0 1 0 0 0 0 1 0 1 0 0 1\n");
}

TEST_F(RenderSystem, ForgetsWhatIsDestroyed) {
    CRenderWindow* const a = MakeWindow("a");
    CViewport* const viewport = a->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    device.SetActiveRenderTarget(0, a);
    device.SetActiveRenderTarget(3, a);
    device.SetActiveViewport(viewport);
    device.TakeJournal();
    device.DestroyRenderWindow("nothing of that name");
    EXPECT_EQ(device.TakeJournal(), "");
    device.DestroyRenderTexture("a");
    EXPECT_EQ(device.TakeJournal(), "SetViewport null\nSetRenderTarget 0 null\nSetRenderTarget 3 null\n"
                                    "ReleaseBuffer pixel1\n") << "unbound while it is whole";
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr);
    EXPECT_EQ(device.GetActiveRenderTarget(3), nullptr);
    EXPECT_EQ(device.GetActiveViewport(), nullptr);

    CRenderWindow* const b = MakeWindow("b");
    device.Refuse("SetRenderTarget"); // so that only the member knows of it
    device.SetActiveRenderTarget(0, b);
    device.Refuse("SetViewport");
    device.SetActiveViewport(b->AddViewport(&camera, 0, 0u, 0u, 8u, 8u));
    device.DestroyAllRenderTarget();
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr) << "also against the will of the device";
    EXPECT_EQ(device.GetActiveViewport(), nullptr);
}

TEST_F(RenderSystem, LetsTargetsComeAndGoDuringTheFrame) {
    std::string drawn;
    CListener listener([&](CRenderTarget* target) {
        drawn += target->GetName();
        EXPECT_FALSE(device.UpdateAllRenderTarget(77)) << "no frame inside a frame";
        if (target->GetName() != "b") return;
        device.DestroyRenderTarget("b"); // itself
        device.DestroyRenderTarget("c"); // the next
        device.DestroyRenderTarget("a"); // one that is done
        for (char const* const name : {"aa", "d"})
            device.CreateRenderWindow(name, 8, 8, PF_L8, false)->AddUpdateListener(&listener);
    });
    for (char const* const name : {"a", "b", "c"}) MakeWindow(name)->AddUpdateListener(&listener);
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_EQ(drawn, "abd");
    EXPECT_EQ(device.GetRenderTarget("b"), nullptr);
    drawn.clear();
    EXPECT_TRUE(device.UpdateAllRenderTarget(2));
    EXPECT_EQ(drawn, "aad");
}

TEST_F(RenderSystem, CanBeUsedAgainAfterRelease) {
    CRenderWindow* const a = MakeWindow("a");
    device.SetActiveRenderTarget(0, a);
    device.SetActiveViewport(a->AddViewport(&camera, 0, 0u, 0u, 8u, 8u));
    CVertexDeclaration declaration;
    declaration.SetHardwareDeclaration(&device, 17);
    device.TakeJournal();
    device.Release();
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr);
    EXPECT_EQ(device.GetActiveViewport(), nullptr);
    EXPECT_EQ(declaration.GetHardwareOwner(), nullptr);
    EXPECT_EQ(declaration.GetHardwareDeclaration(), 0u);
    EXPECT_TRUE(device.TakeJournal().ends_with("ReleaseVertexDeclaration\nRelease\n"));
    EXPECT_NE(MakeWindow("a"), nullptr);
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
}

TEST_F(RenderSystem, OwnsTheDeviceObjectsOfDeclarationsUntilTheyChange) {
    CVertexDeclaration declaration;
    declaration.AddElement(0, VET_FLOAT4, VES_POSITION);
    declaration.SetHardwareDeclaration(&device, 17);
    {
        CVertexDeclaration const copy(declaration);
        EXPECT_EQ(copy.GetHardwareOwner(), nullptr);
    }
    EXPECT_EQ(device.CountOf("ReleaseVertexDeclaration"), 0u);
    declaration.AddElement(0, VET_FLOAT2, VES_TEXCOORD);
    EXPECT_EQ(device.CountOf("ReleaseVertexDeclaration"), 1u);
    declaration.SetHardwareDeclaration(&device, 18);
    CRecordingRenderSystem other("other");
    declaration.SetHardwareDeclaration(&other, 19);
    EXPECT_EQ(device.CountOf("ReleaseVertexDeclaration"), 2u) << "the old device lets go";
    declaration.Clear();
    EXPECT_EQ(other.CountOf("ReleaseVertexDeclaration"), 1u);
}

TEST(RenderSystemEnd, IsLoggedLast) {
    CTestLog log;
    { CRecordingRenderSystem device("device"); }
    EXPECT_TRUE(log.TakeText().ends_with("4 CRenderSystem::~CRenderSystem : CRenderSystem Destroy\n"));
}
} // namespace
