// The render callback takes no lock and allocates nothing: this test binary counts every operator
// new, every pthread mutex lock and (outside the sanitizers, which own malloc) every malloc made on a
// thread while it is marked as inside the callback.

#include "monitoring/tests/EngineFixture.h"
#include "testsupport/AllocationCounter.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cstdlib>
#include <mutex>
#include <new>

#if defined(__SANITIZE_THREAD__)
#define ORVANE_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVANE_TSAN 1
#endif
#endif

namespace {

thread_local bool tInsideCallback = false;
std::atomic<int> gLocksInside{0};

} // namespace

#if !defined(ORVANE_TSAN)
// ThreadSanitizer needs the real lock calls to itself, so only the other builds watch them.
extern "C" int pthread_mutex_lock(pthread_mutex_t* mutex) {
    using LockFn = int (*)(pthread_mutex_t*);
    static const auto real = reinterpret_cast<LockFn>(dlsym(RTLD_NEXT, "pthread_mutex_lock"));
    if (tInsideCallback)
        gLocksInside.fetch_add(1, std::memory_order_relaxed);
    return real(mutex);
}
#define ORVANE_WATCHES_LOCKS 1
#endif

namespace orvane {
namespace {

using testing::EngineTest;

int gAllocationsInside = 0;

// Runs the engine's callback on caller-owned buffers with the thread marked as inside it, counting
// what it allocates.
void pullMarked(testing::TestAudioOutput& output, std::vector<float>& l, std::vector<float>& r) {
    const std::size_t before = testing::allocationCount();
    tInsideCallback = true;
    output.pullInto(l.data(), r.data(), l.size());
    tInsideCallback = false;
    gAllocationsInside += static_cast<int>(testing::allocationCount() - before);
}

TEST_F(EngineTest, renderCallbackNeitherLocksNorAllocates) {
    // Across stop, play, a loop wrap, an underrun, a volume change and a scrub, the callback makes no
    // allocation and takes no mutex; the counters do see both when they happen inside the mark.
    const std::size_t before = testing::allocationCount();
    tInsideCallback = true;
    // Through a volatile pointer: the compiler may otherwise drop a new that is deleted at once.
    int* volatile probeAllocation = new int(1);
    delete probeAllocation;
    std::mutex probe;
    probe.lock();
    probe.unlock();
    tInsideCallback = false;
    EXPECT_GE(testing::allocationCount() - before, 1u) << "the allocation counter is blind";
#if defined(ORVANE_WATCHES_LOCKS)
    EXPECT_GE(gLocksInside.exchange(0), 1) << "the lock counter is blind";
#endif

    makeEngine();
    loadThreeTracks();
    std::vector<float> l(512), r(512);
    pullMarked(output, l, r); // stopped: zeros

    engine->setLoopRange(testing::at(2.0), testing::at(2.0) + 3000);
    engine->seek(testing::at(2.0));
    engine->play();
    pullMarked(output, l, r); // probably short: the producer has just started
    for (int i = 0; i < 40; ++i) {
        waitForRing(512);
        pullMarked(output, l, r); // wraps the 3000-frame loop several times
    }
    engine->setOutputVolume(0.3);
    waitForRing(512);
    pullMarked(output, l, r);
    engine->pause();
    pullMarked(output, l, r);

    engine->beginScrub();
    engine->scrubTo(testing::at(4.0));
    for (int i = 0; i < 8; ++i) {
        waitForRing(512);
        pullMarked(output, l, r);
    }
    engine->endScrub();

    EXPECT_EQ(gAllocationsInside, 0);
    EXPECT_EQ(gLocksInside.load(), 0);
}

} // namespace
} // namespace orvane
