#pragma once
// Checks the disc and the vinyl pre-flight share. Pure functions; any thread.

#include "model/FileURL.h"

#include <cstdint>
#include <filesystem>
#include <string>
#include <system_error>

namespace orvane::detail {

// True when the URL names no file that is there; an unreadable folder counts as missing too.
inline bool audioFileMissing(const FileURL& url) {
    const std::filesystem::path path = url.path();
    std::error_code ec;
    return path.empty() || !std::filesystem::exists(path, ec);
}

// "%d:%02d" of a count of frames: whole minutes, then seconds within the minute.
inline std::string minutesSeconds(std::int64_t frames) {
    const std::int64_t seconds = (frames / 75) % 60;
    return std::to_string(frames / 4500) + ":" + (seconds < 10 ? "0" : "") + std::to_string(seconds);
}

} // namespace orvane::detail
