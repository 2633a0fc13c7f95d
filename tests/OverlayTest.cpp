// OverlayTest.cpp: layout, drawing, scripts and trees of overlay items, on the recording device.
#include "AllocationCount.h"
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TempFolder.h"
#include "TestFiles.h"
#include "TestLog.h"
#include <cmath>
#include <sstream>

using namespace qk3d;

namespace {
struct Screen : CRecordingRenderSystem {
    std::string corners; // the left upper ones of the quads that are drawn, in order: "10,20 30,40 "

    void Render(CRenderOperation const& operation) override {
        float v[4][6]; // x, y, z, w, u, v
        operation.m_vertexData->GetVertexBufferBinding()->GetSource(0)->ReadData(0, sizeof v, v);
        corners += std::to_string(std::lround(v[1][0])) + ',' + std::to_string(std::lround(v[1][1])) + ' ';
    }
    std::string TakeCorners() { return std::exchange(corners, std::string()); }
};

class OverlayTest : public testing::Test {
public:
    COverlayItem* Item(string const& name, int x = 0, int y = 0, int width = 8, int height = 8) {
        return manager->CreateOverlayItem(name, x, y, width, height, 0);
    }
    void Frame(COverlayItem* item) {
        manager->Update();
        item->Render(&screen, 1);
    }
    COverlayItem* Shown(COverlayItem* item) {
        item->SetTexture("pic");
        return item;
    }

