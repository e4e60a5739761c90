#include "analysis/SpectralImprint.h"

#include <limits>

namespace orvane {

SpectralImprint SpectralImprint::normalized(double belowHz, double target) const {
    if (isEmpty())
        return *this;
    double sum = 0.0;
    std::size_t count = 0;
    for (std::size_t i = 0; i < frequencies.size(); ++i) {
        if (frequencies[i] <= belowHz) {
            sum += magnitudesDb[i];
            ++count;
        }
    }
    if (count == 0) {
        for (double level : magnitudesDb)
            sum += level;
        count = magnitudesDb.size();
    }
    const double shift = target - sum / static_cast<double>(count);
    SpectralImprint out = *this;
    for (double& level : out.magnitudesDb)
        level += shift;
    return out;
}

SpectralImprint SpectralImprint::normalized(double target) const {
    return normalized(std::numeric_limits<double>::infinity(), target);
}

std::optional<SpectralImprint> SpectralImprint::difference(const SpectralImprint& other) const {
    if (magnitudesDb.size() != other.magnitudesDb.size())
        return std::nullopt;
    SpectralImprint out;
    out.frequencies = frequencies;
    out.magnitudesDb.reserve(magnitudesDb.size());
    for (std::size_t i = 0; i < magnitudesDb.size(); ++i)
        out.magnitudesDb.push_back(magnitudesDb[i] - other.magnitudesDb[i]);
    return out;
}

} // namespace orvane
