#include "atomic/basis_change.h"

#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"
#include "atomic/harmonics.h"
#include "linalg/random_matrix.h"

namespace fermix {
namespace {

constexpr double rounding = 4 * DBL_EPSILON;

void ExpectUnitary(const CompactMatrixType& M) {
  EXPECT_LT(Deviation(Times(M, M, 'N', 'C'), Identity(M.Ni)), rounding);
}

Complex16 SphericalHarmonicY(int l, int m, double theta, double phi) {
  return {ReSphericalHarmonicY(l, m, theta, phi), ImSphericalHarmonicY(l, m, theta, phi)};
}

// The matrices are what their functions say: row r of M applied to the old functions at a direction.
TEST(BasisChange, RowsAreTheNewFunctions) {
  const double theta = 0.9, phi = 2.2;
  for (int l = 0; l <= 5; ++l) {
    const int multiplicity = 4 * l + 2;
    const auto applied = [&](const CompactMatrixType& M, int row, auto&& old) {
      Complex16 sum;
      for (int m = -l; m <= l; ++m) sum += CompactMatrixElement(M, row, m + l) * old(m);
      return sum;
    };
    const auto Y = [&](int m) { return SphericalHarmonicY(l, m, theta, phi); };
    const auto Z = [&](int m) { return Complex16(TesseralHarmonicZ(l, m, theta, phi)); };
    const auto K = [&](int i) { return Complex16(CubicHarmonicK(l, i, theta, phi)); };
    const auto YZ = YToZMatrix(multiplicity, false);
    ExpectUnitary(YZ);
    for (int m = -l; m <= l; ++m) EXPECT_NEAR(Abs(applied(YZ, m + l, Y) - Z(m)), 0, rounding);
    if (l > 3) continue;
    const auto YK = YToKMatrix(multiplicity, false), ZK = ZToKMatrix(multiplicity, false);
    EXPECT_TRUE(IsComplexMatrix(YK) && !IsComplexMatrix(ZK));
    ExpectUnitary(YK);
    ExpectUnitary(ZK);
    for (int i = -l; i <= l; ++i) {
      EXPECT_NEAR(Abs(applied(YK, i + l, Y) - K(i)), 0, rounding);
      EXPECT_NEAR(Abs(applied(ZK, i + l, Z) - K(i)), 0, rounding);
    }
    EXPECT_LT(Deviation(Times(ZK, YZ), YK), rounding);
  }
}

// Digits that scripts may compare.
TEST(BasisChange, StatedDigits) {
  EXPECT_EQ(CompactMatrixElement(YToKMatrix(6, false), 0, 0).re, 0.7071067811865475);
  EXPECT_EQ(CompactMatrixElement(YToZMatrix(6, false), 2, 0).re, 0.7071067811865476);
  EXPECT_EQ(CompactMatrixElement(YToKMatrix(14, false), 1, 0).re, 0.5590169943749475);
  EXPECT_EQ(CompactMatrixElement(ZToKMatrix(14, false), 1, 4).re, -0.6123724356957945);
}

// 2 mj of row r of the basis jjz, and 2 j.
struct JState {
  int twoJ, twoMj;
};
JState StateOfRow(int l, int row) {
  return row < 2 * l ? JState{2 * l - 1, 2 * row - 2 * l + 1}
                     : JState{2 * l + 1, 2 * (row - 2 * l) - 2 * l - 1};
}

// <l m 1/2 s | j mj> = (-1)^(l - 1/2 + mj) sqrt(2j + 1) (l 1/2 j; m s -mj)
TEST(YToJJzMatrix, HoldsTheCouplingCoefficients) {
  for (int l = 0; l <= 7; ++l) {
    const auto M = YToJJzMatrix(4 * l + 2, true);
    ExpectUnitary(M);
    for (int row = 0; row < 4 * l + 2; ++row) {
      const auto [twoJ, twoMj] = StateOfRow(l, row);
      for (int column = 0; column < 4 * l + 2; ++column) {
        const int m = column / 2 - l, twoS = column % 2 ? 1 : -1;
        const double sign = (2 * l - 1 + twoMj) / 2 % 2 ? -1 : 1;
        const double expected =
            sign * std::sqrt(twoJ + 1) * ThreeJSymbolHalf(2 * l, 2 * m, 1, twoS, twoJ, -twoMj);
        EXPECT_NEAR(CompactMatrixElement(M, row, column).re, expected, 2 * DBL_EPSILON)
            << l << ' ' << row << ' ' << column;
      }
    }
  }
}

TEST(BasisChange, RefusesWhatIsNoShell) {
  EXPECT_EQ(Printed([&] { EXPECT_EQ(YToKMatrix(8, true).Ni, 0u); }),
            "YToKMatrix only defined for multiplicity (2*l+1), with integer l, not for multiplicity 8!\n");
  EXPECT_EQ(Printed([&] {
              EXPECT_EQ(LargeRotationMatrix({6, 18}, YToKMatrix, true).Ni, 0u);
            }),
            "YToKMatrix not yet implemented for an atomic shell of multiplicity 18, sorry!\n");
}

}  // namespace
}  // namespace fermix
