// The script function for density matrices.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaDensityMatrix(lua_State* L);

}  // namespace fermix
