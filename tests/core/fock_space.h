// An independent reference for the many-body core: states as dense vectors over the whole Fock space of a few
// orbitals and modes, operators as what they do to such vectors. Nothing of the program's own keys, tables or
// signs is used: the low bits of the number of a reference state are its orbitals, orbital i is occupied when
// bit i is set, and a ladder operator on orbital i takes the sign of the number of occupied orbitals below i.
// What stands above these bits are the quanta of the modes, digits to the base cutoff + 1, lowest mode first.
#pragma once

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "core/operator.h"
#include "core/wave_function.h"

namespace fermix::test {

using Amplitude = std::complex<double>;
using Dense = std::vector<Amplitude>;

inline Amplitude ToStd(Complex16 z) { return {z.re, z.im}; }

// One term: factors in mathematical order, left to right, +i + 1 creates at i and -i - 1 annihilates at i.
// Indices from the number of orbitals on are modes.
struct Term {
  std::vector<int> factors;
  Amplitude value;
};

struct FockSpace {
  int orbitals;
  int modes = 0;
  int cutoff = 0;  // largest number of quanta; a creator on it gives 0

  std::size_t digit(int mode) const {
    std::size_t weight = std::size_t{1} << orbitals;
    for (int k = 0; k < mode; ++k) weight *= static_cast<std::size_t>(cutoff) + 1;
    return weight;
  }
  std::size_t size() const { return digit(modes); }
  int quanta(std::size_t state, int mode) const {
    return static_cast<int>(state / digit(mode) % (static_cast<std::size_t>(cutoff) + 1));
  }
  // True when count creators on any modes stay below the cutoff: what a product of that many boson creators
  // does to the state is then exact.
  bool exact(std::size_t state, int count) const {
    for (int k = 0; k < modes; ++k)
      if (quanta(state, k) + count > cutoff) return false;
    return true;
  }

  // The factor acts on state; returns its amplitude.
  double ladder(int factor, std::size_t& state) const {
    const int i = std::abs(factor) - 1;
    const bool create = factor > 0;
    if (i >= orbitals) {
      const int n = quanta(state, i - orbitals);
      if (n == (create ? cutoff : 0)) return 0;
      state = create ? state + digit(i - orbitals) : state - digit(i - orbitals);
      return std::sqrt(create ? n + 1 : n);
    }
    const bool occupied = state >> i & 1;
    if (occupied == create) return 0;
    state ^= std::size_t{1} << i;
    double sign = 1;
    for (int below = 0; below < i; ++below)
      if (state >> below & 1) sign = -sign;
    return sign;
  }

  // value * factors |v>, the rightmost factor first.
  Dense apply(const std::vector<Term>& terms, const Dense& v) const {
    Dense result(size());
    for (const Term& term : terms)
      for (std::size_t n = 0; n < size(); ++n) {
        std::size_t state = n;
        double amplitude = 1;
        for (auto f = term.factors.rbegin(); f != term.factors.rend() && amplitude != 0; ++f)
          amplitude *= ladder(*f, state);
        if (amplitude != 0) result[state] += amplitude * term.value * v[n];
      }
    return result;
  }

  // Row after row: <i| terms |j>.
  Dense matrix(const std::vector<Term>& terms) const {
    Dense m(size() * size());
    for (std::size_t j = 0; j < size(); ++j) {
      Dense unit(size());
      unit[j] = 1;
      const Dense column = apply(terms, unit);
      for (std::size_t i = 0; i < size(); ++i) m[i * size() + j] = column[i];
    }
    return m;
  }
};

inline Dense Multiply(const Dense& a, const Dense& b, std::size_t n) {
  Dense c(n * n);
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t k = 0; k < n; ++k)
      for (std::size_t j = 0; j < n; ++j) c[i * n + j] += a[i * n + k] * b[k * n + j];
  return c;
}

inline Amplitude Dot(const Dense& bra, const Dense& ket) {
  Amplitude sum = 0;
  for (std::size_t i = 0; i < bra.size(); ++i) sum += std::conj(bra[i]) * ket[i];
  return sum;
}

inline double Distance(const Dense& a, const Dense& b) {
  double largest = a.size() == b.size() ? 0 : 1e300;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i)
    largest = std::max(largest, std::abs(a[i] - b[i]));
  return largest;
}

// --- From and to the program's records

inline OperatorType ToOperator(const FockSpace& space, const std::vector<Term>& terms) {
  OperatorType O =
      InitOperator(static_cast<std::uint32_t>(space.orbitals), static_cast<std::uint32_t>(space.modes));
  for (const Term& term : terms) {
    std::vector<LadderIndex> lader;
    for (auto f = term.factors.rbegin(); f != term.factors.rend(); ++f)
      lader.push_back(*f > 0 ? Create(static_cast<std::uint32_t>(*f - 1))
                             : Annihilate(static_cast<std::uint32_t>(-*f - 1)));
    if (lader.size() > MaxLength(O)) InitOperatorFixedLength(O, static_cast<std::uint32_t>(lader.size()), 3);
    OperatorAddLader(O, lader, {term.value.real(), term.value.imag()});
  }
  return O;
}

