// Expansions on spherical harmonics in scripts: lists of rows {k, m, value}.
#pragma once

#include "atomic/crystal_field.h"
#include "host/script.h"

namespace fermix {

// Reads the expansion at index. Raises for a row that has not three entries, and for |m| > k; the level in
// these messages is the number of the row, from 1.
HarmonicsExpansion luaL_checkarray_HarmonicsExpansion(lua_State* L, int index);
// Pushes a list of such rows; a value without imaginary part is a number.
int LuaPushTable_HarmonicsExpansion(lua_State* L, const HarmonicsExpansion& expansion);

// name of a point group, l, list of energies -> expansion
int LuaPotentialExpandedOnClm(lua_State* L);

}  // namespace fermix
