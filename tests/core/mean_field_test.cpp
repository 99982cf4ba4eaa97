#include "core/mean_field.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "core/density_mixing.h"
#include "core/fock_space.h"
#include "core/thermal_filling.h"

namespace fermix {
namespace {

using test::Amplitude;
using test::Dense;
using test::FockSpace;

std::uint32_t Index(int i) { return static_cast<std::uint32_t>(i); }

// --- Filling of levels

TEST(ThermalFilling, HoldsTheParticlesAtAnyTemperature) {
  const std::vector<double> shell(10, 7.3), wide = {4, -3, 0.5, 0.5, 11};
  const struct {
    std::vector<double> levels;
    double temperature, particles;
  } cases[] = {{wide, 0.3, 2.2},  {wide, 1e6, 0.01},
               {wide, 1e6, 4.99}, {wide, 1e-12, 2.7},
               {shell, 1e-4, 8},  {shell, 1e-14, 8},
               {wide, 1e-3, 0},   {wide, 50, 5},
               {wide, 0, 3},      {std::vector<double>(300, -2), 1, 290}};
  for (const auto& c : cases) {
    SCOPED_TRACE(std::to_string(c.temperature) + " " + std::to_string(c.particles));
    ThermalFilling filling;
    ASSERT_EQ(CalculateChemicalPotentialFromListOfEigenvalues(c.levels, c.temperature, c.particles, filling),
              0);
    double count = 0, energy = 0;
    for (std::size_t k = 0; k < c.levels.size(); ++k) {
      const double f = filling.occupations[k];
      count += f;
      energy += f * c.levels[k];
      // Neighbours in temperature: mu from each level that is filled in part.
      if (f > 1e-6 && f < 1 - 1e-6) {
        EXPECT_NEAR(c.levels[k] - c.temperature * std::log(1 / f - 1), filling.mu,
                    1e-13 * std::max(10.0, c.temperature));
      }
    }
    EXPECT_NEAR(count, c.particles, 1e-12);
    EXPECT_NEAR(filling.energy, energy, 1e-12 * (1 + std::fabs(energy)));
  }
}

TEST(ThermalFilling, IsSharpAtTemperatureZero) {
  const struct {
    std::vector<double> levels;
    double particles;
    std::vector<double> occupations;
  } cases[] = {{{2, 1, 5}, 2, {1, 1, 0}},
               {{2, 1, 1}, 1, {0, 0.5, 0.5}},
               {{0, 0, 0}, 1, {1 / 3., 1 / 3., 1 / 3.}},  // no level on mu is filled by the half here
               {{-1e300, 1e300}, 1, {1, 0}}};
  for (const auto& c : cases) {
    ThermalFilling filling;
    ASSERT_EQ(CalculateChemicalPotentialFromListOfEigenvalues(c.levels, 0, c.particles, filling), 0);
    for (std::size_t k = 0; k < c.levels.size(); ++k)
      EXPECT_NEAR(filling.occupations[k], c.occupations[k], 1e-15);
  }
}

TEST(ThermalFilling, RefusesWhatHasNoChemicalPotential) {
  const double nan = std::nan(""), inf = HUGE_VAL;
  const struct {
    std::vector<double> levels;
    double temperature, particles;
  } cases[] = {{{1, 2}, 1, 2.001}, {{1, 2}, 1, -0.001}, {{1, 2}, 1, nan}, {{1, 2}, nan, 1},
               {{1, 2}, -1, 1},    {{1, 2}, inf, 1},    {{1, nan}, 1, 1}, {{}, 1, 1}};
  for (const auto& c : cases) {
    ThermalFilling filling;
    filling.mu = 42;
    EXPECT_EQ(CalculateChemicalPotentialFromListOfEigenvalues(c.levels, c.temperature, c.particles, filling),
              1);
    EXPECT_EQ(filling.mu, 42);
  }
}

// --- Decoupling, against single determinants of random orbitals in the whole Fock space

// A determinant of N random orbitals: the state, and its density matrix.
struct RandomDeterminant {
  Dense state;
  CompactMatrixType Rho;

