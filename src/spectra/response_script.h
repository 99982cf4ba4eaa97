// Script face of scalar response functions: their table forms.
#pragma once

#include "host/script.h"
#include "linalg/tridiagonal.h"

namespace fermix {

// { {a0, a1, ..., aN}, {b0, ..., bN-1}, type = "Tri", mu = , name = }
int LuaPushTable_TriDiagonalMatrixType(lua_State* L, const TriDiagonalMatrixType& M);

// { {a0, e1, ..., eN}, {w1, ..., wN}, type = "ListOfPoles", mu = , name = }
int LuaPushTable_ListOfPoles(lua_State* L, const ListOfPoles& P);

}  // namespace fermix
