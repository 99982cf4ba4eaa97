#include "atomic/orbital_names.h"

#include "linalg/random_matrix.h"

namespace fermix {
namespace {

constexpr const char* unread = "\" as either relativistic or non-relativistic atomic orbital, returning -1\n";

TEST(OrbitalNames, MultiplicitiesAndKappas) {
  constexpr int none = -1;
  const struct {
    const char* name;
    int withSpin, withoutSpin, artificial, twoJPlus1, kappa;
    const char* cut;
  } cases[] = {{"s", 2, 1, none, none, 0, "s"},
               {"Ni_3D", 10, 5, none, none, 0, "Ni_3D"},
               {"o", 50, 25, none, none, 0, "o"},
               {"bath_7a", 7, 7, 7, none, 0, "bath_7a"},
               {"x_0a", 0, 0, 0, none, 0, "x_0a"},
               {"1s1/2", 2, none, none, 2, -1, "1s"},
               {"2P3/2", 4, none, none, 4, -2, "2P"},
               {"d32", 4, none, none, 4, 2, "d"},
               {"f 7 \t/ 2  ", 8, none, none, 8, -4, "f "},
               {"d_3/2", 4, none, none, 4, 2, "d_"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const std::string lines = Printed([&] {
      EXPECT_EQ(orbToMultiplicity(c.name, true), c.withSpin);
      EXPECT_EQ(orbToMultiplicity(c.name, false), c.withoutSpin);
      EXPECT_EQ(kappa(c.name), c.kappa);
    });
    EXPECT_EQ(lines.find("Could not interpret") != lines.npos, c.withoutSpin == none);
    EXPECT_EQ(lines.find("kappa is set to 0") != lines.npos, c.kappa == 0);
    std::size_t place = 77;
    EXPECT_EQ(artificialOrbitalMultiplicity(c.name), c.artificial);
    EXPECT_EQ(relAngularMomentumZNumbers(c.name, place), c.twoJPlus1);
    EXPECT_EQ(place, c.twoJPlus1 == none ? 77 : std::string(c.cut).size());
    EXPECT_EQ(cutRelPart(c.name), c.cut);
  }
}

TEST(OrbitalNames, NamesThatSayNothing) {
  for (const char* name : {"", " ", "2", "3d4/2", "d0/2", "dx/2", "3d/2", "x_a", "x_3ba", "a", "_a", "x_-3a",
                           "x_65536a", "x_99999999999a", "q", "/2", "\xe9"}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(orbToMultiplicity(name, true), -1); }),
              std::string("\nCould not interpret orbital \"") + name + unread);
  }
  for (const char* name : {"", "3d", "3/2", "q3/2", "3d4/2"})
    EXPECT_EQ(Printed([&] { EXPECT_EQ(kappa(name), 0); }),
              std::string("\nWarning: Key \"") + name +
                  "\" could not be interpreted as a relativistic orbital, kappa is set to 0.\n");
}

TEST(OrbitalNames, BetweenTheKinds) {
  using Function = OrbitalNames (*)(const OrbitalNames&);
  const char* pair =
      "Error: Need a pair of relativistic orbitals to convert them to a non-relativistic one, unless l=0.\n";
  const struct {
    Function f;
    OrbitalNames from, to;
    std::string line;
  } cases[] = {
      {nonRelToRelOrbs, {"3d", "1s", "2p3/2"}, {"3d5/2", "3d3/2", "1s1/2", "2p3/2"}, ""},
      {nonRelToRelOrbs,
       {"b_7a", "q"},
       {"b_7a", "q"},
       std::string("\nCould not interpret orbital \"q") + unread},
      {relToNonRelOrbs, {"3d3/2", "3d5/2", "1s1/2", "4f", "2p3/2", "2p1/2"}, {"3d", "1s", "4f", "2p"}, ""},
      {relToNonRelOrbs, {"1s1/2", "3d3/2", "2p1/2", "3d5/2"}, {"1s"}, pair},
      {relToNonRelOrbs, {"3d3/2", "3d"}, {}, pair},
      {groupedRelOrbitals,
       {"3d3/2", "2p1/2", "1s1/2", "4f", "3d5/2", "2p3/2"},
       {"3d3/2", "3d5/2", "2p1/2", "2p3/2", "1s1/2", "4f"},
       ""},
      {orbsSortedByKappa, {"2p", "3d", "1s"}, {"3d5/2", "2p3/2", "1s1/2", "2p1/2", "3d3/2"}, ""}};
  for (const auto& c : cases) EXPECT_EQ(Printed([&] { EXPECT_EQ(c.f(c.from), c.to); }), c.line);
}

