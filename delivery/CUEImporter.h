#pragma once
// Turns a CUE sheet into a project. A sheet with one audio file a track points the project at those
// files; a sheet over one disc image has the image cut at the sheet's positions into one WAV file a
// track ("Track01.wav" ...). The text decoding and the parser are pure and never fail (what they
// cannot use they skip); importCUE reads and writes files. Any thread (the import runs on a
// background queue; `progress` is called on the caller's thread).

#include "delivery/CUEImportError.h"
#include "model/CDProject.h"

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <tl/expected.hpp>
#include <vector>

namespace orvane {

// One FILE line: the name as written and its type word in upper case ("WAVE" when none was given).
struct CUEFile {
    std::string name;
    std::string type;
    bool operator==(const CUEFile&) const = default;
};

// One TRACK of the sheet. Times are CD frames from the start of the file in force when they were read.
struct ParsedTrack {
    std::int64_t number = 0;   // as written in the sheet
    std::size_t fileIndex = 0; // the FILE in force at the TRACK line
    std::optional<std::string> title;
    std::optional<std::string> performer;
    std::optional<std::string> songwriter;
    std::optional<std::string> isrc; // as written
    std::optional<std::int64_t> index00;
    std::optional<std::int64_t> index01;
    // The FILE in force at the INDEX 00 and INDEX 01 lines; they differ from fileIndex when a sheet
    // puts a track's gap at the end of the previous track's file.
    std::optional<std::size_t> index00FileIndex;
    std::optional<std::size_t> index01FileIndex;
    std::map<int, std::int64_t> subIndexes; // INDEX 02 to 99
    std::int64_t pregapFrames = 0;          // PREGAP: silence the player makes before INDEX 01
    std::int64_t postgapFrames = 0;         // POSTGAP: silence after the track's audio
    bool preEmphasis = false;
    bool copyPermitted = false;

    // The file the track's audio lies in: the one of its INDEX 01.
    std::size_t audioFileIndex() const { return index01FileIndex.value_or(fileIndex); }
    bool operator==(const ParsedTrack&) const = default;
};

struct ParsedSheet {
    std::string albumTitle;
    std::optional<std::string> albumPerformer;
    std::optional<std::string> albumSongwriter;
    std::string mcn; // as written
    std::vector<CUEFile> files;
    std::vector<ParsedTrack> tracks; // AUDIO tracks only, in sheet order
    // Data tracks (MODE1/2352 ...): not imported, but where one starts an audio track ends.
    std::vector<ParsedTrack> dataTracks;
    bool operator==(const ParsedSheet&) const = default;
};

namespace CUEImporter {

// Status text and fraction done (0...1); false stops the import with the cancel error.
using ImportProgress = std::function<bool(std::string_view status, double fraction)>;
// Fraction of one file done; false stops with the cancel error.
using FractionProgress = std::function<bool(double fraction)>;

// The largest sheet read; anything bigger is not a CUE sheet.
inline constexpr std::int64_t maxSheetBytes = 4 * 1024 * 1024;

// The sheet's bytes as UTF-8 text: a UTF-8 or UTF-16 (LE or BE) byte-order mark is honoured and
// dropped; bytes that are not UTF-8 are read as ISO Latin 1 (with the Windows code page's letters
// in 0x80-0x9F, where Latin 1 has only control codes). Nothing for text that cannot be a sheet: a
// NUL character or broken UTF-16.
std::optional<std::string> decodeText(std::string_view bytes);

// The tokens of one line: blanks and tabs separate them outside double quotes, the quotes are
// dropped, empty tokens are not kept ("a\"b c\"d" is the one token "ab cd").
std::vector<std::string> tokens(std::string_view line);

// "mm:ss:ff" as CD frames ((m x 60 + s) x 75 + f, no range check), or nothing unless the text has
// exactly three integer fields.
std::optional<std::int64_t> parseTime(std::string_view text);

// The sheet, from decoded text with line ends of any kind.
ParsedSheet parse(std::string_view text);

// Writes lengthFrames CD frames of an audio-file image from startFrame as a 16-bit WAV at `to`
// (made aside and renamed into place when whole). The image must be 44.1 kHz stereo; samples of a
// 16-bit image come over unchanged. Fails with the audio layer's error, cannotWrite or cancelled.
tl::expected<void, CUEImportError> extractFromWAVImage(const std::filesystem::path& image,
                                                       std::int64_t startFrame, std::int64_t lengthFrames,
                                                       const std::filesystem::path& to,
                                                       const FractionProgress& progress = {});

// Reads the sheet and builds the project. With one image, the track files are written into
// `audioDestination` (created if needed); with a file a track it is not touched, but for files of
// bare sectors (BINARY), which become WAV files there. A BINARY file that is in fact a WAV file (as
// toc2cue writes them) is read as one. Files written before a failure stay.
tl::expected<CDProject, CUEImportError> importCUE(const std::filesystem::path& cue,
                                                  const std::filesystem::path& audioDestination,
                                                  const ImportProgress& progress = {});

} // namespace CUEImporter

} // namespace orvane
