// Matrix.ToOperator, also Velko.MatrixToOperator.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaMatrixToOperator(lua_State* L);

}  // namespace fermix
