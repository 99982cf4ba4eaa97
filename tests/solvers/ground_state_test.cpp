#include "solvers/ground_state.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <numbers>

#include "host/base/verbosity.h"
#include "solvers/conserve_basis.h"
#include "solvers/model_systems.h"

namespace fermix::test {
namespace {

// Residuals far below the default, so that energies, which are wrong by their squares, agree to rounding. The
// variance of the outer loop can't fall below the rounding of <H^2> - <H>^2; the inner solver alone can.
ConvergenceSettingsType Sharp(std::uint32_t denseBorder, double zero = 1e-14) {
  ConvergenceSettingsType settings;
  settings.DenseBorder = denseBorder;
  settings.zero = zero;
  settings.epsilon = 1e-14;
  return settings;
}

class GroundState : public ::testing::Test {
 protected:
  void SetUp() override {
    GlobalVerbosity = 0;
    std::srand(12345);
  }
};

void ExpectEigenstates(const Model& model, const std::vector<Mask>& masks,
                       const std::vector<WaveFunctionType>& psi, double tolerance,
                       double residualTolerance = 1e-5) {
  const Dense H = MatrixOf(model, masks);
  const std::vector<double> exact = Eigenvalues(H, masks.size());
  for (std::size_t i = 0; i < psi.size(); ++i) {
    const Dense x = VectorOf(psi[i], masks);
    const auto [residual, energy] = ResidualOf(H, x);
    EXPECT_NEAR(energy, exact[i], tolerance) << "state " << i;
    EXPECT_LT(residual, residualTolerance) << "state " << i;
    for (std::size_t j = 0; j <= i; ++j)
      EXPECT_NEAR(std::abs(Dot(VectorOf(psi[j], masks), x)), i == j, 10 * tolerance) << i << " " << j;
  }
}

// The lowest states, which the search has to say it found; start states if psi has some.
std::vector<WaveFunctionType> Lowest(const Model& model, std::uint32_t count,
                                     ConvergenceSettingsType settings,
                                     const DeterminantRestrictionType& start,
                                     std::vector<WaveFunctionType> psi = {}) {
  OperatorType H = MakeOperator(model);
  EXPECT_EQ(BlockGroundState(H, count, settings, start, {}, psi, 10), 0);
  EXPECT_EQ(psi.size(), count);
  return psi;
}

TEST_F(GroundState, RandomOperatorsAgreeWithExactDiagonalisation) {
  const struct {
    bool complex;
    std::uint32_t denseBorder;
    const char* shiftScheme;
  } cases[] = {{true, 1513, "Variance"}, {false, 1513, "None"}, {false, 0, "Variance"},
               {true, 0, "Variance"},    {false, 0, "None"},    {true, 0, "Automatic"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.shiftScheme) + (c.complex ? " complex " : " real ") +
                 std::to_string(c.denseBorder));
    const Model model = RandomModel(8, c.complex, 11);
    ConvergenceSettingsType settings = Sharp(c.denseBorder);
    settings.ShiftScheme = c.shiftScheme;
    settings.NKrylovStart = 20;
    ExpectEigenstates(model, Electrons(4, 8), Lowest(model, 4, settings, FixedCount(8, 4)), 1e-10);
  }
}

TEST_F(GroundState, ConstantTermStaysAndShiftsTheEnergies) {
  const Model model = RandomModel(6, false, 1);
  for (const double constant : {0.0, 100.0}) {
    OperatorType H = MakeOperator(model);
    if (constant != 0) OperatorAddConstant(H, constant);
    std::vector<WaveFunctionType> psi;
    ConvergenceSettingsType settings = Sharp(0);
    EXPECT_EQ(BlockGroundState(H, 2, settings, FixedCount(6, 3), {}, psi, 10), 0);
    ASSERT_EQ(TermCount(H.l[0]), 1u);
    EXPECT_EQ(TermValue(H.l[0], 0).re, constant);
    ExpectEigenstates(model, Electrons(3, 6), psi, 1e-10);
  }
}

// The spectrum of a half-filled ring with spin symmetry is full of multiplets; of equal levels the first
// restart finds an invariant subspace at once.
TEST_F(GroundState, DegenerateMultipletsComeOutWholeInTheKrylovPath) {
  Model flat{6, {}};
  for (std::uint32_t i = 0; i < 6; ++i) flat.Add({C(i), A(i)}, 2.0);
  const Model ring = Hubbard(4, 1.0, 3.0, true);
  ConvergenceSettingsType settings = Sharp(0);
  ExpectEigenstates(flat, Electrons(3, 6), Lowest(flat, 3, settings, FixedCount(6, 3)), 1e-12);
  settings.NKrylovStart = 8;
  settings.NKrylovStep = 4;
  for (const std::uint32_t n : {1u, 3u, 6u})
    ExpectEigenstates(ring, Electrons(4, 8), Lowest(ring, n, settings, FixedCount(8, 4)), 1e-9);
}

TEST_F(GroundState, MoreStatesThanDeterminantsGivesZeroVectors) {
  for (const std::uint32_t border : {1513u, 0u})
    for (const bool complex : {false, true}) {
      Model model = FreeChain(3, 1.0);
      if (complex) model.AddHermitian({C(0), A(2)}, Amplitude(0, 0.3));
      std::vector<WaveFunctionType> psi = Lowest(model, 5, Sharp(border), FixedCount(3, 1));
      EXPECT_EQ(WaveFunctionCalculateNorm(psi[3]) + WaveFunctionCalculateNorm(psi[4]), 0);
      psi.resize(3);
      ExpectEigenstates(model, Electrons(1, 3), psi, 1e-10);
    }
}

TEST_F(GroundState, RunRestrictionsBoundTheSearch) {
  const Model model = RandomModel(8, false, 31);
  const Mask half = 0x0f;
  std::vector<Mask> inside;
  for (const Mask m : Electrons(4, 8))
    if (std::popcount(m & half) >= 2) inside.push_back(m);
  const DeterminantRestrictionType narrow = Restrict(8, {{0xff, 4, 4}, {half, 3, 4}}),
                                   wide = Restrict(8, {{half, 2, 4}});
  // As an argument, and as restrictions that the operator carries; from inside, and from start functions that
  // go beyond.
  for (const bool carried : {false, true})
    for (const DeterminantRestrictionType& start : {narrow, FixedCount(8, 4)}) {
      OperatorType H = MakeOperator(model);
      if (carried) H.Restrictions = wide;
      std::vector<WaveFunctionType> psi;
      ConvergenceSettingsType settings = Sharp(1513);
      EXPECT_EQ(
          BlockGroundState(H, 2, settings, start, carried ? DeterminantRestrictionType{} : wide, psi, 10), 0);
      ExpectEigenstates(model, inside, psi, 1e-9);
    }
}

// More than 24 orbitals: the start is random determinants, not a complete basis. Pairs of levels of a free
// chain.
TEST_F(GroundState, LargeSystemsStartFromRandomDeterminants) {
  const Model model = FreeChain(26, 1.0);
  std::vector<double> pairs;
  const auto level = [](int k) { return -2 * std::cos(std::numbers::pi * k / 27); };
  for (int i = 1; i <= 26; ++i)
    for (int j = 1; j < i; ++j) pairs.push_back(level(i) + level(j));
  std::sort(pairs.begin(), pairs.end());
  const std::vector<Mask> masks = Electrons(2, 26);
  const Dense H = MatrixOf(model, masks);
  const auto psi = Lowest(model, 3, Sharp(0), FixedCount(26, 2));
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_NEAR(ResidualOf(H, VectorOf(psi[i], masks)).energy, pairs[i], 1e-9);
}

// One electron on a steep slope: its amplitudes fall off so fast that a few sites hold it.
TEST_F(GroundState, TruncationKeepsTheDeterminantsThatMatter) {
  Model model = FreeChain(20, 0.5);
  for (std::uint32_t i = 0; i < 20; ++i) model.Add({C(i), A(i)}, 2.0 * i);
  const std::vector<Mask> masks = Electrons(1, 20);
  const Dense H = MatrixOf(model, masks);
  const double exact = Eigenvalues(H, masks.size())[0];
  std::uint32_t before = 0;
  for (const double epsilon : {1e-1, 1e-3, 1e-6}) {
    SCOPED_TRACE(epsilon);
    ConvergenceSettingsType settings;
    settings.epsilon = epsilon;
    settings.zero = 10 * epsilon * epsilon;
    const auto psi = Lowest(model, 1, settings, {}, {MakeState(20, {1})});
    EXPECT_GT(ElementCount(psi[0]), before);
    EXPECT_LT(ElementCount(psi[0]), 12u);
    // The error in the energy is of second order in what was left out.
    EXPECT_NEAR(ResidualOf(H, VectorOf(psi[0], masks)).energy, exact, 10 * epsilon * epsilon + 1e-13);
    before = ElementCount(psi[0]);
  }
}

// Truncation takes away what H adds: after some passes all others would be the same.
TEST_F(GroundState, PassesThatChangeNothingAreLeftOut) {
  Model model = FreeChain(20, 1.0);
  for (std::uint32_t i = 0; i < 20; ++i) model.Add({C(i), A(i)}, 0.5 * i);
  OperatorType H = MakeOperator(model);
  for (const std::uint32_t border : {1513u, 0u}) {
    std::vector<WaveFunctionType> psi = {MakeState(20, {1})};
    ConvergenceSettingsType settings = Sharp(border, 1e-9);
    settings.epsilon = 0.1;
    GlobalVerbosity = 2;
    const std::string text =
        Printed([&] { EXPECT_EQ(BlockGroundState(H, 1, settings, {}, {}, psi, 10), 1); });
    EXPECT_NE(text.find("did NOT converge!"), std::string::npos);
    EXPECT_EQ(text.find("Outer loop  10"), std::string::npos);
  }
}

TEST_F(GroundState, SaysWhenItDoesNotConverge) {
  OperatorType H = MakeOperator(RandomModel(4, false, 1));
  std::vector<WaveFunctionType> psi = {MakeState(4, Electrons(2, 4))};
  ConvergenceSettingsType settings;
  settings.zero = -1;  // a bar below all variances; passes that change nothing are not made
  EXPECT_EQ(
      Printed([&] { EXPECT_EQ(BlockGroundState(H, 1, settings, {}, {}, psi, 10), 1); }),
      "\n\n\nError in BlockGroundState: Reached maximum number of Loops. The algorithm did NOT converge!\n"
      "\n\n\n");
  EXPECT_EQ(ElementCount(psi[0]), 6u);
}

TEST_F(GroundState, EndsOnValuesThatAreNotFiniteAndOnNothing) {
  for (const std::uint32_t border : {1513u, 0u}) {
    OperatorType H = MakeOperator(FreeChain(3, 1e300));
    std::vector<WaveFunctionType> psi, none, empty = {MakeState(3, {}), MakeState(3, {}, true)};
    ConvergenceSettingsType settings;
    settings.DenseBorder = border;
    const auto run = [&] { return BlockGroundState(H, 2, settings, FixedCount(3, 1), {}, psi, 10); };
    EXPECT_NE(Printed([&] { EXPECT_EQ(run(), 1); }).find("not finite"), std::string::npos);
    EXPECT_EQ(BlockGroundState(H, 0, settings, FixedCount(3, 2), {}, none, 10), 0);
    EXPECT_EQ(BlockGroundState(H, 2, settings, {}, {}, empty, 0), 0);
    EXPECT_EQ(none.size() + ElementCount(empty[0]), 0u);
  }
}

// Levels 1e-3 apart at -100: far below what the bar on the variance, which counts from energy 0, can tell.
TEST_F(GroundState, CloseLevelsFarFromZeroAreNotMixed) {
  Model model = FreeChain(9, 1e-3);
  for (std::uint32_t i = 0; i < 9; ++i) model.Add({C(i), A(i)}, -100);
  const std::vector<Mask> masks = Electrons(1, 9);
  ExpectEigenstates(model, masks, Lowest(model, 3, {}, FixedCount(9, 1)), 1e-10);
  ExpectEigenstates(model, masks, Lowest(model, 1, {}, {}, {MakeState(9, {Mask{1} << 4})}), 1e-10);
}

// --- The inner solver alone

// Random start states on one basis.
std::vector<WaveFunctionType> RandomStates(std::size_t count, const std::vector<Mask>& masks,
                                           bool complex = false) {
  std::vector<WaveFunctionType> psi(count, MakeState(8, masks, complex));
  for (WaveFunctionType& state : psi) WaveFunctionRandomize(state);
  return psi;
}

TEST_F(GroundState, ConserveBasisSolvesTheProjectedProblem) {
  const struct {
    bool complexOperator, complexStates;  // complex states of a real operator become real
    std::uint32_t border;
  } cases[] = {
      {false, false, 1513}, {true, false, 1513}, {false, false, 0}, {true, false, 0}, {false, true, 0}};
  std::vector<Mask> part;
  for (const Mask m : Electrons(4, 8))
    if (m % 5) part.push_back(m);
  for (const auto& c : cases) {
    SCOPED_TRACE(c.border);
    const Model model = RandomModel(8, c.complexOperator, 51);
    std::vector<WaveFunctionType> psi = RandomStates(3, part, c.complexStates);
    const auto basis = psi[0].basis;
    for (WaveFunctionType& state : psi) state.basis = basis;
    EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), -3.0, psi, Sharp(c.border, 1e-22)),
              0);
    EXPECT_EQ(psi[0].basis, basis);
    for (const WaveFunctionType& state : psi) EXPECT_EQ(QComplex(state), c.complexOperator);
    ExpectEigenstates(model, part, psi, 1e-10, 1e-9);
  }
}

