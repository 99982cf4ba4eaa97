// Script functions of angular-momentum algebra.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaThreeJSymbol(lua_State* L);  // {j1, m1}, {j2, m2}, {j3, m3}; also ThreeJ
int LuaSlaterCoefficientC(lua_State* L);

}  // namespace fermix
