#include "linalg/anderson.h"

#include <cmath>
#include <numeric>

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
  EXPECT_EQ(ChainLength(chain), 4u);
  const double ratio = Abs(ChainFunction(chain, 10) - StarFunction(M, 10)) /
                       Abs(ChainFunction(chain, 20) - StarFunction(M, 20));
  EXPECT_NEAR(std::log2(ratio), 9, 0.5);
}

TEST(AndersonMatrix, ChainsOfPolesGoBackToTheirPoles) {
  ListOfPoles P;
  std::mt19937 random(17);
  for (int k = 0; k < 15; ++k) {
    P.a.push_back(RandomElement<double>(random));
    P.b.push_back(std::fabs(RandomElement<double>(random)));
  }
  P.a0 = 0.5;
  P.mu = 0.25;
  P.name = "poles";
  const TriDiagonalMatrixType chain = ListOfPolesToTridiagonalMatrix(P, 15);
  EXPECT_EQ(ChainLength(chain), 15u);
  EXPECT_EQ(chain.a[0], 0.5);
  EXPECT_EQ(chain.name, "poles");
  EXPECT_NEAR(chain.b[0], std::sqrt(std::accumulate(P.b.begin(), P.b.end(), 0.0)), 1e-14);
  ListOfPoles back;
  ASSERT_EQ(TriDiagonalMatrixToListOfPoles(chain, back), 0);
  OrderListOfPoles(P);
  for (std::size_t k = 0; k < 15; ++k) {
    EXPECT_NEAR(back.a[k], P.a[k], 1e-12);
    EXPECT_NEAR(back.b[k], P.b[k], 1e-12);
  }
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
    const TriDiagonalMatrixType chain = ListOfPolesToTridiagonalMatrix(P, 10);
    EXPECT_EQ(ChainLength(chain), c.levels);
    EXPECT_EQ(chain.a.size(), c.levels + 1u);
    const Complex16 z(0.3, 0.7);
    Complex16 G = 0;
    for (std::size_t k = 0; k < P.a.size(); ++k) G += Complex16(P.b[k]) / (z - P.a[k]);
    EXPECT_NEAR(Abs(ChainFunction(chain, z) - G), 0, 1e-13);
  }
  ListOfPoles single;
  single.a = {3};
  single.b = {4};
  const TriDiagonalMatrixType chain = ListOfPolesToTridiagonalMatrix(single, 1);
  EXPECT_EQ(chain.a, (std::vector<double>{0, 3}));
  EXPECT_EQ(chain.b, std::vector<double>{2});
  EXPECT_EQ(ChainLength(ListOfPolesToTridiagonalMatrix(single, 0xffffffff)), 1u);
}

}  // namespace
}  // namespace fermix
