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

// Products 8 + 5 I, half of whose angle each row takes, and 0 as for a defective matrix.
TEST(LeftRightNormalize, SharesPhaseAndLengthAndDropsWhatVanishes) {
  CompactMatrixType VL = RealMatrix(2, 2, {1, 2, 1, 1}), VR = InitCompactMatrix(2, 2, true);
  std::get<1>(VR.Data) = {{0, 3}, {4, 1}, 1, -1};
  ASSERT_EQ(CompactMatrixLeftRightNormalize(VL, VR), 0);
  const Complex16 turn = CompactMatrixElement(VL, 0, 0),
                  d = CompactMatrixElement(Times(VL, VR, '*', 'T'), 0, 0);
  EXPECT_NEAR(Abs(d - Complex16(1)), 0, 1e-15);
  EXPECT_NEAR(Abs(turn * turn * 89.0 - Complex16(8, 5)), 0, 1e-13);
  for (std::uint32_t j = 0; j < 2; ++j) EXPECT_EQ(CompactMatrixElement(VR, 1, j), Complex16(0));
  CompactMatrixType three = InitCompactMatrix(3, 2, true);
  EXPECT_EQ(CompactMatrixLeftRightNormalize(VL, three), 1);
}

}  // namespace
}  // namespace fermix
