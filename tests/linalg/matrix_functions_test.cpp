#include "linalg/matrix_functions.h"

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

CompactMatrixType Real(std::uint32_t n, std::vector<double> elements) {
  return RealMatrix(n, n, std::move(elements));
}

void ExpectNear(const CompactMatrixType& a, const CompactMatrixType& b, double tolerance) {
  EXPECT_LE(Deviation(a, b), tolerance);
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
  A.A0 = 1, A.B0 = 2, A.Mu = 3;
  for (int n = 0; n <= 13; ++n, product = Times(product, A)) {
    SCOPED_TRACE(n);
    ASSERT_EQ(CompactMatrixPow(A, R, n), 0);
    ExpectNear(R, product, 1e-13);
    EXPECT_EQ(R.A0 + R.B0 + R.Mu, 6);
    EXPECT_EQ(IsComplexMatrix(R), n > 0 && IsComplexMatrix(A));
    CompactMatrixType inverse;
    ASSERT_EQ(CompactMatrixPow(A, inverse, -n), 0);
    ExpectNear(Times(inverse, R), InitCompactIdentityMatrix(4, 4), 1e-13);
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
    ExpectNear(Exp(A), expected, 3e-15);
    if (!hermitian) continue;
    ASSERT_EQ(HermitianCompactMatrixExp(A, R), 0);
    ExpectNear(R, expected, 5e-15);
  }
}

// What overflows is infinite, without NaN beside it; what is apart from it stays as it is.
TEST(MatrixExp, HermitianOverflow) {
  CompactMatrixType R, C = InitCompactMatrix(2, 2, true);
  ASSERT_EQ(HermitianCompactMatrixExp(Real(2, {2000, 0, 0, 1}), R), 0);
  EXPECT_EQ(std::get<0>(R.Data), (std::vector<double>{HUGE_VAL, 0, 0, std::exp(1.0)}));
  ASSERT_EQ(HermitianCompactMatrixExp(Real(2, {2000, -500, -500, 2000}), R), 0);
  EXPECT_EQ(std::get<0>(R.Data), (std::vector<double>{HUGE_VAL, -HUGE_VAL, -HUGE_VAL, HUGE_VAL}));
  C.Data = std::vector<Complex16>{800, {0, 9}, {0, -9}, 800};
  ASSERT_EQ(HermitianCompactMatrixExp(C, R), 0);
  EXPECT_EQ(std::get<1>(R.Data)[1].im, HUGE_VAL);
  for (const Complex16 z : std::get<1>(R.Data)) EXPECT_FALSE(std::isnan(z.re + z.im));
}

TEST(MatrixExp, IsRightForDefectiveAndNearlyDefectiveMatrices) {
  const double e = std::exp(1.0), d = 1e-9, c = std::cos(2.0), s = std::sin(2.0);
  ExpectNear(Exp(Real(2, {1, 1, 0, 1})), Real(2, {e, e, 0, e}), 2e-15);
  ExpectNear(Exp(Real(2, {1, 1, 0, 1 + d})), Real(2, {e, e * std::expm1(d) / d, 0, std::exp(1 + d)}), 2e-15);
  ExpectNear(Exp(Real(3, {0, 6, 0, 0, 0, 6, 0, 0, 0})), Real(3, {1, 6, 18, 0, 1, 6, 0, 0, 1}), 2e-14);
  ExpectNear(Exp(Real(2, {0, -2, 2, 0})), Real(2, {c, -s, s, c}), 1e-15);
  // A permutation: three equal blocks and a rotation, with degenerate eigenvalues.
  ExpectNear(Exp(Real(4, {0, -2, 0, 0, 2, 0, 0, 0, 0, 0, 0, -2, 0, 0, 2, 0})),
             Real(4, {c, -s, 0, 0, s, c, 0, 0, 0, 0, c, -s, 0, 0, s, c}), 1e-15);
  ExpectNear(Exp(CompactMatrixType()), CompactMatrixType(), 0);
}

