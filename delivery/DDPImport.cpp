// The import proper: reads the fileset's files, builds the project and writes the WAV files. The
// stream parsers stay in DDPReader.cpp, which needs none of the model's code, so they fuzz alone.

#include "delivery/CDTextEncoder.h"
#include "delivery/DDPReader.h"
#include "delivery/DDPWriter.h"
#include "model/DeliverySanitizing.h"
#include "model/RedBook.h"

#include <algorithm>
#include <cstdio>
#include <fstream>

namespace orvane::DDPReader {

namespace {

constexpr std::int64_t kBytesPerFrame = RedBook::bytesPerFrame;

std::string digitsOf(std::string_view text) {
    std::string out;
    for (const char c : text)
        if (c >= '0' && c <= '9')
            out.push_back(c);
    return out;
}

struct FileNames {
    std::string image{DDPWriter::audioFileName};
    std::string pq{DDPWriter::pqFileName};
    std::string cdText{DDPWriter::cdTextFileName};
};

// A name from DDPMS is taken only if it stays inside the fileset's folder.
FileNames fileNamesFromMap(const std::filesystem::path& folder) {
    FileNames names;
    const auto map = readStreamFile(folder / DDPWriter::ddpMsFileName, maxStreamFileBytes);
    if (!map)
        return names;
    for (const DDPStream& stream : parseDDPMS(*map)) {
        if (stream.fileName.empty() || !fileInFolder(folder, stream.fileName))
            continue;
        if (stream.type == "D0")
            names.image = stream.fileName;
        if (stream.subDescriptor == "PQ DESCR")
            names.pq = stream.fileName;
        if (stream.subDescriptor == "CDTEXT")
            names.cdText = stream.fileName;
    }
    return names;
}

void readIdentification(const std::filesystem::path& folder, CDProject& project) {
    const auto id = readStreamFile(folder / DDPWriter::ddpIdFileName, maxStreamFileBytes);
    if (!id || id->size() < DDPWriter::ddpIdLength)
        return;
    if (std::string mcn = digitsOf(ascii(*id, 8, 13)); mcn.size() == 13)
        project.mcn = std::move(mcn);
    if (std::string masterID = trimmed(ascii(*id, 38, 48)); !masterID.empty())
        project.masterID = std::move(masterID);
}

struct CDTextSet {
    CDTextBlock block0;
    CDTextBlock block1;
};

void applyAlbumText(const CDTextSet& t, CDProject& p) {
    namespace T = DDPWriter::CDTextPackType;
    p.albumTitle = text(t.block0, T::title, 0).value_or("");
    p.albumPerformer = text(t.block0, T::performer, 0);
    p.albumSongwriter = text(t.block0, T::songwriter, 0);
    p.albumComposer = text(t.block0, T::composer, 0);
    p.albumArranger = text(t.block0, T::arranger, 0);
    p.albumMessage = text(t.block0, T::message, 0);
    p.discID = text(t.block0, T::discID, 0);
    if (t.block1.empty())
        return;
    p.albumTitleLang2 = text2(t.block0, t.block1, T::title, 0);
    p.albumPerformerLang2 = text2(t.block0, t.block1, T::performer, 0);
    p.albumSongwriterLang2 = text2(t.block0, t.block1, T::songwriter, 0);
    p.albumComposerLang2 = text2(t.block0, t.block1, T::composer, 0);
    p.albumArrangerLang2 = text2(t.block0, t.block1, T::arranger, 0);
    p.albumMessageLang2 = text2(t.block0, t.block1, T::message, 0);
}

// Reads the CD-Text stream into the project's album fields; a missing or damaged stream is no error.
CDTextSet readCDText(const std::filesystem::path& folder, const std::string& name, CDProject& project) {
    CDTextSet set;
    const auto path = fileInFolder(folder, name);
    const auto data = path ? readStreamFile(*path, maxStreamFileBytes) : std::nullopt;
    if (!data)
        return set;
    set.block0 = parseCDText(*data, 0);
    if (const auto genre = parseCDTextGenre(*data)) {
        project.genreCode = genre->code;
        if (!genre->text.empty())
            project.genreText = genre->text;
    }
    project.cdTextLanguageCode = parseCDTextLanguage(*data, 0);
    set.block1 = parseCDText(*data, 1);
    if (!set.block1.empty())
        project.cdTextLanguage2Code = parseCDTextLanguage(*data, 1);
    applyAlbumText(set, project);
    if (project.mcn.empty())
        if (std::string mcn = digitsOf(text(set.block0, DDPWriter::CDTextPackType::upcISRC, 0).value_or(""));
            mcn.size() == 13)
            project.mcn = std::move(mcn);
    return set;
}

void applyTrackText(const CDTextSet& t, std::int64_t n, CDTrack& track) {
    namespace T = DDPWriter::CDTextPackType;
    track.performer = text(t.block0, T::performer, n);
    track.songwriter = text(t.block0, T::songwriter, n);
    track.composer = text(t.block0, T::composer, n);
    track.arranger = text(t.block0, T::arranger, n);
    track.message = text(t.block0, T::message, n);
    if (t.block1.empty())
        return;
    track.titleLang2 = text2(t.block0, t.block1, T::title, n);
    track.performerLang2 = text2(t.block0, t.block1, T::performer, n);
    track.songwriterLang2 = text2(t.block0, t.block1, T::songwriter, n);
    track.composerLang2 = text2(t.block0, t.block1, T::composer, n);
    track.arrangerLang2 = text2(t.block0, t.block1, T::arranger, n);
    track.messageLang2 = text2(t.block0, t.block1, T::message, n);
}

// Where one track's audio lies in the image.
struct TrackSpan {
    std::int64_t gapStart = 0;
    std::int64_t audioStart = 0;
    std::int64_t end = 0;
    std::optional<std::int64_t> hiddenAudio;
};

tl::expected<TrackSpan, DDPImportError> trackSpan(const PQDescriptor& pq, std::size_t i, std::istream& image,
                                                  std::int64_t imageBytes) {
    const PQTrack& t = pq.tracks[i];
    TrackSpan span;
    if (i + 1 < pq.tracks.size())
        span.end = pq.tracks[i + 1].index00.value_or(pq.tracks[i + 1].index01);
    else
        span.end = pq.leadOutLBA;
    if (t.index01 >= span.end)
        return tl::unexpected(
            DDPImportError::invalidPQ("track " + std::to_string(t.number) + " has zero length"));
    if (imageBytes < span.end * kBytesPerFrame)
        return tl::unexpected(DDPImportError::audioTooShort());
    span.gapStart = t.index00.value_or(t.index01);
    // The two-second pause before track 1 is never audio.
    const std::int64_t scanFrom =
        i == 0 ? std::max(span.gapStart, RedBook::track1PregapFrames) : span.gapStart;
    if (scanFrom < t.index01)
        span.hiddenAudio = firstNonSilentLBA(image, scanFrom, t.index01);
    span.audioStart = span.hiddenAudio.value_or(t.index01);
    return span;
}

std::string trackFileName(std::int64_t number) {
    char name[32];
    std::snprintf(name, sizeof name, "Track%02lld.wav", static_cast<long long>(number));
    return name;
}

std::string defaultTitle(std::int64_t number) {
    char title[32];
    std::snprintf(title, sizeof title, "Track %02lld", static_cast<long long>(number));
    return title;
}

CDTrack makeTrack(const PQTrack& t, const TrackSpan& span, const CDTextSet& cdText,
                  const std::filesystem::path& wav) {
    namespace T = DDPWriter::CDTextPackType;
    CDTrack track = CDTrack::make(text(cdText.block0, T::title, t.number).value_or(defaultTitle(t.number)),
                                  t.isrc.empty() ? std::nullopt : std::optional<std::string>(t.isrc),
                                  span.audioStart - span.gapStart,
                                  (span.end - span.audioStart) * RedBook::samplesPerFrame);
    track.audioFileURL = FileURL::fromPath(wav);
    if (span.hiddenAudio) {
        track.indexLocked = false;
        track.index01OffsetFrames = t.index01 - *span.hiddenAudio;
    }
    std::vector<std::int64_t> subIndexes;
    for (const auto& [index, lba] : t.subIndexLBAs)
        subIndexes.push_back(lba - t.index01);
    std::sort(subIndexes.begin(), subIndexes.end());
    track.subIndexFrames = std::move(subIndexes);
    track.preEmphasis = t.preEmphasis;
    track.copyPermitted = t.copyPermitted;
    track.creationDate = Timestamp::now();
    applyTrackText(cdText, t.number, track);
    if (!track.isrc)
        if (std::string isrc = DDPWriter::sanitizedISRC(text(cdText.block0, T::upcISRC, t.number));
            !isrc.empty())
            track.isrc = std::move(isrc);
    return track;
}

} // namespace

tl::expected<CDProject, DDPImportError> importDDP(const std::filesystem::path& folder,
                                                  const std::filesystem::path& audioDestination,
                                                  const ImportProgress& progress) {
    const FileNames names = fileNamesFromMap(folder);
    CDProject project;
    readIdentification(folder, project);
    const auto pqPath = fileInFolder(folder, names.pq);
    const auto pqData = pqPath ? readStreamFile(*pqPath, maxStreamFileBytes) : std::nullopt;
    if (!pqData)
        return tl::unexpected(DDPImportError::missingFile(names.pq));
    auto pq = parsePQ(*pqData);
    if (!pq)
        return tl::unexpected(pq.error());
    if (pq->tracks.empty())
        return tl::unexpected(DDPImportError::noTracks());
    const CDTextSet cdText = readCDText(folder, names.cdText, project);

    std::error_code ec;
    const auto imagePath = fileInFolder(folder, names.image);
    if (!imagePath || !std::filesystem::is_regular_file(*imagePath, ec))
        return tl::unexpected(DDPImportError::missingFile(names.image));
    const auto size = std::filesystem::file_size(*imagePath, ec);
    const std::int64_t imageBytes = ec ? 0 : static_cast<std::int64_t>(size);
    std::filesystem::create_directories(audioDestination, ec);
    if (ec)
        return tl::unexpected(
            DDPImportError::cannotWrite(audioDestination.filename().string(), ec.message()));

    std::ifstream image(*imagePath, std::ios::binary);
    if (!image)
        return tl::unexpected(DDPImportError::missingFile(names.image));
    const std::size_t n = pq->tracks.size();
    for (std::size_t i = 0; i < n; ++i) {
        const PQTrack& t = pq->tracks[i];
        const auto span = trackSpan(*pq, i, image, imageBytes);
        if (!span)
            return tl::unexpected(span.error());
        const std::string status =
            "Extracting track " + std::to_string(i + 1) + " of " + std::to_string(n) + "\u2026";
        const auto fileProgress = [&](double fraction) {
            return !progress ||
                   progress(status, (static_cast<double>(i) + fraction) / static_cast<double>(n));
        };
        if (!fileProgress(0.0))
            return tl::unexpected(DDPImportError::cancelled());
        const std::filesystem::path wav = audioDestination / trackFileName(t.number);
        if (auto written = extractWAV(image, span->audioStart * kBytesPerFrame,
                                      (span->end - span->audioStart) * kBytesPerFrame, wav, fileProgress);
            !written)
            return tl::unexpected(written.error());
        project.tracks.push_back(makeTrack(t, *span, cdText, wav));
    }
    return project;
}

} // namespace orvane::DDPReader
