#include "delivery/DDPReader.h"

#include "delivery/CDTextEncoder.h"
#include "delivery/DDPWriter.h"
#include "model/DeliverySanitizing.h"
#include "model/RedBook.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <limits>
#include <memory>

namespace orvane::DDPReader {

namespace {

constexpr std::size_t kMapPacketBytes = DDPWriter::mapPacketLength;
constexpr std::size_t kPQPacketBytes = DDPWriter::pqPacketLength;
constexpr std::size_t kPackBytes = DDPWriter::cdTextPackLength;
constexpr std::size_t kPackDataBytes = 12;
constexpr std::int64_t kBytesPerFrame = RedBook::bytesPerFrame;
constexpr std::int64_t kScanFrames = 512;
constexpr std::int64_t kCopyPieceBytes = 4 * 1024 * 1024;

bool isDigits(std::string_view text) {
    return !text.empty() &&
           std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

// A field of only decimal digits (after trimming) as a number; anything else is nothing.
std::optional<std::int64_t> decimal(std::string_view text) {
    const std::string t = trimmed(text);
    if (!isDigits(t) || t.size() > 18)
        return std::nullopt;
    std::int64_t value = 0;
    std::from_chars(t.data(), t.data() + t.size(), value);
    return value;
}

std::optional<unsigned> hexadecimal(std::string_view text) {
    const std::string t = trimmed(text);
    if (t.empty() || t.size() > 8)
        return std::nullopt;
    unsigned value = 0;
    const auto [end, ec] = std::from_chars(t.data(), t.data() + t.size(), value, 16);
    if (ec != std::errc() || end != t.data() + t.size())
        return std::nullopt;
    return value;
}

std::string latin1ToUTF8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size());
    for (const char c : bytes) {
        const auto b = static_cast<unsigned char>(c);
        if (b < 0x80) {
            out.push_back(c);
        } else {
            out.push_back(static_cast<char>(0xC0 | (b >> 6)));
            out.push_back(static_cast<char>(0x80 | (b & 0x3F)));
        }
    }
    return out;
}

std::uint8_t byteAt(std::string_view pack, std::size_t i) {
    return static_cast<std::uint8_t>(pack[i]);
}

bool crcHolds(std::string_view pack) {
    const std::uint16_t stored = static_cast<std::uint16_t>((byteAt(pack, 16) << 8) | byteAt(pack, 17));
    return DDPWriter::cdTextCRC(pack.substr(0, 16)) == stored;
}

template <class Visit> void forEachPacket(std::string_view data, std::size_t size, Visit visit) {
    for (std::size_t at = 0; at + size <= data.size(); at += size)
        visit(data.substr(at, size));
}

struct PQFields {
    std::string track;
    std::int64_t index = 0;
    std::int64_t timeFrames = 0;
};

// The packet's track, index and time, or nothing when one of them is not a number.
std::optional<PQFields> pqFields(std::string_view packet) {
    const auto index = decimal(ascii(packet, 6, 2));
    const auto minutes = decimal(ascii(packet, 10, 2));
    const auto seconds = decimal(ascii(packet, 12, 2));
    const auto frames = decimal(ascii(packet, 14, 2));
    const std::string track = trimmed(ascii(packet, 4, 2));
    if (track.empty() || !index || !minutes || !seconds || !frames)
        return std::nullopt;
    return PQFields{track, *index, *minutes * 4500 + *seconds * 75 + *frames};
}

void applyPQPacket(std::map<std::int64_t, PQTrack>& tracks, std::int64_t number, const PQFields& f,
                   std::string_view packet) {
    auto [entry, isNew] = tracks.try_emplace(number);
    PQTrack& track = entry->second;
    if (isNew)
        track.number = number;
    if (f.index == 0)
        track.index00 = f.timeFrames;
    else if (f.index == 1)
        track.index01 = f.timeFrames;
    else if (f.index >= 2 && f.index <= 99)
        track.subIndexLBAs[f.index] = f.timeFrames;
    if (std::string isrc = DDPWriter::sanitizedISRC(ascii(packet, 20, 12)); !isrc.empty())
        track.isrc = std::move(isrc);
    if (const auto control = hexadecimal(ascii(packet, 16, 2))) {
        track.preEmphasis = (*control & 0x10u) != 0;
        track.copyPermitted = (*control & 0x20u) != 0;
    }
}

// Splits a run at 0x00 bytes into Latin-1 strings, without the trailing empty ones.
std::vector<std::string> splitRun(std::string_view run) {
    std::vector<std::string> strings;
    std::size_t start = 0;
    while (start <= run.size()) {
        const std::size_t zero = std::min(run.find('\0', start), run.size());
        strings.push_back(latin1ToUTF8(run.substr(start, zero - start)));
        start = zero + 1;
    }
    while (!strings.empty() && strings.back().empty())
        strings.pop_back();
    return strings;
}

} // namespace

