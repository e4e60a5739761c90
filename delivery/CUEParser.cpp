// The CUE sheet's text: decoding, tokens, times and the keyword table. Needs nothing of the model,
// so the parser fuzzes on its own.

#include "delivery/CUEImporter.h"

#include <algorithm>
#include <charconv>
#include <cstdint>

namespace orvane::CUEImporter {

namespace {

// Times beyond this (about 465 years) are not a disc's and would overflow byte offsets later.
constexpr std::int64_t kMaxTimeFrames = std::int64_t{1} << 40;

void appendUTF8(std::string& out, std::uint32_t scalar) {
    if (scalar < 0x80) {
        out.push_back(static_cast<char>(scalar));
    } else if (scalar < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (scalar >> 6)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    } else if (scalar < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (scalar >> 12)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (scalar >> 18)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((scalar >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (scalar & 0x3F)));
    }
}

// Well-formed UTF-8: no overlong forms, surrogates or scalars beyond U+10FFFF.
bool isUTF8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto lead = static_cast<unsigned char>(text[i]);
        if (lead < 0x80) {
            ++i;
            continue;
        }
        std::size_t length = 0;
        std::uint32_t scalar = 0;
        if (lead >= 0xC2 && lead <= 0xDF) {
            length = 2;
            scalar = lead & 0x1F;
        } else if (lead >= 0xE0 && lead <= 0xEF) {
            length = 3;
            scalar = lead & 0x0F;
        } else if (lead >= 0xF0 && lead <= 0xF4) {
            length = 4;
            scalar = lead & 0x07;
        } else {
            return false;
        }
        if (text.size() - i < length)
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            const auto c = static_cast<unsigned char>(text[i + k]);
            if ((c & 0xC0) != 0x80)
                return false;
            scalar = (scalar << 6) | (c & 0x3F);
        }
        const std::uint32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        if (scalar < least || scalar > 0x10FFFF || (scalar >= 0xD800 && scalar <= 0xDFFF))
            return false;
        i += length;
    }
    return true;
}

// Bytes 0x80 to 0x9F are control characters in ISO Latin 1 that no sheet means; Windows programs
// write their code page there (curly quotes, dashes, the euro sign), so those are read as it has them.
constexpr std::uint16_t kWindowsC1[32] = {0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,
                                          0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,
                                          0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,
                                          0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178};

std::string latin1ToUTF8(std::string_view bytes) {
    std::string out;
    out.reserve(bytes.size() + bytes.size() / 8);
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        appendUTF8(out, byte >= 0x80 && byte <= 0x9F ? kWindowsC1[byte - 0x80] : byte);
    }
    return out;
}

std::optional<std::string> utf16ToUTF8(std::string_view bytes, bool bigEndian) {
    if (bytes.size() % 2 != 0)
        return std::nullopt;
    const auto unit = [&](std::size_t i) {
        const auto a = static_cast<unsigned char>(bytes[i]);
        const auto b = static_cast<unsigned char>(bytes[i + 1]);
        return static_cast<std::uint32_t>(bigEndian ? (a << 8) | b : (b << 8) | a);
    };
    std::string out;
    out.reserve(bytes.size());
    for (std::size_t i = 0; i < bytes.size(); i += 2) {
        std::uint32_t scalar = unit(i);
        if (scalar >= 0xDC00 && scalar <= 0xDFFF)
            return std::nullopt;
        if (scalar >= 0xD800 && scalar <= 0xDBFF) {
            if (i + 3 >= bytes.size())
                return std::nullopt;
            const std::uint32_t low = unit(i + 2);
            if (low < 0xDC00 || low > 0xDFFF)
                return std::nullopt;
            scalar = 0x10000 + ((scalar - 0xD800) << 10) + (low - 0xDC00);
            i += 2;
        }
        appendUTF8(out, scalar);
    }
    return out;
}

