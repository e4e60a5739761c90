// orvane-cli imprint: the tonal difference of two audio files, level-matched, band by band.

#include "analysis/SpectralDifference.h"
#include "analysis/SpectralImprintAnalyzer.h"
#include "cli/Commands.h"

#include <cstdio>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli imprint A B [--json]

Compares the tone of two audio files: each is reduced to a long-term average spectrum in 1/12-octave
bands (mono sum, phase-blind), both are matched in level below 18 kHz, and B minus A is printed band
by band, in two panels: the pass band (20 Hz - 20 kHz) and the Nyquist transition (18 - 22 kHz).
Above 0 dB, B has more energy in that band. Files at different rates have different band grids and
cannot be compared; convert them to one rate first (orvane-cli src).

  --json   print the bands and scales as JSON

exit status: 0 compared, 1 a file could not be read or the grids differ, 2 usage error
)";

int usage(const std::string& problem) {
    std::fprintf(stderr, "orvane-cli imprint: %s\n%s", problem.c_str(), kHelp);
    return 2;
}

int fail(const std::string& text) {
    std::fprintf(stderr, "orvane-cli imprint: %s\n", text.c_str());
    return 1;
}

struct PanelRange {
    const char* title;
    double fMin;
    double fMax;
    bool nyquistStyle;
};

constexpr PanelRange kPanels[] = {
    {"Passband \u00b7 20 Hz \u2013 20 kHz", 20.0, 20000.0, false},
    {"Nyquist transition \u00b7 18 \u2013 22 kHz", 18000.0, 22500.0, true},
};

} // namespace

int runImprint(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    bool json = false;
    std::vector<std::string> files;
    for (const auto& a : args) {
        if (a == "--json")
            json = true;
        else if (!a.empty() && a[0] == '-')
            return usage("unknown option '" + a + "'");
        else
            files.push_back(a);
    }
    if (files.size() != 2)
        return usage("two audio files are needed");
    std::vector<SpectralImprint> imprints;
    for (const auto& f : files) {
        auto imprint = SpectralImprintAnalyzer::analyze(f);
        if (!imprint)
            return fail("\"" + f +
                        "\" could not be read as audio, or is shorter than one analysis block (8192 frames)");
        imprints.push_back(std::move(*imprint));
    }
    nlohmann::json out{{"a", files[0]}, {"b", files[1]}, {"panels", nlohmann::json::array()}};
    for (const auto& band : kPanels) {
        const auto panel =
            SpectralDifference::panel(imprints[0], imprints[1], band.fMin, band.fMax, band.nyquistStyle);
        if (!panel)
            return fail(
                "the two files have different band grids (different sample rates); convert them to one rate "
                "first");
        if (json) {
            nlohmann::json bands = nlohmann::json::array();
            for (std::size_t i = 0; i < panel->frequencies.size(); ++i)
                bands.push_back({{"hz", panel->frequencies[i]}, {"db", panel->differences[i]}});
            out["panels"].push_back(
                {{"title", band.title}, {"scale", panel->half}, {"bands", std::move(bands)}});
            continue;
        }
        std::printf("%s (scale \u00b1%.2f dB)\n", band.title, panel->half);
        for (std::size_t i = 0; i < panel->frequencies.size(); ++i)
            std::printf("  %9.1f Hz  %+8.3f dB\n", panel->frequencies[i], panel->differences[i]);
    }
    if (json)
        std::printf("%s\n", out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
    return 0;
}

} // namespace orvane::cli
