#include "solvers/lanczos.h"

#include <gtest/gtest.h>

#include "alloc_failure.h"
#include "host/base/verbosity.h"
#include "solvers/model_systems.h"

namespace fermix::test {
namespace {

// <v_1|T^k|v_1> of the chain, times the weight b[0]^2: what <psi|H^k|psi> has to be for k < 2 N.
double ChainMoment(const TriDiagonalMatrixType& M, int k) {
  const std::size_t N = M.b.size();
  std::vector<double> x(N + 2), y(N + 2);
  x[1] = 1;
  for (; k > 0; --k) {
    for (std::size_t i = 1; i <= N; ++i)
      y[i] = M.a[i] * x[i] + (i > 1 ? M.b[i - 1] * x[i - 1] : 0) + (i < N ? M.b[i] * x[i + 1] : 0);
    x = y;
  }
  return x[1] * M.b[0] * M.b[0];
}

double ExactMoment(const Dense& H, Dense x, int k) {
  const Dense psi = x;
  for (; k > 0; --k) x = Multiply(H, x);
  return Dot(psi, x).real();
}

// One chain by the shared way, after it was found to be that of the way term by term, printed lines included.
LanczosRun RunBothWays(const OperatorType& H, const WaveFunctionType& psi, LanczosSettings settings,
                       const DeterminantRestrictionType* R = nullptr, std::string* printed = nullptr) {
  std::vector<LanczosRun> shared, direct;
  const std::string text = Printed([&] { shared = LanczosTriDiagonalize(H, R, {psi}, settings); });
  settings.shareRows = false;
  EXPECT_EQ(Printed([&] { direct = LanczosTriDiagonalize(H, R, {psi}, settings); }), text);
  EXPECT_EQ(shared[0].levels, direct[0].levels);
  EXPECT_EQ(shared[0].chain.a.size(), settings.length + 1);
  for (std::uint32_t k = 0; k < settings.length; ++k) {
    EXPECT_NEAR(shared[0].chain.a[k + 1], direct[0].chain.a[k + 1], 1e-9) << k;
    EXPECT_NEAR(shared[0].chain.b[k], direct[0].chain.b[k], 1e-9) << k;
  }
  if (printed) *printed = text;
  return shared[0];
}

TEST(Lanczos, ChainHasTheMomentsOfTheOperatorInAllForms) {
  const struct {
    const char* form;
    bool complexOperator, complexState, mixed;
  } cases[] = {{"RR", false, false, false},
               {"RC", false, true, false},
               {"CC", true, false, false},  // the state is made complex
               {"CC", true, true, false},
               {"MC", true, true, true}};
  GlobalVerbosity = 1;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.form);
    Model model = RandomModel(8, c.complexOperator, 3);
    if (c.mixed) model.Add({}, 0.25);  // a real constant next to complex tables
    const std::vector<Mask> masks = Electrons(4, 8);
    Dense start(masks.size());
    for (std::size_t i = 0; i < 20; ++i)
      start[3 * i] = {std::cos(double(i)), c.complexState ? 0.3 * double(i) : 0};
    WaveFunctionType psi = MakeState(8, masks, start, c.complexState);
    std::string printed;
    const TriDiagonalMatrixType M =
        RunBothWays(MakeOperator(model), psi, {6, 0, 0.1}, nullptr, &printed).chain;
    EXPECT_EQ(printed, std::string("Start of LanczosTriDiagonalize") + c.form + "\n");
    EXPECT_EQ(M.a[0], 0);
    const Dense H = MatrixOf(model, masks);
    double scale = ExactMoment(H, start, 0);
    for (int k = 0; k < 12; ++k) {
      EXPECT_NEAR(ChainMoment(M, k) / scale, ExactMoment(H, start, k) / scale, 1e-10) << "moment " << k;
      scale *= 8;  // about the largest eigenvalue
    }
  }
  GlobalVerbosity = 0;
}

TEST(Lanczos, RestrictionsProjectTheStartAndAllThatFollows) {
  const Model model = RandomModel(8, false, 4);
  const Mask half = 0x0f;
  const DeterminantRestrictionType R = Restrict(8, {{half, 2, 3}});
  std::vector<Mask> all = Electrons(4, 8), inside;
  for (const Mask m : all)
    if (std::popcount(m & half) == 2 || std::popcount(m & half) == 3) inside.push_back(m);
  Dense start(all.size(), 0.5), startInside(inside.size(), 0.5);
  const WaveFunctionType psi = MakeState(8, all, start, false),
                         psiInside = MakeState(8, inside, startInside, false);
  const Dense H = MatrixOf(model, inside);
  OperatorType restricted = MakeOperator(model);
  restricted.Restrictions = R;

  const TriDiagonalMatrixType own = RunBothWays(restricted, psi, {5, 0, 0.1}).chain,
                              given = RunBothWays(MakeOperator(model), psiInside, {5, 0, 0.1}, &R).chain;
  for (int k = 0; k < 10; ++k) {
    const double exact = ExactMoment(H, startInside, k);
    EXPECT_NEAR(ChainMoment(own, k), exact, 1e-10 * std::fabs(exact) + 1e-10);
    EXPECT_NEAR(ChainMoment(given, k), exact, 1e-10 * std::fabs(exact) + 1e-10);
  }
}

