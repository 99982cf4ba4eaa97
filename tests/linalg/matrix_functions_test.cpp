#include "linalg/matrix_functions.h"

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

CompactMatrixType Real(std::uint32_t n, std::vector<double> elements) {
  return RealMatrix(n, n, std::move(elements));
}

CompactMatrixType Exp(const CompactMatrixType& A) {
  CompactMatrixType R;
  EXPECT_EQ(NonHermitianCompactMatrixExp(A, R), 0);
  EXPECT_EQ(IsComplexMatrix(R), IsComplexMatrix(A));
  return R;
}

template <class T>
class MatrixFunctions : public testing::Test {};
using Kinds = testing::Types<double, Complex16>;
TYPED_TEST_SUITE(MatrixFunctions, Kinds);

TYPED_TEST(MatrixFunctions, PowersAreRepeatedProducts) {
  std::mt19937 random(21);
  CompactMatrixType A = RandomMatrix<TypeParam>(random, 4, 4), R, product = InitCompactIdentityMatrix(4, 4);
  CompactMatrixScale(A, 0.1);
  ASSERT_EQ(CompactMatrixAdd(A, product), 0);  // well conditioned
  for (int n = 0; n <= 7; ++n, product = Times(product, A)) {
    SCOPED_TRACE(n);
    ASSERT_EQ(CompactMatrixPow(A, R, n), 0);
    EXPECT_LE(Deviation(R, product), 1e-13);
    EXPECT_EQ(IsComplexMatrix(R), n > 0 && IsComplexMatrix(A));
    CompactMatrixType inverse;
    ASSERT_EQ(CompactMatrixPow(A, inverse, -n), 0);
    EXPECT_LE(Deviation(Times(inverse, R), InitCompactIdentityMatrix(4, 4)), 1e-13);
  }
}

// A norm below 1 makes 20 terms of the series plenty, which loses no digits when it is summed from the last.
TYPED_TEST(MatrixFunctions, ExponentialAgreesWithItsSeries) {
  std::mt19937 random(22);
  for (const bool hermitian : {false, true}) {
    CompactMatrixType A =
        hermitian ? RandomHermitian<TypeParam>(random, 5) : RandomMatrix<TypeParam>(random, 5, 5);
    CompactMatrixScale(A, 0.15);
    CompactMatrixType expected = Identity(5), R;
    for (int k = 20; k > 0; --k) {  // 1 + A / k (1 + A / (k + 1) (...
      expected = Times(A, expected);
      CompactMatrixScale(expected, 1.0 / k);
      ASSERT_EQ(CompactMatrixAdd(expected, Identity(5)), 0);
    }
    EXPECT_LE(Deviation(Exp(A), expected), 3e-15);
    if (!hermitian) continue;
    ASSERT_EQ(HermitianCompactMatrixExp(A, R), 0);
    EXPECT_LE(Deviation(R, expected), 5e-15);
  }
}

// What overflows is infinite, without NaN beside it; what is apart from it stays as it is.
TEST(MatrixExp, HermitianOverflow) {
  CompactMatrixType R;
  ASSERT_EQ(HermitianCompactMatrixExp(Real(2, {2000, 0, 0, 1}), R), 0);
  EXPECT_EQ(std::get<0>(R.Data), (std::vector<double>{HUGE_VAL, 0, 0, std::exp(1.0)}));
  ASSERT_EQ(HermitianCompactMatrixExp(Real(2, {2000, -500, -500, 2000}), R), 0);
  EXPECT_EQ(std::get<0>(R.Data), (std::vector<double>{HUGE_VAL, -HUGE_VAL, -HUGE_VAL, HUGE_VAL}));
  CompactMatrixType C = InitCompactMatrix(2, 2, true);
  C.Data = std::vector<Complex16>{800, {0, 9}, {0, -9}, 800};
  ASSERT_EQ(HermitianCompactMatrixExp(C, R), 0);
  for (const Complex16 z : std::get<1>(R.Data)) EXPECT_FALSE(std::isnan(z.re + z.im));
}

