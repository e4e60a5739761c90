// orvane-cli report: a project's mastering report as a PDF.

#include "cli/Commands.h"
#include "cli/ProjectLoudness.h"
#include "delivery/MasteringReportBuilder.h"
#include "model/TimelineCalculator.h"
#include "platform/AtomicFile.h"
#include "platform/DefaultsStore.h"
#include "workspace/ProjectStore.h"

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli report PROJECT OUT.pdf [OPTIONS]

Writes the mastering report of a project document: A4 pages with the studio's name, contact and
logo, the disc's identification, the album's loudness, every track with its timing and loudness
figures, and the source files. Loudness comes from the measurements stored in the document (see
orvane-cli loudness); unmeasured tracks show "—".

  --studio NAME     the studio's name at the top left
  --contact TEXT    the studio's contact line under it
  --engineer NAME   head line "Engineer"
  --client NAME     head line "Client"
  --date TEXT       the date at the top right (default: today)
  --logo FILE       a PNG image for the top right, fitted into 150 x 42 points
  --no-sources      leave out the SOURCE FILES section
  --notes           add the tracks' notes as a column

Studio, contact, engineer and logo not given here are taken from the user's defaults, where the
desktop keeps them; this command does not change the defaults.

exit status: 0 written, 1 the document, the logo or the PDF could not be read or written, 2 usage error
)";

int usage(const std::string& problem) {
    std::fprintf(stderr, "orvane-cli report: %s\n%s", problem.c_str(), kHelp);
    return 2;
}

int fail(const std::string& text) {
    std::fprintf(stderr, "orvane-cli report: %s\n", text.c_str());
    return 1;
}

} // namespace

int runReport(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::vector<std::string> positional;
    std::map<std::string, std::string> values;
    bool noSources = false, notes = false;
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--studio" || a == "--contact" || a == "--engineer" || a == "--client" || a == "--date" ||
            a == "--logo") {
            if (i + 1 >= args.size())
                return usage("'" + a + "' needs a value");
            values[a] = args[++i];
        } else if (a == "--no-sources") {
            noSources = true;
        } else if (a == "--notes") {
            notes = true;
        } else if (!a.empty() && a[0] == '-') {
            return usage("unknown option '" + a + "'");
        } else {
            positional.push_back(a);
        }
    }
    if (positional.size() != 2)
        return usage("a project and an output file are needed");

    CDProject project;
    try {
        project = ProjectStore::load(positional[0]).project;
    } catch (const ProjectStoreError& error) {
        return fail(error.what());
    }
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions)
        return fail("The disc cannot be laid out: " + positions.error().description() + ".");

    MasteringReportModel model(DefaultsStore::standard(), false);
    if (values.contains("--studio"))
        model.setStudioName(values["--studio"]);
    if (values.contains("--contact"))
        model.setStudioContact(values["--contact"]);
    if (values.contains("--engineer"))
        model.setEngineer(values["--engineer"]);
    if (values.contains("--client"))
        model.setClient(values["--client"]);
    if (values.contains("--date"))
        model.setDateString(values["--date"]);
    if (values.contains("--logo")) {
        std::ifstream in(values["--logo"], std::ios::binary);
        if (!in)
            return fail("could not read the logo \"" + values["--logo"] + "\"");
        model.setLogoData(std::vector<std::uint8_t>(std::istreambuf_iterator<char>(in), {}));
    }
    model.setIncludeSourceFiles(!noSources);
    model.setIncludeTrackNotes(notes);

    const ProjectLoudness loudness = storedProjectLoudness(project);
    const auto pdf =
        MasteringReportBuilder::pdfData(project, *positions, model, loudness.perTrack, loudness.album);
    if (!pdf)
        return fail(pdf.error());
    if (auto written = AtomicFile::write(positional[1], *pdf); !written)
        return fail(written.error());
    std::printf("wrote %s\n", positional[1].c_str());
    return 0;
}

} // namespace orvane::cli
