#include "linalg/general_eigensystem.h"

#include <gtest/gtest.h>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

double LargestDeviation(const CompactMatrixType& a, const CompactMatrixType& b) {
  double largest = 0;
  for (std::uint32_t i = 0; i < a.Ni; ++i)
    for (std::uint32_t j = 0; j < a.Nj; ++j)
      largest = std::fmax(largest, Abs(CompactMatrixElement(a, i, j) - CompactMatrixElement(b, i, j)));
  return largest;
}

template <class T>
class GeneralEigensystem : public testing::Test {};
using Kinds = testing::Types<double, Complex16>;
TYPED_TEST_SUITE(GeneralEigensystem, Kinds);

// Random matrices are far from normal: left and right vectors differ, eigenvalues are complex.
TYPED_TEST(GeneralEigensystem, VectorsSolveBothEquationsAndRebuildTheMatrix) {
  std::mt19937 random(11);
  for (const std::uint32_t n : {1u, 2u, 5u, 40u}) {
    SCOPED_TRACE(n);
    const CompactMatrixType A = RandomMatrix<TypeParam>(random, n, n);
    CompactMatrixType VL, VR, overlap, back;
    std::vector<Complex16> values;
    ASSERT_EQ(NonHermitianCompactMatrixEigensystem(A, VL, VR, values), 0);
    EXPECT_EQ(VL.Name, "Left Eigen vectors");
    EXPECT_EQ(VR.Name, "Right Eigen vectors");
    const double tolerance = 1e-13 * n;  // eigenvalues of these matrices are some ten times worse than A
    for (std::uint32_t k = 0; k < n; ++k) {
      EXPECT_LE(values[k > 0 ? k - 1 : 0].re, values[k].re);
      for (std::uint32_t i = 0; i < n; ++i) {
        Complex16 right = -values[k] * CompactMatrixElement(VR, k, i),
                  left = -values[k] * Conj(CompactMatrixElement(VL, k, i));
        for (std::uint32_t j = 0; j < n; ++j) {
          right += CompactMatrixElement(A, i, j) * CompactMatrixElement(VR, k, j);
          left += Conj(CompactMatrixElement(VL, k, j)) * CompactMatrixElement(A, j, i);
        }
        EXPECT_NEAR(Abs(right), 0, tolerance);
        EXPECT_NEAR(Abs(left), 0, tolerance);
      }
    }
    ASSERT_EQ(CompactMatrixMultiply('*', 'T', VL, VR, overlap), 0);
    EXPECT_LT(LargestDeviation(overlap, InitCompactIdentityMatrix(n, n)), tolerance);
    ASSERT_EQ(TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(values, VL, VR, back), 0);
    EXPECT_LT(LargestDeviation(back, A), tolerance);
  }
}

TEST(GeneralEigensystemOrder, SortsByTheRealPartAndKeepsTheOrderOfEqualOnes) {
  CompactMatrixType VL = InitCompactMatrix(4, 1, false), VR = InitCompactMatrix(4, 2, true);
  std::vector<Complex16> values = {{2, 0}, {1, 5}, {1, -5}, {-3, 9}};
  for (std::uint32_t k = 0; k < 4; ++k) {
    std::get<0>(VL.Data)[k] = k;
    std::get<1>(VR.Data)[2 * k + 1] = {0, double(k)};
  }
  ASSERT_EQ(NonHermitianEigensystemOrder(values, VL, VR), 0);
  const double order[] = {3, 1, 2, 0};
  for (std::uint32_t k = 0; k < 4; ++k) {
    EXPECT_EQ(CompactMatrixElement(VL, k, 0), Complex16(order[k]));
    EXPECT_EQ(CompactMatrixElement(VR, k, 1), Complex16(0, order[k]));
  }
  EXPECT_EQ(values[1], Complex16(1, 5));
}

TEST(LeftRightNormalize, SharesPhaseAndLengthAndDropsWhatVanishes) {
  CompactMatrixType VL = InitCompactMatrix(2, 2, false), VR = InitCompactMatrix(2, 2, true);
  std::get<0>(VL.Data) = {1, 2, 1, 1};
  std::get<1>(VR.Data) = {{0, 3}, {4, 1}, 1, -1};  // products 8 + 5 I, and 0 as for a defective matrix
  ASSERT_EQ(CompactMatrixLeftRightNormalize(VL, VR), 0);
  Complex16 d = 0;
  for (std::uint32_t j = 0; j < 2; ++j)
    d += Conj(CompactMatrixElement(VL, 0, j)) * CompactMatrixElement(VR, 0, j);
  EXPECT_NEAR(Abs(d - Complex16(1)), 0, 1e-15);
  const Complex16 turn = CompactMatrixElement(VL, 0, 0), half = turn * turn * std::sqrt(89.0);
  EXPECT_NEAR(Abs(half - Complex16(8, 5) / std::sqrt(89.0)), 0, 1e-15);  // half of the angle each
  for (std::uint32_t j = 0; j < 2; ++j) {
    EXPECT_EQ(CompactMatrixElement(VL, 1, j), Complex16(0));
    EXPECT_EQ(CompactMatrixElement(VR, 1, j), Complex16(0));
  }
}

TEST(GeneralEigensystemFailures, AreNamedAndLeaveTheResultAlone) {
  CompactMatrixType VL = InitCompactMatrix(1, 2, false), VR = InitCompactMatrix(3, 2, true), R;
  CompactMatrixType bad = InitCompactMatrix(2, 2, true);
  std::get<1>(bad.Data)[2] = {0, std::nan("")};
  std::vector<Complex16> values(1);
  testing::internal::CaptureStdout();
  EXPECT_EQ(NonHermitianCompactMatrixEigensystem(InitCompactMatrix(2, 3, false), VL, VR, values), 1);
  EXPECT_EQ(NonHermitianCompactMatrixEigensystem(bad, VL, VR, values), 1);
  EXPECT_EQ(NonHermitianEigensystemOrder(values, VL, VR), 1);
  EXPECT_EQ(CompactMatrixLeftRightNormalize(VL, VR), 1);
  EXPECT_EQ(TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(values, VL, VR, R), 1);
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "NonHermitianCompactMatrixEigensystem called with non-square matrix\n"
      "NonHermitianCompactMatrixEigensystem called with a matrix that is not finite\n"
      "Number of rows for funL and funR need to be equal in NonHermitianEigensystemOrder\n"
      "Dimensions of matrices in CompactMatrixLeftRightNormalize not ok to calculate funL^* . funR^T (1 "
      "2)(3 2)\n"
      "Error in input of TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon, dimension of left and "
      "right matrix not compatible\n");
  EXPECT_EQ(VL.Ni, 1u);
  EXPECT_EQ(values.size(), 1u);
  ASSERT_EQ(NonHermitianCompactMatrixEigensystem(CompactMatrixType(), VL, VR, values), 0);
  EXPECT_EQ(VL.Ni, 0u);
  EXPECT_TRUE(values.empty());
}

}  // namespace
}  // namespace fermix
