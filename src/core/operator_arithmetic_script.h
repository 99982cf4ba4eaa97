// Sums, quotients and comparison of script operators; products stand in core/product_script.h.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaOperatorAdd(lua_State* L);
int LuaOperatorSub(lua_State* L);
int LuaOperatorDiv(lua_State* L);
int LuaOperatorUnm(lua_State* L);
int LuaOperatorEq(lua_State* L);

}  // namespace fermix
