// orvane-cli cue: CUE sheets to and from project documents. "import" reads a sheet (a file a track,
// or one image cut into track files) into a document; "export" renders the disc as one WAV image
// with its sheet.

#include "cli/CommandVoice.h"
#include "cli/Commands.h"
#include "cli/DeliveryInput.h"
#include "cli/ImportJob.h"
#include "cli/ProgressPrinter.h"
#include "delivery/CUEExporter.h"
#include "delivery/CUEImporter.h"
#include "delivery/DDPReader.h"

#include <array>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* kHelp = R"(usage: orvane-cli cue SUBCOMMAND [ARGS...]

subcommands:
  import SHEET -o PROJECT.ovproj [--audio-dir AUDIODIR]
      Reads a CUE sheet into a project document: titles, performers, songwriters, ISRCs, the
      catalogue number, pre-gaps, INDEX points and the PRE and DCP flags. With one audio file a
      track the project points at those files; with one image for the whole disc (WAV or any
      44.1 kHz stereo audio file, or raw BINARY sectors) the image is cut at the sheet's INDEX 01
      points into "Track01.wav" ... in AUDIODIR (default: "<SHEET's name> Audio" beside PROJECT,
      numbered if taken). The files are made aside and moved into place only when all are whole;
      a failed or interrupted import leaves nothing. Names in the sheet are relative to its folder.

  export PROJECT OUT.cue
      Renders the project's disc and writes it as one WAV image ("OUT.wav", beside the sheet) and
      the CUE sheet OUT.cue, whose INDEX points are the DDP fileset's PQ points. The folder is
      made if missing; a failed or interrupted export (Ctrl-C) leaves neither file behind.

Progress shows as a bar when stderr is a terminal and as plain lines otherwise.

exit status: 0 done, 1 the input could not be read or the job failed, 2 usage error, 130 interrupted
)";

const CommandVoice voice{"orvane-cli cue", kHelp};
const CommandVoice exportVoice{"orvane-cli cue export", kHelp};
const CommandVoice importVoice{"orvane-cli cue import", kHelp};

int runImport(Args args) {
    std::string sheet;
    std::string projectPath;
    std::optional<std::string> audioDir;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-o" || a == "--audio-dir") {
            if (i + 1 >= args.size())
                return voice.usage(a + " needs a value");
            (a == "-o" ? projectPath : audioDir.emplace()) = args[++i];
        } else if (!a.empty() && a[0] == '-') {
            return voice.usage("unknown option '" + a + "'");
        } else if (sheet.empty()) {
            sheet = a;
        } else {
            return voice.usage("one sheet at a time");
        }
    }
    if (sheet.empty() || projectPath.empty())
        return voice.usage(sheet.empty() ? "a CUE sheet is needed" : "no output document (-o)");

    const fs::path cue = absoluteNormal(sheet);
    const fs::path project = absoluteNormal(projectPath);
    const fs::path audio = audioDir ? absoluteNormal(*audioDir)
                                    : DDPReader::freeAudioFolder(project.parent_path(), cue.stem().string());
    tl::expected<ImportedDocument, ImportFailure> result;
    {
        const InterruptScope catchInterrupt;
        ProgressPrinter printer(stderr);
        printer(0.0, "Reading CUE sheet\u2026");
        result = importIntoDocument(
            project, audio, ".orvane-cue-import-partial-",
            [&](const fs::path& staging) -> tl::expected<CDProject, ImportFailure> {
                auto imported = CUEImporter::importCUE(
                    cue, staging, [&](std::string_view status, double f) { return printer(f, status); });
                if (!imported)
                    return tl::unexpected(
                        ImportFailure{imported.error().isCancel(),
                                      imported.error().isCancel() ? "" : imported.error().message()});
                return std::move(*imported);
            });
        printer.finish();
    }
    if (!result && result.error().cancelled) {
        std::fprintf(stderr, "orvane-cli cue import: interrupted; nothing was written\n");
        return 130;
    }
    if (!result)
        return importVoice.fail(result.error().message);
    std::printf("Imported %zu tracks\nproject: %s\n", result->project.tracks.size(),
                result->projectPath.c_str());
    if (!result->audioDir.empty())
        std::printf("audio:   %s\n", result->audioDir.c_str());
    return 0;
}

int runExport(Args args) {
    std::string projectPath;
    std::string cuePath;
    for (const std::string& a : args) {
        if (!a.empty() && a[0] == '-')
            return voice.usage("unknown option '" + a + "'");
        if (projectPath.empty())
            projectPath = a;
        else if (cuePath.empty())
            cuePath = a;
        else
            return voice.usage("too many arguments");
    }
    if (cuePath.empty())
        return voice.usage("a project and the sheet to write are needed");
    const auto input = loadLaidOutProject(projectPath);
    if (!input)
        return exportVoice.fail(input.error());
    const fs::path cue = absoluteNormal(cuePath);
    std::error_code ec;
    fs::create_directories(cue.parent_path(), ec);
    if (ec)
        return exportVoice.fail("Could not create " + cue.parent_path().string() + ": " + ec.message() + ".");

    return runDeliveryJob(exportVoice, stderr, "", [&](ProgressPrinter& printer) {
        CUEExporter::exportCUE(input->project, input->positions, cue, [&](double f) {
            return printer(f, f < 0.6 ? "Rendering disc\u2026" : "Writing WAV image\u2026");
        });
        printer.finish();
        std::printf("CUE sheet and WAV image written to:\n%s\n", cue.c_str());
        return 0;
    });
}

struct Subcommand {
    std::string_view name;
    int (*run)(Args args);
};

constexpr std::array kSubcommands{
    Subcommand{"import", runImport},
    Subcommand{"export", runExport},
};

} // namespace

int runCue(Args args) {
    if (args.empty())
        return voice.usage("a subcommand is needed");
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    for (const auto& s : kSubcommands)
        if (s.name == args[0])
            return s.run(args.subspan(1));
    return voice.usage("unknown subcommand '" + args[0] + "'");
}

} // namespace orvane::cli
