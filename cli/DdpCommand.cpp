// orvane-cli ddp: DDP filesets from project documents. "export" renders one; further subcommands
// sit in the same table.

#include "cli/Commands.h"
#include "delivery/DDPExport.h"
#include "delivery/PQSheetBuilder.h"
#include "model/TimelineCalculator.h"
#include "workspace/ProjectStore.h"

#include <unistd.h>

#include <array>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <filesystem>
#include <string>

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

exit status: 0 written, 1 the document could not be read or the export failed, 2 usage error,
130 interrupted
)";

std::atomic<bool> interrupted{false};

void onInterrupt(int) {
    interrupted = true;
}

int usage(const std::string& problem) {
    std::fprintf(stderr, "orvane-cli ddp: %s\n%s", problem.c_str(), kHelp);
    return 2;
}

int fail(const std::string& text) {
    std::fprintf(stderr, "orvane-cli ddp export: %s\n", text.c_str());
    return 1;
}

// Draws a bar on a terminal; elsewhere prints a line when the status changes or every tenth.
class ProgressPrinter final {
  public:
    ProgressPrinter() : terminal_(::isatty(STDOUT_FILENO) == 1) {}

    bool operator()(double fraction, const std::string& status) {
        const int percent = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * 100.0));
        if (terminal_) {
            if (percent != percent_ || status != status_) {
                const int filled = percent * 30 / 100;
                std::printf(
                    "\r[%s%s] %3d%% %-24s", std::string(static_cast<std::size_t>(filled), '#').c_str(),
                    std::string(static_cast<std::size_t>(30 - filled), '-').c_str(), percent, status.c_str());
                std::fflush(stdout);
            }
        } else if (status != status_ || percent / 10 != percent_ / 10) {
            std::printf("%3d%% %s\n", percent, status.c_str());
            std::fflush(stdout);
        }
        percent_ = percent;
        status_ = status;
        return !interrupted;
    }

    void finish() {
        if (terminal_ && percent_ >= 0)
            std::printf("\n");
    }

  private:
    bool terminal_;
    int percent_ = -1;
    std::string status_;
};

int runExport(Args args) {
    std::string projectPath;
    std::string outDir;
    bool pqSheet = false;
    for (const std::string& a : args) {
        if (a == "--pq-sheet")
            pqSheet = true;
        else if (!a.empty() && a[0] == '-')
            return usage("unknown option '" + a + "'");
        else if (projectPath.empty())
            projectPath = a;
        else if (outDir.empty())
            outDir = a;
        else
            return usage("too many arguments");
    }
    if (outDir.empty())
        return usage("a project and an output folder are needed");

    CDProject project;
    try {
        project = ProjectStore::load(projectPath).project;
    } catch (const ProjectStoreError& error) {
        return fail(error.what());
    }
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions)
        return fail("The disc cannot be laid out: " + positions.error().description() + ".");

    std::vector<Exporter::ExtraFile> extras;
    if (pqSheet) {
        const auto sheet = PQSheetBuilder::exportFiles(project, *positions,
                                                       PQSheetBuilder::storedLoudness(project), std::nullopt);
        if (!sheet)
            return fail(sheet.error());
        extras.emplace_back(std::string(PQSheetBuilder::pdfFileName), sheet->pdf);
        extras.emplace_back(std::string(PQSheetBuilder::csvFileName), sheet->csv);
    }

    interrupted = false;
    const auto previous = std::signal(SIGINT, onInterrupt);
    ProgressPrinter printer;
    int status = 0;
    try {
        printer(0.0, "Preparing\u2026");
        Exporter::exportDDP(project, *positions, outDir, extras,
                            [&](double f, const std::string& text) { return printer(f, text); });
        printer.finish();
        std::printf("DDP 2.00 fileset exported to:\n%s\n", std::filesystem::absolute(outDir).c_str());
    } catch (const UserCancelledError&) {
        printer.finish();
        std::fprintf(stderr, "orvane-cli ddp export: interrupted; %s left as it was\n", outDir.c_str());
        status = 130;
    } catch (const ExportError& error) {
        printer.finish();
        status = fail(error.message);
    } catch (const std::exception& error) {
        printer.finish();
        status = fail(error.what());
    }
    std::signal(SIGINT, previous);
    return status;
}

struct Subcommand {
    std::string_view name;
    int (*run)(Args args);
};

constexpr std::array kSubcommands{
    Subcommand{"export", runExport},
};

} // namespace

int runDdp(Args args) {
    if (args.empty())
        return usage("a subcommand is needed");
    if (args[0] == "--help" || args[0] == "-h" || wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    for (const auto& s : kSubcommands)
        if (s.name == args[0])
            return s.run(args.subspan(1));
    return usage("unknown subcommand '" + args[0] + "'");
}

} // namespace orvane::cli
