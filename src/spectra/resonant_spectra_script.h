// CreateResonantSpectra and CreateFluorescenceYield: the script functions for transitions in two steps.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaCreateResonantSpectra(lua_State* L);
int LuaCreateFluorescenceYield(lua_State* L);

}  // namespace fermix
