// Sums, quotients and comparison of script states; products stand in core/product_script.h.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaWavefunctionAdd(lua_State* L);
int LuaWavefunctionSubMin(lua_State* L);
int LuaWavefunctionDiv(lua_State* L);
int LuaWavefunctionUnm(lua_State* L);
int LuaWavefunctionEq(lua_State* L);

}  // namespace fermix
