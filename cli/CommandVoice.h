#pragma once
// How a subcommand answers its user: a usage error names the problem and repeats the command's
// help (exit 2); a failure is the error's own text on one line (exit 1); a delivery job runs with a
// progress bar and Ctrl-C, and its errors become one of those answers. Main thread only.

#include "cli/ProgressPrinter.h"
#include "delivery/PreviewManifest.h"

#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace orvane::cli {

struct CommandVoice {
    std::string_view name; // as the user typed it, e.g. "orvane-cli cue export"
    std::string_view help;

    // Prints "name: problem" and the help to stderr; returns 2.
    int usage(const std::string& problem) const;
    // Prints "name: text" to stderr; returns 1.
    int fail(const std::string& text) const;
};

// Runs a job that reports through the printer, under Ctrl-C. The job's own return is the exit
// status. An interruption prints "name: interrupted" and `afterInterrupt` (what the user finds on
// disk, may be empty) and gives 130; an export, preview or other error gives voice.fail with its text.
int runDeliveryJob(const CommandVoice& voice, std::FILE* progressTo, std::string_view afterInterrupt,
                   const std::function<int(ProgressPrinter&)>& job);

// The preview format a user names on the command line: "quality", "light" or "smartphone".
std::optional<PreviewFormat> previewFormatNamed(std::string_view name);

} // namespace orvane::cli
