// RenderQueueTest.cpp: the order of the queue, and what a draw sends.
#include "QK3D.h"
#include "RecordingRenderSystem.h"
#include "TestFiles.h"
#include "TestRenderable.h"
#include <random>
#include <set>

using namespace qk3d;

namespace {
class Pass : public CPass {
public:
    explicit Pass(bool isAlpha = false) : CPass(nullptr, 0) { m_isAlpha = isAlpha; }
    using CPass::m_isAlpha;

    // A render state and a texture state at stage 2 of so many states.
    void SetStates(unsigned int render, unsigned int texture) {
        _ResourceSharePtr<CRenderState> renderState(new CRenderState(nullptr, "", "", true, NoLoader()));
        for (unsigned int i = 0; i < render; ++i) renderState->SetState(CRenderState::EState(i + 1), 0);
        _ResourceSharePtr<CTextureState> textureState(new CTextureState(nullptr, "", "", true, NoLoader()));
        for (unsigned int i = 0; i < texture; ++i) textureState->SetState(CTextureState::EState(i + 1), nullptr);
        SetRenderState(renderState);
        SetTextureState(2, textureState);
    }
};

class Technique : public CTechnique {
public:
    explicit Technique(std::vector<CPass*> passes) : CTechnique(nullptr, "") { m_passes = std::move(passes); }
    ~Technique() override { m_passes.clear(); }
};

using Thing = CTestRenderable;

class Queue : public ::testing::Test, public CRenderableObject::CRenderListener {
protected:
    void OnRenderableObjectPerRender(CRenderableObject*, CRenderSystem*) override { m_log += "<"; }
    void OnRenderableObjectPostRender(CRenderableObject*, CRenderSystem*) override { m_log += ">"; }

    CRecordingRenderSystem m_device;
    CCamera m_camera{"camera"};
    CRenderQueue m_queue;
    std::string m_log;

    std::string Draw(bool withCamera = true) {
        m_log.clear();
        m_queue.Sort(withCamera ? &m_camera : nullptr, 0);
        m_queue.Render(&m_device, 0);
        return m_log;
    }
};
} // namespace

TEST_F(Queue, OpaqueGoesNearToFarAndAlphaBehindItFarToNear) {
    Pass opaque, alpha(true);
    Technique both({&opaque, &alpha}), one({&opaque});
    Thing a(&m_log, "a", 3), b(&m_log, "b", 1), c(&m_log, "c", 2);
    a.technique = b.technique = &both;
    c.technique = &one;
    for (Thing* thing : {&a, &b, &c}) m_queue.AddRenderableObject(thing);
    m_queue.AddRenderableObject(nullptr);
    EXPECT_EQ(Draw(), "b /b c /c a /a a /a b /b ");
}

TEST_F(Queue, EqualDepthsGoByTheStatesOfThePass) {
    Pass few, many, shared;
    few.SetStates(2, 3);
    many.SetStates(2, 4);
    shared.SetStates(0, 1);
    shared.SetRenderState(many.GetRenderState());
    Technique techniques[] = {Technique({&many}), Technique({&few}), Technique({&shared}), Technique({&few})};
    std::vector<Thing> things;
    for (int i = 0; i < 5; ++i) {
        things.emplace_back(&m_log, std::to_string(i), 1 + 1e-7f * static_cast<float>(i % 2));
        things[i].technique = i < 4 ? &techniques[i] : nullptr; // the fifth has no pass
    }
    for (Thing& thing : things) m_queue.AddRenderableObject(&thing);
    // 4: none, 2: shared block and 1, 1 and 3: 5 states in the order of adding, 0: 6 states.
    EXPECT_EQ(Draw(), "4 /4 2 /2 1 /1 3 /3 0 /0 ");

    few.m_isAlpha = many.m_isAlpha = true;
    m_queue.Clear();
    for (int i : {1, 0}) m_queue.AddRenderableObject(&things[i]);
    EXPECT_EQ(Draw(), "0 /0 1 /1 ");
    EXPECT_EQ(Draw(false), "1 /1 0 /0 ") << "without a camera these ascend, too";
}