TEST(Lanczos, ChainThatClosesGoesOnWithZeros) {
  // One electron on two levels: the space has two dimensions.
  Model model{2, {}};
  model.Add({C(0), A(0)}, 1.0);
  model.Add({C(1), A(1)}, 3.0);
  model.AddHermitian({C(0), A(1)}, 0.5);
  const WaveFunctionType psi = MakeState(2, {1}, {2.0}, false);
  const auto [M, levels] = RunBothWays(MakeOperator(model), psi, {5, 1e-12, 0.1});
  EXPECT_EQ(levels, 2u);
  const std::vector<double> a = {0, 1, 3, 0, 0, 0}, b = {2, 0.5, 0, 0, 0};
  for (std::size_t k = 0; k < a.size(); ++k) EXPECT_NEAR(M.a[k], a[k], 1e-12) << k;
  for (std::size_t k = 0; k < b.size(); ++k) EXPECT_NEAR(M.b[k], b[k], 1e-12) << k;
}

TEST(Lanczos, ShortChainsAndEmptyStarts) {
  const Model model = RandomModel(4, true, 9);
  const OperatorType H = MakeOperator(model);
  const WaveFunctionType psi = MakeState(4, {3}, {Amplitude(0, 2)}, true);
  EXPECT_EQ(LanczosTriDiagonalize(H, nullptr, {psi}, {0, 0, 0.1})[0].levels, 0u);
  const LanczosRun one = RunBothWays(H, psi, {1, 0, 0.1});
  EXPECT_EQ(one.levels, 1u);
  EXPECT_DOUBLE_EQ(one.chain.b[0], 2);
  EXPECT_NEAR(one.chain.a[1], MatrixOf(model, {3})[0].real(), 1e-14);
  const LanczosRun zero = RunBothWays(H, MakeState(4, {3}, {0.0}, true), {4, 1e-10, 0.0});
  EXPECT_EQ(zero.levels, 0u);
  EXPECT_EQ(zero.chain.a, std::vector<double>(5));
  EXPECT_EQ(zero.chain.b, std::vector<double>(4));
}

// Ten states in groups of two kinds: each gets the chain that it has alone, truncated as alone.
TEST(Lanczos, StatesTogetherGetTheirOwnChains) {
  for (const bool complexOperator : {false, true}) {
    const Model model = RandomModel(8, complexOperator, 6);
    const OperatorType H = MakeOperator(model);
    const std::vector<Mask> all = Electrons(4, 8);
    const LanczosSettings settings{6, 0.05, 0.3};
    std::vector<WaveFunctionType> starts;
    for (int s = 0; s < 10; ++s) {
      const bool complex = s == 3 || s > 7;
      Dense values(all.size());
      for (std::size_t i = 0; i < all.size(); ++i)
        values[i] = {std::sin(double(s + 1) * double(i)), complex ? std::cos(double(i)) : 0.0};
      starts.push_back(s == 5 ? MakeState(8, {}, {}, false) : MakeState(8, all, values, complex));
    }
    const auto together = LanczosTriDiagonalize(H, nullptr, starts, settings);
    for (std::size_t s = 0; s < starts.size(); ++s) {
      SCOPED_TRACE(s);
      const LanczosRun alone = RunBothWays(H, starts[s], settings);
      EXPECT_EQ(alone.levels, together[s].levels);
      for (std::uint32_t k = 0; k < settings.length; ++k) {
        EXPECT_NEAR(alone.chain.a[k + 1], together[s].chain.a[k + 1], 1e-9) << k;
        EXPECT_NEAR(alone.chain.b[k], together[s].chain.b[k], 1e-9) << k;
      }
    }
  }
}

// Wherever memory runs out, the chain comes out all the same, by the other way if need be.
TEST(Lanczos, SharedRowsAreNotNeeded) {
  const Model model = RandomModel(6, false, 8);
  const OperatorType H = MakeOperator(model);
  const std::vector<Mask> all = Electrons(3, 6);
  const WaveFunctionType psi = MakeState(6, all, Dense(all.size(), 0.5), false);
  const LanczosSettings settings{3, 0, 0.1};
  const LanczosRun expected = RunBothWays(H, psi, settings);
  std::size_t thrown = 0;
  for (std::size_t n = 0; n == 0 || QAllocationFailed(); ++n) {
    std::vector<WaveFunctionType> starts = {psi};
    std::vector<LanczosRun> runs;
    {
      FailingAllocation failure(n);
      try {
        runs = LanczosTriDiagonalize(H, nullptr, std::move(starts), settings);
      } catch (const std::bad_alloc&) {
        ++thrown;  // before the first row
        continue;
      }
    }
    for (std::uint32_t k = 0; k < settings.length; ++k)
      EXPECT_NEAR(runs[0].chain.a[k + 1], expected.chain.a[k + 1], 1e-9) << k;
  }
  EXPECT_LE(thrown, 3u);
}

TEST(Lanczos, ProgressLinesNameTheCoefficients) {
  GlobalVerbosity = 256;
  Model model{2, {}};
  model.Add({C(0), A(0)}, 1.0);
  model.AddHermitian({C(0), A(1)}, 0.5);
  const WaveFunctionType psi = MakeState(2, {1}, {1.0}, false);
  std::string printed;
  RunBothWays(MakeOperator(model), psi, {2, 1e-10, 0.5}, nullptr, &printed);
  EXPECT_EQ(printed,
            "BasisSetSize:            1            1\n"
            "BasisSetSize:            2            1 | M.a[  1] M.b[  0]:  1.00000E+00  1.00000E+00 | Err:  "
            "1.00000E+00\n"
            "BasisSetSize:            1              | M.a[  2] M.b[  1]:  0.00000E+00  5.00000E-01 | Err:  "
            "2.00000E-01\n\n");
  GlobalVerbosity = 0;
}

}  // namespace
}  // namespace fermix::test
