// Small model systems, and states as vectors over lists of determinants, which are masks of orbitals.
#pragma once

#include <array>
#include <random>

#include "exact.h"
#include "printed.h"

namespace fermix::test {

using Mask = std::size_t;  // bit i: orbital i is occupied

struct Model {
  std::uint32_t orbitals = 0;
  std::vector<Term> terms;

  void Add(std::vector<int> factors, Amplitude value) { terms.push_back({std::move(factors), value}); }
  // The term and its conjugate transpose.
  void AddHermitian(const std::vector<int>& factors, Amplitude value) {
    for (Term& term : Hermitian({{factors, value}})) terms.push_back(std::move(term));
  }
};

inline int C(std::uint32_t orbital) { return static_cast<int>(orbital) + 1; }
inline int A(std::uint32_t orbital) { return -C(orbital); }

inline OperatorType MakeOperator(const Model& model) {
  return ToOperator(FockSpace{static_cast<int>(model.orbitals)}, model.terms);
}

// All determinants of n electrons.
inline std::vector<Mask> Electrons(int n, int orbitals) { return Sector({orbitals}, {n}).states; }

inline Dense MatrixOf(const Model& model, const std::vector<Mask>& masks) {
  return Matrix(model.terms, Sector(masks));
}

// --- Between the program's states and vectors over masks

inline WaveFunctionType MakeState(std::uint32_t orbitals, const std::vector<Mask>& masks, const Dense& values,
                                  bool complex) {
  const FockSpace space{static_cast<int>(orbitals)};
  WaveFunctionType psi({orbitals, 0}, complex, 8);
  for (std::size_t k = 0; k < masks.size(); ++k) {
    const Key key = ToKey(space, masks[k]);
    WaveFunctionAddElement(psi, key.data(), {values[k].real(), values[k].imag()});
  }
  return psi;
}
// With amplitude 1 everywhere.
inline WaveFunctionType MakeState(std::uint32_t orbitals, const std::vector<Mask>& masks,
                                  bool complex = false) {
  return MakeState(orbitals, masks, Dense(masks.size(), 1), complex);
}

inline Mask MaskOf(const WaveFunctionType& psi, std::uint32_t element) {
  Mask mask = 0;
  for (std::uint32_t i = 0; i < Layout(psi).NFermion; ++i)
    if (QOccupied(ElementKey(psi, element), i)) mask |= Mask{1} << i;
  return mask;
}

// The amplitudes of psi on masks.
inline Dense VectorOf(const WaveFunctionType& psi, const std::vector<Mask>& masks) {
  Dense x(masks.size());
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    const auto at = std::find(masks.begin(), masks.end(), MaskOf(psi, i));
    if (at != masks.end()) x[at - masks.begin()] = ToStd(ElementValue(psi, i));
  }
  return x;
}

// |H psi - E psi| and E = <psi|H|psi> for a normalised vector.
struct Residual {
  double norm, energy;
};
inline Residual ResidualOf(const Dense& H, const Dense& x) {
  Dense y = Multiply(H, x);
  const double E = Dot(x, y).real();
  for (std::size_t i = 0; i < x.size(); ++i) y[i] -= E * x[i];
  return {std::sqrt(Dot(y, y).real()), E};
}

// --- Models

// Random one- and two-particle terms that keep the number of electrons; complex or real.
inline Model RandomModel(std::uint32_t orbitals, bool complex, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  const auto value = [&](bool diagonal) {
    const double re = uniform(generator), im = uniform(generator);
    return Amplitude(re, complex && !diagonal ? im : 0.0);
  };
  Model model{orbitals, {}};
  for (std::uint32_t i = 0; i < orbitals; ++i)
    for (std::uint32_t j = 0; j <= i; ++j) model.AddHermitian({C(i), A(j)}, value(i == j));
  for (std::uint32_t k = 0; k < 3 * orbitals; ++k) {
    std::uint32_t o[4];
    for (std::uint32_t& orbital : o) orbital = generator() % orbitals;
    if (o[0] != o[1] && o[2] != o[3]) model.AddHermitian({C(o[0]), C(o[1]), A(o[2]), A(o[3])}, value(false));
  }
  return model;
}

// Hubbard model on a ring or chain: orbital 2 site + spin.
inline Model Hubbard(std::uint32_t sites, double t, double U, bool ring) {
  Model model{2 * sites, {}};
  for (std::uint32_t a = 0; a + 1 < sites + (ring ? 1 : 0); ++a)
    for (std::uint32_t s = 0; s < 2; ++s)
      model.AddHermitian({C(2 * a + s), A(2 * ((a + 1) % sites) + s)}, -t);
  for (std::uint32_t a = 0; a < sites; ++a) model.Add({C(2 * a), A(2 * a), C(2 * a + 1), A(2 * a + 1)}, U);
  return model;
}

// Spinless electrons on an open chain: the levels are -2 t cos(pi k / (L + 1)).
inline Model FreeChain(std::uint32_t sites, double t) {
  Model model{sites, {}};
  for (std::uint32_t a = 0; a + 1 < sites; ++a) model.AddHermitian({C(a), A(a + 1)}, -t);
  return model;
}

// A restriction that holds between low and high electrons on the orbitals of mask.
inline DeterminantRestrictionType Restrict(std::uint32_t orbitals,
                                           const std::vector<std::array<std::uint64_t, 3>>& rows) {
  DeterminantRestrictionType R;
  R.layout = {orbitals, 0};
  for (const auto& [mask, low, high] : rows) {
    R.Masks.push_back(ToKey(FockSpace{static_cast<int>(orbitals)}, mask));
    R.MinOccupation.push_back(static_cast<std::uint32_t>(low));
    R.MaxOccupation.push_back(static_cast<std::uint32_t>(high));
  }
  return R;
}
inline DeterminantRestrictionType FixedCount(std::uint32_t orbitals, std::uint32_t n) {
  return Restrict(orbitals, {{(Mask{1} << orbitals) - 1, n, n}});
}

}  // namespace fermix::test
