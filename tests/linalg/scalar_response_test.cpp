// The four forms of a response function are one function: at complex energies, in moments, in numbers worked
// out by hand.
#include "linalg/scalar_response.h"

#include <cmath>
#include <numeric>

#include "alloc_failure.h"
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
  M.mu = 0.1;
  M.name = "star";
  return M;
}

const Complex16 Energies[] = {{0.1, 0.05}, {-0.8, 0.01}, {-1.5, 0.4}, {30, 2}};

// A0 + B0^2 of the first element of the resolvent of H.
Complex16 DenseResponse(const CompactMatrixType& H, Complex16 z) {
  return H.A0 + H.B0 * H.B0 * CompactMatrixElement(Resolvent(H, z), 0, 0);
}

template <class Form>
Form As(const ScalarResponse& M, double w = DefaultSplitWidth) {
  Form result;
  EXPECT_EQ(ConvertScalarResponse(M, result, w), 0);
  return result;
}

std::vector<ScalarResponse> AllForms(const ScalarResponse& M, double w) {
  return {As<TriDiagonalMatrixType>(M), As<AndersonMatrixType>(M), As<ListOfPoles>(M),
          As<BADoubleTriDiagonalMatrixType>(M, w)};
}

CompactMatrixType MatrixOf(const TriDiagonalMatrixType& M) { return TriDiagonalMatrixToCompactMatrix(M); }
CompactMatrixType MatrixOf(const AndersonMatrixType& M) { return AndersonMatrixToCompactMatrix(M); }
CompactMatrixType MatrixOf(const BADoubleTriDiagonalMatrixType& M) {
  CompactMatrixType H;
  EXPECT_EQ(BADoubleTriDiagonalMatrixTypeToCompactMatrix(M, H), 0);
  return H;
}

TEST(ScalarResponse, AllConversionsKeepTheFunction) {
  for (const std::uint32_t N : {1u, 2u, 40u})
    for (const double w : {0.0, DefaultSplitWidth, 0.3, 10.0}) {
      const AndersonMatrixType star = RandomStar(15 + N, N);
      const std::vector<ScalarResponse> once = AllForms(star, w);
      for (std::size_t i = 0; i < once.size(); ++i) {
        const std::vector<ScalarResponse> twice = AllForms(once[i], w);
        for (std::size_t j = 0; j < twice.size(); ++j) {
          SCOPED_TRACE(testing::Message() << N << " levels, w " << w << ", forms " << i << " " << j);
          for (const Complex16 z : Energies)
            EXPECT_NEAR(Abs(ResponseAt(twice[j], z) - DenseResponse(MatrixOf(star), z)), 0,
                        2e-14 / (z.im * z.im));  // as the derivative of the function
        }
        for (const Complex16 z : Energies) {
          const auto& chain = std::get<TriDiagonalMatrixType>(twice[0]);
          EXPECT_NEAR(Abs(DenseResponse(MatrixOf(chain), z) - ResponseAt(chain, z)), 0, 1e-11);
          const auto& orbitals = std::get<BADoubleTriDiagonalMatrixType>(twice[3]);
          EXPECT_NEAR(Abs(DenseResponse(MatrixOf(orbitals), z) - ResponseAt(orbitals, z)), 0, 1e-11);
        }
        // A pole on both sides of mu makes two levels, of which the function needs one.
        const std::uint32_t most = w > 1e-3 && i == 3 ? 2 * N : N;
        EXPECT_GE(ChainLength(std::get<TriDiagonalMatrixType>(twice[0])), N);
        EXPECT_LE(ChainLength(std::get<TriDiagonalMatrixType>(twice[0])), most);
        EXPECT_EQ(std::get<TriDiagonalMatrixType>(twice[0]).mu, 0.1);
        EXPECT_EQ(std::get<AndersonMatrixType>(twice[1]).name, "star");
        EXPECT_EQ(std::get<ListOfPoles>(twice[2]).mu, 0.1);
        EXPECT_EQ(std::get<BADoubleTriDiagonalMatrixType>(twice[3]).Epsilon, w);
      }
    }
}

