#include "atomic/harmonics.h"

#include <cmath>
#include <numbers>

namespace fermix {

namespace {

// Recurrences in 64 bits: m phi is exact, and what a zero of a polynomial cancels is not in the result.
using Real = long double;

bool QHarmonic(int l, int m) { return 0 <= l && l <= MaxHarmonicL && -l <= m && m <= l; }

// sqrt((l-m)!/(l+m)!) P_l^m(cos theta), 0 <= m <= l, without Condon-Shortley phase, and times
// sqrt((2l+1) / 4 pi) for unit norm: upwards in m along l = m, then upwards in l.
Real PolarFactor(int l, int m, double theta, HarmonicNorm norm) {
  const Real z = std::cos(static_cast<Real>(theta)), rho = std::sin(static_cast<Real>(theta));
  Real p = 1, previous = 0;
  for (int k = 1; k <= m; ++k) p *= rho * std::sqrt(static_cast<Real>(2 * k - 1) / (2 * k));
  const auto root = [m](int k) { return std::sqrt(static_cast<Real>((k - m) * (k + m))); };
  for (int k = m + 1; k <= l; ++k) {
    const Real next = ((2 * k - 1) * z * p - root(k - 1) * previous) / root(k);
    previous = p;
    p = next;
  }
  return norm == HarmonicNorm::unit ? p * std::sqrt((2 * l + 1) / (4 * std::numbers::pi_v<Real>)) : p;
}

// Adding 0 makes a negative zero positive, which a text would show.
double Rounded(Real x) { return static_cast<double>(x) + 0; }

Real CondonShortley(int m) { return m > 0 && m % 2 != 0 ? -1 : 1; }

Real Tesseral(int l, int m, double theta, double phi, HarmonicNorm norm) {
  const Real p = PolarFactor(l, std::abs(m), theta, norm), angle = std::abs(m) * static_cast<Real>(phi);
  if (m == 0) return p;
  return std::numbers::sqrt2_v<Real> * p * (m > 0 ? std::cos(angle) : std::sin(angle));
}

// The squared weights of a cubic harmonic with their signs, over one denominator. Unused terms are 0.
struct CubicRow {
  int denominator;
  struct {
    int m, numerator;
  } terms[3];
};

// Row l^2 + l + i.
constexpr CubicRow cubic[] = {
    {1, {{0, 1}}},
    // x, y, z
    {1, {{1, 1}}},
    {1, {{-1, 1}}},
    {1, {{0, 1}}},
    // x^2-y^2, 3z^2-r^2, yz, xz, xy
    {1, {{2, 1}}},
    {1, {{0, 1}}},
    {1, {{-1, 1}}},
    {1, {{1, 1}}},
    {1, {{-2, 1}}},
    // xyz; x(5x^2-3r^2) and cyclic; x(y^2-z^2) and cyclic
    {1, {{-2, 1}}},
    {8, {{1, -3}, {3, 5}}},
    {8, {{-3, -5}, {-1, -3}}},
    {1, {{0, 1}}},
    {8, {{1, -5}, {3, -3}}},
    {8, {{-3, -3}, {-1, 5}}},
    {1, {{2, 1}}},
    // l = 4
    {12, {{0, 7}, {4, 5}}},
    {1, {{2, 1}}},
    {12, {{0, -5}, {4, 7}}},
    {8, {{-3, -1}, {-1, -7}}},
    {8, {{1, 7}, {3, -1}}},
    {1, {{-4, 1}}},
    {8, {{-3, 7}, {-1, -1}}},
    {8, {{1, -1}, {3, -7}}},
    {1, {{-2, 1}}},
    // l = 5
    {1, {{-2, 1}}},
    {1, {{-4, 1}}},
    {128, {{1, 30}, {3, -35}, {5, 63}}},
    {128, {{-5, 63}, {-3, 35}, {-1, 30}}},
    {1, {{0, 1}}},
    {128, {{1, 42}, {3, 81}, {5, 5}}},
    {128, {{-5, 5}, {-3, -81}, {-1, 42}}},
    {1, {{4, 1}}},
    {32, {{1, 14}, {3, -3}, {5, -15}}},
    {32, {{-5, 15}, {-3, -3}, {-1, -14}}},
    {1, {{2, 1}}},
    // l = 6
    {8, {{0, 1}, {4, -7}}},
    {16, {{2, -11}, {6, 5}}},
    {16, {{2, 5}, {6, 11}}},
    {8, {{0, 7}, {4, 1}}},
    {32, {{-5, -11}, {-3, -15}, {-1, 6}}},
    {32, {{1, -6}, {3, -15}, {5, 11}}},
    {1, {{-4, 1}}},
    {256, {{-5, 165}, {-3, -81}, {-1, 10}}},
    {256, {{1, 10}, {3, 81}, {5, 165}}},
    {1, {{-2, 1}}},
    {256, {{-5, 3}, {-3, 55}, {-1, 198}}},
    {256, {{1, 198}, {3, -55}, {5, 3}}},
    {1, {{-6, 1}}},
};
static_assert(std::size(cubic) == (MaxCubicL + 1) * (MaxCubicL + 1));

const CubicRow* FindCubic(int l, int i) {
  const bool listed = 0 <= l && l <= MaxCubicL && -l <= i && i <= l;
  return listed ? &cubic[l * l + l + i] : nullptr;
}

}  // namespace

double ReSphericalHarmonicY(int l, int m, double theta, double phi, HarmonicNorm norm) {
  if (!QHarmonic(l, m)) return 0;
  return Rounded(CondonShortley(m) * PolarFactor(l, std::abs(m), theta, norm) *
                 std::cos(m * static_cast<Real>(phi)));
}

double ImSphericalHarmonicY(int l, int m, double theta, double phi, HarmonicNorm norm) {
  if (!QHarmonic(l, m) || m == 0) return 0;
  return Rounded(CondonShortley(m) * PolarFactor(l, std::abs(m), theta, norm) *
                 std::sin(m * static_cast<Real>(phi)));
}

double TesseralHarmonicZ(int l, int m, double theta, double phi, HarmonicNorm norm) {
  return QHarmonic(l, m) ? Rounded(Tesseral(l, m, theta, phi, norm)) : 0;
}

double CubicHarmonicK(int l, int i, double theta, double phi, HarmonicNorm norm) {
  const CubicRow* row = FindCubic(l, i);
  if (!row) return 0;
  Real sum = 0;
  for (const auto& t : row->terms) {
    if (t.numerator == 0) continue;
    const Real weight = std::sqrt(static_cast<Real>(std::abs(t.numerator)) / row->denominator);
    sum += std::copysign(weight, t.numerator) * Tesseral(l, t.m, theta, phi, norm);
  }
  return Rounded(sum);
}

std::vector<CubicTerm> CubicHarmonicTerms(int l, int i) {
  std::vector<CubicTerm> terms;
  if (const CubicRow* row = FindCubic(l, i))
    for (const auto& t : row->terms)
      if (t.numerator != 0) terms.push_back({t.m, static_cast<double>(t.numerator) / row->denominator});
  return terms;
}

}  // namespace fermix
