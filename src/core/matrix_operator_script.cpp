#include "core/matrix_operator_script.h"

#include "core/matrix_operator.h"
#include "core/operator_script.h"
#include "linalg/matrix_script.h"

namespace fermix {

// Matrix.ToOperator(m) -> the sum of m[i][j] a+_i a_j
int LuaMatrixToOperator(lua_State* L) {
  CheckArgumentCount(L, 1, 1, "MatrixToOperator called with %d arguments, only 1 expected.");
  if (!luaL_isType<CompactMatrixType>(L, 1))
    return luaL_error(L, "MatrixToOperator called with an argument that is not a matrix.");
  const MatrixArgument m(L, 1);
  if (m->Ni != m->Nj)
    ScriptError(L,
                "MatrixToOperator called with a matrix of dimension %d times %d. Number of rows and columns "
                "must be equal.",
                static_cast<int>(m->Ni), static_cast<int>(m->Nj));
  return lua_push(L, CompactMatrixToOperator(*m));
}

}  // namespace fermix
