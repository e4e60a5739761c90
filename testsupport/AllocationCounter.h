#pragma once
// Counts the heap allocations of a test program: every global operator new (plain, array, aligned
// and nothrow) and, outside the sanitizers (which own malloc), every malloc, calloc and realloc.
// Linking this unit replaces the program's allocation functions. Tests only.

#include <cstddef>

namespace orvane::testing {

// Allocations made by the calling thread since it started.
std::size_t allocationCount() noexcept;
// Allocations made by every thread since the program started.
std::size_t allocationCountAllThreads() noexcept;

} // namespace orvane::testing