// The terms that an operator stores.
inline std::vector<Term> ToTerms(const OperatorType& O) {
  std::vector<Term> terms;
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length)
    for (std::uint32_t n = 0; n < TermCount(O.l[length]); ++n) {
      Term term{{}, ToStd(TermValue(O.l[length], n))};
      for (std::uint32_t k = length; k-- > 0;) {
        const LadderIndex l = O.l[length].o[n * length + k];
        const int i = static_cast<int>(LadderOrbital(l)) + 1;
        term.factors.push_back(QCreation(l) ? i : -i);
      }
      terms.push_back(std::move(term));
    }
  return terms;
}

inline KeyLayout ToLayout(const FockSpace& space) {
  return {static_cast<std::uint32_t>(space.orbitals), static_cast<std::uint32_t>(space.modes)};
}

// The program's key of reference state n.
inline Key ToKey(const FockSpace& space, std::size_t n) {
  std::string text;
  for (int i = 0; i < space.orbitals; ++i) text += n >> i & 1 ? '1' : '0';
  for (int k = 0; k < space.modes; ++k) {
    const char* digits = "0123456789ABCDEF";
    text += digits[space.quanta(n, k) / 16];
    text += digits[space.quanta(n, k) % 16];
  }
  return StringToDet(ToLayout(space).NFermion, ToLayout(space).NBoson, text);
}

inline WaveFunctionType ToState(const FockSpace& space, const Dense& v, bool complex) {
  WaveFunctionType psi(ToLayout(space), complex);
  for (std::size_t n = 0; n < v.size(); ++n) {
    if (v[n] == 0.0) continue;
    WaveFunctionAddElement(psi, ToKey(space, n).data(), {v[n].real(), v[n].imag()});
  }
  return psi;
}

// Elements beyond the cutoff of the space are left out.
inline Dense ToDense(const FockSpace& space, const WaveFunctionType& psi) {
  Dense v(space.size());
  for (std::uint32_t e = 1; e <= ElementCount(psi); ++e) {
    const std::string bytes = DetToHex(ToLayout(space), ElementKey(psi, e));  // two digits a byte
    const auto byte = [&](int b) {
      return std::stoul(bytes.substr(2 * static_cast<std::size_t>(b), 2), nullptr, 16);
    };
    std::size_t n = 0;
    bool inside = true;
    for (int i = 0; i < space.orbitals; ++i)
      if (byte(i / 8) >> (7 - i % 8) & 1) n |= std::size_t{1} << i;
    for (int k = 0; k < space.modes; ++k) {
      const std::size_t quanta = byte((space.orbitals + 7) / 8 + k);
      inside = inside && quanta <= static_cast<std::size_t>(space.cutoff);
      n += quanta * space.digit(k);
    }
    if (inside) v[n] += ToStd(ElementValue(psi, e));
  }
  return v;
}

// --- Random material

inline Amplitude RandomAmplitude(std::mt19937& random, bool complex) {
  std::uniform_real_distribution<double> value(-1, 1);
  const double re = value(random);
  return {re, complex ? value(random) : 0};
}

// count terms of length 0 .. maxLength on any orbitals, in any order.
inline std::vector<Term> RandomTerms(const FockSpace& space, std::mt19937& random, int count, int maxLength,
                                     bool complex) {
  std::vector<Term> terms;
  for (int t = 0; t < count; ++t) {
    Term term{{}, RandomAmplitude(random, complex)};
    for (int k = static_cast<int>(random() % (maxLength + 1)); k > 0; --k) {
      const int i = static_cast<int>(random() % (space.orbitals + space.modes)) + 1;
      term.factors.push_back(random() % 2 ? i : -i);
    }
    terms.push_back(std::move(term));
  }
  return terms;
}

// terms plus their conjugate transposes.
inline std::vector<Term> Hermitian(std::vector<Term> terms) {
  const std::size_t count = terms.size();
  for (std::size_t t = 0; t < count; ++t) {
    Term dagger{{}, std::conj(terms[t].value)};
    for (auto f = terms[t].factors.rbegin(); f != terms[t].factors.rend(); ++f) dagger.factors.push_back(-*f);
    terms.push_back(std::move(dagger));
  }
  return terms;
}

inline Dense RandomVector(const FockSpace& space, std::mt19937& random, bool complex, double filling = 1) {
  Dense v(space.size());
  std::uniform_real_distribution<double> uniform(0, 1);
  for (Amplitude& a : v)
    if (uniform(random) < filling) a = RandomAmplitude(random, complex);
  return v;
}

}  // namespace fermix::test
