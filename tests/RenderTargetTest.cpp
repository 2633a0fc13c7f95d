// RenderTargetTest.cpp: targets, windows and viewports: when they draw, what they draw, and what may change meanwhile.
#include "QK3DCamera.h"
#include "QK3DMatrix.h"
#include "QK3DMovableObject.h"
#include "QK3DOverlayItem.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderQueue.h"
#include "QK3DRenderTarget.h"
#include "QK3DRenderWindow.h"
#include "QK3DRenderableObject.h"
#include "QK3DViewport.h"
#include "RecordingRenderSystem.h"
#include <algorithm>
#include <array>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <memory>

namespace {
using namespace qk3d;

constexpr long long kForce = CRenderTarget::kForceUpdateTime;

class CListener : public CRenderTarget::CUpdateListener {
public:
    void OnRenderTargetPerUpdate(CRenderTarget*, long long) override {
        log += "per ";
        if (onPer) onPer();
    }
    void OnRenderTargetPostUpdate(CRenderTarget*, long long) override { log += "post "; }
    std::string Take() { return std::exchange(log, {}); }

    std::string log;
    std::function<void()> onPer;
};

// Draws nothing and says when it was asked to.
class CThing : public CRenderableObject {
public:
    CThing(std::string& log, char const* name, float depth = 0) : m_log(log), m_name(name), m_depth(depth) {}
    CTechnique* GetTechnique() override { return nullptr; }
    void GetWorldTransform(Matrix44* out) const override { *out = Matrix44::IDENTITY; }
    float GetSquaredViewDepth(CCamera*, long long) const override { return m_depth; }
    void GetRenderOperation(CRenderOperation&) const override {}
    std::function<void()> onRender;

protected:
    bool _PerRenderImpl(CRenderSystem*, long long) override {
        m_log += m_name + " ";
        if (onRender) onRender();
        return false;
    }

private:
    std::string& m_log;
    std::string m_name;
    float m_depth;
};

// A movable object that brings one thing to the screen.
class CHolder : public CMovableObject {
public:
    explicit CHolder(CThing& thing) : CMovableObject("holder"), m_thing(thing) {}
    string GetTypeName() override { return "CHolder"; }
    void AddRenderableObjectToRenderQueue(CRenderQueue& queue, CRenderSystem*) override {
        if (onAsk) onAsk();
        queue.AddRenderableObject(&m_thing);
    }
    void RenderRenderableObject(CRenderSystem* renderSystem, long long time) override {
        if (onAsk) onAsk();
        m_thing.Render(renderSystem, time);
    }
    std::function<void()> onAsk;

private:
    CThing& m_thing;
};

struct RenderTarget : ::testing::Test {
    RenderTarget() : window(device.CreateRenderWindow("win", 800, 600, PF_A8R8G8B8, false)) { device.TakeJournal(); }
    bool Draws(long long time) {
        CListener listener;
        window->AddUpdateListener(&listener);
        window->Update(time);
        window->RemoveUpdateListener(&listener);
        return listener.log == "per post ";
    }

    CRecordingRenderSystem device;
    CRenderWindow* window;
    CCamera camera{"camera"};
    std::string log;
};

TEST_F(RenderTarget, DrawsOncePerTimeAndAlwaysWhenForced) {
    EXPECT_TRUE(Draws(5));
    EXPECT_FALSE(Draws(5));
    EXPECT_TRUE(Draws(kForce));
    EXPECT_TRUE(Draws(kForce));
    EXPECT_FALSE(Draws(5)) << "a forced update leaves no record";
    EXPECT_TRUE(Draws(-3));
    window->SetAutoUpdate(false);
    EXPECT_TRUE(Draws(-3));
    EXPECT_TRUE(Draws(-3));
    window->SetAutoUpdate(true);
    EXPECT_FALSE(Draws(-3));
    window->SetAutoUpdate(false); // forgets the time
    window->SetAutoUpdate(true);
    EXPECT_TRUE(Draws(-3));
}

TEST_F(RenderTarget, ClearsFirstAndThenAsItIsTold) {
    window->SetIsClearPerUpdate(false);
    EXPECT_TRUE(Draws(1));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 1u);
    EXPECT_FALSE(Draws(2)) << "nothing would change";
    EXPECT_FALSE(Draws(kForce));
    window->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    EXPECT_TRUE(Draws(2));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 1u);
    window->SetIsClearPerUpdate(true);
    EXPECT_TRUE(Draws(3));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 2u);
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

