// Angular functions of unit norm on the sphere: spherical, tesseral and cubic harmonics.
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

#include <cmath>
#include <vector>

namespace fermix {

inline constexpr int MaxHarmonicL = 12, MaxCubicL = 6;

// 0 for l above MaxHarmonicL and for |m| > l.
double ReSphericalHarmonicY(int l, int m, double theta, double phi);
double ImSphericalHarmonicY(int l, int m, double theta, double phi);
double TesseralHarmonicZ(int l, int m, double theta, double phi);
// i = -l .. l; 0 for l above MaxCubicL and for |i| > l.
double CubicHarmonicK(int l, int i, double theta, double phi);

// The factor sqrt(4 pi / (2 l + 1)) that makes renormalised harmonics of those of unit norm.
inline double HarmonicRenormalisation(int l) { return std::sqrt(12.566370614359172 / (2 * l + 1)); }

// One term of K(l, i): sign(square) sqrt(|square|) Z(l, m).
struct CubicTerm {
  int m;
  double square;
};
// The terms of K(l, i), l <= MaxCubicL, |i| <= l; none otherwise.
std::vector<CubicTerm> CubicHarmonicTerms(int l, int i);

}  // namespace fermix
