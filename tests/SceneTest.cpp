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
// Writes down what it hears; may act on it.
class NodeLog : public CSceneNode::CUpdateListener {
public:
    explicit NodeLog(std::string& out) : m_out(out) {}
    std::function<void(CSceneNode*)> onPer;

private:
    void OnSceneNodePerUpdate(CSceneNode* node) override {
        m_out += "+" + node->GetName() + " ";
        if (onPer) onPer(node);
    }
    void OnSceneNodePostUpdate(CSceneNode* node) override { m_out += "-" + node->GetName() + " "; }
    std::string& m_out;
};

class Object : public CMovableObject {
public:
    explicit Object(string const& name = "object") : CMovableObject(name) {}
    string GetTypeName() override { return "Object"; }
    std::function<void()> onUpdate, onAttached;
    bool wasChanged = false;
    bool sawMark = false;

private:
    void _UpdateImpl(bool changed) override {
        wasChanged = changed;
        sawMark = IsTransformChange();
        if (onUpdate) onUpdate();
    }
    void _NotifyAttached(CSceneNode* node) override {
        CMovableObject::_NotifyAttached(node);
        if (onAttached) onAttached();
    }
};

void CreateObject(char const* name, CMovableObject** out) {
    if (out) *out = new Object(name);
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
    // One of the scene's own objects, which writes its name down.
    Object* Thing(std::string const& name, CSceneNode* node) {
        auto* const object = static_cast<Object*>(m_scene.CreateMovableObject("Object", name));
        object->onUpdate = [this, object] { m_log += object->GetName() + " "; };
        node->AttachMovableObject(object);
        return object;
    }
};
} // namespace

TEST(ListenerList, MayChangeNestAndDieWhileItIsTold) {
    using Call = std::function<void()>;
    auto list = std::make_unique<CListenerList<Call>>();
    std::string heard;
    int depth = 0;
    auto const tell = [&] { return list->Notify([](Call* call) { (*call)(); }); };
    Call a = [&] { heard += 'a'; }, b = [&] { heard += 'b'; };
    Call adds = [&] { list->Add(&a); }, removes = [&] { list->Remove(&b); };
    Call clears = [&] { list->RemoveAll(), list->Add(&a); };
    Call nests = [&] {
        if (++depth == 3) return list.reset();
        EXPECT_FALSE(tell());
    };
    struct {
        char const* what;
        std::vector<Call*> calls;
        char const *first, *second; // what is heard when it is told twice
    } const rows[] = {
        {"one that comes is heard from the next time on", {&adds}, "", "a"},
        {"one that goes is heard no more, and nobody is left out", {&b, &removes, &b, &b, &a}, "ba", "a"},
        {"all go and one comes", {&clears, &b}, "", "a"},
        {"null is nobody", {nullptr}, "", ""},
    };
    for (auto const& row : rows) {
        for (Call* const call : row.calls) list->Add(call);
        for (char const* const expected : {row.first, row.second}) {
            EXPECT_TRUE(tell());
            EXPECT_EQ(std::exchange(heard, {}), expected) << row.what;
        }
        list->RemoveAll();
    }
    list->Add(&nests);
    list->Add(&a);
    EXPECT_FALSE(tell()); // the innermost of three kills the list, and all hear of it
    EXPECT_EQ(heard, "");
}

TEST(MovableObject, MultipliesFromTheRightAndKeepsItsMarkUntilItsOwnPartWasUpdated) {
    Vector3 const p(1, 2, 3), q(4, -1, 2);
    Matrix44 const before = MatBuildRotationX(0.5f) * MatBuildTranslation(7, 8, 9);
    Object object;
    object.ResetTransform();
    EXPECT_FALSE(object.IsTransformChange()); // it is so already
    object.SetTransform(before);
    object.RotateX(p, 0.1f), object.RotateY(p, 0.2f), object.RotateZ(p, 0.3f);
    object.RotateAxis(p, q, 0.4f), object.Scale(p, 2, 3, 4);
    EXPECT_EQ(object.GetTransform(), before * MatBuildRotationX(p, 0.1f) * MatBuildRotationY(p, 0.2f) *
                                         MatBuildRotationZ(p, 0.3f) * MatBuildRotationAxis(p, q, 0.4f) *
                                         MatBuildScale(p, 2, 3, 4));
    EXPECT_EQ(object.GetWorldTransform(), object.GetTransform()); // detached: at once
    object.Update(false);
    EXPECT_TRUE(object.wasChanged && object.sawMark);
    EXPECT_FALSE(object.IsTransformChange());
    object.Update(false); // its own part runs all the same
    EXPECT_FALSE(object.wasChanged);
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
    EXPECT_EQ(b->GetAttachMovableObjectNum(), 0u);
}

TEST_F(Scene, UpdatesChildrenByNameThenObjectsByAttachment) {
    NodeLog log(m_log);
    Thing("y", m_root), Thing("x", m_root);
    for (CSceneNode* node : {m_root, Node("b"), Node("a"), Node("B", m_scene.GetSceneNode("b"))})
        node->AddUpdateListener(&log);
    Thing("z", m_scene.GetSceneNode("a"));
    m_scene.UpdateScene();
    EXPECT_EQ(std::exchange(m_log, {}), "+Root +a z -a +b +B -B -b y x -Root ");
    m_root->Update(false, false);
    EXPECT_EQ(m_log, "+Root y x -Root ");
}

