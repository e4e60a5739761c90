#pragma once
// The five conversion algorithms a user can choose, their stored names, whether they offer a phase
// choice, and the parameter record that describes each. The raw strings are stored in project
// documents, so they never change. Pure functions; callable from any thread.

#include <array>
#include <optional>
#include <string>
#include <string_view>

namespace orvane {

enum class SRCPreset { velmontSRC, meridonReference, soxVHQ, r8brainFree, ssrcShibata };

// Every preset, in the order the interface lists them.
inline constexpr std::array<SRCPreset, 5> allSRCPresets{SRCPreset::velmontSRC, SRCPreset::meridonReference,
                                                        SRCPreset::soxVHQ, SRCPreset::r8brainFree,
                                                        SRCPreset::ssrcShibata};

// The stored name: "Velmont SRC", "Meridon Reference", "SoX VHQ", "r8brain Free", "SSRC Shibata".
std::string_view rawValue(SRCPreset preset);
// The preset with exactly this stored name; absent for any other string.
std::optional<SRCPreset> srcPresetFromRaw(std::string_view raw);
// What a conversion runs for a stored name: an unknown string converts as velmontSRC.
SRCPreset srcPresetForConversion(std::string_view raw);

// True where the converter has no phase choice (velmontSRC, meridonReference, ssrcShibata).
bool isLinearOnly(SRCPreset preset);
// The same for a stored name; false for a string that names no preset.
bool isLinearOnly(std::string_view raw);

// The Meridon Reference filter for a rate pair: its calibrated design values.
struct SRCParams {
    double stopband_db = -160.0;
    double fc_ratio = 1.0;         // cut-off as a ratio of the lower Nyquist frequency
    int taps = 116;                // taps per phase
    std::string window = "kaiser"; // always "kaiser"
    std::optional<double> beta;    // Kaiser beta
    double start_phase = 0.0;      // in units of 1/L input sample
    bool alignCenter = true;       // always true

    bool operator==(const SRCParams&) const = default;
};

// The calibrated row of a listed rate pair, or the general design for any other pair.
SRCParams meridonReferenceParams(int fsIn, int targetFs);

} // namespace orvane
