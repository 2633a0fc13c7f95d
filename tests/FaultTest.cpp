// FaultTest.cpp: memory that runs out, operations that a device refuses, and a device that is lost, each at every place
// where it can happen: no crash, no leak, and a scene that is as good as ever once the fault is over.
#include "AllocationCount.h"
#include "TestLog.h"
#include "TestScene.h"
#include <gtest/gtest.h>
#include <new>

using namespace qk3d;

namespace {
constexpr int kSteadyFrame = 9; // by then emitters are full, and nothing is made any more

template <class Action>
bool Attempt(Action action) {
    try {
        return action();
    } catch (std::bad_alloc const&) { return false; }
}

// Builds and draws a scene with one allocation failing, asking again for what was refused. False once the scene is
// through before that allocation comes.
bool RunWithoutMemory(unsigned long long number, std::string const& sound) {
    TestScene scene;
    auto const& steps = TestScene::GetSteps();
    AllocationFault const fault(number);
    char const* what = "swallowed";
    auto const twice = [&](char const* step, auto action) {
        if (Attempt(action)) return;
        what = step;
        EXPECT_TRUE(fault.HasStruck() && Attempt(action)) << step << " stays refused after allocation " << number;
    };
    for (auto const& step : steps) twice(step.what, [&] { return step.run(scene); });
    for (int frame = 1; frame < kSteadyFrame; ++frame) twice("a frame", [&] { return scene.Frame(frame); });
    if (!fault.HasStruck()) return false;
    if (testing::Test::HasFailure()) return true;
    std::string const drawn = scene.Draw(kSteadyFrame);
    EXPECT_EQ(sound.empty() ? "" : FirstDifference(drawn, sound), "") << "allocation " << number << ", " << what;
    return true;
}
} // namespace

// First, while nothing has been started and no table is filled.
TEST(Fault, TheEngineStartsWhenMemoryCameTooLate) {
    CTestLog log;
    auto const start = [] { return CQK3DMain::GetQK3DMain(), true; };
    bool isStarted = false;
    for (unsigned long long number = 0; !isStarted; ++number) {
        AllocationFault const fault(number);
        isStarted = Attempt(start);
    }
    for (unsigned long long number = 0; RunWithoutMemory(number, ""); ++number) {}
}

namespace {
class FaultTest : public testing::Test {
protected:
    FaultTest() {
        TestScene scene; // never met a fault
        EXPECT_TRUE(scene.Build());
        for (int frame = 1; frame < kSteadyFrame; ++frame) EXPECT_TRUE(scene.Frame(frame));
        m_sound = scene.Draw(kSteadyFrame);
        EXPECT_NE(m_sound.find("\nRender "), std::string::npos) << m_sound;
    }

    // The steady frame of a scene after a fault that is over: all that was refused is asked for again, and the frames up
    // to it are drawn.
    void ExpectSoundAfterwards(TestScene& scene, std::vector<bool> const& done, int frame) {
        auto const& steps = TestScene::GetSteps();
        for (std::size_t i = 0; i < steps.size(); ++i)
            EXPECT_TRUE(done[i] || steps[i].run(scene)) << steps[i].what << " stays refused";
        for (; frame < kSteadyFrame; ++frame) EXPECT_TRUE(scene.Frame(frame));
        EXPECT_EQ(FirstDifference(scene.Draw(kSteadyFrame), m_sound), "");
    }

    CTestLog m_log;
    std::string m_sound;
};
} // namespace

TEST_F(FaultTest, NoAllocationThatFailsBreaksAScene) {
    bool isStruck = true;
    for (unsigned long long number = 0; isStruck && !HasFailure(); ++number) {
        m_log.TakeRecords();
        long long const live = AllocationCount::GetLive();
        isStruck = RunWithoutMemory(number, m_sound);
        m_log.TakeRecords();
        EXPECT_EQ(AllocationCount::GetLive() - live, 0) << "blocks left behind after allocation " << number;
    }
}

TEST_F(FaultTest, NoOperationThatADeviceRefusesBreaksAScene) {
    char const* const operations[] = {
#define OPERATION(name) #name,
#include "TraceOperationTable.inl"
    };
    for (char const* const operation : operations) {
        for (int const from : {0, 1, 4}) { // the frame from which on it is refused; 0: from the start
            SCOPED_TRACE(std::string(operation) + " from frame " + std::to_string(from));
            TestScene scene;
            std::vector<bool> done;
            for (auto const& step : TestScene::GetSteps()) {
                done.push_back(step.run(scene));
                if (done.size() == 1 && from == 0) scene.GetDevice().GetJournal().Refuse(operation);
            }
            int frame = 1;
            for (; frame < from + 2; ++frame) {
                if (frame == from) scene.GetDevice().GetJournal().Refuse(operation);
                scene.Frame(frame);
            }
            scene.GetDevice().GetJournal().RefuseNothing();
            ExpectSoundAfterwards(scene, done, frame);
        }
    }
}

TEST_F(FaultTest, ADeviceThatIsLostAtAnyCallOfAFrameComesBack) {
    for (int const lossy : {1, 4}) { // while everything is made, and when all of it is there
        bool isThrough = false;
        for (int loss = 1; !isThrough; ++loss) {
            SCOPED_TRACE("lost at call " + std::to_string(loss) + " of frame " + std::to_string(lossy));
            TestScene scene;
            ASSERT_TRUE(scene.Build());
            for (int frame = 1; frame < lossy; ++frame) scene.Frame(frame);
            int calls = 0;
            scene.GetDevice().GetJournal().SetListener([&](CTraceCall const&) {
                if (++calls == loss) scene.GetDevice().LoseDevice();
            });
            scene.Frame(lossy);
            isThrough = calls < loss;
            scene.GetDevice().GetJournal().SetListener(nullptr);
            ExpectSoundAfterwards(scene, std::vector<bool>(TestScene::GetSteps().size(), true), lossy + 1);
        }
    }
}
