#include "linalg/matrix_orthogonalize.h"

#include <gtest/gtest.h>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

constexpr double Threshold = 1.4901161193847656e-8;

CompactMatrixType Overlap(const CompactMatrixType& m) {
  CompactMatrixType S;
  EXPECT_EQ(CompactMatrixMultiply('N', 'C', m, m, S), 0);
  return S;
}

void ExpectOrthonormalRows(const CompactMatrixType& m) {
  const CompactMatrixType S = Overlap(m);
  for (std::uint32_t i = 0; i < S.Ni; ++i)
    for (std::uint32_t j = 0; j < S.Ni; ++j)
      EXPECT_NEAR(Abs(CompactMatrixElement(S, i, j) - Complex16(i == j)), 0, 1e-14);
}

// The part of row i of a outside of the span of the orthonormal rows of q.
double OutsideOf(const CompactMatrixType& q, const CompactMatrixType& a, std::uint32_t i) {
  std::vector<Complex16> rest(a.Nj);
  for (std::uint32_t j = 0; j < a.Nj; ++j) rest[j] = CompactMatrixElement(a, i, j);
  for (std::uint32_t k = 0; k < q.Ni; ++k) {
    Complex16 overlap = 0;
    for (std::uint32_t j = 0; j < a.Nj; ++j) overlap += Conj(CompactMatrixElement(q, k, j)) * rest[j];
    for (std::uint32_t j = 0; j < a.Nj; ++j) rest[j] -= overlap * CompactMatrixElement(q, k, j);
  }
  double norm = 0;
  for (const Complex16 z : rest) norm += NormSqr(z);
  return std::sqrt(norm);
}

template <class T>
class MatrixOrthogonalize : public testing::Test {};
using Kinds = testing::Types<double, Complex16>;
TYPED_TEST_SUITE(MatrixOrthogonalize, Kinds);

using Orthogonalize = int (*)(CompactMatrixType&, double, bool);
constexpr Orthogonalize onRows[] = {CompactMatrixSVDOrthogonalizeRow,
                                    CompactMatrixGramSchmidtOrthogonalizeRow},
                        onColumns[] = {CompactMatrixSVDOrthogonalizeCol,
                                       CompactMatrixGramSchmidtOrthogonalizeCol};

TYPED_TEST(MatrixOrthogonalize, RowsBecomeOrthonormalAndSpanTheSame) {
  std::mt19937 random(31);
  for (const auto orthogonalize : onRows) {
    const CompactMatrixType A = RandomMatrix<TypeParam>(random, 4, 6);
    CompactMatrixType Q = A;
    ASSERT_EQ(orthogonalize(Q, Threshold, true), 0);
    ASSERT_EQ(Q.Ni, 4u);
    ExpectOrthonormalRows(Q);
    for (std::uint32_t i = 0; i < 4; ++i) EXPECT_NEAR(OutsideOf(Q, A, i), 0, 1e-13);
  }
}

TYPED_TEST(MatrixOrthogonalize, ColumnsAreTheRowsOfTheTransposedMatrix) {
  std::mt19937 random(32);
  for (int method = 0; method < 2; ++method) {
    CompactMatrixType columns = RandomMatrix<TypeParam>(random, 5, 3), rows = columns;
    CompactMatrixTranspose(rows);
    ASSERT_EQ(onRows[method](rows, Threshold, true), 0);
    ASSERT_EQ(onColumns[method](columns, Threshold, true), 0);
    CompactMatrixTranspose(columns);
    EXPECT_TRUE(QCompactMatrixEqual(rows, columns));
  }
}

// The closest orthonormal rows: A = H Q with H Hermitian and positive (the polar decomposition).
TYPED_TEST(MatrixOrthogonalize, LowdinRowsAreTheClosest) {
  std::mt19937 random(33);
  const CompactMatrixType A = RandomMatrix<TypeParam>(random, 4, 4);
  CompactMatrixType Q = A, H, V;
  std::vector<double> e;
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(Q, Threshold, false), 0);
  ASSERT_EQ(CompactMatrixMultiply('N', 'C', A, Q, H), 0);
  EXPECT_TRUE(QCompactMatrixHermitian(H, 1e-13));
  ASSERT_EQ(CompactMatrixEigensystem(H, V, e), 0);
  EXPECT_GT(e[0], 0);
}

TYPED_TEST(MatrixOrthogonalize, DependentRowsGoOneByOne) {
  CompactMatrixType A = InitCompactMatrix(4, 3, IsComplex<TypeParam>);
  auto& a = std::get<std::vector<TypeParam>>(A.Data);
  a[0] = a[3] = a[6] = 3;  // three equal rows, and one apart
  a[9 + 1] = 2;
  for (const auto orthogonalize : onRows) {
    SCOPED_TRACE(orthogonalize == onRows[0] ? "Lowdin" : "Gram-Schmidt");
    CompactMatrixType Q = A;
    ASSERT_EQ(orthogonalize(Q, Threshold, true), 0);
    if (orthogonalize == onRows[0]) {
      ASSERT_EQ(Q.Ni, 2u);
      ExpectOrthonormalRows(Q);
      EXPECT_NEAR(Abs(CompactMatrixElement(Q, 0, 0)), 1, 1e-14);
      EXPECT_NEAR(Abs(CompactMatrixElement(Q, 1, 1)), 1, 1e-14);
    }
    CompactMatrixType kept = A;
    ASSERT_EQ(orthogonalize(kept, Threshold, false), 0);
    EXPECT_EQ(kept.Ni, 4u);
  }
}

