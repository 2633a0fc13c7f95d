// SceneTest.cpp: listener lists, movable objects, the node tree and the scene manager.
#include "AllocationCount.h"
#include "QK3D.h"
#include <gtest/gtest.h>
#include <iterator>
#include <map>
#include <random>

using namespace qk3d;

namespace {
class Object : public CMovableObject {
public:
    explicit Object(string const& name = "object") : CMovableObject(name) {}
    string GetTypeName() override { return "Object"; }
    std::function<void()> onUpdate;
    bool wasChanged = false;
    bool sawMark = false;

private:
    void _UpdateImpl(bool changed) override {
        wasChanged = changed;
        sawMark = IsTransformChange();
        if (onUpdate) onUpdate();
    }
};

void CreateObject(char const* name, CMovableObject** out) {
    if (out) *out = new Object(name);
}

// A scene with the type "Object" in the factory. Writes down what it hears of nodes, as "+name " and "-name ".
class Scene : public ::testing::Test, public CSceneNode::CUpdateListener {
protected:
    Scene() { CQK3DMain::GetFactory().AddCreateMovableObjectFun("Object", CreateObject); }
    ~Scene() override { CQK3DMain::GetFactory().RemoveCreateMovableObjectFun("Object"); }

    CSceneManager m_scene{"scene"};
    CSceneNode* m_root = m_scene.GetRootSceneNode();
    std::string m_log;
    std::function<void(std::string const& call)> m_act; // on what is heard

    void Hear(std::string const& call) {
        m_log += call;
        if (m_act) m_act(call);
    }
    void OnSceneNodePerUpdate(CSceneNode* node) override { Hear("+" + node->GetName() + " "); }
    void OnSceneNodePostUpdate(CSceneNode* node) override { Hear("-" + node->GetName() + " "); }
    CSceneNode* Node(std::string const& name, CSceneNode* parent = nullptr) {
        CSceneNode* const node = m_scene.CreateSceneNode(name);
        (parent ? parent : m_root)->AddChild(node);
        return node;
    }
    // One of the scene's own objects, which writes its name down.
    Object* Thing(std::string const& name, CSceneNode* node) {
        auto* const object = static_cast<Object*>(m_scene.CreateMovableObject("Object", name));
        object->onUpdate = [this, object] { Hear(object->GetName() + " "); };
        node->AttachMovableObject(object);
        return object;
    }
};
} // namespace

TEST(ListenerList, MayChangeNestAndDieWhileItIsTold) {
    using Call = std::function<void()>;
    auto list = std::make_unique<CListenerList<Call>>();
    std::string heard;
    auto const tell = [&] { return list->Notify([](Call* call) { (*call)(); }); };
    Call a = [&] { heard += 'a'; }, b = [&] { heard += 'b'; };
    Call adds = [&] { list->Add(&a); }, removes = [&] { list->Remove(&b); };
    struct {
        char const* what;
        std::vector<Call*> calls;
        char const *first, *second; // what is heard when it is told twice
    } const rows[] = {
        {"one that comes is heard from the next time on", {&adds, nullptr}, "", "a"},
        {"one that goes is heard no more, and nobody is left out", {&b, &removes, &b, &b, &a}, "ba", "a"},
    };
    for (auto const& row : rows) {
        for (Call* const call : row.calls) list->Add(call);
        for (char const* const expected : {row.first, row.second}) {
            EXPECT_TRUE(tell());
            EXPECT_EQ(std::exchange(heard, {}), expected) << row.what;
        }
        list->RemoveAll();
    }
    Call nests = [&, depth = 0]() mutable {
        if (++depth == 3) return list.reset(); // the innermost kills the list, and all hear of it
        EXPECT_FALSE(tell());
    };
    for (Call* const call : {&nests, &a}) list->Add(call);
    EXPECT_FALSE(tell());
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
    a->AttachMovableObject(&object); // hangs on the first of two nodes
    a->DetachMovableObject(&object);
    object.RotateX(0.4f);
    m_root->Translation(1, 0, 0);
    a->RotateZ(0.5f);
    b->Scale(2, 2, 2);
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
}

TEST_F(Scene, ChildrenMoveBetweenParentsButNeverInCycles) {
    CSceneNode *a = Node("a"), *b = Node("b"), *c = Node("c", a);
    b->RemoveChild(c); // another parent's
    a->MoveChileToAnothreNode("c", nullptr);
    for (CSceneNode* child : {a, c}) c->AddChild(child);
    m_root->AddChild(nullptr);
    EXPECT_EQ(c->GetParentSceneNode(), a);
    EXPECT_EQ(a->GetParentSceneNode(), m_root);
    a->MoveChileToAnothreNode("c", b);
    EXPECT_EQ(c->GetParentSceneNode(), b);
    b->RemoveChild("c");
    m_root->RemoveChildren();
    EXPECT_FALSE(c->GetParentSceneNode() || a->GetParentSceneNode());
}

