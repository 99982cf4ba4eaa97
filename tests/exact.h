// Operators as dense matrices on determinants of fixed electron counts, worked out from their terms by the
// test's own occupation strings (bit i of a state is orbital i), and the eigensystems of such matrices.
#pragma once

#include <gtest/gtest.h>
#include <algorithm>
#include <bit>

#include "core/fock_space.h"
#include "linalg/compact_matrix.h"

namespace fermix::test {

// All determinants with electrons[n] in the n-th group of sizes[n] orbitals.
struct Sector {
  std::vector<std::size_t> states;

  explicit Sector(std::vector<std::size_t> list) : states(std::move(list)) {}
  Sector(const std::vector<int>& sizes, const std::vector<int>& electrons) : states{0} {
    int first = 0;
    for (std::size_t g = 0; g < sizes.size(); first += sizes[g++]) {
      std::vector<std::size_t> longer;
      for (std::size_t low : states)
        for (std::size_t n = 0; n < std::size_t{1} << sizes[g]; ++n)
          if (std::popcount(n) == electrons[g]) longer.push_back(low | n << first);
      states = std::move(longer);
    }
    std::sort(states.begin(), states.end());
  }
  std::size_t size() const { return states.size(); }
};

// <to| O |from>, row after row.
inline Dense Matrix(const std::vector<Term>& terms, const Sector& to, const Sector& from) {
  Dense m(to.size() * from.size());
  for (const Term& term : terms)
    for (std::size_t j = 0; j < from.size(); ++j) {
      std::size_t state = from.states[j];
      double sign = 1;
      for (auto f = term.factors.rbegin(); f != term.factors.rend() && sign != 0; ++f) {
        const std::size_t bit = std::size_t{1} << (std::abs(*f) - 1);
        if (((state & bit) != 0) == (*f > 0)) sign = 0;
        if (std::popcount(state & (bit - 1)) % 2) sign = -sign;
        state ^= bit;
      }
      if (sign == 0) continue;
      const auto i = std::lower_bound(to.states.begin(), to.states.end(), state);
      if (i != to.states.end() && *i == state)
        m[static_cast<std::size_t>(i - to.states.begin()) * from.size() + j] += sign * term.value;
    }
  return m;
}
inline Dense Matrix(const OperatorType& O, const Sector& to, const Sector& from) {
  return Matrix(ToTerms(O), to, from);
}
template <class Operator>
Dense Matrix(const Operator& O, const Sector& sector) {
  return Matrix(O, sector, sector);
}

// Times a vector.
inline Dense Multiply(const Dense& a, const Dense& x) {
  Dense y(x.size());
  for (std::size_t i = 0; i < x.size(); ++i)
    for (std::size_t j = 0; j < x.size(); ++j) y[i] += a[i * x.size() + j] * x[j];
  return y;
}

// Eigenvalues of a Hermitian matrix, ascending; vectors, if asked for, row after row.
inline std::vector<double> Eigenvalues(const Dense& a, std::size_t n, Dense* vectors = nullptr) {
  CompactMatrixType m = InitCompactMatrix(static_cast<std::uint32_t>(n), static_cast<std::uint32_t>(n), true),
                    V;
  auto& data = std::get<std::vector<Complex16>>(m.Data);
  for (std::size_t i = 0; i < a.size(); ++i) data[i] = {a[i].real(), a[i].imag()};
  std::vector<double> values;
  EXPECT_EQ(CompactMatrixEigensystem(m, V, values), 0);
  if (vectors)
    for (std::uint32_t i = 0; i < n; ++i)
      for (std::uint32_t j = 0; j < n; ++j) vectors->push_back(ToStd(CompactMatrixElement(V, i, j)));
  return values;
}

}  // namespace fermix::test
