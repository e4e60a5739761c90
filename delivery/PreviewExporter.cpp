#include "delivery/PreviewExporter.h"

#include "delivery/PreviewPlayer.h"
#include "delivery/detail/Base64.h"
#include "model/Uuid.h"
#include "platform/ChildProcess.h"
#include "platform/UserCancelledError.h"
#include "render/Exporter.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <memory>
#include <span>
#include <system_error>

namespace orvane::PreviewExporter {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kPieceBytes = 0x400000; // the encoder reads the image 4 MiB at a time
constexpr double kRenderShare = 0.7;
constexpr double kEncodeEnd = 0.9;

[[noreturn]] void fail(PreviewExportErrorCode code, std::string message) {
    throw PreviewExportError{"PreviewExporter", code, std::move(message)};
}

std::string systemReason() {
    return std::error_code(errno, std::generic_category()).message();
}

// A file in the temporary folder, removed when the guard goes, whichever way that is.
struct TemporaryFile {
    fs::path path;
    explicit TemporaryFile(const std::string& extension)
        : path(fs::temp_directory_path() / ("OrvanePreview-" + Uuid::random().string() + extension)) {}
    ~TemporaryFile() {
        std::error_code ec;
        fs::remove(path, ec); // nothing to do about a failure on the way out
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
};

// A hidden folder beside the output, taken away with what is in it unless it was moved into place.
struct PartialFolder {
    fs::path path;
    explicit PartialFolder(const fs::path& outputDirectory)
        : path(outputDirectory / (".orvane-preview-partial-" + Uuid::random().string())) {
        std::error_code ec;
        if (!fs::create_directory(path, ec))
            fail(PreviewExportErrorCode::writeFailed,
                 "Cannot create a folder in \"" + outputDirectory.string() +
                     "\": " + (ec ? ec.message() : std::string("it already exists")));
    }
    ~PartialFolder() {
        std::error_code ec;
        fs::remove_all(path, ec);
    }
    PartialFolder(const PartialFolder&) = delete;
    PartialFolder& operator=(const PartialFolder&) = delete;
};

// The first of name, "name 2", "name 3"... that is free in `folder`.
fs::path uniqueIn(const fs::path& folder, const std::string& name) {
    std::error_code ec;
    fs::path candidate = folder / name;
    for (int n = 2; fs::exists(fs::symlink_status(candidate, ec)); ++n)
        candidate = folder / (name + " " + std::to_string(n));
    return candidate;
}

void writeText(const fs::path& file, std::string_view text) {
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    if (out)
        out.write(text.data(), static_cast<std::streamsize>(text.size()));
    if (out)
        out.close();
    if (!out)
        fail(PreviewExportErrorCode::writeFailed,
             "Writing \"" + file.filename().string() + "\" failed: " + systemReason());
}

// The self-contained page, written piece by piece: the audio goes in as Base64 straight from its file,
// so a long disc never sits in memory whole.
void writeSelfContainedPage(const fs::path& target, const std::string& manifestJSON, const fs::path& audio) {
    const PreviewPlayer::Page page = PreviewPlayer::page(PreviewPlayer::Layout::compact);
    std::ofstream out(target, std::ios::binary | std::ios::trunc);
    std::ifstream in(audio, std::ios::binary);
    if (!in)
        fail(PreviewExportErrorCode::writeFailed, "Reading the encoded audio failed: " + systemReason());
    out << page.beforeManifest << manifestJSON << page.beforeAudio << "\"data:audio/mp4;base64,";
    std::string chunk(3 * (1u << 20), '\0'); // a multiple of 3, so the pieces' Base64 joins up
    while (out && in) {
        in.read(chunk.data(), static_cast<std::streamsize>(chunk.size()));
        const auto got = static_cast<std::size_t>(in.gcount());
        if (got > 0)
            out << detail::base64(std::string_view(chunk.data(), got));
    }
    if (in.bad())
        fail(PreviewExportErrorCode::writeFailed, "Reading the encoded audio failed: " + systemReason());
    out << '"' << page.afterAudio;
    if (out)
        out.close();
    if (!out)
        fail(PreviewExportErrorCode::writeFailed,
             "Writing \"" + target.filename().string() + "\" failed: " + systemReason());
}

void moveIntoPlace(const fs::path& from, const fs::path& to) {
    std::error_code ec;
    fs::rename(from, to, ec);
    if (ec)
        fail(PreviewExportErrorCode::writeFailed,
             "Writing \"" + to.filename().string() + "\" failed: " + ec.message());
}

} // namespace

std::string_view shownName(PreviewFormat format) {
    switch (format) {
    case PreviewFormat::quality:
        return "Quality (FLAC)";
    case PreviewFormat::light:
        return "Light (AAC)";
    case PreviewFormat::smartphone:
        return "Smartphone (self-contained)";
    }
    return "";
}

AudioWriteSettings encoderSettings(PreviewFormat format) {
    if (format == PreviewFormat::quality)
        return {AudioContainer::flac, AudioSampleFormat::int16, 44100.0, 2};
    return {AudioContainer::m4a, AudioSampleFormat::compressed, 44100.0, 2, 160000};
}

std::string safeName(const CDProject& project) {
    std::string name = project.albumTitle.empty() ? std::string("Untitled") : project.albumTitle;
    // A NUL would cut the file name short; it goes the way of the separators.
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '/' || c == ':' || c == '\0'; }, '-');
    const auto blank = [](unsigned char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    const auto first = std::find_if_not(name.begin(), name.end(), blank);
    const auto last = std::find_if_not(name.rbegin(), name.rend(), blank).base();
    name = first < last ? std::string(first, last) : std::string();
    return name.empty() ? std::string("Untitled") : name;
}

