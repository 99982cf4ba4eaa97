// Every type, table and global function of the scripts, registered in one place, in one order.
#pragma once

#include "host/script.h"

namespace fermix {

// Needs Complex_Type and the standard libraries.
void luaopen_ssp(lua_State* L);

}  // namespace fermix
