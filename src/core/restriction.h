// Occupation bounds on groups of orbitals, which limit a determinant basis.
#pragma once

#include "core/determinant.h"

namespace fermix {

// Restriction r keeps a determinant whose count on Masks[r] lies within MinOccupation[r] .. MaxOccupation[r].
struct DeterminantRestrictionType {
  KeyLayout layout;
  std::vector<std::uint32_t> MinOccupation, MaxOccupation;
  std::vector<Key> Masks;  // each a key: the orbitals and modes that are counted
};

inline std::uint32_t NRestrictions(const DeterminantRestrictionType& R) {
  return static_cast<std::uint32_t>(R.Masks.size());
}

// Occupation that restriction r counts on key: fermion bits under the mask, plus the value of each boson byte
// under its mask byte (0xFF counts the whole occupation; any other byte filters its bits, on purpose no
// weight).
std::uint32_t RestrictionCount(const DeterminantRestrictionType& R, std::uint32_t r, const KeyWord* key);

// True when key fulfils all restrictions; always true when there are none.
bool QFulfillsRestrictions(const DeterminantRestrictionType& R, const KeyWord* key);

// For a caller that settles orbitals in rising order, with those below orbital settled in key: a restriction
// is out of reach unless this orbital is occupied, or forbids it.
bool QMustOccupy(std::uint32_t orbital, std::uint32_t NFermion, const KeyWord* key,
                 const DeterminantRestrictionType& R);
bool QCanNotOccupy(std::uint32_t orbital, std::uint32_t NFermion, const KeyWord* key,
                   const DeterminantRestrictionType& R);

}  // namespace fermix
