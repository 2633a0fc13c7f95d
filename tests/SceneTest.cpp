// SceneTest.cpp: listener lists, movable objects, the node tree and the scene manager.
#include "AllocationCount.h"
#include "QK3DCamera.h"
#include "QK3DFactory.h"
#include "QK3DMain.h"
#include "QK3DSceneManager.h"
#include "QK3DSceneNode.h"
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>

using namespace qk3d;

namespace {
class Listener {
public:
    explicit Listener(std::function<void()> act = {}) : m_act(std::move(act)) {}
    void Tell() {
        ++calls;
        if (m_act) m_act();
    }
    int calls = 0;

private:
    std::function<void()> m_act;
};

using Listeners = CListenerList<Listener>;
bool TellAll(Listeners& list) {
    return list.Notify([](Listener* listener) { listener->Tell(); });
}

// Writes down what it hears; may act on it.
class NodeLog : public CSceneNode::CUpdateListener {
public:
    explicit NodeLog(std::string& out) : m_out(out) {}
    std::function<void(CSceneNode*)> onPer, onPost;

private:
    void OnSceneNodePerUpdate(CSceneNode* node) override {
        m_out += "+" + node->GetName() + " ";
        if (onPer) onPer(node);
    }
    void OnSceneNodePostUpdate(CSceneNode* node) override {
        m_out += "-" + node->GetName() + " ";
        if (onPost) onPost(node);
    }
    std::string& m_out;
};

class ObjectListener : public CMovableObject::CUpdateListener {
public:
    std::function<void(CMovableObject*)> onPer, onPost;

private:
    void OnMovableObjectPerUpdate(CMovableObject* object) override {
        if (onPer) onPer(object);
    }
    void OnMovableObjectPostUpdate(CMovableObject* object) override {
        if (onPost) onPost(object);
    }
};

class Object : public CMovableObject {
public:
    explicit Object(string const& name = "object", std::string* out = nullptr) : CMovableObject(name), m_out(out) {}
    string GetTypeName() override { return "Object"; }
    std::function<void()> onUpdate;
    std::function<void(CSceneNode*)> onAttached;
    int updates = 0;
    bool wasChanged = false;
    bool sawMark = false;

private:
    void _UpdateImpl(bool changed) override {
        ++updates;
        wasChanged = changed;
        sawMark = IsTransformChange();
        if (m_out) *m_out += GetName() + " ";
        if (onUpdate) onUpdate();
    }
    void _NotifyAttached(CSceneNode* node) override {
        CMovableObject::_NotifyAttached(node);
        if (onAttached) onAttached(node);
    }
    std::string* m_out;
};

CMovableObject* g_lastMade = nullptr;
int g_made = 0;
void CreateObject(char const* name, CMovableObject** out) {
    if (!out) return;
    ++g_made;
    *out = g_lastMade = new Object(name);
}

// A scene with the type "Object" in the factory.
class Scene : public ::testing::Test {
protected:
    Scene() { CQK3DMain::GetFactory().AddCreateMovableObjectFun("Object", CreateObject); }
    ~Scene() override { CQK3DMain::GetFactory().RemoveCreateMovableObjectFun("Object"); }

    CSceneManager m_scene{"scene"};
    CSceneNode* m_root = m_scene.GetRootSceneNode();
    std::string m_log;

    CSceneNode* Node(std::string const& name, CSceneNode* parent = nullptr) {
        CSceneNode* const node = m_scene.CreateSceneNode(name);
        (parent ? parent : m_root)->AddChild(node);
        return node;
    }
};
} // namespace