std::string ascii(std::string_view record, std::size_t offset, std::size_t length) {
    if (offset > record.size() || length > record.size() - offset)
        return {};
    const std::string_view slice = record.substr(offset, length);
    if (std::any_of(slice.begin(), slice.end(), [](char c) { return static_cast<unsigned char>(c) > 0x7F; }))
        return {};
    return std::string(slice);
}

std::string trimmed(std::string_view text) {
    const auto blank = [](char c) { return c == ' ' || c == '\t'; };
    while (!text.empty() && blank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && blank(text.back()))
        text.remove_suffix(1);
    return std::string(text);
}

std::vector<DDPStream> parseDDPMS(std::string_view data) {
    std::vector<DDPStream> streams;
    forEachPacket(data, kMapPacketBytes, [&](std::string_view packet) {
        if (!packet.starts_with("VVVM"))
            return;
        streams.push_back(DDPStream{.type = ascii(packet, 4, 2),
                                    .length = decimal(ascii(packet, 14, 8)),
                                    .subDescriptor = trimmed(ascii(packet, 30, 8)),
                                    .fileName = trimmed(ascii(packet, 74, 17))});
    });
    return streams;
}

tl::expected<PQDescriptor, DDPImportError> parsePQ(std::string_view data) {
    std::map<std::int64_t, PQTrack> tracks;
    std::optional<std::int64_t> leadOut;
    forEachPacket(data, kPQPacketBytes, [&](std::string_view packet) {
        if (!packet.starts_with("VVVS"))
            return;
        const auto fields = pqFields(packet);
        if (!fields || fields->track == "00")
            return;
        if (fields->track == "AA") {
            leadOut = fields->timeFrames;
            return;
        }
        const auto number = decimal(fields->track);
        if (!number || *number < 1 || *number > 99)
            return;
        applyPQPacket(tracks, *number, *fields, packet);
    });
    if (!leadOut)
        return tl::unexpected(DDPImportError::invalidPQ("missing lead-out (AA) entry"));
    PQDescriptor pq{.tracks = {}, .leadOutLBA = *leadOut};
    std::int64_t expected = 1;
    for (auto& [number, track] : tracks) {
        if (number != expected++)
            return tl::unexpected(DDPImportError::invalidPQ("track numbers are not contiguous"));
        pq.tracks.push_back(std::move(track));
    }
    return pq;
}

CDTextBlock parseCDText(std::string_view data, int block) {
    std::map<std::uint8_t, std::string> runs;
    CDTextBlock result;
    forEachPacket(data, kPackBytes, [&](std::string_view pack) {
        const std::uint8_t type = byteAt(pack, 0);
        if (type < 0x80 || type >= 0x8F || type == DDPWriter::CDTextPackType::genre)
            return;
        if (((byteAt(pack, 3) >> 4) & 0x07) != block || !crcHolds(pack))
            return;
        if (!result.contains(type))
            result[type].firstTrack = byteAt(pack, 1) & 0x7F;
        runs[type].append(pack.substr(4, kPackDataBytes));
    });
    for (auto& [type, run] : result)
        run.strings = splitRun(runs[type]);
    return result;
}

std::optional<CDTextGenreValue> parseCDTextGenre(std::string_view data) {
    std::string run;
    forEachPacket(data, kPackBytes, [&](std::string_view pack) {
        if (byteAt(pack, 0) == DDPWriter::CDTextPackType::genre && ((byteAt(pack, 3) >> 4) & 0x07) == 0 &&
            crcHolds(pack))
            run.append(pack.substr(4, kPackDataBytes));
    });
    if (run.size() < 2)
        return std::nullopt;
    const std::string_view rest = std::string_view(run).substr(2);
    return CDTextGenreValue{.code = (byteAt(run, 0) << 8) | byteAt(run, 1),
                            .text = latin1ToUTF8(rest.substr(0, rest.find('\0')))};
}

