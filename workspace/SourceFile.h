#pragma once
// What the workspace learns about a source file when it enters the project: its length in disc
// samples (read through the audio file layer) and its creation date (from the file system). Any
// thread; each call opens or stats the file anew.

#include "model/Timestamp.h"

#include <cstdint>
#include <filesystem>
#include <optional>

namespace orvane::SourceFile {

// The file's length converted to disc samples; nothing when the file can't be opened as audio.
std::optional<std::int64_t> discSamples(const std::filesystem::path& file);

// The file's birth time; nothing when the file system doesn't record one or it can't be read.
std::optional<Timestamp> creationDate(const std::filesystem::path& file);

} // namespace orvane::SourceFile
