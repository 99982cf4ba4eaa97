// Atomic shells as dense matrices, and what such matrices are compared by.
#pragma once

#include "atomic/one_particle_terms.h"
#include "exact.h"

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
