// orvane-cli ddp: DDP filesets from and to project documents. "export" renders one, "verify"
// re-checks one on disk, "import" reads one back into a document and track files.

#include "cli/CommandVoice.h"
#include "cli/Commands.h"
#include "cli/DdpImportJob.h"
#include "cli/ProgressPrinter.h"
#include "cli/ProjectLoudness.h"
#include "delivery/DDPExport.h"
#include "delivery/DDPVerifier.h"
#include "delivery/PQSheetBuilder.h"
#include "model/TimelineCalculator.h"
#include "model/ValidationIssue.h"
#include "workspace/ProjectStore.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli ddp SUBCOMMAND [ARGS...]

subcommands:
  export PROJECT OUTDIR [--pq-sheet]
      Renders the project's disc and writes its DDP 2.00 fileset into OUTDIR (made if missing):
      DDPID, DDPMS, PQDESCR, CDTEXT.BIN when there is CD-Text, IMAGE.DAT, IMAGE.cue and
      checksum.md5. Everything is built in a hidden folder first and moved into OUTDIR only when
      whole, so a failed or interrupted export (Ctrl-C) leaves OUTDIR as it was.
      --pq-sheet  also writes "PQSheet.pdf" and "PQSheet.csv" beside the fileset

  verify DIR [--json]
      Re-checks the fileset in DIR without changing it: the required files, DDPMS sizes, frame
      alignment, the PQ lead-out, CD-Text CRCs and the MD5 sums of checksum.md5. Prints a title
      and one line per finding (errors, warnings and what passed), in the order checked.
      --json  one JSON object {"title": ..., "errors": N, "issues": [{"severity", "message"}]}

  import DIR -o PROJECT.ovproj [--audio-dir AUDIODIR] [--json]
      Reads the fileset in DIR back into a project document: PQ codes, CD-Text, MCN and ISRCs,
      and one WAV file a track ("Track01.wav" ...) cut from the image into AUDIODIR (default:
      "<DIR's name> Audio" beside PROJECT, numbered if taken). The files are made aside and
      moved into place only when all are whole; a failed or interrupted import leaves nothing.
      AUDIODIR may exist but must not already hold a track file of the same name.
      --json  one JSON object {"project", "audioDir", "tracks": [...]}

Progress shows as a bar on a terminal and as plain lines otherwise (on stderr with --json).

exit status: 0 done (verify: no errors), 1 the input could not be read, the job failed or
verify found an error, 2 usage error, 130 interrupted
)";

const CommandVoice voice{"orvane-cli ddp", kHelp};
const CommandVoice exportVoice{"orvane-cli ddp export", kHelp};
const CommandVoice importVoice{"orvane-cli ddp import", kHelp};
const CommandVoice verifyVoice{"orvane-cli ddp verify", kHelp};

int runExport(Args args) {
    std::string projectPath;
    std::string outDir;
    bool pqSheet = false;
    for (const std::string& a : args) {
        if (a == "--pq-sheet")
            pqSheet = true;
        else if (!a.empty() && a[0] == '-')
            return voice.usage("unknown option '" + a + "'");
        else if (projectPath.empty())
            projectPath = a;
        else if (outDir.empty())
            outDir = a;
        else
            return voice.usage("too many arguments");
    }
    if (outDir.empty())
        return voice.usage("a project and an output folder are needed");

    CDProject project;
    try {
        project = ProjectStore::load(projectPath).project;
    } catch (const ProjectStoreError& error) {
        return exportVoice.fail(error.what());
    }
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions)
        return exportVoice.fail("The disc cannot be laid out: " + positions.error().description() + ".");

    std::vector<Exporter::ExtraFile> extras;
    if (pqSheet) {
        const ProjectLoudness loudness = storedProjectLoudness(project);
        const auto sheet =
            PQSheetBuilder::exportFiles(project, *positions, loudness.perTrack, loudness.album);
        if (!sheet)
            return exportVoice.fail(sheet.error());
        extras.emplace_back(std::string(PQSheetBuilder::pdfFileName), sheet->pdf);
        extras.emplace_back(std::string(PQSheetBuilder::csvFileName), sheet->csv);
    }

    const std::string remains = outDir + " left as it was";
    return runDeliveryJob(exportVoice, stdout, remains, [&](ProgressPrinter& printer) {
        printer(0.0, "Preparing\u2026");
        Exporter::exportDDP(project, *positions, outDir, extras,
                            [&](double f, const std::string& text) { return printer(f, text); });
        printer.finish();
        std::printf("DDP 2.00 fileset exported to:\n%s\n", std::filesystem::absolute(outDir).c_str());
        return 0;
    });
}

