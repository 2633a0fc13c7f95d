// TimerTest.cpp: which events a clock calls, when, in what order, and what callbacks may do to it.
#include "QK3DTimer.h"
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <map>
#include <random>

using namespace qk3d;

namespace {
using enum CTimerEvent::ETimerEventState;
constexpr auto CATCHUP = CTimerEvent::TSM_CATCHUP, SKIP = CTimerEvent::TSM_SKIP;

// A timer whose events write "name@time" for every call, and then do what a test wants done. One at a time.
struct Clock : CTimer {
    using Actions = std::map<std::string, std::function<void(CTimerEvent*, long long)>>;
    static inline Clock* current;
    Actions actions; // by name
    std::string calls;

    Clock() { current = this; }
    CTimerEvent* Plain(std::string const& name, long long start, long long end) {
        return SetTimerEvent(Write, &*actions.try_emplace(name).first, start, end);
    }
    CTimerEvent* Repeat(std::string const& name, long long interval, long long start, long long end,
                        CTimerEvent::ETimeSkipMode mode = CATCHUP) {
        return SetTimerEvent(interval, Write, &*actions.try_emplace(name).first, start, end, mode);
    }
    CTimerEvent* Count(std::string const& name, long long interval, unsigned int count, long long start,
                       CTimerEvent::ETimeSkipMode mode = CATCHUP) {
        return SetTimerEvent(interval, Write, &*actions.try_emplace(name).first, count, start, mode);
    }
    std::string Go(long long time) { return GotoTime(time), Take(); }
    std::string Take() {
        if (!calls.empty()) calls.pop_back();
        return std::exchange(calls, "");
    }
    static void Write(CTimerEvent* event, long long time) {
        auto const& [name, action] = *static_cast<Actions::value_type*>(event->GetParam());
        current->calls += name + '@' + std::to_string(time) + ' ';
        if (action) action(event, time);
    }
};

struct CountedFun : qklib::CFun<void> {
    static inline int alive = 0, calls = 0;
    CountedFun() { ++alive; }
    ~CountedFun() override { --alive; }
    void operator()() override { ++calls; }
};

TEST(Timer, CallsAPlainEventAtEveryStepOfItsLife) {
    std::pair<long long, char const*> const rows[] = {
        {5, ""},      {10, "e@10"}, {10, ""}, {15, "e@15"}, {25, "e@20"}, {30, ""}, {15, "e@15"},
        {12, "e@12"}, {3, "e@3"},   {1, ""},  {99, "e@20"}, {0, ""},      {-7, ""}, {11, "e@11"}};
    Clock clock;
    clock.Plain("e", 20, 10); // the wrong way round
    for (auto const& [time, calls] : rows) EXPECT_EQ(clock.Go(time), calls) << "going to " << time;
}

TEST(Timer, GivesANewEventItsFirstCallAtOnceOnlyWhenTheClockRuns) {
    Clock clock;
    clock.Plain("a", 0, 100);
    EXPECT_EQ(clock.Take(), "");
    EXPECT_EQ(clock.Go(40), "a@40");
    clock.Plain("b", 0, 100);
    EXPECT_EQ(clock.Take(), "b@40");
    EXPECT_EQ(clock.Plain("c", 10, 20)->GetState(), TES_DEAD) << "a life that is over already";
    clock.Repeat("d", 10, 0, 100);
    EXPECT_EQ(clock.Go(50), "c@20 d@50 b@50 a@50") << "an interval event starts with the clock";
    clock.actions["e"] = [&](CTimerEvent* event, long long) { clock.RemoveTimerEvent(event); };
    EXPECT_EQ(clock.Plain("e", 0, 100), nullptr);
    EXPECT_EQ(clock.Take(), "e@50") << "and removed itself";
}

TEST(Timer, OwnsItsEventsAndTheirCallables) {
    {
        CTimer timer, other;
        CTimerEvent* const foreign = other.SetTimerEvent(new CountedFun, 1LL, 10LL);
        CTimerEvent* const removed = timer.SetTimerEvent(5, new CountedFun, 2u, 1LL, CATCHUP);
        timer.SetTimerEvent(5, new CountedFun, 1LL, 100LL, CATCHUP);
        timer.SetTimerEvent(nullptr, nullptr, 1LL, 10LL); // no callback at all
        timer.GotoTime(6);
        for (CTimerEvent* const event : {removed, removed, foreign, static_cast<CTimerEvent*>(nullptr)}) {
            timer.RemoveTimerEvent(event);
            timer.KillTimerEvent(event);
            EXPECT_EQ(CountedFun::alive, 2) << "the first of them goes, no other";
        }
    }
    EXPECT_EQ(CountedFun::alive, 0);
    EXPECT_EQ(CountedFun::calls, 2);
}

TEST(Timer, KeepsKilledEventsUntilReset) {
    Clock clock;
    CTimerEvent* const event = clock.Plain("alive", 1, 50);
    clock.Plain("dead", 2, 5);
    clock.Count("count", 40, 2, 3);
    CTimerEvent* const later = clock.Plain("later", 90, 9'000'000'000);
    EXPECT_EQ(clock.Go(10), "alive@10 dead@5");
    clock.KillTimerEvent(event);
    EXPECT_EQ(clock.Go(88), "count@43 count@83");
    EXPECT_EQ(clock.Go(3), "dead@3") << "a killed one is in no walk, a dead one comes back";
    clock.KillAllTimerEvent();
    clock.Reset();
    EXPECT_EQ(clock.Go(3), "alive@3 dead@3");
    EXPECT_EQ(clock.Go(99), "dead@5 alive@50 count@43 count@83 later@99") << "its full count of calls again";
    clock.GotoTime(3'000'000'000);
    EXPECT_EQ(later->GetState(), TES_DEAD) << "its kill time is 2147483647 since the reset";
}

TEST(Timer, NoticesAnEventThatIsMovedByHand) {
    Clock clock;
    CTimerEvent* const event = clock.Repeat("e", 10, 1, 1000);
    clock.GotoTime(12);
    EXPECT_EQ(event->GotoTime(35), TES_ALIVE);
    EXPECT_EQ(clock.Take(), "e@11 e@21 e@31");
    EXPECT_EQ(event->GotoTime(0), TES_UNSTART);
    EXPECT_EQ(clock.Go(42), "e@41");
    event->Reset();
    EXPECT_EQ(clock.Go(43), "e@11 e@21 e@31 e@41");
    clock.actions["killer"] = [event](CTimerEvent*, long long time) { event->Kill(time - 1); };
    clock.Repeat("killer", 2, 43, 800);
    clock.GotoTime(45);
    EXPECT_EQ(event->GetState(), TES_DEAD) << "in the same step, though its next call is not due yet";
}

TEST(Timer, StaysWholeAtTheEndsOfTime) {
    constexpr long long kEnd = std::numeric_limits<long long>::max();
    Clock clock;
    clock.Count("huge", kEnd, 3, 5);
    clock.Repeat("half", kEnd / 2, 1, kEnd);
    clock.Repeat("negative", -5, 1, 10);
    clock.Count("endless", 0, 7, 1);
    EXPECT_EQ(clock.Go(7), "endless@7 negative@7");
    clock.TimeStepIn(kEnd);
    EXPECT_EQ(clock.GetTime(), kEnd);
    for (int i = 0; i < 2; ++i) clock.TimeStepIn(-kEnd - 1);
    EXPECT_EQ(clock.GetTime(), -kEnd - 1);
}

TEST(Timer, LetsCallbacksChangeTheTimer) {
    struct Three : Clock {
        CTimerEvent *a, *b, *c;
    };
    struct {
        char const* what;
        void (*action)(Three& t); // of b at its first call, in a step to 10 with a, b and c alive
        char const* step;
        char const* next; // the calls of a later step to 20
    } const rows[] = {
        {"add one", [](Three& t) { t.Plain("new", 0, 1990); }, "a@10 b@10 new@10 c@10", "a@20 b@20 c@20 new@20"},
        {"remove the next", [](Three& t) { t.RemoveTimerEvent(t.c); }, "a@10 b@10", "a@20 b@20"},
        {"remove the one before", [](Three& t) { t.RemoveTimerEvent(t.a); }, "a@10 b@10 c@10", "b@20 c@20"},
        {"remove all", [](Three& t) { t.RemoveAllTimerEvents(); }, "a@10 b@10", ""},
        {"kill all", [](Three& t) { t.KillAllTimerEvent(); }, "a@10 b@10", ""},
        {"move, then reset all", [](Three& t) { t.GotoTime(15), t.Reset(); }, "a@10 b@10", "c@20 b@20 a@20"}, // anew
        {"reset itself", [](Three& t) { t.b->Reset(); }, "a@10 b@10 c@10", "a@20 b@20 c@20"},
        {"go on", [](Three& t) { t.TimeStepIn(5); }, "a@10 b@10 c@10 a@15 b@15 c@15", "a@20 b@20 c@20"},
    };
    for (auto const& row : rows) {
        Three t;
        bool isDone = false;
        t.actions["b"] = [&](CTimerEvent*, long long time) {
            if (time == 10 && !std::exchange(isDone, true)) row.action(t);
        };
        t.a = t.Plain("a", 1, 991);
        t.b = t.Plain("b", 1, 992);
        t.c = t.Plain("c", 1, 993);
        t.Go(1);
        EXPECT_EQ(t.Go(10), row.step) << row.what;
        EXPECT_EQ(t.Go(20), row.next) << row.what;
    }
}

TEST(Timer, StopsTheCallsOfAnEventThatGoesInOneOfThem) {
    for (auto const go : {&CTimer::KillTimerEvent, &CTimer::RemoveTimerEvent}) {
        Clock clock;
        clock.actions["e"] = [&](CTimerEvent* event, long long time) {
            if (time == 20) (clock.*go)(event);
        };
        clock.Repeat("e", 10, 0, 1000);
        EXPECT_EQ(clock.Go(100), "e@10 e@20");
    }
}

// The same rules the slow way: every event is looked at in every step.
struct SlowTimer {
    struct Event {
        int id;
        long long start, end, interval, last;
        CTimerEvent::ETimeSkipMode mode;
        long long order; // of its changes of state, the last one below all others
        CTimerEvent::ETimerEventState state = TES_UNSTART;
    };
    std::vector<Event> events;
    std::string calls;
    long long time = 0, orders = 0;

    void GotoTime(long long to) {
        if (to == time) return;
        auto const others = to > time ? TES_UNSTART : TES_DEAD;
        time = to;
        for (Event* const event : Walk(TES_ALIVE)) Step(*event);
        for (Event* const event : Walk(others))
            if (Step(*event) == others) break;
    }

    // Those of a state by end or start, at equal times the newest first; dead ones from the last that died.
    std::vector<Event*> Walk(CTimerEvent::ETimerEventState state) {
        std::vector<Event*> walk;
        for (Event& event : events)
            if (event.state == state) walk.push_back(&event);
        std::ranges::sort(walk, {}, [state](Event const* event) {
            return std::pair(state == TES_ALIVE ? event->end : state == TES_UNSTART ? event->start : 0, event->order);
        });
        return walk;
    }

    CTimerEvent::ETimerEventState Step(Event& event) {
        auto const before = event.state;
        event.state = time < event.start ? TES_UNSTART : time < event.end ? TES_ALIVE : TES_DEAD;
        if (event.state != before) event.order = --orders;
        bool const isPassed = before == TES_UNSTART && event.state == TES_DEAD;
        if (event.state != TES_ALIVE && before != TES_ALIVE && !isPassed) return event.state;
        long long const to = std::min(time, event.end);
        bool const isOnce = event.mode == SKIP || event.interval == 0;
        for (long long at = isOnce ? to : event.last + event.interval; at <= to; at += event.interval) {
            event.last = at;
            calls += std::to_string(event.id) + '@' + std::to_string(at) + ' ';
            if (isOnce) break;
        }
        return event.state;
    }
};

TEST(Timer, CallsTheSameAsASlowOneInRandomRuns) {
    std::random_device device;
    for (int run = 0; run < 30; ++run) {
        unsigned int const seed = device();
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const below = [&random](unsigned int limit) { return static_cast<long long>(random() % limit); };
        Clock clock;
        SlowTimer slow;
        std::vector<CTimerEvent*> made;
        int const events = static_cast<int>(1 + below(run % 3 == 0 ? 700 : 60)); // some blocks, or part of one
        for (int id = 0; id < events; ++id) {
            long long const start = 1 + below(300), interval = below(30);
            unsigned int const count = interval == 0 ? 0 : static_cast<unsigned int>(below(6)); // 0: an end
            long long const end = start + (count ? count * interval : below(200));
            auto const mode = CTimerEvent::ETimeSkipMode(below(4)); // all but TSM_SKIP mean the same
            auto const name = std::to_string(id);
            made.push_back(count ? clock.Count(name, interval, count, start, mode)
                                 : clock.Repeat(name, interval, start, end, mode));
            slow.events.push_back({id, start, end, interval, start, mode, --slow.orders});
        }
        for (int step = 0; step < 60; ++step) {
            long long const time = below(5) == 0 ? below(500) : slow.time + below(12);
            clock.GotoTime(time);
            slow.GotoTime(time);
            ASSERT_EQ(std::exchange(clock.calls, ""), std::exchange(slow.calls, "")) << "step to " << time;
            for (auto const& event : slow.events)
                ASSERT_EQ(made[static_cast<std::size_t>(event.id)]->GetState(), event.state)
                    << event.id << " at " << time;
        }
    }
}
} // namespace
