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
  } cases[] = {{"s", 2, 1, none, none, 0, "s"},          {"o", 50, 25, none, none, 0, "o"},
               {"bath_7a", 7, 7, 7, none, 0, "bath_7a"}, {"1s1/2", 2, none, none, 2, -1, "1s"},
               {"d32", 4, none, none, 4, 2, "d"},        {"f 7 \t/ 2  ", 8, none, none, 8, -4, "f "},
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
  for (const char* name : {"", "3d4/2", "d0/2", "3d/2", "x_3ba", "a", "x_-3a", "x_65536a", "/2", "\xe9"})
    EXPECT_EQ(Printed([&] { EXPECT_EQ(orbToMultiplicity(name, true), -1); }),
              std::string("\nCould not interpret orbital \"") + name + unread);
  EXPECT_EQ(
      Printed([&] { EXPECT_EQ(kappa("3d4/2"), 0); }),
      "\nWarning: Key \"3d4/2\" could not be interpreted as a relativistic orbital, kappa is set to 0.\n");
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
      {relToNonRelOrbs, {"3d3/2", "3d5/2", "1s1/2", "4f", "2p3/2", "2p1/2"}, {"3d", "1s", "4f", "2p"}, ""},
      {relToNonRelOrbs, {"1s1/2", "3d3/2", "2p1/2", "3d5/2"}, {"1s"}, pair},
      {groupedRelOrbitals,
       {"3d3/2", "2p1/2", "1s1/2", "4f", "3d5/2", "2p3/2"},
       {"3d3/2", "3d5/2", "2p1/2", "2p3/2", "1s1/2", "4f"},
       ""},
      {orbsSortedByKappa, {"2p", "3d", "1s"}, {"3d5/2", "2p3/2", "1s1/2", "2p1/2", "3d3/2"}, ""}};
  for (const auto& c : cases) EXPECT_EQ(Printed([&] { EXPECT_EQ(c.f(c.from), c.to); }), c.line);
}

TEST(OrbitalNames, Membership) {
  EXPECT_TRUE(isOrbElementOf("3d", {"2p1/2", "3d3/2", "2p3/2", "3d5/2"}));
  EXPECT_FALSE(isOrbElementOf("3d3/2", {"3d5/2"}));
  EXPECT_FALSE(QOrbsBelongTogether("3d5/2", "4d3/2"));
  EXPECT_EQ(NumberOfFermionicStates({"1s", "2p3/2", "b_5a"}), 11);
  EXPECT_EQ(LPlusJAndJzToOrbitalName(4, -2), "d5/2-5/2");
  EXPECT_EQ(ShellNameToL('j'), -1);
}

TEST(ReadNonRelativisticOrbital, Forms) {
  NonRelativisticOrbital o;
  ASSERT_EQ(ReadNonRelativisticOrbital("3d-2_1", o), 0);
  EXPECT_EQ(std::tie(o.n, o.l, o.m, o.s), std::make_tuple(3, 2, -2, 1));
  EXPECT_TRUE(o.mGiven && o.sGiven);
  NonRelativisticOrbital shell;
  ASSERT_EQ(ReadNonRelativisticOrbital("8k", shell), 0);
  EXPECT_TRUE(shell.l == 7 && !shell.mGiven && !shell.sGiven);
}

TEST(ReadNonRelativisticOrbital, Refusals) {
  const std::pair<std::string, std::string> cases[] = {
      {"99999999999d",
       "ERROR: Failed to read principle quantum number and angular momentum form string \"%\"\n"},
      {"3j", "ERROR: Failed to read angular momentum form string \"%\", found 'j'\n"},
      {"3d+-1", "ERROR: Failed to read m form string \"%\"\n"},
      {"3d1x_1", "ERROR: Failed to read m and s form string \"%\""},
      {"1s-2147483648", "ERROR: abs(m) larger than l in orbital \"%\""}};
  for (const auto& c : cases) {
    NonRelativisticOrbital o;
    o.n = 42;
    std::string line = c.second;
    line.replace(line.find('%'), 1, c.first);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(ReadNonRelativisticOrbital(c.first, o), 1); }), line);
    EXPECT_EQ(o.n, 42);
  }
}

}  // namespace
}  // namespace fermix
