#pragma once
// The logic of the track table under the timeline: its columns, its rows (tracks, their takes when
// expanded, and on the vinyl view a header per side), the text of each cell, and the rules that stand
// in front of the workspace's operations when a cell is edited, a row clicked or rows deleted.
// Questions and alerts are returned as values for the shell to show; a yes comes back through
// answer(). Main thread only.

#include "model/CDProject.h"
#include "model/ProjectEnums.h"
#include "model/TrackPosition.h"
#include "model/TrackVersion.h"
#include "model/Uuid.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

namespace orvane {

class WorkspaceState;

struct TableColumn {
    std::string_view identifier;
    std::string_view heading;
    double width = 0.0; // starting width in points
    bool editable = false;
};

namespace TrackTable {

inline constexpr double rowHeight = 24.0;
inline constexpr std::string_view reorderPasteboardType = "Orvane.CDTrack.Reorder";
inline constexpr std::string_view notOnVinylLabel = "NOT ON VINYL";

// The 22 columns in their starting order.
const std::array<TableColumn, 22>& columns();
const TableColumn* column(std::string_view identifier);
// "Gap" for the pre-gap column on the vinyl view, else the column's own heading.
std::string_view heading(std::string_view identifier, bool vinylView);

struct TrackRow {
    std::size_t trackIndex = 0; // in the project
    CDTrack track;
    bool operator==(const TrackRow&) const = default;
};
struct VersionRow {
    std::size_t trackIndex = 0;
    CDTrack track;
    TrackVersion version;
    std::int64_t displayNumber = 0; // 1 for the first take under the track
    bool operator==(const VersionRow&) const = default;
};
struct SideHeaderRow {
    std::optional<std::size_t> sideIndex; // absent for the tracks on no side
    std::string label;
    bool operator==(const SideHeaderRow&) const = default;
};
using SpreadsheetRow = std::variant<TrackRow, VersionRow, SideHeaderRow>;

// The rows as shown: each track in running order with its takes under it when expanded; on the
// vinyl view each side's header and tracks in side order, then "NOT ON VINYL" and the rest.
std::vector<SpreadsheetRow> computeRows(const CDProject& project, const std::set<Uuid>& expanded,
                                        bool vinylView);

// What the cells show: when it differs from the last one, cells are rebuilt; anything else (the
// selection, the playhead) leaves the table alone.
struct TableCellFingerprint {
    CDProject project;
    std::vector<TrackPosition> positions;
    std::vector<std::optional<StoredLoudness>> loudness;
    std::vector<std::pair<Uuid, SRCCacheState>> src;
    bool vinylMode = false;
    std::int64_t activeSideIndex = 0;

    static TableCellFingerprint of(const WorkspaceState& ws);
    bool operator==(const TableCellFingerprint&) const = default;
};

// --- Cells ---
std::string indexText(std::size_t trackIndex);                   // "%02d" of the track's number
std::string signedCDTime(std::int64_t frames);                   // "-00:01:00" for -75
std::string measurementText(const std::optional<double>& value); // "%.1f", blank without one
// "44.1k / 16", "48k / 24": the rate over 1000 with one decimal unless whole, then the bit depth.
std::string formatLabel(double sampleRate, std::optional<int> bitDepth);
std::string flagsText(const CDTrack& track); // "PRE", "COPY", both or none
// The text of one cell of a track row; `position` is the track's place on the shown disc or side.
std::string trackCellText(const CDTrack& track, std::size_t trackIndex, const TrackPosition* position,
                          std::string_view column);

// The source format of a file, read once per file and kept.
class FormatCache final {
  public:
    struct Entry {
        std::string label; // "Unknown" for a file that can't be opened
        bool hiRes = false;
        bool needsSRC = false; // a rate other than 44,100 Hz
        bool operator==(const Entry&) const = default;
    };
    const Entry& sourceFormat(const std::filesystem::path& file);
    std::size_t size() const { return cache_.size(); }

