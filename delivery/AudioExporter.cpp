#include "delivery/AudioExporter.h"

#include "delivery/DDPReader.h"
#include "delivery/TemporaryImage.h"
#include "model/RedBook.h"
#include "model/Uuid.h"
#include "platform/AudioFileWriter.h"

#include <cstdio>
#include <fstream>
#include <new>
#include <system_error>

namespace orvane::AudioExporter {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kAIFFPieceBytes = 4 * 1024 * 1024;
// Room for the number, the extension and a file system's 255-byte limit on one name.
constexpr std::size_t kMaxTitleBytes = 200;

[[noreturn]] void fail(ErrorCode code, std::string message) {
    throw ExportError{std::string(errorDomain), static_cast<ExportErrorCode>(code), std::move(message),
                      std::nullopt};
}

[[noreturn]] void writeFailed(const std::string& name, const std::string& reason) {
    throw ExportError{"Exporter", ExportErrorCode::writeFailed, "Writing " + name + " failed: " + reason,
                      std::nullopt};
}

std::string trimmed(std::string_view text) {
    const auto blank = [](char c) {
        return c == ' ' || c == '\t' || c == '\n' || c == '\r' || c == '\f' || c == '\v';
    };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    return std::string(text);
}

// Cuts at most `bytes` bytes off the front without splitting a UTF-8 character.
std::string cutUTF8(std::string text, std::size_t bytes) {
    if (text.size() <= bytes)
        return text;
    std::size_t end = bytes;
    while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
        --end;
    text.resize(end);
    return text;
}

void writeAIFF(std::istream& image, std::int64_t offset, std::int64_t length, const fs::path& to) {
    AudioWriteSettings settings;
    settings.container = AudioContainer::aiff;
    settings.sampleFormat = AudioSampleFormat::int16;
    auto writer = AudioFileWriter::open(to, settings);
    if (!writer && writer.error().code == AudioFileErrorCode::unsupportedFormat)
        fail(ErrorCode::cannotCreateFormat, "Cannot create buffer format.");
    if (!writer)
        writeFailed(to.filename().string(), writer.error().message);
    std::vector<std::int16_t> piece;
    try {
        piece.resize(
            static_cast<std::size_t>(std::min(kAIFFPieceBytes, std::max<std::int64_t>(length, 4)) / 2));
    } catch (const std::bad_alloc&) {
        fail(ErrorCode::cannotAllocate, "Cannot allocate buffer.");
    }
    image.clear();
    image.seekg(offset);
    std::int64_t done = 0;
    while (done < length) {
        const std::int64_t bytes = std::min<std::int64_t>(length - done, kAIFFPieceBytes);
        // The image is little-endian, as this host is; the writer stores big-endian.
        if (!image.read(reinterpret_cast<char*>(piece.data()), bytes))
            writeFailed(to.filename().string(), "the rendered image ends early");
        if (auto written = writer->writeInterleavedInt16({piece.data(), static_cast<std::size_t>(bytes / 2)});
            !written)
            writeFailed(to.filename().string(), written.error().message);
        done += bytes;
    }
    if (auto finished = writer->finish(); !finished)
        writeFailed(to.filename().string(), finished.error().message);
}

void writeTracks(const CDProject& project, const std::vector<TrackPosition>& positions,
                 const fs::path& folder, Format format, const fs::path& imagePath,
                 const Exporter::FractionProgress& progress) {
    std::ifstream image(imagePath, std::ios::binary);
    if (!image)
        throw ExportError{"Exporter", ExportErrorCode::openImageFailed, "Failed to open the rendered image.",
                          std::nullopt};
    const std::size_t n = positions.size();
    for (std::size_t i = 0; i < n; ++i) {
        const TrackPosition& p = positions[i];
        const std::string title = i < project.tracks.size() ? project.tracks[i].title : std::string();
        const fs::path file = folder / fileName(p.trackIndex, title, format);
        const std::int64_t offset = p.index01LBA * RedBook::bytesPerFrame;
        const std::int64_t length = (p.endLBA - p.index01LBA) * RedBook::bytesPerFrame;
        const auto fileProgress = [&](double f) {
            return !progress || progress((static_cast<double>(i) + f) / static_cast<double>(n));
        };
        if (format == Format::wav) {
            const auto written = DDPReader::extractWAV(image, offset, length, file, fileProgress);
            if (!written && written.error().isCancel())
                throw UserCancelledError{};
            if (!written)
                throw ExportError{"Exporter", ExportErrorCode::writeFailed, written.error().message(),
                                  std::nullopt};
        } else {
            writeAIFF(image, offset, length, file);
        }
        if (!fileProgress(1.0))
            throw UserCancelledError{};
    }
}

} // namespace

std::string_view rawValue(Format format) {
    return format == Format::wav ? "wav" : "aif";
}

std::string_view shortName(Format format) {
    return format == Format::wav ? "WAV" : "AIFF";
}

std::string fileName(std::int64_t index, std::string_view title, Format format) {
    std::string text(title);
    for (char& c : text)
        if (c == '/' || c == ':' || (static_cast<unsigned char>(c) < 0x20 && c != '\t'))
            c = '-';
    text = cutUTF8(trimmed(text), kMaxTitleBytes);
    char number[32];
    std::snprintf(number, sizeof number, "%02lld", static_cast<long long>(index));
    if (text.empty())
        text = "Track " + std::string(number);
    return std::string(number) + " " + text + "." + std::string(rawValue(format));
}

void exportTracks(const CDProject& project, const std::vector<TrackPosition>& positions,
                  const fs::path& folder, Format format, const std::optional<fs::path>& preparedImage,
                  const Exporter::FractionProgress& progress) {
    if (positions.empty())
        fail(ErrorCode::noTracks, "Project contains no tracks.");
    if (preparedImage) {
        writeTracks(project, positions, folder, format, *preparedImage, progress);
        return;
    }
    const TemporaryImage image(project, positions, temporaryImagePrefix,
                               [&](double f) { return !progress || progress(0.7 * f); });
    writeTracks(project, positions, folder, format, image.path(),
                [&](double f) { return !progress || progress(0.7 + 0.3 * f); });
}

std::size_t exportTrackFiles(const CDProject& project, const std::vector<TrackPosition>& positions,
                             const fs::path& folder, Format format,
                             const Exporter::FractionProgress& progress) {
    if (positions.empty())
        fail(ErrorCode::noTracks, "Project contains no tracks.");
    std::error_code ec;
    fs::create_directories(folder, ec);
    const fs::path partial = folder / (std::string(partialFolderPrefix) + Uuid::random().string());
    if (!ec)
        fs::create_directory(partial, ec);
    if (ec)
        writeFailed(partial.filename().string(), ec.message());
    std::size_t moved = 0;
    try {
        exportTracks(project, positions, partial, format, std::nullopt, progress);
        for (const auto& entry : fs::directory_iterator(partial)) {
            fs::rename(entry.path(), folder / entry.path().filename(), ec);
            if (ec)
                writeFailed(entry.path().filename().string(), ec.message());
            ++moved;
        }
    } catch (...) {
        fs::remove_all(partial, ec); // best effort: the failure itself is what gets reported
        throw;
    }
    fs::remove_all(partial, ec);
    return moved;
}

} // namespace orvane::AudioExporter
