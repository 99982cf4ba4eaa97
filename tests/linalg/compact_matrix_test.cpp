#include "linalg/compact_matrix.h"

#include <gtest/gtest.h>

#include "alloc_failure.h"
#include "linalg/matrix_orthogonalize.h"
#include "linalg/random_matrix.h"

namespace fermix {
namespace {

// Element (i, j) of op(m).
Complex16 OpElement(char op, const CompactMatrixType& m, std::uint32_t i, std::uint32_t j) {
  if (op == 'T' || op == 'C') std::swap(i, j);
  const Complex16 z = CompactMatrixElement(m, i, j);
  return op == 'C' || op == '*' ? Conj(z) : z;
}

template <class T>
class CompactMatrix : public testing::Test {};
using Kinds = testing::Types<double, Complex16>;
TYPED_TEST_SUITE(CompactMatrix, Kinds);

TYPED_TEST(CompactMatrix, EigensystemHasOrthonormalRowsAndSmallResiduals) {
  std::mt19937 random(1);
  for (const std::uint32_t n : {1u, 2u, 7u, 64u, 65u, 150u}) {  // both drivers
    SCOPED_TRACE(n);
    const CompactMatrixType A = RandomHermitian<TypeParam>(random, n);
    CompactMatrixType V, overlap;
    std::vector<double> e;
    ASSERT_EQ(CompactMatrixEigensystem(A, V, e), 0);
    EXPECT_TRUE(std::is_sorted(e.begin(), e.end()));
    EXPECT_EQ(V.Name, "Eigenvectors of Matrix");
    ASSERT_EQ(CompactMatrixMultiply('*', 'T', V, V, overlap), 0);
    const double tolerance = 1e-14 * n * 2;  // rounding grows with the size
    for (std::uint32_t k = 0; k < n; ++k)
      for (std::uint32_t i = 0; i < n; ++i) {
        EXPECT_NEAR(Abs(CompactMatrixElement(overlap, k, i) - Complex16(i == k)), 0, tolerance);
        Complex16 residual = -e[k] * CompactMatrixElement(V, k, i);
        for (std::uint32_t j = 0; j < n; ++j)
          residual += CompactMatrixElement(A, i, j) * CompactMatrixElement(V, k, j);
        EXPECT_NEAR(Abs(residual), 0, tolerance);
      }
    const CompactMatrixType back = TransformDiagonalMatrixByCompactMatrixTtranATcon(e, V);
    for (std::uint32_t i = 0; i < n; ++i)
      for (std::uint32_t j = 0; j < n; ++j)
        EXPECT_NEAR(Abs(CompactMatrixElement(back, i, j) - CompactMatrixElement(A, i, j)), 0, tolerance);
  }
}

TYPED_TEST(CompactMatrix, InverseTimesMatrixIsTheIdentity) {
  std::mt19937 random(2);
  const CompactMatrixType A = RandomMatrix<TypeParam>(random, 9, 9);
  CompactMatrixType inverse = A, product;
  ASSERT_EQ(CompactMatrixInverse(inverse), 0);
  ASSERT_EQ(CompactMatrixMultiply('N', 'N', A, inverse, product), 0);
  for (std::uint32_t i = 0; i < 9; ++i)
    for (std::uint32_t j = 0; j < 9; ++j)
      EXPECT_NEAR(Abs(CompactMatrixElement(product, i, j) - Complex16(i == j)), 0, 1e-12);

  CompactMatrixType singular = InitCompactMatrix(3, 3, IsComplex<TypeParam>),
                    rectangular = InitCompactMatrix(2, 3, IsComplex<TypeParam>);
  EXPECT_EQ(CompactMatrixInverse(singular), 1);
  EXPECT_EQ(CompactMatrixInverse(rectangular), -1);
}

TEST(CompactMatrixProducts, EveryPairOfOpsAndKindsAgreesWithTripleLoops) {
  std::mt19937 random(3);
  const std::uint32_t m = 3, k = 4, n = 2;
  const auto matrix = [&](bool complex, char op, std::uint32_t rows, std::uint32_t columns) {
    if (op == 'T' || op == 'C') std::swap(rows, columns);
    return complex ? RandomMatrix<Complex16>(random, rows, columns)
                   : RandomMatrix<double>(random, rows, columns);
  };
  const Complex16 factors[] = {{1, 0}, {-0.5, 0}, {0.25, 2}, {0, 0}};
  for (const char opA : {'N', 'T', 'C', '*'})
    for (const char opB : {'N', 'T', 'C', '*'})
      for (int kinds = 0; kinds < 8; ++kinds)
        for (const Complex16 alpha : factors)
          for (const Complex16 beta : factors) {
            const CompactMatrixType A = matrix(kinds & 1, opA, m, k), B = matrix(kinds & 2, opB, k, n),
                                    C = matrix(kinds & 4, 'N', m, n);
            CompactMatrixType result = C;
            ASSERT_EQ(CompactMatrixAddMultiply(opA, opB, A, B, result, alpha, beta), 0);
            const bool readsC = !(beta == Complex16(0));
            const bool complex = kinds & 3 || (kinds & 4 && readsC) || alpha.im != 0 || beta.im != 0;
            EXPECT_EQ(IsComplexMatrix(result), complex) << opA << opB << kinds;
            for (std::uint32_t i = 0; i < m; ++i)
              for (std::uint32_t j = 0; j < n; ++j) {
                Complex16 sum = 0;
                for (std::uint32_t l = 0; l < k; ++l)
                  sum += OpElement(opA, A, i, l) * OpElement(opB, B, l, j);
                const Complex16 expected = alpha * sum + beta * CompactMatrixElement(C, i, j);
                EXPECT_NEAR(Abs(CompactMatrixElement(result, i, j) - expected), 0, 1e-14)
                    << opA << opB << kinds;
              }
          }
}

TEST(CompactMatrixProducts, ShapesThatDoNotFitAreNamed) {
  CompactMatrixType A = InitCompactMatrix(2, 3, false), B = InitCompactMatrix(2, 3, false), C;
  A.Name = "first";
  testing::internal::CaptureStdout();
  EXPECT_EQ(CompactMatrixMultiply('N', 'N', A, B, C), 1);
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "Trying to multiply matrix (first)^N with dimension 2 3 with matrix (Matrix)^N with dimension 2 3 "
      "and add it to matrix (Matrix) with dimension 2 3\nError in dimensions\n");
  EXPECT_EQ(C.Ni, 0u);
}

TEST(CompactMatrixChop, DropsSmallPartsAndGoesBackToReal) {
  CompactMatrixType m = InitCompactMatrix(1, 2, true);
  auto& data = std::get<1>(m.Data);
  data = {{1e-3, 1e-4}, {2, -1e-3}};
  CompactMatrixChop(m, 1e-3);  // strictly below only
  ASSERT_TRUE(IsComplexMatrix(m));
  EXPECT_EQ(CompactMatrixElement(m, 0, 0), Complex16(1e-3, 0));
  EXPECT_EQ(CompactMatrixElement(m, 0, 1), Complex16(2, -1e-3));
  CompactMatrixChop(m, 1.1e-3);
  ASSERT_FALSE(IsComplexMatrix(m));
  EXPECT_EQ(CompactMatrixElement(m, 0, 0), Complex16(0));
  EXPECT_EQ(CompactMatrixElement(m, 0, 1), Complex16(2));
  CompactMatrixType empty;
  empty.Data = std::vector<Complex16>();
  CompactMatrixChop(empty, 1);
  EXPECT_FALSE(IsComplexMatrix(empty));
}

TEST(CompactMatrixHermitian, ComparesMirroredElementsAndTheDiagonal) {
  const double nan = std::nan("");
  const struct {
    std::vector<Complex16> elements;
    bool hermitian;
  } cases[] = {{{1, {2, 3}, {2, -3}, 4}, true},
               {{1, {2, 3}, {2, 3}, 4}, false},
               {{{1, 1e-9}, 0, 0, 4}, false},
               {{{1, 1e-16}, 0, 0, 4}, true},
               {{1, {2, 3}, {2 + 1e-12, -3}, 4}, false},
               {{1, {nan, 0}, {2, 0}, 4}, false},
               {{nan, 0, 0, 1}, false},
               {{1, 1.2e308, 1.7e308, 1}, false},  // the sum is no finite scale
               {{0, 0, 0, 0}, true}};
  for (const auto& c : cases) {
    CompactMatrixType m = InitCompactMatrix(2, 2, true);
    m.Data = c.elements;
    EXPECT_EQ(QCompactMatrixHermitian(m, 2.220446049250313e-16), c.hermitian);
  }
  EXPECT_FALSE(QCompactMatrixHermitian(InitCompactMatrix(2, 3, false), 1));
}

TEST(CompactMatrixEigensystemFailures, LeaveTheResultAlone) {
  CompactMatrixType V = InitCompactMatrix(1, 1, false);
  std::vector<double> e = {7};
  CompactMatrixType bad = InitCompactMatrix(2, 2, false);
  std::get<0>(bad.Data)[1] = std::nan("");
  testing::internal::CaptureStdout();
  EXPECT_EQ(CompactMatrixEigensystem(InitCompactMatrix(2, 3, false), V, e), 1);
  EXPECT_EQ(CompactMatrixEigensystem(bad, V, e), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "CompactMatrixEigensystem called with non-square matrix\n"
            "CompactMatrixEigensystem called with a matrix that is not finite\n");
  EXPECT_EQ(V.Ni, 1u);
  EXPECT_EQ(e, std::vector<double>{7});
  CompactMatrixType empty;
  empty.Name = "nothing";
  ASSERT_EQ(CompactMatrixEigensystem(empty, V, e), 0);
  EXPECT_EQ(V.Name, "nothing");
  EXPECT_TRUE(e.empty());
}

TEST(CompactMatrixScaleComplex, StaysRealForRealFactors) {
  CompactMatrixType m = InitCompactMatrix(1, 1, false);
  std::get<0>(m.Data)[0] = 3;
  CompactMatrixScaleComplex(m, 2);
  EXPECT_FALSE(IsComplexMatrix(m));
  CompactMatrixScaleComplex(m, {0, 1});
  EXPECT_EQ(CompactMatrixElement(m, 0, 0), Complex16(0, 6));
  std::get<1>(m.Data)[0] = {HUGE_VAL, 1};
  CompactMatrixScaleComplex(m, -1);
  EXPECT_EQ(CompactMatrixElement(m, 0, 0), Complex16(-HUGE_VAL, -1));
}

TYPED_TEST(CompactMatrix, TransposesConjugatesAndAddsElementByElement) {
  std::mt19937 random(4);
  for (const std::uint32_t Nj : {3u, 5u}) {  // in place, and through a new array
    const CompactMatrixType A = RandomMatrix<TypeParam>(random, 3, Nj),
                            B = RandomMatrix<double>(random, 3, Nj);
    CompactMatrixType H = A, sum = B;
    CompactMatrixTranspose(H);
    CompactMatrixConjugate(H);
    ASSERT_EQ(CompactMatrixSub(sum, A), 0);
    ASSERT_EQ(H.Ni, Nj);
    ASSERT_EQ(H.Nj, 3u);
    for (std::uint32_t i = 0; i < 3; ++i)
      for (std::uint32_t j = 0; j < Nj; ++j) {
        EXPECT_EQ(CompactMatrixElement(H, j, i), Conj(CompactMatrixElement(A, i, j)));
        EXPECT_EQ(CompactMatrixElement(sum, i, j),
                  CompactMatrixElement(B, i, j) - CompactMatrixElement(A, i, j));
      }
  }
}

TYPED_TEST(CompactMatrix, TransformsKeepTraceAndUndoEachOther) {
  std::mt19937 random(5);
  const CompactMatrixType M = RandomMatrix<TypeParam>(random, 6, 6);
  CompactMatrixType U, turned = M;
  std::vector<double> e;
  ASSERT_EQ(CompactMatrixEigensystem(RandomHermitian<TypeParam>(random, 6), U, e), 0);
  ASSERT_EQ(TransformCompactMatrixInlineNC(turned, U), 0);
  Complex16 trace = 0;
  for (std::uint32_t i = 0; i < 6; ++i)
    trace += CompactMatrixElement(turned, i, i) - CompactMatrixElement(M, i, i);
  EXPECT_NEAR(Abs(trace), 0, 1e-13);
  EXPECT_GT(Abs(CompactMatrixElement(turned, 0, 1) - CompactMatrixElement(M, 0, 1)), 1e-3);
  ASSERT_EQ(TransformCompactMatrixInlinecT(turned, U), 0);
  ASSERT_EQ(CompactMatrixSub(turned, M), 0);
  for (std::uint32_t k = 0; k < 36; ++k)
    EXPECT_NEAR(Abs(CompactMatrixElement(turned, k / 6, k % 6)), 0, 1e-13);

  // The two transforms of a diagonal by rows T are conjugates of each other.
  const CompactMatrixType a = TransformDiagonalMatrixByCompactMatrixTdagAT(e, U),
                          b = TransformDiagonalMatrixByCompactMatrixTtranATcon(e, U);
  for (std::uint32_t k = 0; k < 36; ++k)
    EXPECT_NEAR(Abs(CompactMatrixElement(a, k / 6, k % 6) - Conj(CompactMatrixElement(b, k / 6, k % 6))), 0,
                1e-14);
}

TEST(CompactMatrixShape, BlocksAreAddedAndRowsRemoved) {
  CompactMatrixType m = InitCompactIdentityMatrix(3, 4), i2 = InitCompactIdentityMatrix(2, 2);
  EXPECT_EQ(m.Name, "I_Matrix");
  ASSERT_EQ(CompactMatrixAddShifted(m, i2, {0, 2}, 1, 2), 0);
  ASSERT_TRUE(IsComplexMatrix(m));
  EXPECT_EQ(CompactMatrixElement(m, 1, 2), Complex16(0, 2));
  EXPECT_EQ(CompactMatrixElement(m, 2, 2), Complex16(1));
  ASSERT_EQ(CompactMatrixRemoveRow(m, 1), 0);
  EXPECT_EQ(m.Ni, 2u);
  EXPECT_EQ(CompactMatrixElement(m, 1, 3), Complex16(0, 2));
  ResizeCompactMatrix(m, 3, 3);  // the sequence of elements stays
  EXPECT_EQ(CompactMatrixElement(m, 2, 0), Complex16(1));
  EXPECT_EQ(CompactMatrixElement(m, 2, 2), Complex16(0));

  testing::internal::CaptureStdout();
  EXPECT_EQ(CompactMatrixAddShifted(m, i2, 1, 2, 0), 1);
  EXPECT_EQ(CompactMatrixAddShifted(m, i2, 1, 0, 4294967295u), 1);
  EXPECT_EQ(CompactMatrixAdd(m, i2), 1);
  EXPECT_EQ(CompactMatrixRemoveRow(m, 3), 1);
  EXPECT_EQ(
      testing::internal::GetCapturedStdout(),
      "Matrix B shifted does not fit in matrix M\nMatrix B shifted does not fit in matrix M\n"
      "Error in dimensions\nError in CompactMatrixRemoveRow, tried to remove row 3, but there are only 3 "
      "rows (counting starts at zero)\n");
}

TEST(CompactMatrixEqual, ComparesShapesKindsAndElements) {
  const CompactMatrixType m = InitCompactIdentityMatrix(2, 3);
  CompactMatrixType other = m, nan = m;
  other.Name = "other";
  EXPECT_TRUE(QCompactMatrixEqual(m, other));
  MakeCompactRealMatrixComplex(other);
  EXPECT_FALSE(QCompactMatrixEqual(m, other));
  EXPECT_FALSE(QCompactMatrixEqual(m, InitCompactIdentityMatrix(3, 2)));
  std::get<0>(nan.Data)[1] = std::nan("");
  EXPECT_FALSE(QCompactMatrixEqual(nan, nan));
}

TEST(CompactMatrixText, IsAListingInColumns) {
  CompactMatrixType m = InitCompactMatrix(2, 2, false);
  std::get<0>(m.Data) = {1, -2.5, 1e-20, 123456789};
  EXPECT_EQ(CompactMatrixToString(m), "{ {  1      , -2.5    } ,\n  {  1e-20  ,  1.23e8 } }\n");
  m.Ni = 1;
  m.Data = std::vector<Complex16>{{1, -2}, {-0.5, 1.0 / 3}};
  EXPECT_EQ(CompactMatrixToString(m), "{ {  1 - 2 I        , -0.5 + 0.333333 I} }\n");
  EXPECT_EQ(CompactMatrixToString(InitCompactMatrix(3, 0, true)), "");
}

TEST(CompactMatrixMemory, FailuresLeaveTheMatrixAsItWas) {
  std::mt19937 random(6);
  const CompactMatrixType real = RandomMatrix<double>(random, 2, 3),
                          complex = RandomMatrix<Complex16>(random, 2, 3);
  testing::internal::CaptureStdout();
  const auto unchanged = [&](const CompactMatrixType& m) { EXPECT_TRUE(QCompactMatrixEqual(m, real)); };
  EXPECT_GT(test::FailEachAllocation(
                real, [&](CompactMatrixType& m) { ASSERT_EQ(CompactMatrixAdd(m, complex), 0); }, unchanged),
            0u);
  EXPECT_GT(test::FailEachAllocation(
                real, [](CompactMatrixType& m) { CompactMatrixTranspose(m); }, unchanged),
            0u);
  EXPECT_GT(test::FailEachAllocation(
                real,
                [](CompactMatrixType& m) {
                  CompactMatrixScaleComplex(m, {0, 1});
                },
                unchanged),
            0u);
  EXPECT_GT(
      test::FailEachAllocation(
          real, [](CompactMatrixType& m) { ASSERT_EQ(CompactMatrixSVDOrthogonalizeCol(m, 1e-8, true), 0); },
          unchanged),
      0u);
  testing::internal::GetCapturedStdout();
}

}  // namespace
}  // namespace fermix
