// OverlayTest.cpp: layout, drawing, scripts and trees of overlay items, on the recording device.
#include "AllocationCount.h"
#include "QK3DHardwareVertexBuffer.h"
#include "QK3DMain.h"
#include "QK3DMaterial.h"
#include "QK3DOverlayItem.h"
#include "QK3DOverlayManager.h"
#include "QK3DPass.h"
#include "QK3DRenderState.h"
#include "QK3DRenderWindow.h"
#include "QK3DResourceSystem.h"
#include "QK3DTexture.h"
#include "QK3DVertexBufferBinding.h"
#include "QKText.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestLog.h"
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <memory>

using namespace qk3d;

// For failure messages.
namespace qk3d {
std::ostream& operator<<(std::ostream& out, CBox const& box) {
    return out << '(' << box.x << ", " << box.y << ", " << box.width << ", " << box.height << ')';
}
} // namespace qk3d

namespace {
// Keeps the quads that are drawn.
struct Screen : CRecordingRenderSystem {
    struct Quad {
        float v[4][6]; // x, y, z, w, u, v
    };
    std::vector<Quad> quads;
    bool readsQuads = true;

    void Render(CRenderOperation const& operation) override {
        CRecordingRenderSystem::Render(operation);
        if (!readsQuads) return;
        Quad quad{};
        EXPECT_EQ(operation.m_shapeType, ST_TRIANGLESTRIP);
        EXPECT_EQ(operation.m_vertexData->GetVertexNum(), 4u);
        operation.m_vertexData->GetVertexBufferBinding()->GetSource(0)->ReadData(0, sizeof quad.v, quad.v);
        quads.push_back(quad);
    }
    // The left upper corners of what was drawn, in order: "10,20 30,40".
    std::string TakeCorners() {
        std::string text;
        for (Quad const& quad : quads)
            text += (text.empty() ? "" : " ") + std::to_string(std::lround(quad.v[1][0])) + ',' +
                    std::to_string(std::lround(quad.v[1][1]));
        quads.clear();
        return text;
    }
};

// A texture that code made, found by name.
_ResourceSharePtr<CTexture> MakeTexture(string const& name, unsigned int width = 64, unsigned int height = 32) {
    qklib::CSharePtr<CResourceLoader> none;
    _ResourceSharePtr<CTexture> texture =
        CQK3DMain::GetResourceSystem().CreateResource("CTexture", "", name, false, none);
    texture->SetWidth(width);
    texture->SetHeight(height);
    return texture;
}

class OverlayTest : public testing::Test {
public:
    OverlayTest() { CQK3DMain::GetQK3DMain(); }

    COverlayItem* Item(string const& name, int x = 0, int y = 0, int width = 8, int height = 8) {
        return manager->CreateOverlayItem(name, x, y, width, height, 0);
    }
    void Frame() {
        manager->Update();
        for (COverlayItem* const item : drawn) item->Render(&screen, 1);
    }
    COverlayItem* Shown(COverlayItem* item) {
        item->SetTexture("pic");
        return item;
    }

