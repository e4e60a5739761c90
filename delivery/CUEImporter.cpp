// The import proper: finds the sheet's audio, cuts a disc image into track files and builds the
// project. The text parser lives in CUEParser.cpp.

#include "delivery/CUEImporter.h"

#include "delivery/DDPReader.h"
#include "model/RedBook.h"
#include "platform/AudioFileReader.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <new>
#include <set>
#include <system_error>

namespace orvane::CUEImporter {

namespace {

namespace fs = std::filesystem;

constexpr std::int64_t kSamplesPerFrame = RedBook::samplesPerFrame;
constexpr std::int64_t kBytesPerFrame = RedBook::bytesPerFrame;
constexpr std::size_t kExtractChunkFrames = 0x40000;

std::string numbered(const char* format, std::int64_t number) {
    char text[48];
    std::snprintf(text, sizeof text, format, static_cast<long long>(number));
    return text;
}

std::string lowered(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return text;
}

// Where a name of the sheet points: an absolute path as it stands, anything else inside the sheet's
// folder. Sheets made on another machine often name a Windows path or another letter case, so when
// that file is missing its last component is looked for in the sheet's folder too.
std::optional<fs::path> resolveAudioFile(const fs::path& sheetFolder, const std::string& name) {
    std::error_code ec;
    if (name.empty())
        return std::nullopt;
    const fs::path direct = name.front() == '/' ? fs::path(name) : sheetFolder / name;
    if (fs::is_regular_file(direct, ec))
        return direct;
    const std::size_t slash = name.find_last_of("/\\");
    const std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    if (base.empty() || base == "." || base == "..")
        return std::nullopt;
    if (fs::is_regular_file(sheetFolder / base, ec))
        return sheetFolder / base;
    const std::string wanted = lowered(base);
    for (const auto& entry : fs::directory_iterator(sheetFolder, ec))
        if (lowered(entry.path().filename().string()) == wanted && entry.is_regular_file(ec))
            return entry.path();
    return std::nullopt;
}

std::optional<std::string> readSheet(const fs::path& cue) {
    const auto bytes = DDPReader::readStreamFile(cue, maxSheetBytes);
    if (!bytes)
        return std::nullopt;
    return decodeText(*bytes);
}

// The project's fields that both layouts set the same way.
CDTrack buildTrack(const ParsedTrack& t, std::int64_t preGapFrames, std::int64_t sourceSamples,
                   const fs::path& audioFile) {
    CDTrack track = CDTrack::make(t.title.value_or(numbered("Track %02lld", t.number)), t.isrc, preGapFrames,
                                  sourceSamples);
    track.audioFileURL = FileURL::fromPath(audioFile);
    track.performer = t.performer;
    track.songwriter = t.songwriter;
    track.preEmphasis = t.preEmphasis;
    track.copyPermitted = t.copyPermitted;
    track.creationDate = Timestamp::now();
    for (const auto& [number, frames] : t.subIndexes)
        track.subIndexFrames.push_back(frames - *t.index01);
    return track;
}

// The silence before a track: its PREGAP, the gap the sheet marks between INDEX 00 and INDEX 01, and
// the POSTGAP of the track before (silence after a track belongs to the next one's pre-gap on this
// disc). Track 1 keeps the two seconds every disc needs.
std::int64_t preGapFrames(const ParsedSheet& sheet, std::size_t i, std::int64_t markedGap) {
    std::int64_t gap = sheet.tracks[i].pregapFrames + std::max<std::int64_t>(0, markedGap);
    if (i > 0)
        gap += sheet.tracks[i - 1].postgapFrames;
    return i == 0 ? std::max(gap, RedBook::track1PregapFrames) : gap;
}

tl::expected<void, CUEImportError> cancelled() {
    return tl::unexpected(CUEImportError::cancelled());
}

fs::path trackFile(const fs::path& destination, const ParsedTrack& t, std::size_t i,
                   std::set<std::string>& taken);
CUEImportError fromDDPError(const DDPImportError& error, const fs::path& image);

// Whether a file the sheet calls BINARY really is bare sectors: toc2cue calls a WAV file BINARY too.
bool isRawSectors(const CUEFile& file, const fs::path& path) {
    if (file.type != "BINARY")
        return false;
    std::ifstream in(path, std::ios::binary);
    char head[12] = {};
    in.read(head, sizeof head);
    return !(in.gcount() == sizeof head && std::string_view(head, 4) == "RIFF" &&
             std::string_view(head + 8, 4) == "WAVE");
}

// A track's file of bare sectors becomes a WAV file in the audio folder, which the project can play.
tl::expected<fs::path, CUEImportError> wrapRawFile(const fs::path& raw, const fs::path& destination,
                                                   const fs::path& target, const FractionProgress& progress) {
    std::error_code ec;
    fs::create_directories(destination, ec);
    if (ec)
        return tl::unexpected(CUEImportError::cannotWrite(destination.filename().string(), ec.message()));
    const auto size = fs::file_size(raw, ec);
    if (ec)
        return tl::unexpected(CUEImportError::audioFileFailure(ec.message()));
    std::ifstream in(raw, std::ios::binary);
    const auto bytes = static_cast<std::int64_t>(size) / kBytesPerFrame * kBytesPerFrame;
    if (auto written = DDPReader::extractWAV(in, 0, bytes, target, progress); !written)
        return tl::unexpected(fromDDPError(written.error(), raw));
    return target;
}

tl::expected<CDProject, CUEImportError> importMultiFile(const ParsedSheet& sheet, const fs::path& folder,
                                                        const fs::path& destination, CDProject project,
                                                        const ImportProgress& progress) {
    const std::size_t n = sheet.tracks.size();
    std::vector<std::int64_t> sourceSamples;
    std::set<std::string> taken;
    for (std::size_t i = 0; i < n; ++i) {
        const ParsedTrack& t = sheet.tracks[i];
        if (progress && !progress("Reading track " + std::to_string(t.number) + "\u2026",
                                  static_cast<double>(i) / static_cast<double>(n)))
            return tl::unexpected(CUEImportError::cancelled());
        const std::size_t fileIndex = t.audioFileIndex();
        const std::string& name = sheet.files[fileIndex].name;
        auto path = resolveAudioFile(folder, name);
        if (!path)
            return tl::unexpected(CUEImportError::missingAudioFile(name));
        if (isRawSectors(sheet.files[fileIndex], *path)) {
            auto wrapped = wrapRawFile(*path, destination, trackFile(destination, t, i, taken), {});
            if (!wrapped)
                return tl::unexpected(wrapped.error());
            path = *wrapped;
        }
        auto reader = AudioFileReader::open(*path);
        if (!reader)
            return tl::unexpected(CUEImportError::audioFileFailure(reader.error().message));
        const auto samples = static_cast<std::int64_t>(static_cast<double>(reader->lengthFrames()) * 44100.0 /
                                                       reader->sampleRate());
        sourceSamples.push_back(samples);

        std::int64_t markedGap = 0;
        const bool gapInOwnFile = t.index00 && t.index00FileIndex == fileIndex;
        const bool gapInPreviousFile = t.index00 && i > 0 && t.index00FileIndex &&
                                       *t.index00FileIndex == sheet.tracks[i - 1].audioFileIndex();
        if (gapInOwnFile) {
            markedGap = *t.index01 - *t.index00;
        } else if (gapInPreviousFile) {
            // The gap is the end of the previous file: that track stops at INDEX 00, and what
            // followed becomes this track's pre-gap.
            const std::int64_t previous = sourceSamples[i - 1];
            const std::int64_t tailSamples =
                std::max<std::int64_t>(0, previous - *t.index00 * kSamplesPerFrame);
            project.tracks.back().trimEndSamples = tailSamples;
            markedGap = (tailSamples + kSamplesPerFrame - 1) / kSamplesPerFrame;
        }
        CDTrack track = buildTrack(t, preGapFrames(sheet, i, markedGap), samples, *path);
        // What stands in the file before INDEX 01 is not the track's.
        track.trimStartSamples = *t.index01 * kSamplesPerFrame;
        project.tracks.push_back(std::move(track));
    }
    // A track whose INDEX 01 lies at or past the end of its file (or past where the next track's
    // gap begins) has nothing left to play.
    for (std::size_t i = 0; i < n; ++i) {
        const CDTrack& track = project.tracks[i];
        if (track.trimStartSamples + track.trimEndSamples >= track.sourceAudioSamples)
            return tl::unexpected(CUEImportError::unsupportedImageFormat(
                "track " + std::to_string(sheet.tracks[i].number) + " has zero length"));
    }
    return project;
}

// Where each track's audio ends in the image: the next track's INDEX 00 (or INDEX 01), a data track
// that starts first, or the end of the image.
std::int64_t trackEnd(const ParsedSheet& sheet, std::size_t i, std::int64_t imageFrames) {
    const ParsedTrack& t = sheet.tracks[i];
    std::int64_t end = imageFrames;
    if (i + 1 < sheet.tracks.size())
        end = sheet.tracks[i + 1].index00.value_or(*sheet.tracks[i + 1].index01);
    for (const ParsedTrack& data : sheet.dataTracks) {
        const auto start = data.index00 ? data.index00 : data.index01;
        if (start && data.fileIndex == t.audioFileIndex() && *start > *t.index01 && *start < end)
            end = *start;
    }
    return end;
}

// "TrackNN.wav" by the sheet's number; a number the sheet repeats gets its list place behind it so
// that no file of this import overwrites another.
fs::path trackFile(const fs::path& destination, const ParsedTrack& t, std::size_t i,
                   std::set<std::string>& taken) {
    std::string name = numbered("Track%02lld.wav", t.number);
    if (!taken.insert(name).second) {
        name = numbered("Track%02lld", t.number) + "-" + std::to_string(i + 1) + ".wav";
        taken.insert(name);
    }
    return destination / name;
}

struct Image {
    fs::path path;
    bool raw = false; // BINARY: bare 16-bit little-endian sectors
    std::int64_t frames = 0;
};

tl::expected<Image, CUEImportError> openImage(const CUEFile& file, const fs::path& folder) {
    const auto path = resolveAudioFile(folder, file.name);
    if (!path)
        return tl::unexpected(CUEImportError::missingAudioFile(file.name));
    Image image{*path, isRawSectors(file, *path), 0};
    std::error_code ec;
    if (image.raw) {
        const auto size = fs::file_size(*path, ec);
        if (ec)
            return tl::unexpected(CUEImportError::audioFileFailure(ec.message()));
        image.frames = static_cast<std::int64_t>(size) / kBytesPerFrame;
        return image;
    }
    const auto reader = AudioFileReader::open(*path);
    if (!reader)
        return tl::unexpected(CUEImportError::audioFileFailure(reader.error().message));
    if (reader->sampleRate() != 44100.0 || reader->channelCount() != 2)
        return tl::unexpected(CUEImportError::unsupportedImageFormat("image must be 44.1 kHz stereo"));
    image.frames = reader->lengthFrames() / kSamplesPerFrame;
    return image;
}

CUEImportError fromDDPError(const DDPImportError& error, const fs::path& image) {
    if (error.isCancel())
        return CUEImportError::cancelled();
    if (const auto* write = std::get_if<DDPImportError::CannotWrite>(&error.value))
        return CUEImportError::cannotWrite(write->name, write->reason);
    return CUEImportError::audioFileFailure("Could not read " + image.filename().string() + ".");
}

tl::expected<CDProject, CUEImportError> importImage(const ParsedSheet& sheet, const fs::path& folder,
                                                    const fs::path& destination, CDProject project,
                                                    const ImportProgress& progress) {
    std::error_code ec;
    fs::create_directories(destination, ec);
    if (ec)
        return tl::unexpected(CUEImportError::cannotWrite(destination.filename().string(), ec.message()));
    const auto image = openImage(sheet.files[sheet.tracks.front().audioFileIndex()], folder);
    if (!image)
        return tl::unexpected(image.error());
    std::ifstream raw;
    if (image->raw)
        raw.open(image->path, std::ios::binary);

    const std::size_t n = sheet.tracks.size();
    std::set<std::string> taken;
    for (std::size_t i = 0; i < n; ++i) {
        const ParsedTrack& t = sheet.tracks[i];
        const std::int64_t start = *t.index01;
        const std::int64_t end = trackEnd(sheet, i, image->frames);
        if (start >= end)
            return tl::unexpected(CUEImportError::unsupportedImageFormat("track " + std::to_string(t.number) +
                                                                         " has zero length"));
        if (end > image->frames)
            return tl::unexpected(CUEImportError::unsupportedImageFormat(
                "track " + std::to_string(t.number) + " lies beyond the end of the image"));
        const fs::path target = trackFile(destination, t, i, taken);
        const std::string status =
            "Extracting track " + std::to_string(t.number) + " of " + std::to_string(n) + "\u2026";
        const auto fileProgress = [&](double f) {
            return !progress || progress(status, (static_cast<double>(i) + f) / static_cast<double>(n));
        };
        if (!fileProgress(0.0))
            return tl::unexpected(CUEImportError::cancelled());
        if (image->raw) {
            if (auto written = DDPReader::extractWAV(raw, start * kBytesPerFrame,
                                                     (end - start) * kBytesPerFrame, target, fileProgress);
                !written)
                return tl::unexpected(fromDDPError(written.error(), image->path));
        } else if (auto written = extractFromWAVImage(image->path, start, end - start, target, fileProgress);
                   !written) {
            return tl::unexpected(written.error());
        }
        const std::int64_t markedGap =
            t.index00FileIndex == t.audioFileIndex() ? start - t.index00.value_or(start) : 0;
        project.tracks.push_back(
            buildTrack(t, preGapFrames(sheet, i, markedGap), (end - start) * kSamplesPerFrame, target));
    }
    return project;
}

enum class Layout { fileATrack, oneImage, mixed };

// A file a track when every audio track has a file of its own and the sheet names no other; one
// image when the sheet names one file. Files that hold only data tracks are no part of the audio.
Layout layoutOf(const ParsedSheet& sheet) {
    std::set<std::size_t> audioFiles;
    std::vector<bool> used(sheet.files.size(), false);
    for (const ParsedTrack& t : sheet.tracks) {
        audioFiles.insert(t.audioFileIndex());
        used[t.fileIndex] = used[t.audioFileIndex()] = true;
    }
    for (const ParsedTrack& t : sheet.dataTracks)
        used[t.fileIndex] = true;
    std::set<std::size_t> named = audioFiles;
    for (std::size_t i = 0; i < used.size(); ++i)
        if (!used[i])
            named.insert(i);
    if (audioFiles.size() == sheet.tracks.size() && named.size() == sheet.tracks.size())
        return Layout::fileATrack;
    return named.size() == 1 ? Layout::oneImage : Layout::mixed;
}

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

std::int16_t toInt16(float sample) {
    // A 16-bit image reads back as value / 32768, so this gives its samples back unchanged.
    const double scaled = std::nearbyint(static_cast<double>(sample) * 32768.0);
    return static_cast<std::int16_t>(std::clamp(scaled, -32768.0, 32767.0));
}

tl::expected<void, CUEImportError> copyFrames(AudioFileReader& reader, std::int64_t frames, std::FILE* out,
                                              const std::string& name, const FractionProgress& progress) {
    std::optional<AudioBuffer> buffer;
    try {
        buffer.emplace(reader.makeBuffer(kExtractChunkFrames));
    } catch (const std::bad_alloc&) {
        return tl::unexpected(CUEImportError::unsupportedImageFormat("cannot allocate buffer"));
    }
    std::vector<std::int16_t> interleaved(kExtractChunkFrames * 2);
    std::int64_t done = 0;
    while (done < frames) {
        const auto wanted =
            static_cast<std::size_t>(std::min<std::int64_t>(frames - done, kExtractChunkFrames));
        const auto got = reader.read(*buffer, wanted);
        if (!got)
            return tl::unexpected(CUEImportError::audioFileFailure(got.error().message));
        if (*got == 0)
            break;
        const float* left = buffer->channel(0);
        const float* right = buffer->channel(1);
        for (std::size_t k = 0; k < *got; ++k) {
            interleaved[2 * k] = toInt16(left[k]);
            interleaved[2 * k + 1] = toInt16(right[k]);
        }
        // WAV samples are little-endian, as this host is.
        if (std::fwrite(interleaved.data(), 4, *got, out) != *got)
            return tl::unexpected(CUEImportError::cannotWrite(name, std::strerror(errno)));
        done += static_cast<std::int64_t>(*got);
        if (progress && !progress(static_cast<double>(done) / static_cast<double>(frames)))
            return cancelled();
    }
    if (done < frames)
        return tl::unexpected(CUEImportError::unsupportedImageFormat("the image ends before the sheet does"));
    return {};
}

} // namespace

tl::expected<void, CUEImportError> extractFromWAVImage(const fs::path& image, std::int64_t startFrame,
                                                       std::int64_t lengthFrames, const fs::path& to,
                                                       const FractionProgress& progress) {
    const std::string name = to.filename().string();
    const std::int64_t frames = lengthFrames * kSamplesPerFrame;
    if (frames * 4 > std::int64_t{0xFFFFFFFF} - 36)
        return tl::unexpected(CUEImportError::cannotWrite(name, "the track is too long for a WAV file"));
    auto reader = AudioFileReader::open(image);
    if (!reader)
        return tl::unexpected(CUEImportError::audioFileFailure(reader.error().message));
    if (reader->sampleRate() != 44100.0 || reader->channelCount() != 2)
        return tl::unexpected(CUEImportError::unsupportedImageFormat("image must be 44.1 kHz stereo"));
    if (auto moved = reader->setFramePosition(startFrame * kSamplesPerFrame); !moved)
        return tl::unexpected(CUEImportError::audioFileFailure(moved.error().message));

    const fs::path temporary = to.parent_path() / ("." + name + ".partial");
    std::unique_ptr<std::FILE, FileCloser> out(std::fopen(temporary.c_str(), "wb"));
    if (!out)
        return tl::unexpected(CUEImportError::cannotWrite(name, std::strerror(errno)));
    const std::string header = DDPReader::wavHeader(static_cast<std::uint32_t>(frames * 4));
    auto copied = std::fwrite(header.data(), 1, header.size(), out.get()) == header.size()
                      ? copyFrames(*reader, frames, out.get(), name, progress)
                      : tl::unexpected(CUEImportError::cannotWrite(name, std::strerror(errno)));
    if (copied && std::fclose(out.release()) != 0)
        copied = tl::unexpected(CUEImportError::cannotWrite(name, std::strerror(errno)));
    std::error_code ec;
    if (copied) {
        fs::rename(temporary, to, ec);
        if (ec)
            copied = tl::unexpected(CUEImportError::cannotWrite(name, ec.message()));
    }
    if (!copied) {
        out.reset();
        fs::remove(temporary, ec); // the failure itself is what gets reported
    }
    return copied;
}

tl::expected<CDProject, CUEImportError> importCUE(const fs::path& cue, const fs::path& audioDestination,
                                                  const ImportProgress& progress) {
    const auto text = readSheet(cue);
    if (!text)
        return tl::unexpected(CUEImportError::unreadable());
    const ParsedSheet sheet = parse(*text);
    if (sheet.tracks.empty())
        return tl::unexpected(CUEImportError::noTracks());
    for (const ParsedTrack& t : sheet.tracks)
        if (!t.index01)
            return tl::unexpected(CUEImportError::missingIndex01(t.number));

    CDProject project;
    project.albumTitle = sheet.albumTitle;
    project.albumPerformer = sheet.albumPerformer;
    project.albumSongwriter = sheet.albumSongwriter;
    std::string mcn;
    for (const char c : sheet.mcn)
        if (c >= '0' && c <= '9')
            mcn.push_back(c);
    if (mcn.size() == 13)
        project.mcn = std::move(mcn);

    const fs::path folder = cue.parent_path().empty() ? fs::path(".") : cue.parent_path();
    switch (layoutOf(sheet)) {
    case Layout::fileATrack:
        return importMultiFile(sheet, folder, audioDestination, std::move(project), progress);
    case Layout::oneImage:
        return importImage(sheet, folder, audioDestination, std::move(project), progress);
    case Layout::mixed:
        break;
    }
    return tl::unexpected(CUEImportError::unsupportedLayout());
}

} // namespace orvane::CUEImporter