int runVerify(Args args) {
    std::string folder;
    bool json = false;
    for (const std::string& a : args) {
        if (a == "--json")
            json = true;
        else if (!a.empty() && a[0] == '-')
            return voice.usage("unknown option '" + a + "'");
        else if (folder.empty())
            folder = a;
        else
            return voice.usage("one fileset at a time");
    }
    if (folder.empty())
        return voice.usage("the fileset's folder is needed");
    std::error_code ec;
    if (!std::filesystem::is_directory(folder, ec))
        return verifyVoice.fail(folder + " is not a folder.");

    std::optional<std::vector<ValidationIssue>> issues;
    {
        const InterruptScope catchInterrupt;
        ProgressPrinter printer(json ? stderr : stdout);
        printer(0.0, "Reading fileset\u2026");
        issues = DDPVerifier::verify(folder,
                                     [&](std::string_view status, double f) { return printer(f, status); });
        printer.finish();
    }
    if (!issues) {
        std::fprintf(stderr, "orvane-cli ddp verify: interrupted\n");
        return 130;
    }
    const auto errors = std::count_if(issues->begin(), issues->end(), [](const ValidationIssue& i) {
        return i.severity == ValidationIssue::Severity::error;
    });
    if (json) {
        nlohmann::ordered_json list = nlohmann::ordered_json::array();
        for (const ValidationIssue& issue : *issues)
            list.push_back({{"severity", severityName(issue.severity)}, {"message", issue.message}});
        const nlohmann::ordered_json report{
            {"title", DDPVerifier::reportTitle(*issues)}, {"errors", errors}, {"issues", list}};
        std::printf("%s\n", report.dump(2).c_str());
    } else {
        std::printf("%s\n%s\n", DDPVerifier::reportTitle(*issues).c_str(),
                    DDPVerifier::reportText(*issues).c_str());
    }
    return errors > 0 ? 1 : 0;
}

nlohmann::ordered_json importJSON(const DdpImportResult& result) {
    nlohmann::ordered_json tracks = nlohmann::ordered_json::array();
    for (std::size_t i = 0; i < result.project.tracks.size(); ++i) {
        const CDTrack& t = result.project.tracks[i];
        tracks.push_back({{"number", i + 1},
                          {"title", t.title},
                          {"isrc", t.isrc.value_or("")},
                          {"preGapFrames", t.preGap.totalFrames},
                          {"lengthFrames", t.effectiveLength().totalFrames},
                          {"file", t.audioFileURL ? t.audioFileURL->path().string() : ""}});
    }
    return {{"project", result.projectPath.string()},
            {"audioDir", result.audioDir.string()},
            {"albumTitle", result.project.albumTitle},
            {"mcn", result.project.mcn},
            {"tracks", tracks}};
}

int runImport(Args args) {
    DdpImportRequest request;
    bool json = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-o" || a == "--audio-dir") {
            if (i + 1 >= args.size())
                return voice.usage(a + " needs a value");
            if (a == "-o")
                request.projectPath = args[++i];
            else
                request.audioDir = args[++i];
        } else if (a == "--json") {
            json = true;
        } else if (!a.empty() && a[0] == '-') {
            return voice.usage("unknown option '" + a + "'");
        } else if (request.fileset.empty()) {
            request.fileset = a;
        } else {
            return voice.usage("one fileset at a time");
        }
    }
    if (request.fileset.empty() || request.projectPath.empty())
        return voice.usage(request.fileset.empty() ? "the fileset's folder is needed"
                                                   : "no output document (-o)");

    tl::expected<DdpImportResult, DdpImportFailure> result;
    {
        const InterruptScope catchInterrupt;
        ProgressPrinter printer(json ? stderr : stdout);
        printer(0.0, "Reading fileset\u2026");
        result =
            importFileset(request, [&](std::string_view status, double f) { return printer(f, status); });
        printer.finish();
    }
    if (!result && result.error().cancelled) {
        std::fprintf(stderr, "orvane-cli ddp import: interrupted; nothing was written\n");
        return 130;
    }
    if (!result)
        return importVoice.fail(result.error().message);
    if (json) {
        std::printf("%s\n", importJSON(*result).dump(2).c_str());
    } else {
        const auto positions = TimelineCalculator::calculatePositions(result->project);
        const std::int64_t discFrames = positions && !positions->empty() ? positions->back().endLBA : 0;
        std::printf("Imported %zu tracks, %s on the disc\nproject: %s\naudio:   %s\n",
                    result->project.tracks.size(), CDTime::frames(discFrames).msfString().c_str(),
                    result->projectPath.c_str(), result->audioDir.c_str());
    }
    return 0;
}

struct Subcommand {
    std::string_view name;
    int (*run)(Args args);
};

constexpr std::array kSubcommands{
    Subcommand{"export", runExport},
    Subcommand{"verify", runVerify},
    Subcommand{"import", runImport},
};

} // namespace

int runDdp(Args args) {
    if (args.empty())
        return voice.usage("a subcommand is needed");
    if (args[0] == "--help" || args[0] == "-h" || wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    for (const auto& s : kSubcommands)
        if (s.name == args[0])
            return s.run(args.subspan(1));
    return voice.usage("unknown subcommand '" + args[0] + "'");
}

} // namespace orvane::cli