// R. C. Ward, SIAM J. Numer. Anal. 14 (1977) 600, example 3: eigenvalues -1, -2 and -20, from which the
// interpolation polynomial of exp gives the exact result. The elements of size 400 cost four digits.
TEST(MatrixExp, PassesAnIllConditionedExample) {
  const CompactMatrixType A = Real(3, {-131, 19, 18, -390, 56, 54, -387, 57, 52});
  const double values[] = {-1, -2, -20};
  CompactMatrixType expected = InitCompactMatrix(3, 3, false);
  for (const double k : values) {
    CompactMatrixType projector = InitCompactIdentityMatrix(3, 3);
    double denominator = 1;
    for (const double j : values) {
      if (j == k) continue;
      CompactMatrixType shifted = A;
      ASSERT_EQ(CompactMatrixAdd(shifted, InitCompactIdentityMatrix(3, 3), -j), 0);
      projector = Times(projector, shifted);  // exact: integers
      denominator *= k - j;
    }
    ASSERT_EQ(CompactMatrixAdd(expected, projector, std::exp(k) / denominator), 0);
  }
  EXPECT_NEAR(CompactMatrixElement(expected, 0, 0).re, -1.509644158, 1e-9);  // as published
  ExpectNear(Exp(A), expected, 1e-11);
}

TYPED_TEST(MatrixFunctions, RootSquaresBack) {
  std::mt19937 random(23);
  const CompactMatrixType H = RandomMatrix<TypeParam>(random, 5, 3);
  const CompactMatrixType A = Times(H, H, 'N', 'C');  // positive, of rank 3: two eigenvalues are rounding
  CompactMatrixType R;
  EXPECT_EQ(Printed([&] { EXPECT_EQ(CompactMatrixSqrt(A, R), 0); }), "");
  ExpectNear(Times(R, R), A, 1e-14);
}

TEST(MatrixSqrt, CountsAndReportsNegativeEigenvalues) {
  CompactMatrixType R;
  EXPECT_EQ(
      Printed([&] {
        EXPECT_EQ(CompactMatrixSqrt(Real(3, {-1, 0, 0, 0, 4, 0, 0, 0, -2}), R), 2);
      }),
      "Negative value in CompactMatrixSqrt, eigen value is -2.000000000000000E+00 at pos 0 (trace |val| = "
      " 7.000000000000000E+00)\n"
      "Negative value in CompactMatrixSqrt, eigen value is -1.000000000000000E+00 at pos 1 (trace |val| = "
      " 7.000000000000000E+00)\n");
  ExpectNear(R, Real(3, {0, 0, 0, 0, 2, 0, 0, 0, 0}), 1e-15);
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
  ExpectNear(both, A, 1e-14);
  ASSERT_EQ(CompactMatrixSqrt(Times(A, A), root), 0);
  ASSERT_EQ(CompactMatrixSub(P, N), 0);
  ExpectNear(P, root, 1e-13);
  ASSERT_EQ(HermitianCompactMatrixToPosAndNeg(InitCompactMatrix(2, 2, false), P, N, counts, sum), 0);
  EXPECT_EQ(counts.zero, 2u);
}

TEST(MatrixFunctionFailures, AreNamedAndLeaveTheResultAlone) {
  const CompactMatrixType singular = Real(2, {1, 2, 2, 4}), bad = Real(1, {INFINITY}),
                          rectangular = InitCompactMatrix(1, 2, false);
  CompactMatrixType R = Real(1, {7}), N = R;
  EigenvalueSigns counts;
  double sum = 0;
  const std::string printed = Printed([&] {
    EXPECT_EQ(CompactMatrixPow(singular, R, -1), 1);
    EXPECT_EQ(CompactMatrixPow(rectangular, R, 2), 1);
    EXPECT_EQ(HermitianCompactMatrixExp(rectangular, R), 1);
    EXPECT_EQ(NonHermitianCompactMatrixExp(bad, R), 1);
    EXPECT_EQ(NonHermitianCompactMatrixExp(Real(2, {1e308, 1e308, 0, 1e308}), R), 1);  // its norm overflows
    EXPECT_EQ(CompactMatrixSqrt(bad, R), -1);
    EXPECT_EQ(HermitianCompactMatrixToPosAndNeg(bad, R, N, counts, sum), 1);
  });
  EXPECT_EQ(printed,
            "CompactMatrixPow faild at CompactMatrixInverse\n"
            "CompactMatrixPow called with non-square matrix\n"
            "CompactMatrixEigensystem called with non-square matrix\n"
            "CompactMatrixEigensystem failed in HermitianCompactMatrixExp\n"
            "NonHermitianCompactMatrixEigensystem called with a matrix that is not finite\n"
            "NonHermitianCompactMatrixEigensystem failed in NonHermitianCompactMatrixExp\n"
            "CompactMatrixEigensystem called with a matrix that is not finite\n"
            "CompactMatrixEigensystem called with a matrix that is not finite\n"
            "CompactMatrixEigensystem failed in HermitianCompactMatrixToPosAndNeg\n");
  EXPECT_EQ(CompactMatrixElement(R, 0, 0), Complex16(7));
}

}  // namespace
}  // namespace fermix
