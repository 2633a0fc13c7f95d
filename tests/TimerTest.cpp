// TimerTest.cpp: which events a clock calls, when, in what order, and what callbacks may do to it.
#include "QK3DTimer.h"
#include <algorithm>
#include <functional>
#include <gtest/gtest.h>
#include <limits>
#include <map>
#include <random>
#include <string>
#include <vector>

using namespace qk3d;

namespace {
constexpr auto CATCHUP = CTimerEvent::TSM_CATCHUP;
constexpr auto SKIP = CTimerEvent::TSM_SKIP;

// Writes "name@time " for every call, and does what a test wants done in it.
struct Journal {
    struct Entry {
        Journal* journal;
        std::string name;
        std::function<void(CTimerEvent*, long long)> action;
    };
    std::map<std::string, Entry> entries;
    std::string text;

    void* Name(std::string const& name, std::function<void(CTimerEvent*, long long)> action = {}) {
        return &(entries[name] = {this, name, std::move(action)});
    }
    std::string Take() {
        if (!text.empty()) text.pop_back();
        return std::exchange(text, "");
    }
    static void Write(CTimerEvent* event, long long time) {
        auto const& entry = *static_cast<Entry*>(event->GetParam());
        entry.journal->text += entry.name + '@' + std::to_string(time) + ' ';
        if (entry.action) entry.action(event, time);
    }
};

struct CountedFun : qklib::CFun<void> {
    static inline int alive = 0;
    int& calls;
    explicit CountedFun(int& c) : calls(c) { ++alive; }
    ~CountedFun() override { --alive; }
    void operator()() override { ++calls; }
};

TEST(Timer, CallsAPlainEventAtEveryStepOfItsLife) {
    struct {
        long long time;
        char const* calls;
    } const rows[] = {{5, ""},      {10, "e@10"}, {10, ""}, {15, "e@15"}, {25, "e@20"}, {30, ""}, {15, "e@15"},
                      {12, "e@12"}, {3, "e@3"},   {1, ""},  {99, "e@20"}, {0, ""},      {-7, ""}, {11, "e@11"}};
    CTimer timer;
    Journal journal;
    timer.SetTimerEvent(Journal::Write, journal.Name("e"), 20LL, 10LL); // the wrong way round
    for (auto const& row : rows) {
        timer.GotoTime(row.time);
        EXPECT_EQ(journal.Take(), row.calls) << "going to " << row.time;
        EXPECT_EQ(timer.GetTime(), row.time);
    }
}

TEST(Timer, CallsIntervalEventsByTheirMode) {
    struct {
        char const* what;
        CTimerEvent::ETimeSkipMode mode;
        unsigned int count; // 0: an end at 1000
        std::vector<long long> times;
        std::string calls;
    } const rows[] = {
        {"every interval that was passed", CATCHUP, 0, {35, 39, 40}, "e@10 e@20 e@30 e@40"},
        {"any other mode means the same", static_cast<CTimerEvent::ETimeSkipMode>(7), 0, {25}, "e@10 e@20"},
        {"nothing again after going back", CATCHUP, 0, {35, 12, 38, 41}, "e@10 e@20 e@30 e@40"},
        {"once a step, without a look at the interval", SKIP, 0, {3, 35, 39}, "e@3 e@35 e@39"},
        {"no call beyond the count", CATCHUP, 3, {6, 100}, "e@10 e@20 e@30"},
        {"no call beyond the count, step by step", CATCHUP, 3, {10, 20, 30, 40}, "e@10 e@20 e@30"},
    };
    for (auto const& row : rows) {
        CTimer timer;
        Journal journal;
        if (row.count > 0)
            timer.SetTimerEvent(10, Journal::Write, journal.Name("e"), row.count, 0LL, row.mode);
        else
            timer.SetTimerEvent(10, Journal::Write, journal.Name("e"), 0LL, 1000LL, row.mode);
        for (long long const time : row.times) timer.GotoTime(time);
        EXPECT_EQ(journal.Take(), row.calls) << row.what;
    }

    CTimer timer;
    Journal journal;
    timer.SetTimerEvent(10, Journal::Write, journal.Name("e"), 3u, 5LL, CATCHUP);
    timer.GotoTime(6);
    timer.GotoTime(100);
    EXPECT_EQ(journal.Take(), "e@15 e@25 e@35");
}

TEST(Timer, OrdersTheCallsOfAStep) {
    CTimer timer;
    Journal journal;
    timer.SetTimerEvent(Journal::Write, journal.Name("late end"), 1LL, 900LL);
    timer.SetTimerEvent(10, Journal::Write, journal.Name("early end"), 1LL, 500LL, CATCHUP);
    timer.SetTimerEvent(Journal::Write, journal.Name("early end, newer"), 1LL, 500LL);
    timer.GotoTime(1);
    EXPECT_EQ(journal.Take(), "early end, newer@1 late end@1") << "at equal starts the newest comes first";
    timer.SetTimerEvent(Journal::Write, journal.Name("starts second"), 20LL, 100LL);
    timer.SetTimerEvent(Journal::Write, journal.Name("starts first"), 10LL, 200LL);
    timer.SetTimerEvent(Journal::Write, journal.Name("starts first, newer"), 10LL, 300LL);
    timer.GotoTime(25);
    EXPECT_EQ(journal.Take(), "early end@11 early end@21 early end, newer@25 late end@25 "
                              "starts first, newer@25 starts first@25 starts second@25");
}

TEST(Timer, GivesANewEventItsFirstCallAtOnceOnlyWhenTheClockRuns) {
    CTimer timer;
    Journal journal;
    timer.SetTimerEvent(Journal::Write, journal.Name("a"), 0LL, 100LL);
    EXPECT_EQ(journal.Take(), "");
    timer.GotoTime(40);
    EXPECT_EQ(journal.Take(), "a@40");
    EXPECT_EQ(timer.SetTimerEvent(Journal::Write, journal.Name("b"), 0LL, 100LL)->GetState(), CTimerEvent::TES_ALIVE);
    EXPECT_EQ(journal.Take(), "b@40");
    EXPECT_EQ(timer.SetTimerEvent(Journal::Write, journal.Name("c"), 10LL, 20LL)->GetState(), CTimerEvent::TES_DEAD);
    EXPECT_EQ(journal.Take(), "c@20") << "a life that is over already";
    timer.SetTimerEvent(10, Journal::Write, journal.Name("d"), 0LL, 100LL, CATCHUP);
    timer.GotoTime(50);
    EXPECT_EQ(journal.Take(), "d@50 b@50 a@50") << "an interval event starts with the clock";
}

TEST(Timer, OwnsItsEventsAndTheirCallables) {
    int calls = 0;
    {
        CTimer timer;
        CTimerEvent* const removed = timer.SetTimerEvent(new CountedFun(calls), 1LL, 10LL);
        timer.SetTimerEvent(5, new CountedFun(calls), 1LL, 100LL, CATCHUP);
        timer.SetTimerEvent(5, new CountedFun(calls), 2u, 1LL, CATCHUP);
        timer.SetTimerEvent(nullptr, nullptr, 1LL, 10LL); // no callback at all
        timer.GotoTime(6);
        EXPECT_EQ(calls, 3);
        timer.RemoveTimerEvent(removed);
        EXPECT_EQ(CountedFun::alive, 2);
        timer.RemoveTimerEvent(removed); // gone, but only compared
        timer.RemoveTimerEvent(nullptr);
        timer.KillTimerEvent(nullptr);

        CTimer other;
        CTimerEvent* const foreign = other.SetTimerEvent(new CountedFun(calls), 1LL, 10LL);
        timer.RemoveTimerEvent(foreign);
        timer.KillTimerEvent(foreign);
        EXPECT_EQ(CountedFun::alive, 3);
    }
    EXPECT_EQ(CountedFun::alive, 0);
}

TEST(Timer, KeepsKilledEventsUntilReset) {
    CTimer timer;
    Journal journal;
    int calls = 0;
    CTimerEvent* const early = timer.SetTimerEvent(new CountedFun(calls), 1LL, 10LL);
    timer.KillTimerEvent(early);
    EXPECT_EQ(CountedFun::alive, 0) << "at 0 there is nothing to bring it back for";

    CTimerEvent* const event = timer.SetTimerEvent(Journal::Write, journal.Name("alive"), 1LL, 50LL);
    timer.SetTimerEvent(Journal::Write, journal.Name("dead"), 1LL, 5LL);
    timer.SetTimerEvent(Journal::Write, journal.Name("later"), 90LL, 95LL);
    timer.GotoTime(10);
    journal.Take();
    timer.KillTimerEvent(event);
    timer.GotoTime(20);
    timer.GotoTime(3);
    EXPECT_EQ(journal.Take(), "dead@3") << "a killed one is in no walk, a dead one comes back";
    timer.KillAllTimerEvent();
    timer.GotoTime(92);
    EXPECT_EQ(journal.Take(), "");

    timer.Reset();
    EXPECT_EQ(timer.GetTime(), 0);
    EXPECT_EQ(event->GetState(), CTimerEvent::TES_UNSTART);
    timer.GotoTime(2);
    std::string const calls2 = journal.Take();
    EXPECT_NE(calls2.find("alive@2"), std::string::npos);
    EXPECT_NE(calls2.find("dead@2"), std::string::npos);
}

TEST(Timer, NoticesAnEventThatIsMovedByHand) {
    CTimer timer;
    Journal journal;
    CTimerEvent* const event = timer.SetTimerEvent(10, Journal::Write, journal.Name("e"), 1LL, 1000LL, CATCHUP);
    timer.GotoTime(12);
    EXPECT_EQ(event->GotoTime(35), CTimerEvent::TES_ALIVE);
    EXPECT_EQ(journal.Take(), "e@11 e@21 e@31");
    timer.GotoTime(41);
    EXPECT_EQ(journal.Take(), "e@41");
    EXPECT_EQ(event->GotoTime(0), CTimerEvent::TES_UNSTART);
    timer.GotoTime(42);
    EXPECT_EQ(event->GetState(), CTimerEvent::TES_ALIVE) << "though it has no call to make";
    event->Kill(43);
    timer.GotoTime(44);
    EXPECT_EQ(event->GetState(), CTimerEvent::TES_DEAD) << "though its next call is not due yet";
    timer.GotoTime(43);
    event->Reset();
    timer.GotoTime(45);
    EXPECT_EQ(event->GetState(), CTimerEvent::TES_ALIVE);
    EXPECT_EQ(journal.Take(), "e@11 e@21 e@31 e@41");
}

TEST(Timer, BringsACountEventItsFullLifeBackByReset) {
    CTimer timer;
    Journal journal;
    timer.SetTimerEvent(10, Journal::Write, journal.Name("e"), 2u, 1LL, CATCHUP);
    CTimerEvent* const plain = timer.SetTimerEvent(Journal::Write, journal.Name("p"), 5LL, 9'000'000'000LL);
    timer.GotoTime(100);
    EXPECT_EQ(journal.Take(), "e@11 e@21 p@100") << "both start in this step, by start time";
    timer.Reset();
    timer.GotoTime(100);
    EXPECT_EQ(journal.Take(), "e@11 e@21 p@100");
    timer.GotoTime(3'000'000'000LL);
    EXPECT_EQ(plain->GetState(), CTimerEvent::TES_DEAD) << "its kill time is 2147483647 since the reset";
}

TEST(Timer, StaysWholeAtTheEndsOfTime) {
    constexpr long long kEnd = std::numeric_limits<long long>::max();
    CTimer timer;
    Journal journal;
    timer.SetTimerEvent(kEnd, Journal::Write, journal.Name("huge"), 3u, 5LL, CATCHUP);
    timer.SetTimerEvent(kEnd / 2, Journal::Write, journal.Name("half"), 1LL, kEnd, CATCHUP);
    timer.SetTimerEvent(-5, Journal::Write, journal.Name("negative"), 1LL, 10LL, CATCHUP);
    timer.SetTimerEvent(0, Journal::Write, journal.Name("endless"), 7u, 1LL, CATCHUP);
    timer.GotoTime(7);
    EXPECT_EQ(journal.Take(), "endless@7 negative@7");
    timer.TimeStepIn(kEnd);
    EXPECT_EQ(timer.GetTime(), kEnd);
    timer.TimeStepIn(std::numeric_limits<long long>::min());
    timer.TimeStepIn(std::numeric_limits<long long>::min());
    EXPECT_EQ(timer.GetTime(), std::numeric_limits<long long>::min());
    timer.GotoTime(8);
    EXPECT_EQ(timer.GetTime(), 8);
}

TEST(Timer, LetsCallbacksChangeTheTimer) {
    using Action = std::function<void(CTimer&, std::map<std::string, CTimerEvent*>&, Journal&)>;
    struct {
        char const* what;
        Action action; // of event b at its first call, in a step to 10 with a, b and c alive in this order
        std::string step;
        std::string next; // the calls of a later step to 20
    } const rows[] = {
        {"add an event",
         [](auto& timer, auto&, auto& journal) {
             timer.SetTimerEvent(Journal::Write, journal.Name("new"), 0LL, 1990LL);
         },
         "a@10 b@10 new@10 c@10", "a@20 b@20 c@20 new@20"},
        {"remove the next one", [](auto& timer, auto& events, auto&) { timer.RemoveTimerEvent(events["c"]); },
         "a@10 b@10", "a@20 b@20"},
        {"remove the one before", [](auto& timer, auto& events, auto&) { timer.RemoveTimerEvent(events["a"]); },
         "a@10 b@10 c@10", "b@20 c@20"},
        {"remove itself", [](auto& timer, auto& events, auto&) { timer.RemoveTimerEvent(events["b"]); },
         "a@10 b@10 c@10", "a@20 c@20"},
        {"remove all", [](auto& timer, auto&, auto&) { timer.RemoveAllTimerEvents(); }, "a@10 b@10", ""},
        {"kill itself", [](auto& timer, auto& events, auto&) { timer.KillTimerEvent(events["b"]); }, "a@10 b@10 c@10",
         "a@20 c@20"},
        {"kill all", [](auto& timer, auto&, auto&) { timer.KillAllTimerEvent(); }, "a@10 b@10", ""},
        {"move the clock, then reset the timer", [](auto& timer, auto&, auto&) { timer.GotoTime(15), timer.Reset(); },
         "a@10 b@10", "a@20 b@20 c@20"},
        {"reset the timer", [](auto& timer, auto&, auto&) { timer.Reset(); }, "a@10 b@10", "a@20 b@20 c@20"},
        {"reset itself", [](auto&, auto& events, auto&) { events["b"]->Reset(); }, "a@10 b@10 c@10", "a@20 b@20 c@20"},
        {"move the clock on", [](auto& timer, auto&, auto&) { timer.TimeStepIn(5); }, "a@10 b@10 c@10 a@15 b@15 c@15",
         "a@20 b@20 c@20"},
        {"move the clock back", [](auto& timer, auto&, auto&) { timer.GotoTime(2); }, "a@10 b@10 c@10 a@2 b@2 c@2",
         "a@20 b@20 c@20"},
    };
    for (auto const& row : rows) {
        CTimer timer;
        Journal journal;
        std::map<std::string, CTimerEvent*> events;
        bool isDone = false;
        for (std::string const name : {"a", "b", "c"}) {
            auto const act = [&, name](CTimerEvent*, long long time) {
                if (name == "b" && time == 10 && !std::exchange(isDone, true)) row.action(timer, events, journal);
            };
            events[name] = timer.SetTimerEvent(Journal::Write, journal.Name(name, act), 1LL, 900LL + name[0]);
        }
        timer.GotoTime(1);
        journal.Take();
        timer.GotoTime(10);
        EXPECT_EQ(journal.Take(), row.step) << row.what;
        timer.GotoTime(20);
        std::string calls = journal.Take();
        if (calls == "c@20 b@20 a@20") calls = "a@20 b@20 c@20"; // they start anew, the newest first
        EXPECT_EQ(calls, row.next) << row.what;
    }
}

TEST(Timer, StopsTheCallsOfAnEventThatGoesInOneOfThem) {
    for (bool const isKilled : {false, true}) {
        CTimer timer;
        Journal journal;
        auto const go = [&](CTimerEvent* event, long long time) {
            if (time != 20) return;
            if (isKilled)
                timer.KillTimerEvent(event);
            else
                timer.RemoveTimerEvent(event);
        };
        timer.SetTimerEvent(10, Journal::Write, journal.Name("e", go), 0LL, 1000LL, CATCHUP);
        timer.GotoTime(100);
        EXPECT_EQ(journal.Take(), "e@10 e@20");
    }
    CTimer timer;
    Journal journal;
    timer.GotoTime(5);
    auto const go = [&](CTimerEvent* event, long long) { timer.RemoveTimerEvent(event); };
    EXPECT_EQ(timer.SetTimerEvent(Journal::Write, journal.Name("e", go), 0LL, 1000LL), nullptr)
        << "removed by the call that SetTimerEvent made";
    EXPECT_EQ(journal.Take(), "e@5");
}

// The same rules the slow way: plain vectors, every living event touched at every step.
class CSlowTimer {
public:
    struct Event {
        int id;
        long long start, end, interval, last;
        CTimerEvent::ETimeSkipMode mode;
        long long kill;
        CTimerEvent::ETimerEventState state = CTimerEvent::TES_UNSTART;
    };
    std::string calls;
    long long time = 0;

    void Add(Event event) { Insert(m_unstarted, event, &Event::start); }

    void GotoTime(long long to) {
        if (to == time) return;
        bool const isForward = to > std::max(time, 0LL);
        time = to;
        for (std::size_t i = 0; i < m_alive.size();) {
            auto const state = Step(m_alive[i]);
            if (isForward ? state != CTimerEvent::TES_DEAD : state != CTimerEvent::TES_UNSTART) {
                ++i;
                continue;
            }
            Event const event = m_alive[i];
            m_alive.erase(m_alive.begin() + static_cast<std::ptrdiff_t>(i));
            if (isForward)
                m_dead.push_back(event);
            else
                Insert(m_unstarted, event, &Event::start);
        }
        while (isForward && !m_unstarted.empty() && Step(m_unstarted.front()) != CTimerEvent::TES_UNSTART) {
            Event const event = m_unstarted.front();
            m_unstarted.erase(m_unstarted.begin());
            if (event.state == CTimerEvent::TES_ALIVE)
                Insert(m_alive, event, &Event::end);
            else
                m_dead.push_back(event);
        }
        while (!isForward && !m_dead.empty() && Step(m_dead.back()) != CTimerEvent::TES_DEAD) {
            Event const event = m_dead.back();
            m_dead.pop_back();
            if (event.state == CTimerEvent::TES_ALIVE)
                Insert(m_alive, event, &Event::end);
            else
                Insert(m_unstarted, event, &Event::start);
        }
    }

    std::map<int, int> GetStates() const {
        std::map<int, int> states;
        for (auto const* const events : {&m_unstarted, &m_alive, &m_dead})
            for (Event const& event : *events) states[event.id] = event.state;
        return states;
    }

private:
    static void Insert(std::vector<Event>& events, Event const& event, long long Event::*key) {
        auto at = events.begin();
        while (at != events.end() && (*at).*key < event.*key) ++at;
        events.insert(at, event);
    }

    CTimerEvent::ETimerEventState Step(Event& event) {
        auto const before = event.state;
        event.state = time > event.kill    ? CTimerEvent::TES_DEAD
                      : time < event.start ? CTimerEvent::TES_UNSTART
                      : time < event.end   ? CTimerEvent::TES_ALIVE
                                           : CTimerEvent::TES_DEAD;
        if (event.state != CTimerEvent::TES_ALIVE && before != CTimerEvent::TES_ALIVE &&
            !(before == CTimerEvent::TES_UNSTART && event.state == CTimerEvent::TES_DEAD))
            return event.state;
        long long const to = std::min(time, event.end);
        auto const call = [&](long long when) {
            event.last = when;
            calls += std::to_string(event.id) + '@' + std::to_string(when) + ' ';
        };
        if (event.mode == SKIP || event.interval == 0)
            call(to);
        else
            while (event.last + event.interval <= to) call(event.last + event.interval);
        return event.state;
    }

    std::vector<Event> m_unstarted, m_alive, m_dead;
};

TEST(Timer, CallsTheSameAsASlowOneInRandomRuns) {
    std::random_device device;
    for (int run = 0; run < 30; ++run) {
        unsigned int const seed = device();
        SCOPED_TRACE("seed " + std::to_string(seed));
        std::mt19937 random(seed);
        auto const below = [&random](int limit) {
            return static_cast<long long>(random() % static_cast<unsigned>(limit));
        };
        CTimer timer;
        Journal journal;
        CSlowTimer slow;
        std::vector<CTimerEvent*> made;
        int const events = static_cast<int>(1 + below(run % 3 == 0 ? 700 : 60)); // some blocks, or part of one
        for (int id = 0; id < events; ++id) {
            long long const start = 1 + below(300);
            long long const end = start + below(200);
            auto const mode = below(4) == 0 ? SKIP : CATCHUP;
            long long const interval = below(30);
            made.push_back(
                timer.SetTimerEvent(interval, Journal::Write, journal.Name(std::to_string(id)), start, end, mode));
            slow.Add({id, start, end, interval, start, mode, end});
        }
        for (int step = 0; step < 60; ++step) {
            long long const time = below(5) == 0 ? below(500) : slow.time + below(12);
            timer.GotoTime(time);
            slow.GotoTime(time);
            ASSERT_EQ(journal.Take() + ' ', slow.calls.empty() ? " " : slow.calls) << "step to " << time;
            slow.calls.clear();
            for (auto const& [id, state] : slow.GetStates())
                ASSERT_EQ(made[static_cast<std::size_t>(id)]->GetState(), state) << id << " at " << time;
        }
    }
}
} // namespace
