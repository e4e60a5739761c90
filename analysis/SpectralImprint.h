#pragma once
// The tonal fingerprint of a take: a long-term average spectrum in bands of a fraction of an octave,
// band centres in Hz and levels in dB. Two imprints of the same grid are level-matched and
// subtracted to show where a take has more or less energy than the master. Pure value; any thread.

#include <optional>
#include <vector>

namespace orvane {

struct SpectralImprint {
    std::vector<double> frequencies;  // band centres, Hz
    std::vector<double> magnitudesDb; // band levels, dB; as many as frequencies

    bool isEmpty() const { return frequencies.empty(); }

    // Shifted so that the mean level of the bands at or below `belowHz` (of all bands when none
    // are) becomes `target`. The match ignores the top, where converters differ by design.
    SpectralImprint normalized(double belowHz, double target) const;
    SpectralImprint normalized(double target) const; // over all bands
    // Self minus other, band by band; nothing unless both have the same number of bands.
    std::optional<SpectralImprint> difference(const SpectralImprint& other) const;

    bool operator==(const SpectralImprint&) const = default;
};

} // namespace orvane