TEST_F(GroundState, KrylovSettingsAtTheirLimitsEnd) {
  const Model model = RandomModel(8, false, 71);
  const std::vector<Mask> masks = Electrons(4, 8);
  const struct {
    std::uint32_t start, max, step;
    double zero;
    bool accurate;
  } cases[] = {
      {0, 0, 0, 1e-12, false},      // a Krylov space of the start states: nothing can improve
      {500, 100, 10, 1e-20, true},  // more than there is room for, and more than there are determinants
      {1000, 1000, 4000000000u, 0, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.start);
    ConvergenceSettingsType settings = Sharp(0, c.zero);
    settings.NKrylovStart = c.start;
    settings.NKrylovMax = c.max;
    settings.NKrylovStep = c.step;
    std::vector<WaveFunctionType> psi = RandomStates(2, masks);
    EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), 0, psi, settings), 0);
    if (c.accurate) ExpectEigenstates(model, masks, psi, 1e-10, 1e-9);
  }
}

TEST_F(GroundState, StartStatesThatDependOnEachOtherDeflate) {
  const Model model = RandomModel(8, false, 81);
  const std::vector<Mask> masks = Electrons(4, 8);
  const WaveFunctionType first = RandomStates(1, masks)[0];
  std::vector<WaveFunctionType> psi(3, first);  // three times the same
  psi.push_back(WaveFunctionInitCopyBasis(first));
  EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), 0, psi, Sharp(0, 1e-22)), 0);
  ExpectEigenstates(model, masks, psi, 1e-10, 1e-9);
}

}  // namespace
}  // namespace fermix::test