  RandomDeterminant(const FockSpace& space, std::mt19937& random, int N, bool complex) {
    state.assign(space.size(), 0);
    state[0] = 1;
    for (int k = 0; k < N; ++k) {
      std::vector<test::Term> orbital;
      for (int i = 1; i <= space.orbitals; ++i)
        orbital.push_back({{i}, test::RandomAmplitude(random, complex)});
      state = space.apply(orbital, state);
    }
    const double norm = std::sqrt(test::Dot(state, state).real());
    for (Amplitude& a : state) a /= norm;
    Rho = InitCompactMatrix(Index(space.orbitals), Index(space.orbitals), complex);
    for (int i = 0; i < space.orbitals; ++i)
      for (int j = 0; j < space.orbitals; ++j) {
        const Amplitude x = test::Dot(state, space.apply({{{i + 1, -j - 1}, 1}}, state));
        const auto n = static_cast<std::size_t>(i * space.orbitals + j);
        if (complex) std::get<1>(Rho.Data)[n] = {x.real(), x.imag()};
        if (!complex) std::get<0>(Rho.Data)[n] = x.real();
      }
  }
};

// sum_ij M[i][j] Rho[i][j]
Amplitude Energy(const CompactMatrixType& M, const CompactMatrixType& Rho) {
  Amplitude sum = 0;
  for (std::uint32_t i = 0; i < M.Ni; ++i)
    for (std::uint32_t j = 0; j < M.Nj; ++j)
      sum += test::ToStd(CompactMatrixElement(M, i, j)) * test::ToStd(CompactMatrixElement(Rho, i, j));
  return sum;
}

// Random terms that conserve the number of electrons, in any order, with a constant.
std::vector<test::Term> ConservingTerms(const FockSpace& space, std::mt19937& random, bool complex) {
  std::vector<test::Term> terms = {{{}, test::RandomAmplitude(random, complex)}};
  for (int t = 0; t < 60; ++t) {
    test::Term term{{}, test::RandomAmplitude(random, complex)};
    for (int pairs = 1 + t % 2; pairs > 0; --pairs)
      for (const int sign : {1, -1})
        term.factors.push_back(sign * (1 + static_cast<int>(random() % Index(space.orbitals))));
    std::shuffle(term.factors.begin(), term.factors.end(), random);
    terms.push_back(std::move(term));
  }
  return terms;
}

TEST(MeanField, IsTheGradientOfTheEnergyOfADeterminant) {
  const FockSpace space{5};
  std::mt19937 random(29);
  for (const auto& [complexO, complexRho] :
       {std::pair(false, false), {true, false}, {false, true}, {true, true}}) {
    const auto terms = ConservingTerms(space, random, complexO);
    const OperatorType O = test::ToOperator(space, terms);
    const RandomDeterminant a(space, random, 3, complexRho), b(space, random, 3, complexRho);
    const auto energy = [&](const std::vector<test::Term>& ofTerms, const RandomDeterminant& in) {
      return test::Dot(in.state, space.apply(ofTerms, in.state));
    };
    const Amplitude Ea = energy(terms, a), Eb = energy(terms, b);

    CompactMatrixType Ma, Mb;
    ASSERT_EQ(MeanFieldOperatorOneElectronMatrix(O, Ma, a.Rho), 0);
    ASSERT_EQ(MeanFieldOperatorOneElectronMatrix(O, Mb, b.Rho), 0);
    EXPECT_EQ(IsComplexMatrix(Ma), complexO || complexRho);
    EXPECT_NEAR(std::abs(Energy(Ma, a.Rho) - Ea), 0, 1e-12);
    // The energy is quadratic in the density: the trapezoid of its gradient gives its difference.
    const Amplitude trapezoid = Energy(Ma, b.Rho) - Energy(Ma, a.Rho) + Energy(Mb, b.Rho) - Energy(Mb, a.Rho);
    EXPECT_NEAR(std::abs(trapezoid - 2.0 * (Eb - Ea)), 0, 1e-12);

    // The operator does the same, with its constant in each of the three places.
    for (const auto offset : {MeanFieldOffset::Constant, MeanFieldOffset::Trace, MeanFieldOffset::None}) {
      OperatorType result;
      ASSERT_EQ(MeanFieldOperator(O, result, a.Rho, {offset, false}), 0);
      EXPECT_EQ(TermCount(result.l[0]), offset == MeanFieldOffset::Constant ? 1u : 0u);
      const auto decoupled = test::ToTerms(result);
      const Amplitude inA = energy(decoupled, a), inB = energy(decoupled, b);
      EXPECT_NEAR(std::abs(inB - inA - Energy(Ma, b.Rho) + Energy(Ma, a.Rho)), 0, 1e-12);
      if (offset != MeanFieldOffset::None) {
        EXPECT_NEAR(std::abs(inA - Ea), 0, 1e-12);
      }
    }
    // With one orbital listed two-particle terms without it remain; without any the operator is O.
    for (const std::vector<std::uint32_t>& listed : {std::vector<std::uint32_t>{}, {2}, {0, 1, 2, 3, 4}}) {
      OperatorType result;
      ASSERT_EQ(partialMeanFieldOperator(O, result, a.Rho, listed), 0);
      const auto partly = test::ToTerms(result);
      EXPECT_NEAR(std::abs(energy(partly, a) - Ea), 0, 1e-12);
      if (listed.empty()) {
        EXPECT_NEAR(std::abs(energy(partly, b) - Eb), 0, 1e-12);
      }
      if (listed.size() != 1) continue;
      for (const test::Term& term : partly)
        EXPECT_FALSE(term.factors.size() == 4 && std::any_of(term.factors.begin(), term.factors.end(),
                                                             [](int f) { return std::abs(f) == 3; }));
    }
  }
}

TEST(MeanField, RefusesWhatItCanNotReduce) {
  const CompactMatrixType Rho = InitCompactIdentityMatrix(3, 3);
  CompactMatrixType tall = InitCompactMatrix(3, 2, false), small = InitCompactMatrix(2, 2, false), bad = Rho;
  std::get<0>(bad.Data)[1] = std::nan("");
  const FockSpace space{3}, withMode{3, 1, 2};
  const auto hop = test::ToOperator(space, {{{1, -2}, 1}});
  const struct {
    const char* what;
    OperatorType O;
    CompactMatrixType Rho;
  } cases[] = {{"length 1", test::ToOperator(space, {{{1}, 1}}), Rho},
               {"length 3", test::ToOperator(space, {{{1, 2, -1}, 1}}), Rho},
               {"length 6", test::ToOperator(space, {{{1, -1, 2, -2, 3, -3}, 1}}), Rho},
               {"a pair", test::ToOperator(space, {{{1, 2}, 1}}), Rho},
               {"three creators", test::ToOperator(space, {{{1, 2, 3, -1}, 1}}), Rho},
               {"bosons, few", test::ToOperator(withMode, {{{4, -4}, 1e-200}}), Rho},
               {"not a number", test::ToOperator(space, {{{1, -1}, std::nan("")}}), Rho},
               {"a rectangle", hop, tall},
               {"another size", hop, small},
               {"not finite", hop, bad}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    CompactMatrixType M = InitCompactIdentityMatrix(1, 1), Start = c.Rho;
    OperatorType result;
    double energy = 42;
    EXPECT_EQ(MeanFieldOperatorOneElectronMatrix(c.O, M, c.Rho), 1);
    EXPECT_EQ(M.Ni, 1u);
    EXPECT_EQ(MeanFieldOperator(c.O, result, c.Rho), 1);
    EXPECT_EQ(MeanFieldGroundstate(c.O, Start, 1, energy), 1);
    EXPECT_EQ(energy, 42);
  }
  CompactMatrixType Start = Rho;
  double energy = 42;
  EXPECT_EQ(MeanFieldGroundstate(hop, Start, 1, energy), 1);  // not Hermitian
  std::get<0>(Start.Data)[1] = 0.5;
  EXPECT_EQ(MeanFieldGroundstate(test::ToOperator(space, {{{1, -1}, 1}}), Start, 1, energy), 1);
}

// --- Self-consistency

// Linear response of a step: one direction creeps, one overshoots. Steps alone would take thousands, or run
// away.
TEST(DensityMixing, FindsTheFixedPointOfALinearStep) {
  const double fixedPoint[] = {0.3, -0.7, 2}, response[] = {0.99, -3, 0.5};
  CompactMatrixType Rho = InitCompactMatrix(1, 3, false);
  DensityMixing history;
  for (int step = 0; step < 20; ++step) {
    CompactMatrixType next = Rho;
    for (std::size_t k = 0; k < 3; ++k)
      std::get<0>(next.Data)[k] = fixedPoint[k] + response[k] * (std::get<0>(Rho.Data)[k] - fixedPoint[k]);
    ASSERT_EQ(history.mix(Rho, next, 0.2), 0);
  }
  for (std::size_t k = 0; k < 3; ++k) EXPECT_NEAR(std::get<0>(Rho.Data)[k], fixedPoint[k], 1e-8);
}

// A Hubbard chain, closed to a ring above two sites; orbital 2 i + s is site i with spin s.
struct Hubbard {
  int sites;
  double U;
  std::vector<double> onsite;

