#include "linalg/matrix_functions.h"

#include <gtest/gtest.h>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

CompactMatrixType Real(std::uint32_t n, std::vector<double> elements) {
  CompactMatrixType m = InitCompactMatrix(n, n, false);
  m.Data = std::move(elements);
  return m;
}

void ExpectNear(const CompactMatrixType& a, const CompactMatrixType& b, double tolerance) {
  ASSERT_EQ(a.Ni, b.Ni);
  ASSERT_EQ(a.Nj, b.Nj);
  for (std::uint32_t i = 0; i < a.Ni; ++i)
    for (std::uint32_t j = 0; j < a.Nj; ++j)
      EXPECT_NEAR(Abs(CompactMatrixElement(a, i, j) - CompactMatrixElement(b, i, j)), 0, tolerance)
          << i << " " << j;
}

CompactMatrixType Times(const CompactMatrixType& a, const CompactMatrixType& b) {
  CompactMatrixType product;
  EXPECT_EQ(CompactMatrixMultiply('N', 'N', a, b, product), 0);
  return product;
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

// The series summed in extended precision; a norm below 1 makes 30 terms plenty.
TYPED_TEST(MatrixFunctions, ExponentialAgreesWithItsSeries) {
  std::mt19937 random(22);
  for (const bool hermitian : {false, true}) {
    const std::size_t n = 5;
    CompactMatrixType A =
        hermitian ? RandomHermitian<TypeParam>(random, n) : RandomMatrix<TypeParam>(random, n, n);
    CompactMatrixScale(A, 0.15);
    struct Z {
      long double re, im;
    };
    std::vector<Z> term(n * n), sum(n * n);
    for (std::size_t i = 0; i < n; ++i) term[i * n + i] = sum[i * n + i] = {1, 0};
    for (int k = 1; k <= 30; ++k) {
      std::vector<Z> next(n * n);
      for (std::uint32_t i = 0; i < n; ++i)
        for (std::uint32_t j = 0; j < n; ++j)
          for (std::uint32_t l = 0; l < n; ++l) {
            const Complex16 a = CompactMatrixElement(A, l, j);
            const Z t = term[i * n + l];
            next[i * n + j].re += (t.re * a.re - t.im * a.im) / k;
            next[i * n + j].im += (t.re * a.im + t.im * a.re) / k;
          }
      term = next;
      for (std::size_t i = 0; i < n * n; ++i) sum[i].re += term[i].re, sum[i].im += term[i].im;
    }
    CompactMatrixType expected = InitCompactMatrix(n, n, true), R;
    for (std::size_t i = 0; i < n * n; ++i)
      std::get<1>(expected.Data)[i] = {static_cast<double>(sum[i].re), static_cast<double>(sum[i].im)};
    ExpectNear(Exp(A), expected, 2e-15);
    if (!hermitian) continue;
    ASSERT_EQ(HermitianCompactMatrixExp(A, R), 0);
    ExpectNear(R, expected, 5e-15);
  }
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
  CompactMatrixType A, R;
  ASSERT_EQ(CompactMatrixMultiply('N', 'C', H, H, A),
            0);  // positive, of rank 3: two eigenvalues are rounding
  testing::internal::CaptureStdout();
  ASSERT_EQ(CompactMatrixSqrt(A, R), 0);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
  ExpectNear(Times(R, R), A, 1e-14);
}

TEST(MatrixSqrt, CountsAndReportsNegativeEigenvalues) {
  CompactMatrixType R;
  testing::internal::CaptureStdout();
  EXPECT_EQ(CompactMatrixSqrt(Real(3, {-1, 0, 0, 0, 4, 0, 0, 0, -2}), R), 2);
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "Negative value in CompactMatrixSqrt, eigen value is -2.000000000000000E+00 at pos 0 (trace |val| = "
      " 7.000000000000000E+00)\n"
      "Negative value in CompactMatrixSqrt, eigen value is -1.000000000000000E+00 at pos 1 (trace |val| = "
      " 7.000000000000000E+00)\n");
  ExpectNear(R, Real(3, {0, 0, 0, 0, 2, 0, 0, 0, 0}), 1e-15);
}

TYPED_TEST(MatrixFunctions, PartsByTheSignOfEigenvaluesAddUp) {
  std::mt19937 random(24);
  const CompactMatrixType A = RandomHermitian<TypeParam>(random, 7);
  CompactMatrixType P, N, V;
  EigenvalueSigns counts;
  double sum = 0;
  std::vector<double> e;
  ASSERT_EQ(HermitianCompactMatrixToPosAndNeg(A, P, N, counts, sum), 0);
  EXPECT_EQ(counts.positive + counts.negative, 7u);
  ASSERT_EQ(CompactMatrixEigensystem(P, V, e), 0);
  EXPECT_GT(e[0], -1e-14);
  ASSERT_EQ(CompactMatrixEigensystem(N, V, e), 0);
  EXPECT_LT(e[6], 1e-14);
  double trace = 0;
  for (std::uint32_t i = 0; i < 7; ++i) trace += CompactMatrixElement(N, i, i).re;
  EXPECT_NEAR(sum, trace, 1e-13);
  ASSERT_EQ(CompactMatrixAdd(P, N), 0);
  ExpectNear(P, A, 1e-14);
  ASSERT_EQ(HermitianCompactMatrixToPosAndNeg(InitCompactMatrix(2, 2, false), P, N, counts, sum), 0);
  EXPECT_EQ(counts.zero, 2u);
}

TEST(MatrixFunctionFailures, AreNamedAndLeaveTheResultAlone) {
  const CompactMatrixType singular = Real(2, {1, 2, 2, 4}), bad = Real(1, {INFINITY}),
                          rectangular = InitCompactMatrix(1, 2, false);
  CompactMatrixType R = Real(1, {7}), N = R;
  EigenvalueSigns counts;
  double sum = 0;
  testing::internal::CaptureStdout();
  EXPECT_EQ(CompactMatrixPow(singular, R, -1), 1);
  EXPECT_EQ(CompactMatrixPow(rectangular, R, 2), 1);
  EXPECT_EQ(HermitianCompactMatrixExp(rectangular, R), 1);
  EXPECT_EQ(NonHermitianCompactMatrixExp(bad, R), 1);
  EXPECT_EQ(NonHermitianCompactMatrixExp(Real(2, {1e308, 1e308, 0, 1e308}), R),
            1);  // norm beyond all numbers
  EXPECT_EQ(CompactMatrixSqrt(bad, R), -1);
  EXPECT_EQ(HermitianCompactMatrixToPosAndNeg(bad, R, N, counts, sum), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
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
