// One check for all places where records of the one-particle space meet: the last guard against reading
// beyond a key.
#pragma once

#include <stdexcept>
#include <string>

#include "core/restriction.h"

namespace fermix {

// Throws std::invalid_argument, which reaches a script as an error, when what's space differs from other's.
inline void RequireSameSpace(const KeyLayout& a, const char* what, const KeyLayout& b, const char* other) {
  const auto text = [&](const char* particles, std::uint32_t na, std::uint32_t nb) {
    return std::string(what) + " has a different number of " + particles + " (" + std::to_string(na) +
           ") than " + other + " (" + std::to_string(nb) + ")\n";
  };
  if (a.NFermion != b.NFermion) throw std::invalid_argument(text("Fermions", a.NFermion, b.NFermion));
  if (a.NBoson != b.NBoson) throw std::invalid_argument(text("Bosons", a.NBoson, b.NBoson));
}

// The same for restrictions; a set without any fits everywhere.
inline void RequireRestrictionsFit(const DeterminantRestrictionType& R, const KeyLayout& layout,
                                   const char* other) {
  if (NRestrictions(R)) RequireSameSpace(R.layout, "Definition of restrictions", layout, other);
}

}  // namespace fermix
