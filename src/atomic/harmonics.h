// Angular functions: spherical, tesseral and cubic harmonics.
//
// theta is the polar angle, phi the azimuth, in radians; any real theta is allowed and continues the
// trigonometric polynomials. All are accurate to the last bits of a double.
//
//   Y(l, m)    with the Condon-Shortley phase: Y(l, -m) = (-1)^m conj Y(l, m)
//   Z(l, 0)  = Y(l, 0), and for k > 0
//   Z(l, k)  =   (Y(l, -k) + (-1)^k Y(l, k)) / sqrt(2), proportional to cos(k phi)
//   Z(l, -k) = i (Y(l, -k) - (-1)^k Y(l, k)) / sqrt(2), proportional to sin(k phi)
//   K(l, i)    combinations of the Z(l, m) that belong to the axes of a cube; i is a position in a list
#pragma once

#include <vector>

namespace fermix {

inline constexpr int MaxHarmonicL = 12, MaxCubicL = 6;

// Unit norm on the sphere, or renormalised by sqrt(4 pi / (2 l + 1)), so that the function of m = 0 is 1 at
// the pole.
enum class HarmonicNorm { unit, renormalised };

// 0 for l above MaxHarmonicL and for |m| > l.
double ReSphericalHarmonicY(int l, int m, double theta, double phi, HarmonicNorm norm = HarmonicNorm::unit);
double ImSphericalHarmonicY(int l, int m, double theta, double phi, HarmonicNorm norm = HarmonicNorm::unit);
double TesseralHarmonicZ(int l, int m, double theta, double phi, HarmonicNorm norm = HarmonicNorm::unit);
// i = -l .. l; 0 for l above MaxCubicL and for |i| > l.
double CubicHarmonicK(int l, int i, double theta, double phi, HarmonicNorm norm = HarmonicNorm::unit);

// One term of K(l, i): sign(square) sqrt(|square|) Z(l, m).
struct CubicTerm {
  int m;
  double square;
};
// The terms of K(l, i), l <= MaxCubicL, |i| <= l; none otherwise.
std::vector<CubicTerm> CubicHarmonicTerms(int l, int i);

}  // namespace fermix
