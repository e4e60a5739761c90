// The commands of WorkspaceState over several tracks at once: CD-Text and flags, ISRC numbering
// and fill-down.

#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <cctype>

namespace orvane {

namespace {

bool isUpper(char c) {
    return c >= 'A' && c <= 'Z';
}
bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

// The CD-Text field of a track by its name; nullptr for a name that isn't one of these.
std::optional<std::string>* cdTextField(CDTrack& track, std::string_view field, bool withMessage) {
    if (field == "performer") {
        return &track.performer;
    }
    if (field == "songwriter") {
        return &track.songwriter;
    }
    if (field == "composer") {
        return &track.composer;
    }
    if (field == "arranger") {
        return &track.arranger;
    }
    if (withMessage && field == "message") {
        return &track.message;
    }
    return nullptr;
}

} // namespace

bool WorkspaceState::isValidISRC(std::string_view text) {
    if (text.size() != 12) {
        return false;
    }
    return isUpper(text[0]) && isUpper(text[1]) &&
           std::all_of(text.begin() + 2, text.begin() + 5, [](char c) { return isUpper(c) || isDigit(c); }) &&
           std::all_of(text.begin() + 5, text.end(), isDigit);
}

void WorkspaceState::autofillISRC(const std::string& code) {
    std::size_t digits = 0;
    while (digits < 5 && digits < code.size() && isDigit(code[code.size() - 1 - digits])) {
        ++digits;
    }
    if (digits == 0) {
        return;
    }
    const std::string prefix = code.substr(0, code.size() - digits);
    const std::int64_t value = std::stoll(code.substr(code.size() - digits)); // at most 5 digits
    CDProject numbered = project_;
    for (std::size_t k = 1; k < numbered.tracks.size(); ++k) {
        std::string number = std::to_string(value + static_cast<std::int64_t>(k));
        if (number.size() < digits) {
            number.insert(0, digits - number.size(), '0');
        }
        // A number that outgrows its width lengthens the code; the cut then drops its last digit.
        std::string isrc = prefix + number;
        if (isrc.size() >= 13) {
            isrc.resize(12);
        }
        numbered.tracks[k].isrc = std::move(isrc);
    }
    withUndoGroup([&] { setProject(std::move(numbered)); });
}

void WorkspaceState::autofillField(std::string_view field, const std::string& value) {
    CDProject filled = project_;
    for (std::size_t k = 1; k < filled.tracks.size(); ++k) {
        if (auto* slot = cdTextField(filled.tracks[k], field, false)) {
            *slot = value;
        }
    }
    withUndoGroup([&] { setProject(std::move(filled)); });
}

void WorkspaceState::bulkSetCDTextField(std::string_view field, const std::vector<Uuid>& trackIDs,
                                        const std::string& value) {
    CDProject edited = project_;
    for (const Uuid& id : trackIDs) {
        if (const auto index = edited.indexOfTrack(id)) {
            if (auto* slot = cdTextField(edited.tracks[*index], field, true)) {
                *slot = value;
            }
        }
    }
    withUndoGroup([&] { setProject(std::move(edited)); });
}

void WorkspaceState::bulkSetPreEmphasis(const std::vector<Uuid>& trackIDs, bool on) {
    CDProject edited = project_;
    bool changed = false;
    for (const Uuid& id : trackIDs) {
        const auto index = edited.indexOfTrack(id);
        if (index && edited.tracks[*index].preEmphasis != on) {
            edited.tracks[*index].preEmphasis = on;
            changed = true;
        }
    }
    if (!changed) {
        return;
    }
    withUndoGroup([&] { setProject(std::move(edited)); });
    recalculateTimeline(ReloadPlayback::yes); // monitoring follows the de-emphasis switch
}

void WorkspaceState::bulkSetCopyPermitted(const std::vector<Uuid>& trackIDs, bool on) {
    CDProject edited = project_;
    bool changed = false;
    for (const Uuid& id : trackIDs) {
        const auto index = edited.indexOfTrack(id);
        if (index && edited.tracks[*index].copyPermitted != on) {
            edited.tracks[*index].copyPermitted = on;
            changed = true;
        }
    }
    if (changed) {
        withUndoGroup([&] { setProject(std::move(edited)); });
    }
}

void WorkspaceState::updateTrackPreEmphasis(const Uuid& trackID, bool on) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || project_.tracks[*index].preEmphasis == on) {
        return;
    }
    CDProject edited = project_;
    edited.tracks[*index].preEmphasis = on;
    setProject(std::move(edited));
    // The flag switches de-emphasis in monitoring at once; the layout is untouched.
    playback_->updateProjectAndPositions(displayProject(), displayPositions());
    playback_->reflectEditDuringPlayback();
}

void WorkspaceState::setTrackDither(const Uuid& trackID, bool on) {
    const auto index = project_.indexOfTrack(trackID);
    if (!index || project_.tracks[*index].ditherEnabled == on) {
        return;
    }
    CDProject edited = project_;
    edited.tracks[*index].ditherEnabled = on;
    // Only the delivered render dithers; monitoring and the layout are untouched.
    setProject(std::move(edited));
}

} // namespace orvane
