#include "atomic/special_functions.h"

#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>

#include "atomic/error_functions.h"

namespace fermix {
namespace {

// The library promises 1e-13; between its methods it loses up to 1e-14.
constexpr double cerfTolerance = 2e-14;

void ExpectNear(Complex16 got, Complex16 expected, double relative) {
  EXPECT_NEAR(got.re, expected.re, relative * Abs(expected));
  EXPECT_NEAR(got.im, expected.im, relative * Abs(expected));
}

// exp(-z^2) erfc(-iz) by mpmath with 60 digits, the large arguments by twelve terms of the asymptotic series.
// Series, continued fraction, its short forms, and the lower half plane.
TEST(FaddeevaW, Values) {
  const struct {
    Complex16 z, w;
  } cases[] = {{{1, 0}, {0.36787944117144233, 0.6071577058413937}},
               {{3, 2}, {0.09271076642644334, 0.12831696222826158}},
               {{2, -1}, {-0.2053255806465875, 0.1468554850301674}},
               {{-1, -3}, {5724.2903086847155, 1665.8015249835282}},
               {{1e8, 1e8}, {2.8209479177387815e-09, 2.8209479177387815e-09}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.z.re << ' ' << c.z.im);
    ExpectNear(FaddeevaW(c.z), c.w, cerfTolerance);
    if (c.z.im == 0) {
      EXPECT_NEAR(FaddeevaW_Im(c.z.re), c.w.im, 2 * DBL_EPSILON);
    }
  }
  // Published values: Abramowitz and Stegun, Handbook of Mathematical Functions, table 7.9.
  ExpectNear(FaddeevaW({0.4, 0}), {0.852144, 0.406153}, 1e-6);
}

// mpmath with 60 digits.
TEST(ErrorFunctions, ComplexArguments) {
  const struct {
    Complex16 z, erf, erfc;
  } cases[] = {
      {{0.5, 0.25}, {0.5486893605537622, 0.22199095428837334}, {0.45131063944623784, -0.22199095428837334}},
      {{0.01, -0.02},
       {0.011287929523862138, -0.02256833516582954},
       {0.9887120704761378, 0.02256833516582954}},
      {{0.05, 3}, {449.97036886788084, 1562.0170564668124}, {-448.97036886788084, -1562.0170564668124}},
      {{0, 1.5}, {0, 4.584733257284427}, {1, -4.584733257284427}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.z.re << ' ' << c.z.im);
    ExpectNear(Cerf(c.z), c.erf, cerfTolerance);
    ExpectNear(Cerfc(c.z), c.erfc, cerfTolerance);
  }
  EXPECT_NEAR(erfcx(0.5), std::exp(0.25) * std::erfc(0.5), 2 * DBL_EPSILON);
  EXPECT_NEAR(erfcx(1e6) * 1e6 * std::sqrt(M_PI), 1, 1e-11);
}

// A Gaussian and a Lorentzian profile of unit area, folded by the trapezoidal rule, which converges
// exponentially here.
TEST(Voight, IsTheConvolutionOverTheLorentzianWidth) {
  const double sigma = 1 / std::sqrt(8 * std::log(2.0));
  for (double L : {0.5, 2.0})
    for (double w : {0.0, 0.7, -3.0}) {
      double sum = 0;
      constexpr double step = 0.01;
      for (int i = -600; i <= 600; ++i) {
        const double t = i * step,
                     gauss = std::exp(-t * t / (2 * sigma * sigma)) / (sigma * std::sqrt(2 * M_PI));
        sum += step * gauss * (L / 2 / M_PI) / ((w - t) * (w - t) + L * L / 4);
      }
      EXPECT_NEAR(Voight(w, L), sum / L, 1e-12) << w << ' ' << L;
    }
}

// mpmath with 40 digits: sqrt(pi / 2x) J_(n+1/2)(x). Both sides of the border x = (n + 4) / 2.
TEST(SphericalBesselJ, Values) {
  const struct {
    unsigned n;
    double x, value;
  } cases[] = {{0, 0, 1},
               {2, 2.9, 0.29328784147582077},
               {2, 3, 0.29863749707573356},
               {5, 100, -0.009290148934907571},
               {10, 6.9, 0.006024163048074588},
               {31, 17.5, 2.6367370408062052e-07},
               {1000, 600, 8.58565935284764e-134},
               {5000, 2600, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.n << ' ' << c.x);
    EXPECT_NEAR(SphericalBesselJ(c.x, c.n), c.value, 4 * DBL_EPSILON * std::fabs(c.value));
    EXPECT_EQ(SphericalBesselJ(-c.x, c.n),
              c.n % 2 ? -SphericalBesselJ(c.x, c.n) : SphericalBesselJ(c.x, c.n));
  }
}

// The first terms that n = 30 keeps: x^30 / 61!! (1 - x^2 / 126).
TEST(SphericalBesselJ, TheSeriesEndsAtOrder31) {
  double first = 1;
  for (int i = 3; i <= 61; i += 2) first *= 16.9 / i;
  EXPECT_NEAR(SphericalBesselJ(16.9, 30), first * (1 - 16.9 * 16.9 / 126), 1e-14 * first);
  EXPECT_EQ(SphericalBesselJ(16, 32), 0);
  EXPECT_EQ(SphericalBesselJ(INFINITY, 4294967295), 0);
  EXPECT_TRUE(std::isnan(SphericalBesselJ(NAN, 0)));
  EXPECT_TRUE(std::isnan(SphericalBesselJ(3e9, 4294967295)));  // beyond the recurrence
}

// The sum over binomials by mpmath with 40 digits.
TEST(LaguerrePolynomial, Values) {
  const struct {
    int n, l;
    double x, value;
  } cases[] = {{-1, 3, 2, 0},
               {10, 3, 4, -4.8926984126984125},
               {30, 5, 20.5, -2043.6041126469481},
               {4, 170, 12, 27569337},
               {8, 1, -3, 1697.8680803571428}};
  EXPECT_EQ(LaguerrePolynomial(2, -1, 0.5), INFINITY);  // a factorial of a negative number
  for (const auto& c : cases)
    EXPECT_NEAR(LaguerrePolynomial(c.n, c.l, c.x), c.value, 8 * DBL_EPSILON * std::fabs(c.value))
        << c.n << ' ' << c.l << ' ' << c.x;
}

}  // namespace
}  // namespace fermix
