// orvane-cli: scripted deliveries and end-to-end checks over the same core as the desktop.

#include "cli/Commands.h"

#include <array>
#include <cstdio>
#include <string>
#include <vector>

namespace orvane::cli {

bool wantsHelp(Args args) {
    for (const auto& a : args)
        if (a == "--help" || a == "-h")
            return true;
    return false;
}

} // namespace orvane::cli

namespace {

using orvane::cli::Command;

constexpr std::array kCommands{
    Command{"layout", "print a project's disc layout", orvane::cli::runLayout},
    Command{"demo", "write a demo project with synthesised audio", orvane::cli::runDemo},
    Command{"src", "convert an audio file's sample rate; list the converters", orvane::cli::runSrc},
    Command{"pq", "write a project's PQ sheet as PDF and CSV", orvane::cli::runPq},
    Command{"new", "build a project from audio files", orvane::cli::runNew},
    Command{"validate", "run the pre-flight over a project", orvane::cli::runValidate},
    Command{"ddp", "export a project as a DDP fileset", orvane::cli::runDdp},
    Command{"cue", "import a CUE sheet; export a CUE sheet with its WAV image", orvane::cli::runCue},
    Command{"tracks", "export a project's tracks as WAV or AIFF files", orvane::cli::runTracks},
    Command{"batch", "deliver DDP, WAV tracks, preview and PQ sheet from one render", orvane::cli::runBatch},
    Command{"devices", "list the audio output devices", orvane::cli::runDevices},
    Command{"play", "play a project through the playback engine", orvane::cli::runPlay},
    Command{"loudness", "measure R128 loudness of a project's tracks or of audio files",
            orvane::cli::runLoudness},
    Command{"report", "write a project's mastering report as PDF", orvane::cli::runReport},
    Command{"imprint", "compare the tone of two audio files", orvane::cli::runImprint},
    Command{"preview", "write a client preview that plays in a browser", orvane::cli::runPreview},
};

void printUsage(std::FILE* to) {
    std::fprintf(to, "usage: orvane-cli COMMAND [ARGS...]\n\ncommands:\n");
    for (const auto& c : kCommands)
        std::fprintf(to, "  %-10.*s %.*s\n", static_cast<int>(c.name.size()), c.name.data(),
                     static_cast<int>(c.summary.size()), c.summary.data());
    std::fprintf(to, "\n'orvane-cli COMMAND --help' describes one command.\n");
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        printUsage(stderr);
        return 2;
    }
    const std::string name = argv[1];
    if (name == "--help" || name == "-h" || name == "help") {
        printUsage(stdout);
        return 0;
    }
    const std::vector<std::string> args(argv + 2, argv + argc);
    for (const auto& c : kCommands)
        if (c.name == name)
            return c.run(args);
    std::fprintf(stderr, "orvane-cli: unknown command '%s'\n", name.c_str());
    printUsage(stderr);
    return 2;
}