TEST_F(Scene, ChildrenMoveBetweenParents) {
    CSceneNode *a = Node("a"), *b = Node("b"), *c = Node("c", a);
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
    EXPECT_EQ(m_root->CreateChildSceneNode("a", Vector3(1, 0, 0), QuatBuildRotationAxis({0, 0, 1}, 1)), a);
    EXPECT_EQ(a->GetTransform(), MatBuildTranslation(1, 0, 0) * Matrix44(QuatBuildRotationAxis({0, 0, 1}, 1)));
    EXPECT_EQ(CSceneNode("lonely", nullptr).CreateChildSceneNode("x"), nullptr);
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
    m_scene.GetTimer().GotoTime(5);
    EXPECT_EQ(x.GetAttachedSceneManagerTime(), 5);
    a->DetachMovableObject(3u);
    a->DetachMovableObject(1u);
    EXPECT_EQ(y.GetAttachedSceneManagerTime(), 0);
    {
        Object shortLived;
        a->AttachMovableObject(&shortLived);
    }
    m_scene.UpdateScene();
    a->DetachAllObjects();
    EXPECT_FALSE(x.IsAttached() || y.IsAttached() || z.IsAttached());
}

TEST_F(Scene, VisibilityCascadesOnlyWhenAsked) {
    CSceneNode *a = Node("a"), *b = Node("b", a);
    Object* const object = Thing("object", b);
    a->SetVisible(false, false);
    EXPECT_TRUE(b->IsVisible() && object->IsVisible());
    a->SetVisible(false, true);
    EXPECT_FALSE(b->IsVisible() || object->IsVisible());
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
        Thing("o", m_scene.GetSceneNode("c")), Thing("p", m_scene.GetSceneNode("b"));
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
        Thing("first", node);
        Object* const second = Thing("second", node);
        Thing("third", node);
        auto const destroys = [this](char const* name) {
            return [this, name] { m_scene.DestroyMovableObject("Object", name); };
        };
        switch (stage) {
        case 0: second->onUpdate = destroys("first"); break;
        case 1: second->onUpdate = destroys("second"); break;
        case 2: second->onUpdate = [&] { second->DetachFromSceneNode(); }; break;
        case 3: second->onAttached = destroys("first"); break; // when the node goes
        }
        m_log.clear();
        m_scene.UpdateScene();
        EXPECT_EQ(m_log, stage == 3 ? "first second third " : "first third ") << stage;
        m_scene.DestroySceneNode("node");
        EXPECT_FALSE(m_scene.GetMovableObject("Object", "third")->IsAttached()) << stage;
        m_scene.DestroyAllMovableObject();
    }
}

TEST_F(Scene, ManagerFindsMakesAndDestroysByName) {
    CSceneNode* const node = m_scene.CreateSceneNode("node");
    EXPECT_EQ(m_scene.CreateSceneNode("node"), node);
    EXPECT_NE(m_scene.CreateSceneNode("Root"), m_root);
    m_scene.DestroyAllSceneNode();
    m_scene.DestroySceneNode("node");
    EXPECT_EQ(m_scene.GetRootSceneNode(), m_root);

    CMovableObject* const object = m_scene.CreateMovableObject("Object", "x");
    EXPECT_EQ(m_scene.CreateMovableObject("Object", "x"), object);
    CMovableObject* const unnamed = m_scene.CreateMovableObject("Object", "");
    EXPECT_EQ(m_scene.GetMovableObject("Object", unnamed->GetName()), unnamed);
    EXPECT_EQ(m_scene.CreateMovableObject("Nothing", "x"), nullptr);
    EXPECT_EQ(m_scene.CreateEntity("Object", "x"), nullptr); // found, but no entity
    m_scene.DestroyMovableObject("Nothing", "x");
    m_scene.DestroyMovableObject("Object", "y");
    m_root->AttachMovableObject(object);
    m_scene.DestroyMovableObject("Object", object->GetName()); // the name goes with it
    EXPECT_EQ(m_scene.GetMovableObject("Object", "x"), nullptr);
    EXPECT_EQ(m_root->GetAttachMovableObjectNum(), 0u);
}

TEST_F(Scene, EveryCameraIsNewAndFound) {
    CCamera *main = m_scene.CreateCamera("main"), *second = m_scene.CreateCamera("main"), stranger("main");
    for (CCamera* camera : {main, second}) EXPECT_EQ(m_scene.GetMovableObject("CCamera", camera->GetName()), camera);
    m_scene.DestroyMovableObject("CCamera", "main"); // not for cameras
    for (CCamera* camera : {second, &stranger, static_cast<CCamera*>(nullptr)}) m_scene.DestroyCamera(camera);
    EXPECT_EQ(m_scene.GetCamera("main"), main);
    m_root->AttachMovableObject(main);
    m_scene.DestroyCamera("main");
    EXPECT_EQ(m_root->GetAttachMovableObjectNum(), 0u);
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
