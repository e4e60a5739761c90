#include "delivery/FilesetChecksum.h"

#include "delivery/DDPWriter.h"
#include "delivery/MD5Digest.h"

#include <system_error>
#include <vector>

namespace orvane::FilesetChecksum {

tl::expected<std::string, std::string> build(const std::filesystem::path& folder,
                                             std::span<const std::string> extraFileNames) {
    std::vector<DDPWriter::ChecksumEntry> entries;
    for (const std::string& name : DDPWriter::checksumFileNames(extraFileNames)) {
        const std::filesystem::path file = folder / name;
        std::error_code error;
        if (!std::filesystem::is_regular_file(file, error))
            continue; // the set lists only what it has, without a word
        auto hex = md5HexOfFile(file);
        if (!hex)
            return tl::unexpected(name + ": " + hex.error().reason);
        entries.push_back({name, std::move(*hex)});
    }
    return DDPWriter::checksumText(entries);
}

} // namespace orvane::FilesetChecksum
