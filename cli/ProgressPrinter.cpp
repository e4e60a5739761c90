#include "cli/ProgressPrinter.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>

namespace orvane::cli {

namespace {

std::atomic<bool> interrupted{false};

void onInterrupt(int) {
    interrupted = true;
}

} // namespace

InterruptScope::InterruptScope() : previous_(std::signal(SIGINT, onInterrupt)) {
    interrupted = false;
}

InterruptScope::~InterruptScope() {
    std::signal(SIGINT, previous_);
}

bool interruptRequested() {
    return interrupted;
}

ProgressPrinter::ProgressPrinter(std::FILE* to) : to_(to), terminal_(::isatty(::fileno(to)) == 1) {}

bool ProgressPrinter::operator()(double fraction, std::string_view status) {
    const int percent = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * 100.0));
    if (terminal_) {
        if (percent != percent_ || status != status_) {
            const int filled = percent * 30 / 100;
            std::fprintf(to_, "\r[%s%s] %3d%% %-32.*s",
                         std::string(static_cast<std::size_t>(filled), '#').c_str(),
                         std::string(static_cast<std::size_t>(30 - filled), '-').c_str(), percent,
                         static_cast<int>(status.size()), status.data());
            std::fflush(to_);
        }
    } else if (status != status_ || percent / 10 != percent_ / 10) {
        std::fprintf(to_, "%3d%% %.*s\n", percent, static_cast<int>(status.size()), status.data());
        std::fflush(to_);
    }
    percent_ = percent;
    status_ = status;
    return !interrupted;
}

void ProgressPrinter::finish() {
    if (terminal_ && percent_ >= 0)
        std::fprintf(to_, "\n");
    percent_ = -1;
}

} // namespace orvane::cli
