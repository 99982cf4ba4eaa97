// Which spin-orbitals belong to which orbital when a list of orbitals is numbered through from 0.
#pragma once

#include <map>

#include "atomic/orbital_names.h"

namespace fermix {

using OrbitalIndices = std::vector<std::uint16_t>;

struct NumberedOrbital {
  std::string name;
  OrbitalIndices indices;
};

// The orbitals of the list with consecutive indices. A name that is no orbital prints a warning and is left
// out. Throws length_error beyond 65536 spin-orbitals.
std::vector<NumberedOrbital> createAtomicIndices(const OrbitalNames& names);

using OrbitalDictionary = std::map<std::string, OrbitalIndices>;

// The same by name. A non-relativistic orbital of even count also has its spins, name_Dn and name_Up: the
// even and the odd positions of its list.
OrbitalDictionary createAtomicIndicesDict(const std::vector<NumberedOrbital>& orbitals);

// Adds a key for each group, with the indices of the keys that it lists; a key that is not in the dictionary
// prints a warning. Groups don't see each other.
void groupOrbitals(OrbitalDictionary& dictionary, const std::map<std::string, OrbitalNames>& groups);

}  // namespace fermix