TEST(ListenerList, MayChangeWhileItIsTold) {
    Listeners list;
    EXPECT_TRUE(TellAll(list));
    list.Add(nullptr);
    EXPECT_TRUE(list.IsEmpty());

    Listener added;
    Listener adds([&] { list.Add(&added); });
    list.Add(&adds);
    TellAll(list);
    EXPECT_EQ(added.calls, 0); // heard from the next time on
    TellAll(list);
    EXPECT_EQ(added.calls, 1);
    list.RemoveAll();

    Listener victim;
    Listener removes([&] { list.Remove(&victim); });
    for (Listener* l : {&victim, &removes, &victim, &victim, &added}) list.Add(l);
    added.calls = 0;
    TellAll(list);
    EXPECT_EQ(victim.calls, 1); // the later ones are gone, and nobody was left out
    EXPECT_EQ(added.calls, 1);
    list.RemoveAll();

    Listener last;
    Listener clears([&] { list.RemoveAll(), list.Add(&last); });
    list.Add(&clears);
    list.Add(&victim);
    TellAll(list);
    EXPECT_EQ(victim.calls, 1);
    EXPECT_EQ(last.calls, 0);
    TellAll(list);
    EXPECT_EQ(last.calls, 1);
}

TEST(ListenerList, MayDieAndNestWhileItIsTold) {
    auto list = std::make_unique<Listeners>();
    Listener after;
    int depth = 0;
    Listener nests([&] {
        if (++depth < 3) {
            EXPECT_FALSE(TellAll(*list)); // the innermost kills the list, all three hear of it
        } else {
            list.reset();
        }
    });
    list->Add(&nests);
    list->Add(&after);
    auto* const raw = list.get();
    EXPECT_FALSE(TellAll(*raw));
    EXPECT_EQ(after.calls, 0);

    Listeners original;
    Listener once;
    original.Add(&once);
    Listeners copy(original);
    EXPECT_TRUE(copy.IsEmpty());
}

TEST(MovableObject, MutatorsMultiplyFromTheRightAndMark) {
    Vector3 const p(1, 2, 3), q(4, -1, 2);
    Quaternion const turn = QuatBuildRotationAxis(q, 0.7f);
    Matrix44 const any(1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16);
    struct {
        char const* what;
        std::function<void(CMovableObject&)> act;
        Matrix44 m;
    } const rows[] = {
        {"translation", [&](auto& o) { o.Translation(1, 2, 3); }, MatBuildTranslation(1, 2, 3)},
        {"no translation", [&](auto& o) { o.Translation(0, 0, 0); }, Matrix44::IDENTITY},
        {"scale", [&](auto& o) { o.Scale(2, 3, 4); }, MatBuildScale(2, 3, 4)},
        {"scale about a point", [&](auto& o) { o.Scale(p, 2, 3, 4); }, MatBuildScale(p, 2, 3, 4)},
        {"quaternion", [&](auto& o) { o.Rotate(turn); }, Matrix44(turn)},
        {"about a line", [&](auto& o) { o.RotateAxis(p, q, 0.3f); }, MatBuildRotationAxis(p, q, 0.3f)},
        {"about an axis", [&](auto& o) { o.RotateAxis(q, 0.3f); }, MatBuildRotationAxis(q, 0.3f)},
        {"x", [&](auto& o) { o.RotateX(0.3f); }, MatBuildRotationX(0.3f)},
        {"y", [&](auto& o) { o.RotateY(0.3f); }, MatBuildRotationY(0.3f)},
        {"z", [&](auto& o) { o.RotateZ(0.3f); }, MatBuildRotationZ(0.3f)},
        {"x at a point", [&](auto& o) { o.RotateX(p, 0.3f); }, MatBuildRotationX(p, 0.3f)},
        {"y at a point", [&](auto& o) { o.RotateY(p, 0.3f); }, MatBuildRotationY(p, 0.3f)},
        {"z at a point", [&](auto& o) { o.RotateZ(p, 0.3f); }, MatBuildRotationZ(p, 0.3f)},
        {"matrix", [&](auto& o) { o.Transform(any); }, any},
    };
    Matrix44 const before = MatBuildRotationX(0.5f) * MatBuildTranslation(7, 8, 9);
    for (auto const& row : rows) {
        Object object;
        object.SetTransform(before);
        object.Update(false);
        row.act(object);
        EXPECT_EQ(object.GetTransform(), before * row.m) << row.what;
        EXPECT_TRUE(object.IsTransformChange()) << row.what;
    }
}

