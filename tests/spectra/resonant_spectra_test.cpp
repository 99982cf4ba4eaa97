#include "spectra/resonant_spectra.h"

#include <gtest/gtest.h>

#include "printed.h"

#include <cmath>

#include "exact.h"
#include "host/base/verbosity.h"
#include "spectra/energy_grid.h"
#include "spectra/fluorescence_yield.h"
#include "spectra/intermediate_states.h"

namespace fermix {
namespace {

using test::Amplitude;
using test::Dense;
using test::FockSpace;
using test::Term;

const FockSpace Space{5};

// (z - H)^-1 b by elimination with pivots: the reference knows nothing of eigenvalues, bases or chains.
Dense Resolve(const Dense& H, Amplitude z, Dense b) {
  const std::size_t n = b.size();
  Dense A(n * n);
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j < n; ++j) A[i * n + j] = (i == j ? z : 0.0) - H[i * n + j];
  for (std::size_t k = 0; k < n; ++k) {
    std::size_t pivot = k;
    for (std::size_t i = k + 1; i < n; ++i)
      if (std::abs(A[i * n + k]) > std::abs(A[pivot * n + k])) pivot = i;
    std::swap(b[k], b[pivot]);
    for (std::size_t j = 0; j < n; ++j) std::swap(A[k * n + j], A[pivot * n + j]);
    for (std::size_t i = 0; i < n; ++i) {
      if (i == k) continue;
      const Amplitude f = A[i * n + k] / A[k * n + k];
      for (std::size_t j = k; j < n; ++j) A[i * n + j] -= f * A[k * n + j];
      b[i] -= f * b[k];
    }
  }
  for (std::size_t k = 0; k < n; ++k) b[k] /= A[k * n + k];
  return b;
}

bool Everywhere(std::size_t) { return true; }

// Two Hamiltonians, two operators for each step and two states, with their dense counterparts. The second of
// each pair is real: kinds mix within a call. Operators conserve nothing.
struct RandomSystem {
  std::vector<Term> T[2][2];
  Dense H[2], psi[2];
  OperatorType operatorH[2], operatorT[2][2];
  WaveFunctionType state[2];