TEST(OrbitalNames, Membership) {
  EXPECT_TRUE(isOrbElementOf("3d5/2", {"2p", "3d"}));
  EXPECT_TRUE(isOrbElementOf("3d", {"2p1/2", "3d3/2", "2p3/2", "3d5/2"}));
  EXPECT_FALSE(isOrbElementOf("4d5/2", {"2p", "3d"}));
  EXPECT_FALSE(isOrbElementOf("3d3/2", {"3d5/2"}));
  EXPECT_TRUE(QOrbsBelongTogether("3d5/2", "3d"));
  EXPECT_FALSE(QOrbsBelongTogether("3d5/2", "4d3/2"));
  EXPECT_EQ(NumberOfFermionicStates({"1s", "2p3/2", "b_5a"}), 11);
}

TEST(ReadNonRelativisticOrbital, Forms) {
  const struct {
    const char* name;
    int n, l, m, s;
    bool mGiven, sGiven;
  } cases[] = {{"3d", 3, 2, 0, 0, false, false},
               {"3d-2", 3, 2, -2, 0, true, false},
               {"3d-2_1", 3, 2, -2, 1, true, true},
               {"8k7", 8, 7, 7, 0, true, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    NonRelativisticOrbital o;
    ASSERT_EQ(ReadNonRelativisticOrbital(c.name, o), 0);
    EXPECT_EQ(std::tie(o.n, o.l, o.m, o.s, o.mGiven, o.sGiven),
              std::tie(c.n, c.l, c.m, c.s, c.mGiven, c.sGiven));
  }
}

TEST(ReadNonRelativisticOrbital, Refusals) {
  const std::string number =
      "ERROR: Failed to read principle quantum number and angular momentum form string \"";
  const std::string letter = "ERROR: Failed to read angular momentum form string \"";
  const std::string ms = "ERROR: Failed to read m and s form string \"",
                    m = "ERROR: Failed to read m form string \"";
  const struct {
    const char* name;
    std::string line;
  } cases[] = {{"", number + "\"\n"},
               {"3", number + "3\"\n"},
               {"99999999999d", number + "99999999999d\"\n"},
               {"3j", letter + "3j\", found 'j'\n"},
               {"3d1x", m + "3d1x\"\n"},
               {"3d+-1", m + "3d+-1\"\n"},
               {"3d_1", ms + "3d_1\""},
               {"3d1x_1", ms + "3d1x_1\""},
               {"3d-3", "ERROR: abs(m) larger than l in orbital \"3d-3\""},
               {"1s-2147483648", "ERROR: abs(m) larger than l in orbital \"1s-2147483648\""}};
  for (const auto& c : cases) {
    NonRelativisticOrbital o;
    o.n = 42;
    EXPECT_EQ(Printed([&] { EXPECT_EQ(ReadNonRelativisticOrbital(c.name, o), 1); }), c.line);
    EXPECT_EQ(o.n, 42);
  }
}

TEST(OrbitalNames, OfOneSpinOrbital) {
  EXPECT_EQ(LPlusJAndJzToOrbitalName(0, 1), "s1/2+1/2");
  EXPECT_EQ(LPlusJAndJzToOrbitalName(4, -2), "d5/2-5/2");
  EXPECT_EQ(LPlusJAndJzToOrbitalName(-1, 2147483647), "??+4294967293/2");
  EXPECT_EQ(ShellNameToL('K'), 7);
  EXPECT_EQ(ShellNameToL('j'), -1);
}

}  // namespace
}  // namespace fermix
