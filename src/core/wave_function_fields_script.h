// Fields and methods of script states.
#pragma once

#include "core/wave_function_script.h"

namespace fermix {

int LuaWavefunctionIndex(lua_State* L);
int LuaWavefunctionNewIndex(lua_State* L);
int LuaWavefunctionToString(lua_State* L);

}  // namespace fermix