TEST(MovableObject, SettersTestFirst) {
    Object object;
    EXPECT_FALSE(object.IsTransformChange());
    EXPECT_TRUE(object.IsVisible() && object.IsWorldMatrixIdentity());
    object.ResetTransform();
    object.SetTransform(Matrix44::IDENTITY);
    EXPECT_FALSE(object.IsTransformChange());

    Object other;
    other.Translation(1, 2, 3);
    other.SetVisible(false);
    object.CopyFrom(other);
    EXPECT_EQ(object.GetTransform(), other.GetTransform());
    EXPECT_FALSE(object.IsVisible());
    EXPECT_FALSE(object.IsTransformChange());
    EXPECT_FALSE(Object("").GetName().empty());
}

TEST(MovableObject, UpdatesAlwaysRunAndMayDestroyTheObject) {
    Object object;
    object.Update(false);
    EXPECT_EQ(object.updates, 1);
    EXPECT_FALSE(object.wasChanged);
    object.Translation(1, 0, 0);
    EXPECT_EQ(object.GetWorldTransform(), object.GetTransform()); // detached: at once
    object.Update(false);
    EXPECT_TRUE(object.wasChanged && object.sawMark); // the mark stays until after the object's own part
    EXPECT_FALSE(object.IsTransformChange());
    EXPECT_FALSE(object.IsWorldMatrixIdentity());

    for (int stage = 0; stage < 3; ++stage) {
        auto* const victim = new Object;
        ObjectListener listener;
        auto const destroy = [victim](auto...) { delete victim; };
        (stage == 0 ? listener.onPer : listener.onPost) = stage == 1 ? std::function<void(CMovableObject*)>() : destroy;
        if (stage == 1)
            victim->onUpdate = [destroy] {
                auto const copy = destroy;
                copy();
            };
        victim->AddUpdateListener(&listener);
        EXPECT_TRUE(victim->Update(true));
    }
}

TEST_F(Scene, WorldTransformsFollowTheTree) {
    CSceneNode *a = Node("a"), *b = Node("b", a);
    Object object;
    b->AttachMovableObject(&object);
    object.RotateX(0.4f);
    m_scene.UpdateScene();
    EXPECT_EQ(object.GetWorldTransform(), object.GetTransform()); // an exact copy below identity nodes
    EXPECT_TRUE(b->IsWorldMatrixIdentity());

    m_root->Translation(1, 0, 0);
    a->RotateZ(0.5f);
    b->Scale(2, 2, 2);
    EXPECT_EQ(m_root->GetWorldTransform(), m_root->GetTransform()); // no parent: at once
    m_scene.UpdateScene();
    Matrix44 const world = b->GetTransform() * (a->GetTransform() * m_root->GetTransform());
    EXPECT_EQ(b->GetWorldTransform(), world);
    EXPECT_EQ(object.GetWorldTransform(), object.GetTransform() * world);

    // Without force only what changed is computed, and all below it.
    a->SetTransform(Matrix44::IDENTITY);
    b->Update(true, false);
    EXPECT_EQ(b->GetWorldTransform(), world);
    EXPECT_FALSE(object.wasChanged);
    m_root->Update(true, false);
    EXPECT_EQ(b->GetWorldTransform(), b->GetTransform() * m_root->GetTransform());
    EXPECT_TRUE(object.wasChanged);

    object.DetachFromSceneNode();
    object.DetachFromSceneNode();
    EXPECT_EQ(object.GetWorldTransform(), object.GetTransform());
    EXPECT_EQ(object.GetAttachedSceneManager(), nullptr);
    EXPECT_EQ(b->GetAttachMovableObjectNum(), 0u);
}