    CTestLog log;
    Screen screen;
    _ResourceSharePtr<CTexture> picture =
        CQK3DMain::GetResourceSystem().CreateResource("CTexture", "", "pic", false, NoLoader());
    std::unique_ptr<COverlayManager> manager = std::make_unique<COverlayManager>();
};

TEST_F(OverlayTest, MovesSubItemsWithTheirParentAndThoseOfHiddenOnesLater) {
    COverlayItem* const panel = Item("panel", 100, 100, 200, 100);
    COverlayItem* const sub = panel->CreateSubItem("sub");
    COverlayItem* const leaf = sub->CreateSubItem("leaf");
    sub->SetPositionAsPercent(.5f, .5f);
    leaf->SetPosition(1, 1);
    auto const leafAt = [&] {
        manager->Update();
        return leaf->GetAbsoluteBox().x;
    };
    EXPECT_EQ(leafAt(), 201);
    sub->SetVisible(false);
    panel->SetX(50);
    EXPECT_EQ(sub->GetAbsoluteBox().x, 200) << "a move of the parent shows at the update";
    EXPECT_EQ(leafAt(), 201);
    sub->SetVisible(true);
    EXPECT_EQ(leafAt(), 151);
    leaf->SetX(2);
    EXPECT_EQ(leaf->GetAbsoluteBox().x, 152) << "asked for between updates";
}

TEST_F(OverlayTest, KeepsATreeByName) {
    COverlayItem* const a = Item("a");
    COverlayItem* const b = a->CreateSubItem("b");
    COverlayItem* const c = b->CreateSubItem("c");
    EXPECT_FALSE(Item("a") || a->CreateSubItem("b"));
    for (char const* const path : {"b", "a.c", "a.b.", "a..c", ".a", "", "a.b.c.d"})
        EXPECT_EQ(manager->GetOverlayItem(path), nullptr) << path;
    a->DestroySubItem(c); // not its own
    EXPECT_EQ(manager->GetOverlayItem("a.b.c"), c);
    delete c; // an item may go by itself too
    EXPECT_EQ(b->GetSubItemNum(), 0);
    delete a;
}

TEST_F(OverlayTest, DrawsNothingForAnItemWithoutATexture) {
    COverlayItem* const group = Item("group", 1, 1);
    Shown(group->CreateSubItem("sub"))->SetPosition(5, 5);
    group->SetTexture("no such file.png");
    for (int i = 0; i < 2; ++i) Frame(group);
    EXPECT_EQ(screen.TakeCorners(), "6,6 6,6 ");
    EXPECT_EQ(log.TakeLines().size(), 1u) << "a texture that is not there is looked for once";
    group->SetTexture(picture); // the name counts no more
    Frame(group);
    EXPECT_EQ(screen.TakeCorners(), "1,1 6,6 ");
}

TEST_F(OverlayTest, FollowsTheDeviceAndItsRefusals) {
    COverlayItem* const item = Shown(Item("i", 3, 3));
    for (char const* const operation : {"CreateBuffer", "LockBuffer"}) {
        screen.Refuse(operation);
        Frame(item);
        Frame(item);
        EXPECT_EQ(screen.TakeCorners(), "") << "a quad that was never written is not drawn";
        screen.RefuseNothing();
    }
    Screen other;
    for (Screen* const each : {&screen, &other, &screen}) {
        item->Render(each, 2);
        EXPECT_EQ(each->TakeCorners(), "3,3 ") << "written anew before it is drawn";
    }
    item->Render(nullptr, 3);
    manager.reset(); // before the other device goes
}

TEST_F(OverlayTest, CostsNothingWhileNothingChanges) {
    CRecordingRenderSystem device;
    device.CountOnly();
    COverlayItem* const panel = Shown(Item("a panel with a long name"));
    for (int i = 0; i < 1000; ++i) Shown(panel->CreateSubItem("sub-item with a long name " + std::to_string(i)));
    for (unsigned const changes : {1001u, 0u, 1u}) {
        device.ResetCounts();
        AllocationCount const allocations;
        manager->Update();
        panel->Render(&device, 1);
        if (!changes) { EXPECT_EQ(allocations.Get(), 0u); }
        EXPECT_EQ(device.CountOf("Render"), 1001u);
        EXPECT_EQ(device.CountOf("LockBuffer"), changes);
        if (!changes) panel->GetSubItem("sub-item with a long name 7")->SetX(3);
    }
    manager.reset(); // before the device goes
}

// Writes down what items tell of themselves, and may act on it until it says that it has.
struct Meddler : COverlayItem::CUpdateListener, COverlayItem::CRenderListener {
    std::function<bool(std::string const& call)> action;
    std::string heard;
    void Hear(char const* what, COverlayItem* item) {
        std::string const call = what + item->GetName() + ' ';
        heard += call;
        if (auto const act = std::exchange(action, nullptr); act && !act(call)) action = act;
    }
    void OnOverlayItemPerUpdate(COverlayItem* item) override { Hear("+", item); }
    void OnOverlayItemPostUpdate(COverlayItem* item) override { Hear("-", item); }
    void OnOverlayItemPerRender(COverlayItem* item, CRenderSystem*) override { Hear("<", item); }
    void OnOverlayItemPostRender(COverlayItem* item, CRenderSystem*) override { Hear(">", item); }
};

TEST_F(OverlayTest, LetsListenersChangeTheTree) {
    struct {
        char const* what;
        char const* at; // what is heard when it happens, of an item p with sub-items a, b and c
        void (*act)(OverlayTest& test, COverlayItem& p);
        char const* heard; // in that update and drawing
    } const rows[] = {
        {"nothing", "", nullptr, "+p +a -a +b -b +c -c -p <p <a >a <b >b <c >c >p "},
        {"destroy the next", "+a ", [](auto&, auto& p) { p.DestroySubItem("b"); },
         "+p +a -a +c -c -p <p <a >a <c >c >p "},
        {"destroy itself while drawn", "<b ", [](auto&, auto& p) { p.DestroySubItem("b"); },
         "+p +a -a +b -b +c -c -p <p <a >a <b <c >c >p "},
        {"destroy the manager", ">b ", [](auto& test, auto&) { test.manager.reset(); },
         "+p +a -a +b -b +c -c -p <p <a >a <b >b "},
        {"update again", "<a ", [](auto&, auto& p) { p.Update(true, CBox()); },
         "+p +a -a +b -b +c -c -p <p <a +p +a -a +b -b +c -c -p >a <b >b <c >c >p "},
    };
    for (auto const& row : rows) {
        manager = std::make_unique<COverlayManager>();
        COverlayItem* const p = Shown(Item("p"));
        Meddler meddler;
        for (COverlayItem* const item : {p, p->CreateSubItem("c"), p->CreateSubItem("a"), p->CreateSubItem("b")}) {
            Shown(item)->AddUpdateListener(&meddler);
            item->AddRenderListener(&meddler);
            item->SetZOrder(static_cast<short>(item->GetName()[0]));
        }
        meddler.action = [&](std::string const& call) {
            if (call != row.at) return false;
            row.act(*this, *p);
            return true;
        };
        manager->Update();
        if (manager && manager->GetOverlayItem("p")) p->Render(&screen, 1);
        EXPECT_EQ(meddler.heard, row.heard) << row.what;
        if (manager) manager->Update(); // whatever is left is whole
    }
}

TEST_F(OverlayTest, CopiesLooksAndOwnsNothingTwice) {
    COverlayItem* const item = Shown(Item("i", 10, 20, 30, 40));
    Meddler meddler;
    item->AddUpdateListener(&meddler);
    COverlayItem* const sub = item->CreateSubItem("sub");
    Frame(item);
    meddler.heard.clear();
    {
        COverlayItem copy(*item);
        EXPECT_EQ(copy.GetSubItemNum(), 0);
        copy.SetPosition(50, 60);
        copy.Update(false, CBox());
        EXPECT_EQ(meddler.heard, "");
        *sub = copy; // but for the name
    }
    Frame(manager->GetOverlayItem("i"));
    EXPECT_EQ(item->GetSubItem("sub"), sub);
    EXPECT_EQ(screen.TakeCorners(), "10,20 10,20 60,80 ");
}

TEST_F(OverlayTest, SharesALayoutThatOutlivesAnyOneManager) {
    COverlayManager other;
    COverlayItem* const kept = Shown(other.CreateOverlayItem("kept", 1, 2, 3, 4, 0));
    manager.reset();
    kept->Render(&screen, 2);
    other.DestroyAllOverlayItem();
    { COverlayManager const last; }

    COverlayItem first(nullptr, nullptr, "f", 7.0f, 8.0f, 1.0f, 1.0f, 0); // with the constructor for fractions
    Shown(&first)->Render(&screen, 3);
    EXPECT_EQ(screen.TakeCorners(), "1,2 7,8 ");
}

TEST_F(OverlayTest, ReadsScriptsKeyByKeyAndSkipsWhatIsNone) {
    CBox const parent(100, -10, 200, 5); // a fraction is one of it, a whole number counts pixels
    char const* const asItWas = "(101, -8, 3, 4) z9 +0";
    struct {
        char const* what;
        char const* script;
        char const* result; // box, z-order and number of sub-items; null: refused, and all is as it was
    } const rows[] = {
        {"all of it", R"({"Range": [10, 0.5, 0.25, -40], "ZOrder": 3, "SubItems": [{}, {}]})",
         "(110, -7, 50, -35) z3 +2"},
        {"pixels from the far edge", R"({"Range": [-10, -20, 5, -10]})", "(290, -25, 5, -5) z9 +0"},
        {"fractions", R"({"Range": [0.53, 0.5, 0.59, 1.5]})", "(206, -7, 118, 7) z9 +0"},
        {"fractions beyond all integers", R"({"Range": [300000000.5, -3000000000.5, 300000000.5, 1e300]})",
         "(2147483647, -2147483648, 2147483647, 4) z9 +0"},
        {"pixels beyond all integers", R"({"Range": [2147483647, -3000000000, 1e20, 4]})",
         "(2147483647, -2147483648, 2147483647, 4) z9 +0"},
        {"wrong types everywhere",
         R"({"Range": ["x", null, {}, [1]], "TextureRange": 1, "ZOrder": "2", "Texture": 5, "RenderState": [], "TextureState": {},
             "SamplerState": 1.5, "Visible": "no", "SubItems": {"Name": "x"}})",
         asItWas},
        {"a z-order that is cut", R"({"ZOrder": 65537, "Visible": false})", "(1, 2, 3, 4) z1 hidden +0"},
        {"entries that are no items", R"({"SubItems": [1, "x", null, [], {"Name": "a"}, {"Name": 5}, {"Name": "a"}]})",
         "(101, -8, 3, 4) z9 +2"},
        {"neither text of any kind", "\xff\xfe\x81\x20\x80{\xff", nullptr},
        {"a name that is no text", "{\"ZOrder\": 3, \"SubItems\": [{\"Name\": \"\xff\xff\"}]}", nullptr},
    };
    for (auto const& row : rows) {
        COverlayItem item(nullptr, nullptr, "i", 1, 2, 3, 4, 9);
        EXPECT_EQ(item.SetFromScript(row.script), row.result != nullptr) << row.what;
        item.Update(true, parent);
        std::ostringstream result;
        CBox const& box = item.GetAbsoluteBox();
        result << '(' << box.x << ", " << box.y << ", " << box.width << ", " << box.height << ") z" << item.GetZOrder()
               << (item.IsVisible() ? "" : " hidden") << " +" << item.GetSubItemNum();
        EXPECT_EQ(result.str(), row.result ? row.result : asItWas) << row.what;
    }

    std::string deep = R"({"ZOrder": 1})", tooDeep;
    for (int i = 0; i < 100; ++i) deep = R"({"SubItems": [)" + deep + "]}";
    for (int i = 0; i < 100'000; ++i) tooDeep += R"({"SubItems": [)";
    COverlayItem item(nullptr, nullptr, "i", 1, 2, 3, 4, 9);
    EXPECT_TRUE(item.SetFromScript(deep));
    EXPECT_FALSE(item.SetFromScript(tooDeep));
    EXPECT_EQ(item.GetSubItemNum(), 1);
}

