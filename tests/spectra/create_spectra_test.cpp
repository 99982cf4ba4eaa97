#include "spectra/create_spectra.h"

#include <gtest/gtest.h>

#include "printed.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "exact.h"
#include "host/base/verbosity.h"

namespace fermix {
namespace {

using test::Amplitude;
using test::Dense;
using test::FockSpace;
using test::Term;

// All 32 occupations of five orbitals; the random operators conserve nothing, so that H connects all of them.
const FockSpace Space{5};

struct Pole {
  double energy, weight;
};

// Poles of <v| (z - H)^-1 |v> by the dense eigensystem of H.
std::vector<Pole> ReferencePoles(const Dense& H, const Dense& v) {
  Dense vectors;
  std::vector<Pole> poles;
  for (const double energy : test::Eigenvalues(H, v.size(), &vectors)) {
    const std::size_t k = poles.size() * v.size();
    poles.push_back({energy, std::norm(test::Dot(Dense(&vectors[k], &vectors[k] + v.size()), v))});
  }
  return poles;
}

Amplitude GreensFunction(const std::vector<Pole>& poles, Amplitude z) {
  Amplitude G = 0;
  for (const Pole& pole : poles) G += pole.weight / (z - pole.energy);
  return G;
}

// Every pole stands where the reference has it, with its weight, and no weight is anywhere else.
void ExpectPoles(const ListOfPoles& got, double shift, const std::vector<Pole>& expected) {
  const double tolerance = 1e-7;
  double total = 0;
  for (const Pole& level : expected) {
    double weight = 0, reference = 0;
    for (std::size_t k = 0; k < got.a.size(); ++k)
      if (std::fabs(got.a[k] + shift - level.energy) < tolerance) weight += got.b[k];
    for (const Pole& pole : expected)
      if (std::fabs(pole.energy - level.energy) < tolerance) reference += pole.weight;
    EXPECT_NEAR(weight, reference, 1e-9) << level.energy;
    total += level.weight;
  }
  EXPECT_NEAR(std::accumulate(got.b.begin(), got.b.end(), 0.0), total, 1e-10);
}

// --- Random systems

struct RandomSystem {
  std::vector<Term> H;
  std::vector<Term> T[2];
  Dense psi[2];
  OperatorType operatorH, operatorT[2];
  WaveFunctionType state[2];