void encodeImage(const fs::path& from, std::int64_t byteLength, const fs::path& to,
                 const AudioWriteSettings& settings, const Progress& progress) {
    std::error_code ec;
    fs::remove(to, ec); // a leftover target is replaced; a failure shows when the writer opens it
    std::ifstream in(from, std::ios::binary);
    if (!in)
        fail(PreviewExportErrorCode::writeFailed,
             "Reading the disc image \"" + from.filename().string() + "\" failed: " + systemReason());
    auto writer = AudioFileWriter::open(to, settings);
    // Settings the writer cannot take are the format's fault; anything else is the file's.
    if (!writer && writer.error().code == AudioFileErrorCode::unsupportedFormat)
        fail(PreviewExportErrorCode::bufferFailed, "Cannot create buffer format.");
    if (!writer)
        fail(PreviewExportErrorCode::writeFailed, writer.error().message);
    std::vector<std::int16_t> piece;
    try {
        piece.resize(static_cast<std::size_t>(std::min(byteLength, kPieceBytes) / 2));
    } catch (const std::bad_alloc&) {
        fail(PreviewExportErrorCode::bufferFailed, "Cannot allocate buffer.");
    }
    std::int64_t done = 0;
    while (done < byteLength) {
        // Whole stereo frames only: a disc image is a whole number of sectors.
        const std::int64_t n = std::min(kPieceBytes, byteLength - done) / 4 * 4;
        if (n == 0)
            break;
        in.read(reinterpret_cast<char*>(piece.data()), static_cast<std::streamsize>(n));
        if (in.gcount() != n)
            fail(PreviewExportErrorCode::writeFailed,
                 "Reading the disc image \"" + from.filename().string() + "\" failed: it ends after " +
                     std::to_string(done + in.gcount()) + " of " + std::to_string(byteLength) + " bytes.");
        // The image is 16-bit little-endian interleaved stereo, which is the writer's input as it stands.
        const auto written = writer->writeInterleavedInt16(
            std::span<const std::int16_t>(piece.data(), static_cast<std::size_t>(n / 2)));
        if (!written)
            fail(PreviewExportErrorCode::writeFailed, written.error().message);
        done += n;
        if (progress && !progress(static_cast<double>(done) / static_cast<double>(byteLength)))
            throw UserCancelledError{};
    }
    if (const auto finished = writer->finish(); !finished)
        fail(PreviewExportErrorCode::writeFailed, finished.error().message);
}

