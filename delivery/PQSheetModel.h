#pragma once
// The user's choices for the PQ sheet: the head lines, which columns appear, and the page layout.
// Not stored in the project; a sheet panel keeps one, and an export uses a fresh one with the
// defaults. Pure value; any thread (the panel's copy lives on the main thread).

#include <ctime>
#include <string>

namespace orvane {

struct PQSheetModel {
    std::string client;                       // head line "Client"
    std::string engineer;                     // head line "Engineer"
    std::string dateString = todayDateText(); // printed at the top right
    bool colTitle = true;
    bool colPerformer = false;
    bool colISRC = true;
    bool colPregap = true;
    bool colStart = true;
    bool colDuration = true; // column LENGTH
    bool colEnd = false;
    bool colNote = false;
    bool colLUFS = false;
    bool colTP = false; // column dBTP
    bool colFlags = false;
    bool includeTotal = true; // the lead-out and total lines
    bool landscape = false;
    bool autoFit = true; // shrink a table wider than the page

    // A date in the medium style of the local calendar, e.g. "Nov 3, 2026".
    static std::string mediumDateText(const std::tm& date);
    // Today's date in the medium style, in local time.
    static std::string todayDateText();

    bool operator==(const PQSheetModel&) const = default;
};

} // namespace orvane
