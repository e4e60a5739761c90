#pragma once
// A whole stream through one converter: the stream in one block, then the flush. Tests only.

#include "engines/StreamingResampler.h"

#include <vector>

namespace orvane::testing {

inline std::vector<double> convert(StreamingResampler& converter, const std::vector<double>& x) {
    auto y = converter.processBlock(x);
    const auto tail = converter.flush();
    y.insert(y.end(), tail.begin(), tail.end());
    return y;
}

} // namespace orvane::testing
