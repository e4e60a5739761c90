// orvane-cli pq: a document's PQ sheet, as "PQSheet.pdf" and "PQSheet.csv" in a folder.

#include "cli/Commands.h"
#include "cli/ProjectLoudness.h"
#include "delivery/PQSheetBuilder.h"
#include "model/TimelineCalculator.h"
#include "workspace/ProjectStore.h"

#include <cstdio>
#include <filesystem>
#include <sstream>
#include <string>
#include <system_error>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli pq PROJECT OUTDIR [OPTIONS]

Writes the PQ sheet of a project document into OUTDIR (made if missing): "PQSheet.pdf", A4 pages
with the disc's tracks, timing, ISRCs and flags, and "PQSheet.csv" with the same columns.

  --client TEXT     head line "Client"
  --engineer TEXT   head line "Engineer"
  --date TEXT       the date at the top right (default: today)
  --columns LIST    extra columns, comma-separated: performer, note, flags, end, lufs, dbtp
  --no-total        leave out the lead-out and total lines
  --landscape       turn the page
  --no-autofit      keep full column widths when the table is wider than the page

The loudness columns show a track's stored measurement while it still matches its file, else "—";
the head's "Loudness" line the album's, when every track has one (see orvane-cli loudness).

exit status: 0 written, 1 the document could not be read, laid out or written, 2 usage error
)";

int usage(const std::string& problem) {
    std::fprintf(stderr, "orvane-cli pq: %s\n%s", problem.c_str(), kHelp);
    return 2;
}

// Turns on the named columns; false for a name it does not know.
bool addColumns(const std::string& list, PQSheetModel& model) {
    std::stringstream names(list);
    std::string name;
    while (std::getline(names, name, ',')) {
        if (name == "performer")
            model.colPerformer = true;
        else if (name == "note")
            model.colNote = true;
        else if (name == "flags")
            model.colFlags = true;
        else if (name == "end")
            model.colEnd = true;
        else if (name == "lufs")
            model.colLUFS = true;
        else if (name == "dbtp")
            model.colTP = true;
        else
            return false;
    }
    return true;
}

struct PqArgs {
    std::string project;
    std::string outDir;
    PQSheetModel model;
};

// Reads the arguments into `parsed`; the text of a usage problem otherwise.
std::optional<std::string> parseArgs(Args args, PqArgs& parsed) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        auto value = [&]() -> std::optional<std::string> {
            return i + 1 < args.size() ? std::optional<std::string>(args[++i]) : std::nullopt;
        };
        if (a == "--client" || a == "--engineer" || a == "--date" || a == "--columns") {
            const auto text = value();
            if (!text)
                return "'" + a + "' needs a value";
            if (a == "--client")
                parsed.model.client = *text;
            else if (a == "--engineer")
                parsed.model.engineer = *text;
            else if (a == "--date")
                parsed.model.dateString = *text;
            else if (!addColumns(*text, parsed.model))
                return "unknown column in '" + *text + "'";
        } else if (a == "--no-total") {
            parsed.model.includeTotal = false;
        } else if (a == "--landscape") {
            parsed.model.landscape = true;
        } else if (a == "--no-autofit") {
            parsed.model.autoFit = false;
        } else if (!a.empty() && a[0] == '-') {
            return "unknown option '" + a + "'";
        } else if (parsed.project.empty()) {
            parsed.project = a;
        } else if (parsed.outDir.empty()) {
            parsed.outDir = a;
        } else {
            return "too many arguments";
        }
    }
    if (parsed.outDir.empty())
        return "a project and an output folder are needed";
    return std::nullopt;
}

tl::expected<void, std::string> writePQSheet(const CDProject& project, const std::filesystem::path& folder,
                                             const PQSheetModel& model) {
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions)
        return tl::unexpected("The disc cannot be laid out: " + positions.error().description() + ".");
    const ProjectLoudness loudness = storedProjectLoudness(project);
    return PQSheetBuilder::writeFiles(folder, project, *positions, model, loudness.perTrack, loudness.album);
}

} // namespace

int runPq(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    PqArgs parsed;
    if (const auto problem = parseArgs(args, parsed))
        return usage(*problem);

    CDProject project;
    try {
        project = ProjectStore::load(parsed.project).project;
    } catch (const ProjectStoreError& error) {
        std::fprintf(stderr, "orvane-cli pq: %s\n", error.what());
        return 1;
    }
    std::error_code made;
    std::filesystem::create_directories(parsed.outDir, made);
    if (made) {
        std::fprintf(stderr, "orvane-cli pq: could not make the folder \"%s\": %s\n", parsed.outDir.c_str(),
                     made.message().c_str());
        return 1;
    }
    if (const auto written = writePQSheet(project, parsed.outDir, parsed.model); !written) {
        std::fprintf(stderr, "orvane-cli pq: %s\n", written.error().c_str());
        return 1;
    }
    std::printf("wrote %s and %s in %s\n", PQSheetBuilder::pdfFileName.data(),
                PQSheetBuilder::csvFileName.data(), parsed.outDir.c_str());
    return 0;
}

} // namespace orvane::cli