  RandomSystem(unsigned seed, bool complexH, bool complexT, bool complexPsi) {
    std::mt19937 random(seed);
    H = test::Hermitian(test::RandomTerms(Space, random, 60, 4, complexH));
    operatorH = test::ToOperator(Space, H);
    for (int k = 0; k < 2; ++k) {
      // The second operator and the second state are real: kinds mix within a call.
      T[k] = test::RandomTerms(Space, random, 15, 3, complexT && k == 0);
      operatorT[k] = test::ToOperator(Space, T[k]);
      psi[k] = test::RandomVector(Space, random, complexPsi && k == 0, 0.5);
      const double norm = std::sqrt(test::Dot(psi[k], psi[k]).real());
      for (Amplitude& a : psi[k]) a /= norm;
      state[k] = test::ToState(Space, psi[k], complexPsi && k == 0);
    }
  }
};

class CreateSpectraTest : public Quiet {};

CreateSpectraSettings Settings(std::uint32_t DenseBorder) {
  CreateSpectraSettings s;
  s.solver.DenseBorder = DenseBorder;
  s.solver.NTri = 80;        // more than there are states
  s.solver.epsilon = 1e-60;  // truncation is not what is looked at here
  s.solver.grid.Emin = -6;
  s.solver.grid.Emax = 6;
  s.solver.grid.NE = 24;
  s.solver.grid.Gamma = 3;
  return s;
}

void ExpectOnTheGrid(const SpectraType& S, double E0, const std::vector<Pole>& poles) {
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    const double E = S.Emin + static_cast<double>(i) * S.dE;
    const Amplitude G = GreensFunction(poles, {E + E0, S.Gamma / 2});
    EXPECT_NEAR(S.Re[i], G.real(), 1e-9);
    EXPECT_NEAR(S.Im[i], G.imag(), 1e-9);
  }
}

// Pair k of a result against the reference, from the energy zero E0.
void ExpectPair(const CreateSpectraResult& result, std::size_t k, double E0, const std::vector<Pole>& poles) {
  ExpectOnTheGrid(result.spectra.spectra.at(k), E0, poles);
  if (const auto* exact = std::get_if<std::vector<ListOfPoles>>(&result.representations)) {
    ExpectPoles(exact->at(k), 0, poles);
  } else {
    ListOfPoles chain;
    ASSERT_EQ(TriDiagonalMatrixToListOfPoles(std::get<0>(result.representations).at(k), chain), 0);
    ExpectPoles(chain, E0, poles);  // chains count from the energy zero
  }
}

TEST_F(CreateSpectraTest, BothPathsAgreeWithFullDiagonalisation) {
  for (int kinds = 0; kinds < 8; ++kinds) {
    const RandomSystem system(20 + kinds, kinds & 1, kinds & 2, kinds & 4);
    const Dense H = Space.matrix(system.H);
    for (const std::uint32_t DenseBorder : {1513u, 0u}) {
      SCOPED_TRACE(testing::Message() << kinds << " " << DenseBorder);
      const auto result = CreateSpectra(system.operatorH, {&system.operatorT[0], &system.operatorT[1]},
                                        {&system.state[0], &system.state[1]}, Settings(DenseBorder));
      EXPECT_EQ(result.representations.index(), DenseBorder ? 1u : 0u);
      ASSERT_EQ(result.spectra.spectra.size(), 4u);
      for (std::size_t k = 0; k < 4; ++k) {
        SCOPED_TRACE(k);
        const SpectraType& S = result.spectra.spectra[k];
        const Dense& psi = system.psi[k % 2];  // states run inside, operators outside
        const Dense Tpsi = Space.apply(system.T[k / 2], psi);
        EXPECT_NEAR(S.FirstB[0], std::sqrt(test::Dot(Tpsi, Tpsi).real()), 1e-10);
        ExpectPair(result, k, test::Dot(psi, Space.apply(system.H, psi)).real(), ReferencePoles(H, Tpsi));
      }
    }
  }
}

TEST_F(CreateSpectraTest, AGivenEnergyZeroReplacesThatOfTheStates) {
  const RandomSystem system(30, true, true, true);
  const auto poles = ReferencePoles(Space.matrix(system.H), Space.apply(system.T[0], system.psi[0]));
  const auto [low, high] = std::minmax_element(
      poles.begin(), poles.end(), [](const Pole& a, const Pole& b) { return a.energy < b.energy; });
  for (const bool force : {false, true}) {
    CreateSpectraSettings settings = Settings(0);
    settings.E0 = 0.75;
    settings.ForceDenseMethod = force;  // wins over the border
    const auto result = CreateSpectra(system.operatorH, {&system.operatorT[0]}, {&system.state[0]}, settings);
    EXPECT_EQ(result.representations.index(), force ? 1u : 0u);
    ExpectPair(result, 0, 0.75, poles);
    // A chain that goes on when its space has closed may have levels of rounding that reach farther.
    EXPECT_NEAR(result.spectra.spectra[0].EminPole, low->energy - 0.75, force ? 1e-9 : 1);
    EXPECT_NEAR(result.spectra.spectra[0].EmaxPole, high->energy - 0.75, force ? 1e-9 : 1);
  }
}

TEST_F(CreateSpectraTest, RestrictionsGiveTheRestrictedHamiltonian) {
  RandomSystem system(32, true, true, false);
  DeterminantRestrictionType R;
  R.layout = KeyLayout{5, 0};
  R.MinOccupation = {1};
  R.MaxOccupation = {2};
  R.Masks = {test::ToKey(Space, 7)};  // orbitals 0, 1 and 2
  // Directly: rows and columns outside of the restriction taken out of H and of T psi.
  const auto allowed = [](std::size_t state) {
    const int n = __builtin_popcountll(state & 7);
    return n >= 1 && n <= 2;
  };
  Dense H = Space.matrix(system.H), Tpsi = Space.apply(system.T[0], system.psi[0]);
  for (std::size_t i = 0; i < Space.size(); ++i) {
    if (!allowed(i)) Tpsi[i] = 0;
    for (std::size_t j = 0; j < Space.size(); ++j)
      if (!allowed(i) || !allowed(j)) H[i * Space.size() + j] = 0;
  }
  const auto poles = ReferencePoles(H, Tpsi);
  for (const bool onOperator : {false, true})
    for (const std::uint32_t DenseBorder : {1513u, 0u}) {
      SCOPED_TRACE(testing::Message() << onOperator << " " << DenseBorder);
      CreateSpectraSettings settings = Settings(DenseBorder);
      settings.E0 = 0.5;
      OperatorType restricted = system.operatorH;
      (onOperator ? restricted.Restrictions : settings.solver.Restrictions) = R;
      ExpectPair(CreateSpectra(restricted, {&system.operatorT[0]}, {&system.state[0]}, settings), 0, 0.5,
                 poles);
    }
}

TEST(EnergyWindow, FollowsThePoles) {
  const double unset = CreateSpectraSettings::UnsetEmin;
  const struct {
    double EminPole, EmaxPole, Emin, Emax, Gamma, expectedEmin, expectedEmax, expectedGamma;
  } cases[] = {{2, 2, unset, -unset, 0, -0.25, 4.25, 10 * 4.5 / 1000},
               {0, 0, unset, -unset, 0, -1, 1, 0.02},
               {1, 9, unset, -unset, 0, 0, 10, 0.1},
               {1, 9, 2, -unset, 0, 2, 10, 0.08},
               {1, 9, unset, 5, 0.3, 0, 5, 0.3},
               {2, 2, unset, 3, 0, -0.25, 3, 0.0325}};
  for (const auto& c : cases) {
    CreateSpectraSettings settings;
    settings.solver.grid.Emin = c.Emin;
    settings.solver.grid.Emax = c.Emax;
    settings.solver.grid.Gamma = c.Gamma;
    const EnergyWindow w = AutomaticEnergyWindow(c.EminPole, c.EmaxPole, settings);
    EXPECT_DOUBLE_EQ(w.Emin, c.expectedEmin);
    EXPECT_DOUBLE_EQ(w.Emax, c.expectedEmax);
    EXPECT_DOUBLE_EQ(w.Gamma, c.expectedGamma);
  }
}

}  // namespace
}  // namespace fermix
