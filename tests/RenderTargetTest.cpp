// RenderTargetTest.cpp: targets, windows and viewports: when they draw, what they draw, and what may change meanwhile.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestRenderable.h"
#include <array>
#include <gtest/gtest.h>
#include <optional>

namespace {
using namespace qk3d;

constexpr long long kForce = CRenderTarget::kForceUpdateTime;

// Draws nothing and says when it was asked to.
struct CThing : CTestRenderable {
    CThing(std::string& log, char const* name, float depth = 0) : CTestRenderable(&log, name, depth) {
        isRefusing = true;
    }
};

// A movable object that brings one thing to the screen.
struct CHolder : CMovableObject {
    explicit CHolder(CThing& its) : CMovableObject("holder"), thing(its) {}
    string GetTypeName() override { return "CHolder"; }
    void AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem*) override {
        onAsk();
        queue.AddRenderableObject(&thing);
    }
    void RenderRenderableObject(CRenderSystem* renderSystem, long long time) override {
        onAsk();
        thing.Render(renderSystem, time);
    }

    CThing& thing;
    std::function<void()> onAsk = [] {};
};

struct RenderTarget : ::testing::Test, CRenderTarget::CUpdateListener {
    RenderTarget() { window->AddUpdateListener(this); }
    void OnRenderTargetPerUpdate(CRenderTarget*, long long) override {
        heard += "per ";
        if (onPer) onPer();
    }
    void OnRenderTargetPostUpdate(CRenderTarget*, long long) override { heard += "post "; }
    CViewport* AddViewport(int zOrder) { return window->AddViewport(&camera, zOrder, 0u, 0u, 8u, 8u); }
    // What things say in one update.
    std::string Say(long long time) {
        window->Update(time);
        return std::exchange(log, {});
    }
    bool Draws(long long time) {
        Say(time);
        return std::exchange(heard, {}) == "per post ";
    }

    CRecordingRenderSystem device;
    CRenderWindow* window = device.CreateRenderWindow("win", 800, 600, PF_A8R8G8B8, false);
    CCamera camera{"camera"};
    std::function<void()> onPer;
    std::string heard, log; // of the window, and of things
};

TEST_F(RenderTarget, DrawsOncePerTimeAndAlwaysWhenForced) {
    EXPECT_TRUE(Draws(5));
    EXPECT_FALSE(Draws(5));
    EXPECT_TRUE(Draws(kForce));
    EXPECT_FALSE(Draws(5)) << "a forced update leaves no record";
    window->SetAutoUpdate(false);
    EXPECT_TRUE(Draws(5));
    window->SetAutoUpdate(true);
    EXPECT_FALSE(Draws(5));
    window->SetAutoUpdate(false); // forgets the time
    window->SetAutoUpdate(true);
    EXPECT_TRUE(Draws(5));
    window->SetIsClearPerUpdate(false);
    EXPECT_FALSE(Draws(kForce)) << "nothing would change";
    device.ResetCounts();
    AddViewport(0);
    EXPECT_TRUE(Draws(-2));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 0u);
}

TEST_F(RenderTarget, SendsOneUpdateInItsOrder) {
    window->AddViewport(&camera, 7, 1u, 2u, 3u, 4u);
    window->AddViewport(&camera, -7, 5u, 6u, 7u, 8u);
    window->AddViewport(&camera, 8, 0u, 0u, 1u, 1u)->SetVisible(false);
    camera.SetViewMatrix(Matrix44::IDENTITY);
    camera.SetProjectionMatrix(Matrix44::IDENTITY);
    window->SetBackgroundColor(color(0x80112233u));
    window->SetIsClearStencil(false);
    device.TakeJournal();
    window->Update(1);
    EXPECT_EQ(device.TakeJournal(), "SetRenderTarget 0 win\n"
                                    "SetViewport null\n"
                                    "ClearRenderTarget win #80112233 1\n"
                                    "SetViewport 5 6 7 8\nSetViewMatrix identity\nSetProjectionMatrix identity\n"
                                    "SetViewport 1 2 3 4\nSetViewMatrix identity\nSetProjectionMatrix identity\n");
}

TEST_F(RenderTarget, PutsBackWhatWasActiveUnlessItIsOnAutoUpdate) {
    CRenderWindow* const other = device.CreateRenderWindow("other", 8, 8, PF_A8R8G8B8, false);
    CViewport* const viewport = other->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    other->Update(1);
    window->SetAutoUpdate(false);
    window->Update(1);
    EXPECT_EQ(device.GetActiveRenderTarget(0), other);
    EXPECT_EQ(device.GetActiveViewport(), viewport);
    onPer = [&] { device.DestroyRenderTarget("other"); };
    window->Update(2);
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr);
    window->SetAutoUpdate(true);
    window->Update(3);
    EXPECT_EQ(device.GetActiveRenderTarget(0), window);
}

