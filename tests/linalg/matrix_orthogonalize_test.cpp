#include "linalg/matrix_orthogonalize.h"

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

constexpr double Threshold = 1.4901161193847656e-8;

void ExpectOrthonormalRows(const CompactMatrixType& m) {
  EXPECT_LT(Deviation(Times(m, m, 'N', 'C'), Identity(m.Ni)), 1e-14);
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

TYPED_TEST(MatrixOrthogonalize, RowsBecomeOrthonormalAndSpanTheSameAndSoDoColumns) {
  std::mt19937 random(31);
  for (int method = 0; method < 2; ++method) {
    const CompactMatrixType A = RandomMatrix<TypeParam>(random, 4, 6);
    CompactMatrixType Q = A, columns = A;
    ASSERT_EQ(onRows[method](Q, Threshold, true), 0);
    ExpectOrthonormalRows(Q);
    EXPECT_LT(Deviation(Times(Times(A, Q, 'N', 'C'), Q), A), 1e-13);  // A within the span of Q
    CompactMatrixTranspose(columns);
    ASSERT_EQ(onColumns[method](columns, Threshold, true), 0);
    CompactMatrixTranspose(columns);
    EXPECT_TRUE(QCompactMatrixEqual(Q, columns));
  }
}

// The closest orthonormal rows: A = H Q with H Hermitian and positive (the polar decomposition).
TYPED_TEST(MatrixOrthogonalize, LowdinRowsAreTheClosest) {
  std::mt19937 random(33);
  const CompactMatrixType A = RandomMatrix<TypeParam>(random, 4, 4);
  CompactMatrixType Q = A, V;
  std::vector<double> e;
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(Q, Threshold, false), 0);
  const CompactMatrixType H = Times(A, Q, 'N', 'C');
  EXPECT_TRUE(QCompactMatrixHermitian(H, 1e-13));
  ASSERT_EQ(CompactMatrixEigensystem(H, V, e), 0);
  EXPECT_GT(e[0], 0);
}

TYPED_TEST(MatrixOrthogonalize, DependentRowsGoOneByOne) {
  CompactMatrixType A = InitCompactMatrix(4, 3, IsComplex<TypeParam>);
  auto& a = std::get<std::vector<TypeParam>>(A.Data);
  a[0] = a[3] = a[6] = 3;  // three equal rows, and one apart
  a[9 + 1] = 2;
  CompactMatrixType Q = A;
  ASSERT_EQ(CompactMatrixSVDOrthogonalizeRow(Q, Threshold, true), 0);
  ASSERT_EQ(Q.Ni, 2u);
  ExpectOrthonormalRows(Q);
  EXPECT_NEAR(Abs(CompactMatrixElement(Q, 0, 0)), 1, 1e-14);
  for (const auto orthogonalize : onRows) {
    CompactMatrixType kept = A;
    ASSERT_EQ(orthogonalize(kept, Threshold, false), 0);
    EXPECT_EQ(kept.Ni, 4u);
  }
}

TEST(GramSchmidt, ComparesSquaresOfRealRowsAndNormsOfComplexOnes) {
  const struct {
    double norm, threshold;
    std::uint32_t real, complex;  // rows that remain
  } cases[] = {{0.5, 0.3, 0, 1}, {0.5, 0.25, 1, 1}, {2, 3, 1, 0}};
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

// Rows 0, (dropped), 2, 3: the row behind the kept row 2 is not projected, which is meant to stay so.
TEST(GramSchmidt, SkipsAsManyRowsAsWereDropped) {
  CompactMatrixType m = RealMatrix(4, 3, {2, 0, 0, 3, 0, 0, 1, 1, 0, 0, 1, 1});
  ASSERT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(m, 1e-20, false), 0);
  const double r = std::sqrt(0.5);
  EXPECT_LT(Deviation(m, RealMatrix(4, 3, {1, 0, 0, 0, 1, 0, 0, r, r, 0, 0, 0})), 1e-15);
  CompactMatrixType huge = RealMatrix(2, 2, {1e300, 0, 1e300, 1e300}), bad = RealMatrix(1, 1, {NAN});
  ASSERT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(huge, -1, true), 0);  // the squares overflow
  ExpectOrthonormalRows(huge);
  EXPECT_EQ(CompactMatrixGramSchmidtOrthogonalizeRow(bad, Threshold, true), 1);
}

}  // namespace
}  // namespace fermix