TEST(MatrixExp, IsRightForDefectiveAndNearlyDefectiveMatrices) {
  const double e = std::exp(1.0), d = 1e-9, c = std::cos(2.0), s = std::sin(2.0);
  EXPECT_LE(Deviation(Exp(Real(2, {1, 1, 0, 1})), Real(2, {e, e, 0, e})), 2e-15);
  EXPECT_LE(
      Deviation(Exp(Real(2, {1, 1, 0, 1 + d})), Real(2, {e, e * std::expm1(d) / d, 0, std::exp(1 + d)})),
      2e-15);
  // A permutation of two equal rotations, with degenerate eigenvalues.
  EXPECT_LE(Deviation(Exp(Real(4, {0, -2, 0, 0, 2, 0, 0, 0, 0, 0, 0, -2, 0, 0, 2, 0})),
                      Real(4, {c, -s, 0, 0, s, c, 0, 0, 0, 0, c, -s, 0, 0, s, c})),
            1e-15);
}

// R. C. Ward, SIAM J. Numer. Anal. 14 (1977) 600, example 3, whose elements of size 400 cost four digits; the
// exponential by mpmath with 40 digits.
TEST(MatrixExp, PassesAnIllConditionedExample) {
  EXPECT_LE(Deviation(Exp(Real(3, {-131, 19, 18, -390, 56, 54, -387, 57, 52})),
                      Real(3, {-1.5096441587960897, 0.36787943911028870, 0.13533528117545907,
                               -5.6325707998925960, 1.4715177585023084, 0.40600584352637721,
                               -4.9349383260981071, 1.1036383173308661, 0.54134112676298999})),
            1e-11);
}

TEST(MatrixSqrt, CountsAndReportsNegativeEigenvalues) {
  CompactMatrixType R;
  const CompactMatrixType A = Real(2, {4, 0, 0, -2});
  EXPECT_EQ(
      Printed([&] { EXPECT_EQ(CompactMatrixSqrt(A, R), 1); }),
      "Negative value in CompactMatrixSqrt, eigen value is -2.000000000000000E+00 at pos 0 (trace |val| = "
      " 6.000000000000000E+00)\n");
  EXPECT_LE(Deviation(R, Real(2, {2, 0, 0, 0})), 1e-15);
}

TYPED_TEST(MatrixFunctions, PartsByTheSignOfEigenvaluesAddUp) {
  std::mt19937 random(24);
  const CompactMatrixType A = RandomHermitian<TypeParam>(random, 7);
  CompactMatrixType P, N;
  EigenvalueSigns counts;
  double sum = 0;
  ASSERT_EQ(HermitianCompactMatrixToPosAndNeg(A, P, N, counts, sum), 0);
  EXPECT_EQ(counts.positive + counts.negative, 7u);
  // P - N is the root of the square of A.
  CompactMatrixType root;
  double trace = 0;
  for (std::uint32_t i = 0; i < 7; ++i) trace += CompactMatrixElement(N, i, i).re;
  EXPECT_NEAR(sum, trace, 1e-13);
  CompactMatrixType both = P;
  ASSERT_EQ(CompactMatrixAdd(both, N), 0);
  EXPECT_LE(Deviation(both, A), 1e-14);
  ASSERT_EQ(CompactMatrixSqrt(Times(A, A), root), 0);
  ASSERT_EQ(CompactMatrixSub(P, N), 0);
  EXPECT_LE(Deviation(P, root), 1e-13);
}

TEST(MatrixFunctionFailures, LeaveTheResultAlone) {
  CompactMatrixType R = Real(1, {7});
  EXPECT_EQ(CompactMatrixPow(Real(2, {1, 2, 2, 4}), R, -1), 1);
  EXPECT_EQ(HermitianCompactMatrixExp(InitCompactMatrix(1, 2, false), R), 1);
  EXPECT_EQ(NonHermitianCompactMatrixExp(Real(2, {1e308, 1e308, 0, 1e308}), R), 1);  // its norm overflows
  EXPECT_EQ(CompactMatrixSqrt(Real(1, {INFINITY}), R), -1);
  EXPECT_EQ(CompactMatrixElement(R, 0, 0), Complex16(7));
}

}  // namespace
}  // namespace fermix