TEST_F(Scene, UpdatesChildrenByNameThenObjectsByAttachment) {
    NodeLog log(m_log);
    Object y("y", &m_log), x("x", &m_log), z("z", &m_log);
    m_root->AttachMovableObject(&y);
    m_root->AttachMovableObject(&x);
    Node("b");
    Node("a")->AttachMovableObject(&z);
    Node("B", m_scene.GetSceneNode("b"));
    for (auto* node : {m_root, m_scene.GetSceneNode("a"), m_scene.GetSceneNode("b"), m_scene.GetSceneNode("B")})
        node->AddUpdateListener(&log);
    m_scene.UpdateScene();
    EXPECT_EQ(m_log, "+Root +a z -a +b +B -B -b y x -Root ");
    m_log.clear();
    m_root->Update(false, false);
    EXPECT_EQ(m_log, "+Root y x -Root ");
}

TEST_F(Scene, ChildrenMoveBetweenParents) {
    CSceneNode *a = Node("a"), *b = Node("b"), *c = Node("c", a);
    EXPECT_EQ(a->GetChild("c"), c);
    EXPECT_EQ(a->GetChild("d"), nullptr);
    b->RemoveChild(c); // another parent's
    EXPECT_EQ(c->GetParentSceneNode(), a);
    a->MoveChileToAnothreNode("d", b);
    a->MoveChileToAnothreNode("c", nullptr);
    a->MoveChileToAnothreNode("c", b);
    EXPECT_EQ(a->GetChild("c"), nullptr);
    EXPECT_EQ(b->GetChild("c"), c);
    b->RemoveChild("c");
    EXPECT_EQ(c->GetParentSceneNode(), nullptr);
    m_root->RemoveChildren();
    EXPECT_EQ(a->GetParentSceneNode(), nullptr);

    CSceneNode* const made = m_root->CreateChildSceneNode("a", Vector3(1, 0, 0), QuatBuildRotationAxis({0, 0, 1}, 1));
    EXPECT_EQ(made, a); // the node of that name
    EXPECT_EQ(a->GetTransform(), MatBuildTranslation(1, 0, 0) * Matrix44(QuatBuildRotationAxis({0, 0, 1}, 1)));
    EXPECT_NE(m_root->CreateChildSceneNode(Vector3(), Quaternion::IDENTITY),
              m_root->CreateChildSceneNode(Vector3(), Quaternion::IDENTITY));
    CSceneNode lonely("lonely", nullptr);
    EXPECT_EQ(lonely.CreateChildSceneNode("x"), nullptr);
}

TEST_F(Scene, RefusesCyclesAndKeepsTheFirstOfEqualNames) {
    CSceneNode *a = Node("a"), *b = Node("b", a), *c = Node("c", b);
    c->AddChild(a);
    a->AddChild(a);
    EXPECT_EQ(a->GetParentSceneNode(), m_root);
    EXPECT_EQ(c->GetChild("a"), nullptr);
    m_root->AddChild(nullptr);

    auto twin = std::make_unique<CSceneNode>("b", nullptr), other = std::make_unique<CSceneNode>("other", nullptr);
    other->AddChild(twin.get());
    NodeLog log(m_log);
    twin->AddUpdateListener(&log);
    a->AddChild(twin.get());
    EXPECT_EQ(other->GetChild("b"), nullptr);
    EXPECT_EQ(twin->GetParentSceneNode(), a);
    EXPECT_EQ(a->GetChild("b"), b);
    m_scene.UpdateScene();
    EXPECT_EQ(m_log, ""); // not updated
    a->RemoveChild(twin.get());
    EXPECT_EQ(a->GetChild("b"), b); // the namesake stays
    a->AddChild(twin.get());
    m_scene.DestroySceneNode("a");
    EXPECT_EQ(twin->GetParentSceneNode(), nullptr); // nothing dangles
    EXPECT_EQ(b->GetParentSceneNode(), nullptr);
}