TEST(ScalarResponse, ChainsEndWithTheirKrylovSpace) {
  const struct {
    std::vector<double> a, b;
    std::uint32_t levels;
  } cases[] = {{{3}, {0}, 0},
               {{-1234.56, -1234.56}, {0.3, 0.7}, 1},  // at the energies of core levels
               {{0.1, 870.3, 870.3, 0.1}, {0.3, 0.7, 0.2, 0.9}, 2},
               {{-3, -2, 1, 6, 13, 22, -3, -2, 1, 6, 13, 22}, {3, 2, 1, 3, 3, 2, 2, 2, 1, 1, 2, 1}, 6},
               {{1, 2}, {1, 0}, 1},  // a pole without weight
               {{0, 5e-324}, {2, 3}, 1},
               {{1, 2, 4}, {1e30, 2e30, 3e30}, 3}};  // in whatever unit weights are
  for (const auto& c : cases) {
    const ListOfPoles P{"poles", c.a, c.b, 0.5, 0};
    const double sum = std::accumulate(c.b.begin(), c.b.end(), 0.0);
    for (const ScalarResponse& form : AllForms(P, 0))
      EXPECT_NEAR(Abs(ResponseAt(form, {0.3, 0.7}) - ResponseAt(P, {0.3, 0.7})), 0,
                  1e-13 * std::max(sum, 1.0));
    for (const ScalarResponse& form : AllForms(P, 0)) {
      const auto chain = As<TriDiagonalMatrixType>(form);
      EXPECT_EQ(ChainLength(chain), c.levels) << c.a.size();
      EXPECT_EQ(chain.a.size(), c.levels + 1u);
      EXPECT_EQ(chain.a[0], 0.5);
    }
  }
}

TEST(ScalarResponse, ShortChainKeepsTheFirstMoments) {
  // Far away, the functions of a chain of 4 levels and of the star differ in the order 1 / z^9 only.
  const AndersonMatrixType M = RandomStar(16, 12);
  TriDiagonalMatrixType chain;
  CompactMatrixType T;
  ASSERT_EQ(AndersonMatrixToTriDiagonalMatrixPlusT(M, &T, chain, 4), 0);
  EXPECT_EQ(ChainLength(chain), 4u);
  const double ratio =
      Abs(ResponseAt(chain, 10) - ResponseAt(M, 10)) / Abs(ResponseAt(chain, 20) - ResponseAt(M, 20));
  EXPECT_NEAR(std::log2(ratio), 9, 0.5);
  EXPECT_EQ(T.Name, "TriDiagonalizer of star");
  EXPECT_LT(Deviation(Times(Times(T, MatrixOf(M)), T, 'N', 'T'), MatrixOf(chain)), 1e-14);
}

TEST(ScalarResponse, StarsHaveTheEigenvectorsThatTheCornerReaches) {
  AndersonMatrixType star = RandomStar(3, 20);
  star.b[7] = 0;            // reaches nothing
  star.a[12] = star.a[13];  // one combination of the two does
  CompactMatrixType V;
  std::vector<double> e;
  ASSERT_EQ(AndersonMatrixToEigensystem(star, V, e), 0);
  EXPECT_EQ(V.Name, "Eigenvectors of star");
  ASSERT_EQ(e.size(), 18u);
  const CompactMatrixType HV = Times(MatrixOf(star), V, 'N', 'T');
  for (std::uint32_t k = 0; k < V.Ni; ++k)
    for (std::uint32_t j = 0; j < V.Nj; ++j)
      EXPECT_NEAR(CompactMatrixElement(HV, j, k).re, e[k] * CompactMatrixElement(V, k, j).re, 1e-13);
  EXPECT_LT(Deviation(Times(V, V, 'N', 'T'), Identity(18)), 1e-13);
  AndersonMatrixType ordered = star;
  OrderAndersonMatrix(ordered);
  EXPECT_TRUE(std::is_sorted(ordered.a.begin() + 2, ordered.a.end()));
  EXPECT_NEAR(Abs(ResponseAt(ordered, {0.2, 0.1}) - ResponseAt(star, {0.2, 0.1})), 0, 1e-13);
}

