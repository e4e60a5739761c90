#pragma once
// The whole authored state of a disc as a plain value: a copy is a snapshot, and two projects
// are equal exactly when every field is. Undo and the modified flag rest on that.

#include "model/CDTrack.h"
#include "model/VinylProgram.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace orvane {

struct CDProject {
    std::string mcn; // EAN-13, "" when none
    std::string albumTitle;
    std::vector<CDTrack> tracks;
    std::optional<std::string> albumPerformer;
    std::optional<std::string> albumSongwriter;
    std::optional<std::string> albumComposer;
    std::optional<std::string> albumArranger;
    std::optional<std::string> albumMessage;
    std::optional<std::string> masterNote;
    std::optional<std::string> discID;
    std::optional<std::int64_t> genreCode;
    std::optional<std::string> genreText;
    std::optional<std::int64_t> cdTextLanguageCode; // absent reads as 9, English
    std::optional<std::string> masterID;
    std::optional<std::int64_t> cdTextLanguage2Code; // absent: no second block
    std::optional<std::string> albumTitleLang2;
    std::optional<std::string> albumPerformerLang2;
    std::optional<std::string> albumSongwriterLang2;
    std::optional<std::string> albumComposerLang2;
    std::optional<std::string> albumArrangerLang2;
    std::optional<std::string> albumMessageLang2;
    std::optional<std::string> masterSRC;
    std::optional<std::string> masterDither;
    std::optional<std::string> masterSRCPhase;
    std::optional<bool> srcHybridMode;
    std::optional<VinylProgram> vinylProgram;

    std::string effectiveMasterSRC() const;      // "Velmont SRC" when absent
    std::string effectiveMasterDither() const;   // "TPDF" when absent
    std::string effectiveMasterSRCPhase() const; // "Linear" when absent
    bool isSRCHybrid() const { return srcHybridMode.value_or(false); }

    // Index of the track with this id, or nothing.
    std::optional<std::size_t> indexOfTrack(const Uuid& id) const;

    bool operator==(const CDProject&) const = default;
};

} // namespace orvane
