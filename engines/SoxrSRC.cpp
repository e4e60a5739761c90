#include "engines/SoxrSRC.h"

#include <soxr.h>

#include <algorithm>
#include <cmath>
#include <string>

namespace orvane {

namespace {

constexpr std::size_t kOutBufSamples = 16384;
constexpr double kLinearPhaseResponse = 50.0;
constexpr double kMinimumPhaseResponse = 0.0;

} // namespace

SoxrSRC::SoxrSRC(int fsIn, int fsOut, bool minPhase) : srcSR_(fsIn), dstSR_(fsOut), outBuf_(kOutBufSamples) {
    const soxr_io_spec_t io = soxr_io_spec(SOXR_FLOAT64_I, SOXR_FLOAT64_I);
    soxr_quality_spec_t quality = soxr_quality_spec(SOXR_VHQ, 0);
    quality.phase_response = minPhase ? kMinimumPhaseResponse : kLinearPhaseResponse;
    soxr_error_t failure = nullptr;
    soxr_ = soxr_create(srcSR_, dstSR_, 1, &failure, &io, &quality, nullptr);
    if (soxr_ == nullptr || failure != nullptr) {
        error_ = RenderError{"SoX VHQ could not be set up for " + std::to_string(fsIn) + " Hz to " +
                             std::to_string(fsOut) + " Hz" + (failure ? std::string(": ") + failure : "")};
        soxr_delete(soxr_);
        soxr_ = nullptr;
        return;
    }
    skipRemaining_ = static_cast<std::int64_t>(std::round(soxr_delay(soxr_)));
}

SoxrSRC::~SoxrSRC() {
    soxr_delete(soxr_);
}

void SoxrSRC::take(std::size_t producedSamples, std::vector<double>& out) {
    const auto skipped = static_cast<std::size_t>(
        std::min<std::int64_t>(skipRemaining_, static_cast<std::int64_t>(producedSamples)));
    skipRemaining_ -= static_cast<std::int64_t>(skipped);
    out.insert(out.end(), outBuf_.begin() + static_cast<std::ptrdiff_t>(skipped),
               outBuf_.begin() + static_cast<std::ptrdiff_t>(producedSamples));
}

std::vector<double> SoxrSRC::processBlock(const std::vector<double>& input) {
    std::vector<double> result;
    if (soxr_ == nullptr)
        return result;
    totalIn_ += static_cast<std::int64_t>(input.size());
    result.reserve(static_cast<std::size_t>(static_cast<double>(input.size()) * dstSR_ / srcSR_) + 64);
    std::size_t position = 0;
    while (position < input.size()) {
        std::size_t consumed = 0;
        std::size_t produced = 0;
        soxr_process(soxr_, input.data() + position, input.size() - position, &consumed, outBuf_.data(),
                     outBuf_.size(), &produced);
        take(produced, result);
        position += consumed;
        if (consumed == 0 && produced == 0)
            break;
    }
    emitted_ += static_cast<std::int64_t>(result.size());
    return result;
}

std::vector<double> SoxrSRC::flush() {
    std::vector<double> result;
    if (soxr_ == nullptr)
        return result;
    for (;;) {
        std::size_t produced = 0;
        // A null input tells the library the stream has ended; it then drains its filters.
        soxr_process(soxr_, nullptr, 0, nullptr, outBuf_.data(), outBuf_.size(), &produced);
        if (produced == 0)
            break;
        take(produced, result);
    }
    const auto expected = static_cast<std::int64_t>(dstSR_ * static_cast<double>(totalIn_) / srcSR_);
    const std::int64_t left = expected - emitted_;
    if (left < 1)
        return {};
    if (static_cast<std::int64_t>(result.size()) > left)
        result.resize(static_cast<std::size_t>(left));
    emitted_ += static_cast<std::int64_t>(result.size());
    return result;
}

} // namespace orvane
