#include "linalg/compact_matrix.h"

#include "alloc_failure.h"
#include "linalg/compact_tensor.h"
#include "linalg/eigen_factors.h"
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
  for (const std::uint32_t n : {1u, 2u, 64u, 65u, 150u}) {  // both drivers
    SCOPED_TRACE(n);
    const CompactMatrixType A = RandomHermitian<TypeParam>(random, n);
    CompactMatrixType V, values = InitCompactMatrix(n, n, false);
    std::vector<double> e;
    ASSERT_EQ(CompactMatrixEigensystem(A, V, e), 0);
    EXPECT_TRUE(std::is_sorted(e.begin(), e.end()));
    for (std::size_t k = 0; k < n; ++k) std::get<0>(values.Data)[k * n + k] = e[k];
    const double tolerance = 1e-14 * n * 2;  // rounding grows with the size
    EXPECT_LT(Deviation(Times(V, V, '*', 'T'), Identity(n)), tolerance);
    EXPECT_LT(Deviation(Times(A, V, 'N', 'T'), Times(V, values, 'T', 'N')), tolerance);
    EXPECT_LT(Deviation(TransformDiagonalMatrixByCompactMatrixTtranATcon(e, V), A), tolerance);
  }
}

TYPED_TEST(CompactMatrix, LowestEigenvectorsAreThoseOfTheWholeEigensystem) {
  std::mt19937 random(2);
  for (const double unit : {1.0, 0x1p+900, 0x1p-900}) {  // squares of the last two are no numbers
    const std::uint32_t n = 90, N = 20;
    CompactMatrixType A = RandomHermitian<TypeParam>(random, n), V, lowest;
    std::vector<double> e, all;
    ASSERT_EQ(CompactMatrixEigensystem(A, V, e), 0);
    CompactMatrixScale(A, unit);
    ASSERT_EQ(CompactMatrixLowestEigenvectors(A, N, lowest, all), 0);
    ASSERT_EQ(lowest.Ni, N);
    for (std::uint32_t k = 0; k < n; ++k) EXPECT_NEAR(all[k] / unit, e[k], 1e-13);
    ResizeCompactMatrix(V, N, n);
    const CompactMatrixType overlaps = Times(lowest, V, '*', 'T');
    for (std::uint32_t k = 0; k < N; ++k) EXPECT_NEAR(Abs(CompactMatrixElement(overlaps, k, k)), 1, 1e-12);
  }
}

TEST(CompactMatrixProducts, EveryPairOfOpsAndKindsAgreesWithTripleLoops) {
  std::mt19937 random(3);
  const std::uint32_t m = 3, k = 4, n = 2;
  const auto matrix = [&](bool complex, char op, std::uint32_t rows, std::uint32_t columns) {
    if (op == 'T' || op == 'C') std::swap(rows, columns);
    return complex ? RandomMatrix<Complex16>(random, rows, columns)
                   : RandomMatrix<double>(random, rows, columns);
  };
  const Complex16 factors[] = {{-0.5, 0}, {0.25, 2}, {0, 0}};
  for (const char opA : {'N', 'T', 'C', '*'})
    for (const char opB : {'N', 'T', 'C', '*'})
      for (int kinds = 0; kinds < 8; ++kinds)
        for (const Complex16 alpha : factors)
          for (const Complex16 beta : factors) {
            const CompactMatrixType A = matrix(kinds & 1, opA, m, k), B = matrix(kinds & 2, opB, k, n),
                                    C = matrix(kinds & 4, 'N', m, n);
            CompactMatrixType result = C, expected = InitCompactMatrix(m, n, true);
            ASSERT_EQ(CompactMatrixAddMultiply(opA, opB, A, B, result, alpha, beta), 0);
            const bool readsC = !(beta == Complex16(0));
            const bool complex = kinds & 3 || (kinds & 4 && readsC) || alpha.im != 0 || beta.im != 0;
            EXPECT_EQ(IsComplexMatrix(result), complex) << opA << opB << kinds;
            for (std::uint32_t i = 0; i < m; ++i)
              for (std::uint32_t j = 0; j < n; ++j) {
                Complex16 sum = 0;
                for (std::uint32_t l = 0; l < k; ++l)
                  sum += OpElement(opA, A, i, l) * OpElement(opB, B, l, j);
                std::get<1>(expected.Data)[i * n + j] = alpha * sum + beta * CompactMatrixElement(C, i, j);
              }
            EXPECT_LT(Deviation(result, expected), 1e-14) << opA << opB << kinds;
          }
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
    for (std::uint32_t i = 0; i < 3; ++i)
      for (std::uint32_t j = 0; j < Nj; ++j) {
        EXPECT_EQ(CompactMatrixElement(H, j, i), Conj(CompactMatrixElement(A, i, j)));
        EXPECT_EQ(CompactMatrixElement(sum, i, j),
                  CompactMatrixElement(B, i, j) - CompactMatrixElement(A, i, j));
      }
  }
}

TEST(CompactMatrixChop, DropsSmallPartsAndGoesBackToReal) {
  CompactMatrixType m = InitCompactMatrix(1, 2, true);
  m.Data = std::vector<Complex16>{{1e-3, 1e-4}, {2, -1e-3}};
  CompactMatrixChop(m, 1e-3);  // strictly below only
  EXPECT_EQ(std::get<1>(m.Data), (std::vector<Complex16>{{1e-3, 0}, {2, -1e-3}}));
  CompactMatrixChop(m, 1.1e-3);
  EXPECT_EQ(std::get<0>(m.Data), (std::vector<double>{0, 2}));
}