TYPED_TEST(MatrixOrthogonalize, MoreRowsThanColumnsAreDependent) {
  std::mt19937 random(34);
  CompactMatrixType tall = RandomMatrix<TypeParam>(random, 5, 2), kept = tall;
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(kept, Threshold, false), 0);
  ASSERT_EQ(kept.Ni, 5u);
  double trace = 0;  // of a projector on two dimensions
  for (std::uint32_t i = 0; i < 5; ++i) trace += CompactMatrixElement(Overlap(kept), i, i).re;
  EXPECT_NEAR(trace, 2, 1e-14);
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(tall, Threshold, true), 0);
  ASSERT_EQ(tall.Ni, 2u);
  ExpectOrthonormalRows(tall);
}

TYPED_TEST(MatrixOrthogonalize, ThresholdsAreMeasuredOnTheGivenRows) {
  CompactMatrixType A = InitCompactMatrix(2, 2, IsComplex<TypeParam>);
  auto& a = std::get<std::vector<TypeParam>>(A.Data);
  a[0] = 5, a[3] = 3;
  CompactMatrixType both = A, one = A, none = A;
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(both, 2.9, true), 0);
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(one, 3, true), 0);
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(none, 5, true), 0);
  EXPECT_EQ(both.Ni, 2u);
  EXPECT_EQ(one.Ni, 1u);
  EXPECT_EQ(none.Ni, 0u);
}

TEST(GramSchmidt, ComparesSquaresOfRealRowsAndNormsOfComplexOnes) {
  const struct {
    double norm, threshold;
    std::uint32_t real, complex;  // rows that remain
  } cases[] = {{1e-8, 1e-12, 0, 1}, {0.5, 0.3, 0, 1}, {0.5, 0.25, 1, 1},
               {0.5, 0.5, 0, 0},    {2, 3, 1, 0},     {0, 0, 0, 0}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.norm);
    CompactMatrixType real = InitCompactMatrix(1, 2, false), complex = InitCompactMatrix(1, 2, true);
    std::get<0>(real.Data)[1] = std::get<1>(complex.Data)[1].im = c.norm;
    ASSERT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(real, c.threshold, true), 0);
    ASSERT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(complex, c.threshold, true), 0);
    EXPECT_EQ(real.Ni, c.real);
    EXPECT_EQ(complex.Ni, c.complex);
  }
}

TYPED_TEST(MatrixOrthogonalize, HugeRowsAreNormalisedAndZerosDropped) {
  CompactMatrixType A = InitCompactMatrix(3, 2, IsComplex<TypeParam>);
  auto& a = std::get<std::vector<TypeParam>>(A.Data);
  a[0] = a[2] = a[3] = 1e300;  // and a row of zeros, not below the threshold
  ASSERT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(A, -1, true), 0);
  ASSERT_EQ(A.Ni, 2u);
  ExpectOrthonormalRows(A);
}

// Rows 0, (dropped), 2, 3: the row behind the kept row 2 is not projected, which is meant to stay so.
TEST(GramSchmidt, SkipsAsManyRowsAsWereDropped) {
  CompactMatrixType m = InitCompactMatrix(4, 3, false);
  std::get<0>(m.Data) = {2, 0, 0, 3, 0, 0, 1, 1, 0, 0, 1, 1};
  ASSERT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(m, 1e-20, false), 0);
  const double r = std::sqrt(0.5);
  const double expected[] = {1, 0, 0, 0, 1, 0, 0, r, r, 0, 0, 0};
  for (std::uint32_t k = 0; k < 12; ++k)
    EXPECT_NEAR(CompactMatrixElement(m, k / 3, k % 3).re, expected[k], 1e-15) << k;
}

TEST(Orthogonalize, EmptyAndBadMatrices) {
  for (const auto orthogonalize : onRows) {
    CompactMatrixType empty, flat = InitCompactMatrix(3, 0, false), bad = InitCompactMatrix(1, 1, false);
    std::get<0>(bad.Data)[0] = std::nan("");
    EXPECT_EQ(orthogonalize(empty, Threshold, true), 0);
    EXPECT_EQ(orthogonalize(flat, Threshold, true), 0);
    EXPECT_EQ(flat.Ni, 0u);
    testing::internal::CaptureStdout();
    EXPECT_EQ(orthogonalize(bad, Threshold, true), 1);
    EXPECT_NE(testing::internal::GetCapturedStdout().find("called with a matrix that is not finite\n"),
              std::string::npos);
  }
}

}  // namespace
}  // namespace fermix
