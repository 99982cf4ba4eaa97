// CreateSpectra: the script function that computes Green's functions of transition operators.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaCreateSpectra(lua_State* L);

}  // namespace fermix