TEST_F(Scene, TheFirstOfEqualNamesStays) {
    CSceneNode *a = Node("a"), *b = Node("b", a), twin("b", nullptr);
    twin.AddUpdateListener(this);
    a->AddChild(&twin);
    EXPECT_EQ(twin.GetParentSceneNode(), a);
    m_scene.UpdateScene();
    EXPECT_EQ(m_log, ""); // not updated
    a->RemoveChild(&twin);
    EXPECT_EQ(a->GetChild("b"), b);
    a->AddChild(&twin);
    m_scene.DestroySceneNode("a");
    EXPECT_FALSE(twin.GetParentSceneNode() || b->GetParentSceneNode()); // nothing dangles
}

TEST_F(Scene, AnUpdateGoesByNameAndSurvivesWhateverIsDoneInIt) {
    auto const destroys = [this](char const* node) { return [this, node] { m_scene.DestroySceneNode(node); }; };
    char const* const all = "+a -a +b +c -c z y x -b +d -d ";
    struct {
        char const* what;
        char const* at;
        std::function<void()> act;
        char const* expected; // what hears of the update, in order
    } const rows[] = {
        {"nothing", "", [] {}, all},
        {"the node itself goes", "+b ", destroys("b"), "+a -a +b +d -d "},
        {"one that is to come goes", "+b ", destroys("d"), "+a -a +b +c -c z y x -b "},
        {"one comes behind", "+b ", [&] { Node("bb"); }, "+a -a +b +c -c z y x -b +bb -bb +d -d "},
        {"the next one moves below it", "+b ", [&] { Node("d", m_scene.GetSceneNode("b")); },
         "+a -a +b +c -c +d -d z y x -b "},
        {"another update runs inside", "+b ", [&] { m_scene.GetSceneNode("a")->Update(true, true); },
         "+a -a +b +a -a +c -c z y x -b +d -d "},
        {"the next one goes", "z ", [&] { m_scene.DestroyMovableObject("Object", "y"); },
         "+a -a +b +c -c z x -b +d -d "},
    };
    for (auto const& row : rows) {
        for (char const* name : {"d", "b", "a"}) Node(name);
        Node("c", m_scene.GetSceneNode("b"));
        for (char const* name : {"a", "b", "c", "d", "aa", "bb"})
            m_scene.CreateSceneNode(name)->AddUpdateListener(this);
        for (char const* name : {"z", "y", "x"}) Thing(name, m_scene.GetSceneNode("b"));
        m_act = [&](std::string const& call) {
            if (call == row.at) row.act();
        };
        m_log.clear();
        m_scene.UpdateScene();
        EXPECT_EQ(m_log, row.expected) << row.what;
        m_act = nullptr;
        m_scene.DestroyAllMovableObject();
        m_scene.DestroyAllSceneNode();
    }
}

TEST_F(Scene, ManagerFindsMakesAndDestroysByName) {
    Object* const object = Thing("x", m_root);
    EXPECT_EQ(m_scene.CreateMovableObject("Object", "x"), object);
    EXPECT_EQ(m_scene.CreateEntity("Object", "x"), nullptr);   // found, but no entity
    m_scene.DestroyMovableObject("Object", object->GetName()); // the name goes with it
    EXPECT_FALSE(m_scene.GetMovableObject("Object", "x") || m_scene.CreateMovableObject("Nothing", "x"));

    CCamera *main = m_scene.CreateCamera("main"), *second = m_scene.CreateCamera("main"), stranger("main");
    EXPECT_EQ(m_scene.GetMovableObject("CCamera", second->GetName()), second);
    m_scene.DestroyMovableObject("CCamera", "main"); // not for cameras
    for (CCamera* camera : {second, &stranger}) m_scene.DestroyCamera(camera);
    EXPECT_EQ(m_scene.GetCamera("main"), main);
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

    std::mt19937 random(1);
    for (int i = 0; i < 100000; i += 1 + static_cast<int>(random() % 3)) m_scene.DestroySceneNode(std::to_string(i));
    m_scene.UpdateScene();
}

TEST(SceneMemory, NodesThatComeAndGoShareNoMemoryAndLeaveNone) {
    unsigned int const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    std::map<CSceneNode*, std::string> nodes;
    long long const before = AllocationCount::GetLive();
    for (int i = 0; i < 5000; ++i) {
        if (nodes.size() < random() % 300) {
            std::string const name = std::to_string(i);
            auto const [node, isNew] = nodes.emplace(new CSceneNode(name, nullptr), name);
            ASSERT_TRUE(isNew);
            bool const isFirst = node == nodes.begin(), isLast = std::next(node) == nodes.end();
            ASSERT_TRUE(isFirst || std::prev(node)->first + 1 <= node->first);
            ASSERT_TRUE(isLast || node->first + 1 <= std::next(node)->first);
        } else if (!nodes.empty()) {
            auto const node = std::next(nodes.begin(), static_cast<std::ptrdiff_t>(random() % nodes.size()));
            ASSERT_EQ(node->first->GetName(), node->second);
            delete node->first;
            nodes.erase(node);
        }
    }
    for (auto const& node : nodes) delete node.first;
    nodes.clear();
    EXPECT_EQ(AllocationCount::GetLive(), before);
}
