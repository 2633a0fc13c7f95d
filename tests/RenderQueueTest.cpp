// RenderQueueTest.cpp: the order of the queue, and what a draw sends.
#include "AllocationCount.h"
#include "QK3DCamera.h"
#include "QK3DMaterial.h"
#include "QK3DPass.h"
#include "QK3DRenderOperation.h"
#include "QK3DRenderQueue.h"
#include "QK3DRenderState.h"
#include "QK3DRenderableObject.h"
#include "QK3DTextureState.h"
#include "RecordingRenderSystem.h"
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <random>
#include <sstream>

using namespace qk3d;

namespace {
class Pass : public CPass {
public:
    explicit Pass(bool isAlpha = false) : CPass(nullptr, 0) { m_isAlpha = isAlpha; }

    // A render state and a texture state at stage 2 of so many states.
    void SetStates(unsigned int render, unsigned int texture) {
        CSharePtr<CResourceLoader> none;
        _ResourceSharePtr<CRenderState> renderState(new CRenderState(nullptr, "", "", true, none));
        for (unsigned int i = 0; i < render; ++i) renderState->SetState(CRenderState::EState(i + 1), 0);
        _ResourceSharePtr<CTextureState> textureState(new CTextureState(nullptr, "", "", true, none));
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

// Draws its name into a log.
class Thing : public CRenderableObject {
public:
    explicit Thing(std::string* out = nullptr, std::string name = {}, float depth = 0)
        : depth(depth), m_out(out), m_name(std::move(name)) {}

    float depth;
    CTechnique* technique = nullptr;
    bool isRefusing = false;
    std::function<void()> onDraw;
    mutable int depthQuestions = 0;

    CTechnique* GetTechnique() override { return technique; }
    void GetWorldTransform(Matrix44* out) const override { *out = MatBuildTranslation(1, 2, 3); }
    float GetSquaredViewDepth(CCamera*, long long) const override {
        ++depthQuestions;
        return depth;
    }
    void GetRenderOperation(CRenderOperation& out) const override { out.m_renderable = this; }

private:
    bool _PerRenderImpl(CRenderSystem*, long long) override {
        if (m_out && !isRefusing) *m_out += m_name + " ";
        if (onDraw) onDraw();
        return !isRefusing;
    }
    void _PostRenderImpl(CRenderSystem*, long long) override {
        if (m_out) *m_out += "/" + m_name + " ";
    }
    std::string* m_out;
    std::string m_name;
};

class CountingListener : public CRenderableObject::CRenderListener {
public:
    std::function<void()> act;
    int pers = 0, posts = 0;

private:
    void OnRenderableObjectPerRender(CRenderableObject*, CRenderSystem*) override {
        ++pers;
        if (act) act();
    }
    void OnRenderableObjectPostRender(CRenderableObject*, CRenderSystem*) override { ++posts; }
};

// The first words of the lines of a journal.
std::string Words(std::string const& journal) {
    std::istringstream lines(journal);
    std::string line, words;
    while (std::getline(lines, line)) words += line.substr(0, line.find(' ')) + " ";
    return words;
}

class Queue : public ::testing::Test {
protected:
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
    EXPECT_EQ(m_queue.GetOpaqueCollection().GetRenderablePassNum(), 3u);
    EXPECT_EQ(Draw(), "b /b c /c a /a a /a b /b ");
    m_queue.Clear();
    m_queue.Clear();
    EXPECT_EQ(Draw(), "");
}

TEST_F(Queue, EqualDepthsGoByTheStatesOfThePass) {
    Pass few, many, shared;
    few.SetStates(2, 3);
    many.SetStates(2, 4);
    shared.SetStates(0, 1);
    shared.SetRenderState(many.GetRenderState());
    Technique techniques[] = {Technique({&many}), Technique({&few}), Technique({&shared}), Technique({&few})};
    std::vector<std::unique_ptr<Thing>> things;
    for (int i = 0; i < 5; ++i) {
        things.push_back(std::make_unique<Thing>(&m_log, std::to_string(i), 1 + 1e-7f * static_cast<float>(i % 2)));
        things[i]->technique = i < 4 ? &techniques[i] : nullptr; // the fifth has no pass
        m_queue.AddRenderableObject(things[i].get());
    }
    // 4: none, 2: shared block and 1, 1 and 3: 5 states in the order of adding, 0: 6 states.
    EXPECT_EQ(Draw(), "4 /4 2 /2 1 /1 3 /3 0 /0 ");
    EXPECT_EQ(Draw(false), "4 /4 2 /2 1 /1 3 /3 0 /0 ");
}

TEST_F(Queue, WithoutACameraAlphaAscendsToo) {
    Pass few(true), many(true);
    few.SetStates(1, 0);
    many.SetStates(5, 0);
    Technique first({&many}), second({&few});
    Thing a(&m_log, "a", 1), b(&m_log, "b", 1);
    a.technique = &first;
    b.technique = &second;
    m_queue.AddRenderableObject(&b);
    m_queue.AddRenderableObject(&a);
    EXPECT_EQ(Draw(), "a /a b /b ");
    EXPECT_EQ(Draw(false), "b /b a /a ");
}

TEST(RenderablePass, BothComparisonsAreStrictWeakOrders) {
    Pass few, many;
    few.SetStates(1, 1);
    many.SetStates(3, 1);
    Thing thing;
    std::vector<RenderablePass> entries;
    for (CPass* pass : {static_cast<CPass*>(nullptr), static_cast<CPass*>(&few), static_cast<CPass*>(&many),
                        static_cast<CPass*>(&few), static_cast<CPass*>(nullptr)})
        entries.emplace_back(&thing, pass);
    auto const asc = RenderablePass::RenderablePassCmpByPassAesc, desc = RenderablePass::RenderablePassCmpByPassDesc;
    EXPECT_TRUE(asc(entries[0], entries[1]) && !asc(entries[1], entries[0])); // no pass first
    EXPECT_TRUE(desc(entries[1], entries[0]) && !desc(entries[0], entries[1]));
    EXPECT_TRUE(asc(entries[0], entries[4]) && entries[1] < entries[3] && desc(entries[3], entries[1])); // addresses
    for (auto less : {asc, desc})
        for (auto const& a : entries)
            for (auto const& b : entries) {
                EXPECT_FALSE(less(a, b) && less(b, a));
                for (auto const& c : entries) EXPECT_TRUE(!less(a, b) || !less(b, c) || less(a, c));
            }
}

TEST(QueueCollection, TheSortIsTheStableOneForSoundAnswers) {
    unsigned int const seed = std::random_device()();
    SCOPED_TRACE(seed);
    std::mt19937 random(seed);
    CCamera camera("");
    for (int round = 0; round < 200; ++round) {
        std::vector<Thing> things(random() % 300);
        for (auto& thing : things) thing.depth = static_cast<float>(random() % 50);
        for (auto mode : {QSM_FRONT_TO_BACK, QSM_BACK_TO_FRONT}) {
            CQueueRenderableCollection collection(mode);
            std::vector<Thing*> expected;
            for (auto& thing : things) collection.AddRenderablePass(&thing, nullptr), expected.push_back(&thing);
            collection.Sort(&camera, 0);
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
        std::mt19937* random = nullptr;
        int kind = 0;
        float GetSquaredViewDepth(CCamera*, long long) const override {
            float const odd[] = {NAN, INFINITY, -INFINITY, 0, 1, static_cast<float>((*random)())};
            return kind == 0 ? NAN : kind == 1 ? odd[(*random)() % 6] : 1e-7f * static_cast<float>((*random)() % 9);
        }
    };
    std::mt19937 random(3);
    CCamera camera("");
    for (int kind = 0; kind < 3; ++kind)
        for (std::size_t size : {1u, 7u, 8u, 9u, 16u, 17u, 100u, 1000u}) {
            std::vector<Moody> things(size);
            CQueueRenderableCollection collection(QSM_BACK_TO_FRONT);
            for (auto& thing : things) {
                thing.random = &random;
                thing.kind = kind;
                collection.AddRenderablePass(&thing, nullptr);
            }
            collection.Sort(&camera, 0);
            std::vector<CRenderableObject*> drawn;
            for (std::size_t i = 0; i < size; ++i) drawn.push_back(collection.GetRenderablePass(i).renderable);
            std::sort(drawn.begin(), drawn.end());
            for (std::size_t i = 0; i < size; ++i) ASSERT_EQ(drawn[i], &things[i]) << kind << " " << size;
        }
}

TEST(QueueCollection, OneByPassIsAlwaysInOrder) {
    CQueueRenderableCollection collection(QSM_BY_PASS);
    Pass few, many;
    few.SetStates(1, 0);
    many.SetStates(2, 0);
    std::vector<Thing> things(4);
    for (int i = 0; i < 4; ++i) collection.AddRenderablePass(&things[i], i % 2 ? &many : &few);
    collection.AddRenderablePass(nullptr, &few);
    collection.Sort(nullptr, 0);
    int const expected[] = {3, 1, 2, 0}; // most states first, the later first
    for (int i = 0; i < 4; ++i) EXPECT_EQ(collection.GetRenderablePass(i).renderable, &things[expected[i]]) << i;
    collection.SetQueueSortMode(QSM_FRONT_TO_BACK);
    EXPECT_EQ(collection.GetQueueSortMode(), QSM_BY_PASS); // not while it holds entries
    collection.Clear();
    collection.SetQueueSortMode(QSM_FRONT_TO_BACK);
    EXPECT_EQ(collection.GetQueueSortMode(), QSM_FRONT_TO_BACK);
}

TEST_F(Queue, DrawsInOrderAndLeavesOutWhatRefuses) {
    Pass pass;
    Technique technique({&pass});
    CountingListener listener;
    Thing a(&m_log, "a"), b(&m_log, "b");
    a.technique = b.technique = &technique;
    a.isRefusing = true;
    for (Thing* thing : {&a, &b}) {
        thing->AddRenderListener(nullptr);
        thing->AddRenderListener(&listener);
        thing->AddRenderListener(&listener);
        m_queue.AddRenderableObject(thing);
    }
    EXPECT_EQ(Draw(), "b /b ");
    EXPECT_EQ(listener.pers, 2); // twice for b, never for a
    EXPECT_EQ(listener.posts, 2);
    EXPECT_EQ(Words(m_device.TakeJournal()), "SetWorldMatrix Render ");

    // Alone, with a technique and without: the world matrix is asked for once, and both may be refused.
    Technique two({&pass, &pass});
    b.technique = &two;
    b.Render(&m_device, 0);
    EXPECT_EQ(Words(m_device.TakeJournal()), "SetWorldMatrix Render SetWorldMatrix Render ");
    b.technique = nullptr;
    b.Render(&m_device, 0);
    EXPECT_EQ(Words(m_device.TakeJournal()), "SetWorldMatrix Render ");
    a.Render(&m_device, 0);
    EXPECT_EQ(m_device.TakeJournal(), "");
}

TEST_F(Queue, SurvivesWhatHappensWhileItDraws) {
    Thing a(&m_log, "a"), b(&m_log, "b"), c(&m_log, "c");
    auto const fill = [&] {
        m_queue.Clear();
        m_queue.AddRenderableObject(&a);
        m_queue.AddRenderableObject(&b);
    };
    fill();
    a.onDraw = [&] { m_queue.Clear(); };
    EXPECT_EQ(Draw(), "a /a ");
    fill();
    bool isAdded = false;
    a.onDraw = [&] {
        if (!isAdded) m_queue.AddRenderableObject(&c);
        isAdded = true;
    };
    EXPECT_EQ(Draw(), "a /a b /b c /c ");

    // A listener destroys the object that is drawn; one destroys the queue.
    auto* const victim = new Thing(&m_log, "victim");
    CountingListener kills;
    kills.act = [victim] { delete victim; };
    victim->AddRenderListener(&kills);
    m_queue.Clear();
    m_queue.AddRenderableObject(victim);
    m_queue.AddRenderableObject(&b);
    EXPECT_EQ(Draw(), "victim b /b ");

    auto queue = std::make_unique<CRenderQueue>();
    a.onDraw = [&] { queue.reset(); };
    queue->AddRenderableObject(&a);
    queue->AddRenderableObject(&b);
    m_log.clear();
    queue->Render(&m_device, 0);
    EXPECT_EQ(m_log, "a /a ");
}

TEST_F(Queue, AThirdFrameAllocatesNothing) {
    Pass opaque, alpha(true);
    Technique both({&opaque, &alpha});
    std::mt19937 random(5);
    std::vector<Thing> things(1000);
    for (auto& thing : things) thing.technique = &both;
    m_device.CountOnly();
    auto const frame = [&] {
        for (auto& thing : things) thing.depth = static_cast<float>(random());
        m_queue.Clear();
        for (auto& thing : things) m_queue.AddRenderableObject(&thing);
        Draw();
    };
    frame();
    frame();
    AllocationCount const count;
    frame();
    EXPECT_EQ(count.Get(), 0u);
    // A merge of 1000 asks n log n times, twice a comparison, in both collections.
    int questions = 0;
    for (auto& thing : things) questions += thing.depthQuestions;
    EXPECT_LT(questions, 3 * 2 * 2 * 1000 * 11);
}