TEST(CompactMatrixHermitian, ComparesMirroredElementsAndTheDiagonal) {
  const double nan = std::nan("");
  const struct {
    std::vector<Complex16> elements;
    bool hermitian;
  } cases[] = {{{1, {2, 3}, {2, -3}, 4}, true},
               {{1, {2, 3}, {2, 3}, 4}, false},
               {{{1, 1e-9}, 0, 0, 4}, false},
               {{1, {nan, 0}, {2, 0}, 4}, false},
               {{1, 1.2e308, 1.7e308, 1}, false}};  // the sum is no finite scale
  for (const auto& c : cases) {
    CompactMatrixType m = InitCompactMatrix(2, 2, true);
    m.Data = c.elements;
    EXPECT_EQ(QCompactMatrixHermitian(m, 2.220446049250313e-16), c.hermitian);
  }
  EXPECT_FALSE(QCompactMatrixHermitian(InitCompactMatrix(2, 3, false), 1));
}

TEST(CompactMatrixFailures, AreNamedAndLeaveTheResultAlone) {
  const CompactMatrixType flat = InitCompactMatrix(2, 3, false), bad = RealMatrix(2, 2, {0, NAN, 0, 0});
  CompactMatrixType V = Identity(1), C, m = Identity(3);
  std::vector<double> e = {7};
  const std::string printed = Printed([&] {
    EXPECT_EQ(CompactMatrixMultiply('N', 'N', flat, flat, C), 1);
    EXPECT_EQ(CompactMatrixEigensystem(flat, V, e), 1);
    EXPECT_EQ(CompactMatrixEigensystem(bad, V, e), 1);
    EXPECT_EQ(CompactMatrixAddShifted(m, bad, 1, 0, 4294967295u), 1);
    EXPECT_EQ(CompactMatrixRemoveRow(m, 3), 1);
    EXPECT_THROW(InitCompactMatrix(4294967295u, 4294967295u, false), std::bad_alloc);
  });
  EXPECT_TRUE(printed.starts_with(
      "Trying to multiply matrix (Matrix)^N with dimension 2 3 with matrix (Matrix)^N with dimension 2 3 and "
      "add it to matrix (Matrix) with dimension 2 3\nError in dimensions\nCompactMatrixEigensystem called "
      "with non-square matrix\nCompactMatrixEigensystem called with a matrix that is not finite\n"))
      << printed;
  EXPECT_EQ(C.Ni + V.Ni, 1u);
  EXPECT_EQ(e, std::vector<double>{7});
}

TEST(CompactMatrixShape, BlocksAreAddedAndRowsRemoved) {
  CompactMatrixType m = InitCompactIdentityMatrix(3, 4);
  EXPECT_EQ(m.Name, "I_Matrix");
  ASSERT_EQ(CompactMatrixAddShifted(m, Identity(2), {0, 2}, 1, 2), 0);
  ASSERT_EQ(CompactMatrixRemoveRow(m, 1), 0);
  EXPECT_EQ(std::get<1>(m.Data), (std::vector<Complex16>{1, 0, 0, 0, 0, 0, 1, {0, 2}}));
  ResizeCompactMatrix(m, 3, 3);  // the sequence of elements stays
  EXPECT_EQ(std::get<1>(m.Data), (std::vector<Complex16>{1, 0, 0, 0, 0, 0, 1, {0, 2}, 0}));
}

TEST(CompactTensor, HasSizeTextAndChop) {
  CompactTensorType t = InitCompactTensor({2, 1, 2}, true);
  t.Data = std::vector<Complex16>{{1, 1e-20}, 2, {1e-20, 0}, -4};
  CompactTensorChop(t, 1e-15);
  ASSERT_EQ(t.Data.index(), 0u);
  EXPECT_EQ(CompactTensorToString(t), "{ { {  1      ,  2      }} ,\n  { {  0      , -4      }}}\n");
  EXPECT_THROW(InitCompactTensor({4294967295u, 4294967295u, 4294967295u}, false), std::bad_alloc);
}

TEST(CompactMatrixMemory, FailuresLeaveTheMatrixAsItWas) {
  std::mt19937 random(6);
  const CompactMatrixType real = RandomMatrix<double>(random, 2, 3),
                          complex = RandomMatrix<Complex16>(random, 2, 3);
  using Step = void (*)(CompactMatrixType&, const CompactMatrixType&);
  const Step steps[] = {
      [](CompactMatrixType& m, const CompactMatrixType& z) { ASSERT_EQ(CompactMatrixAdd(m, z), 0); },
      [](CompactMatrixType& m, const CompactMatrixType&) { CompactMatrixTranspose(m); },
      [](CompactMatrixType& m, const CompactMatrixType&) { CompactMatrixScaleComplex(m, Complex16(0, 1)); },
      [](CompactMatrixType& m, const CompactMatrixType&) {
        ASSERT_EQ(CompactMatrixSVDOrthogonalizeCol(m, 1e-8, true), 0);
      }};
  Printed([&] {
    for (const Step step : steps)
      EXPECT_GT(test::FailEachAllocation(
                    real, [&](CompactMatrixType& m) { step(m, complex); },
                    [&](const CompactMatrixType& m) { EXPECT_TRUE(QCompactMatrixEqual(m, real)); }),
                0u);
  });
}

}  // namespace
}  // namespace fermix
