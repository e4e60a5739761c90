#include "platform/AudioFileFormat.h"

#include <algorithm>
#include <cctype>
#include <string>

namespace orvane::AudioFileFormats {

std::optional<AudioContainer> containerForPath(const std::filesystem::path& path) {
    std::string ext = path.extension().string();
    std::transform(ext.begin(), ext.end(), ext.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (ext == ".wav" || ext == ".wave") {
        return AudioContainer::wav;
    }
    if (ext == ".aif" || ext == ".aiff" || ext == ".aifc") {
        return AudioContainer::aiff;
    }
    if (ext == ".flac") {
        return AudioContainer::flac;
    }
    if (ext == ".ogg" || ext == ".oga") {
        return AudioContainer::ogg;
    }
    if (ext == ".mp3") {
        return AudioContainer::mp3;
    }
    if (ext == ".m4a" || ext == ".mp4") {
        return AudioContainer::m4a;
    }
    return std::nullopt;
}

int bitDepth(AudioSampleFormat format) noexcept {
    switch (format) {
    case AudioSampleFormat::int8:
        return 8;
    case AudioSampleFormat::int16:
        return 16;
    case AudioSampleFormat::int24:
        return 24;
    case AudioSampleFormat::int32:
    case AudioSampleFormat::float32:
        return 32;
    case AudioSampleFormat::float64:
        return 64;
    case AudioSampleFormat::compressed:
        return 0;
    }
    return 0;
}

} // namespace orvane::AudioFileFormats