  RandomSystem(unsigned seed, bool complexH, bool complexT, bool complexPsi) {
    std::mt19937 random(seed);
    for (int k = 0; k < 2; ++k) {
      const auto terms = test::Hermitian(test::RandomTerms(Space, random, 60, 4, complexH));
      H[k] = Space.matrix(terms);
      operatorH[k] = test::ToOperator(Space, terms);
      for (int step = 0; step < 2; ++step) {
        T[step][k] = test::RandomTerms(Space, random, 15, 3, complexT && k == 0);
        operatorT[step][k] = test::ToOperator(Space, T[step][k]);
      }
      psi[k] = test::RandomVector(Space, random, complexPsi && k == 0, 0.5);  // norms differ from 1
      state[k] = test::ToState(Space, psi[k], complexPsi && k == 0);
    }
  }
  double energy(int step, const Dense& v) const {
    return (test::Dot(v, test::Multiply(H[step], v)) / test::Dot(v, v)).real();
  }
};

// H and v with what is not allowed taken out.
template <class Allowed>
void Project(Allowed allowed, Dense& H, Dense& v) {
  for (std::size_t i = 0; i < Space.size(); ++i) {
    if (!allowed(i)) v[i] = 0;
    for (std::size_t j = 0; j < Space.size(); ++j)
      if (!allowed(i) || !allowed(j)) H[i * Space.size() + j] = 0;
  }
}

// The Kramers-Heisenberg amplitude of one state, operators t1 and t2 and incident energy: T2 (z - H1)^-1 T1
// |psi>.
template <class Allowed>
Dense Scattered(const RandomSystem& system, Allowed allowed, const Dense& psi, int t1, int t2, Amplitude z) {
  Dense H = system.H[0], phi = Space.apply(system.T[0][t1], psi);
  Project(allowed, H, phi);
  return Space.apply(system.T[1][t2], Resolve(H, z, phi));
}

template <class Allowed>
Amplitude FinalResponse(const RandomSystem& system, Allowed allowed, Dense x, Amplitude z) {
  Dense H = system.H[1];
  Project(allowed, H, x);
  return test::Dot(x, Resolve(H, z, x));
}

class ResonantSpectraTest : public Quiet {};

ResonantSpectraSettings Settings(std::uint32_t DenseBorder) {
  ResonantSpectraSettings s;
  s.solver.DenseBorder = DenseBorder;
  s.solver.NTri1 = s.solver.NTri2 = 60;  // more than there are states
  s.solver.epsilon = 1e-60;              // truncation is not what is looked at here
  s.solver.grid1 = {-3, 2, 2, 1.5};
  s.solver.grid2 = {-6, 5, 4, 3};
  return s;
}

std::string Name(int w, int t2, int t1, int p) {
  const auto of = [](int i, int n) { return std::to_string(i) + "/" + std::to_string(n); };
  return "Spectrum wres " + of(w, 2) + " T2 " + of(t2, 2) + " T1 " + of(t1, 2) + " psi " + of(p, 2);
}

TEST_F(ResonantSpectraTest, BothPathsAgreeWithKramersHeisenbergAtEveryPoint) {
  for (int kinds = 0; kinds < 8; ++kinds) {
    const RandomSystem system(40 + kinds, kinds & 1, kinds & 2, kinds & 4);
    for (const std::uint32_t DenseBorder : {1513u, 0u}) {
      SCOPED_TRACE(testing::Message() << kinds << " " << DenseBorder);
      const auto bundle = CreateResonantSpectra(system.operatorH[0], system.operatorH[1],
                                                {&system.operatorT[0][0], &system.operatorT[0][1]},
                                                {&system.operatorT[1][0], &system.operatorT[1][1]},
                                                {&system.state[0], &system.state[1]}, Settings(DenseBorder));
      ASSERT_EQ(bundle.spectra.size(), 24u);
      EXPECT_EQ(bundle.Name, "");
      auto S = bundle.spectra.begin();
      for (int p = 0; p < 2; ++p)
        for (int t1 = 0; t1 < 2; ++t1)
          for (int t2 = 0; t2 < 2; ++t2)
            for (int w = 0; w < 3; ++w, ++S) {
              EXPECT_EQ(S->Name, Name(w, t2, t1, p));
              EXPECT_EQ(S->ResonantEnergy, -3 + 2.5 * w);
              const Dense& psi = system.psi[p];
              const Dense x = Scattered(system, Everywhere, psi, t1, t2,
                                        {S->ResonantEnergy + system.energy(0, psi), 0.75});
              const double scale = test::Dot(x, x).real();
              EXPECT_NEAR(S->FirstB[0], std::sqrt(scale), 1e-9 * std::sqrt(scale));
              ASSERT_EQ(S->Re.size(), 5u);
              for (int i = 0; i < 5; ++i) {
                const Amplitude G =
                    FinalResponse(system, Everywhere, x, {-6 + 2.75 * i + system.energy(1, psi), 1.5});
                EXPECT_NEAR(S->Re[i], G.real(), 1e-8 * scale);
                EXPECT_NEAR(S->Im[i], G.imag(), 1e-8 * scale);
              }
            }
    }
  }
}

DeterminantRestrictionType AtMost(std::uint32_t most, std::size_t mask) {
  DeterminantRestrictionType R;
  R.layout = KeyLayout{5, 0};
  R.MinOccupation = {1};
  R.MaxOccupation = {most};
  R.Masks = {test::ToKey(Space, mask)};
  return R;
}

TEST_F(ResonantSpectraTest, RestrictionsProjectEachStep) {
  const RandomSystem system(50, true, true, false);
  const auto allowed1 = [](std::size_t n) { return std::popcount(n & 7) >= 1 && std::popcount(n & 7) <= 2; };
  const auto allowed2 = [](std::size_t n) { return std::popcount(n & 28) == 1; };
  const Dense x = Scattered(system, allowed1, system.psi[0], 0, 0, {-3 + 0.5, 0.75});
  const Amplitude G = FinalResponse(system, allowed2, x, {-6 - 0.25, 1.5});
  for (const bool onOperators : {false, true})
    for (const std::uint32_t DenseBorder : {1513u, 0u}) {
      SCOPED_TRACE(testing::Message() << onOperators << " " << DenseBorder);
      ResonantSpectraSettings settings = Settings(DenseBorder);
      settings.E0_1 = 0.5;
      settings.E0_2 = -0.25;
      OperatorType H1 = system.operatorH[0], H2 = system.operatorH[1];
      (onOperators ? H1.Restrictions : settings.solver.Restrictions1) = AtMost(2, 7);
      (onOperators ? H2.Restrictions : settings.solver.Restrictions2) = AtMost(1, 28);
      const auto bundle = CreateResonantSpectra(H1, H2, {&system.operatorT[0][0]}, {&system.operatorT[1][0]},
                                                {&system.state[0]}, settings);
      EXPECT_NEAR(bundle.spectra[0].Re[0], G.real(), 1e-8 * std::abs(G));
      EXPECT_NEAR(bundle.spectra[0].Im[0], G.imag(), 1e-8 * std::abs(G));
    }
}

// The arguments of a line, written as lines write them.
std::string Line(const char* format, double a, double b = 0) {
  char text[200];
  std::snprintf(text, sizeof text, format, a, b);
  return text;
}

TEST_F(ResonantSpectraTest, OpenGridsFollowThePoles) {
  const double open = std::numeric_limits<double>::max();
  const char *range = "Automatically set energy range for final states Emin=%22.15E Emax=%22.15E\n",
             *points = "Automatically set number of energy points (NE=%.0f) for final state\n";
  const struct {
    EnergyGridSettings given;
    double lowest, highest;
    EnergyGrid expected;
    const char* text;
  } cases[] = {
      {{open, -open, 10, 1}, 2, 4, {1.8, 4.2, 10, 1}, range},
      {{open, 6, 10, 1}, 2, 4, {1.6, 6, 10, 1}, range},  // the bound that is given enters the rule
      {{1, -open, 10, 1}, 2, 4, {1, 4.3, 10, 1}, range},
      {{open, -open, 10, 1}, 2, 2, {-0.25, 4.25, 10, 1}, range},  // one pole
      {{-1, 1, 0, 0.3}, 2, 4, {-1, 1, 33, 0.3}, points},
      {{-1, 1, 0, 30}, 2, 4, {-1, 1, 1, 30}, points},
      {{-1, 1, 0, 0},
       2,
       4,
       {-1, 1, 1000, 0.01},
       "Automatically set number of energy points (NE=%.0f) and lifetime (Gamma=%22.15E) for final state\n"},
      {{-1, 1, 10, 0}, 2, 4, {-1, 1, 10, 1}, "Automatically set lifetime (Gamma=%22.15E) for final state\n"}};
  GlobalVerbosity = 2;
  for (const auto& c : cases) {
    testing::internal::CaptureStdout();
    const EnergyGrid grid = CompleteEnergyGrid(c.given, {c.lowest, c.highest}, FinalGridTexts);
    const std::string said = testing::internal::GetCapturedStdout();
    EXPECT_EQ(said, c.text == range   ? Line(c.text, grid.Emin, grid.Emax)
                    : c.given.NE == 0 ? Line(c.text, grid.NE, grid.Gamma)
                                      : Line(c.text, grid.Gamma));
    EXPECT_NEAR(grid.Emin, c.expected.Emin, 1e-14);
    EXPECT_NEAR(grid.Emax, c.expected.Emax, 1e-14);
    EXPECT_EQ(grid.NE, c.expected.NE);
    EXPECT_NEAR(grid.Gamma, c.expected.Gamma, 1e-14);
  }
  PoleRange elastic;  // one line, at the energy zero but for rounding
  for (const double up : {-HUGE_VAL, 0.0}) elastic.add({std::nextafter(-2742.7, up)}, -2742.7);
  const EnergyGrid grid = CompleteEnergyGrid({open, -open, 10, 1}, elastic, FinalGridTexts);
  EXPECT_EQ(grid.Emin, -1);
  EXPECT_EQ(grid.Emax, 1);
  EXPECT_THROW(CompleteEnergyGrid({-1, 1, 0, 1e-300}, {}, FinalGridTexts), std::runtime_error);
  EXPECT_THROW(CompleteEnergyGrid({1, 1, 10, 1}, {}, FinalGridTexts), std::runtime_error);
}

TEST_F(ResonantSpectraTest, EnergiesThatFindNoMemoryAreRepeatedInSmallerBatches) {
  std::vector<int> done(12);
  ForEnergyBatches(11, 1000, [&](std::uint32_t first, std::uint32_t count) {
    if (count > 4) throw std::bad_alloc();
    for (std::uint32_t w = first; w < first + count; ++w) ++done.at(w);
  });
  EXPECT_EQ(done, std::vector<int>(12, 1));
  EXPECT_THROW(ForEnergyBatches(11, 1000, [](std::uint32_t, std::uint32_t) { throw std::bad_alloc(); }),
               std::bad_alloc);
}

TEST_F(ResonantSpectraTest, TheFirstLineTellsTheWay) {
  const RandomSystem system(51, false, false, false);
  GlobalVerbosity = 1;
  for (const bool force : {false, true}) {
    ResonantSpectraSettings settings = Settings(31);  // of 32 determinants
    settings.ForceDenseMethod = force;                // wins over the border
    testing::internal::CaptureStdout();
    CreateResonantSpectra(system.operatorH[0], system.operatorH[1], {&system.operatorT[0][0]},
                          {&system.operatorT[1][0]}, {&system.state[0]}, settings);
    EXPECT_EQ(
        testing::internal::GetCapturedStdout().find(force ? "Start of ResonantSpectra using Dense Methods\n"
                                                          : "Start of ResonantSpectra using Lanczos\n"),
        0u);
  }
}

TEST_F(ResonantSpectraTest, FluorescenceYieldIsTheNormOfTheScatteredState) {
  for (int kinds = 0; kinds < 8; ++kinds) {
    SCOPED_TRACE(kinds);
    const RandomSystem system(60 + kinds, kinds & 1, kinds & 2, kinds & 4);
    ConvergenceSettingsType settings;
    settings.NTri = 60;
    settings.epsilon = 1e-60;
    settings.grid = {-4, 4, 4, 1};
    const auto bundle = FluorescenceYield(
        system.operatorH[0], {&system.operatorT[0][0], &system.operatorT[0][1]},
        {&system.operatorT[1][0], &system.operatorT[1][1]}, {&system.state[0], &system.state[1]}, settings);
    ASSERT_EQ(bundle.spectra.size(), 8u);
    for (int k = 0; k < 8; ++k) {
      const SpectraType& S = bundle.spectra[k];
      EXPECT_EQ(S.Name, k % 2 ? "Spectrum 1/2" : "Spectrum 0/2");
      const Dense& psi = system.psi[k / 4];
      for (int w = 0; w < 5; ++w) {
        const Dense x =
            Scattered(system, Everywhere, psi, k / 2 % 2, k % 2, {-4 + 2 * w + system.energy(0, psi), 0.5});
        const double yield = test::Dot(x, x).real();
        EXPECT_NEAR(S.Re[w], yield, 1e-9 * yield);
        EXPECT_EQ(S.Im[w], 0);
      }
    }
  }
}

}  // namespace
}  // namespace fermix