    CTestLog log;
    Screen screen;
    _ResourceSharePtr<CTexture> picture = MakeTexture("pic");
    std::unique_ptr<COverlayManager> manager = std::make_unique<COverlayManager>();
    std::vector<COverlayItem*> drawn; // the items of the screen
};

TEST_F(OverlayTest, LaysOutEachNumberByItsForm) {
    constexpr int kMin = -2147483647 - 1, kMax = 2147483647;
    // A form is a percent or a pixel, for x, y, width and height.
    struct {
        char const* what;
        CBox parent;
        float range[4];
        char const* forms;
        CBox box;
    } const rows[] = {
        {"fractions", {100, 100, 200, 100}, {.25f, .25f, .5f, .5f}, "%%%%", {150, 125, 100, 50}},
        {"pixels from the far edge", {100, 0, 200, 50}, {-10, -20, 5, -10}, "pppp", {290, 30, 5, 40}},
        {"pixels", {100, 7, 200, 50}, {3, 4, 5, 6}, "pppp", {103, 11, 5, 6}},
        {"a mixture", {10, 10, 100, 100}, {10, .5f, .5f, 32}, "p%%p", {20, 60, 50, 32}},
        {"fractions of nothing", {0, 0, 0, 0}, {.25f, .25f, .5f, .5f}, "%%%%", {0, 0, 0, 0}},
        {"a hair short of whole", {0, 0, 100, 100}, {.53f, .59f, .53f, .59f}, "%%%%", {53, 59, 53, 59}},
        {"toward zero below zero", {-10, 0, 5, 5}, {.5f, 0, 1, 1}, "%%%%", {-7, 0, 5, 5}},
        {"beyond all integers", {0, 0, 10, 10}, {3e38f, -3e38f, 3e38f, 3e38f}, "%%%%", {kMax, kMin, kMax, kMax}},
        {"the same in pixels", {kMax, 0, 10, 10}, {9, -2e9f, 2e9f, 1}, "pppp", {kMax, -1999999990, 2000000000, 1}},
    };
    for (auto const& row : rows) {
        COverlayItem item(nullptr, nullptr, "i", 1, 1, 1, 1, 0);
        auto const [x, y, width, height] = row.range;
        row.forms[0] == 'p' ? item.SetX(static_cast<int>(x)) : item.SetXAsPercent(x);
        row.forms[1] == 'p' ? item.SetY(static_cast<int>(y)) : item.SetYAsPercent(y);
        row.forms[2] == 'p' ? item.SetWidth(static_cast<int>(width)) : item.SetWidthAsPercent(width);
        row.forms[3] == 'p' ? item.SetHeight(static_cast<int>(height)) : item.SetHeightAsPercent(height);
        item.Update(false, row.parent);
        EXPECT_EQ(item.GetAbsoluteBox(), row.box) << row.what;
    }
}

TEST_F(OverlayTest, SettersChangeFormAndBoxByTheirOwnRules) {
    // Starts at (10, 20, 30, 40) in pixels, or in percent at the same numbers; the parent box is (0, 0, 2, 2), so that
    // a form shows in the box: twice the number or the number itself.
    struct {
        char const* what;
        bool isPercent;
        std::function<void(COverlayItem&)> set;
        CBox box;
    } const rows[] = {
        {"the stored position in pixels", true, [](auto& i) { i.SetPosition(10, 20); }, {20, 40, 60, 80}},
        {"another position", true, [](auto& i) { i.SetPosition(10, 21); }, {10, 21, 60, 80}},
        {"the stored position in percent", false, [](auto& i) { i.SetPositionAsPercent(10, 20); }, {10, 20, 30, 40}},
        {"another one in percent", false, [](auto& i) { i.SetPositionAsPercent(10, 21); }, {20, 42, 30, 40}},
        {"the stored x in pixels", true, [](auto& i) { i.SetX(10); }, {10, 40, 60, 80}},
        {"the stored y in percent", false, [](auto& i) { i.SetYAsPercent(20); }, {10, 40, 30, 40}},
        {"the stored size in pixels", true, [](auto& i) { i.SetSize(30, 40); }, {20, 40, 60, 80}},
        {"another size in percent", false, [](auto& i) { i.SetSizeAsPercent(1, 1); }, {10, 20, 2, 2}},
        {"a width alone", false, [](auto& i) { i.SetWidth(50); }, {10, 20, 30, 40}},
        {"a width, then something else", false, [](auto& i) { i.SetWidth(50), i.SetX(11); }, {11, 20, 50, 40}},
        {"a height in percent, then something else",
         false,
         [](auto& i) { i.SetHeightAsPercent(50), i.SetX(11); },
         {11, 20, 30, 100}},
        {"a scale", true, [](auto& i) { i.Scale(.5f, 2); }, {20, 40, 30, 160}},
        {"a translation in pixels", false, [](auto& i) { i.Translation(-1, 2); }, {9, 22, 30, 40}},
        {"a translation of a percent position", true, [](auto& i) { i.Translation(-1, 2); }, {19, 42, 60, 80}},
    };
    CBox const parent(0, 0, 2, 2);
    for (auto const& row : rows) {
        COverlayItem pixels(nullptr, nullptr, "i", 10, 20, 30, 40, 0);
        COverlayItem percents(nullptr, nullptr, "i", 10.0f, 20.0f, 30.0f, 40.0f, 0);
        COverlayItem& item = row.isPercent ? percents : pixels;
        item.Update(false, parent);
        row.set(item);
        item.Update(false, parent);
        EXPECT_EQ(item.GetAbsoluteBox(), row.box) << row.what;
    }
}

TEST_F(OverlayTest, MovesSubItemsWithTheirParentAndThoseOfHiddenOnesLater) {
    COverlayItem* const panel = Item("panel", 100, 100, 200, 100);
    COverlayItem* const sub = panel->CreateSubItem("sub");
    COverlayItem* const leaf = sub->CreateSubItem("leaf");
    sub->SetPositionAsPercent(.5f, .5f);
    sub->SetSize(10, 10);
    leaf->SetPosition(1, 1);
    manager->Update();
    EXPECT_EQ(leaf->GetAbsoluteBox(), CBox(201, 151, 0, 0));
    panel->SetX(0);
    EXPECT_EQ(sub->GetAbsoluteBox(), CBox(200, 150, 10, 10)) << "a move of the parent shows at the update";
    manager->Update();
    EXPECT_EQ(leaf->GetAbsoluteBox(), CBox(101, 151, 0, 0));

    sub->SetVisible(false);
    panel->SetX(50);
    manager->Update();
    EXPECT_EQ(leaf->GetAbsoluteBox(), CBox(101, 151, 0, 0));
    sub->SetVisible(true);
    manager->Update();
    EXPECT_EQ(leaf->GetAbsoluteBox(), CBox(151, 151, 0, 0));

    leaf->SetPosition(2, 2);
    EXPECT_EQ(leaf->GetAbsoluteBox(), CBox(152, 152, 0, 0)) << "asked for between updates";
    for (auto const& [x, y, isIn] : {std::tuple{50.f, 100.f, true}, {250.f, 200.f, true}, {250.5f, 200.f, false}})
        EXPECT_EQ(panel->IsPointInRange({x, y}), isIn) << x << ", " << y;
}

TEST_F(OverlayTest, KeepsATreeByName) {
    COverlayItem* const a = Item("a");
    EXPECT_EQ(Item("a"), nullptr);
    EXPECT_EQ(manager->CreateOverlayItem("", "a"), nullptr);
    COverlayItem* const b = a->CreateSubItem("b");
    COverlayItem* const c = b->CreateSubItem("c");
    EXPECT_EQ(a->CreateSubItem("b"), nullptr);
    EXPECT_EQ(a->CreateSubItem("", "b"), nullptr);
    EXPECT_EQ(a->GetSubItemNum(), 1);
    EXPECT_EQ(manager->GetOverlayItem("a.b.c"), c);
    for (char const* const path : {"b", "a.c", "a.b.", "a..c", ".a", "", "a.b.c.d"})
        EXPECT_EQ(manager->GetOverlayItem(path), nullptr) << path;
    EXPECT_EQ(c->GetParent(), b);
    EXPECT_EQ(c->GetOverlayManager(), manager.get());
    EXPECT_EQ(Item("")->GetName().substr(0, 2), "OI");
    EXPECT_EQ(a->CreateSubItem("")->GetName().size(), 15u);

    a->DestroySubItem(c); // not its own
    a->DestroySubItem("none");
    a->DestroySubItem(static_cast<COverlayItem*>(nullptr));
    EXPECT_EQ(manager->GetOverlayItem("a.b.c"), c);
    delete c; // an item may go by itself too
    EXPECT_EQ(b->GetSubItemNum(), 0);
    a->DestroySubItem(b);
    EXPECT_EQ(a->GetSubItem("b"), nullptr);
    delete a;
    EXPECT_EQ(manager->GetOverlayItem("a"), nullptr);
    manager->DestroyOverlayItem("a");
}

TEST_F(OverlayTest, DrawsAQuadInPixelsWithItsPartOfTheTexture) {
    COverlayItem* const item = Shown(Item("i", 10, 20, 30, 40));
    item->SetTexturePositionAsPixel(16, 8);
    item->SetTextureSize(.5f, .25f);
    drawn = {item};
    Frame();
    ASSERT_EQ(screen.quads.size(), 1u);
    float const u = picture->ConvertToU(16), v = picture->ConvertToV(8);
    float const u2 = u + picture->ConvertToU(.5f), v2 = v + picture->ConvertToV(.25f);
    float const expected[4][6] = {
        {10, 60, 0, 1, u, v2}, {10, 20, 0, 1, u, v}, {40, 60, 0, 1, u2, v2}, {40, 20, 0, 1, u2, v}};
    for (int i = 0; i < 4; ++i)
        for (int j = 0; j < 6; ++j) EXPECT_FLOAT_EQ(screen.quads[0].v[i][j], expected[i][j]) << i << ' ' << j;

    // A quarter turn round the centre of the box, which stays the centre when the item moves.
    item->RotateSelf({25, 40}, std::acos(0.0f));
    item->SetPosition(110, 20);
    screen.quads.clear();
    Frame();
    auto const& turned = screen.quads.at(0).v;
    EXPECT_NEAR((turned[0][0] + turned[3][0]) / 2, 125, .01);
    EXPECT_NEAR((turned[0][1] + turned[3][1]) / 2, 40, .01);
    EXPECT_NEAR(std::fabs(turned[0][0] - turned[3][0]), 40, .1) << "width and height change places";
}

TEST_F(OverlayTest, DrawsParentsBelowAndSiblingsByZOrderThenAddress) {
    COverlayItem* const panel = Shown(Item("panel", 1, 0));
    struct {
        char const* name;
        short zOrder;
    } const subs[] = {{"a", 5}, {"b", 2}, {"c", 5}, {"hidden", 3}, {"d", -1}};
    std::vector<COverlayItem*> same;
    for (auto const& [name, zOrder] : subs) {
        COverlayItem* const sub = Shown(panel->CreateSubItem(name));
        sub->SetPosition(zOrder * 10, static_cast<int>(name[0]));
        sub->SetZOrder(zOrder);
        if (zOrder == 5) same.push_back(sub);
        sub->SetVisible(zOrder != 3);
    }
    drawn = {panel};
    Frame();
    std::string const low = std::min(same[0], same[1], std::less<>()) == same[0] ? "51,97 51,99" : "51,99 51,97";
    // d stands 10 pixels left of the far edge: 8 - 10 + 1.
    EXPECT_EQ(screen.TakeCorners(), "1,0 -1,100 21,98 " + low);

    panel->SetVisible(false);
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "");
}

