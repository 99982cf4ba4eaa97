// Mean field in scripts.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaMeanFieldOperator(lua_State* L);         // MeanFieldOperator(O, Rho [, options])
int LuaPartialMeanFieldOperator(lua_State* L);  // PartialMeanFieldOperator(O, Rho, indices [, options])
int LuaMeanFieldGroundState(lua_State* L);      // MeanFieldGroundState(O, Rho, temperature)

}  // namespace fermix
