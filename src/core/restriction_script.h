// Restrictions in scripts: {NFermion, NBoson, {"determinant", minocc, maxocc}, ...}.
#pragma once

#include "core/restriction.h"
#include "host/script.h"

namespace fermix {

// Reads the restriction set at index; nil gives none. Raises what is wrong with it.
void luaL_setarray_DeterminatRestrictionType(lua_State* L, int index, DeterminantRestrictionType* out);

// Pushes the table form; nil when there are none.
int LuaPushTable_Restrictions(lua_State* L, DeterminantRestrictionType R);

// Raises an error unless R, if it restricts anything, is written for the space layout of an operator.
void CheckRestrictionsFit(lua_State* L, const DeterminantRestrictionType& R, const KeyLayout& layout);

// A row of an option list, of the type "DeterminantRestrictionType".
LuaOptionsType Option(const char* name, DeterminantRestrictionType* target);

}  // namespace fermix