std::string upper(std::string_view text) {
    std::string out(text);
    std::transform(out.begin(), out.end(), out.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return out;
}

bool isBlank(char c) {
    return c == ' ' || c == '\t' || c == '\f' || c == '\v';
}

std::string_view trimmedLine(std::string_view line) {
    while (!line.empty() && isBlank(line.front()))
        line.remove_prefix(1);
    while (!line.empty() && isBlank(line.back()))
        line.remove_suffix(1);
    return line;
}

// A whole token of decimal digits, possibly signed.
std::optional<std::int64_t> integer(std::string_view text) {
    std::int64_t value = 0;
    const char* first = text.data();
    const char* last = text.data() + text.size();
    if (first != last && *first == '+')
        ++first;
    const auto [end, ec] = std::from_chars(first, last, value);
    if (ec != std::errc() || end != last || first == last)
        return std::nullopt;
    return value;
}

// A FILE line whose name was written without quotes and holds blanks: the name is everything
// between the keyword and the type word, as the writer meant it.
std::optional<CUEFile> unquotedFileWithBlanks(std::string_view line, const std::vector<std::string>& t) {
    if (t.size() <= 3 || line.find('"') != std::string_view::npos)
        return std::nullopt;
    std::string_view rest = line.substr(4); // past "FILE"
    const std::size_t typeAt = rest.rfind(t.back());
    if (typeAt == std::string_view::npos)
        return std::nullopt;
    return CUEFile{std::string(trimmedLine(rest.substr(0, typeAt))), upper(t.back())};
}

// Which track the track-level keywords of a line apply to.
struct Cursor {
    ParsedSheet& sheet;
    bool inDataTrack = false;

    ParsedTrack* current() {
        if (inDataTrack)
            return &sheet.dataTracks.back();
        return sheet.tracks.empty() ? nullptr : &sheet.tracks.back();
    }
};

void applyText(Cursor& cursor, std::string_view keyword, std::string value) {
    ParsedTrack* track = cursor.current();
    ParsedSheet& sheet = cursor.sheet;
    if (keyword == "TITLE") {
        if (track)
            track->title = std::move(value);
        else
            sheet.albumTitle = std::move(value);
    } else if (keyword == "PERFORMER") {
        (track ? track->performer : sheet.albumPerformer) = std::move(value);
    } else if (keyword == "SONGWRITER") {
        (track ? track->songwriter : sheet.albumSongwriter) = std::move(value);
    }
}

void applyTrack(Cursor& cursor, const std::vector<std::string>& t) {
    ParsedSheet& sheet = cursor.sheet;
    const auto number = t.size() >= 3 ? integer(t[1]) : std::nullopt;
    if (!number || sheet.files.empty())
        return;
    ParsedTrack track;
    track.number = *number;
    track.fileIndex = sheet.files.size() - 1;
    cursor.inDataTrack = upper(t[2]) != "AUDIO";
    (cursor.inDataTrack ? sheet.dataTracks : sheet.tracks).push_back(std::move(track));
}

void applyIndex(ParsedTrack& track, const std::vector<std::string>& t, std::size_t fileCount) {
    const auto number = integer(t[1]);
    const auto time = parseTime(t[2]);
    if (!number || !time)
        return;
    const std::size_t file = fileCount - 1; // a track exists, so a FILE came before it
    if (*number == 0) {
        track.index00 = *time;
        track.index00FileIndex = file;
    } else if (*number == 1) {
        track.index01 = *time;
        track.index01FileIndex = file;
    } else if (*number >= 2 && *number <= 99) {
        track.subIndexes[static_cast<int>(*number)] = *time;
    }
}

void applyFlags(ParsedTrack& track, const std::vector<std::string>& t) {
    for (std::size_t i = 1; i < t.size(); ++i) {
        const std::string flag = upper(t[i]);
        if (flag == "PRE")
            track.preEmphasis = true;
        else if (flag == "DCP")
            track.copyPermitted = true;
        // 4CH and SCMS have no place on the disc this project makes.
    }
}

void applyLine(Cursor& cursor, std::string_view line, const std::vector<std::string>& t) {
    ParsedSheet& sheet = cursor.sheet;
    const std::string keyword = upper(t[0]);
    ParsedTrack* track = cursor.current();
    if (keyword == "FILE" && t.size() >= 2) {
        if (auto spaced = unquotedFileWithBlanks(line, t))
            sheet.files.push_back(std::move(*spaced));
        else
            sheet.files.push_back({t[1], t.size() >= 3 ? upper(t[2]) : "WAVE"});
    } else if (keyword == "TRACK") {
        applyTrack(cursor, t);
    } else if (keyword == "CATALOG" && t.size() >= 2) {
        sheet.mcn = t[1];
    } else if ((keyword == "TITLE" || keyword == "PERFORMER" || keyword == "SONGWRITER") && t.size() >= 2) {
        applyText(cursor, keyword, t[1]);
    } else if (keyword == "ISRC" && t.size() >= 2 && track) {
        track->isrc = t[1];
    } else if (keyword == "FLAGS" && track) {
        applyFlags(*track, t);
    } else if (keyword == "INDEX" && t.size() >= 3 && track) {
        applyIndex(*track, t, sheet.files.size());
    } else if ((keyword == "PREGAP" || keyword == "POSTGAP") && t.size() >= 2 && track) {
        if (const auto time = parseTime(t[1]))
            (keyword == "PREGAP" ? track->pregapFrames : track->postgapFrames) = *time;
    }
    // REM, CDTEXTFILE and anything unknown are ignored.
}

} // namespace

