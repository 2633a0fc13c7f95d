// RenderSystemTest.cpp: the frame, the targets of a device, and what of them is active.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestLog.h"
#include <gtest/gtest.h>

namespace {
using namespace qk3d;

struct RenderSystem : ::testing::Test {
    CRenderWindow* MakeWindow(string const& name) { return device.CreateRenderWindow(name, 8, 8, PF_A8R8G8B8, false); }

    CTestLog log;
    CRecordingRenderSystem device;
    CCamera camera{"camera"};
};

TEST_F(RenderSystem, BindsTargetsAndViewportsOfItsOwn) {
    CRecordingRenderSystem foreign("foreign");
    CRenderWindow* const far = foreign.CreateRenderWindow("far", 8, 8, PF_A8R8G8B8, false);
    CRenderWindow *const a = MakeWindow("a"), *const b = MakeWindow("b");
    CViewport* const ofB = b->AddViewport(nullptr, 0, 0u, 0u, 8u, 8u);
    device.TakeJournal();
    EXPECT_FALSE(device.SetActiveRenderTarget(0, far));
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(device.SetActiveRenderTarget(0, a));
    EXPECT_TRUE(device.SetActiveRenderTarget(2, nullptr)) << "nothing was there";
    EXPECT_FALSE(device.SetActiveViewport(ofB));
    device.SetActiveRenderTarget(0, b);
    EXPECT_TRUE(device.SetActiveViewport(ofB));
    EXPECT_EQ(device.TakeJournal(), "SetRenderTarget 0 a\nSetRenderTarget 0 b\nSetViewport 0 0 8 8\n")
        << "no camera, no matrices";

    device.Refuse("SetViewport");
    device.Refuse("SetRenderTarget");
    EXPECT_FALSE(device.SetActiveViewport(nullptr));
    EXPECT_EQ(device.GetActiveViewport(), ofB);
    EXPECT_FALSE(device.SetActiveRenderTarget(2, a));
    EXPECT_EQ(device.GetActiveRenderTarget(2), nullptr);
    EXPECT_FALSE(device.SetActiveRenderTarget(0, nullptr));
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr) << "the first index moves all the same";
}

TEST_F(RenderSystem, ForgetsWhatIsDestroyed) {
    CRenderWindow* const a = MakeWindow("a");
    device.SetActiveRenderTarget(0, a);
    device.SetActiveRenderTarget(3, a);
    device.SetActiveViewport(a->AddViewport(&camera, 0, 0u, 0u, 8u, 8u));
    device.TakeJournal();
    device.DestroyRenderTarget("a");
    EXPECT_EQ(device.TakeJournal(), "SetViewport null\nSetRenderTarget 0 null\nSetRenderTarget 3 null\n"
                                    "ReleaseBuffer pixel1\n")
        << "unbound while it is whole";
    device.Refuse("SetRenderTarget"); // so that only the member knows of it
    device.SetActiveRenderTarget(0, MakeWindow("b"));
    device.DestroyAllRenderTarget();
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr) << "also against the will of the device";
}

TEST_F(RenderSystem, LetsTargetsComeAndGoDuringTheFrame) {
    struct CListener : CRenderTarget::CUpdateListener {
        void OnRenderTargetPerUpdate(CRenderTarget* target, long long) override { onPer(target); }
        std::function<void(CRenderTarget*)> onPer;
    } listener;
    std::string drawn;
    listener.onPer = [&](CRenderTarget* target) {
        drawn += target->GetName();
        EXPECT_FALSE(device.UpdateAllRenderTarget(77)) << "no frame inside a frame";
        if (target->GetName() != "b") return;
        device.DestroyRenderTarget("b"); // itself
        device.DestroyRenderTarget("c"); // the next
        device.DestroyRenderTarget("a"); // one that is done
        for (char const* const name : {"aa", "d"}) MakeWindow(name)->AddUpdateListener(&listener);
    };
    for (char const* const name : {"a", "b", "c"}) MakeWindow(name)->AddUpdateListener(&listener);
    EXPECT_TRUE(device.UpdateAllRenderTarget(1));
    EXPECT_TRUE(device.UpdateAllRenderTarget(2));
    EXPECT_EQ(drawn, "abdaad");
}

TEST_F(RenderSystem, LetsGoOfDeclarationsWhenTheyChangeOrItIsReleased) {
    CVertexDeclaration declaration;
    auto const released = [&] { return device.CountOf("ReleaseVertexDeclaration"); };
    declaration.SetHardwareDeclaration(&device, 17);
    EXPECT_EQ(CVertexDeclaration(declaration).GetHardwareOwner(), nullptr) << "a copy has none";
    EXPECT_EQ(released(), 0u);
    declaration.AddElement(0, VET_FLOAT2, VES_TEXCOORD);
    EXPECT_EQ(released(), 1u);
    {
        CRecordingRenderSystem other("other");
        declaration.SetHardwareDeclaration(&other, 19);
    }
    EXPECT_TRUE(log.TakeText().ends_with("4 CRenderSystem::~CRenderSystem : CRenderSystem Destroy\n"));
    EXPECT_EQ(declaration.GetHardwareOwner(), nullptr);
    declaration.SetHardwareDeclaration(&device, 20);
    device.SetActiveRenderTarget(0, MakeWindow("a"));
    device.Release();
    EXPECT_EQ(released(), 2u);
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr);
    EXPECT_NE(MakeWindow("a"), nullptr) << "usable again";
    EXPECT_EQ(MakeWindow("a"), nullptr) << "but the name is taken";
}
} // namespace