TEST_F(OverlayTest, DrawsNothingForAnItemWithoutATexture) {
    COverlayItem* const group = Item("group", 1, 1);
    Shown(group->CreateSubItem("sub"))->SetPosition(5, 5);
    COverlayItem* const missing = Item("missing", 2, 2);
    missing->SetTexture("no such file.png");
    drawn = {group, missing};
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "6,6");
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "6,6");
    EXPECT_EQ(log.TakeLines().size(), 1u) << "a texture that is not there is looked for once";

    // Each way of getting one later shows at the next frame, and so does losing it.
    Shown(group);
    missing->SetTexture("no such file either.png");
    missing->SetTexture(picture); // the name counts no more
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "1,1 6,6 2,2");
    group->SetTexture("");
    missing->SetTexture(_ResourceSharePtr<CTexture>());
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "6,6");
    EXPECT_FALSE(group->GetTexture());
    missing->SetTexture(picture);
    missing->Render(&screen, 1);
    EXPECT_EQ(screen.TakeCorners(), "2,2") << "without an update in between";
}

TEST_F(OverlayTest, HasItsOwnColourAndSharesTheRest) {
    COverlayItem* const a = Shown(Item("a"));
    COverlayItem* const b = Shown(Item("b"));
    a->SetColor(0x80112233u);
    drawn = {a, b};
    Frame();
    auto const factor = [](COverlayItem* item) {
        return item->GetPass()->GetRenderState()->GetState(CRenderState::TEXTUREFACTOR);
    };
    EXPECT_EQ(factor(a), 0x80112233u) << "set before there was a block";
    EXPECT_EQ(factor(b), 0xFFFFFFFFu);
    b->SetAlpha(0x7F);
    EXPECT_EQ(factor(b), 0x7FFFFFFFu);
    EXPECT_EQ(b->GetAlpha(), 0x7Fu);
    EXPECT_TRUE(a->GetPass()->GetTextureState(0) == b->GetPass()->GetTextureState(0));
    EXPECT_TRUE(a->GetPass()->GetSamplerState(0) == b->GetPass()->GetSamplerState(0));
    EXPECT_TRUE(CQK3DMain::GetResourceSystem().IsResourceExist("CTextureState", "_OverlayTextureState"));

    screen.TakeJournal();
    a->Render(&screen, 2);
    std::string const journal = screen.TakeJournal();
    for (char const* const line : {"SetTextureFactor #80112233", "SetTexture 0"})
        EXPECT_NE(journal.find(line), std::string::npos) << line << " in\n" << journal;
}

