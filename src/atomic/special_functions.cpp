#include "atomic/special_functions.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/base/status.h"

namespace fermix {

namespace {

// What these sums lose to cancellation comes out of the digits beyond double.
using Real = long double;

// Term k is (-1)^k x^(n+2k) / (2^k k! (2n+2k+1)!!).
double BesselSeries(Real x, int n) {
  constexpr int Terms = 30, FirstMissingOrder = 32;
  if (n >= FirstMissingOrder) return 0;
  Real term = 1;
  for (int i = 1; i <= n; ++i) term *= x / static_cast<Real>(2 * i + 1);
  Real sum = 0;
  for (int k = 0; k < std::min(Terms, FirstMissingOrder - n); ++k) {
    sum += term;
    term *= -x * x / (2 * static_cast<Real>(k + 1) * static_cast<Real>(2 * n + 2 * k + 3));
  }
  return static_cast<double>(sum);
}

// (1/x) sum over j = 0 .. n of c_j (n+j)! / (j! (n-j)! (2x)^j), where c_j runs through cos, -sin, -cos, sin
// of the phase x - (n+1) pi / 2, so that the next factor is the derivative of the last.
double BesselFiniteSum(Real x, unsigned n) {
  const Real cosine = std::cos(x), sine = std::sin(x);
  const Real quarterTurns[] = {cosine, -sine, -cosine, sine};  // cos(x + q pi / 2)
  Real a = 1, sum = 0;
  for (unsigned j = 0; j <= n && a != 0; ++j) {
    sum += quarterTurns[(j - n - 1) % 4] * a;
    a *= (static_cast<Real>(n) + j + 1) * static_cast<Real>(n - j) / (static_cast<Real>(j + 1) * 2 * x);
  }
  return static_cast<double>(sum / x);
}

// Two neighbouring orders, from which j(k+1) + j(k-1) = (2k+1)/x j(k) goes on.
struct BesselPair {
  Real lower, upper;
};
BesselPair LowestBessel(Real x) { return {std::sin(x) / x, (std::sin(x) / x - std::cos(x)) / x}; }

// Upwards for n <= x, where the recurrence is stable in this direction, n > 0.
double BesselUpward(Real x, unsigned n) {
  BesselPair j = LowestBessel(x);
  for (unsigned k = 1; k < n; ++k) j = {j.upper, static_cast<Real>(2 * k + 1) / x * j.upper - j.lower};
  return static_cast<double>(j.upper);
}

// Downwards for n > x, by Miller's algorithm: any start far enough above n falls into the solution that
// decays upwards; its scale follows at the lowest orders.
double BesselDownward(Real x, unsigned n) {
  constexpr Real Large = 1e1000L;
  const unsigned top = n + 60 + 20 * static_cast<unsigned>(std::cbrt(n));
  BesselPair p{1, 0};
  Real ofN = 0;
  for (unsigned k = top; k > 0; --k) {
    p = {static_cast<Real>(2 * k + 1) / x * p.lower - p.upper, p.lower};
    if (k - 1 == n) ofN = p.lower;
    if (std::fabs(p.lower) < Large) continue;
    p = {p.lower / Large, p.upper / Large};
    ofN /= Large;
  }
  const BesselPair j = LowestBessel(x);
  const bool byLower = std::fabs(j.lower) > std::fabs(j.upper);
  return static_cast<double>(ofN * (byLower ? j.lower / p.lower : j.upper / p.upper));
}

// From x = (n + 4) / 2 on. The finite sum cancels for large n unless x is larger still.
double BesselAboveSeries(Real x, unsigned n) {
  constexpr unsigned LargestSum = 12, LargestRecurrence = 1000000;
  if (n <= LargestSum || x >= static_cast<Real>(n) * n) return BesselFiniteSum(x, n);
  if (n > LargestRecurrence) return std::numeric_limits<double>::quiet_NaN();
  return n <= x ? BesselUpward(x, n) : BesselDownward(x, n);
}

double Factorial(int n) {
  if (n < 0) {
    Say("Error Factorial called with a negative number\n");
    return 0;
  }
  double product = 1;
  for (; n > 1 && !std::isinf(product); --n) product *= n;
  return product;
}

// The sum as it is defined, for a negative l: the factorials of negative numbers make it infinite or
// not-a-number, where it ends.
double LaguerreSum(int n, int l, double x) {
  double sum = 0, power = 1;
  for (int k = 0; k <= n && !std::isnan(sum); ++k) {
    sum += Factorial(n + l) * power / (Factorial(n - k) * Factorial(l + k) * Factorial(k));
    power *= -x;
  }
  return sum;
}

}  // namespace

double SphericalBesselJ(double x, unsigned int n) {
  if (std::isnan(x)) return x;
  if (std::isinf(x)) return 0;
  if (x < 0) return n % 2 == 0 ? SphericalBesselJ(-x, n) : -SphericalBesselJ(-x, n);
  if ((n + 4.0) / 2 > x) return BesselSeries(x, static_cast<int>(std::min(n, 32u)));
  return BesselAboveSeries(x, n);
}

// By the three-term recurrence in n, which is stable where the sum over powers cancels.
double LaguerrePolynomial(int n, int l, double x) {
  if (n < 0) return 0;
  if (l < 0) return LaguerreSum(n, l, x);
  Real previous = 0, value = 1;
  for (Real k = 0; k < n; ++k) {
    const Real next = ((2 * k + 1 + l - x) * value - (k + l) * previous) / (k + 1);
    previous = value;
    value = next;
  }
  return static_cast<double>(value);
}

}  // namespace fermix
