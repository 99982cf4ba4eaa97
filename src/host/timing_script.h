// Verbosity and timers in scripts.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaVerbosity(lua_State* L);
int LuaTimeSet(lua_State* L);
int LuaTimeStart(lua_State* L);
int LuaTimeEnd(lua_State* L);
int LuaTimePrint(lua_State* L);

}  // namespace fermix
