// orvane-cli tracks: the project's disc as one WAV or AIFF file a track, cut from the master render.

#include "cli/CommandVoice.h"
#include "cli/Commands.h"
#include "cli/DeliveryInput.h"
#include "cli/ImportJob.h"
#include "cli/ProgressPrinter.h"
#include "delivery/AudioExporter.h"

#include <cstdio>
#include <filesystem>
#include <string>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli tracks PROJECT OUTDIR [--aiff]

Renders the project's disc and writes one file a track into OUTDIR (made if missing), named
"NN Title.wav" (or ".aif"): each holds the disc from the track's INDEX 01 to its end, bit for bit
as in the DDP image, 44.1 kHz 16-bit stereo. The files are made in a hidden folder inside OUTDIR
and moved into place at the end, replacing files of the same names; a failed or interrupted
export (Ctrl-C) leaves OUTDIR as it was apart from files already moved.

  --aiff  AIFF files instead of WAV

Progress shows as a bar when stderr is a terminal and as plain lines otherwise.

exit status: 0 done, 1 the project could not be read or the export failed, 2 usage error,
130 interrupted
)";

const CommandVoice voice{"orvane-cli tracks", kHelp};

} // namespace

int runTracks(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::string projectPath;
    std::string outDir;
    auto format = AudioExporter::Format::wav;
    for (const std::string& a : args) {
        if (a == "--aiff")
            format = AudioExporter::Format::aiff;
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
    const auto input = loadLaidOutProject(projectPath);
    if (!input)
        return voice.fail(input.error());

    const std::filesystem::path folder = absoluteNormal(outDir);
    const std::string remains = folder.string() + " left as it was";
    return runDeliveryJob(voice, stderr, remains, [&](ProgressPrinter& printer) {
        const std::size_t count =
            AudioExporter::exportTrackFiles(input->project, input->positions, folder, format, [&](double f) {
                return printer(f, f < 0.7 ? "Rendering disc\u2026" : "Writing track files\u2026");
            });
        printer.finish();
        std::printf("%zu track%s exported to:\n%s\n", count, count == 1 ? "" : "s", folder.c_str());
        return 0;
    });
}

} // namespace orvane::cli
