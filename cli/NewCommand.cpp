// orvane-cli new: a project document built from audio files, the way files dropped on the window
// become tracks.

#include "cli/Commands.h"
#include "cli/HeadlessPlayback.h"
#include "model/FileURL.h"
#include "platform/DefaultsStore.h"
#include "platform/MainLoop.h"
#include "workspace/ProjectStore.h"
#include "workspace/WorkspaceState.h"

#include <cstdio>
#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli new -o PROJECT.ovproj [--title T] FILE...

Builds a project document from audio files, in the order given: one track per file, each with
a 2-second pre-gap, its length read from the file (converted to 44,100 Hz disc samples for
files at other rates) and its title, ISRC and people from the file's embedded tags (the file
name when it has no title). Source files are referenced, never copied or changed.

  -o PROJECT   the document to write (replaced if it exists)
  --title T    the album title

exit status: 0 written, 1 a file could not be read as audio or the document could not be
written (nothing is written then), 2 usage error
)";

struct Options {
    std::filesystem::path output;
    std::optional<std::string> title;
    std::vector<std::filesystem::path> files;
};

// Options, or nothing after the reason went to stderr.
std::optional<Options> parse(Args args) {
    Options options;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "-o" || a == "--title") {
            if (i + 1 >= args.size()) {
                std::fprintf(stderr, "orvane-cli new: %s needs a value\n%s", a.c_str(), kHelp);
                return std::nullopt;
            }
            const std::string& value = args[++i];
            if (a == "-o") {
                options.output = value;
            } else {
                options.title = value;
            }
        } else if (a.size() > 1 && a[0] == '-') {
            std::fprintf(stderr, "orvane-cli new: unknown option '%s'\n%s", a.c_str(), kHelp);
            return std::nullopt;
        } else {
            options.files.emplace_back(a);
        }
    }
    if (options.output.empty() || options.files.empty()) {
        std::fprintf(stderr, "orvane-cli new: %s\n%s",
                     options.output.empty() ? "no output document (-o)" : "no audio files", kHelp);
        return std::nullopt;
    }
    return options;
}

} // namespace

int runNew(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    const auto options = parse(args);
    if (!options) {
        return 2;
    }

    MainLoop loop;
    // The tool reads and writes no user settings: a store over no file reads as empty.
    DefaultsStore noSettings{std::filesystem::path{}};
    WorkspaceState workspace(loop, std::make_unique<HeadlessPlayback>(), noSettings);
    workspace.addDroppedFiles(options->files);
    if (options->title) {
        CDProject titled = workspace.project();
        titled.albumTitle = *options->title;
        workspace.setProject(std::move(titled));
    }

    // The workspace passes over files it can't read; a script must hear about them.
    std::set<FileURL> added;
    for (const auto& track : workspace.project().tracks) {
        if (track.audioFileURL) {
            added.insert(*track.audioFileURL);
        }
    }
    int unreadable = 0;
    for (const auto& file : options->files) {
        if (added.count(FileURL::fromPath(file)) == 0) {
            std::fprintf(stderr, "orvane-cli new: not a readable audio file: %s\n", file.string().c_str());
            ++unreadable;
        }
    }
    if (unreadable > 0) {
        return 1;
    }

    try {
        workspace.saveProject(options->output);
    } catch (const ProjectStoreError& error) {
        std::fprintf(stderr, "orvane-cli new: %s\n", error.what());
        return 1;
    }
    std::int64_t frames = 0;
    if (!workspace.trackPositions().empty()) {
        frames = workspace.trackPositions().back().endLBA;
    }
    std::printf("wrote %s: %zu tracks, %s\n", options->output.string().c_str(),
                workspace.project().tracks.size(), CDTime::frames(frames).msfString().c_str());
    return 0;
}

} // namespace orvane::cli
