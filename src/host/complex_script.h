// Complex numbers in scripts: Complex_Type, the global table Complex and the constants I, Pi, E and inf.
#pragma once

#include "host/script.h"

namespace fermix {

void luaopen_Complex(lua_State* L);
void luaconstants(lua_State* L);

}  // namespace fermix