TEST_F(OverlayTest, GivesABlankItemATextureOfItsSize) {
    COverlayItem* const item = Item("i", 0, 0, 16, 8);
    item->SetTexture("Blank");
    drawn = {item};
    Frame();
    auto const texture = item->GetTexture();
    ASSERT_TRUE(texture);
    EXPECT_EQ(texture->GetWidth(), 16u);
    EXPECT_EQ(texture->GetHeight(), 8u);
    EXPECT_EQ(texture->GetLoadingState(), LOADSTATE_LOADED);
    item->SetSizeAsPercent(1, 1);
    Frame();
    EXPECT_EQ(item->GetTexture()->GetWidth(), 16u) << "only a size in pixels makes a new one";
    item->SetSize(32, 4);
    Frame();
    EXPECT_EQ(item->GetTexture()->GetWidth(), 32u);
    EXPECT_EQ(item->GetTexture()->GetLoadingState(), LOADSTATE_LOADED);
    EXPECT_EQ(texture->GetWidth(), 16u) << "what others hold of it is left to them";

    COverlayItem* const shown = Shown(Item("shown"));
    Frame();
    shown->SetTexture("Blank");
    Frame();
    EXPECT_EQ(picture->GetWidth(), 64u) << "a picture that was shown before is not emptied";
}

