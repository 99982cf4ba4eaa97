// Fields and methods of script operators.
#pragma once

#include "core/operator_script.h"

namespace fermix {

int LuaOperatorIndex(lua_State* L);
int LuaOperatorNewIndex(lua_State* L);
int LuaOperatorToString(lua_State* L);

// Raises an error unless R, if it restricts anything, is written for the space of O.
void CheckRestrictionsFit(lua_State* L, const DeterminantRestrictionType& R, const KeyLayout& layout);

}  // namespace fermix
