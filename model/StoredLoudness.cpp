#include "model/StoredLoudness.h"

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
    return Fingerprint{static_cast<std::int64_t>(size), Timestamp::fromFileTime(modified)};
}

bool StoredLoudness::matches(const std::optional<FileURL>& url) const {
    const auto current = fingerprint(url);
    if (!current || current->fileSize != fileSize)
        return false;
    // Dates are kept in whole seconds, so "less than a second apart" means the same second.
    const std::int64_t difference = current->fileModified.secondsSinceEpoch - fileModified.secondsSinceEpoch;
    return difference > -1 && difference < 1;
}

} // namespace orvane
