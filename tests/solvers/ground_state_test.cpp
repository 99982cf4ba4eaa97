#include "solvers/ground_state.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <numbers>

#include "host/base/verbosity.h"
#include "linalg/compact_matrix.h"
#include "solvers/conserve_basis.h"
#include "solvers/model_systems.h"

namespace fermix::testing {
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
  const DenseMatrix H = Dense(model, masks);
  const std::vector<double> exact = Eigenvalues(H);
  for (std::size_t i = 0; i < psi.size(); ++i) {
    const std::vector<Amplitude> x = VectorOf(psi[i], masks);
    const auto [residual, energy] = ResidualOf(H, x);
    EXPECT_NEAR(energy, exact[i], tolerance) << "state " << i;
    EXPECT_LT(residual, residualTolerance) << "state " << i;
    for (std::size_t j = 0; j <= i; ++j)
      EXPECT_NEAR(std::abs(Dot(VectorOf(psi[j], masks), x)), i == j, 10 * tolerance) << i << " " << j;
  }
}

TEST_F(GroundState, RandomOperatorsAgreeWithExactDiagonalisation) {
  const struct {
    bool complex;
    std::uint32_t denseBorder;
    const char* shiftScheme;
  } cases[] = {{false, 1513, "Variance"}, {true, 1513, "Variance"}, {false, 0, "Variance"},
               {true, 0, "Variance"},     {false, 0, "None"},       {true, 0, "Automatic"},
               {false, 0, "Automatic"},   {false, 1513, "None"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::string(c.shiftScheme) + (c.complex ? " complex " : " real ") +
                 std::to_string(c.denseBorder));
    const Model model = RandomModel(8, c.complex, 11);
    OperatorType H = MakeOperator(model);
    ConvergenceSettingsType settings = Sharp(c.denseBorder);
    settings.ShiftScheme = c.shiftScheme;
    settings.NKrylovStart = 20;
    std::vector<WaveFunctionType> psi;
    EXPECT_EQ(BlockGroundState(H, 4, settings, FixedCount(8, 4), {}, psi, 10), 0);
    ASSERT_EQ(psi.size(), 4u);
    ExpectEigenstates(model, Sector(8, 4), psi, 1e-10);
  }
}

TEST_F(GroundState, ConstantTermStaysAndShiftsTheEnergies) {
  const Model model = RandomModel(6, false, 1);
  OperatorType without = MakeOperator(model), with = without;
  OperatorAddConstant(with, 100.0);
  std::vector<WaveFunctionType> a, b;
  ConvergenceSettingsType settings = Sharp(0);
  EXPECT_EQ(BlockGroundState(without, 2, settings, FixedCount(6, 3), {}, a, 10), 0);
  EXPECT_EQ(BlockGroundState(with, 2, settings, FixedCount(6, 3), {}, b, 10), 0);
  ASSERT_EQ(TermCount(without.l[0]), 1u);
  EXPECT_EQ(TermValue(without.l[0], 0).re, 0);
  EXPECT_EQ(TermValue(with.l[0], 0).re, 100.0);
  ExpectEigenstates(model, Sector(6, 3), b, 1e-10);
}

TEST_F(GroundState, HubbardModelHasTheKnownEnergies) {
  for (const double U : {0.0, 1.0, 4.0, 50.0}) {
    SCOPED_TRACE(U);
    // Two sites with two electrons: E0 = U/2 - sqrt(U^2/4 + 4 t^2).
    OperatorType H = MakeOperator(Hubbard(2, 1.0, U, false));
    std::vector<WaveFunctionType> psi;
    ConvergenceSettingsType settings = Sharp(1513);
    EXPECT_EQ(BlockGroundState(H, 1, settings, FixedCount(4, 2), {}, psi, 10), 0);
    const std::vector<Mask> masks = Sector(4, 2);
    EXPECT_NEAR(ResidualOf(Dense(Hubbard(2, 1.0, U, false), masks), VectorOf(psi[0], masks)).energy,
                U / 2 - std::sqrt(U * U / 4 + 4), 1e-11);
  }
}

