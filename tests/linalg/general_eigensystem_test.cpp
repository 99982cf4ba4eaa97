#include "linalg/general_eigensystem.h"

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

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
    CompactMatrixType VL, VR, back;
    std::vector<Complex16> values;
    ASSERT_EQ(NonHermitianCompactMatrixEigensystem(A, VL, VR, values), 0);
    CompactMatrixType diagonal = InitCompactMatrix(n, n, true);
    for (std::uint32_t k = 0; k < n; ++k) {
      EXPECT_LE(values[k > 0 ? k - 1 : 0].re, values[k].re);
      std::get<1>(diagonal.Data)[k * n + k] = values[k];
    }
    const double tolerance = 1e-13 * n;  // eigenvalues of these matrices are some ten times worse than A
    EXPECT_LT(Deviation(Times(A, VR, 'N', 'T'), Times(VR, diagonal, 'T')), tolerance);
    EXPECT_LT(Deviation(Times(VL, A, '*'), Times(diagonal, VL, 'N', '*')), tolerance);
    EXPECT_LT(Deviation(Times(VL, VR, '*', 'T'), Identity(n)), tolerance);
    ASSERT_EQ(TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(values, VL, VR, back), 0);
    EXPECT_LT(Deviation(back, A), tolerance);
  }
}

TEST(GeneralEigensystemOrder, SortsByTheRealPartAndKeepsTheOrderOfEqualOnes) {
  CompactMatrixType VL = RealMatrix(4, 1, {0, 1, 2, 3}), VR = RealMatrix(4, 2, {0, 5, 1, 6, 2, 7, 3, 8});
  std::vector<Complex16> values = {{2, 0}, {1, 5}, {1, -5}, {-3, 9}};
  ASSERT_EQ(NonHermitianEigensystemOrder(values, VL, VR), 0);
  EXPECT_EQ(std::get<0>(VL.Data), (std::vector<double>{3, 1, 2, 0}));
  EXPECT_EQ(std::get<0>(VR.Data), (std::vector<double>{3, 8, 1, 6, 2, 7, 0, 5}));
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
  EXPECT_EQ(
      Printed([&] {
        EXPECT_EQ(NonHermitianCompactMatrixEigensystem(InitCompactMatrix(2, 3, false), VL, VR, values), 1);
        EXPECT_EQ(NonHermitianCompactMatrixEigensystem(bad, VL, VR, values), 1);
        EXPECT_EQ(NonHermitianEigensystemOrder(values, VL, VR), 1);
        EXPECT_EQ(CompactMatrixLeftRightNormalize(VL, VR), 1);
        EXPECT_EQ(TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(values, VL, VR, R), 1);
      }),
      "NonHermitianCompactMatrixEigensystem called with non-square matrix\n"
      "NonHermitianCompactMatrixEigensystem called with a matrix that is not finite\n"
      "Number of rows for funL and funR need to be equal in NonHermitianEigensystemOrder\n"
      "Dimensions of matrices in CompactMatrixLeftRightNormalize not ok to calculate funL^* . funR^T (1 "
      "2)(3 2)\n"
      "Error in input of TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon, dimension of left and "
      "right matrix not compatible\n");
  EXPECT_EQ(VL.Ni, 1u);
  EXPECT_EQ(values.size(), 1u);
}

}  // namespace
}  // namespace fermix