TEST_F(RenderTarget, DoesNothingWhereItCannotBeBound) {
    device.Refuse("SetRenderTarget");
    EXPECT_FALSE(Draws(1));
    EXPECT_EQ(device.CountOf("ClearRenderTarget"), 0u);
    device.RefuseNothing();
}

TEST_F(RenderTarget, PutsBackWhatWasActiveUnlessItIsOnAutoUpdate) {
    CRenderWindow* const other = device.CreateRenderWindow("other", 8, 8, PF_A8R8G8B8, false);
    CViewport* const viewport = other->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    other->Update(1);
    ASSERT_EQ(device.GetActiveViewport(), viewport);
    window->SetAutoUpdate(false);
    window->Update(1);
    EXPECT_EQ(device.GetActiveRenderTarget(0), other);
    EXPECT_EQ(device.GetActiveViewport(), viewport);

    CListener listener;
    listener.onPer = [&] { device.DestroyRenderTarget("other"); };
    window->AddUpdateListener(&listener);
    window->Update(2);
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr);
    EXPECT_EQ(device.GetActiveViewport(), nullptr);

    window->SetAutoUpdate(true);
    window->Update(3);
    EXPECT_EQ(device.GetActiveRenderTarget(0), window);
    window->RemoveAllUpdateListener();
}

TEST_F(RenderTarget, GivesOutFreeZOrdersAndNeverATakenOne) {
    CViewport* const zero = window->AddViewport(&camera, 0, 0u, 0u, 1u, 1u);
    CViewport* const one = window->AddViewport(&camera, 1, 0.0f, 0.0f, 1.0f, 1.0f);
    EXPECT_EQ(zero->GetZOrder(), 0);
    EXPECT_EQ(window->AddViewport(&camera, 1, 0u, 0u, 1u, 1u), nullptr);
    CViewport* const next = window->AddViewport(&camera, 0, 0u, 0u, 1u, 1u); // 1 is taken by hand
    ASSERT_NE(next, nullptr);
    EXPECT_EQ(next->GetZOrder(), 2);
    EXPECT_EQ(window->GetViewport(1), one);
    EXPECT_EQ(window->GetViewportNum(), 3);
    next->SetZOrder(9);
    EXPECT_EQ(window->GetViewport(2), next) << "the key stays";
}

TEST_F(RenderTarget, LetsViewportsGoWhileTheyAreDrawn) {
    CThing first(log, "first"), second(log, "second");
    CViewport* const viewport = window->AddViewport(&camera, 1, 0u, 0u, 8u, 8u);
    viewport->AddRenderableObject(&first);
    viewport->AddRenderableObject(&second);
    window->AddViewport(&camera, 2, 0u, 0u, 8u, 8u)->AddRenderableObject(&second);
    first.onRender = [&] {
        window->RemoveViewport(1);
        window->RemoveViewport(2);
        window->AddViewport(&camera, 3, 0u, 0u, 8u, 8u)->AddRenderableObject(&second);
        window->AddViewport(&camera, -3, 0u, 0u, 8u, 8u)->AddRenderableObject(&second);
        EXPECT_EQ(window->GetViewport(1), nullptr);
    };
    window->Update(1);
    EXPECT_EQ(log, "first second second ") << "1 to its end, 2 not any more, 3 already, -3 next time";
    EXPECT_EQ(window->GetViewportNum(), 2);
    first.onRender = nullptr;
    window->RemoveAllViewport();
    EXPECT_EQ(device.GetActiveViewport(), nullptr);
}

