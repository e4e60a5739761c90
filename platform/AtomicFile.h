#pragma once
// Whole-file writes that never leave a half-written target: the bytes go to a hidden temporary file
// beside the target, are flushed to the disk, and the temporary is renamed over the target. On any
// failure the target is left as it was and the temporary is removed. Any thread.

#include <filesystem>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace orvane::AtomicFile {

// Writes `bytes` to `target` atomically. The target's folder must exist. The error is a sentence
// for the user that names the file and the reason, e.g. "Could not write “a.ovproj”: No space left
// on device."
tl::expected<void, std::string> write(const std::filesystem::path& target, std::string_view bytes);

// The whole file's bytes, or a sentence for the user that names the file and the reason.
tl::expected<std::string, std::string> read(const std::filesystem::path& source);

} // namespace orvane::AtomicFile