TEST(MatrixResponse, StarIsTheFirstElementOfTheResolvent) {
  std::mt19937 random(8);
  for (const std::uint32_t n : {1u, 2u, 12u})
    for (CompactMatrixType A : {RandomHermitian<double>(random, n), RandomHermitian<Complex16>(random, n)}) {
      A.A0 = 0.5, A.B0 = 2, A.Mu = 3;
      AndersonMatrixType star;
      ASSERT_EQ(CompactMatrixToAndersonMatrix(A, star), 0);
      EXPECT_EQ(star.mu, 3);
      EXPECT_NEAR(Abs(ResponseAt(star, {0.3, 0.2}) - DenseResponse(A, {0.3, 0.2})), 0, 1e-12) << n;
    }
}

// Poles of weights 9 below and 16 above mu: v = 3/5, c = 4/5.
TEST(NaturalOrbitals, TwoPolesByHand) {
  BADoubleTriDiagonalMatrixType M;
  const ListOfPoles P{"two", {2, -1}, {16, 9}, 0.25, 0.5};
  ASSERT_EQ(ListOfPolesToBADoubleTridiagonalMatrix(P, M, 2, 2, 0.5, 0), 0);
  EXPECT_DOUBLE_EQ(M.B0, 5);
  EXPECT_DOUBLE_EQ(M.val.b[0], 0.6);
  EXPECT_DOUBLE_EQ(M.con.b[0], 0.8);
  EXPECT_NEAR(M.E1, 0.36 * -1 + 0.64 * 2, 1e-15);
  EXPECT_NEAR(M.E2, 0.64 * -1 + 0.36 * 2, 1e-15);
  EXPECT_NEAR(M.V12, 0.48 * (-1 - 2), 1e-15);
  EXPECT_EQ(ChainLength(M.val), 1u);  // the other pole has no weight there
}

TEST(NaturalOrbitals, SideWithoutWeightHasAnEmptyLevel) {
  for (const double mu : {10, -10}) {
    const ListOfPoles P{"side", {1, 2, 4}, {1, 2, 3}, 0.5, mu};
    const auto M = As<BADoubleTriDiagonalMatrixType>(P);
    const TriDiagonalMatrixType& empty = mu > 0 ? M.con : M.val;
    EXPECT_EQ(empty.a, (std::vector<double>{0, 0}));
    EXPECT_EQ(empty.b, std::vector<double>{0});
    EXPECT_NEAR(M.B0 * M.B0, 6, 1e-14);
    for (const double x : {M.E1, M.E2, M.V12, M.V1Val, M.V1Con, M.V2Val, M.V2Con})
      EXPECT_TRUE(std::isfinite(x));
    for (const ScalarResponse& form : AllForms(M, 0))
      EXPECT_NEAR(Abs(ResponseAt(form, {1.5, 0.3}) - ResponseAt(P, {1.5, 0.3})), 0, 1e-13);
    EXPECT_EQ(As<ListOfPoles>(M).a.size(), 3u);
  }
}

TEST(NaturalOrbitals, ReducedSidesKeepTheirMoments) {
  const auto P = As<ListOfPoles>(RandomStar(4, 30));
  const auto below = [&](double e) { return e <= 0.1; };
  BADoubleTriDiagonalMatrixType M;
  for (const std::uint32_t n : {0u, 1u, 4u}) {
    ASSERT_EQ(ListOfPolesToBADoubleTridiagonalMatrix(P, M, n, 2 * n, 0.1, 0), 0);
    EXPECT_EQ(ChainLength(M.val), std::max(n, 1u));
    EXPECT_EQ(ChainLength(M.con), std::max(2 * n, 1u));
    double weight = 0, moment = 0;
    for (std::size_t k = 0; k < P.a.size(); ++k)
      if (below(P.a[k])) weight += P.b[k], moment += P.b[k] * P.a[k];
    const double b = M.B0 * M.val.b[0];
    EXPECT_NEAR(b * b, weight, 1e-13);
    EXPECT_NEAR(b * b * M.val.a[1], moment, 1e-13);
  }
}