std::optional<std::string> decodeText(std::string_view bytes) {
    std::optional<std::string> text;
    if (bytes.starts_with("\xEF\xBB\xBF")) {
        bytes.remove_prefix(3);
        text = isUTF8(bytes) ? std::string(bytes) : latin1ToUTF8(bytes);
    } else if (bytes.starts_with("\xFF\xFE")) {
        text = utf16ToUTF8(bytes.substr(2), false);
    } else if (bytes.starts_with("\xFE\xFF")) {
        text = utf16ToUTF8(bytes.substr(2), true);
    } else {
        text = isUTF8(bytes) ? std::string(bytes) : latin1ToUTF8(bytes);
    }
    // A NUL is no character of a sheet: this is a binary file, or UTF-16 without its mark.
    if (text && text->find('\0') != std::string::npos)
        return std::nullopt;
    return text;
}

std::vector<std::string> tokens(std::string_view line) {
    std::vector<std::string> out;
    std::string current;
    bool quoted = false;
    for (const char c : line) {
        if (c == '"') {
            quoted = !quoted;
        } else if (!quoted && (c == ' ' || c == '\t')) {
            if (!current.empty())
                out.push_back(std::move(current));
            current.clear();
        } else {
            current.push_back(c);
        }
    }
    if (!current.empty())
        out.push_back(std::move(current));
    return out;
}

std::optional<std::int64_t> parseTime(std::string_view text) {
    std::vector<std::int64_t> fields;
    std::size_t from = 0;
    while (from <= text.size()) {
        const std::size_t colon = std::min(text.find(':', from), text.size());
        const std::string_view piece = text.substr(from, colon - from);
        // Only unsigned fields read: a negative time is no place on a disc.
        if (!piece.empty() && piece.front() != '-' && piece.front() != '+')
            if (const auto value = integer(piece))
                fields.push_back(*value);
        from = colon + 1;
    }
    if (fields.size() != 3)
        return std::nullopt;
    const std::int64_t limit = kMaxTimeFrames;
    if (fields[0] > limit || fields[1] > limit || fields[2] > limit)
        return std::nullopt;
    const std::int64_t frames = (fields[0] * 60 + fields[1]) * 75 + fields[2];
    if (frames > limit)
        return std::nullopt;
    return frames;
}

ParsedSheet parse(std::string_view text) {
    ParsedSheet sheet;
    Cursor cursor{sheet};
    std::size_t from = 0;
    while (from < text.size()) {
        const std::size_t end = std::min(text.find_first_of("\r\n", from), text.size());
        const std::string_view line = trimmedLine(text.substr(from, end - from));
        // "\r\n" is one line end; a lone "\r" or "\n" is one too.
        from = end + (text.substr(end).starts_with("\r\n") ? 2 : 1);
        const std::vector<std::string> t = tokens(line);
        if (!t.empty())
            applyLine(cursor, line, t);
    }
    return sheet;
}

} // namespace orvane::CUEImporter
