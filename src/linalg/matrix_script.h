// Matrices in scripts as tables of rows.
#pragma once

#include "host/script.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// Reads a table of rows of equal length. The matrix is real when no element has an imaginary part above the
// double epsilon times its real part.
CompactMatrixType luaL_checkCompactMatrix(lua_State* L, int index);

// Pushes a table of rows of numbers and complex numbers, with the metatable of the global MatrixMeta if that
// exists.
int LuaPushTable_CompactMatrixType(lua_State* L, const CompactMatrixType& m);

}  // namespace fermix
