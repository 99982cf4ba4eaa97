// Fields and methods of script operators.
#pragma once

#include "core/operator_script.h"

namespace fermix {

int LuaOperatorIndex(lua_State* L);
int LuaOperatorNewIndex(lua_State* L);
int LuaOperatorToString(lua_State* L);

}  // namespace fermix