// The spectrum of a half-filled ring with spin symmetry is full of multiplets.
TEST_F(GroundState, DegenerateMultipletsComeOutWholeInTheKrylovPath) {
  const Model model = Hubbard(4, 1.0, 3.0, true);
  const std::vector<Mask> masks = Sector(8, 4);
  OperatorType H = MakeOperator(model);
  for (const std::uint32_t n : {1u, 3u, 6u}) {
    SCOPED_TRACE(n);
    std::vector<WaveFunctionType> psi;
    ConvergenceSettingsType settings = Sharp(0);
    settings.NKrylovStart = 8;
    settings.NKrylovStep = 4;
    EXPECT_EQ(BlockGroundState(H, n, settings, FixedCount(8, 4), {}, psi, 10), 0);
    ExpectEigenstates(model, masks, psi, 1e-9);
  }
  // All levels equal: the first restart finds an invariant subspace at once.
  Model flat{6, {}};
  for (std::uint32_t i = 0; i < 6; ++i) flat.Add({C(i), A(i)}, 2.0);
  OperatorType number = MakeOperator(flat);
  std::vector<WaveFunctionType> psi;
  ConvergenceSettingsType settings = Sharp(0);
  EXPECT_EQ(BlockGroundState(number, 3, settings, FixedCount(6, 3), {}, psi, 10), 0);
  ExpectEigenstates(flat, Sector(6, 3), psi, 1e-12);
}

// 20 electrons' worth of determinants that neither path can fake: six sites, Sz = 0, against LAPACK.
TEST_F(GroundState, SixSiteRingAgreesWithDenseDiagonalisation) {
  const Model model = Hubbard(6, 1.0, 8.0, true);
  const Mask up = 0x555, down = 0xaaa;
  std::vector<Mask> masks;
  for (const Mask m : Sector(12, 6))
    if (std::popcount(m & up) == 3) masks.push_back(m);
  const DenseMatrix dense = Dense(model, masks);
  CompactMatrixType matrix = InitCompactMatrix(400, 400, false), vectors;
  for (std::size_t i = 0; i < 400; ++i)
    for (std::size_t j = 0; j < 400; ++j) std::get<0>(matrix.Data)[i * 400 + j] = dense[i][j].real();
  std::vector<double> exact;
  ASSERT_EQ(CompactMatrixEigensystem(matrix, vectors, exact), 0);
  OperatorType H = MakeOperator(model);
  for (const std::uint32_t border : {1513u, 0u}) {
    std::vector<WaveFunctionType> psi;
    ConvergenceSettingsType settings = Sharp(border);
    EXPECT_EQ(BlockGroundState(H, 3, settings, Restrict(12, {{up, 3, 3}, {down, 3, 3}}), {}, psi, 10), 0);
    for (std::size_t i = 0; i < 3; ++i)
      EXPECT_NEAR(ResidualOf(dense, VectorOf(psi[i], masks)).energy, exact[i], 1e-10) << border << " " << i;
  }
}

TEST_F(GroundState, MoreStatesThanDeterminantsGivesZeroVectors) {
  const Model model = FreeChain(3, 1.0);
  const std::vector<Mask> masks = Sector(3, 1);
  for (const std::uint32_t border : {1513u, 0u})
    for (const bool complex : {false, true}) {
      SCOPED_TRACE(border);
      Model m = model;
      if (complex) m.AddHermitian({C(0), A(2)}, Amplitude(0, 0.3));
      OperatorType H = MakeOperator(m);
      std::vector<WaveFunctionType> psi;
      ConvergenceSettingsType settings = Sharp(border);
      EXPECT_EQ(BlockGroundState(H, 5, settings, FixedCount(3, 1), {}, psi, 10), 0);
      ASSERT_EQ(psi.size(), 5u);
      EXPECT_EQ(WaveFunctionCalculateNorm(psi[3]), 0);
      EXPECT_EQ(WaveFunctionCalculateNorm(psi[4]), 0);
      psi.resize(3);
      ExpectEigenstates(m, masks, psi, 1e-10);
    }
}

