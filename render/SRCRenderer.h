#pragma once
// Converts one whole source file to one target rate with a chosen algorithm and keeps the result in a
// persistent disk cache, which is all delivery ever reads a non-44.1 kHz source from. The cache has no
// index: a file under its key's name is a complete entry, since entries are written under a private
// ".tmp-" name and moved into place only when whole. All functions may be called from any thread, also
// at the same time for the same entry (double work, one result); the needsSRC memo is locked.

#include "model/CDProject.h"
#include "model/CDTrack.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane {

enum class SRCRenderErrorCode {
    openFailed,      // the source could not be opened
    readFailed,      // the source stopped with a read error
    writeFailed,     // the entry could not be created, written or moved into place
    converterFailed, // a converter reported an error after its flush
};

// Thrown by renderCache and resolve; the message is the user's text.
struct SRCRenderError {
    std::string domain = "SRCRenderer";
    SRCRenderErrorCode code = SRCRenderErrorCode::writeFailed;
    std::string message;
};

// What the table's indicator needs of a source.
struct SRCStatus {
    bool needsSRC = false;
    bool cached = false; // the entry for 44100 Hz exists
    bool operator==(const SRCStatus&) const = default;
};

namespace SRCRenderer {

inline constexpr int diskSampleRate = 44100;
inline constexpr std::string_view tmpPrefix = ".tmp-";

// The cache folder: $XDG_CACHE_HOME, else ~/.cache, else the temporary folder, plus
// "orvane/orvane-src-cache"; or the override's folder. Made on first use; a failure to make it is ignored.
std::filesystem::path cacheDirectory();
// Replaces the cache folder (tests, or a host with its own caches place); nothing restores the default.
void overrideCacheDirectory(std::optional<std::filesystem::path> folder);

// The entry's file name: stem-algorithm-phase-modificationSeconds-sourceRate[-to<target>].wav, the stem
// with every non-alphanumeric character as "_", blanks in algorithm and phase as "_", and "-r2" after
// "Meridon Reference".
std::string cacheFileName(const std::filesystem::path& source, std::string_view algorithm,
                          std::string_view phase, std::int64_t modificationSeconds, int sourceRate,
                          int targetRate);
// The entry's path for a source as it is now on disk (its modification second, 0 if unreadable).
std::filesystem::path cacheURL(const std::filesystem::path& source, int sourceRate, int targetRate,
                               std::string_view algorithm, std::string_view phase);
// Whole seconds since 1970 of the file's last modification; 0 if its attributes cannot be read.
std::int64_t modificationSeconds(const std::filesystem::path& file);

// The track's own algorithm and phase where present, else the master's.
std::string effectiveAlgorithm(const std::optional<std::string>& own, std::string_view masterSRC);
std::string effectivePhase(const std::optional<std::string>& own, std::string_view masterPhase);

// True if the file's rate, rounded, is not 44100. An unreadable file gives false, not remembered.
bool needsSRC(const std::filesystem::path& source);
SRCStatus srcStatus(const std::filesystem::path& source, std::string_view algorithm, std::string_view phase);

// What playback and the table open for a track: its 44100 Hz entry if the source needs one and it exists,
// else the source; nothing if the track has no file. Never renders.
std::optional<std::filesystem::path> playbackURL(const CDTrack& track, std::string_view masterSRC,
                                                 std::string_view masterPhase);
// The same for a file: what peak and spectrum readers should open.
std::filesystem::path waveformURL(const std::filesystem::path& source, std::string_view algorithm,
                                  std::string_view phase);

// Renders the 44100 Hz entry if the source needs one and it is missing; true only if it rendered now.
// Errors are swallowed (false): the indicator shows the entry as missing at its next refresh.
bool ensureCache(const std::filesystem::path& source, std::string_view algorithm, std::string_view phase);

// For export: the file to read the track's audio at targetSR from. Nothing without a file; the source
// itself if it cannot be opened (the reader then fails and names it) or is already at targetSR; else the
// entry, rendered now if missing. Throws SRCRenderError.
std::optional<std::filesystem::path> resolve(const CDTrack& track, int targetSR, std::string_view masterSRC,
                                             std::string_view masterPhase);

// Converts the source into its entry and returns the entry's path, at once if it exists. An unknown
// algorithm converts as "Velmont SRC" under its own name; "Minimum" selects minimum phase where offered.
// Channels convert in parallel. Throws SRCRenderError and leaves no temporary file behind.
std::filesystem::path renderCache(const std::filesystem::path& source, double sourceSR, int targetSR,
                                  std::string_view algorithm, std::string_view phase);

// True if any track's active file needs SRC; versions are not looked at.
bool projectNeedsSRC(const CDProject& project);
// The sum of the sizes of the folder's direct children, temporary files included; 0 if it cannot be listed.
std::uint64_t cacheSizeBytes();
// Deletes the folder with everything in it and makes it anew; failures are ignored.
void clearCache();
// Keeps the 44100 Hz entries of the active tracks under their effective settings and deletes every other
// file in the folder, temporary files included; failures are ignored.
void clearVersionCaches(const CDProject& project, std::string_view masterSRC, std::string_view masterPhase);

} // namespace SRCRenderer
} // namespace orvane