TEST_F(OverlayTest, FollowsTheDeviceAndItsRefusals) {
    COverlayItem* const item = Shown(Item("i", 3, 3));
    Shown(item->CreateSubItem("sub"))->SetPosition(1, 1);
    screen.Refuse("CreateBuffer");
    drawn = {item};
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "");
    screen.RefuseNothing();
    screen.Refuse("LockBuffer");
    Frame();
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "") << "a quad that was never written is not drawn";
    screen.RefuseNothing();
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "3,3 4,4");

    Screen other;
    item->Render(&other, 2);
    EXPECT_EQ(other.TakeCorners(), "3,3 4,4") << "written anew before it is drawn";
    EXPECT_EQ(picture->GetRenderSystem(), &other);
    item->Render(nullptr, 3);
    item->Render(&screen, 4);
    EXPECT_EQ(screen.TakeCorners(), "3,3 4,4");
    manager.reset();
}

TEST_F(OverlayTest, CostsNothingWhileNothingChanges) {
    screen.readsQuads = false;
    COverlayItem* const panel = Shown(Item("a panel with a long name"));
    for (int i = 0; i < 1000; ++i) {
        COverlayItem* const sub = Shown(panel->CreateSubItem("sub-item with a long name " + std::to_string(i)));
        sub->SetSize(1 + i % 7, 5);
    }
    drawn = {panel};
    screen.CountOnly();
    Frame();
    Frame();
    screen.ResetCounts();
    AllocationCount const allocations;
    Frame();
    EXPECT_EQ(allocations.Get(), 0u);
    EXPECT_EQ(screen.CountOf("Render"), 1001u);
    EXPECT_EQ(screen.CountOf("LockBuffer"), 0u);
    panel->GetSubItem("sub-item with a long name 7")->SetX(3);
    Frame();
    EXPECT_EQ(screen.CountOf("LockBuffer"), 1u);
}

// Does something once, when an item tells of itself.
struct Meddler : COverlayItem::CUpdateListener, COverlayItem::CRenderListener {
    std::function<void(COverlayItem*)> action;
    std::string heard;
    void Hear(char const* what, COverlayItem* item) {
        heard += what + item->GetName() + ' ';
        if (auto const act = std::exchange(action, nullptr)) act(item);
    }
    void OnOverlayItemPerUpdate(COverlayItem* item) override { Hear("+", item); }
    void OnOverlayItemPostUpdate(COverlayItem* item) override { Hear("-", item); }
    void OnOverlayItemPerRender(COverlayItem* item, CRenderSystem*) override { Hear("<", item); }
    void OnOverlayItemPostRender(COverlayItem* item, CRenderSystem*) override { Hear(">", item); }
};