TEST_F(Scene, ObjectsHangOnOneNode) {
    CSceneNode *a = Node("a"), *b = Node("b");
    Object x, y, z;
    for (Object* o : {&x, &y, &z}) a->AttachMovableObject(o);
    b->AttachMovableObject(&x);
    b->DetachMovableObject(&x);
    EXPECT_EQ(x.GetAttachedSceneNode(), a);
    EXPECT_EQ(b->GetAttachMovableObjectNum(), 0u);
    EXPECT_EQ(x.GetAttachedSceneManager(), &m_scene);
    m_scene.GetTimer().GotoTime(5);
    EXPECT_EQ(x.GetAttachedSceneManagerTime(), 5);

    a->DetachMovableObject(3u);
    a->DetachMovableObject(1u);
    EXPECT_FALSE(y.IsAttached());
    EXPECT_EQ(y.GetAttachedSceneManagerTime(), 0);
    EXPECT_EQ(a->GetAttachMovableObjectNum(), 2u);
    a->DetachAllObjects();
    EXPECT_FALSE(x.IsAttached() || z.IsAttached());
    EXPECT_EQ(a->GetAttachMovableObjectNum(), 0u);

    a->AttachMovableObject(&x);
    {
        Object shortLived;
        a->AttachMovableObject(&shortLived);
    }
    m_scene.UpdateScene();
    EXPECT_EQ(x.updates, 1);
}

TEST_F(Scene, VisibilityCascadesOnlyWhenAsked) {
    CSceneNode *a = Node("a"), *b = Node("b", a);
    Object object;
    b->AttachMovableObject(&object);
    a->SetVisible(false, false);
    EXPECT_FALSE(a->IsVisible());
    EXPECT_TRUE(b->IsVisible() && object.IsVisible());
    a->SetVisible(false, true);
    EXPECT_FALSE(b->IsVisible() || object.IsVisible());
    a->SetVisible(true, true);
    EXPECT_TRUE(b->IsVisible() && object.IsVisible());
}

TEST_F(Scene, AnUpdateSurvivesWhateverItsListenersDo) {
    struct {
        char const* what;
        std::function<void()> act;
        char const* expected; // what hears of the update, in order
    } const rows[] = {
        {"nothing", [] {}, "+Root +a -a +b +c o -c p -b +d -d -Root "},
        {"the node itself goes", [&] { m_scene.DestroySceneNode("b"); }, "+Root +a -a +b +d -d -Root "},
        {"all nodes go", [&] { m_scene.DestroyAllSceneNode(); }, "+Root +a -a +b -Root "},
        {"one that had its turn goes", [&] { m_scene.DestroySceneNode("a"); },
         "+Root +a -a +b +c o -c p -b +d -d -Root "},
        {"one that is to come goes", [&] { m_scene.DestroySceneNode("d"); }, "+Root +a -a +b +c o -c p -b -Root "},
        {"a child of it goes", [&] { m_scene.DestroySceneNode("c"); }, "+Root +a -a +b p -b +d -d -Root "},
        {"it is taken out", [&] { m_root->RemoveChild("b"); }, "+Root +a -a +b +c o -c p -b +d -d -Root "},
        {"one comes before", [&] { m_root->AddChild(m_scene.GetSceneNode("aa")); },
         "+Root +a -a +b +c o -c p -b +d -d -Root "},
        {"one comes behind", [&] { m_root->AddChild(m_scene.GetSceneNode("bb")); },
         "+Root +a -a +b +c o -c p -b +bb -bb +d -d -Root "},
        {"the next one moves below it", [&] { m_scene.GetSceneNode("b")->AddChild(m_scene.GetSceneNode("d")); },
         "+Root +a -a +b +c o -c +d -d p -b -Root "},
        {"all objects go", [&] { m_scene.DestroyAllMovableObject(); }, "+Root +a -a +b +c -c -b +d -d -Root "},
        {"another update runs inside", [&] { m_scene.GetSceneNode("a")->Update(true, true); },
         "+Root +a -a +b +a -a +c o -c p -b +d -d -Root "},
    };
    NodeLog log(m_log);
    for (auto const& row : rows) {
        for (char const* name : {"a", "b", "d"}) Node(name);
        Node("c", m_scene.GetSceneNode("b"));
        for (char const* name : {"a", "b", "c", "d", "aa", "bb"})
            m_scene.CreateSceneNode(name)->AddUpdateListener(&log);
        m_root->AddUpdateListener(&log);
        for (auto [name, node] : {std::pair{"o", "c"}, {"p", "b"}}) {
            auto* const object = static_cast<Object*>(m_scene.CreateMovableObject("Object", name));
            object->onUpdate = [this, object] { m_log += object->GetName() + " "; };
            m_scene.GetSceneNode(node)->AttachMovableObject(object);
        }
        log.onPer = [&](CSceneNode* node) {
            if (node->GetName() == "b") row.act();
        };
        m_log.clear();
        m_scene.UpdateScene();
        EXPECT_EQ(m_log, row.expected) << row.what;
        m_root->RemoveAllUpdateListener();
        m_scene.DestroyAllMovableObject();
        m_scene.DestroyAllSceneNode();
    }
}

