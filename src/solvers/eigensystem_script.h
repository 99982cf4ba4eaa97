// Eigensystem: the script function that gives eigenstates.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaEigensystem(lua_State* L);

}  // namespace fermix
