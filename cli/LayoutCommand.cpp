// orvane-cli layout: a document's disc layout, as text or as one JSON object.

#include "cli/Commands.h"
#include "cli/LayoutReport.h"
#include "workspace/ProjectStore.h"

#include <cstdio>
#include <iostream>
#include <string>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli layout PROJECT [--json]

Opens a project document and prints its disc layout: every track's positions (LBAs with MSF
text) and the audio blocks that say what sounds at each frame.

  --json   one JSON object {"positions": [...], "blocks": [...]}; a layout failure is
           {"error": "trackTooShort", "track": N} or {"error": "tooManyTracks"}

exit status: 0 laid out, 1 the document could not be read, 2 the layout failed or usage error
)";

} // namespace

int runLayout(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    std::string path;
    bool json = false;
    for (const auto& a : args) {
        if (a == "--json") {
            json = true;
        } else if (!a.empty() && a[0] == '-') {
            std::fprintf(stderr, "orvane-cli layout: unknown option '%s'\n%s", a.c_str(), kHelp);
            return 2;
        } else if (path.empty()) {
            path = a;
        } else {
            std::fprintf(stderr, "orvane-cli layout: one project at a time\n%s", kHelp);
            return 2;
        }
    }
    if (path.empty()) {
        std::fputs(kHelp, stderr);
        return 2;
    }

    const auto loaded = loadProjectDocument(path);
    if (!loaded) {
        std::fprintf(stderr, "orvane-cli layout: %s\n", loaded.error().c_str());
        return 1;
    }
    const LayoutReport report = makeLayoutReport(*loaded);
    std::cout << (json ? layoutJSON(report) : layoutText(report));
    return report.error ? 2 : 0;
}

} // namespace orvane::cli