TEST_F(Scene, ObjectsMayGoFromAnyCallback) {
    for (int stage = 0; stage < 4; ++stage) {
        CSceneNode* const node = Node("node");
        auto* const first = static_cast<Object*>(m_scene.CreateMovableObject("Object", "first"));
        auto* const second = static_cast<Object*>(m_scene.CreateMovableObject("Object", "second"));
        auto* const third = static_cast<Object*>(m_scene.CreateMovableObject("Object", "third"));
        for (auto* o : {first, second, third}) node->AttachMovableObject(o);
        int thirdUpdates = 0;
        third->onUpdate = [&] { ++thirdUpdates; };
        switch (stage) {
        case 0: second->onUpdate = [&] { m_scene.DestroyMovableObject("Object", "first"); }; break;
        case 1: second->onUpdate = [this] { m_scene.DestroyMovableObject("Object", "second"); }; break;
        case 2: second->onUpdate = [&] { second->DetachFromSceneNode(); }; break;
        case 3: second->onAttached = [this](CSceneNode*) { m_scene.DestroyMovableObject("Object", "first"); }; break;
        }
        m_scene.UpdateScene();
        EXPECT_EQ(thirdUpdates, 1) << stage;
        m_scene.DestroySceneNode("node");
        EXPECT_FALSE(third->IsAttached()) << stage;
        m_scene.DestroyAllMovableObject();
    }
}

TEST_F(Scene, ManagerFindsMakesAndDestroysByName) {
    EXPECT_EQ(m_scene.GetTypeName(), "CSceneManager");
    CSceneNode* const node = m_scene.CreateSceneNode("node");
    EXPECT_EQ(m_scene.CreateSceneNode("node"), node);
    EXPECT_EQ(node->GetParentSceneNode(), nullptr);
    EXPECT_NE(m_scene.CreateSceneNode("Root"), m_root);
    m_scene.DestroyAllSceneNode();
    m_scene.DestroySceneNode("node");
    EXPECT_EQ(m_scene.GetRootSceneNode(), m_root);

    g_made = 0;
    CMovableObject* const object = m_scene.CreateMovableObject("Object", "x");
    EXPECT_EQ(m_scene.CreateMovableObject("Object", "x"), object);
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(object->GetCreator(), &m_scene);
    CMovableObject* const unnamed = m_scene.CreateMovableObject("Object", "");
    EXPECT_EQ(m_scene.GetMovableObject("Object", unnamed->GetName()), unnamed);
    EXPECT_EQ(m_scene.CreateMovableObject("Nothing", "x"), nullptr);
    EXPECT_EQ(m_scene.CreateMovableObject("Nothing"), nullptr);
    EXPECT_EQ(m_scene.GetMovableObject("Nothing", "x"), nullptr);
    EXPECT_EQ(m_scene.GetMovableObject("Object", "y"), nullptr);
    EXPECT_EQ(m_scene.CreateEntity("Object", "x"), nullptr); // found, but no entity
    m_scene.DestroyMovableObject("Nothing", "x");
    m_scene.DestroyMovableObject("Object", "y");

    CSceneNode* const place = Node("place");
    place->AttachMovableObject(object);
    m_scene.DestroyMovableObject("Object", object->GetName()); // the name goes with it
    EXPECT_EQ(m_scene.GetMovableObject("Object", "x"), nullptr);
    EXPECT_EQ(place->GetAttachMovableObjectNum(), 0u);
}

