// orvane-cli preview: a client preview of a project's disc, a folder with a browser player and the
// audio, or one self-contained page, optionally packed into a zip with or without a password.

#include "cli/CommandVoice.h"
#include "cli/Commands.h"
#include "cli/ProgressPrinter.h"
#include "delivery/PreviewExporter.h"
#include "model/TimelineCalculator.h"
#include "platform/UserCancelledError.h"
#include "render/Exporter.h"
#include "workspace/ProjectStore.h"

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

namespace orvane::cli {

namespace {

constexpr const char* kHelp =
    R"help(usage: orvane-cli preview PROJECT OUTDIR --format quality|light|smartphone
                           [--email ADDRESS] [--zip [--password P]]

Renders the project's disc and writes a preview a client can play and approve in a browser, in
OUTDIR (which must exist). S is the album title with "/" and ":" made "-" ("Untitled" without one).
  quality     folder "S Preview (Quality)": player.html, manifest.json and "S.oprq" (FLAC, 16 bit)
  light       folder "S Preview (Light)": the same with "S.oprl" (AAC, 160 kbit/s)
  smartphone  one file "S Preview (Smartphone).html" with the AAC audio inside it
A folder whose name is taken gets " 2", " 3"...; a smartphone page replaces one of its name.
Everything is built aside and moved into place when whole.

  --email ADDRESS  where the Approve button addresses its mail (empty: the client chooses)
  --zip            packs the result into its name + ".zip" (the folder kept inside), and removes
                   the unpacked result afterwards
  --password P     encrypts the zip with P (send P to the client separately)

Progress shows as a bar when stderr is a terminal. Prints the path of what was written.

exit status: 0 written, 1 the project could not be read or the export failed, 2 usage error,
130 interrupted (Ctrl-C)
)help";

const CommandVoice voice{"orvane-cli preview", kHelp};

struct Options {
    std::string project;
    std::string outDir;
    std::optional<PreviewFormat> format;
    std::string email;
    bool zip = false;
    std::optional<std::string> password;
};

std::optional<Options> parse(Args args, std::string& problem) {
    Options o;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--format" || a == "--email" || a == "--password") {
            if (i + 1 >= args.size()) {
                problem = a + " needs a value";
                return std::nullopt;
            }
            const std::string& value = args[++i];
            if (a == "--format") {
                o.format = previewFormatNamed(value);
                if (!o.format) {
                    problem = "unknown format '" + value + "' (quality, light or smartphone)";
                    return std::nullopt;
                }
            } else if (a == "--email") {
                o.email = value;
            } else {
                o.password = value;
            }
        } else if (a == "--zip") {
            o.zip = true;
        } else if (a.size() > 1 && a[0] == '-') {
            problem = "unknown option '" + a + "'";
            return std::nullopt;
        } else if (o.project.empty()) {
            o.project = a;
        } else if (o.outDir.empty()) {
            o.outDir = a;
        } else {
            problem = "too many arguments";
            return std::nullopt;
        }
    }
    if (o.outDir.empty())
        problem = "a project and an output folder are needed";
    else if (!o.format)
        problem = "--format is needed";
    else if (o.password && !o.zip)
        problem = "--password goes with --zip";
    if (!problem.empty())
        return std::nullopt;
    return o;
}

// The approval address as the desktop stores it: trimmed of white space.
std::string trimmed(const std::string& text) {
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(" \t\r\n") - first + 1);
}

} // namespace

int runPreview(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::string problem;
    const auto options = parse(args, problem);
    if (!options)
        return voice.usage(problem);

    CDProject project;
    try {
        project = ProjectStore::load(options->project).project;
    } catch (const ProjectStoreError& error) {
        return voice.fail(error.what());
    }
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions)
        return voice.fail("The disc cannot be laid out: " + positions.error().description() + ".");
    std::error_code ec;
    if (!std::filesystem::is_directory(options->outDir, ec))
        return voice.fail("The output folder \"" + options->outDir + "\" does not exist.");

    const PreviewFormat format = *options->format;
    const std::string encoding =
        format == PreviewFormat::quality ? "Encoding FLAC\u2026" : "Encoding AAC\u2026";
    return runDeliveryJob(voice, stderr, "nothing was written", [&](ProgressPrinter& printer) {
        std::filesystem::path result = PreviewExporter::exportPreview(
            project, *positions, format, options->outDir, trimmed(options->email), std::nullopt,
            [&](double f) { return printer(f, f < 0.7 ? "Rendering audio\u2026" : encoding); });
        if (options->zip) {
            const bool encrypted = options->password && !options->password->empty();
            printer(1.0, encrypted ? "Packaging encrypted .zip\u2026" : "Packaging .zip\u2026");
            const std::filesystem::path zip =
                PreviewExporter::zipBundle(result, options->password.value_or(""));
            std::error_code ignored;
            std::filesystem::remove_all(result, ignored); // the zip holds it; a leftover is harmless
            result = zip;
        }
        printer.finish();
        std::printf("%s\n", std::filesystem::absolute(result).c_str());
        return 0;
    });
}

} // namespace orvane::cli