TEST(QueueCollection, TheSortIsTheStableOneForSoundAnswers) {
    unsigned int const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    CCamera camera("");
    // Used again and again: where a sort begins is of no matter.
    CQueueRenderableCollection collections[] = {CQueueRenderableCollection(QSM_FRONT_TO_BACK),
                                                CQueueRenderableCollection(QSM_BACK_TO_FRONT)};
    for (int round = 0; round < 200; ++round) {
        std::vector<Thing> things(random() % 300);
        for (auto& thing : things) thing.depth = static_cast<float>(random() % 50);
        for (auto& collection : collections) {
            QueueSortMode const mode = collection.GetQueueSortMode();
            collection.Clear();
            std::vector<Thing*> expected;
            for (auto& thing : things) collection.AddRenderablePass(&thing, nullptr), expected.push_back(&thing);
            collection.Sort(&camera, 0);
            int questions = 0; // a merge asks n log n times, twice a comparison, here in both modes
            for (Thing const& thing : things) questions += thing.depthQuestions;
            ASSERT_LE(questions, 2 * 2 * 9 * static_cast<int>(things.size()));
            if (mode == QSM_BACK_TO_FRONT) std::reverse(expected.begin(), expected.end()); // ties too
            std::stable_sort(expected.begin(), expected.end(), [mode](Thing* a, Thing* b) {
                return mode == QSM_FRONT_TO_BACK ? a->depth < b->depth : a->depth > b->depth;
            });
            for (std::size_t i = 0; i < things.size(); ++i)
                ASSERT_EQ(collection.GetRenderablePass(i).renderable, expected[i]) << mode << " " << i;
        }
    }
}

TEST(QueueCollection, NoAnswerOfADepthLosesAnEntry) {
    struct Moody : Thing {
        float GetSquaredViewDepth(CCamera*, long long) const override {
            static std::mt19937 random(3);
            float const odd[] = {NAN, INFINITY, -INFINITY, 0, 1, static_cast<float>(random())};
            if (depth == 3 && random() % 50 == 0) throw std::runtime_error("no depth");
            return depth < 1 ? NAN : depth < 2 ? odd[random() % 6] : 1e-7f * static_cast<float>(random() % 9);
        }
    };
    CCamera camera("");
    CQueueRenderableCollection collection(QSM_BACK_TO_FRONT);
    bool isThrown = false;
    for (float const kind : {0.0f, 1.0f, 2.0f, 3.0f})
        for (std::size_t const size : {1u, 7u, 8u, 9u, 16u, 17u, 100u, 1000u}) {
            std::vector<Moody> things(size);
            collection.Clear();
            for (auto& thing : things) {
                thing.depth = kind;
                collection.AddRenderablePass(&thing, nullptr);
            }
            try {
                collection.Sort(&camera, 0);
            } catch (std::runtime_error const&) { isThrown = true; }
            std::set<CRenderableObject*> sorted;
            for (std::size_t i = 0; i < size; ++i) sorted.insert(collection.GetRenderablePass(i).renderable);
            ASSERT_EQ(sorted.size(), size) << kind;
            for (auto& thing : things) ASSERT_TRUE(sorted.contains(&thing));
        }
    EXPECT_TRUE(isThrown);
}

TEST_F(Queue, DrawsInOrderAndLeavesOutWhatRefuses) {
    Pass pass;
    Technique technique({&pass});
    Thing a(&m_log, "a"), b(&m_log, "b");
    a.technique = b.technique = &technique;
    a.isRefusing = true;
    for (Thing* thing : {&a, &b}) {
        for (int i = 0; i < 2; ++i) thing->AddRenderListener(this);
        m_queue.AddRenderableObject(thing);
    }
    EXPECT_EQ(Draw(), "a b <</b >>"); // heard of twice before and after b, never of a

    Technique two({&pass, &pass}); // alone with so many passes, or with none
    for (unsigned const draws : {2u, 1u}) {
        m_device.ResetCounts();
        b.technique = draws == 2 ? &two : nullptr;
        for (Thing* thing : {&a, &b}) thing->Render(&m_device, 0);
        EXPECT_EQ(m_device.CountOf("SetWorldMatrix"), draws);
        EXPECT_EQ(m_device.CountOf("Render"), draws);
    }
}

TEST_F(Queue, SurvivesWhatHappensWhileItDraws) {
    Thing a(&m_log, "a"), b(&m_log, "b"), c(&m_log, "c");
    auto const drawn = [&](Thing* first) {
        m_queue.Clear();
        m_queue.AddRenderableObject(first);
        m_queue.AddRenderableObject(&b);
        return Draw();
    };
    a.onDraw = [&] { m_queue.Clear(); };
    EXPECT_EQ(drawn(&a), "a /a ");
    a.onDraw = [&] { m_queue.AddRenderableObject(&c); };
    EXPECT_EQ(drawn(&a), "a /a b /b c /c ");

    // A listener destroys the object that is drawn; one destroys the queue.
    auto* const victim = new Thing(&m_log, "victim");
    struct : CRenderableObject::CRenderListener {
        void OnRenderableObjectPerRender(CRenderableObject* object, CRenderSystem*) override { delete object; }
    } kills;
    victim->AddRenderListener(&kills);
    EXPECT_EQ(drawn(victim), "victim b /b ");

    auto queue = std::make_unique<CRenderQueue>();
    a.onDraw = [&] { queue.reset(); };
    for (Thing* thing : {&a, &b}) queue->AddRenderableObject(thing);
    m_log.clear();
    queue->Render(&m_device, 0);
    EXPECT_EQ(m_log, "a /a ");
}