TEST_F(RenderTarget, DrawsOverlayItemsOverItsViewportsWhileTheyComeAndGo) {
    struct CHears : COverlayItem::CRenderListener {
        void OnOverlayItemPerRender(COverlayItem* item, CRenderSystem*) override {
            log += item->GetName() + " ";
            if (onRender) onRender(item);
        }
        std::string log;
        std::function<void(COverlayItem*)> onRender;
    } hears;
    // An array, since items go by their addresses.
    std::array<std::unique_ptr<COverlayItem>, 4> items;
    for (std::size_t i = 0; i < items.size(); ++i) {
        items[i] = std::make_unique<COverlayItem>(nullptr, nullptr, std::to_string(i), 0, 0, 8, 8, short(0));
        items[i]->AddRenderListener(&hears);
    }
    std::sort(items.begin(), items.end());
    std::array<std::string, 4> names;
    for (std::size_t i = 0; i < items.size(); ++i) names[i] = items[i]->GetName() + " ";
    for (std::size_t i : {2u, 0u, 1u, 1u}) window->AddOverlayItem(items[i].get());

    CThing thing(hears.log, "thing");
    window->AddViewport(&camera, 0, 0u, 0u, 8u, 8u)->AddRenderableObject(&thing);
    window->Update(1);
    EXPECT_EQ(std::exchange(hears.log, {}), "thing " + names[0] + names[1] + names[2]);
    hears.onRender = [&](COverlayItem* item) {
        if (item != items[0].get()) return;
        window->AddOverlayItem(items[3].get());
        window->RemoveOverlayItem(items[0].get());
        items[1].reset(); // leaves the target by itself
    };
    window->Update(2);
    EXPECT_EQ(std::exchange(hears.log, {}), "thing " + names[0] + names[2] + names[3]);
    hears.onRender = nullptr;
    window->RemoveAllOverlayItem();
    window->Update(3);
    EXPECT_EQ(hears.log, "thing ");
    window->AddOverlayItem(items[2].get());
    device.DestroyRenderTarget("win"); // and the items outlive it
}

TEST_F(RenderTarget, IsNotDrawnInsideItselfAndOutlivesItsUpdate) {
    CListener listener;
    listener.onPer = [&] {
        window->Update(99);
        device.DestroyRenderTarget("win");
        EXPECT_EQ(device.GetRenderTarget("win"), nullptr);
        EXPECT_EQ(window->GetWidth(), 800u) << "it is still there";
    };
    window->AddUpdateListener(&listener);
    window->Update(1);
    EXPECT_EQ(listener.log, "per post ");
    EXPECT_EQ(device.GetActiveRenderTarget(0), nullptr);
}

TEST_F(RenderTarget, KeepsItsSizeWhenAResetFails) {
    CViewport* const viewport = window->AddViewport(&camera, 0, 0.5f, 0.25f, 0.5f, 0.5f);
    CViewport* const pixels = window->AddViewport(&camera, 1, 700u, 0u, 700u, 700u);
    device.Refuse("ResetTarget");
    EXPECT_FALSE(window->Reset(400, 200, PF_R5G6B5));
    EXPECT_EQ(window->GetWidth(), 800u);
    EXPECT_EQ(window->GetPixelFormat(), PF_A8R8G8B8);
    EXPECT_FALSE(window->ResetToFullScreen(400, 200, PF_R5G6B5));
    EXPECT_FALSE(window->IsFullScreen());
    device.RefuseNothing();
    EXPECT_TRUE(window->ResetToFullScreen(400, 200, PF_R5G6B5));
    EXPECT_EQ(viewport->GetActualLeft(), 200u) << "ranges follow";
    EXPECT_EQ(viewport->GetActualHeight(), 100u);
    EXPECT_EQ(pixels->GetActualLeft(), 700u);
    EXPECT_EQ(pixels->GetActualWidth(), 400u);
    device.TakeJournal();
    EXPECT_TRUE(window->ResetToFullScreen(1, 1, PF_L8));
    EXPECT_EQ(device.TakeJournal(), "");
    EXPECT_EQ(window->GetHeight(), 200u);
}

TEST_F(RenderTarget, CopiesOnlyInsideItsSystem) {
    CRecordingRenderSystem foreign("foreign");
    CRenderWindow* const far = foreign.CreateRenderWindow("far", 8, 8, PF_A8R8G8B8, false);
    EXPECT_FALSE(window->CopyToRenderTarget(nullptr, nullptr, 0, nullptr));
    EXPECT_FALSE(window->CopyToRenderTarget(far, nullptr, 0, nullptr));
    EXPECT_FALSE(window->CopyToTexture(nullptr, nullptr, 0, nullptr));
    EXPECT_EQ(device.CountOf("CopyToRenderTarget"), 0u);
    window->CopyToRenderTarget(window, nullptr, 0, nullptr);
    EXPECT_EQ(device.CountOf("CopyToRenderTarget"), 1u);
}

