// Small model systems and an exact diagonalisation of their own, which shares no code with the program:
// determinants are masks of orbitals, and eigenvalues come from Jacobi rotations.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <vector>

#include "core/operator.h"
#include "core/wave_function.h"

namespace fermix::testing {

using Amplitude = std::complex<double>;
using Mask = std::uint64_t;  // bit i: orbital i is occupied

// A ladder string: orbital + 1 creates, -(orbital + 1) annihilates; the last factor acts first, as written.
struct Term {
  std::vector<int> factors;
  Amplitude value;
};

struct Model {
  std::uint32_t orbitals = 0;
  std::vector<Term> terms;

  void Add(std::vector<int> factors, Amplitude value) { terms.push_back({std::move(factors), value}); }
  // The term and its conjugate transpose.
  void AddHermitian(const std::vector<int>& factors, Amplitude value) {
    Add(factors, value);
    std::vector<int> mirrored(factors.rbegin(), factors.rend());
    for (int& f : mirrored) f = -f;
    Add(mirrored, std::conj(value));
  }
};

inline int C(std::uint32_t orbital) { return static_cast<int>(orbital) + 1; }
inline int A(std::uint32_t orbital) { return -C(orbital); }

inline OperatorType MakeOperator(const Model& model) {
  OperatorType O = InitOperator(model.orbitals, 0);
  for (const Term& term : model.terms) {
    std::vector<LadderIndex> lader;
    for (auto f = term.factors.rbegin(); f != term.factors.rend(); ++f)
      lader.push_back(*f > 0 ? Create(static_cast<std::uint32_t>(*f - 1))
                             : Annihilate(static_cast<std::uint32_t>(-*f - 1)));
    if (O.l.size() <= lader.size()) InitOperatorFixedLength(O, static_cast<std::uint32_t>(lader.size()), 8);
    OperatorAddLader(O, lader, {term.value.real(), term.value.imag()});
  }
  return O;
}

// Sign of the string on a determinant, which it changes; 0 if it kills it.
inline int Act(const std::vector<int>& factors, Mask& mask) {
  int sign = 1;
  for (auto f = factors.rbegin(); f != factors.rend(); ++f) {
    const Mask bit = Mask{1} << (std::abs(*f) - 1);
    if (((mask & bit) != 0) == (*f > 0)) return 0;
    if (std::popcount(mask & (bit - 1)) % 2) sign = -sign;
    mask ^= bit;
  }
  return sign;
}

// All determinants of n electrons, or, with keep, those of them that it keeps.
inline std::vector<Mask> Sector(std::uint32_t orbitals, int n) {
  std::vector<Mask> masks;
  for (Mask m = 0; m < Mask{1} << orbitals; ++m)
    if (std::popcount(m) == n) masks.push_back(m);
  return masks;
}

using DenseMatrix = std::vector<std::vector<Amplitude>>;  // [row][column]

inline DenseMatrix Dense(const Model& model, const std::vector<Mask>& masks) {
  DenseMatrix H(masks.size(), std::vector<Amplitude>(masks.size()));
  for (std::size_t j = 0; j < masks.size(); ++j)
    for (const Term& term : model.terms) {
      Mask image = masks[j];
      const int sign = Act(term.factors, image);
      const auto i = std::find(masks.begin(), masks.end(), image);
      if (sign && i != masks.end()) H[i - masks.begin()][j] += term.value * double(sign);
    }
  return H;
}

// Eigenvalues, ascending, of a Hermitian matrix A + iB: those of the real symmetric matrix (A -B; B A), each
// of which stands there twice.
inline std::vector<double> Eigenvalues(const DenseMatrix& H) {
  const std::size_t n = H.size();
  const bool real = std::all_of(H.begin(), H.end(), [](const auto& row) {
    return std::all_of(row.begin(), row.end(), [](Amplitude z) { return z.imag() == 0; });
  });
  const std::size_t copies = real ? 1 : 2, size = copies * n;
  std::vector<std::vector<double>> S(size, std::vector<double>(size));
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j < n; ++j) {
      S[i][j] = H[i][j].real();
      if (real) continue;
      S[i + n][j + n] = H[i][j].real();
      S[i + n][j] = H[i][j].imag();
      S[i][j + n] = -H[i][j].imag();
    }
  for (int sweep = 0; sweep < 30; ++sweep) {
    double rest = 0;
    for (std::size_t p = 0; p < size; ++p)
      for (std::size_t q = p + 1; q < size; ++q) {
        if (S[p][q] == 0) continue;
        rest += S[p][q] * S[p][q];
        const double theta = (S[q][q] - S[p][p]) / (2 * S[p][q]);
        const double t = std::copysign(1.0, theta) / (std::fabs(theta) + std::sqrt(theta * theta + 1));
        const double c = 1 / std::sqrt(t * t + 1), s = t * c;
        for (std::size_t k = 0; k < size; ++k) {
          const double a = S[k][p], b = S[k][q];
          S[k][p] = c * a - s * b;
          S[k][q] = s * a + c * b;
        }
        for (std::size_t k = 0; k < size; ++k) {
          const double a = S[p][k], b = S[q][k];
          S[p][k] = c * a - s * b;
          S[q][k] = s * a + c * b;
        }
      }
    if (rest < 1e-26) break;
  }
  std::vector<double> all, values;
  for (std::size_t i = 0; i < size; ++i) all.push_back(S[i][i]);
  std::sort(all.begin(), all.end());
  for (std::size_t i = 0; i < size; i += copies) values.push_back(all[i]);
  return values;
}

