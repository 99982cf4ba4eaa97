// Names of orbitals, or rather of their shells, and what they tell.
//
//   non-relativistic   ends in a shell letter, the only one that counts: "s", "4f", "Ni_3d"
//   relativistic       ends in a j whose digit follows the letter: "2p1/2", "d32", "f 7 / 2"
//   artificial         ends in "_", a multiplicity and "a": "bath_7a" has seven spin-orbitals
//   detailed           principal number, letter, and as wanted m, or m and "_" and spin: "3d", "3d-2",
//   "3d-2_1"
//
// Letters count in both cases. A name that can't be read prints a line where the function says so.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fermix {

using OrbitalNames = std::vector<std::string>;

// l of a letter s p d f g h i k; -1 for all others.
int ShellNameToL(char letter);

// The multiplicity of an artificial name, at most 65535; -1 for other names.
int artificialOrbitalMultiplicity(const std::string& name);

// The number of spin-orbitals: of an artificial name, by the last letter (s p d f g h i j k l m n o, so that
// k has one l more than above), or 2j + 1. Half of the letter's number without spin. -1 after a line if none
// fits; a relativistic name has no number without spin.
int orbToMultiplicity(const std::string& name, bool withSpin);
std::vector<int> orbsToMultiplicities(const OrbitalNames& names, bool withSpin);

// 2j + 1 of a relativistic name, and the place of the digit of j; -1 for other names, the place unchanged.
int relAngularMomentumZNumbers(const std::string& name, std::size_t& place);
bool QRelativistic(const std::string& name);

// l for j = l - 1/2, -l-1 for j = l + 1/2. 0 after a line for a name that is not relativistic.
int kappa(const std::string& name);
std::vector<int> kappas(const OrbitalNames& names);

// What stands before the digit of j; the whole of a name that is not relativistic.
std::string cutRelPart(const std::string& name);
// Whether both are of one shell: their names are equal when cut.
bool QOrbsBelongTogether(const std::string& a, const std::string& b);

// "3d" gives "3d5/2" and "3d3/2", "1s" gives "1s1/2"; relativistic names, and names without a shell's
// multiplicity, pass unchanged.
OrbitalNames nonRelToRelOrbs(const OrbitalNames& names);
// A relativistic name and the one behind it, its partner, give the shell; s1/2 has no partner; other names
// pass. A partner that is missing prints a line and ends the list.
OrbitalNames relToNonRelOrbs(const OrbitalNames& names);
// The same names with the partner of each relativistic one directly behind it.
OrbitalNames groupedRelOrbitals(const OrbitalNames& names);
// Whether the name is in the list, as it stands or as a part or the whole of a shell that is.
bool isOrbElementOf(const std::string& name, const OrbitalNames& list);
// All made relativistic, in order of rising kappa; names of one kappa keep their order.
OrbitalNames orbsSortedByKappa(const OrbitalNames& names);

// The sum of the multiplicities.
std::int64_t NumberOfFermionicStates(const OrbitalNames& names);

// A detailed name. m and s are 0 where they are not given.
struct NonRelativisticOrbital {
  int n = 0, l = 0, m = 0, s = 0;
  bool mGiven = false, sGiven = false;
};
// Status 1 after a line for a name of another form and for |m| > l.
[[nodiscard]] int ReadNonRelativisticOrbital(const std::string& name, NonRelativisticOrbital& orbital);

// The spin-orbital jz - 1/2 of a relativistic shell: "d3/2-1/2", "s1/2+1/2". lPlusJ = 0 .. 8 are s1/2, p1/2,
// p3/2, ... g9/2.
std::string LPlusJAndJzToOrbitalName(int lPlusJ, int jz);

}  // namespace fermix