TEST_F(RenderTarget, TurnsFractionsOfItsSizeIntoPixels) {
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    struct { char const* what; float left, top, width, height; unsigned int l, t, w, h; } const rows[] = {
        {"halves and quarters", 0.5f, 0.25f, 0.5f, 0.5f, 400, 150, 400, 300},
        {"cut off, not rounded", 0.0012f, 0, 0.9999f, 1, 0, 0, 799, 600},
        {"more than all of it stays", 0, 0, 1.5f, 1, 0, 0, 1200, 600},
        {"nothing that is a number of pixels", -2, kNan, 1e30f, -0.1f, 0, 0, 0xFFFFFFFF, 0},
    };
    for (auto const& row : rows) {
        CViewport const viewport(&camera, window, row.left, row.top, row.width, row.height, 0);
        EXPECT_EQ(viewport.GetActualLeft(), row.l) << row.what;
        EXPECT_EQ(viewport.GetActualTop(), row.t) << row.what;
        EXPECT_EQ(viewport.GetActualWidth(), row.w) << row.what;
        EXPECT_EQ(viewport.GetActualHeight(), row.h) << row.what;
    }

    CViewport viewport(&camera, window, 0.0f, 0.0f, 1.5f, 0.5f, 0);
    viewport.SetHeight(10u);
    viewport.SetTop(7u);
    viewport.UpdateRange();
    EXPECT_EQ(viewport.GetActualWidth(), 800u);
    EXPECT_EQ(viewport.GetActualHeight(), 300u) << "the fraction wins";
    EXPECT_EQ(viewport.GetActualTop(), 7u) << "a fraction of 0 is none";
}

TEST_F(RenderTarget, DrawsTheListsOfAViewportSortedOrAtOnce) {
    CThing near(log, "near", 1), far(log, "far", 9), middle(log, "middle", 5), hidden(log, "hidden");
    CHolder holder(middle), hiddenHolder(near);
    hidden.SetVisible(false);
    hiddenHolder.SetVisible(false);
    CViewport* const viewport = window->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
    for (CThing* const thing : {&far, &near, &near, &hidden}) viewport->AddRenderableObject(thing);
    viewport->AddMovableObject(&hiddenHolder);
    viewport->AddMovableObject(&holder);
    viewport->AddMovableObject(nullptr);
    window->Update(1);
    EXPECT_EQ(std::exchange(log, {}), "near near middle far ");
    viewport->DisableSortRenderQueue();
    window->Update(2);
    EXPECT_EQ(std::exchange(log, {}), "middle far near near ");
    viewport->RemoveRenderableObject(&near); // one of the two
    window->Update(3);
    EXPECT_EQ(std::exchange(log, {}), "middle far near ");
    viewport->Update(4);
    EXPECT_EQ(std::exchange(log, {}), "middle far near ") << "its target is still the active one";
    viewport->SetVisible(false);
    viewport->Update(5);
    EXPECT_EQ(log, "");

    CViewport blind(nullptr, window, 0u, 0u, 8u, 8u, 0);
    blind.AddRenderableObjectFromAnotherViewport(*viewport);
    blind.AddRenderableObjectFromAnotherViewport(blind);
    blind.Update(6);
    EXPECT_EQ(log, "") << "no camera";
    EXPECT_EQ(std::distance(blind.EnumRenderableObjectBegin(), blind.EnumRenderableObjectEnd()), 6);
}

TEST_F(RenderTarget, LetsTheListsOfAViewportChangeWhileTheyAreWalked) {
    for (bool const sorted : {true, false}) {
        CThing a(log, "a", 1), b(log, "b", 2), c(log, "c", 3);
        CHolder first(a), second(b), third(c);
        CViewport* const viewport = window->AddViewport(&camera, 0, 0u, 0u, 8u, 8u);
        if (!sorted) viewport->DisableSortRenderQueue();
        for (CHolder* const holder : {&first, &second, &third}) viewport->AddMovableObject(holder);
        first.onAsk = [&] {
            viewport->RemoveMovableObject(&second); // the next one
            viewport->RemoveMovableObject(&first);
        };
        window->Update(kForce);
        EXPECT_EQ(std::exchange(log, {}), "a c ") << sorted;
        third.onAsk = [&] { viewport->Clear(); };
        window->Update(kForce);
        window->Update(kForce);
        EXPECT_EQ(std::exchange(log, {}), "c ") << sorted;
        window->RemoveViewport(0);
    }
}
} // namespace
