#include "platform/MainLoop.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace orvane {
namespace {

struct ManualLoop {
    std::shared_ptr<ManualClock> clock = std::make_shared<ManualClock>();
    MainLoop loop{clock};
};

TEST(MainLoop, runsPostedTasksInOrderAndDefersWhatTheyPost) {
    // Tasks run in posting order, also past one that throws; a task posted during a turn waits for
    // the next turn, and the end-of-turn observers run after the tasks of every turn, also an empty one.
    ManualLoop m;
    std::vector<std::string> log;
    m.loop.addEndOfTurnObserver([&] { log.push_back("end"); });
    m.loop.post([&] {
        log.push_back("a");
        m.loop.post([&] { log.push_back("c"); });
    });
    m.loop.post([] { throw std::runtime_error("boom"); });
    m.loop.post([&] { log.push_back("b"); });

    EXPECT_TRUE(m.loop.runOneTurn());
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "end"}));
    EXPECT_TRUE(m.loop.runOneTurn());
    EXPECT_FALSE(m.loop.runOneTurn());
    EXPECT_EQ(log, (std::vector<std::string>{"a", "b", "end", "c", "end", "end"}));
}

TEST(MainLoop, firesTimersOnlyWhenTheManualClockReachesThem) {
    // A one-shot timer fires once at its deadline; a repeating one every interval, and only once
    // for a jump over several deadlines; cancelled timers never fire.
    ManualLoop m;
    int once = 0;
    int every = 0;
    int cancelled = 0;
    const auto onceID = m.loop.addTimer(5.0, TimerRepeat::once, [&] { ++once; });
    m.loop.addTimer(60.0, TimerRepeat::repeating, [&] { ++every; });
    const auto cancelledID = m.loop.addTimer(1.0, TimerRepeat::once, [&] { ++cancelled; });
    m.loop.cancelTimer(cancelledID);
    ASSERT_EQ(m.loop.nextTimerDeadline(), 5.0);

    m.clock->advanceBy(4.9);
    EXPECT_FALSE(m.loop.runOneTurn());
    m.clock->advanceBy(0.1);
    EXPECT_TRUE(m.loop.runOneTurn());
    EXPECT_EQ(once, 1);
    EXPECT_FALSE(m.loop.hasTimer(onceID));
    EXPECT_EQ(m.loop.nextTimerDeadline(), 60.0);

    m.clock->advanceBy(55.0);
    m.loop.runOneTurn();
    EXPECT_EQ(every, 1);
    m.clock->advanceBy(59.0);
    m.loop.runOneTurn();
    EXPECT_EQ(every, 1);
    m.clock->advanceBy(1.0);
    m.loop.runOneTurn();
    EXPECT_EQ(every, 2);

    m.clock->advanceBy(250.0); // now 370: deadlines 180..360 were missed
    m.loop.runOneTurn();
    m.loop.runOneTurn();
    EXPECT_EQ(every, 3);
    EXPECT_EQ(m.loop.nextTimerDeadline(), 420.0);
    EXPECT_EQ(once, 1);
    EXPECT_EQ(cancelled, 0);
}

TEST(MainLoop, aTimerMayCancelItselfAndAnotherDueTimer) {
    // Cancelling inside a timer stops later firings, including a timer due in the same turn.
    ManualLoop m;
    int first = 0;
    int second = 0;
    MainLoop::TimerID secondID = 0;
    MainLoop::TimerID firstID = 0;
    firstID = m.loop.addTimer(1.0, TimerRepeat::repeating, [&] {
        ++first;
        m.loop.cancelTimer(firstID);
        m.loop.cancelTimer(secondID);
    });
    secondID = m.loop.addTimer(2.0, TimerRepeat::once, [&] { ++second; });
    m.clock->advanceBy(10.0);
    m.loop.runUntilIdle();
    EXPECT_EQ(first, 1);
    EXPECT_EQ(second, 0);
    EXPECT_FALSE(m.loop.nextTimerDeadline());
}

TEST(MainLoop, acceptsPostsFromOtherThreadsAndWakesTheHost) {
    // Posts from several threads all arrive and run on the main thread, each exactly once, and the
    // wake-up handler hears of every post.
    ManualLoop m;
    std::atomic<int> wakeUps{0};
    m.loop.setWakeUpHandler([&] { ++wakeUps; });
    int ran = 0;
    bool allOnMain = true;
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&] {
            EXPECT_FALSE(m.loop.isMainThread());
            for (int i = 0; i < 250; ++i) {
                m.loop.post([&] {
                    ++ran;
                    allOnMain = allOnMain && m.loop.isMainThread();
                });
            }
        });
    }
    for (auto& t : threads) {
        t.join();
    }
    m.loop.runUntilIdle();
    EXPECT_EQ(ran, 1000);
    EXPECT_TRUE(allOnMain);
    EXPECT_EQ(wakeUps.load(), 1000);
}

TEST(MainLoop, runReturnsAfterQuitFromAnotherThread) {
    // run() sleeps until work arrives, runs it, and returns when quit is requested.
    MainLoop loop;
    int ran = 0;
    std::thread poster([&] {
        loop.post([&] { ++ran; });
        loop.post([&] { loop.quit(); });
    });
    loop.run();
    poster.join();
    EXPECT_EQ(ran, 1);
}

} // namespace
} // namespace orvane
