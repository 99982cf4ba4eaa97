#include "atomic/angular_momentum.h"

#include <gmpxx.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>

namespace fermix {

namespace {

using Int = std::int64_t;
using Real = long double;

// Products of binomials of the square root below stay in the range of an 80-bit number up to here.
constexpr Int MaxSumOfJ = 5000;

constexpr bool QOdd(Int n) { return n % 2 != 0; }

// n over k. Each partial product is an integer, so the result is exact below 2^64.
Real Binomial(Int n, Int k) {
  if (k < 0 || k > n) return 0;
  k = std::min(k, n - k);
  Real b = 1;
  for (Int i = 1; i <= k; ++i) b = b * static_cast<Real>(n - k + i) / static_cast<Real>(i);
  return b;
}

// One column of the symbol, doubled.
bool QColumn(Int j, Int m) { return std::abs(m) <= j && !QOdd(j + m); }

// The arguments of Racah's sum over k with its factorials collected into binomials, a, b, c being the
// excesses of the triangle:
//
//     S = sum_k (-1)^k (a over k) (b over p-k) (c over q-k).
struct RacahSum {
  Int a, b, c, p, q;
  Int first() const { return std::max({Int{0}, p - b, q - c}); }
  Int last() const { return std::min({a, p, q}); }
  // The magnitude of a term.
  Real Term(Int k) const { return Binomial(a, k) * Binomial(b, p - k) * Binomial(c, q - k); }
};

// The sum of all magnitudes is at most 2^(a+b+c): up to here no digit is lost.
constexpr Int MaxSumOfJForReal = 63;

Real Sum(const RacahSum& racah) {
  Real S = 0;
  for (Int k = racah.first(); k <= racah.last(); ++k) S += QOdd(k) ? -racah.Term(k) : racah.Term(k);
  return S;
}

// For larger momenta the terms cancel beyond any fixed precision.
Real ExactSum(const RacahSum& racah) {
  const auto [a, b, c, p, q] = racah;
  const auto binomial = [](Int n, Int k) {
    mpz_class value;
    mpz_bin_uiui(value.get_mpz_t(), static_cast<unsigned long>(n), static_cast<unsigned long>(k));
    return value;
  };
  mpz_class S;
  for (Int k = racah.first(); k <= racah.last(); ++k) {
    const mpz_class term = binomial(a, k) * binomial(b, p - k) * binomial(c, q - k);
    S += QOdd(k) ? mpz_class(-term) : term;
  }
  // Its leading 64 bits, which the mantissa of Real holds.
  const auto shift = static_cast<Int>(std::max<std::size_t>(mpz_sizeinbase(S.get_mpz_t(), 2), 64) - 64);
  const mpz_class leading = abs(S) >> static_cast<unsigned long>(shift);
  return std::ldexp(static_cast<Real>(leading.get_ui()), static_cast<int>(shift)) * sgn(S);
}

// A state of j = l +- 1/2, with j and mj doubled; l so small that doubling it is safe.
bool QSpinOrbital(int l, int twoJ, int twoMj) {
  constexpr int MostL = 1 << 24;
  return 0 <= l && l <= MostL && (twoJ == 2 * l + 1 || twoJ == 2 * l - 1) && QColumn(twoJ, twoMj);
}

}  // namespace

// With p = j1 - m1, q = j2 + m2 and J = a + b + c,
//
//     square of the symbol = S^2 (2 j1 over a) (2 j3 over c) / ((J+1) (J over b) prod_i (2 ji over ji-mi)).
double ThreeJSymbolHalf(int twoJ1, int twoM1, int twoJ2, int twoM2, int twoJ3, int twoM3) {
  const Int j1 = twoJ1, m1 = twoM1, j2 = twoJ2, m2 = twoM2, j3 = twoJ3, m3 = twoM3;
  if (m1 + m2 + m3 != 0 || QOdd(j1 + j2 + j3)) return 0;
  if (!QColumn(j1, m1) || !QColumn(j2, m2) || !QColumn(j3, m3)) return 0;
  const Int a = (j1 + j2 - j3) / 2, b = (j1 - j2 + j3) / 2, c = (-j1 + j2 + j3) / 2, J = a + b + c;
  if (std::min({a, b, c}) < 0) return 0;
  if (J > MaxSumOfJ) return std::numeric_limits<double>::quiet_NaN();

  const Int p = (j1 - m1) / 2, q = (j2 + m2) / 2;
  const RacahSum racah{a, b, c, p, q};
  const Real S = J <= MaxSumOfJForReal ? Sum(racah) : ExactSum(racah);
  const Real numerator = Binomial(j1, a) * Binomial(j3, c);
  const Real denominator = static_cast<Real>(J + 1) * Binomial(J, b) * Binomial(j1, p) * Binomial(j2, q) *
                           Binomial(j3, (j3 - m3) / 2);
  const Real value = S * std::sqrt(numerator / denominator);
  return static_cast<double>(QOdd((j1 - j2 - m3) / 2) ? -value : value);
}

double ThreeJSymbol(int j1, int m1, int j2, int m2, int j3, int m3) {
  // Doubling must not overflow; a symbol with such a number is 0 or beyond what can be computed anyway.
  const auto twice = [](int x) { return 2 * std::clamp(x, -1000000000, 1000000000); };
  return ThreeJSymbolHalf(twice(j1), twice(m1), twice(j2), twice(m2), twice(j3), twice(m3));
}

double SlaterCoefficientC(int k, int l1, int m1, int l2, int m2) {
  const Int q = Int{m1} - m2;
  if (std::abs(q) > k || l1 < 0 || l2 < 0 || std::abs(Int{m1}) > l1) return 0;
  const double value = std::sqrt((2.0 * l1 + 1) * (2.0 * l2 + 1)) * ThreeJSymbol(l1, 0, k, 0, l2, 0) *
                       ThreeJSymbol(l1, -m1, k, static_cast<int>(q), l2, m2);
  return QOdd(m1) ? -value : value;
}

double SlaterCoefficientCjcoupling(int k, int l1, int twoJ1, int twoMj1, int l2, int twoJ2, int twoMj2) {
  if (!QSpinOrbital(l1, twoJ1, twoMj1) || !QSpinOrbital(l2, twoJ2, twoMj2)) return 0;
  // Coupling coefficients up to the common phase and root below, for the spin s = +1 or -1, doubled.
  const auto coupling = [](int l, int twoJ, int twoMj, int s) {
    return ThreeJSymbolHalf(2 * l, twoMj - s, 1, s, twoJ, -twoMj);
  };
  double sum = 0;
  for (int s : {-1, 1})
    sum += coupling(l1, twoJ1, twoMj1, s) * coupling(l2, twoJ2, twoMj2, s) *
           SlaterCoefficientC(k, l1, (twoMj1 - s) / 2, l2, (twoMj2 - s) / 2);
  const double value = std::sqrt((twoJ1 + 1.0) * (twoJ2 + 1.0)) * sum;
  return QOdd(Int{l1} + l2 + (Int{twoMj1} + twoMj2) / 2 + 1) ? -value : value;
}

}  // namespace fermix
