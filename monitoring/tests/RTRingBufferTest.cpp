#include "monitoring/RTRingBuffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace orvane {
namespace {

std::vector<float> ramp(std::int64_t from, std::int64_t count, float scale = 1.0f) {
    std::vector<float> v(static_cast<std::size_t>(count));
    for (std::int64_t i = 0; i < count; ++i)
        v[static_cast<std::size_t>(i)] = scale * static_cast<float>(from + i);
    return v;
}

TEST(RTRingBuffer, roundsTheCapacityUpToAPowerOfTwo) {
    // The engine's 44100-frame request holds 65536 frames; requests below 2 hold one.
    const RTRingBuffer engineRing(44100);
    EXPECT_EQ(engineRing.capacity(), 65536);
    EXPECT_EQ(RTRingBuffer(1).capacity(), 1);
    EXPECT_EQ(RTRingBuffer(0).capacity(), 1);
    EXPECT_EQ(RTRingBuffer(-3).capacity(), 1);
    EXPECT_EQ(RTRingBuffer(4096).capacity(), 4096);
    EXPECT_EQ(RTRingBuffer(4097).capacity(), 8192);
}

TEST(RTRingBuffer, shortReadGivesWhatIsThereAndZeroesTheRest) {
    // A 512-frame read from 100 frames returns 100, zero-fills the other 412 and empties the ring.
    RTRingBuffer ring(1024);
    const auto l = ramp(1, 100);
    const auto r = ramp(1, 100, -1.0f);
    ASSERT_EQ(ring.write(l.data(), r.data(), 100), 100);

    std::vector<float> outL(512, 7.0f), outR(512, 7.0f);
    EXPECT_EQ(ring.read(outL.data(), outR.data(), 512), 100);
    for (std::size_t i = 0; i < 100; ++i) {
        EXPECT_EQ(outL[i], static_cast<float>(i + 1));
        EXPECT_EQ(outR[i], -static_cast<float>(i + 1));
    }
    for (std::size_t i = 100; i < 512; ++i)
        ASSERT_TRUE(outL[i] == 0.0f && outR[i] == 0.0f) << i;
    EXPECT_EQ(ring.filledFrames(), 0);
    EXPECT_EQ(ring.read(outL.data(), outR.data(), 16), 0);
}

TEST(RTRingBuffer, writeStopsAtFullAndBothSidesWrapInOrder) {
    // Writes beyond the free space are cut; runs that cross the end of the buffer come out in order,
    // and the guard values past the requested count stay untouched.
    RTRingBuffer ring(64);
    const auto first = ramp(0, 100);
    EXPECT_EQ(ring.write(first.data(), first.data(), 100), 64);
    EXPECT_EQ(ring.freeFrames(), 0);

    std::vector<float> outL(60 + 4, -1.0f), outR(60 + 4, -1.0f);
    ASSERT_EQ(ring.read(outL.data(), outR.data(), 60), 60);
    EXPECT_EQ(outL[59], 59.0f);
    EXPECT_EQ(outL[60], -1.0f); // guard

    // readIndex & mask is now 60: the next write and read straddle the buffer's end.
    const auto second = ramp(64, 40);
    EXPECT_EQ(ring.write(second.data(), second.data(), 40), 40);
    std::vector<float> across(44, -1.0f), acrossR(44, -1.0f);
    ASSERT_EQ(ring.read(across.data(), acrossR.data(), 44), 44);
    for (std::size_t i = 0; i < 44; ++i)
        ASSERT_EQ(across[i], static_cast<float>(60 + i)) << i;
    EXPECT_EQ(ring.readIndex(), 104);
    EXPECT_EQ(ring.writeIndex(), 104);

    ring.reset();
    EXPECT_EQ(ring.readIndex(), 0);
    EXPECT_EQ(ring.writeIndex(), 0);
}

TEST(RTRingBuffer, concurrentWriterAndReaderSeeAnUnbrokenSequence) {
    // With one writer and one reader on separate threads, every frame arrives once, in order.
    RTRingBuffer ring(256);
    constexpr std::int64_t total = 40000;
    std::atomic<bool> readerDone{false}; // so that a broken ring fails the test instead of hanging it
    std::thread writer([&] {
        std::int64_t next = 0;
        while (next < total && !readerDone.load()) {
            const auto block = ramp(next, std::min<std::int64_t>(37, total - next));
            next += ring.write(block.data(), block.data(), static_cast<std::int64_t>(block.size()));
            std::this_thread::yield();
        }
    });
    std::int64_t expected = 0;
    std::vector<float> l(53), r(53);
    bool inOrder = true;
    while (expected < total && inOrder) {
        const auto n = ring.read(l.data(), r.data(), 53);
        for (std::int64_t i = 0; i < n; ++i)
            inOrder = inOrder && l[static_cast<std::size_t>(i)] == static_cast<float>(expected + i);
        expected += n;
    }
    readerDone = true;
    writer.join();
    EXPECT_TRUE(inOrder);
    EXPECT_EQ(expected, total);
}

} // namespace
} // namespace orvane
