// The arguments that the named kinds of NewOperator share: a number of orbitals, lists of orbital indices,
// and the option "basis".
#pragma once

#include "host/script.h"

namespace fermix {

enum ShellBasis : int {
  SphericalHarmonicsY = 0,
  TesseralHarmonicsZ = 1,
  KubicHarmonicsK = 2,
  PyramidalHarmonicsP = 3,
  JJz = 4
};

using IndexList = std::vector<std::uint16_t>;

// Raises when an operator can't have so many orbitals: more than 32768.
void CheckOrbitalCount(lua_State* L, double NF);
// The number of fermionic orbitals, argument 1. 0 raises zeroText.
std::uint32_t CheckFermionCount(lua_State* L, const char* zeroText);
// The same, with 0 allowed.
std::uint32_t CheckFermionCount(lua_State* L);

// A number rounded to the nearest integer, -1 for what can be no index: indices are compared with the number
// of orbitals before they are cut to 16 bits.
int CheckIndex(lua_State* L, int index);
std::vector<int> CheckIndices(lua_State* L, int index);
bool QInRange(const std::vector<int>& indices, std::uint32_t NFermion);
// Raises "%s contains a refference outside the range [0,%d]" unless all are orbitals.
IndexList CheckRange(lua_State* L, const std::vector<int>& indices, std::uint32_t NFermion, const char* what);

// Number of arguments without a trailing option list.
int CountWithoutOptions(lua_State* L);

// The option "basis" of the option list at the positive index, given as a pair or as a field, otherwise the
// default (which an empty option list, or index 0, leaves as it is).
int CheckBasis(lua_State* L, int index, int otherwise);

// The basis that the lengths of two lists tell: JJz when the first (j = l - 1/2) is two shorter.
inline int BasisOfLists(std::size_t first, std::size_t second) {
  return first + 2 == second ? JJz : SphericalHarmonicsY;
}

}  // namespace fermix
