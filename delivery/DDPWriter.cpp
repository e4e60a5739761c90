#include "delivery/DDPWriter.h"

#include "model/CDProject.h"
#include "model/detail/ScalarBytes.h"

#include <algorithm>
#include <cassert>
#include <cstdio>

namespace orvane::DDPWriter {

namespace {

constexpr std::size_t kLeadTextWidth = 33;
constexpr std::string_view kLeadTextPrefix = "Orvane - ";

std::string spaces(std::size_t count) {
    return std::string(count, ' ');
}

std::string optionalNumber(const std::optional<std::int64_t>& value, std::size_t width) {
    return value ? number(*value, width) : spaces(width);
}

// Tracks and positions travel together; a shorter track list is a caller's mistake.
std::size_t pairedCount(const CDProject& project, std::span<const TrackPosition> positions) {
    assert(positions.size() <= project.tracks.size());
    return std::min(positions.size(), project.tracks.size());
}

void appendTrackPackets(std::string& out, const CDTrack& track, const TrackPosition& p) {
    const std::string n = number(p.trackIndex, 2);
    const std::string isrc = sanitizedISRC(track.isrc);
    const std::string control = controlCode(track);
    if (p.startLBA < p.index01LBA)
        out += pqPacket(n, 0, p.startLBA, isrc, control);
    out += pqPacket(n, 1, p.index01LBA, isrc, control);
    const auto subIndexes = track.sanitizedSubIndexOffsets(p.endLBA - p.index01LBA);
    for (std::size_t k = 0; k < subIndexes.size(); ++k)
        out += pqPacket(n, static_cast<std::int64_t>(k) + 2, p.index01LBA + subIndexes[k], isrc, control);
}

// Quoted cue values cannot hold a double quote; it becomes a single one.
std::string cueQuoted(std::string_view text) {
    std::string out = "\"";
    for (const char c : text)
        out.push_back(c == '"' ? '\'' : c);
    out += '"';
    return out;
}

void appendQuotedLine(std::string& out, std::string_view prefix, const std::optional<std::string>& value) {
    if (value && !value->empty())
        out += std::string(prefix) + cueQuoted(*value) + "\n";
}

std::string msf(std::int64_t lba) {
    return CDTime::frames(lba).msfString();
}

void appendCueTrack(std::string& out, const CDTrack& track, const TrackPosition& p) {
    char trackLine[40];
    std::snprintf(trackLine, sizeof trackLine, "  TRACK %02lld AUDIO\n",
                  static_cast<long long>(p.trackIndex));
    out += trackLine;
    out += "    TITLE " + cueQuoted(track.title) + "\n";
    appendQuotedLine(out, "    PERFORMER ", track.performer);
    appendQuotedLine(out, "    SONGWRITER ", track.songwriter);
    if (track.preEmphasis || track.copyPermitted) {
        std::string flags;
        if (track.preEmphasis)
            flags = "PRE";
        if (track.copyPermitted)
            flags += flags.empty() ? "DCP" : " DCP";
        out += "    FLAGS " + flags + "\n";
    }
    if (track.isrc && !track.isrc->empty())
        out += "    ISRC " + *track.isrc + "\n";
    if (p.startLBA < p.index01LBA)
        out += "    INDEX 00 " + msf(p.startLBA) + "\n";
    out += "    INDEX 01 " + msf(p.index01LBA) + "\n";
}

} // namespace

std::string field(std::string_view text, std::size_t width) {
    std::string bytes = detail::scalarBytes(text, 0x7F);
    bytes.resize(width, ' ');
    return bytes;
}

std::string number(std::int64_t value, std::size_t width) {
    std::string digits = std::to_string(value);
    if (digits.size() < width)
        digits.insert(0, width - digits.size(), '0');
    return field(digits, width);
}

std::string mapPacket(const MapPacket& packet) {
    std::string out;
    out.reserve(mapPacketLength);
    out += "VVVM";
    out += field(packet.streamType, 2);
    out += spaces(8);
    out += number(packet.streamLength, 8);
    out += field(packet.streamStart, 8);
    out += field(packet.subCodeDescriptor, 8);
    out += field(packet.cdMode, 2);
    out += field(packet.ssm, 1);
    out += field(packet.scrambled, 1);
    out += spaces(4);
    out += optionalNumber(packet.pregapPart2, 4);
    out += spaces(4 + 1 + 2 + 2 + 12);
    out += "017";
    out += field(packet.fileName, 17);
    out += spaces(1 + 4 + 8);
    out += optionalNumber(packet.startingFileOffset, 9);
    out += spaces(15);
    assert(out.size() == mapPacketLength);
    return out;
}

std::string pqPacket(std::string_view trackNumber, std::int64_t index, std::int64_t timeFrames,
                     std::string_view isrc, std::string_view control) {
    const MSF time = CDTime::frames(timeFrames).msf();
    std::string out;
    out.reserve(pqPacketLength);
    out += "VVVS";
    out += field(trackNumber, 2);
    out += number(index, 2);
    out += number(0, 2);
    out += number(time.minutes, 2);
    out += number(time.seconds, 2);
    out += number(time.frames, 2);
    out += field(control, 2);
    out += spaces(2);
    out += field(isrc, 12);
    out += spaces(13 + 19);
    assert(out.size() == pqPacketLength);
    return out;
}

std::string controlCode(const CDTrack& track) {
    const unsigned value = 0x01u | (track.preEmphasis ? 0x10u : 0u) | (track.copyPermitted ? 0x20u : 0u);
    char text[3];
    std::snprintf(text, sizeof text, "%02X", value);
    return text;
}

std::string ddpidData(const CDProject& project) {
    std::string out;
    out.reserve(ddpIdLength);
    out += "DDP 2.00";
    out += field(sanitizedMCN(project.mcn), 13);
    out += spaces(8 + 8 + 1);
    out += field(project.masterID.value_or(""), 48);
    out += spaces(1);
    out += "CD";
    out += spaces(4);
    std::string leadText = detail::scalarBytes(std::string(kLeadTextPrefix) + project.albumTitle, 0x7F);
    if (leadText.size() > kLeadTextWidth)
        leadText.resize(kLeadTextWidth);
    out += number(static_cast<std::int64_t>(leadText.size()), 2);
    out += field(leadText, kLeadTextWidth);
    assert(out.size() == ddpIdLength);
    return out;
}

std::string ddpmsData(std::int64_t totalSectors, std::int64_t track1PauseFrames, std::int64_t pqByteLength,
                      std::optional<std::int64_t> cdTextByteLength) {
    std::string out = mapPacket(MapPacket{.streamType = "S0",
                                          .streamLength = pqByteLength,
                                          .streamStart = "",
                                          .subCodeDescriptor = "PQ DESCR",
                                          .cdMode = "",
                                          .ssm = "",
                                          .scrambled = "",
                                          .pregapPart2 = std::nullopt,
                                          .fileName = std::string(pqFileName),
                                          .startingFileOffset = std::nullopt});
    if (cdTextByteLength)
        out += mapPacket(MapPacket{.streamType = "S0",
                                   .streamLength = *cdTextByteLength,
                                   .streamStart = "",
                                   .subCodeDescriptor = "CDTEXT",
                                   .cdMode = "",
                                   .ssm = "",
                                   .scrambled = "",
                                   .pregapPart2 = std::nullopt,
                                   .fileName = std::string(cdTextFileName),
                                   .startingFileOffset = std::nullopt});
    out += mapPacket(MapPacket{.streamType = "D0",
                               .streamLength = totalSectors,
                               .streamStart = "00000000",
                               .subCodeDescriptor = "",
                               .cdMode = "DA",
                               .ssm = "0",
                               .scrambled = "0",
                               .pregapPart2 = track1PauseFrames,
                               .fileName = std::string(audioFileName),
                               .startingFileOffset = 0});
    return out;
}

std::string pqDescrData(const CDProject& project, std::span<const TrackPosition> positions) {
    std::string out = pqPacket("00", 0, 0, "", "01");
    const std::size_t count = pairedCount(project, positions);
    if (count == 0)
        return out;
    for (std::size_t i = 0; i < count; ++i)
        appendTrackPackets(out, project.tracks[i], positions[i]);
    out += pqPacket("AA", 1, positions[count - 1].endLBA, "", "01");
    return out;
}

std::string imageCueText(const CDProject& project, std::span<const TrackPosition> positions) {
    std::string out;
    if (!project.mcn.empty())
        out += "CATALOG " + project.mcn + "\n";
    if (!project.albumTitle.empty())
        out += "TITLE " + cueQuoted(project.albumTitle) + "\n";
    appendQuotedLine(out, "PERFORMER ", project.albumPerformer);
    appendQuotedLine(out, "SONGWRITER ", project.albumSongwriter);
    out += "FILE \"" + std::string(audioFileName) + "\" BINARY\n";
    const std::size_t count = pairedCount(project, positions);
    for (std::size_t i = 0; i < count; ++i)
        appendCueTrack(out, project.tracks[i], positions[i]);
    return out;
}

std::vector<std::string> checksumFileNames(std::span<const std::string> extraFileNames) {
    std::vector<std::string> names{std::string(ddpIdFileName), std::string(ddpMsFileName),
                                   std::string(pqFileName),    std::string(cdTextFileName),
                                   std::string(audioFileName), std::string(cueFileName)};
    for (const std::string& name : extraFileNames)
        if (name != checksumFileName)
            names.push_back(name);
    return names;
}

std::string checksumText(std::span<const ChecksumEntry> entries) {
    std::string out;
    for (const ChecksumEntry& entry : entries)
        out += entry.md5Hex + "  " + entry.fileName + "\n";
    return out;
}

} // namespace orvane::DDPWriter
