#include "engines/SRCPreset.h"

#include <algorithm>

namespace orvane {

namespace {

constexpr std::array<std::string_view, 5> kRawValues{"Velmont SRC", "Meridon Reference", "SoX VHQ",
                                                     "r8brain Free", "SSRC Shibata"};

// One calibrated Meridon Reference design per rate pair. These are measured values, not the output of a
// rule; the 48 kHz <-> 44.1 kHz rows in particular stand apart in start phase and beta.
struct MeridonRow {
    int targetHz;
    int sourceHz;
    int taps;
    double fcRatio;
    double beta;
    double startPhase;
};

constexpr MeridonRow kMeridonRows[] = {
    {44100, 48000, 75, 0.99888, 5.88856, -91.5},    {44100, 88200, 588, 0.99999, 10.0, 0.0},
    {44100, 96000, 147, 0.99097, 9.99999, 0.0},     {44100, 176400, 928, 0.98089, 10.00002, 0.0},
    {44100, 192000, 928, 1.0, 10.0, 0.0},           {48000, 44100, 116, 1.00001, 16.61658, -108.5},
    {48000, 88200, 232, 0.98946, 10.00003, 0.01},   {48000, 96000, 58, 1.0, 10.0, 0.0},
    {48000, 176400, 294, 1.0, 10.0, 0.0},           {48000, 192000, 464, 0.96986, 10.00003, 0.0},
    {88200, 44100, 232, 0.97867, 10.00002, 0.0},    {88200, 48000, 116, 0.96705, 10.00522, -0.76},
    {88200, 96000, 58, 0.97827, 10.43418, 55.2},    {88200, 176400, 58, 1.0, 10.0, 0.0},
    {88200, 192000, 75, 0.96824, 10.22429, 13.05},  {88200, 352800, 464, 0.86498, 10.0003, 0.0},
    {88200, 384000, 696, 0.92302, 10.00035, -0.03}, {96000, 44100, 58, 0.99632, 8.59717, 58.25},
    {96000, 48000, 58, 0.96545, 10.00003, 0.0},     {96000, 88200, 58, 1.00003, 10.0, 0.0},
    {96000, 176400, 58, 0.99682, 10.01324, 0.62},   {96000, 192000, 58, 1.0, 10.0, 0.0},
    {96000, 352800, 294, 1.00074, 10.00291, -0.82}, {96000, 384000, 464, 0.90839, 10.00023, 0.0},
    {176400, 44100, 232, 0.9757, 10.00002, 0.0},    {176400, 88200, 58, 0.95918, 10.00025, 0.01},
    {176400, 96000, 58, 1.00085, 10.00811, 0.16},   {176400, 192000, 75, 0.99922, 10.002, 0.78},
    {176400, 352800, 116, 0.95298, 10.00012, 0.0},  {176400, 384000, 75, 0.93197, 10.20802, 10.12},
    {192000, 44100, 116, 0.99777, 10.0, 0.0},       {192000, 48000, 58, 0.97179, 10.00002, 0.0},
    {192000, 88200, 58, 0.97842, 10.00022, 0.0},    {192000, 96000, 58, 0.96821, 10.00087, 0.02},
    {192000, 176400, 58, 1.05284, 10.05766, -6.06}, {192000, 352800, 75, 1.0, 10.0, 0.0},
    {192000, 384000, 116, 0.90234, 10.00077, 0.0},  {352800, 44100, 58, 0.9751, 9.99996, 0.0},
    {352800, 48000, 58, 0.96792, 10.00003, 0.0},    {352800, 88200, 147, 0.94084, 10.00011, 0.0},
    {352800, 176400, 58, 0.91441, 10.00035, 0.07},
};

} // namespace

std::string_view rawValue(SRCPreset preset) {
    return kRawValues[static_cast<std::size_t>(preset)];
}

std::optional<SRCPreset> srcPresetFromRaw(std::string_view raw) {
    for (SRCPreset preset : allSRCPresets)
        if (rawValue(preset) == raw)
            return preset;
    return std::nullopt;
}

SRCPreset srcPresetForConversion(std::string_view raw) {
    return srcPresetFromRaw(raw).value_or(SRCPreset::velmontSRC);
}

bool isLinearOnly(SRCPreset preset) {
    return preset == SRCPreset::velmontSRC || preset == SRCPreset::meridonReference ||
           preset == SRCPreset::ssrcShibata;
}

bool isLinearOnly(std::string_view raw) {
    const auto preset = srcPresetFromRaw(raw);
    return preset && isLinearOnly(*preset);
}

SRCParams meridonReferenceParams(int fsIn, int targetFs) {
    SRCParams p{-53.9, 1.0, 116, "kaiser", 10.0, 0.0, true};
    const auto* row =
        std::find_if(std::begin(kMeridonRows), std::end(kMeridonRows),
                     [&](const MeridonRow& r) { return r.targetHz == targetFs && r.sourceHz == fsIn; });
    if (row != std::end(kMeridonRows)) {
        p.taps = row->taps;
        p.fc_ratio = row->fcRatio;
        p.beta = row->beta;
        p.start_phase = row->startPhase;
    }
    return p;
}

} // namespace orvane