TEST_F(GroundState, GrowsFromOneDeterminantToWhatMatters) {
  const Model model = RandomModel(8, true, 21);
  for (const std::uint32_t border : {1513u, 0u}) {
    OperatorType H = MakeOperator(model);
    std::vector<WaveFunctionType> psi = {MakeState(8, {0x0f}, {1.0}, false)};
    ConvergenceSettingsType settings = Sharp(border);
    EXPECT_EQ(BlockGroundState(H, 1, settings, {}, {}, psi, 10), 0);
    ExpectEigenstates(model, Sector(8, 4), psi, 1e-9);
  }
}

TEST_F(GroundState, RunRestrictionsBoundTheSearch) {
  const Model model = RandomModel(8, false, 31);
  const Mask half = 0x0f;
  std::vector<Mask> inside;
  for (const Mask m : Sector(8, 4))
    if (std::popcount(m & half) >= 2) inside.push_back(m);
  const DeterminantRestrictionType narrow = Restrict(8, {{0xff, 4, 4}, {half, 3, 4}}),
                                   wide = Restrict(8, {{half, 2, 4}});
  // As an argument, and as restrictions that the operator carries.
  for (const bool carried : {false, true}) {
    OperatorType H = MakeOperator(model);
    if (carried) H.Restrictions = wide;
    std::vector<WaveFunctionType> psi;
    ConvergenceSettingsType settings = Sharp(1513);
    EXPECT_EQ(
        BlockGroundState(H, 2, settings, narrow, carried ? DeterminantRestrictionType{} : wide, psi, 10), 0);
    ExpectEigenstates(model, inside, psi, 1e-9);
  }
}

// More than 24 orbitals: the start is random determinants, not a complete basis.
TEST_F(GroundState, LargeSystemsStartFromRandomDeterminants) {
  const std::uint32_t sites = 26, electrons = 2;
  OperatorType H = MakeOperator(FreeChain(sites, 1.0));
  std::vector<double> levels, pairs;
  for (std::uint32_t k = 1; k <= sites; ++k)
    levels.push_back(-2 * std::cos(std::numbers::pi * k / (sites + 1)));
  for (std::uint32_t i = 0; i < sites; ++i)
    for (std::uint32_t j = 0; j < i; ++j) pairs.push_back(levels[i] + levels[j]);
  std::sort(pairs.begin(), pairs.end());
  const std::vector<Mask> masks = Sector(sites, electrons);
  const DenseMatrix dense = Dense(FreeChain(sites, 1.0), masks);
  std::vector<WaveFunctionType> psi;
  ConvergenceSettingsType settings = Sharp(0);
  EXPECT_EQ(BlockGroundState(H, 3, settings, FixedCount(sites, electrons), {}, psi, 10), 0);
  for (std::size_t i = 0; i < 3; ++i)
    EXPECT_NEAR(ResidualOf(dense, VectorOf(psi[i], masks)).energy, pairs[i], 1e-9);
}