TEST_F(OverlayTest, FindsAndReadsScriptFiles) {
    TempFolder const folder;
    folder.Write("two/Panel.json", "{\"Range\": [1, 2, 3, 4], \"SubItems\": [{\"Name\": \"\xe4\xb8\xad\"}]}"); // UTF-8
    folder.Write("two/broken.json", "{\"Range\": [1, 2, 3, 4], \"ZOrder\":");
    folder.Write("two/empty.json", "");
    for (char const* const name : {"one", "two"}) manager->AddOverlayScriptDirPath(folder.Path(name));
    string path = "panel.json";
    for (int i = 0; i < 2; ++i) EXPECT_TRUE(manager->CheckScriptFileExist(path)); // an absolute one stands for itself
    EXPECT_EQ(path, qklib::ToLowerNarrow(folder.Path("two/panel.json")));
    COverlayItem* const item = manager->CreateOverlayItem("Panel.json", "panel");
    EXPECT_TRUE(item->GetAbsoluteBox() == CBox(1, 2, 3, 4));
    EXPECT_NE(item->GetSubItem("\xd6\xd0"), nullptr) << "names are narrow text inside";
    for (string const wrong : {"", "none.json", "/none.json", "C:\\none.json"})
        EXPECT_NE(item->CreateSubItem(wrong, "none " + wrong), nullptr);
    EXPECT_TRUE(log.TakeLines().empty()) << "a file that is not found is no matter for the log";

    for (auto const& [file, text] :
         {std::pair{"broken.json", "Overlay Script File Error : "}, {"empty.json", "Overlay Script File No Find : "}}) {
        string const line = text + qklib::ToLowerNarrow(folder.Path(string("two/") + file));
        for (COverlayItem* each : {manager->CreateOverlayItem(file, file), item->CreateSubItem(file, file)})
            EXPECT_EQ(each->GetSize(), Vector2(0, 0));
        EXPECT_EQ(log.TakeLines(), LogLines({{qklib::LOG_WARNING, "The " + line}, {qklib::LOG_WARNING, line}}));
    }
}
} // namespace
