#include "linalg/tridiagonal.h"

#include <cstdio>
#include <fstream>
#include <iterator>

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

TEST(TriDiagonalMatrix, PolesGiveTheFunctionOfTheDenseMatrix) {
  std::mt19937 random(4);
  for (const std::uint32_t N : {1u, 2u, 12u, 80u}) {
    TriDiagonalMatrixType M = RandomChain(random, N);
    ListOfPoles P;
    ASSERT_EQ(TriDiagonalMatrixToListOfPoles(M, P), 0);
    EXPECT_TRUE(std::is_sorted(P.a.begin(), P.a.end()));
    const Complex16 z(0.1, 0.3), corner = CompactMatrixElement(Resolvent(DenseChain(M), z), 0, 0);
    EXPECT_NEAR(Abs(ResponseAt(P, z) - (M.a[0] + M.b[0] * M.b[0] * corner)), 0, 1e-12) << N;
  }
}

TEST(TriDiagonalMatrix, EmptyAndBrokenChains) {
  ListOfPoles P;
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(0);
  M.a[0] = 3;
  ASSERT_EQ(TriDiagonalMatrixToListOfPoles(M, P), 0);
  EXPECT_TRUE(P.a.empty() && P.b.empty());
  M = InitTriDiagonalMatrix(2);
  M.b[1] = std::nan("");
  EXPECT_EQ(TriDiagonalMatrixToListOfPoles(M, P), 1);
  EXPECT_EQ(P.a0, 3);
  EXPECT_EQ(CompactMatrixTriDiagonalize(RealMatrix(1, 1, {NAN}), nullptr, M), 1);
}

TEST(TriDiagonalMatrix, PlainFileHasALineForEachLevel) {
  TriDiagonalMatrixType M = InitTriDiagonalMatrix(2);
  M.a = {0, -1.5, 2};
  M.b = {3, 0.5};
  const std::string path = testing::TempDir() + "fermix_plain_chain.dat";
  ASSERT_EQ(FilePrintPlainTriDiagonalMatrix(M, path.c_str(), "w"), 0);
  std::ifstream file(path);
  const std::string text{std::istreambuf_iterator<char>(file), {}};
  std::remove(path.c_str());
  EXPECT_EQ(text,
            "#Matrix\n"
            "#N 2 mu  0.000000000000000E+00\n"
            "#   k a[k]                   b[k]\n"
            "    0  0.000000000000000E+00  3.000000000000000E+00\n"
            "    1 -1.500000000000000E+00  5.000000000000000E-01\n"
            "    2  2.000000000000000E+00  0.000000000000000E+00\n");
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
    const CompactMatrixType expected = Times(Times(V, Resolvent(A, z), '*'), V, 'N', 'T');
    for (std::uint32_t v = 0; v < 3; ++v)
      EXPECT_NEAR(Abs(ResponseAt(poles[v], z) - CompactMatrixElement(expected, v, v)), 0, 1e-12);
  }
}

// A[i][j] = sum_kl Q[k][i] T_kl conj(Q[l][j]).
TYPED_TEST(HermitianPoles, HouseholderReductionTurnsBack) {
  std::mt19937 random(9);
  for (const std::uint32_t n : {1u, 2u, 3u, 50u}) {
    SCOPED_TRACE(n);
    CompactMatrixType A = RandomHermitian<TypeParam>(random, n), Q;
    TriDiagonalMatrixType chain, alone;
    ASSERT_EQ(CompactMatrixTriDiagonalize(A, &Q, chain), 0);
    ASSERT_EQ(CompactMatrixTriDiagonalize(A, nullptr, alone), 0);
    EXPECT_EQ(alone.a, chain.a);
    EXPECT_EQ(alone.b, chain.b);
    EXPECT_LT(Deviation(Times(Q, Q, '*', 'T'), Identity(n)), 1e-14);
    EXPECT_LT(Deviation(Times(Times(Q, DenseChain(chain), 'T'), Q, 'N', '*'), A), 1e-13);
  }
}

}  // namespace
}  // namespace fermix
