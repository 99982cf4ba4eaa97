#include "atomic/crystal_field.h"

#include <cmath>

#include "atomic/sector.h"

namespace fermix::test {
namespace {

std::vector<OrbitalPair> Between(const ShellIndices& bra, const ShellIndices& ket) {
  std::vector<OrbitalPair> pairs;
  for (int spin : {0, 1}) pairs.push_back({{bra.list[spin], bra.l()}, {ket.list[spin], ket.l()}});
  return pairs;
}
std::vector<OrbitalPair> Within(const ShellIndices& shell) { return Between(shell, shell); }

// Cubic fields of point charges: 10 Dq of a d shell, and f orbitals in rank 4 alone, a2u, t1u, t2u (Lea,
// Leask and Wolf, with x = 1).
TEST(CrystalField, CubicFieldSplitsTheShell) {
  const double side = std::sqrt(5 / 14.0), Dq = 0.25;
  const struct {
    int l;
    double strength;
    std::vector<Level> levels;
  } cases[] = {{2, 21 * Dq, {{6 * Dq, 4}, {-4 * Dq, 6}}}, {3, 33, {{-12, 2}, {-2, 6}, {6, 6}}}};
  for (const auto& [l, A, levels] : cases) {
    const int n = 4 * l + 2;
    const OperatorType field =
        CreateOperatorCF(n, Within(Shell(l)), {{4, 0, A}, {4, -4, A * side}, {4, 4, A * side}});
    EXPECT_EQ(field.Name, "CF");
    ExpectLevels(Eigenvalues(Matrix(field, Sector({n}, {1})), n), levels, 1e-12);
  }
}

// r is a unit vector: what reaches the d shell from a p orbital is (l + 1) / (2l + 1) of it, for each m.
TEST(CrystalField, DipoleFromPToD) {
  const double t = std::sqrt(0.5);
  const Complex16 ti(0, t);
  const HarmonicsExpansion x = {{1, -1, t}, {1, 1, -t}}, y = {{1, -1, ti}, {1, 1, ti}}, z = {{1, 0, 1}};
  const ShellIndices p = Shell(1, 0), d = Shell(2, 6);
  const Sector before({6, 10}, {1, 0}), after({6, 10}, {0, 1});
  std::vector<double> reached(6);
  for (const auto& r : {x, y, z}) {
    const OperatorType T = CreateOperatorCF(16, Between(d, p), r);
    EXPECT_EQ(Largest(Matrix(T, before, after)), 0);  // creates in the bra shell only
    const Dense m = Matrix(T, after, before);
    for (int i = 0; i < 10; ++i)
      for (int j = 0; j < 6; ++j) {
        reached[j] += std::norm(m[i * 6 + j]);
        const int dm = std::abs((i / 2 - 2) - (j / 2 - 1));
        if (i % 2 != j % 2 || dm != static_cast<int>(r.size()) - 1) {  // z has one term, x and y change m
          EXPECT_EQ(m[i * 6 + j], Amplitude(0));
        }
      }
    // The reverse transition is the adjoint, as r is real.
    const Dense back = Matrix(CreateOperatorCF(16, Between(p, d), r), before, after);
    for (int i = 0; i < 10; ++i)
      for (int j = 0; j < 6; ++j) EXPECT_LT(std::abs(back[j * 10 + i] - std::conj(m[i * 6 + j])), 1e-15);
  }
  for (double sum : reached) EXPECT_NEAR(sum, 2 / 3.0, 1e-14);
}

}  // namespace
}  // namespace fermix::test
