#pragma once
// Windowed-sinc filter design for the polyphase converter: the sinc, the windows and the Bessel
// function behind the Kaiser window. Pure functions of their arguments; callable from any thread.

#include <optional>
#include <string_view>
#include <vector>

namespace orvane::FilterDesign {

inline constexpr double kPi = 3.141592653589793;
inline constexpr double kTwoPi = 6.283185307179586;

// N values of sin(2 pi fc d) / (pi d), d = n - center; 2 fc where |d| < 1e-10.
// fcNormalized is a fraction of the sampling rate (0.5 is Nyquist).
std::vector<double> sincFilter(int N, double fcNormalized, double center);

// Kaiser's beta for a stop-band attenuation; the sign of stopbandDB is ignored.
double kaiserBeta(double stopbandDB);

// Modified Bessel function of the first kind, order 0, by its power series (at most 50 terms).
double i0(double x);

// Windows of N points centred on center (which may be off the middle, and even fractional).
// Each gives the single value 1.0 for N = 1.
std::vector<double> kaiserWindow(int N, double beta, double center);
std::vector<double> blackmanHarrisWindow(int N, double center);
std::vector<double> nuttallWindow(int N, double center);
std::vector<double> hannWindow(int N, double center);
std::vector<double> gaussianWindow(int N, double alpha, double center);

// The window named by windowType: "kaiser" (param is beta, kaiserBeta(stopbandDB) when absent),
// "blackman-harris", "nuttall", "hann", "gaussian" (param is alpha, 3.5 when absent); any other
// name gives a rectangular window of ones.
std::vector<double> namedWindow(std::string_view windowType, int N, std::optional<double> param,
                                double stopbandDB, double center);

} // namespace orvane::FilterDesign