TEST_F(RenderTarget, LetsViewportsGoWhileTheyAreDrawn) {
    CThing first(log, "first"), second(log, "second");
    CViewport* const viewport = AddViewport(1);
    viewport->AddRenderableObject(&first);
    viewport->AddRenderableObject(&second);
    AddViewport(2)->AddRenderableObject(&second);
    EXPECT_EQ(AddViewport(0)->GetZOrder(), 0);
    EXPECT_EQ(AddViewport(0)->GetZOrder(), 3) << "the next free one";
    first.onDraw = [&] {
        window->RemoveViewport(1);
        window->RemoveViewport(2);
        for (int zOrder : {4, -3}) AddViewport(zOrder)->AddRenderableObject(&second);
    };
    EXPECT_EQ(Say(1), "first second second ") << "1 to its end, 2 not any more, 4 already, -3 next time";
    EXPECT_EQ(Say(2), "second second ");
}

TEST_F(RenderTarget, DrawsOverlayItemsOverItsViewportsWhileTheyComeAndGo) {
    struct CHears : COverlayItem::CRenderListener {
        void OnOverlayItemPerRender(COverlayItem* item, CRenderSystem*) override { hear(item); }
        std::function<void(COverlayItem*)> hear;
    } hears;
    std::array<std::optional<COverlayItem>, 4> items; // in the order of their addresses
    for (std::size_t i : {2u, 0u, 1u, 3u}) {
        items[i].emplace(nullptr, nullptr, std::to_string(i), 0, 0, 8, 8, short(0));
        items[i]->AddRenderListener(&hears);
        for (int k = 0; k < 2 && i < 3; ++k) window->AddOverlayItem(&*items[i]); // the second time is none
    }
    CThing thing(log, "thing");
    AddViewport(0)->AddRenderableObject(&thing);
    hears.hear = [&](COverlayItem* item) {
        log += item->GetName() + " ";
        if (item != &*items[0]) return;
        window->AddOverlayItem(&*items[3]);
        window->RemoveOverlayItem(&*items[0]);
        items[1].reset(); // leaves the target by itself
    };
    EXPECT_EQ(Say(1), "thing 0 2 3 ");
    EXPECT_EQ(Say(2), "thing 2 3 ");
    device.DestroyRenderTarget("win"); // and the items outlive it
}

TEST_F(RenderTarget, TurnsFractionsOfItsSizeIntoPixels) {
    CViewport const cut(&camera, window, 0.0012f, 0.25f, 0.9999f, 1.5f, 0); // off, not rounded; beyond its end it stays
    EXPECT_EQ(cut.GetActualLeft() + cut.GetActualTop(), 0u + 150u);
    EXPECT_EQ(cut.GetActualWidth() + cut.GetActualHeight(), 799u + 900u);
    CViewport const odd(&camera, window, -2.0f, NAN, 1e30f, -0.1f, 0); // no number of pixels
    EXPECT_EQ(odd.GetActualLeft() + odd.GetActualTop() + odd.GetActualHeight(), 0u);
    EXPECT_EQ(odd.GetActualWidth(), 0xFFFFFFFFu);
}

TEST_F(RenderTarget, DrawsTheListsOfAViewportSortedOrAtOnce) {
    CThing near(log, "near", 1), far(log, "far", 9), middle(log, "middle", 5), hidden(log, "hidden");
    CHolder holder(middle), hiddenHolder(near);
    hidden.SetVisible(false);
    hiddenHolder.SetVisible(false);
    CViewport* const viewport = AddViewport(0);
    for (CThing* const thing : {&far, &near, &near, &hidden}) viewport->AddRenderableObject(thing);
    for (CHolder* const each : {&hiddenHolder, &holder}) viewport->AddMovableObject(each);
    EXPECT_EQ(Say(1), "near near middle far ");
    viewport->DisableSortRenderQueue();
    EXPECT_EQ(Say(2), "middle far near near ");
    viewport->RemoveRenderableObject(&near); // one of the two
    EXPECT_EQ(Say(3), "middle far near ");
}

TEST_F(RenderTarget, LetsTheListsOfAViewportChangeWhileTheyAreWalked) {
    for (bool const isSorted : {true, false}) {
        CThing a(log, "a", 1), b(log, "b", 2), c(log, "c", 3);
        CHolder first(a), second(b), third(c);
        CViewport* const viewport = AddViewport(0);
        if (!isSorted) viewport->DisableSortRenderQueue();
        for (CHolder* const holder : {&first, &second, &third}) viewport->AddMovableObject(holder);
        first.onAsk = [&] {
            viewport->RemoveMovableObject(&second); // the next one
            viewport->RemoveMovableObject(&first);
        };
        EXPECT_EQ(Say(kForce), "a c ") << isSorted;
        third.onAsk = [&] { viewport->Clear(); };
        EXPECT_EQ(Say(kForce), "c ") << isSorted;
        EXPECT_EQ(Say(kForce), "") << isSorted;
        window->RemoveViewport(0);
    }
}
} // namespace