  double hopping(int i, int j) const {
    const int distance = std::abs(i - j);
    return distance == 1 || (sites > 2 && distance == sites - 1) ? -1 : i == j ? onsite[Index(i)] : 0;
  }
  OperatorType operatorType() const {
    std::vector<test::Term> terms;
    for (int i = 0; i < sites; ++i) {
      for (int j = 0; j < sites; ++j)
        for (const int s : {1, 2}) terms.push_back({{2 * i + s, -(2 * j + s)}, hopping(i, j)});
      terms.push_back({{2 * i + 1, -2 * i - 1, 2 * i + 2, -2 * i - 2}, U});
    }
    return test::ToOperator(FockSpace{2 * sites}, terms);
  }
  // A density that is diagonal: occupation n + m on even sites with spin 0 and odd ones with spin 1, n - m on
  // the others.
  CompactMatrixType staggered(double n, double m) const {
    CompactMatrixType Rho = InitCompactMatrix(Index(2 * sites), Index(2 * sites), false);
    for (int p = 0; p < 2 * sites; ++p)
      std::get<0>(Rho.Data)[Index(p) * Rho.Ni + Index(p)] = n + ((p / 2 + p) % 2 ? -m : m);
    return Rho;
  }
};

double SiteDensity(const CompactMatrixType& Rho, int orbital) {
  return CompactMatrixElement(Rho, Index(orbital), Index(orbital)).re;
}

// Unrestricted Hartree-Fock of N electrons a spin at temperature 0, by damping alone: electrons of each spin
// move in U times the density of the other. densities[s][i] holds the start and gets the result.
double UnrestrictedHartreeFock(const Hubbard& model, int N, std::vector<double> (&densities)[2]) {
  double energy = 0;
  for (int step = 0; step < 3000; ++step) {
    std::vector<double> next[2];
    energy = 0;
    for (const int s : {0, 1}) {
      CompactMatrixType h = InitCompactMatrix(Index(model.sites), Index(model.sites), false), orbitals;
      for (int i = 0; i < model.sites; ++i)
        for (int j = 0; j < model.sites; ++j)
          std::get<0>(h.Data)[Index(i * model.sites + j)] =
              model.hopping(i, j) + (i == j ? model.U * densities[1 - s][Index(i)] : 0);
      std::vector<double> levels;
      EXPECT_EQ(CompactMatrixEigensystem(h, orbitals, levels), 0);
      next[s].assign(Index(model.sites), 0);
      for (int k = 0; k < N; ++k) {
        energy += levels[Index(k)];
        for (int i = 0; i < model.sites; ++i)
          next[s][Index(i)] += NormSqr(CompactMatrixElement(orbitals, Index(k), Index(i)));
      }
    }
    for (int i = 0; i < model.sites; ++i) {
      energy -= model.U * densities[0][Index(i)] * densities[1][Index(i)];
      for (const int s : {0, 1}) densities[s][Index(i)] += 0.3 * (next[s][Index(i)] - densities[s][Index(i)]);
    }
  }
  return energy;
}

TEST(MeanFieldGroundstate, IsUnrestrictedHartreeFock) {
  const Hubbard models[] = {{2, 3, {0, 0}},
                            {2, 8, {0, 0.5}},
                            {4, 5, {0.1, -0.2, 0.3, 0}},
                            {6, 2.5, {0, 0, 0, 0, 0, 0}},
                            {6, 12, {0.4, 0, 0.2, 0, -0.1, 0}}};
  for (const Hubbard& model : models) {
    SCOPED_TRACE(model.U);
    const int N = model.sites / 2;
    CompactMatrixType Rho = model.staggered(0.5, 0.3);
    std::vector<double> densities[2];
    for (int p = 0; p < 2 * model.sites; ++p) densities[p % 2].push_back(SiteDensity(Rho, p));
    const double expected = UnrestrictedHartreeFock(model, N, densities);
    double energy = 0;
    ASSERT_EQ(MeanFieldGroundstate(model.operatorType(), Rho, 1e-3, energy), 0);
    EXPECT_NEAR(energy, expected, 1e-11 * (1 + std::fabs(expected)));
    // Second order in what is left of the change of the density.
    for (int p = 0; p < 2 * model.sites; ++p)
      EXPECT_NEAR(SiteDensity(Rho, p), densities[p % 2][Index(p / 2)], 1e-6);
    // Two sites in closed form.
    if (model.sites == 2 && model.onsite[1] == 0) {
      EXPECT_NEAR(energy, -2 / model.U, 1e-12);
    }
  }
}

// Whatever the start, what is called converged is a fixed point, also where the densities of a step and the
// next follow each other for ever with one energy: all electrons on one site are driven to the other.
TEST(MeanFieldGroundstate, EndsAtAFixedPoint) {
  const Hubbard model{2, 8, {0, 0}};
  const OperatorType O = model.operatorType();
  for (const double temperature : {0.0, 0.05, 1.0, 100.0}) {
    CompactMatrixType Rho = InitCompactMatrix(4, 4, false);
    for (const std::size_t p : {0, 1}) std::get<0>(Rho.Data)[p * 4 + p] = 0.9;
    for (const std::size_t p : {2, 3}) std::get<0>(Rho.Data)[p * 4 + p] = 0.1;
    double energy = 0, next = 0;
    ASSERT_EQ(MeanFieldGroundstate(O, Rho, temperature, energy), 0);
    CompactMatrixType M, orbitals, again;
    std::vector<double> levels;
    ASSERT_EQ(MeanFieldOperatorOneElectronMatrix(O, M, Rho), 0);
    ASSERT_EQ(CompactMatrixEigensystem(M, orbitals, levels), 0);
    ASSERT_EQ(CalculateDensityMatrixFromOneElectronEigensystem(orbitals, levels, again, temperature, 2, next),
              0);
    EXPECT_NEAR(next, energy, 1e-12 * (1 + std::fabs(energy)));
    for (std::uint32_t i = 0; i < 4; ++i)
      for (std::uint32_t j = 0; j < 4; ++j)
        EXPECT_NEAR(Abs(CompactMatrixElement(again, i, j) - CompactMatrixElement(Rho, i, j)), 0, 1e-6);
  }
}

// One electron in a complex field: the density matrix is conj(u) u, which a transposed one would not be.
TEST(MeanFieldGroundstate, HasThePhasesOfAComplexOrbital) {
  const FockSpace space{3};
  const OperatorType O = test::ToOperator(
      space, test::Hermitian({{{1, -2}, {-1, 0.7}}, {{2, -3}, {0.3, -1}}, {{3, -1}, {0.2, 0.4}}}));
  CompactMatrixType Rho = InitCompactMatrix(3, 3, false);
  std::get<0>(Rho.Data)[0] = 1;
  double energy = 0;
  ASSERT_EQ(MeanFieldGroundstate(O, Rho, 0, energy), 0);
  CompactMatrixType M;
  ASSERT_EQ(MeanFieldOperatorOneElectronMatrix(O, M, Rho), 0);
  EXPECT_NEAR(std::abs(Energy(M, Rho) - energy), 0, 1e-13);
}

}  // namespace
}  // namespace fermix