TEST(NaturalOrbitals, Chop) {
  BADoubleTriDiagonalMatrixType M;
  M.val = TriDiagonalMatrixType{"", {0, -1, 1e-9, -2}, {0.6, 0.5, 1e-9}, 0};
  M.con = TriDiagonalMatrixType{"", {0, 1, 2}, {0.8, 0.25}, 0};
  M.B0 = 2, M.Mu = -1e-9, M.Epsilon = 0.125;
  CompleteNaturalOrbitals(M);
  BADoubleTriDiagonalMatrixType shorter = M;
  BADoubleTriDiagonalMatrixChop(M, 1e-8);
  EXPECT_EQ(M.Mu, 0);
  EXPECT_EQ(M.val.a, (std::vector<double>{0, -1, 0, -2}));
  EXPECT_EQ(M.val.b, (std::vector<double>{0.6, 0.5, 0}));
  BADoubleTriDiagonalMatrixChopReduceDimension(shorter, 1e-8);
  EXPECT_EQ(shorter.val.a, (std::vector<double>{0, -1, 0}));
  EXPECT_EQ(shorter.val.b, (std::vector<double>{0.6, 0.5}));
  EXPECT_EQ(ChainLength(shorter.con), 2u);
  EXPECT_NEAR(Abs(ResponseAt(M, {0.1, 0.2}) - ResponseAt(shorter, {0.1, 0.2})), 0, 1e-14);
  EXPECT_NEAR(Abs(DenseResponse(MatrixOf(shorter), {0.1, 0.2}) - ResponseAt(shorter, {0.1, 0.2})), 0, 1e-14);
}

TEST(ScalarResponse, WhatIsNoFunctionIsRefused) {
  const std::pair<ListOfPoles, std::string> cases[] = {
      {{"", {1, std::nan("")}, {1, 1}, 0, 0},
       "ListOfPolesToTridiagonalMatrix called with poles that are not finite\n"},
      {{"", {1e300, -1e300}, {1e10, 1}, 0, 0},
       "AndersonMatrixToTriDiagonalMatrix: the elements of the matrix are too large\n"
       "AndersonMatrixToTriDiagonalMatrixPlusT failed in AndersonMatrixToTriDiagonalMatrix\n"}};
  for (const auto& c : cases) {
    TriDiagonalMatrixType chain;
    EXPECT_EQ(Printed([&] { EXPECT_EQ(ConvertScalarResponse(c.first, chain), 1); }), c.second);
    EXPECT_EQ(ChainLength(chain), 0u);
  }
  BADoubleTriDiagonalMatrixType M;
  AndersonMatrixType star;
  EXPECT_EQ(ConvertScalarResponse(ListOfPoles{}, M, -1), 1);
  EXPECT_EQ(CompactMatrixToAndersonMatrix(InitCompactMatrix(2, 3, false), star), 1);
}

TEST(ScalarResponse, FailedConversionsLeaveTheirTarget) {
  const AndersonMatrixType star = RandomStar(2, 6);
  const std::vector<ScalarResponse> forms = AllForms(star, 0.3);
  const auto failures = [&]<class To>(const To& target) {
    for (const ScalarResponse& source : forms) {
      testing::internal::CaptureStdout();
      test::FailEachAllocation(
          target, [&](To& M) { (void)ConvertScalarResponse(source, M); },
          [&](const To& M) { EXPECT_EQ(M.b, target.b); });
      testing::internal::GetCapturedStdout();
    }
  };
  failures(TriDiagonalMatrixType{});
  failures(AndersonMatrixType{});
  failures(ListOfPoles{});
}

}  // namespace
}  // namespace fermix
