// The named kinds of NewOperator: NewOperator("Sz", NF, IndexUp, IndexDn) and its like.
#pragma once

#include "host/script.h"

namespace fermix {

// Makes the operator of a kind. The kind has been taken off the stack, which holds the other arguments.
// Returns the number of results, or -1 when the kind is unknown.
int LuaNewNamedOperator(lua_State* L, const char* kind);

}  // namespace fermix
