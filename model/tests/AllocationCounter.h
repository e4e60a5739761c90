#pragma once
// Counts every global operator new of the test executable, so that tests of per-sample code can
// check that it never allocates. The count is per thread.

#include <cstddef>

namespace orvane::testing {

std::size_t allocationCount() noexcept;

} // namespace orvane::testing
