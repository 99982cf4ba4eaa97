#include "linalg/poles.h"

#include <numeric>

#include "linalg/pole_grid.h"
#include "linalg/random_matrix.h"

namespace fermix {
namespace {

ListOfPoles RandomPoles(unsigned seed, std::size_t N) {
  std::mt19937 random(seed);
  ListOfPoles P;
  for (std::size_t k = 0; k < N; ++k) {
    P.a.push_back(RandomElement<double>(random));
    P.b.push_back(std::fabs(RandomElement<double>(random)));
  }
  P.a0 = 0.5;
  return P;
}

double Weight(const ListOfPoles& P) { return std::accumulate(P.b.begin(), P.b.end(), 0.0); }
double Moment(const ListOfPoles& P) { return std::inner_product(P.a.begin(), P.a.end(), P.b.begin(), 0.0); }

using List = std::vector<double>;

TEST(ListOfPoles, SplitAtMu) {
  const ListOfPoles P{"", {-2, -1, -0.5, 0, 1, 3}, {1, 1, 1, 1, 1, 1}, 0.5, 7};
  const struct {
    double w;
    List below;
  } cases[] = {{0, {1, 1, 1, 1, 0, 0}}, {2, {1, 0.75, 0.625, 0.5, 0.25, 0}}};
  for (const auto& c : cases) {
    const ListOfPoles val = ListOfPolesCopyVal(P, 0, c.w), con = ListOfPolesCopyCon(P, 0, c.w);
    EXPECT_EQ(val.b, c.below) << c.w;
    EXPECT_EQ(con.a, P.a);
    EXPECT_EQ(val.mu, 7);
    EXPECT_EQ(val.a0 + con.a0, 0);
    for (std::size_t k = 0; k < P.a.size(); ++k) EXPECT_EQ(con.b[k], 1 - c.below[k]);
  }
}

TEST(ListOfPoles, ReductionKeepsWeightAndFirstMoment) {
  const ListOfPoles P = RandomPoles(2, 40);
  for (const std::uint32_t n : {41u, 40u, 20u, 3u, 1u, 0u}) {
    ListOfPoles R = P;
    ReduceListOfPolesNumber(R, n);
    EXPECT_EQ(R.a.size(), std::clamp<std::size_t>(n, 1, 40));
    EXPECT_NEAR(Weight(R), Weight(P), 1e-13);
    EXPECT_NEAR(Moment(R), Moment(P), 1e-13);
    EXPECT_EQ(std::is_sorted(R.a.begin(), R.a.end()), n != 41);  // fewer than n: as it was
  }
  const struct {
    ListOfPoles P;
    std::uint32_t n;
    List a, b;
  } cases[] = {// the middle one gives 3/4 to the nearer left: (0 + 1 * 0.5) / 2, (4 + 1/3 * 1) / (4/3)
               {{"", {0, 4, 1}, {0.75, 0.75, 0.5}, 0, 0}, 2, {0.375 / 1.125, 3.125 / 0.875}, {1.125, 0.875}},
               {{"", {1, 1, 1}, {1, 0.5, 1}, 0, 0}, 2, {1, 1}, {1.25, 1.25}},
               {{"", {0, 1, 2}, {1, -3, 0}, 0, 0}, 1, {0}, {1}}};  // neither has a weight to give
  for (const auto& c : cases) {
    ListOfPoles R = c.P;
    ReduceListOfPolesNumber(R, c.n);
    ASSERT_EQ(R.a.size(), c.a.size());
    for (std::size_t k = 0; k < c.a.size(); ++k) {
      EXPECT_NEAR(R.a[k], c.a[k], 1e-15);
      EXPECT_NEAR(R.b[k], c.b[k], 1e-15);
    }
  }
}

TEST(PoleGrid, SumsOnAGridKeepWeightAndFirstMoment) {
  ListOfPoles grid{"", {-0.5, 0, 0.125, 0.5}, {0.25, 0, 0, 0.5}, 1, 0}, P = RandomPoles(5, 30);
  OrderListOfPoles(P);
  ListOfPoles sum = grid;
  ASSERT_EQ(AddToListOfPolesOnGridOrdered(sum, P, -10, 10), 0);
  EXPECT_EQ(sum.a0, 1.5);
  EXPECT_NEAR(Weight(sum), Weight(grid) + Weight(P), 1e-13);
  EXPECT_NEAR(Moment(sum), Moment(grid) + Moment(P), 1e-13);
  EXPECT_EQ(sum.a[1], 0);
  EXPECT_EQ(sum.a[2], 0.125);
  EXPECT_LT(sum.a[0], -0.5);  // poles beyond drew the ends outwards
  EXPECT_GT(sum.a[3], 0.5);
  ListOfPoles bound = grid;
  ASSERT_EQ(AddToListOfPolesOnGridOrdered(bound, P, -0.5, 0.5), 0);
  EXPECT_EQ(bound.a, grid.a);
  EXPECT_NEAR(Weight(bound), Weight(sum), 1e-13);
  ListOfPoles single{"", {3}, {1}, 0, 0};
  ASSERT_EQ(AddToListOfPolesOnGridOrdered(single, {"", {0, 1}, {-1, 0.5}, 0, 0}, 0, 0), 0);
  EXPECT_EQ(single.a, List{7});
  EXPECT_EQ(single.b, List{0.5});
  ListOfPoles none;
  EXPECT_EQ(AddToListOfPolesOnGridOrdered(none, single, 0, 0), 1);
}

TEST(PoleGrid, NegativeWeightsGoToTheNeighbours) {
  const struct {
    double mu;
    List b, merged;
  } cases[] = {{9, {1, 1, -0.5, 1}, {1, 0.75, 0, 0.75}},         // half each: the first moment stays
               {9, {1, 1, -0.5, 0.125}, {1, 0.625, 0, 0}},       // what the right one has
               {9, {1, 0.125, -0.5, 1}, {0.875, 0, 0, 0.75}},    // the left one hands on what it lacks itself
               {1.5, {-0.25, 1, 1, -0.25}, {0, 0.75, 0.75, 0}},  // ends
               {9, {0.25, 0.25, 0.25, -1}, {-0.25, 0, 0, 0}}};   // too little altogether
  for (const auto& c : cases) {
    ListOfPoles L{"", {0, 1, 2, 3}, c.b, 0, c.mu};
    const double weight = Weight(L);
    MergeNegativeToNeighbourListOfPolesSorted(L);
    EXPECT_NEAR(Weight(L), weight, 1e-15);
    for (std::size_t k = 0; k < 4; ++k) EXPECT_NEAR(L.b[k], c.merged[k], 1e-15) << c.mu << " " << k;
  }
  std::mt19937 random(6);
  for (int trial = 0; trial < 100; ++trial) {
    ListOfPoles L = RandomPoles(6, 20);
    OrderListOfPoles(L);
    for (double& b : L.b) b = RandomElement<double>(random) + 0.2;
    const double weight = Weight(L);
    MergeNegativeToNeighbourListOfPolesSorted(L);
    EXPECT_NEAR(Weight(L), weight, 1e-13);
    EXPECT_TRUE(std::all_of(L.b.begin() + 1, L.b.end(), [](double b) { return b >= 0; }));
    EXPECT_EQ(L.b[0] < 0, weight < 0);
  }
}

TEST(PoleGrid, DifferenceOfASum) {
  const ListOfPoles A = RandomPoles(8, 12), B = RandomPoles(9, 5);
  ListOfPoles sum = A;
  AddListOfPoles(sum, B);
  EXPECT_EQ(Printed([&] { ASSERT_EQ(SubtractListOfPoles(sum, B), 0); }), "");
  EXPECT_EQ(sum.a.size(), 12u);
  EXPECT_NEAR(Abs(ResponseAt(sum, {-0.5, 0.1}) - ResponseAt(A, {-0.5, 0.1})), 0, 1e-12);
  AddListOfPoles(sum, sum);  // twice the function, and half of it taken away
  ASSERT_EQ(SubtractListOfPoles(sum, A), 0);
  EXPECT_EQ(sum.a.size(), 12u);
  EXPECT_NEAR(Abs(ResponseAt(sum, {0.1, 0.2}) - ResponseAt(A, {0.1, 0.2})), 0, 1e-12);

  ASSERT_EQ(SubtractListOfPoles(sum, sum), 0);
  EXPECT_TRUE(sum.a.empty());
}

}  // namespace
}  // namespace fermix
