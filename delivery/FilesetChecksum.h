#pragma once
// Builds the text of a fileset's checksum.md5 from the files in its folder. Reads files, writes
// nothing; runs on the export's background queue (any thread).

#include <filesystem>
#include <span>
#include <string>
#include <tl/expected.hpp>

namespace orvane::FilesetChecksum {

// One line per file of the set that exists in `folder`, in the fileset's order followed by the
// extra files; a name without a file is skipped. Fails with the name and the reason, e.g.
// "IMAGE.DAT: Permission denied", when an existing file cannot be read.
tl::expected<std::string, std::string> build(const std::filesystem::path& folder,
                                             std::span<const std::string> extraFileNames);

} // namespace orvane::FilesetChecksum
