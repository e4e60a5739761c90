#include "testsupport/AllocationCounter.h"

#include <atomic>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define ORVANE_SANITIZED 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
#define ORVANE_SANITIZED 1
#endif
#endif

namespace {

// Plain zero-initialised thread storage: reading it never allocates, also from inside malloc.
thread_local std::size_t tAllocations = 0;
std::atomic<std::size_t> gAllocations{0};

void note() noexcept {
    ++tAllocations;
    gAllocations.fetch_add(1, std::memory_order_relaxed);
}

void* allocate(std::size_t size) {
    note();
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc();
}

void* allocateAligned(std::size_t size, std::align_val_t align) {
    note();
    const auto a = static_cast<std::size_t>(align);
    if (void* p = std::aligned_alloc(a, (size + a - 1) / a * a))
        return p;
    throw std::bad_alloc();
}

} // namespace

std::size_t orvane::testing::allocationCount() noexcept {
    return tAllocations;
}

std::size_t orvane::testing::allocationCountAllThreads() noexcept {
    return gAllocations.load(std::memory_order_relaxed);
}

void* operator new(std::size_t size) {
    return allocate(size);
}
void* operator new[](std::size_t size) {
    return allocate(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    note();
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    note();
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
void operator delete(void* p, const std::nothrow_t&) noexcept {
    std::free(p);
}
void operator delete[](void* p, const std::nothrow_t&) noexcept {
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
// glibc's own allocator under the interposed names, so that C allocations are counted as well.
extern "C" {
void* __libc_malloc(std::size_t);
void* __libc_calloc(std::size_t, std::size_t);
void* __libc_realloc(void*, std::size_t);
void* malloc(std::size_t size) {
    note();
    return __libc_malloc(size);
}
void* calloc(std::size_t n, std::size_t size) {
    note();
    return __libc_calloc(n, size);
}
void* realloc(void* p, std::size_t size) {
    note();
    return __libc_realloc(p, size);
}
}
#endif
