// Operators as dense matrices on determinants of fixed electron counts, worked out from the stored terms by
// the test's own occupation strings (bit i of a state is orbital i), and what such matrices are compared by.
#pragma once

#include <gtest/gtest.h>
#include <algorithm>
#include <bit>
#include <complex>
#include <numeric>

#include "atomic/one_particle_terms.h"
#include "core/fock_space.h"
#include "linalg/compact_matrix.h"

namespace fermix::test {

// The shell of 2l + 1 orbitals of each spin from orbital first on: down, up, down, up, .. by rising m.
inline ShellIndices Shell(int l, int first = 0) {
  ShellIndices shell;
  for (int i = 0; i <= 2 * l; ++i) {
    shell.list[1].push_back(static_cast<std::uint16_t>(first + 2 * i));
    shell.list[0].push_back(static_cast<std::uint16_t>(first + 2 * i + 1));
  }
  return shell;
}

// All determinants with electrons[n] in the n-th group of sizes[n] orbitals.
struct Sector {
  std::vector<std::size_t> states;

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
inline Dense Matrix(const OperatorType& O, const Sector& to, const Sector& from) {
  Dense m(to.size() * from.size());
  for (const Term& term : ToTerms(O))
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
inline Dense Matrix(const OperatorType& O, const Sector& sector) { return Matrix(O, sector, sector); }

inline Dense Sum(const Dense& a, const Dense& b, Amplitude factor = 1) {
  Dense c = a;
  for (std::size_t i = 0; i < c.size(); ++i) c[i] += factor * b[i];
  return c;
}
inline Dense Scaled(const Dense& a, Amplitude factor) { return Sum(Dense(a.size()), a, factor); }

inline Dense Commutator(const Dense& a, const Dense& b, std::size_t n) {
  return Sum(Multiply(a, b, n), Multiply(b, a, n), -1);
}

inline Dense Adjoint(const Dense& a, std::size_t n) {
  Dense c(n * n);
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j < n; ++j) c[i * n + j] = std::conj(a[j * n + i]);
  return c;
}

inline double Largest(const Dense& a) { return Distance(a, Dense(a.size())); }

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

// A level as textbooks give it.
struct Level {
  double energy;
  int degeneracy;
};

inline void ExpectLevels(const std::vector<double>& values, const std::vector<Level>& levels,
                         double tolerance) {
  std::vector<double> expected;
  for (const Level& level : levels) expected.insert(expected.end(), level.degeneracy, level.energy);
  std::sort(expected.begin(), expected.end());
  ASSERT_EQ(values.size(), expected.size());
  for (std::size_t i = 0; i < values.size(); ++i)
    EXPECT_NEAR(values[i], expected[i], tolerance) << "level " << i;
}

}  // namespace fermix::test