// One electron on a steep slope: its amplitudes fall off so fast that a few sites hold it.
TEST_F(GroundState, TruncationKeepsTheDeterminantsThatMatter) {
  Model model = FreeChain(20, 0.5);
  for (std::uint32_t i = 0; i < 20; ++i) model.Add({C(i), A(i)}, 2.0 * i);
  const std::vector<Mask> masks = Sector(20, 1);
  const DenseMatrix dense = Dense(model, masks);
  const double exact = Eigenvalues(dense)[0];
  std::uint32_t before = 0;
  for (const double epsilon : {1e-1, 1e-3, 1e-6}) {
    SCOPED_TRACE(epsilon);
    OperatorType H = MakeOperator(model);
    std::vector<WaveFunctionType> psi = {MakeState(20, {1}, {1.0}, false)};
    ConvergenceSettingsType settings;
    settings.epsilon = epsilon;
    settings.zero = 10 * epsilon * epsilon;
    EXPECT_EQ(BlockGroundState(H, 1, settings, {}, {}, psi, 10), 0);
    EXPECT_GT(ElementCount(psi[0]), before);
    EXPECT_LT(ElementCount(psi[0]), 12u);
    // The error in the energy is of second order in what was left out.
    const double energy = ResidualOf(dense, VectorOf(psi[0], masks)).energy;
    EXPECT_NEAR(energy, exact, 10 * epsilon * epsilon + 1e-13);
    EXPECT_EQ(settings.epsilon, epsilon);
    before = ElementCount(psi[0]);
  }
}

TEST_F(GroundState, SameSeedSameDigits) {
  const Model model = RandomModel(8, true, 41);
  std::vector<WaveFunctionType> runs[2];
  for (auto& psi : runs) {
    std::srand(99);
    OperatorType H = MakeOperator(model);
    ConvergenceSettingsType settings;
    settings.DenseBorder = 0;
    EXPECT_EQ(BlockGroundState(H, 3, settings, FixedCount(8, 4), {}, psi, 10), 0);
  }
  for (std::size_t i = 0; i < 3; ++i) {
    ASSERT_EQ(ElementCount(runs[0][i]), ElementCount(runs[1][i]));
    for (std::uint32_t k = 1; k <= ElementCount(runs[0][i]); ++k)
      ASSERT_TRUE(ElementValue(runs[0][i], k) == ElementValue(runs[1][i], k));
  }
}

TEST_F(GroundState, SaysWhenItDoesNotConverge) {
  OperatorType H = MakeOperator(RandomModel(4, false, 1));
  std::vector<WaveFunctionType> psi;
  ConvergenceSettingsType settings;
  settings.zero = -1;  // a bar below all variances
  ::testing::internal::CaptureStdout();
  EXPECT_EQ(BlockGroundState(H, 1, settings, {}, {}, psi, 10), 0) << "no states, nothing to do";
  psi = {MakeState(4, Sector(4, 2), std::vector<Amplitude>(6, 1.0), false)};
  EXPECT_EQ(BlockGroundState(H, 1, settings, {}, {}, psi, 10), 1);
  EXPECT_EQ(
      ::testing::internal::GetCapturedStdout(),
      "\n\n\nError in BlockGroundState: Reached maximum number of Loops. The algorithm did NOT converge!\n"
      "\n\n\n");
  EXPECT_EQ(ElementCount(psi[0]), 6u);
}

TEST_F(GroundState, EndsOnValuesThatAreNotFinite) {
  for (const std::uint32_t border : {1513u, 0u}) {
    Model model = FreeChain(3, 1e300);
    OperatorType H = MakeOperator(model);
    std::vector<WaveFunctionType> psi;
    ConvergenceSettingsType settings;
    settings.DenseBorder = border;
    ::testing::internal::CaptureStdout();
    EXPECT_EQ(BlockGroundState(H, 2, settings, FixedCount(3, 1), {}, psi, 10), 1);
    EXPECT_NE(::testing::internal::GetCapturedStdout().find("not finite"), std::string::npos);
  }
}

// --- The inner solver alone
// ----------------------------------------------------------------------------------

TEST_F(GroundState, ConserveBasisSolvesTheProjectedProblem) {
  for (const bool complex : {false, true})
    for (const std::uint32_t border : {1513u, 0u}) {
      SCOPED_TRACE(border);
      const Model model = RandomModel(8, complex, 51);
      std::vector<Mask> part;
      for (const Mask m : Sector(8, 4))
        if (m % 5) part.push_back(m);
      std::vector<WaveFunctionType> psi(3, MakeState(8, part, std::vector<Amplitude>(part.size()), false));
      for (WaveFunctionType& state : psi) WaveFunctionRandomize(state);
      const auto basis = psi[0].basis;
      for (WaveFunctionType& state : psi) state.basis = basis;
      EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), -3.0, psi, Sharp(border, 1e-22)),
                0);
      EXPECT_EQ(psi[0].basis, basis);
      ExpectEigenstates(model, part, psi, 1e-10, 1e-9);
    }
}

