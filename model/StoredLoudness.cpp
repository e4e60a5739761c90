#include "model/StoredLoudness.h"

#include <chrono>
#include <filesystem>
#include <system_error>

namespace orvane {

std::optional<StoredLoudness::Fingerprint> StoredLoudness::fingerprint(const std::optional<FileURL>& url) {
    if (!url)
        return std::nullopt;
    const std::filesystem::path path = url->path();
    if (path.empty())
        return std::nullopt;
    std::error_code error;
    const auto size = std::filesystem::file_size(path, error);
    if (error)
        return std::nullopt;
    const auto modified = std::filesystem::last_write_time(path, error);
    if (error)
        return std::nullopt;
    const auto sinceEpoch = std::chrono::file_clock::to_sys(modified).time_since_epoch();
    return Fingerprint{static_cast<std::int64_t>(size), Timestamp::fromFileTime(modified),
                       std::chrono::duration<double>(sinceEpoch).count()};
}

bool StoredLoudness::matches(const std::optional<FileURL>& url) const {
    const auto current = fingerprint(url);
    if (!current || current->fileSize != fileSize)
        return false;
    // The stored date lost its fraction of a second; the file's own date still has it, so an untouched
    // file lies within [0, 1) after the stored second.
    const double difference =
        current->fileModifiedExactSeconds - static_cast<double>(fileModified.secondsSinceEpoch);
    return difference > -1.0 && difference < 1.0;
}

} // namespace orvane
