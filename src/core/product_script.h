// Products of numbers, operators, states and tables of them: __mul of operators and states.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaProduct(lua_State* L);

}  // namespace fermix
