#include "delivery/DDPVerifier.h"

#include "delivery/CDTextEncoder.h"
#include "delivery/DDPReader.h"
#include "delivery/DDPWriter.h"
#include "delivery/MD5Digest.h"
#include "model/RedBook.h"

#include <algorithm>
#include <cstdio>

namespace orvane::DDPVerifier {

namespace {

namespace fs = std::filesystem;
using Severity = ValidationIssue::Severity;
using Issues = std::vector<ValidationIssue>;

constexpr std::int64_t kBytesPerFrame = RedBook::bytesPerFrame;

void add(Issues& issues, Severity severity, std::string message) {
    issues.push_back(ValidationIssue{severity, std::move(message)});
}

// The size of `name` in the folder from its attributes, or nothing.
std::optional<std::int64_t> sizeOf(const fs::path& folder, std::string_view name) {
    const auto path = DDPReader::fileInFolder(folder, name);
    std::error_code ec;
    if (!path || !fs::is_regular_file(*path, ec))
        return std::nullopt;
    const auto size = fs::file_size(*path, ec);
    if (ec)
        return std::nullopt;
    return static_cast<std::int64_t>(size);
}

std::optional<std::string> readStream(const fs::path& folder, std::string_view name) {
    const auto path = DDPReader::fileInFolder(folder, name);
    return path ? DDPReader::readStreamFile(*path, DDPReader::maxStreamFileBytes) : std::nullopt;
}

void checkRequiredFiles(const fs::path& folder, Issues& issues) {
    for (const std::string_view name : {DDPWriter::ddpIdFileName, DDPWriter::ddpMsFileName,
                                        DDPWriter::pqFileName, DDPWriter::audioFileName}) {
        std::error_code ec;
        if (!fs::exists(folder / name, ec))
            add(issues, Severity::error, "Missing required file: " + std::string(name) + ".");
    }
}

// Checks each listed stream against its file; gives the CD-Text stream's name.
std::string checkMap(const fs::path& folder, Issues& issues) {
    std::string cdTextName(DDPWriter::cdTextFileName);
    const auto map = readStream(folder, DDPWriter::ddpMsFileName);
    if (!map)
        return cdTextName;
    const auto streams = DDPReader::parseDDPMS(*map);
    if (streams.empty())
        add(issues, Severity::error, "DDPMS contains no valid map packets.");
    std::int64_t listed = 0;
    std::int64_t agreeing = 0;
    for (const DDPStream& s : streams) {
        if (s.fileName.empty())
            continue;
        ++listed;
        if (s.subDescriptor == "CDTEXT")
            cdTextName = s.fileName;
        const auto size = sizeOf(folder, s.fileName);
        if (!s.length) {
            add(issues, Severity::warning, "DDPMS: stream " + s.fileName + " has no valid length field.");
        } else if (!size) {
            add(issues, Severity::error, s.fileName + ": listed in DDPMS but missing.");
        } else if (s.type == "D0" && *size != *s.length * kBytesPerFrame) {
            add(issues, Severity::error,
                s.fileName + ": DDPMS declares " + std::to_string(*s.length) + " sectors (" +
                    std::to_string(*s.length * kBytesPerFrame) + " bytes) but file is " +
                    std::to_string(*size) + " bytes.");
        } else if (s.type != "D0" && *size != *s.length) {
            add(issues, Severity::error,
                s.fileName + ": DDPMS declares " + std::to_string(*s.length) + " bytes but file is " +
                    std::to_string(*size) + " bytes.");
        } else {
            ++agreeing;
        }
    }
    if (agreeing > 0 && agreeing == listed)
        add(issues, Severity::info,
            "DDPMS: all " + std::to_string(listed) + " stream lengths match file sizes.");
    return cdTextName;
}

void checkImageSize(std::optional<std::int64_t> imageBytes, Issues& issues) {
    if (!imageBytes)
        return;
    if (*imageBytes % kBytesPerFrame != 0) {
        add(issues, Severity::error, "IMAGE.DAT does not end on a CD frame boundary (size % 2352 \u2260 0).");
        return;
    }
    const long long sectors = *imageBytes / kBytesPerFrame;
    const long long seconds = sectors / RedBook::framesPerSecond;
    char line[96];
    std::snprintf(line, sizeof line, "IMAGE.DAT: %lld sectors (%lld:%02lld), frame aligned.", sectors,
                  seconds / 60, seconds % 60);
    add(issues, Severity::info, line);
}

void checkPQ(const fs::path& folder, std::optional<std::int64_t> imageBytes, Issues& issues) {
    std::error_code ec;
    if (!fs::exists(folder / DDPWriter::pqFileName, ec))
        return;
    const auto data = readStream(folder, DDPWriter::pqFileName);
    if (!data) {
        add(issues, Severity::error,
            "PQ descriptor unreadable: " +
                DDPImportError::missingFile(std::string(DDPWriter::pqFileName)).message());
        return;
    }
    const auto pq = DDPReader::parsePQ(*data);
    if (!pq) {
        add(issues, Severity::error, "PQ descriptor unreadable: " + pq.error().message());
        return;
    }
    add(issues, Severity::info,
        "PQ descriptor: " + std::to_string(pq->tracks.size()) + " tracks, lead-out at " +
            std::to_string(pq->leadOutLBA) + " sectors.");
    if (imageBytes && pq->leadOutLBA * kBytesPerFrame != *imageBytes)
        add(issues, Severity::error, "PQ lead-out does not match IMAGE.DAT size.");
}

void checkCDText(const fs::path& folder, const std::string& name, Issues& issues) {
    const auto data = readStream(folder, name);
    if (!data)
        return;
    const std::size_t packBytes = DDPWriter::cdTextPackLength;
    if (data->size() % packBytes != 0)
        add(issues, Severity::error,
            name + ": size is not a multiple of 18 bytes \u2014 truncated or not a CD-Text file.");
    std::int64_t total = 0;
    std::int64_t failed = 0;
    for (std::size_t at = 0; at + packBytes <= data->size(); at += packBytes, ++total) {
        const std::string_view pack = std::string_view(*data).substr(at, packBytes);
        const auto stored = static_cast<std::uint16_t>((static_cast<std::uint8_t>(pack[16]) << 8) |
                                                       static_cast<std::uint8_t>(pack[17]));
        if (DDPWriter::cdTextCRC(pack.substr(0, 16)) != stored)
            ++failed;
    }
    if (failed > 0)
        add(issues, Severity::error,
            name + ": " + std::to_string(failed) + " of " + std::to_string(total) +
                " packs failed CRC \u2014 CD-Text is corrupted.");
    else if (total > 0)
        add(issues, Severity::info, name + ": " + std::to_string(total) + " packs, all CRC checks passed.");
}

struct ChecksumLine {
    std::string expectedHash;
    std::string fileName;
};

std::vector<std::string> piecesOf(std::string_view text, std::string_view separators) {
    std::vector<std::string> pieces;
    std::size_t at = 0;
    while (at < text.size()) {
        const std::size_t start = text.find_first_not_of(separators, at);
        if (start == std::string_view::npos)
            break;
        const std::size_t end = std::min(text.find_first_of(separators, start), text.size());
        pieces.emplace_back(text.substr(start, end - start));
        at = end;
    }
    return pieces;
}

std::vector<ChecksumLine> checksumLines(std::string_view text) {
    std::vector<ChecksumLine> lines;
    for (const std::string& line : piecesOf(text, "\r\n")) {
        auto pieces = piecesOf(line, " ");
        if (pieces.size() == 2)
            lines.push_back({std::move(pieces[0]), std::move(pieces[1])});
    }
    return lines;
}

// False when the user stopped the check.
bool checkChecksums(const fs::path& folder, Issues& issues, const Progress& progress) {
    const auto text = readStream(folder, DDPWriter::checksumFileName);
    if (!text) {
        add(issues, Severity::warning, "No checksum.md5 \u2014 integrity cannot be verified.");
        return true;
    }
    struct Entry {
        ChecksumLine line;
        fs::path path;
        std::int64_t bytes;
    };
    std::vector<Entry> present;
    std::int64_t total = 0;
    for (ChecksumLine& line : checksumLines(*text)) {
        const auto path = DDPReader::fileInFolder(folder, line.fileName);
        std::error_code ec;
        if (!path || !fs::exists(*path, ec)) {
            add(issues, Severity::error, line.fileName + ": listed in checksum.md5 but missing.");
            continue;
        }
        const auto size = fs::file_size(*path, ec);
        const std::int64_t bytes = ec ? 0 : static_cast<std::int64_t>(size);
        total += bytes;
        present.push_back({std::move(line), *path, bytes});
    }
    total = std::max<std::int64_t>(total, 1);
    std::int64_t finished = 0;
    std::int64_t matched = 0;
    for (const Entry& e : present) {
        const std::string status = "Computing MD5 of " + e.line.fileName + "\u2026";
        const auto hash = md5HexOfFile(e.path, [&](std::int64_t done) {
            return !progress ||
                   progress(status, static_cast<double>(finished + done) / static_cast<double>(total));
        });
        finished += e.bytes;
        if (!hash && hash.error().failure == MD5FileFailure::cancelled)
            return false;
        if (!hash)
            add(issues, Severity::error,
                e.line.fileName + ": cannot compute MD5 (" + hash.error().reason + ").");
        else if (*hash != e.line.expectedHash)
            add(issues, Severity::error,
                e.line.fileName + ": MD5 MISMATCH \u2014 file is corrupted or modified.");
        else
            ++matched;
    }
    add(issues, Severity::info,
        std::to_string(matched) + " file" + (matched == 1 ? "" : "s") + " passed MD5 verification.");
    return true;
}

} // namespace

std::optional<std::vector<ValidationIssue>> verify(const std::filesystem::path& directory,
                                                   const Progress& progress) {
    Issues issues;
    checkRequiredFiles(directory, issues);
    const std::string cdTextName = checkMap(directory, issues);
    const auto imageBytes = sizeOf(directory, DDPWriter::audioFileName);
    checkImageSize(imageBytes, issues);
    checkPQ(directory, imageBytes, issues);
    checkCDText(directory, cdTextName, issues);
    if (!checkChecksums(directory, issues, progress))
        return std::nullopt;
    return issues;
}

std::string reportTitle(const std::vector<ValidationIssue>& issues) {
    const auto errors = std::count_if(issues.begin(), issues.end(),
                                      [](const ValidationIssue& i) { return i.severity == Severity::error; });
    if (errors == 0)
        return "DDP Fileset Is Valid";
    return "Verification Found " + std::to_string(errors) + " Error" + (errors == 1 ? "" : "s");
}

std::string reportText(const std::vector<ValidationIssue>& issues) {
    std::string out;
    for (const ValidationIssue& issue : issues) {
        if (!out.empty())
            out += '\n';
        out += std::string(severityMark(issue.severity)) + "  " + issue.message;
    }
    return out;
}

} // namespace orvane::DDPVerifier
