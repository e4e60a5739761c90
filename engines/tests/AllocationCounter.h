#pragma once
// Counts heap allocations made through the global operator new by the test program, so that a test
// can show a processing path allocates nothing once it is warmed up. Shared by every test of the module.

#include <cstddef>

namespace orvane::testing {

// Allocations since the program started, from any thread.
std::size_t allocationCount() noexcept;

} // namespace orvane::testing
