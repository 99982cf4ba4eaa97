#include "atomic/angular_momentum.h"

#include <gtest/gtest.h>
#include <cfloat>
#include <cmath>

namespace fermix {
namespace {

// Values of tables are squares of rationals: sign sqrt(numerator / denominator).
double Root(double signedNumerator, double denominator) {
  return std::copysign(std::sqrt(std::fabs(signedNumerator) / denominator), signedNumerator);
}

// Rotenberg, Bivins, Metropolis and Wooten, The 3-j and 6-j Symbols (1959); arguments doubled.
TEST(ThreeJSymbol, TabulatedValues) {
  const struct {
    int j1, m1, j2, m2, j3, m3;
    double numerator, denominator;
  } cases[] = {{1, 1, 1, -1, 0, 0, 1, 2},  {1, 1, 1, 1, 2, -2, -1, 3},     {2, 0, 4, 0, 6, 0, -3, 35},
               {6, 0, 6, 0, 8, 0, -2, 77}, {6, 0, 6, 0, 12, 0, 100, 3003}, {3, 1, 3, -1, 0, 0, -1, 4},
               {3, 3, 1, -1, 2, -2, 1, 4}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.j1 << ' ' << c.m1 << ' ' << c.j2 << ' ' << c.m2 << ' ' << c.j3);
    const double expected = Root(c.numerator, c.denominator);
    EXPECT_NEAR(ThreeJSymbolHalf(c.j1, c.m1, c.j2, c.m2, c.j3, c.m3), expected, 2 * DBL_EPSILON);
  }
}

// The total momentum annihilates the coupled state: the sum of the three raising operators gives 0. With the
// norm this fixes every symbol up to one sign.
TEST(ThreeJSymbol, IsInvariantUnderRotations) {
  const auto raise = [](int j, int m) { return std::sqrt((j - m) * (j + m + 2) / 4.0); };
  for (int j1 = 0; j1 <= 8; ++j1)
    for (int j2 = 0; j2 <= 8; ++j2)
      for (int j3 = std::abs(j1 - j2); j3 <= j1 + j2; j3 += 2) {
        double norm = 0;
        for (int m1 = -j1; m1 <= j1; m1 += 2)
          for (int m2 = -j2; m2 <= j2; m2 += 2) {
            const double value = ThreeJSymbolHalf(j1, m1, j2, m2, j3, -m1 - m2);
            norm += value * value;
            const int m3 = -m1 - m2 - 2;
            if (m3 < -j3 || m3 > j3) continue;
            const double sum = raise(j1, m1) * ThreeJSymbolHalf(j1, m1 + 2, j2, m2, j3, m3) +
                               raise(j2, m2) * ThreeJSymbolHalf(j1, m1, j2, m2 + 2, j3, m3) +
                               raise(j3, m3) * ThreeJSymbolHalf(j1, m1, j2, m2, j3, m3 + 2);
            ASSERT_NEAR(sum, 0, 1e-15) << j1 << ' ' << m1 << ' ' << j2 << ' ' << m2 << ' ' << j3;
          }
        ASSERT_NEAR(norm, 1, 1e-14) << j1 << ' ' << j2 << ' ' << j3;
      }
}

// The symbols of one (j1, j2) are an orthogonal matrix, also where the terms of their sums are larger than
// the sums by a hundred orders of magnitude.
TEST(ThreeJSymbol, IsOrthogonalForLargeMomenta) {
  const struct {
    int j1, j2, M;  // doubled
  } cases[] = {{161, 150, 11}, {700, 40, -6}};
  for (const auto& c : cases) {
    const auto rows = [&](int m, int other) {
      double sum = 0;
      for (int j3 = std::max(std::abs(c.j1 - c.j2), std::abs(c.M)); j3 <= c.j1 + c.j2; j3 += 2)
        sum += (j3 + 1) * ThreeJSymbolHalf(c.j1, m, c.j2, c.M - m, j3, -c.M) *
               ThreeJSymbolHalf(c.j1, other, c.j2, c.M - other, j3, -c.M);
      return sum;
    };
    const int m = c.j1 % 2 + 4;
    EXPECT_NEAR(rows(m, m), 1, 1e-13) << c.j1;
    EXPECT_NEAR(rows(m, m + 2), 0, 1e-13) << c.j1;
    EXPECT_NEAR(rows(m, -m), 0, 1e-13) << c.j1;
  }
}

TEST(ThreeJSymbol, IsZeroOutsideOfItsRange) {
  EXPECT_EQ(ThreeJSymbol(1, 0, 1, 0, 3, 0), 0);      // no triangle
  EXPECT_EQ(ThreeJSymbol(1, 2, 1, -2, 2, 0), 0);     // m above j
  EXPECT_EQ(ThreeJSymbolHalf(1, 0, 1, 0, 2, 0), 0);  // j and m not integer together
  EXPECT_TRUE(std::isnan(ThreeJSymbol(2147483647, 0, 2147483647, 0, 0, 0)));
  EXPECT_NEAR(ThreeJSymbol(2000, 0, 2000, 0, 0, 0), 1 / std::sqrt(4001), 1e-15);
}

// Condon and Shortley, The Theory of Atomic Spectra, tables 1^6 and 2^6.
TEST(SlaterCoefficientC, TablesOfCondonAndShortley) {
  const struct {
    int k, l1, m1, l2, m2;
    double numerator, denominator;
  } cases[] = {{1, 0, 0, 1, 1, -1, 3},    {1, 1, 0, 2, 0, 4, 15},
               {2, 1, 1, 1, -1, -6, 25},  {2, 2, 2, 2, 1, 6, 49},
               {4, 2, 2, 2, -2, 70, 441}, {4, 2, 1, 2, -1, -40, 441},
               {0, 3, -2, 3, -2, 1, 1},   {6, 3, 3, 3, -3, -924 * 25, 184041}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << "c^" << c.k << '(' << c.l1 << ' ' << c.m1 << ", " << c.l2 << ' '
                                    << c.m2);
    const double expected = Root(c.numerator, c.denominator);
    EXPECT_NEAR(SlaterCoefficientC(c.k, c.l1, c.m1, c.l2, c.m2), expected, 2 * DBL_EPSILON);
    // The sign does not change when all m do.
    EXPECT_NEAR(SlaterCoefficientC(c.k, c.l1, -c.m1, c.l2, -c.m2), expected, 2 * DBL_EPSILON);
    const double exchanged = (c.m1 - c.m2) % 2 ? -expected : expected;
    EXPECT_NEAR(SlaterCoefficientC(c.k, c.l2, c.m2, c.l1, c.m1), exchanged, 2 * DBL_EPSILON);
  }
  EXPECT_EQ(SlaterCoefficientC(2, -1, 0, 1, 0), 0);
  EXPECT_EQ(SlaterCoefficientC(2, 1, 2, 1, 1), 0);
}

}  // namespace
}  // namespace fermix
