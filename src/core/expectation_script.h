// Script functions for matrix elements between states.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaBraket(lua_State* L);
int LuaBraketDiagonal(lua_State* L);
int LuaPrintExpectationValues(lua_State* L);

}  // namespace fermix
