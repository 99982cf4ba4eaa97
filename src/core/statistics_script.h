// Statistics: counts of what an operator or a state holds.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaStatistics(lua_State* L);  // Statistics(operator or wave function), prints

}  // namespace fermix