TEST_F(OverlayTest, LetsListenersChangeTheTree) {
    using Action = void (*)(OverlayTest&, COverlayItem&, Meddler&);
    struct {
        char const* what;
        char const* at; // the notification in which it happens, of an item p with sub-items a, b and c
        Action act;
    } const rows[] = {
        {"destroy the next", "a", [](OverlayTest&, COverlayItem& p, Meddler&) { p.DestroySubItem("b"); }},
        {"destroy the last", "a", [](OverlayTest&, COverlayItem& p, Meddler&) { p.DestroySubItem("c"); }},
        {"destroy itself", "b", [](OverlayTest&, COverlayItem& p, Meddler&) { p.DestroySubItem("b"); }},
        {"destroy one before", "b", [](OverlayTest&, COverlayItem& p, Meddler&) { p.DestroySubItem("a"); }},
        {"destroy the whole tree", "b",
         [](OverlayTest& test, COverlayItem&, Meddler&) { test.manager->DestroyOverlayItem("p"); }},
        {"destroy it all from its own call", "p",
         [](OverlayTest& test, COverlayItem&, Meddler&) { test.manager->DestroyAllOverlayItem(); }},
        {"destroy the manager", "b", [](OverlayTest& test, COverlayItem&, Meddler&) { test.manager.reset(); }},
        {"add one behind", "b", [](OverlayTest&, COverlayItem& p, Meddler&) { p.CreateSubItem("bb"); }},
        {"add one in front", "c", [](OverlayTest&, COverlayItem& p, Meddler&) { p.CreateSubItem("0"); }},
        {"remove its listeners", "p",
         [](OverlayTest&, COverlayItem& p, Meddler&) { p.RemoveAllRenderListener(), p.RemoveAllUpdateListener(); }},
        {"update again", "a", [](OverlayTest&, COverlayItem& p, Meddler&) { p.Update(true, CBox()); }},
    };
    for (auto const& row : rows) {
        for (bool const isRender : {false, true}) {
            for (bool const isBefore : {true, false}) {
                manager = std::make_unique<COverlayManager>();
                COverlayItem* const p = Shown(Item("p"));
                Meddler meddler;
                for (char const* const name : {"c", "a", "b"}) Shown(p->CreateSubItem(name));
                COverlayItem* const at = row.at[0] == 'p' ? p : p->GetSubItem(row.at);
                at->AddUpdateListener(&meddler);
                at->AddRenderListener(&meddler);
                meddler.action = [&](COverlayItem*) {
                    if (isBefore) return row.act(*this, *p, meddler);
                    meddler.action = [&](COverlayItem*) { row.act(*this, *p, meddler); };
                };
                if (isRender)
                    p->Render(&screen, 1);
                else
                    manager->Update();
                if (manager) manager->Update(); // whatever is left is whole
                EXPECT_FALSE(meddler.action) << row.what << " at " << meddler.heard;
            }
        }
    }
}

TEST_F(OverlayTest, TellsListenersInOrder) {
    COverlayItem* const p = Item("p");
    Meddler meddler;
    for (COverlayItem* const item : {p, p->CreateSubItem("s"), p->CreateSubItem("hidden")}) {
        item->AddUpdateListener(&meddler);
        item->AddRenderListener(&meddler);
        item->SetVisible(item->GetName() != "hidden");
    }
    drawn = {p};
    Frame();
    EXPECT_EQ(meddler.heard, "+p +hidden -hidden +s -s -p <p <s >s >p ");
}

TEST_F(OverlayTest, LeavesItsRenderTargetsWhenItDies) {
    CRenderWindow* const window = screen.CreateRenderWindow("w", 32, 32, PF_A8R8G8B8, false);
    for (char const* const name : {"a", "b", "c"}) window->AddOverlayItem(Shown(Item(name)));
    Meddler meddler;
    meddler.action = [&](COverlayItem*) { manager->DestroyAllOverlayItem(); };
    manager->GetOverlayItem("b")->AddRenderListener(&meddler);
    screen.UpdateAllRenderTarget(1);
    screen.UpdateAllRenderTarget(2);
    EXPECT_LE(screen.quads.size(), 2u);

    COverlayItem* const last = Item("d");
    window->AddOverlayItem(last);
    screen.DestroyAllRenderTarget(); // the other way round
    manager->DestroyAllOverlayItem();
}

TEST_F(OverlayTest, CopiesLooksAndOwnsNothingTwice) {
    COverlayItem* const item = Shown(Item("i", 10, 20, 30, 40));
    Meddler meddler;
    item->AddUpdateListener(&meddler);
    item->CreateSubItem("sub");
    item->SetColor(0xFF00FF00u);
    drawn = {item};
    Frame();
    {
        COverlayItem copy(*item);
        EXPECT_EQ(copy.GetSubItemNum(), 0);
        EXPECT_EQ(copy.GetParent(), nullptr);
        EXPECT_EQ(copy.GetAbsoluteBox(), item->GetAbsoluteBox());
        copy.SetPosition(50, 60);
        copy.SetColor(0xFF0000FFu);
        meddler.heard.clear();
        copy.Update(false, CBox());
        EXPECT_EQ(meddler.heard, "");
        screen.quads.clear();
        copy.Render(&screen, 1);
        Frame();
        EXPECT_EQ(screen.TakeCorners(), "50,60 10,20");
        EXPECT_EQ(item->GetPass()->GetRenderState()->GetState(CRenderState::TEXTUREFACTOR), 0xFF00FF00u);

        COverlayItem* const sub = item->GetSubItem("sub");
        *sub = copy;
        EXPECT_EQ(sub->GetName(), "sub");
        EXPECT_EQ(item->GetSubItem("sub"), sub);
        *sub = *sub;
    }
    EXPECT_EQ(manager->GetOverlayItem("i"), item) << "the end of a copy takes no entry out";
    Frame();
    EXPECT_EQ(screen.TakeCorners(), "10,20 60,80");
}

