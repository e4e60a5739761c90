#pragma once
// A persisted loudness measurement, tied to the exact file that was measured.

#include "model/FileURL.h"
#include "model/Timestamp.h"

#include <cstdint>
#include <optional>
#include <string>

namespace orvane {

struct StoredLoudness {
    std::int64_t fileSize = 0;
    Timestamp fileModified;
    double lufs = 0.0;
    double truePeak = 0.0;
    std::optional<double> lra;
    std::optional<std::string> blocks; // packed gating blocks
    std::optional<std::string> hops;   // packed hop data
    std::optional<std::int64_t> hopSamples;

    struct Fingerprint {
        std::int64_t fileSize = 0;
        Timestamp fileModified;              // as documents keep it, in whole seconds
        double fileModifiedExactSeconds = 0; // the file system's own date, since the epoch
    };
    // Size and modification date of a local file; nothing if absent or unreadable.
    static std::optional<Fingerprint> fingerprint(const std::optional<FileURL>& url);
    // True when the file's size is equal and its date differs from the stored one by less than a
    // second either way.
    bool matches(const std::optional<FileURL>& url) const;

    bool operator==(const StoredLoudness&) const = default;
};

} // namespace orvane
