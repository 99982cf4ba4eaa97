#include "linalg/anderson.h"

#include <cmath>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

AndersonMatrixType RandomStar(unsigned seed, std::uint32_t N) {
  std::mt19937 random(seed);
  AndersonMatrixType M;
  M.a.resize(N + 1);
  M.b.resize(N);
  for (double& a : M.a) a = RandomElement<double>(random);
  for (double& b : M.b) b = RandomElement<double>(random);
  return M;
}

// b0^2 / (z - a1 - sum of bk^2 / (z - a(k + 1))) + a0.
Complex16 StarFunction(const AndersonMatrixType& M, Complex16 z) {
  Complex16 bath = 0;
  for (std::size_t k = 1; k < M.b.size(); ++k) bath += Complex16(M.b[k] * M.b[k]) / (z - M.a[k + 1]);
  return Complex16(M.a[0]) + Complex16(M.b[0] * M.b[0]) / (z - M.a[1] - bath);
}

Complex16 ChainFunction(const TriDiagonalMatrixType& M, Complex16 z) {
  Complex16 G = 0;
  for (std::size_t k = M.b.size(); k >= 1; --k) G = Complex16(M.b[k - 1] * M.b[k - 1]) / (z - M.a[k] - G);
  return Complex16(M.a[0]) + G;
}

TEST(AndersonMatrix, FullChainIsTheSameFunction) {
  for (const std::uint32_t N : {1u, 2u, 5u, 60u}) {
    const AndersonMatrixType M = RandomStar(15, N);
    const TriDiagonalMatrixType chain = AndersonMatrixToTriDiagonalMatrix(M, N);
    EXPECT_EQ(ChainLength(chain), N);
    EXPECT_EQ(chain.a.size(), N + 1u);
    for (const Complex16 z : {Complex16(0.1, 0.05), Complex16(-1.5, 0.4)})
      EXPECT_NEAR(Abs(ChainFunction(chain, z) - StarFunction(M, z)), 0, 1e-11) << N;
  }
}

TEST(AndersonMatrix, ShortChainKeepsTheFirstMoments) {
  // Far away, the functions of a chain of 4 levels and of the star differ in the order 1 / z^9 only.
  const AndersonMatrixType M = RandomStar(16, 12);
  const TriDiagonalMatrixType chain = AndersonMatrixToTriDiagonalMatrix(M, 4);
  const double ratio = Abs(ChainFunction(chain, 10) - StarFunction(M, 10)) /
                       Abs(ChainFunction(chain, 20) - StarFunction(M, 20));
  EXPECT_NEAR(std::log2(ratio), 9, 0.5);
}

TEST(AndersonMatrix, ClosedSpacesEndTheChain) {
  const struct {
    std::vector<double> a, b;
    std::uint32_t levels;
  } cases[] = {{{}, {}, 0},
               {{3}, {4}, 1},
               {{1, 1}, {2, 3}, 1},  // one energy
               {{1, 1, 2}, {0.5, 0.5, 1}, 2},
               {{1, 2}, {1, 0}, 1},  // a pole without weight
               {{1000, 2000, 3000}, {1e-8, 1e-8, 1e-8}, 3}};
  for (const auto& c : cases) {
    ListOfPoles P;
    P.a = c.a;
    P.b = c.b;
    P.a0 = 0.5;
    const TriDiagonalMatrixType chain = ListOfPolesToTridiagonalMatrix(P, 10);
    EXPECT_EQ(ChainLength(chain), c.levels);
    EXPECT_EQ(chain.a.size(), c.levels + 1u);
    const Complex16 z(0.3, 0.7);
    Complex16 G = P.a0;
    for (std::size_t k = 0; k < P.a.size(); ++k) G += Complex16(P.b[k]) / (z - P.a[k]);
    EXPECT_NEAR(Abs(ChainFunction(chain, z) - G), 0, 1e-13);
  }
}

}  // namespace
}  // namespace fermix
