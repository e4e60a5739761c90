#include "delivery/PreviewManifest.h"

#include "model/RedBook.h"
#include "model/Uuid.h"

#include <nlohmann/json.hpp>

namespace orvane::PreviewManifests {

namespace {

std::string msf(std::int64_t lba) {
    return CDTime::frames(lba).msfString();
}

double seconds(std::int64_t lba) {
    return static_cast<double>(lba) / static_cast<double>(RedBook::framesPerSecond);
}

} // namespace

PreviewManifest build(const CDProject& project, const std::vector<TrackPosition>& positions,
                      PreviewFormat format, const std::string& audioFile, const std::string& approvalEmail) {
    PreviewManifest m;
    m.format = format == PreviewFormat::quality ? "oprq" : "oprl";
    m.audioCodec = format == PreviewFormat::quality ? "flac" : "aac";
    m.audioFile = format == PreviewFormat::smartphone ? std::string() : audioFile;
    m.approvalEmail = approvalEmail;
    m.token = Uuid::random().string();

    m.album.title = project.albumTitle;
    m.album.performer = project.albumPerformer.value_or("");
    m.album.songwriter = project.albumSongwriter.value_or("");
    m.album.composer = project.albumComposer.value_or("");
    m.album.arranger = project.albumArranger.value_or("");
    m.album.message = project.albumMessage.value_or("");
    m.album.mcn = project.mcn;
    m.album.trackCount = static_cast<std::int64_t>(positions.size());
    const std::int64_t lastEnd = positions.empty() ? 0 : positions.back().endLBA;
    m.album.totalSeconds = seconds(lastEnd);
    m.album.totalMSF = msf(lastEnd);

    for (std::size_t i = 0; i < positions.size() && i < project.tracks.size(); ++i) {
        const CDTrack& t = project.tracks[i];
        const TrackPosition& p = positions[i];
        PreviewManifest::Track track;
        track.number = p.trackIndex;
        track.title = t.title;
        track.performer = t.performer.value_or("");
        track.songwriter = t.songwriter.value_or("");
        track.composer = t.composer.value_or("");
        track.arranger = t.arranger.value_or("");
        track.message = t.message.value_or("");
        track.isrc = t.isrc.value_or("");
        if (p.startLBA < p.index01LBA)
            track.index00MSF = msf(p.startLBA);
        track.index01MSF = msf(p.index01LBA);
        track.endMSF = msf(p.endLBA);
        track.startSeconds = seconds(p.index01LBA);
        track.endSeconds = seconds(p.endLBA);
        track.preEmphasis = t.preEmphasis;
        track.copyPermitted = t.copyPermitted;
        m.tracks.push_back(std::move(track));
    }
    return m;
}

std::string json(const PreviewManifest& m) {
    using nlohmann::json;
    json album = {{"title", m.album.title},
                  {"performer", m.album.performer},
                  {"songwriter", m.album.songwriter},
                  {"composer", m.album.composer},
                  {"arranger", m.album.arranger},
                  {"message", m.album.message},
                  {"mcn", m.album.mcn},
                  {"trackCount", m.album.trackCount},
                  {"totalSeconds", m.album.totalSeconds},
                  {"totalMSF", m.album.totalMSF}};
    json tracks = json::array();
    for (const auto& t : m.tracks) {
        json track = {{"number", t.number},
                      {"title", t.title},
                      {"performer", t.performer},
                      {"songwriter", t.songwriter},
                      {"composer", t.composer},
                      {"arranger", t.arranger},
                      {"message", t.message},
                      {"isrc", t.isrc},
                      {"index01MSF", t.index01MSF},
                      {"endMSF", t.endMSF},
                      {"startSeconds", t.startSeconds},
                      {"endSeconds", t.endSeconds},
                      {"preEmphasis", t.preEmphasis},
                      {"copyPermitted", t.copyPermitted}};
        if (t.index00MSF)
            track["index00MSF"] = *t.index00MSF;
        tracks.push_back(std::move(track));
    }
    // nlohmann's objects keep their keys sorted, and it never escapes "/".
    const json doc = {
        {"generator", m.generator},   {"version", m.version},      {"format", m.format},
        {"audioCodec", m.audioCodec}, {"audioFile", m.audioFile},  {"approvalEmail", m.approvalEmail},
        {"token", m.token},           {"album", std::move(album)}, {"tracks", std::move(tracks)}};
    const std::string text = doc.dump(2, ' ', false, json::error_handler_t::replace);
    // "<" only occurs inside strings, where \u003c is the same character: no title can close the
    // script element that holds this text, nor open a comment in it.
    std::string safe;
    safe.reserve(text.size());
    for (char c : text) {
        if (c == '<')
            safe += "\\u003c";
        else
            safe += c;
    }
    return safe;
}

} // namespace orvane::PreviewManifests
