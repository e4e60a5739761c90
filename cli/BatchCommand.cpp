// orvane-cli batch: the whole delivery of a job in one run and from one render.

#include "cli/CommandVoice.h"
#include "cli/Commands.h"
#include "cli/DeliveryInput.h"
#include "cli/ImportJob.h"
#include "cli/ProgressPrinter.h"
#include "delivery/BatchDelivery.h"
#include "delivery/PQSheetBuilder.h"
#include "delivery/PreviewExporter.h"
#include "render/Exporter.h"

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp =
    R"help(usage: orvane-cli batch PROJECT OUTDIR [--no-ddp] [--no-wav] [--no-preview] [--no-pq]
                         [--preview-format quality|light|smartphone] [--email ADDRESS]

Renders the project's disc once and makes the whole delivery from that one image, in the folder
"<album> Delivery" inside OUTDIR (made if missing; " 2", " 3"... when the name is taken):
  DDP/                   the DDP 2.00 fileset (its IMAGE.DAT is the image the rest is cut from)
  WAV/                   one WAV file a track, "NN Title.wav"
  the client preview     "<album> Preview (Quality)" or "(Light)", or "(Smartphone).html"
  PQSheet.pdf, PQSheet.csv

  --no-ddp, --no-wav, --no-preview, --no-pq   leave that part out (at least one must stay)
  --preview-format F     quality (FLAC, the default), light (AAC) or smartphone (one HTML file)
  --email ADDRESS        where the preview's Approve button addresses its mail

A failed or interrupted run (Ctrl-C) leaves the delivery folder with the parts finished so far.
Progress shows as a bar when stderr is a terminal and as plain lines otherwise.

exit status: 0 done, 1 the project could not be read or the delivery failed, 2 usage error,
130 interrupted
)help";

const CommandVoice voice{"orvane-cli batch", kHelp};

// "DDP fileset, WAV tracks, client preview (Quality (FLAC)), PQ sheet"
std::string partsWritten(const BatchDelivery::Components& c, PreviewFormat format) {
    std::vector<std::string> parts;
    if (c.ddp)
        parts.emplace_back("DDP fileset");
    if (c.wav)
        parts.emplace_back("WAV tracks");
    if (c.preview)
        parts.push_back("client preview (" + std::string(PreviewExporter::shownName(format)) + ")");
    if (c.pqSheet)
        parts.emplace_back("PQ sheet");
    std::string text;
    for (const std::string& part : parts)
        text += (text.empty() ? "" : ", ") + part;
    return text;
}

} // namespace

int runBatch(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::string projectPath;
    std::string outDir;
    BatchDelivery::Components components;
    PreviewFormat format = PreviewFormat::quality;
    std::string email;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--no-ddp") {
            components.ddp = false;
        } else if (a == "--no-wav") {
            components.wav = false;
        } else if (a == "--no-preview") {
            components.preview = false;
        } else if (a == "--no-pq") {
            components.pqSheet = false;
        } else if (a == "--preview-format" || a == "--email") {
            if (i + 1 >= args.size())
                return voice.usage(a + " needs a value");
            const std::string& value = args[++i];
            if (a == "--email") {
                email = value;
            } else if (const auto named = previewFormatNamed(value)) {
                format = *named;
            } else {
                return voice.usage("unknown preview format '" + value + "'");
            }
        } else if (!a.empty() && a[0] == '-') {
            return voice.usage("unknown option '" + a + "'");
        } else if (projectPath.empty()) {
            projectPath = a;
        } else if (outDir.empty()) {
            outDir = a;
        } else {
            return voice.usage("too many arguments");
        }
    }
    if (outDir.empty())
        return voice.usage("a project and an output folder are needed");
    if (!components.ddp && !components.wav && !components.preview && !components.pqSheet)
        return voice.fail("Select at least one delivery component (DDP, WAV, preview or PQ sheet).");
    const auto input = loadLaidOutProject(projectPath);
    if (!input)
        return voice.fail(input.error());

    std::vector<BatchDelivery::PQFile> pqFiles;
    if (components.pqSheet && !input->positions.empty()) {
        const auto sheet = PQSheetBuilder::exportFiles(
            input->project, input->positions, PQSheetBuilder::storedLoudness(input->project), std::nullopt);
        if (!sheet)
            return voice.fail(sheet.error());
        pqFiles.emplace_back(std::string(PQSheetBuilder::pdfFileName), sheet->pdf);
        pqFiles.emplace_back(std::string(PQSheetBuilder::csvFileName), sheet->csv);
    }

    return runDeliveryJob(
        voice, stderr, "the delivery folder keeps the parts finished", [&](ProgressPrinter& printer) {
            printer(0.0, "Preparing\u2026");
            const auto folder = BatchDelivery::exportDelivery(
                input->project, input->positions, absoluteNormal(outDir), components, format, email, pqFiles,
                [&](double f, const std::string& status) { return printer(f, status); });
            printer.finish();
            std::printf("%s written to:\n%s\n", partsWritten(components, format).c_str(), folder.c_str());
            return 0;
        });
}

} // namespace orvane::cli
