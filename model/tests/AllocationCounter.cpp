// Replaces the global allocation functions of the model test executable with counting ones.
#include "AllocationCounter.h"

#include <cstdlib>
#include <new>

namespace {
thread_local std::size_t allocations = 0;

void* countedAllocate(std::size_t size) {
    ++allocations;
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}
} // namespace

std::size_t orvane::testing::allocationCount() noexcept {
    return allocations;
}

void* operator new(std::size_t size) {
    return countedAllocate(size);
}
void* operator new[](std::size_t size) {
    return countedAllocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    ++allocations;
    return std::malloc(size == 0 ? 1 : size);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, const std::nothrow_t&) noexcept {
    std::free(memory);
}
