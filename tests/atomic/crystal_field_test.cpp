#include "atomic/crystal_field.h"

#include <array>
#include <cmath>

#include "atomic/basis_change.h"
#include "atomic/sector.h"

namespace fermix::test {
namespace {

std::vector<OrbitalPair> Between(const ShellIndices& bra, const ShellIndices& ket) {
  std::vector<OrbitalPair> pairs;
  for (int spin : {0, 1}) pairs.push_back({{bra.list[spin], bra.l()}, {ket.list[spin], ket.l()}});
  return pairs;
}
std::vector<OrbitalPair> Within(const ShellIndices& shell) { return Between(shell, shell); }

// The same spin-orbitals, numbered as states of j: all those of l - 1/2 in front.
std::vector<OrbitalPair> BetweenJ(int l1, int first1, int l2, int first2) {
  const auto lists = [](int l, int first) {
    OrbitalList min{{}, l}, plus{{}, l};
    for (int i = 0; i < 4 * l + 2; ++i)
      (i < 2 * l ? min : plus).orbitals.push_back(static_cast<std::uint16_t>(first + i));
    return std::array<OrbitalList, 2>{min, plus};
  };
  std::vector<OrbitalPair> pairs;
  for (const auto& bra : lists(l1, first1))
    for (const auto& ket : lists(l2, first2)) pairs.push_back({bra, ket});
  return pairs;
}

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

// Between states of j the operator is the one between spin-orbitals after the change of the basis, phases and
// elements between the two j included.
TEST(CrystalField, StatesOfJSeeTheSameField) {
  const HarmonicsExpansion V = {{0, 0, 0.3}, {1, 0, {0.2, 0.9}}, {1, 1, -1.7}, {2, -1, {0.4, -0.6}},
                                {2, 2, 0.8}, {3, -3, 1.1},       {4, 3, -0.5}, {5, 2, {0, 1}}};
  for (const auto& [l1, l2] : {std::pair(3, 2), {0, 1}}) {
    const int n1 = 4 * l1 + 2, n2 = 4 * l2 + 2, n = n1 + n2;
    const Sector to({n1, n2}, {1, 0}), from({n1, n2}, {0, 1});
    const Dense m = Matrix(CreateOperatorCF(n, Between(Shell(l1, 0), Shell(l2, n1)), V), to, from);
    const Dense mj = Matrix(CreateOperatorCF(n, BetweenJ(l1, 0, l2, n1), V), to, from);
    const CompactMatrixType U1 = YToJJzMatrix(n1, true), U2 = YToJJzMatrix(n2, true);
    const auto row = [](const CompactMatrixType& U, std::uint32_t i, std::uint32_t j) {
      return CompactMatrixElement(U, i, j).re;
    };
    for (int i = 0; i < n1; ++i)
      for (int j = 0; j < n2; ++j) {
        Amplitude sum = 0;
        for (int a = 0; a < n1; ++a)
          for (int b = 0; b < n2; ++b) sum += row(U1, i, a) * m[a * n2 + b] * row(U2, j, b);
        EXPECT_LT(std::abs(mj[i * n2 + j] - sum), 1e-14) << l1 << l2 << " " << i << " " << j;
      }
    EXPECT_GT(Largest(mj), 0.1);
  }
}

}  // namespace
}  // namespace fermix::test