TEST_F(OverlayTest, SharesALayoutThatOutlivesAnyOneManager) {
    COverlayManager other;
    COverlayItem* const kept = Shown(other.CreateOverlayItem("kept", 1, 2, 3, 4, 0));
    kept->Render(&screen, 1);
    manager.reset();
    kept->SetPosition(5, 6);
    other.Update();
    kept->Render(&screen, 2);
    EXPECT_EQ(screen.TakeCorners(), "1,2 5,6");
    other.DestroyAllOverlayItem();
    { COverlayManager const last; }

    COverlayItem first(nullptr, nullptr, "f", 7.0f, 8.0f, 1.0f, 1.0f, 0); // with the constructor for fractions
    Shown(&first)->Render(&screen, 3);
    EXPECT_EQ(screen.TakeCorners(), "7,8");
}

TEST_F(OverlayTest, ReadsScriptsKeyByKeyAndSkipsWhatIsNone) {
    // Every script goes to an item at (1, 2, 3, 4) in pixels, z-order 9, in the parent box (0, 0, 100, 100).
    struct {
        char const* what;
        char const* script;
        bool good;
        CBox box;
        int zOrder = 9;
        bool isVisible = true;
        int subItems = 0;
    } const rows[] = {
        {"all of it",
         R"({"Range": [10, 0.5, 0.25, -40], "ZOrder": 3, "Visible": true, "SubItems": [{}, {}]})",
         true,
         {10, 50, 25, 60},
         3,
         true,
         2},
        {"comments and unknown keys",
         R"({/* x */ "Rang": [1], "range": [7], "Extra": {"Range": [7]}})",
         true,
         {1, 2, 3, 4}},
        {"two numbers", R"({"Range": [10, 11]})", true, {10, 11, 3, 4}},
        {"five numbers", R"({"Range": [10, 10, 20, 20, 99]})", true, {10, 10, 20, 4}},
        {"no numbers", R"({"Range": []})", true, {1, 2, 3, 4}},
        {"a whole number with a point", R"({"Range": [2.0]})", true, {2, 2, 3, 4}},
        {"wrong types in a range", R"({"Range": ["x", null, {}, [1]]})", true, {1, 2, 3, 4}},
        {"huge numbers", R"({"Range": [1e300, -3000000000, 1e20, 4]})", true, {1, -2147483647 - 1, 2147483647, 4}},
        {"wrong types everywhere",
         R"({"Range": 1, "TextureRange": {}, "ZOrder": "2", "Texture": 5, "RenderState": [], "TextureState": {},
             "SamplerState": 1.5, "Visible": "no", "SubItems": {"Name": "x"}})",
         true,
         {1, 2, 3, 4}},
        {"a z-order with a fraction", R"({"ZOrder": 1.5})", true, {1, 2, 3, 4}, 9},
        {"a z-order that is cut", R"({"ZOrder": 65537})", true, {1, 2, 3, 4}, 1},
        {"hidden", R"({"Visible": false})", true, {1, 2, 3, 4}, 9, false},
        {"hidden by a number", R"({"Visible": 0})", true, {1, 2, 3, 4}, 9, false},
        {"entries that are no items",
         R"({"SubItems": [1, "x", null, [], {"Name": "a"}, {"Name": 5}]})",
         true,
         {1, 2, 3, 4},
         9,
         true,
         2},
        {"a name given twice",
         R"({"SubItems": [{"Name": "a", "ZOrder": 1}, {"Name": "a", "ZOrder": 2}, {"Name": "b"}]})",
         true,
         {1, 2, 3, 4},
         9,
         true,
         2},
        {"a list", "[1, 2]", false, {1, 2, 3, 4}},
        {"no script", "Range: 1", false, {1, 2, 3, 4}},
        {"neither text of any kind", "\xff\xfe\x81\x20\x80{\xff", false, {1, 2, 3, 4}},
        {"a name that is no text", "{\"ZOrder\": 3, \"SubItems\": [{\"Name\": \"\xff\xff\"}]}", false, {1, 2, 3, 4}},
        {"cut off", R"({"Range": [10, 10)", false, {1, 2, 3, 4}},
        {"nothing", "", false, {1, 2, 3, 4}},
    };
    for (auto const& row : rows) {
        COverlayItem item(nullptr, nullptr, "i", 1, 2, 3, 4, 9);
        EXPECT_EQ(item.SetFromScript(row.script), row.good) << row.what;
        item.Update(false, CBox(0, 0, 100, 100));
        EXPECT_EQ(item.GetAbsoluteBox(), row.box) << row.what;
        EXPECT_EQ(item.GetZOrder(), row.zOrder) << row.what;
        EXPECT_EQ(item.IsVisible(), row.isVisible) << row.what;
        EXPECT_EQ(item.GetSubItemNum(), row.subItems) << row.what;
    }

    std::string deep = R"({"ZOrder": 1})";
    for (int i = 0; i < 100; ++i) deep = R"({"SubItems": [)" + deep + "]}";
    COverlayItem item(nullptr, nullptr, "i", 1, 2, 3, 4, 9);
    EXPECT_TRUE(item.SetFromScript(deep));
    std::string tooDeep;
    for (int i = 0; i < 100'000; ++i) tooDeep += R"({"SubItems": [)";
    EXPECT_FALSE(item.SetFromScript(tooDeep));
    EXPECT_EQ(item.GetSubItemNum(), 1);
}

