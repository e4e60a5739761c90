#include "engines/R8BrainSRC.h"

#include <algorithm>

namespace orvane {

namespace {

constexpr const char* kUnavailableMessage = "r8brain Free is not available in this build";

} // namespace

#ifndef ORVANE_HAVE_R8BRAIN
// Without the library the handle never exists; these keep the adapter linkable.
R8BrainHandle* r8b_create(int, int, bool, double, double, double) {
    return nullptr;
}
int r8b_process(R8BrainHandle*, double*, int, double*& out) {
    out = nullptr;
    return 0;
}
void r8b_clear(R8BrainHandle*) {}
void r8b_destroy(R8BrainHandle*) {}
bool r8brainAvailable() {
    return false;
}
#endif

R8BrainSRC::R8BrainSRC(int fsIn, int fsOut, int maxInLen, double transBand, int res, bool minPhase)
    : srcSR_(fsIn), dstSR_(fsOut), maxInLen_(std::max(1, maxInLen)) {
    if (!r8brainAvailable()) {
        error_ = RenderError{kUnavailableMessage};
        return;
    }
    handle_ = r8b_create(maxInLen_, res, minPhase, srcSR_, dstSR_, transBand);
    if (handle_ == nullptr)
        error_ = RenderError{"r8brain Free could not be set up for these sample rates"};
}

R8BrainSRC::~R8BrainSRC() {
    r8b_destroy(handle_);
}

void R8BrainSRC::feed(const double* samples, std::size_t count, std::vector<double>& out) {
    std::size_t position = 0;
    while (position < count) {
        const std::size_t piece =
            std::min<std::size_t>(count - position, static_cast<std::size_t>(maxInLen_));
        scratch_.assign(samples + position, samples + position + piece);
        double* produced = nullptr;
        const int producedCount = r8b_process(handle_, scratch_.data(), static_cast<int>(piece), produced);
        if (producedCount > 0 && produced != nullptr)
            out.insert(out.end(), produced, produced + producedCount);
        position += piece;
    }
}

std::vector<double> R8BrainSRC::processBlock(const std::vector<double>& input) {
    std::vector<double> result;
    if (handle_ == nullptr)
        return result;
    totalIn_ += static_cast<std::int64_t>(input.size());
    feed(input.data(), input.size(), result);
    totalOut_ += static_cast<std::int64_t>(result.size());
    return result;
}

std::vector<double> R8BrainSRC::flush() {
    std::vector<double> result;
    if (handle_ == nullptr)
        return result;
    const auto expected = static_cast<std::int64_t>(dstSR_ * static_cast<double>(totalIn_) / srcSR_);
    if (totalOut_ >= expected)
        return result;
    const std::vector<double> zeros(static_cast<std::size_t>(maxInLen_), 0.0);
    while (totalOut_ + static_cast<std::int64_t>(result.size()) < expected) {
        const std::size_t before = result.size();
        feed(zeros.data(), zeros.size(), result);
        if (result.size() == before)
            break; // a whole block of zeros gave nothing: the library has no more to give
    }
    const auto keep = static_cast<std::size_t>(expected - totalOut_);
    if (result.size() > keep)
        result.resize(keep);
    totalOut_ += static_cast<std::int64_t>(result.size());
    return result;
}

} // namespace orvane
