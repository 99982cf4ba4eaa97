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

TEST(ThermalFilling, AtTheEdges) {
  ThermalFilling filling;
  ASSERT_EQ(CalculateChemicalPotentialFromListOfEigenvalues({2, 1, 1}, 0, 1, filling), 0);
  EXPECT_EQ(filling.occupations, (std::vector<double>{0, 0.5, 0.5}));
  for (const double particles : {2.001, -0.001, std::nan("")})
    EXPECT_EQ(CalculateChemicalPotentialFromListOfEigenvalues({1, 2}, 1, particles, filling), 1);
  for (const double temperature : {-1.0, HUGE_VAL, std::nan("")})
    EXPECT_EQ(CalculateChemicalPotentialFromListOfEigenvalues({1, 2}, temperature, 1, filling), 1);
  EXPECT_EQ(filling.energy, 1);
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
  const FockSpace space{2}, withMode{2, 1, 2};
  CompactMatrixType Rho = InitCompactIdentityMatrix(2, 2), M, bad = Rho,
                    small = InitCompactIdentityMatrix(1, 1);
  std::get<0>(bad.Data)[1] = std::nan("");
  for (const auto& O :
       {test::ToOperator(space, {{{1}, 1}}), test::ToOperator(space, {{{1, -1, 2, -2, 1, -1}, 1}}),
        test::ToOperator(space, {{{1, 2}, 1}}), test::ToOperator(withMode, {{{3, -3}, 1e-200}})})
    EXPECT_EQ(MeanFieldOperatorOneElectronMatrix(O, M, Rho), 1);
  const auto hop = test::ToOperator(space, {{{1, -2}, 1}}), number = test::ToOperator(space, {{{1, -1}, 1}});
  for (const auto& wrong : {bad, small}) EXPECT_EQ(MeanFieldOperatorOneElectronMatrix(number, M, wrong), 1);
  double energy = 42;
  EXPECT_EQ(MeanFieldGroundstate(hop, Rho, 1, energy), 1);  // not Hermitian
  std::get<0>(Rho.Data)[1] = 0.5;
  EXPECT_EQ(MeanFieldGroundstate(number, Rho, 1, energy), 1);
  EXPECT_EQ(energy, 42);
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

// Whatever the start, what is called converged is a fixed point of the energy of its density, also where the
// densities of a step and the next follow each other for ever with one energy: all electrons on one site of
// two are driven to the other. In a complex field the density matrix is conj(u) u, not the transposed one.
TEST(MeanFieldGroundstate, EndsAtAFixedPoint) {
  const auto ring = test::Hermitian({{{1, -2}, {-1, 0.7}}, {{2, -3}, {0.3, -1}}, {{3, -1}, {0.2, 0.4}}});
  const auto sites = test::Hermitian(
      {{{1, -3}, -1}, {{2, -4}, -1}, {{1, -1, 2, -2}, 4}, {{3, -3, 4, -4}, 4}});  // spins 1 2, U = 8
  const struct {
    OperatorType O;
    std::vector<double> start;
    double temperature, energy = std::nan("");
  } cases[] = {
      {test::ToOperator(FockSpace{3}, ring), {1, 0, 0}, 0},
      {test::ToOperator(FockSpace{4}, sites), {0.9, 0.1, 0.1, 0.9}, 0, -2 / 8.0},   // antiferromagnet
      {test::ToOperator(FockSpace{4}, sites), {0.9, 0.9, 0.1, 0.1}, 0, 8 / 2 - 2},  // by symmetry none
      {test::ToOperator(FockSpace{4}, sites), {0.9, 0.9, 0.1, 0.1}, 1},
      {test::ToOperator(FockSpace{4}, sites), {0.9, 0.9, 0.1, 0.1}, 100}};
  for (const auto& c : cases) {
    const auto n = static_cast<std::uint32_t>(c.start.size());
    CompactMatrixType Rho = InitCompactMatrix(n, n, false), M, orbitals, again;
    for (std::size_t p = 0; p < n; ++p) std::get<0>(Rho.Data)[p * n + p] = c.start[p];
    double energy = 0, next = 0;
    std::vector<double> levels;
    ASSERT_EQ(MeanFieldGroundstate(c.O, Rho, c.temperature, energy), 0);
    ASSERT_EQ(MeanFieldOperatorOneElectronMatrix(c.O, M, Rho), 0);
    ASSERT_EQ(CompactMatrixEigensystem(M, orbitals, levels), 0);
    ASSERT_EQ(CalculateDensityMatrixFromOneElectronEigensystem(orbitals, levels, again, c.temperature,
                                                               n == 3 ? 1 : 2, next),
              0);
    EXPECT_NEAR(next, energy, 1e-12 * (1 + std::fabs(energy)));
    EXPECT_NEAR(std::abs(Energy(M, Rho) - energy), 0, 1e-12 * (1 + std::fabs(energy)));
    EXPECT_FALSE(std::fabs(energy - c.energy) > 1e-12) << energy;
    ASSERT_EQ(CompactMatrixSub(again, Rho), 0);
    for (std::uint32_t i = 0; i < n * n; ++i)
      EXPECT_NEAR(Abs(CompactMatrixElement(again, i / n, i % n)), 0, 1e-6);
  }
}

}  // namespace
}  // namespace fermix
