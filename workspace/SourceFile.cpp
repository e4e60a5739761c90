#include "workspace/SourceFile.h"

#include "model/RedBook.h"
#include "platform/AudioFileReader.h"

#include <fcntl.h>
#include <sys/stat.h>

namespace orvane::SourceFile {

std::optional<std::int64_t> discSamples(const std::filesystem::path& file) {
    auto reader = AudioFileReader::open(file);
    if (!reader) {
        return std::nullopt;
    }
    return RedBook::discSamplesForFileLength(reader->lengthFrames(), reader->sampleRate());
}

std::optional<Timestamp> creationDate(const std::filesystem::path& file) {
    // Only statx knows the birth time; file systems that keep none leave it out of the mask.
    struct statx info {};
    if (statx(AT_FDCWD, file.c_str(), 0, STATX_BTIME, &info) != 0 || (info.stx_mask & STATX_BTIME) == 0) {
        return std::nullopt;
    }
    return Timestamp{static_cast<std::int64_t>(info.stx_btime.tv_sec)};
}

} // namespace orvane::SourceFile