TEST_F(Scene, EveryCameraIsNewAndFound) {
    CCamera *main = m_scene.CreateCamera("main"), *second = m_scene.CreateCamera("main"),
            *unnamed = m_scene.CreateCamera("");
    EXPECT_EQ(m_scene.GetCamera("main"), main);
    for (CCamera* camera : {main, second, unnamed})
        EXPECT_EQ(m_scene.GetMovableObject("CCamera", camera->GetName()), camera);
    EXPECT_EQ(m_scene.GetMovableObject("CCameraX", "main"), nullptr);
    m_scene.DestroyMovableObject("CCamera", "main"); // not for cameras
    EXPECT_TRUE(m_scene.HasCamera("main"));
    m_scene.DestroyCamera(second);
    EXPECT_TRUE(m_scene.HasCamera("main"));
    CCamera stranger("main");
    m_scene.DestroyCamera(&stranger);
    m_scene.DestroyCamera(static_cast<CCamera*>(nullptr));
    EXPECT_TRUE(m_scene.HasCamera("main"));
    m_root->AttachMovableObject(main);
    m_scene.DestroyCamera("main");
    EXPECT_EQ(m_root->GetAttachMovableObjectNum(), 0u);
}

TEST_F(Scene, ABusySecondRunsOutOfNoNames) {
    for (int i = 0; i < 70000; ++i) ASSERT_NE(m_scene.CreateMovableObject("Object"), nullptr);
    g_made = 0;
    CMovableObject* const one = m_scene.CreateMovableObject("Object");
    EXPECT_EQ(g_made, 1);
    EXPECT_EQ(m_scene.GetMovableObject("Object", one->GetName()), one);
}

TEST_F(Scene, TreesMayBeDeepAndGoInAnyOrder) {
    CSceneNode* node = m_root;
    for (int i = 0; i < 100000; ++i) {
        CSceneNode* const child = m_scene.CreateSceneNode(std::to_string(i));
        node->AddChild(child);
        node = child;
    }
    m_root->Translation(1, 2, 3);
    m_scene.UpdateScene();
    EXPECT_EQ(node->GetWorldTransform(), m_root->GetTransform());
    m_root->SetVisible(false, true);
    EXPECT_FALSE(node->IsVisible());
    node->AddChild(m_scene.GetSceneNode("0")); // refused
    EXPECT_EQ(m_scene.GetSceneNode("0")->GetParentSceneNode(), m_root);

    std::mt19937 random(1);
    for (int i = 0; i < 100000; i += 1 + static_cast<int>(random() % 3)) m_scene.DestroySceneNode(std::to_string(i));
    m_scene.UpdateScene();
}

TEST_F(Scene, AThirdUpdateAllocatesNothing) {
    CSceneNode* deep = m_root;
    for (int i = 0; i < 1000; ++i) {
        if (i % 10 == 0) deep = m_root->CreateChildSceneNode("n" + std::to_string(i));
        CSceneNode* const node = deep->CreateChildSceneNode("n" + std::to_string(i) + "x");
        node->AttachMovableObject(m_scene.CreateMovableObject("Object"));
        node->Translation(1, 0, 0);
        if (i % 3 == 0) deep = node;
    }
    NodeLog log(m_log);
    m_log.reserve(1000);
    m_root->AddUpdateListener(&log);
    m_scene.UpdateScene();
    m_scene.UpdateScene();
    AllocationCount const count;
    m_scene.UpdateScene();
    EXPECT_EQ(count.Get(), 0u);
}