std::optional<std::int64_t> parseCDTextLanguage(std::string_view data, int block) {
    if (block < 0 || block > 7)
        return std::nullopt;
    std::optional<std::int64_t> language;
    forEachPacket(data, kPackBytes, [&](std::string_view pack) {
        if (!language && byteAt(pack, 0) == DDPWriter::CDTextPackType::sizeInfo &&
            (byteAt(pack, 1) & 0x7F) == 2 && crcHolds(pack))
            // Size information bytes 28 to 35 hold the languages; this pack carries bytes 24 to 35.
            language = byteAt(pack, 4 + 4 + static_cast<std::size_t>(block));
    });
    return language;
}

std::optional<std::string> text(const CDTextBlock& block, std::uint8_t type, std::int64_t n) {
    const auto found = block.find(type);
    if (found == block.end())
        return std::nullopt;
    const std::int64_t at = n - found->second.firstTrack;
    const auto& strings = found->second.strings;
    if (at < 0 || at >= static_cast<std::int64_t>(strings.size()) ||
        strings[static_cast<std::size_t>(at)].empty())
        return std::nullopt;
    return strings[static_cast<std::size_t>(at)];
}

std::optional<std::string> text2(const CDTextBlock& block0, const CDTextBlock& block1, std::uint8_t type,
                                 std::int64_t n) {
    auto second = text(block1, type, n);
    if (second && second == text(block0, type, n))
        return std::nullopt;
    return second;
}

std::optional<std::int64_t> firstNonSilentLBA(std::istream& image, std::int64_t fromLBA, std::int64_t toLBA) {
    if (fromLBA < 0 || fromLBA >= toLBA)
        return std::nullopt;
    image.clear();
    if (!image.seekg(fromLBA * kBytesPerFrame))
        return std::nullopt;
    std::vector<char> buffer(static_cast<std::size_t>(kScanFrames * kBytesPerFrame));
    for (std::int64_t lba = fromLBA; lba < toLBA;) {
        const std::int64_t frames = std::min(kScanFrames, toLBA - lba);
        image.read(buffer.data(), frames * kBytesPerFrame);
        const auto got = static_cast<std::size_t>(image.gcount());
        if (got == 0)
            return std::nullopt;
        const auto hit = std::find_if(buffer.begin(), buffer.begin() + static_cast<std::ptrdiff_t>(got),
                                      [](char c) { return c != 0; });
        if (hit != buffer.begin() + static_cast<std::ptrdiff_t>(got))
            return lba + (hit - buffer.begin()) / kBytesPerFrame;
        if (got < static_cast<std::size_t>(frames * kBytesPerFrame))
            return std::nullopt;
        lba += frames;
    }
    return std::nullopt;
}

std::string wavHeader(std::uint32_t dataBytes) {
    std::string out;
    out.reserve(44);
    const auto put32 = [&](std::uint32_t v) {
        for (int shift = 0; shift < 32; shift += 8)
            out.push_back(static_cast<char>((v >> shift) & 0xFF));
    };
    const auto put16 = [&](std::uint16_t v) {
        out.push_back(static_cast<char>(v & 0xFF));
        out.push_back(static_cast<char>(v >> 8));
    };
    out += "RIFF";
    put32(dataBytes + 36);
    out += "WAVEfmt ";
    put32(16);
    put16(1);
    put16(2);
    put32(44100);
    put32(176400);
    put16(4);
    put16(16);
    out += "data";
    put32(dataBytes);
    return out;
}