  private:
    std::map<std::filesystem::path, Entry> cache_;
};

// --- Text edits ---
// A pre-gap typed as "m:s:f" or as decimal seconds ("1,5" too), with an optional leading "-";
// nothing for text that reads as neither.
std::optional<std::int64_t> parsePregapText(std::string_view text);

struct Alert {
    std::string title;
    std::string text;
    bool operator==(const Alert&) const = default;
};
// A yes/no question; its action runs on answer(..., yes).
struct Question {
    enum class Action { autofillField, autofillISRC, deleteTrack, deleteTracks, deleteVersion };
    std::string title;
    std::string text;
    std::string confirmButton; // "" for the platform's yes
    Action action = Action::autofillField;
    std::string field; // for autofillField
    std::string value;
    std::vector<Uuid> trackIDs;
    std::optional<Uuid> versionID;
    bool operator==(const Question&) const = default;
};
struct EditOutcome {
    bool stored = false;
    std::optional<Alert> alert;
    std::optional<Question> question;
    bool operator==(const EditOutcome&) const = default;
};

// Commits the text of an editable cell of a track. Unknown track or column: nothing stored.
EditOutcome commitEdit(WorkspaceState& ws, const Uuid& trackID, std::string_view column,
                       std::string_view text);
// The shared rules of CD-Text fields, also behind the inspector's fields.
EditOutcome commitCDTextField(WorkspaceState& ws, const Uuid& trackID, std::string_view field,
                              std::string_view text);
EditOutcome commitISRC(WorkspaceState& ws, const Uuid& trackID, std::string_view text);
// Runs the question's action when the answer is yes, in one undo step.
void answer(WorkspaceState& ws, const Question& question, bool yes);

// --- Clicks and selection ---
// Rows selected in the table (indexes into the shown rows), in the table's order.
void handleRowClick(WorkspaceState& ws, const std::vector<SpreadsheetRow>& rows,
                    const std::vector<std::size_t>& selected, std::size_t clicked);
void handleEmptyClick(WorkspaceState& ws);
// Whether a double click on this cell opens it for editing: only editable columns of track rows, not
// the pre-gap of the first track or of a crossfaded one (nor on the vinyl view a track without a gap).
bool cellOpensForEditing(const SpreadsheetRow& row, std::string_view column, bool vinylView,
                         const std::optional<std::int64_t>& vinylGapFrames = std::nullopt);
// A double click elsewhere on a row: the transport locates to the track's INDEX 01 and plays.
void playFromRow(WorkspaceState& ws, const SpreadsheetRow& row);
std::vector<Uuid> selectedTrackIDsForBulk(const std::vector<SpreadsheetRow>& rows,
                                          const std::vector<std::size_t>& selected);

// --- Delete ---
// The question for the delete key over the selected rows; nothing when no row can be deleted.
std::optional<Question> deleteQuestion(const std::vector<SpreadsheetRow>& rows,
                                       const std::vector<std::size_t>& selected);

// --- Several rows ---
// Clears a flag on all when every one has it, else sets it on all.
bool multiToggleTarget(const std::vector<bool>& flags);
// "Performer… for 3 tracks".
std::string multiFieldMenuTitle(std::string_view field, std::size_t count);
std::string multiFieldPrompt(std::string_view field);

// --- Reorder ---
// A drop of the dragged rows between rows on the disc view: the dragged tracks move, in running
// order, to stand before the track of row `dropRow` (rows.size() is the end). One undo step.
// Returns false when nothing movable was dragged.
bool acceptDrop(WorkspaceState& ws, const std::vector<SpreadsheetRow>& rows,
                const std::vector<std::size_t>& dragged, std::size_t dropRow);

// The selected rows a drag carries: only track rows move, takes stay under their track.
std::vector<std::size_t> draggableRows(const std::vector<SpreadsheetRow>& rows,
                                       const std::vector<std::size_t>& selected);
// Whether the dragged rows may land before row `dropRow` on the disc view: not between a track and
// its open takes, and not where the running order would come out the same.
bool validateDrop(const std::vector<SpreadsheetRow>& rows, const std::vector<std::size_t>& dragged,
                  std::size_t dropRow);
// Where audio files dropped before row `dropRow` enter the running order; nothing inside a track's
// open takes.
std::optional<std::size_t> fileDropIndex(const std::vector<SpreadsheetRow>& rows, std::size_t dropRow,
                                         std::size_t trackCount);
// Adds the files at that place as one undo step; false when the place refuses them.
bool acceptFileDrop(WorkspaceState& ws, const std::vector<SpreadsheetRow>& rows,
                    const std::vector<std::filesystem::path>& files, std::size_t dropRow);

// --- Several rows ---
// The CD-Text fields a bulk edit writes, in menu order.
inline constexpr std::array<std::string_view, 5> bulkFields{"performer", "songwriter", "composer", "arranger",
                                                            "message"};
enum class FlagState { off, on, mixed };
FlagState flagState(const std::vector<bool>& flags);
struct BulkMenu {
    std::vector<std::string> fieldTitles; // one for each of bulkFields
    FlagState preEmphasis = FlagState::off;
    FlagState copyPermitted = FlagState::off;
    bool operator==(const BulkMenu&) const = default;
};
BulkMenu multiSelectionMenu(const CDProject& project, const std::vector<Uuid>& trackIDs);
// Each one undo step; unknown IDs are passed over.
void multiSetCDTextField(WorkspaceState& ws, std::string_view field, const std::vector<Uuid>& trackIDs,
                         std::string_view value);
void multiTogglePreEmphasis(WorkspaceState& ws, const std::vector<Uuid>& trackIDs);
void multiToggleCopyPermitted(WorkspaceState& ws, const std::vector<Uuid>& trackIDs);

// --- The SRC cell ---
// The pop-up of a track or take row: the converters with the row's own (or the disc's) choice, and
// the phases; usable only in hybrid mode, the phase only for a converter that offers one.
struct SRCPopup {
    bool enabled = false;
    std::vector<std::string> algorithms;
    std::string algorithm;
    std::vector<std::string> phases;
    std::string phase;
    bool phaseEnabled = false;
    bool operator==(const SRCPopup&) const = default;
};
std::optional<SRCPopup> srcPopup(const SpreadsheetRow& row, const CDProject& project);
// The choices write the row's track or take; false when the pop-up is off or the value unknown.
bool chooseSRCAlgorithm(WorkspaceState& ws, const SpreadsheetRow& row, std::string_view algorithm);
bool chooseSRCPhase(WorkspaceState& ws, const SpreadsheetRow& row, std::string_view phase);
// A click on a red mark: the row's converted file is built.
void buildRowSRCCache(WorkspaceState& ws, const SpreadsheetRow& row);

// --- The LP column ---
// Where the track plays on the record: side letter and place ("A1", "B3"); "—" on no side; blank
// without a vinyl programme.
std::string lpText(const CDProject& project, const Uuid& trackID);

// --- SRC and menus ---
struct SRCMark {
    enum class Look { hidden, red, amber, green };
    Look look = Look::hidden;
    std::string tooltip;
    bool pulsing = false;
    bool clickBuilds = false; // a click builds that row's cache
    bool operator==(const SRCMark&) const = default;
};
// The state mark of a row's source: hidden for a source already at 44.1 kHz.
SRCMark srcMark(bool needsSRC, const std::optional<SRCCacheState>& state);

struct MenuItem {
    std::string title; // "" for a separator
    std::vector<std::string> submenu;
    bool operator==(const MenuItem&) const = default;
};
// The context menu of the row under the pointer; `otherSides` are the labels of the sides the track
// may move to on the vinyl view.
std::vector<MenuItem> contextMenu(const SpreadsheetRow& row, bool srcHybrid, bool vinylView,
                                  const std::vector<std::string>& otherSides);

// Which columns are shown. Entering the vinyl view keeps the disc view's choice and hides the
// CD-only columns; leaving it puts the choice back.
class ColumnVisibility final {
  public:
    ColumnVisibility();
    bool isShown(std::string_view identifier) const;
    void toggle(std::string_view identifier);
    void applyVinyl(bool vinyl);

  private:
    std::map<std::string, bool, std::less<>> shown_;
    std::optional<std::map<std::string, bool, std::less<>>> saved_;
};

} // namespace TrackTable

} // namespace orvane