fs::path exportPreview(const CDProject& project, const std::vector<TrackPosition>& positions,
                       PreviewFormat format, const fs::path& outputDirectory,
                       const std::string& approvalEmail, const std::optional<fs::path>& preparedImage,
                       const Progress& progress) {
    if (positions.empty())
        fail(PreviewExportErrorCode::noTracks, "Project contains no tracks to export.");
    const auto report = [&](double fraction) { return !progress || progress(fraction); };

    std::optional<TemporaryFile> renderedImage;
    fs::path image;
    double renderShare = 0.0;
    if (preparedImage) {
        image = *preparedImage;
    } else {
        renderedImage.emplace(".dat");
        image = renderedImage->path;
        renderShare = kRenderShare;
        Exporter::writeImage(project, positions, image, [&](double f) { return report(kRenderShare * f); });
    }
    const std::int64_t imageBytes = positions.back().endLBA * Exporter::bytesPerFrame;
    const auto encoderProgress = [&](double f) {
        return report(renderShare + (kEncodeEnd - renderShare) * f);
    };

    const std::string name = safeName(project);
    const TemporaryFile encoded(format == PreviewFormat::quality ? ".flac" : ".m4a");
    encodeImage(image, imageBytes, encoded.path, encoderSettings(format), encoderProgress);

    fs::path result;
    if (format == PreviewFormat::smartphone) {
        const std::string json =
            PreviewManifests::json(PreviewManifests::build(project, positions, format, {}, approvalEmail));
        result = outputDirectory / (name + " Preview (Smartphone).html");
        // Written beside the target under a hidden name, then renamed over it in one step.
        const fs::path partial = outputDirectory / (".orvane-preview-partial-" + Uuid::random().string());
        try {
            writeSelfContainedPage(partial, json, encoded.path);
            moveIntoPlace(partial, result);
        } catch (...) {
            std::error_code ec;
            fs::remove(partial, ec);
            throw;
        }
    } else {
        const PartialFolder partial(outputDirectory);
        const std::string audioFile = name + (format == PreviewFormat::quality ? ".oprq" : ".oprl");
        moveIntoPlace(encoded.path, partial.path / audioFile);
        const std::string json = PreviewManifests::json(
            PreviewManifests::build(project, positions, format, audioFile, approvalEmail));
        writeText(partial.path / "manifest.json", json);
        writeText(partial.path / "player.html",
                  PreviewPlayer::playerHTML(json, std::nullopt, PreviewPlayer::Layout::regular));
        result = uniqueIn(outputDirectory, name + (format == PreviewFormat::quality ? " Preview (Quality)"
                                                                                    : " Preview (Light)"));
        moveIntoPlace(partial.path, result);
    }
    report(1.0);
    return result;
}

fs::path zipBundle(const fs::path& source, const std::string& password) {
    const fs::path absolute = fs::absolute(source).lexically_normal();
    const fs::path target = absolute.string() + ".zip";
    std::error_code ec;
    fs::remove(target, ec); // replaced; zip itself reports a target it cannot write
    // Run beside the source with its bare name, so the archive holds the top folder and nothing above it.
    // -nw: names are taken as they stand, never as patterns.
    std::vector<std::string> arguments = {"-r", "-q", "-nw"};
    if (!password.empty()) {
        arguments.push_back("-P");
        arguments.push_back(password);
    }
    arguments.push_back(target.string());
    // "./" keeps a name that begins with "-" from reading as an option; zip stores it without the prefix.
    arguments.push_back("./" + absolute.filename().string());
    const auto run = runChildProcess("/usr/bin/zip", arguments, absolute.parent_path());
    if (!run)
        fail(PreviewExportErrorCode::writeFailed, "Cannot run /usr/bin/zip: " + run.error());
    if (run->exitStatus != 0)
        fail(PreviewExportErrorCode::zipFailed,
             "Failed to create .zip (exit " + std::to_string(run->exitStatus) + ").");
    return target;
}

} // namespace orvane::PreviewExporter
