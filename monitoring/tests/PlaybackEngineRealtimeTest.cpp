// The render callback takes no lock and allocates nothing: this test binary counts every operator
// new, every pthread mutex lock and (outside the sanitizers, which own malloc) every malloc made on a
// thread while it is marked as inside the callback.

#include "monitoring/tests/EngineFixture.h"

#include <dlfcn.h>
#include <pthread.h>

#include <cstdlib>
#include <mutex>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVANE_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVANE_SANITIZED 1
#endif
#endif

#if defined(__SANITIZE_THREAD__)
#define ORVANE_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define ORVANE_TSAN 1
#endif
#endif

namespace {

thread_local bool tInsideCallback = false;
std::atomic<int> gAllocationsInside{0};
std::atomic<int> gLocksInside{0};

void noteAllocation() noexcept {
    if (tInsideCallback)
        gAllocationsInside.fetch_add(1, std::memory_order_relaxed);
}

void* allocate(std::size_t size) {
    noteAllocation();
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void* allocateAligned(std::size_t size, std::align_val_t align) {
    noteAllocation();
    const auto a = static_cast<std::size_t>(align);
    if (void* p = std::aligned_alloc(a, (size + a - 1) / a * a))
        return p;
    throw std::bad_alloc();
}

} // namespace

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    noteAllocation();
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    noteAllocation();
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new(std::size_t size, std::align_val_t align) {
    return allocateAligned(size, align);
}
void* operator new[](std::size_t size, std::align_val_t align) {
    return allocateAligned(size, align);
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete[](void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t) noexcept {
    std::free(p);
}
void operator delete(void* p, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t, std::align_val_t) noexcept {
    std::free(p);
}
void operator delete[](void* p, std::size_t, std::align_val_t) noexcept {
    std::free(p);
}

#if !defined(ORVANE_SANITIZED)
// glibc's own allocator under the interposed names, so C allocations are seen as well.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* malloc(std::size_t size) {
    noteAllocation();
    return __libc_malloc(size);
}
void* calloc(std::size_t n, std::size_t size) {
    noteAllocation();
    return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t size) {
    noteAllocation();
    return __libc_realloc(p, size);
}
}
#endif

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

// Runs the engine's callback on caller-owned buffers with the thread marked as inside it.
void pullMarked(testing::TestAudioOutput& output, std::vector<float>& l, std::vector<float>& r) {
    tInsideCallback = true;
    output.pullInto(l.data(), r.data(), l.size());
    tInsideCallback = false;
}

TEST_F(EngineTest, renderCallbackNeitherLocksNorAllocates) {
    // Across stop, play, a loop wrap, an underrun, a volume change and a scrub, the callback makes no
    // allocation and takes no mutex; the counters do see both when they happen inside the mark.
    tInsideCallback = true;
    delete new int(1);
    std::mutex probe;
    probe.lock();
    probe.unlock();
    tInsideCallback = false;
    EXPECT_GE(gAllocationsInside.exchange(0), 1) << "the allocation counter is blind";
#if defined(ORVANE_WATCHES_LOCKS)
    EXPECT_GE(gLocksInside.exchange(0), 1) << "the lock counter is blind";
#endif

    makeEngine();
    loadThreeTracks();
    std::vector<float> l(512), r(512);
    pullMarked(output, l, r); // stopped: zeros

    engine->setLoopRange(2.0, (2.0 * 44100.0 + 3000.5) / 44100.0);
    engine->seek(2.0);
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
    engine->scrubTo(4.0);
    for (int i = 0; i < 8; ++i) {
        waitForRing(512);
        pullMarked(output, l, r);
    }
    engine->endScrub();

    EXPECT_EQ(gAllocationsInside.load(), 0);
    EXPECT_EQ(gLocksInside.load(), 0);
}

} // namespace
} // namespace orvane
