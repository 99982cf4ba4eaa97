// Functions that work on any value: numbers, tables of values, and every record type.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaCopy(lua_State* L);  // also Clone
int LuaChop(lua_State* L);
int LuaConjugate(lua_State* L);
int LuaTranspose(lua_State* L);
int LuaConjugateTranspose(lua_State* L);
int LuaRotate(lua_State* L);

}  // namespace fermix
