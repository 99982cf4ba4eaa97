#include "atomic/atomic_indices.h"

#include <numeric>
#include <stdexcept>

#include "host/base/status.h"

namespace fermix {

std::vector<NumberedOrbital> createAtomicIndices(const OrbitalNames& names) {
  constexpr std::size_t MostIndices = UINT16_MAX + 1;
  std::vector<NumberedOrbital> orbitals;
  std::size_t first = 0;
  for (const auto& name : names) {
    const int count = orbToMultiplicity(name, true);
    if (count < 1) {
      Say("\nWarning: Key \"%s\" could not be interpreted as an orbital.\n", name.c_str());
      continue;
    }
    const auto size = static_cast<std::size_t>(count);
    if (first + size > MostIndices)
      throw std::length_error("Error: CreateAtomicIndices called with more than 65536 spin-orbitals.\n");
    NumberedOrbital& orbital = orbitals.emplace_back(NumberedOrbital{name, OrbitalIndices(size)});
    std::iota(orbital.indices.begin(), orbital.indices.end(), static_cast<std::uint16_t>(first));
    first += size;
  }
  return orbitals;
}

OrbitalDictionary createAtomicIndicesDict(const std::vector<NumberedOrbital>& orbitals) {
  OrbitalDictionary dictionary;
  for (const auto& [name, indices] : orbitals) {
    dictionary[name] = indices;
    if (QRelativistic(name) || indices.size() % 2 != 0) continue;
    OrbitalIndices down, up;
    for (std::size_t i = 0; i < indices.size(); ++i) (i % 2 == 0 ? down : up).push_back(indices[i]);
    dictionary[name + "_Dn"] = std::move(down);
    dictionary[name + "_Up"] = std::move(up);
  }
  return dictionary;
}

void groupOrbitals(OrbitalDictionary& dictionary, const std::map<std::string, OrbitalNames>& groups) {
  const OrbitalDictionary given = dictionary;
  for (const auto& [group, names] : groups) {
    OrbitalIndices indices;
    for (const auto& name : names) {
      const auto found = given.find(name);
      if (found == given.end()) {
        Say("Warning: Orbital \"%s\" could not be found.\n", name.c_str());
        continue;
      }
      indices.insert(indices.end(), found->second.begin(), found->second.end());
    }
    dictionary[group] = std::move(indices);
  }
}

}  // namespace fermix
