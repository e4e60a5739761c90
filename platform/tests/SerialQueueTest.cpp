#include "platform/SerialQueue.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
#include <vector>

namespace orvane {
namespace {

TEST(SerialQueue, runsTasksOneAtATimeInSubmissionOrderOnItsOwnThread) {
    // Tasks from several submitters never overlap, keep each submitter's order, and run on the
    // worker thread only.
    SerialQueue queue("orvane.test");
    std::vector<int> order; // touched only by tasks, so serial execution keeps it consistent
    std::atomic<int> inside{0};
    std::atomic<bool> overlapped{false};
    std::atomic<bool> offWorker{false};
    std::vector<std::thread> submitters;
    for (int s = 0; s < 3; ++s) {
        submitters.emplace_back([&, s] {
            for (int i = 0; i < 200; ++i) {
                queue.async([&, s, i] {
                    if (inside.fetch_add(1) != 0) {
                        overlapped = true;
                    }
                    if (!queue.isCurrent()) {
                        offWorker = true;
                    }
                    order.push_back(s * 1000 + i);
                    inside.fetch_sub(1);
                });
            }
        });
    }
    for (auto& t : submitters) {
        t.join();
    }
    queue.waitUntilIdle();
    EXPECT_FALSE(overlapped);
    EXPECT_FALSE(offWorker);
    EXPECT_FALSE(queue.isCurrent());
    ASSERT_EQ(order.size(), 600u);
    for (int s = 0; s < 3; ++s) {
        int last = -1;
        for (int v : order) {
            if (v / 1000 == s) {
                EXPECT_GT(v % 1000, last);
                last = v % 1000;
            }
        }
    }
    EXPECT_EQ(queue.pendingCount(), 0u);
}

TEST(SerialQueue, syncWaitsForEarlierTasksAndRethrowsItsOwnFailure) {
    // sync returns only after the tasks queued before it ran; its exception reaches the caller,
    // and the queue keeps working after a failing async task.
    SerialQueue queue("orvane.test.sync");
    std::atomic<int> done{0};
    for (int i = 0; i < 50; ++i) {
        queue.async([&] { ++done; });
    }
    int seenInSync = -1;
    queue.sync([&] { seenInSync = done.load(); });
    EXPECT_EQ(seenInSync, 50);

    queue.async([] { throw std::runtime_error("lost task"); });
    EXPECT_THROW(queue.sync([] { throw std::runtime_error("mine"); }), std::runtime_error);
    bool ranAfter = false;
    queue.sync([&] { ranAfter = true; });
    EXPECT_TRUE(ranAfter);
}

TEST(SerialQueue, destructionRunsWhatIsStillQueued) {
    // Shutting a queue down finishes its queued work before the worker is joined.
    std::atomic<int> done{0};
    {
        SerialQueue queue("orvane.test.shutdown");
        queue.async([] { std::this_thread::yield(); });
        for (int i = 0; i < 100; ++i) {
            queue.async([&] { ++done; });
        }
    }
    EXPECT_EQ(done.load(), 100);
}

} // namespace
} // namespace orvane