TEST_F(OverlayTest, FindsAndReadsScriptFiles) {
    TempFolder const folder;
    folder.Write("two/Panel.json", "{\"Range\": [1, 2, 3, 4], \"SubItems\": [{\"Name\": \"\xe4\xb8\xad\"}]}"); // UTF-8
    folder.Write("two/broken.json", "{\"Range\": [1, 2, 3, 4], \"ZOrder\":");
    folder.Write("two/list.json", "[]");
    folder.Write("two/empty.json", "");
    folder.Write("two/gbk.json", "{\"SubItems\": [{\"Name\": \"\xd6\xd0\"}]}");
    string path = "panel.json";
    EXPECT_FALSE(manager->CheckScriptFileExist(path)) << "no folders yet";
    manager->AddOverlayScriptDirPath(folder.Path("one"));
    manager->AddOverlayScriptDirPath(folder.Path("two"));
    EXPECT_TRUE(manager->CheckScriptFileExist(path));
    EXPECT_EQ(path, qklib::ToLowerNarrow(folder.Path("two/panel.json")));
    EXPECT_TRUE(manager->CheckScriptFileExist(path)) << "an absolute path stands for itself";
    for (string wrong : {"", "none.json", "/none.json", "C:\\none.json"}) {
        string const before = wrong;
        EXPECT_FALSE(manager->CheckScriptFileExist(wrong)) << before;
        EXPECT_EQ(wrong, before);
    }

    COverlayItem* const item = manager->CreateOverlayItem("Panel.json", "panel");
    EXPECT_EQ(item->GetAbsoluteBox(), CBox(1, 2, 3, 4));
    EXPECT_NE(item->GetSubItem("\xd6\xd0"), nullptr) << "names are narrow text inside";
    EXPECT_NE(manager->CreateOverlayItem("gbk.json", "gbk")->GetSubItem("\xd6\xd0"), nullptr);
    EXPECT_EQ(item->CreateSubItem("panel.json", "sub")->GetSize(), Vector2(3, 4));
    EXPECT_NE(manager->CreateOverlayItem("none.json", "none"), nullptr);
    EXPECT_TRUE(log.TakeLines().empty()) << "a file that is not found is no matter for the log";

    struct {
        char const* file;
        char const* text;
    } const rows[] = {{"broken.json", "Overlay Script File Error : "},
                      {"list.json", "Overlay Script File Error : "},
                      {"empty.json", "Overlay Script File No Find : "}};
    for (auto const& [file, text] : rows) {
        string const line = text + qklib::ToLowerNarrow(folder.Path(string("two/") + file));
        EXPECT_EQ(manager->CreateOverlayItem(file, file)->GetSize(), Vector2(0, 0));
        EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_WARNING, "The " + line}}));
        EXPECT_EQ(item->CreateSubItem(file, file)->GetSize(), Vector2(0, 0));
        EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_WARNING, line}}));
    }
    manager->RemoveOverlayScriptDirPath(folder.Path("two"));
    path = "panel.json";
    EXPECT_FALSE(manager->CheckScriptFileExist(path));
}
} // namespace
