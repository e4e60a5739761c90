// The four plain functions around r8brain-free-src's resampler. Compiled only when the build is given
// the library's source folder; the adapter in R8BrainSRC.cpp is all that calls them.

#include "engines/R8BrainSRC.h"

#include <CDSPResampler.h>

namespace orvane {

struct R8BrainHandle {
    R8BrainHandle(double srcRate, double dstRate, int maxInLen, double transBand, double attenuationDB,
                  bool minPhase)
        : resampler(srcRate, dstRate, maxInLen, transBand, attenuationDB,
                    minPhase ? r8b::fprMinPhase : r8b::fprLinearPhase) {}
    r8b::CDSPResampler resampler;
};

namespace {

constexpr double kAttenuationRes16DB = 136.45;
constexpr double kAttenuationDB = 180.15;

} // namespace

R8BrainHandle* r8b_create(int maxInLen, int res, bool minPhase, double srcRate, double dstRate,
                          double transBand) {
    const double attenuationDB = res == 16 ? kAttenuationRes16DB : kAttenuationDB;
    return new R8BrainHandle(srcRate, dstRate, maxInLen, transBand, attenuationDB, minPhase);
}

int r8b_process(R8BrainHandle* handle, double* input, int count, double*& out) {
    return handle->resampler.process(input, count, out);
}

void r8b_clear(R8BrainHandle* handle) {
    handle->resampler.clear();
}

void r8b_destroy(R8BrainHandle* handle) {
    delete handle;
}

bool r8brainAvailable() {
    return true;
}

} // namespace orvane
