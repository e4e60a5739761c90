#include "delivery/CUEExporter.h"

#include "delivery/DDPReader.h"
#include "delivery/TemporaryImage.h"
#include "model/DeliverySanitizing.h"
#include "model/RedBook.h"
#include "platform/AtomicFile.h"

#include <cstdio>
#include <fstream>
#include <system_error>

namespace orvane::CUEExporter {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(ErrorCode code, std::string message) {
    throw ExportError{std::string(errorDomain), static_cast<ExportErrorCode>(code), std::move(message),
                      std::nullopt};
}

std::string cueQuoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text)
        out.push_back(c == '"' ? '\'' : c);
    return out + "\"";
}

// mm:ss:ff; minutes run on past 99 for a long image.
std::string cueTime(std::int64_t frames) {
    char text[40];
    std::snprintf(text, sizeof text, "%02lld:%02lld:%02lld", static_cast<long long>(frames / 75 / 60),
                  static_cast<long long>(frames / 75 % 60), static_cast<long long>(frames % 75));
    return text;
}

std::string numbered(const char* format, std::int64_t number) {
    char text[40];
    std::snprintf(text, sizeof text, format, static_cast<long long>(number));
    return text;
}

void appendQuoted(std::string& out, std::string_view prefix, const std::optional<std::string>& value) {
    if (value && !value->empty())
        out += std::string(prefix) + cueQuoted(*value) + "\n";
}

bool isBlank(std::string_view text) {
    return text.find_first_not_of(" \t") == std::string_view::npos;
}

void appendTrack(std::string& out, const CDTrack* track, const TrackPosition& p) {
    out += numbered("  TRACK %02lld AUDIO\n", p.trackIndex);
    if (track) {
        if (track->preEmphasis || track->copyPermitted)
            out += std::string("    FLAGS") + (track->preEmphasis ? " PRE" : "") +
                   (track->copyPermitted ? " DCP" : "") + "\n";
        out += "    TITLE " +
               cueQuoted(isBlank(track->title) ? numbered("Track %02lld", p.trackIndex) : track->title) +
               "\n";
        appendQuoted(out, "    PERFORMER ", track->performer);
        appendQuoted(out, "    SONGWRITER ", track->songwriter);
        if (const std::string isrc = DDPWriter::sanitizedISRC(track->isrc); !isrc.empty())
            out += "    ISRC " + isrc + "\n";
    }
    if (p.startLBA < p.index01LBA)
        out += "    INDEX 00 " + cueTime(p.startLBA) + "\n";
    out += "    INDEX 01 " + cueTime(p.index01LBA) + "\n";
    if (!track)
        return;
    const auto offsets = track->sanitizedSubIndexOffsets(p.endLBA - p.index01LBA);
    for (std::size_t k = 0; k < offsets.size(); ++k)
        out += numbered("    INDEX %02lld ", static_cast<std::int64_t>(k) + 2) +
               cueTime(p.index01LBA + offsets[k]) + "\n";
}

// Whether the text is UTF-8 that a sheet reader can take: well-formed, no NUL, no line break
// inside a value (which would end the line early).
bool isSheetText(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        std::size_t length = lead < 0x80                    ? 1
                             : lead >= 0xC2 && lead <= 0xDF ? 2
                             : lead >= 0xE0 && lead <= 0xEF ? 3
                             : lead >= 0xF0 && lead <= 0xF4 ? 4
                                                            : 0;
        if (length == 0 || text.size() - i < length || lead == 0)
            return false;
        for (std::size_t k = 1; k < length; ++k)
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        i += length;
    }
    return true;
}

bool hasLineBreak(const std::optional<std::string>& value) {
    return value && value->find_first_of("\r\n") != std::string::npos;
}

bool textsFit(const CDProject& project) {
    if (hasLineBreak(project.albumTitle) || hasLineBreak(project.albumPerformer) ||
        hasLineBreak(project.albumSongwriter))
        return false;
    for (const CDTrack& t : project.tracks)
        if (hasLineBreak(t.title) || hasLineBreak(t.performer) || hasLineBreak(t.songwriter))
            return false;
    return true;
}

} // namespace

std::string cueText(const CDProject& project, const std::vector<TrackPosition>& positions,
                    std::string_view imageFileName) {
    std::string out = "REM GENERATOR \"Orvane\"\n";
    if (const std::string mcn = DDPWriter::sanitizedMCN(project.mcn); !mcn.empty())
        out += "CATALOG " + mcn + "\n";
    appendQuoted(out, "PERFORMER ", project.albumPerformer);
    appendQuoted(out, "TITLE ", project.albumTitle);
    appendQuoted(out, "SONGWRITER ", project.albumSongwriter);
    out += "FILE " + cueQuoted(imageFileName) + " WAVE\n";
    for (std::size_t i = 0; i < positions.size(); ++i)
        appendTrack(out, i < project.tracks.size() ? &project.tracks[i] : nullptr, positions[i]);
    return out;
}

void exportCUE(const CDProject& project, const std::vector<TrackPosition>& positions, const fs::path& cue,
               const Exporter::FractionProgress& progress) {
    if (positions.empty())
        fail(ErrorCode::noTracks, "Project contains no tracks.");
    const fs::path wav = cue.parent_path() / (cue.stem().string() + ".wav");
    // The text is made first, so that a sheet that cannot be written leaves no image behind either.
    const std::string text = cueText(project, positions, wav.filename().string());
    if (!isSheetText(text) || !textsFit(project))
        fail(ErrorCode::cannotEncodeText, "Cannot encode CUE text.");

    const TemporaryImage image(project, positions, temporaryImagePrefix,
                               [&](double f) { return !progress || progress(0.6 * f); });
    std::ifstream in(image.path(), std::ios::binary);
    if (!in)
        throw ExportError{"Exporter", ExportErrorCode::openImageFailed, "Failed to open the rendered image.",
                          std::nullopt};
    const auto copied = DDPReader::extractWAV(in, 0, positions.back().endLBA * RedBook::bytesPerFrame, wav,
                                              [&](double f) { return !progress || progress(0.6 + 0.4 * f); });
    if (!copied && copied.error().isCancel())
        throw UserCancelledError{};
    if (!copied)
        throw ExportError{"Exporter", ExportErrorCode::writeFailed, copied.error().message(), std::nullopt};
    if (auto written = AtomicFile::write(cue, text); !written) {
        std::error_code ec;
        fs::remove(wav, ec); // no image without its sheet; the write failure is what gets reported
        throw ExportError{"Exporter", ExportErrorCode::writeFailed, written.error(), std::nullopt};
    }
}

} // namespace orvane::CUEExporter
