#include "atomic/crystal_field.h"

#include <cmath>

#include "atomic/sector.h"

namespace fermix::test {
namespace {

std::vector<OrbitalPair> Within(const ShellIndices& s) {
  return {{s.list[0], s.list[0]}, {s.list[1], s.list[1]}};
}
std::vector<OrbitalPair> Between(const ShellIndices& bra, const ShellIndices& ket) {
  return {{bra.list[0], ket.list[0]}, {bra.list[1], ket.list[1]}};
}

// The point-charge form of a cubic field in units of Dq: 21 C(4,0) + 21 sqrt(5/14) (C(4,-4) + C(4,4)).
HarmonicsExpansion Cubic(double Dq) {
  const double side = 21 * std::sqrt(5 / 14.0) * Dq;
  return {{4, 0, 21 * Dq}, {4, -4, side}, {4, 4, side}};
}

TEST(CrystalField, CubicFieldSplitsDOrbitals) {
  const Sector electron({10}, {1}), orbital({5}, {1});
  const OperatorType field = CreateOperatorCF(10, Within(Shell(2)), Cubic(0.25));
  EXPECT_EQ(field.Name, "CF");
  ExpectLevels(Eigenvalues(Matrix(field, electron), 10), {{6 * 0.25, 4}, {-4 * 0.25, 6}}, 1e-13);

  const std::vector<std::uint16_t> list = {0, 1, 2, 3, 4};
  const Dense noSpin = Matrix(CreateOperatorCF(5, {{list, list}}, Cubic(1)), orbital);
  Dense vectors;
  ExpectLevels(Eigenvalues(noSpin, 5, &vectors), {{6, 2}, {-4, 3}}, 1e-13);
  EXPECT_NEAR(noSpin[12].real(), 6, 1e-13);               // 3z^2 - r^2 is eg
  EXPECT_NEAR((noSpin[0] + noSpin[4]).real(), 6, 1e-13);  // x^2 - y^2 as well
  EXPECT_NEAR(noSpin[6].real(), -4, 1e-13);               // m = -1, 1 are t2g
}

// A field of rank 6 and 4 on f orbitals: barycentre kept, t1u, t2u, a2u (Lea, Leask and Wolf, with x = 1).
TEST(CrystalField, CubicFieldSplitsFOrbitals) {
  const double side = std::sqrt(5 / 14.0);
  const std::vector<std::uint16_t> list = {0, 1, 2, 3, 4, 5, 6};
  const OperatorType field =
      CreateOperatorCF(7, {{list, list}}, {{4, 0, 33}, {4, -4, 33 * side}, {4, 4, 33 * side}});
  ExpectLevels(Eigenvalues(Matrix(field, Sector({7}, {1})), 7), {{-12, 1}, {-2, 3}, {6, 3}}, 1e-12);
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

TEST(CrystalField, TermsAddUpAndForbiddenRanksGiveNothing) {
  const auto count = [](const HarmonicsExpansion& e) {
    return TermCount(CreateOperatorCF(10, Within(Shell(2)), e).l[2]);
  };
  EXPECT_EQ(count({}), 0u);
  EXPECT_EQ(count({{1, 0, 1}, {3, 2, 1}, {6, 0, 1}, {1000000000, 999999999, 1}}), 0u);
  const OperatorType twice = CreateOperatorCF(10, Within(Shell(2)), {{2, 0, 1.5}, {2, 0, 1.5}}),
                     once = CreateOperatorCF(10, Within(Shell(2)), {{2, 0, 3}});
  EXPECT_LT(Distance(Matrix(twice, Sector({10}, {1})), Matrix(once, Sector({10}, {1}))), 1e-15);
}

}  // namespace
}  // namespace fermix::test
