#include "atomic/orbital_rotation.h"

#include <cmath>

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

// A spin-orbital named by what it is: the shell and 2 mj with 2 j, or its m and spin (j = 0).
struct State {
  std::string shell;
  int twoJ, a, b;
};

// The states of a list in order, from the definition of the numbering.
std::vector<State> StatesOf(const OrbitalNames& names) {
  std::vector<State> states;
  for (const auto& name : names) {
    std::size_t place;
    const int count = relAngularMomentumZNumbers(name, place);
    if (count > 0) {
      for (int twoMj = 1 - count; twoMj < count; twoMj += 2)
        states.push_back({cutRelPart(name), count - 1, twoMj, 0});
    } else {
      const int n = orbToMultiplicity(name, true);
      for (int i = 0; i < n; ++i) states.push_back({name, 0, 2 * (i / 2) - (n - 2) / 2, i % 2 ? 1 : -1});
    }
  }
  return states;
}

// <a|b> by the coupling coefficients; m is given doubled, l from the letter.
double Overlap(const State& a, const State& b) {
  if (a.shell != b.shell) return 0;
  if ((a.twoJ == 0) == (b.twoJ == 0)) return a.twoJ == b.twoJ && a.a == b.a && a.b == b.b ? 1 : 0;
  const State &j = a.twoJ ? a : b, &m = a.twoJ ? b : a;
  if (j.a != m.a + m.b) return 0;
  const int twoL = (orbToMultiplicity(m.shell, true) - 2) / 2;
  const double t = j.a / (twoL + 1.0);
  if (j.twoJ > twoL) return std::sqrt((1 + m.b * t) / 2);
  return -m.b * std::sqrt((1 - m.b * t) / 2);
}

TEST(OrbitalRotationMatrix, IsTheOverlapOfNewAndOldStates) {
  const struct {
    OrbitalNames from, to;
  } cases[] = {{{"3d"}, {"3d5/2", "3d3/2"}},
               {{"3d5/2", "3d3/2"}, {"3d"}},
               {{"2p", "3d", "1s"}, {"3d3/2", "2p3/2", "1s1/2", "3d5/2", "2p1/2"}},
               {{"3d3/2", "4f", "3d5/2"}, {"4f7/2", "4f5/2", "3d"}},
               {{"3d"}, {"2p1/2", "3d5/2", "2p3/2", "3d3/2"}},  // more rows than columns
               {{"bath_5a", "3d", "1s"}, {"3d5/2", "3d3/2"}},
               {{"3d3/2"}, {"3d3/2", "3d5/2"}}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.from[0] + " to " + c.to[0]);
    const auto R = OrbitalRotationMatrix(c.from, c.to);
    const auto rows = StatesOf(c.to), columns = StatesOf(c.from);
    ASSERT_EQ(R.Ni, rows.size());
    ASSERT_EQ(R.Nj, columns.size());
    for (std::uint32_t i = 0; i < R.Ni; ++i)
      for (std::uint32_t j = 0; j < R.Nj; ++j)
        EXPECT_NEAR(CompactMatrixElement(R, i, j).re, Overlap(rows[i], columns[j]), 1e-15) << i << ' ' << j;
  }
}

TEST(OrbitalRotationMatrix, RefusesListsThatDoNotMatch) {
  const struct {
    OrbitalNames from, to;
    std::string lastLine;
  } cases[] = {{{"3d", "3d"}, {"3d"}, "called with identical entries in the list of old orbitals.\n"},
               {{"3d"}, {"4f"}, "failed to make a connection between old and new orbitals.\n"},
               {{"3d"}, {"4d"}, "Permutation of orbitals failed.\n"},
               {{"q"}, {"q"}, "Grouping of orbitals failed.\n"},
               {{"2p3/2", "3p1/2"}, {"2p"}, "to non-relativistic orbitals or vice versa failed.\n"}};
  for (const auto& c : cases) {
    const std::string printed = Printed([&] { EXPECT_EQ(OrbitalRotationMatrix(c.from, c.to).Ni, 0u); });
    EXPECT_TRUE(printed.ends_with(c.lastLine)) << printed;
  }
  EXPECT_EQ(NonRelToRelRotationMatrix({"3d"}, {"3d3/2"}).Ni, 0u);
  EXPECT_EQ(NonRelToRelRotationMatrix({"3d"}, {"3d3/2", "3d7/2"}).Ni, 0u);
}

}  // namespace
}  // namespace fermix