// A complex start state of a real operator is a real vector up to its phase.
TEST_F(GroundState, RealOperatorTurnsComplexStatesReal) {
  const Model model = RandomModel(8, false, 61);
  const std::vector<Mask> masks = Sector(8, 4);
  std::vector<WaveFunctionType> psi(2, MakeState(8, masks, std::vector<Amplitude>(masks.size()), true));
  for (WaveFunctionType& state : psi) WaveFunctionRandomize(state);
  EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), 0, psi, Sharp(0, 1e-22)), 0);
  EXPECT_FALSE(QComplex(psi[0]) || QComplex(psi[1]));
  ExpectEigenstates(model, masks, psi, 1e-10, 1e-9);
}

TEST_F(GroundState, KrylovSettingsAtTheirLimitsEnd) {
  const Model model = RandomModel(8, false, 71);
  const std::vector<Mask> masks = Sector(8, 4);
  const struct {
    std::uint32_t start, max, step;
    double zero;
    bool accurate;
  } cases[] = {
      {0, 0, 0, 1e-12, false},      // a Krylov space of the start states: nothing can improve
      {4, 500, 10, 0, true},        // no residual is ever small enough
      {500, 100, 10, 1e-20, true},  // more than there is room for, and more than there are determinants
      {1000, 1000, 4000000000u, 0, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.start);
    ConvergenceSettingsType settings = Sharp(0, 1e-22);
    settings.NKrylovStart = c.start;
    settings.NKrylovMax = c.max;
    settings.NKrylovStep = c.step;
    settings.zero = c.zero;
    std::vector<WaveFunctionType> psi(2, MakeState(8, masks, std::vector<Amplitude>(masks.size()), false));
    for (WaveFunctionType& state : psi) WaveFunctionRandomize(state);
    EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), 0, psi, settings), 0);
    if (c.accurate) ExpectEigenstates(model, masks, psi, 1e-10, 1e-9);
  }
}

TEST_F(GroundState, StartStatesThatDependOnEachOtherDeflate) {
  const Model model = RandomModel(6, false, 81);
  const std::vector<Mask> masks = Sector(6, 3);
  WaveFunctionType first = MakeState(6, masks, std::vector<Amplitude>(masks.size()), false);
  WaveFunctionRandomize(first);
  std::vector<WaveFunctionType> psi(3, first);  // three times the same
  psi.push_back(WaveFunctionInitCopyBasis(first));
  EXPECT_EQ(BlockLanczosGroundStateConserveBasis(MakeOperator(model), 0, psi, Sharp(0, 1e-22)), 0);
  ExpectEigenstates(model, masks, psi, 1e-10, 1e-9);
}

TEST_F(GroundState, EmptyListsAndEmptyBases) {
  OperatorType H = MakeOperator(FreeChain(4, 1));
  ConvergenceSettingsType settings;
  std::vector<WaveFunctionType> none, empty = {MakeState(4, {}, {}, false), MakeState(4, {}, {}, true)};
  EXPECT_EQ(BlockGroundState(H, 0, settings, FixedCount(4, 2), {}, none, 10), 0);
  EXPECT_TRUE(none.empty());
  for (const std::uint32_t border : {1513u, 0u}) {
    settings.DenseBorder = border;
    EXPECT_EQ(BlockGroundState(H, 2, settings, {}, {}, empty, 0), 0);
    EXPECT_EQ(ElementCount(empty[0]), 0u);
  }
}

}  // namespace
}  // namespace fermix::testing