namespace {

struct FileCloser {
    void operator()(std::FILE* f) const { std::fclose(f); }
};

// Copies the byte range into `out` in 4 MiB pieces.
tl::expected<void, DDPImportError> copyRange(std::istream& source, std::int64_t byteOffset,
                                             std::int64_t byteLength, std::FILE* out, const std::string& name,
                                             const FractionProgress& progress) {
    source.clear();
    if (!source.seekg(byteOffset))
        return tl::unexpected(DDPImportError::audioTooShort());
    std::vector<char> piece(
        static_cast<std::size_t>(std::min(kCopyPieceBytes, std::max<std::int64_t>(byteLength, 1))));
    for (std::int64_t done = 0; done < byteLength;) {
        const std::int64_t want = std::min<std::int64_t>(kCopyPieceBytes, byteLength - done);
        source.read(piece.data(), want);
        if (source.gcount() != want)
            return tl::unexpected(DDPImportError::audioTooShort());
        if (std::fwrite(piece.data(), 1, static_cast<std::size_t>(want), out) !=
            static_cast<std::size_t>(want))
            return tl::unexpected(DDPImportError::cannotWrite(name, std::strerror(errno)));
        done += want;
        if (progress && !progress(static_cast<double>(done) / static_cast<double>(byteLength)))
            return tl::unexpected(DDPImportError::cancelled());
    }
    return {};
}

} // namespace

tl::expected<void, DDPImportError> extractWAV(std::istream& source, std::int64_t byteOffset,
                                              std::int64_t byteLength, const std::filesystem::path& to,
                                              const FractionProgress& progress) {
    assert(byteOffset >= 0 && byteLength >= 0);
    const std::string name = to.filename().string();
    if (byteLength > std::numeric_limits<std::uint32_t>::max() - 36)
        return tl::unexpected(DDPImportError::cannotWrite(name, "the track is too long for a WAV file"));
    const std::filesystem::path temporary = to.parent_path() / ("." + name + ".partial");
    std::unique_ptr<std::FILE, FileCloser> out(std::fopen(temporary.c_str(), "wb"));
    if (!out)
        return tl::unexpected(DDPImportError::cannotWrite(name, std::strerror(errno)));
    const std::string header = wavHeader(static_cast<std::uint32_t>(byteLength));
    auto copied = std::fwrite(header.data(), 1, header.size(), out.get()) == header.size()
                      ? copyRange(source, byteOffset, byteLength, out.get(), name, progress)
                      : tl::unexpected(DDPImportError::cannotWrite(name, std::strerror(errno)));
    if (copied && std::fclose(out.release()) != 0)
        copied = tl::unexpected(DDPImportError::cannotWrite(name, std::strerror(errno)));
    std::error_code ec;
    if (copied) {
        std::filesystem::rename(temporary, to, ec);
        if (ec)
            copied = tl::unexpected(DDPImportError::cannotWrite(name, ec.message()));
    }
    if (!copied) {
        out.reset();
        std::filesystem::remove(temporary, ec); // the failure itself is what gets reported
    }
    return copied;
}

std::optional<std::string> readStreamFile(const std::filesystem::path& file, std::int64_t maxBytes) {
    std::error_code ec;
    if (!std::filesystem::is_regular_file(file, ec))
        return std::nullopt;
    const auto size = std::filesystem::file_size(file, ec);
    if (ec || size > static_cast<std::uintmax_t>(maxBytes))
        return std::nullopt;
    std::ifstream in(file, std::ios::binary);
    if (!in)
        return std::nullopt;
    std::string bytes(static_cast<std::size_t>(size), '\0');
    in.read(bytes.data(), static_cast<std::streamsize>(size));
    bytes.resize(static_cast<std::size_t>(in.gcount()));
    if (in.bad())
        return std::nullopt;
    return bytes;
}

std::optional<std::filesystem::path> fileInFolder(const std::filesystem::path& folder,
                                                  std::string_view name) {
    const std::filesystem::path relative(name);
    if (name.empty() || relative.is_absolute() || relative.has_root_name())
        return std::nullopt;
    for (const auto& part : relative)
        if (part == "..")
            return std::nullopt;
    return folder / relative;
}

std::filesystem::path freeAudioFolder(const std::filesystem::path& parent, std::string_view baseName) {
    std::error_code ec;
    std::filesystem::path candidate = parent / (std::string(baseName) + " Audio");
    for (int n = 2; std::filesystem::exists(candidate, ec); ++n)
        candidate = parent / (std::string(baseName) + " Audio " + std::to_string(n));
    return candidate;
}

} // namespace orvane::DDPReader
