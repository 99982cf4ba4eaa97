#include "linalg/tridiagonal.h"

#include <gtest/gtest.h>

#include <numeric>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

TriDiagonalMatrixType RandomChain(std::mt19937& random, std::uint32_t N) {
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(N);
  for (double& a : M.a) a = RandomElement<double>(random);
  for (double& b : M.b) b = RandomElement<double>(random);
  return M;
}

// The levels 1 .. N as a dense matrix.
CompactMatrixType DenseChain(const TriDiagonalMatrixType& M) {
  const std::uint32_t N = ChainLength(M);
  CompactMatrixType H = InitCompactMatrix(N, N, false);
  auto& data = std::get<0>(H.Data);
  for (std::size_t k = 0; k < N; ++k) {
    data[k * N + k] = M.a[k + 1];
    if (k > 0) data[k * N + k - 1] = data[(k - 1) * N + k] = M.b[k];
  }
  return H;
}

Complex16 SumOverPoles(const ListOfPoles& P, Complex16 z) {
  Complex16 G = P.a0;
  for (std::size_t k = 0; k < P.a.size(); ++k) G += Complex16(P.b[k]) / (z - P.a[k]);
  return G;
}

TEST(TriDiagonalMatrix, PolesGiveTheFunctionOfTheDenseMatrix) {
  std::mt19937 random(4);
  for (const std::uint32_t N : {1u, 2u, 12u, 80u}) {
    TriDiagonalMatrixType M = RandomChain(random, N);
    M.mu = 0.25;
    M.name = "chain";
    ListOfPoles P;
    ASSERT_EQ(TriDiagonalMatrixToListOfPoles(M, P), 0);
    EXPECT_EQ(P.name, "chain");
    EXPECT_EQ(P.mu, 0.25);
    EXPECT_TRUE(std::is_sorted(P.a.begin(), P.a.end()));
    EXPECT_NEAR(std::accumulate(P.b.begin(), P.b.end(), 0.0), M.b[0] * M.b[0], 1e-14);
    std::vector<double> e;
    ASSERT_EQ(TriDiagonalMatrixToEigenvalues(M, e), 0);
    for (std::size_t k = 0; k < N; ++k) EXPECT_NEAR(e[k], P.a[k], 1e-13);
    for (const Complex16 z : {Complex16(0.1, 0.3), Complex16(-2, 0.5)}) {
      const Complex16 expected =
          M.a[0] + M.b[0] * M.b[0] * CompactMatrixElement(Resolvent(DenseChain(M), z), 0, 0);
      EXPECT_NEAR(Abs(SumOverPoles(P, z) - expected), 0, 1e-12) << N;
    }
  }
}

TEST(TriDiagonalMatrix, EigenvectorsSolveTheChain) {
  std::mt19937 random(5);
  const TriDiagonalMatrixType M = RandomChain(random, 20);
  const CompactMatrixType H = DenseChain(M);
  CompactMatrixType V;
  std::vector<double> e;
  ASSERT_EQ(TriDiagonalMatrixToEigensystem(M, V, e), 0);
  EXPECT_EQ(V.Name, "Eigenvectors of Matrix");
  for (std::uint32_t k = 0; k < 20; ++k)
    for (std::uint32_t i = 0; i < 20; ++i) {
      Complex16 residual = -e[k] * CompactMatrixElement(V, k, i);
      for (std::uint32_t j = 0; j < 20; ++j)
        residual += CompactMatrixElement(H, i, j) * CompactMatrixElement(V, k, j);
      EXPECT_NEAR(Abs(residual), 0, 1e-13);
    }
}

TEST(TriDiagonalMatrix, EmptyAndBrokenChains) {
  ListOfPoles P;
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(0);
  M.a[0] = 3;
  ASSERT_EQ(TriDiagonalMatrixToListOfPoles(M, P), 0);
  EXPECT_TRUE(P.a.empty() && P.b.empty());
  EXPECT_EQ(P.a0, 3);
  M = InitTriDiagonalMatrix(2);
  M.b[1] = std::nan("");
  testing::internal::CaptureStdout();
  EXPECT_EQ(TriDiagonalMatrixToListOfPoles(M, P), 1);
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "TriDiagonalMatrixToEigensystem called with a matrix that is not finite\n");
  EXPECT_EQ(P.a0, 3);
}

template <class T>
class HermitianPoles : public testing::Test {};
using Kinds = testing::Types<double, Complex16>;
TYPED_TEST_SUITE(HermitianPoles, Kinds);

TYPED_TEST(HermitianPoles, GiveTheDiagonalResolventOfEachRow) {
  std::mt19937 random(6);
  const std::uint32_t n = 9;
  const CompactMatrixType A = RandomHermitian<TypeParam>(random, n);
  const CompactMatrixType rows[] = {RandomMatrix<double>(random, 3, n),
                                    RandomMatrix<Complex16>(random, 3, n)};
  for (const CompactMatrixType& V : rows) {
    std::vector<ListOfPoles> poles;
    CompactMatrixType vectors;
    ASSERT_EQ(HermitianCompactMatrixToListOfPoles(A, poles, V, &vectors), 0);
    ASSERT_EQ(poles.size(), 3u);
    EXPECT_EQ(vectors.Ni, n);
    const Complex16 z(0.2, 0.4);
    const CompactMatrixType G = Resolvent(A, z);
    for (std::uint32_t v = 0; v < 3; ++v) {
      Complex16 expected = 0;
      for (std::uint32_t i = 0; i < n; ++i)
        for (std::uint32_t j = 0; j < n; ++j)
          expected += Conj(CompactMatrixElement(V, v, i)) * CompactMatrixElement(G, i, j) *
                      CompactMatrixElement(V, v, j);
      EXPECT_NEAR(Abs(SumOverPoles(poles[v], z) - expected), 0, 1e-12);
    }
  }
}

TEST(ListOfPoles, OrderKeepsPairsTogether) {
  ListOfPoles P;
  P.a = {3, 1, 2, 1};
  P.b = {0.3, 0.1, 0.2, 0.15};
  OrderListOfPoles(P);
  EXPECT_EQ(P.a, (std::vector<double>{1, 1, 2, 3}));
  EXPECT_EQ(P.b, (std::vector<double>{0.1, 0.15, 0.2, 0.3}));
}

}  // namespace
}  // namespace fermix