// --- Between the program's states and vectors over masks
// -----------------------------------------------------

inline Key KeyOf(Mask mask, std::uint32_t orbitals) {
  Key key(KeyWords({orbitals, 0}));
  for (std::uint32_t i = 0; i < orbitals; ++i)
    if (mask >> i & 1) key[i / 64] |= OrbitalBit(i);
  return key;
}

inline Mask MaskOf(const KeyWord* key, std::uint32_t orbitals) {
  Mask mask = 0;
  for (std::uint32_t i = 0; i < orbitals; ++i)
    if (QOccupied(key, i)) mask |= Mask{1} << i;
  return mask;
}

inline WaveFunctionType MakeState(std::uint32_t orbitals, const std::vector<Mask>& masks,
                                  const std::vector<Amplitude>& values, bool complex) {
  WaveFunctionType psi({orbitals, 0}, complex, 8);
  for (std::size_t k = 0; k < masks.size(); ++k) {
    const Key key = KeyOf(masks[k], orbitals);
    if (complex) {
      ComplexWaveFunctionAddElement(psi, key.data(), {values[k].real(), values[k].imag()});
    } else {
      RealWaveFunctionAddElement(psi, key.data(), values[k].real());
    }
  }
  return psi;
}

// The amplitudes of psi on masks.
inline std::vector<Amplitude> VectorOf(const WaveFunctionType& psi, const std::vector<Mask>& masks) {
  std::vector<Amplitude> x(masks.size());
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    const auto at = std::find(masks.begin(), masks.end(), MaskOf(ElementKey(psi, i), Layout(psi).NFermion));
    const Complex16 value = ElementValue(psi, i);
    if (at != masks.end()) x[at - masks.begin()] = {value.re, value.im};
  }
  return x;
}

inline Amplitude Dot(const std::vector<Amplitude>& a, const std::vector<Amplitude>& b) {
  Amplitude sum = 0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::conj(a[i]) * b[i];
  return sum;
}

inline std::vector<Amplitude> Multiply(const DenseMatrix& H, const std::vector<Amplitude>& x) {
  std::vector<Amplitude> y(x.size());
  for (std::size_t i = 0; i < x.size(); ++i)
    for (std::size_t j = 0; j < x.size(); ++j) y[i] += H[i][j] * x[j];
  return y;
}

// |H psi - E psi| and E = <psi|H|psi> for a normalised vector.
struct Residual {
  double norm, energy;
};
inline Residual ResidualOf(const DenseMatrix& H, const std::vector<Amplitude>& x) {
  std::vector<Amplitude> y = Multiply(H, x);
  const double E = Dot(x, y).real();
  for (std::size_t i = 0; i < x.size(); ++i) y[i] -= E * x[i];
  return {std::sqrt(Dot(y, y).real()), E};
}

// --- Models
// --------------------------------------------------------------------------------------------------

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
    R.Masks.push_back(KeyOf(mask, orbitals));
    R.MinOccupation.push_back(static_cast<std::uint32_t>(low));
    R.MaxOccupation.push_back(static_cast<std::uint32_t>(high));
  }
  return R;
}
inline DeterminantRestrictionType FixedCount(std::uint32_t orbitals, std::uint32_t n) {
  return Restrict(orbitals, {{(Mask{1} << orbitals) - 1, n, n}});
}

}  // namespace fermix::testing
