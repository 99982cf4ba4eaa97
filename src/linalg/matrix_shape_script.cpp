// Script functions that cut matrices and put them together.
#include "linalg/matrix_functions_script.h"
#include "linalg/matrix_script.h"
#include "linalg/matrix_shape.h"

namespace fermix {

namespace {

// A position of the script, counted from 1, as an index from 0; what is no position becomes an index that no
// matrix has.
std::uint32_t CheckPosition(lua_State* L, int index) {
  int i = 0;
  lua_check(L, index, i);
  return static_cast<std::uint32_t>(i) - 1;
}

struct Range {
  std::uint32_t first = 0, last = 0;
};

bool QPair(lua_State* L, int index) {
  return lua_istable(L, index) && lua_rawlen(L, index) == 2 && luaL_isType<std::vector<double>>(L, index);
}

Range CheckPair(lua_State* L, int index) {
  lua_rawgeti(L, index, 1);
  lua_rawgeti(L, index, 2);
  const Range range = {CheckPosition(L, -2), CheckPosition(L, -1)};
  lua_pop(L, 2);
  return range;
}

// Rows and columns by two numbers, or by two pairs.
std::pair<Range, Range> CheckLimits(lua_State* L) {
  if (lua_isnumber(L, 2) && lua_isnumber(L, 3)) return {{0, CheckPosition(L, 2)}, {0, CheckPosition(L, 3)}};
  if (!QPair(L, 2) || !QPair(L, 3)) luaL_error(L, "Error, Submatrix expected input (M, {r0, rn}, {c0, cn}).");
  return {CheckPair(L, 2), CheckPair(L, 3)};
}

int PushBlock(lua_State* L, const CompactMatrixType& m, Range rows, Range columns) {
  CompactMatrixType block;
  if (Submatrix(m, rows.first, rows.last, columns.first, columns.last, block))
    return luaL_error(L, "Error in Submatrix\n");
  return lua_push(L, std::move(block));
}

int PushPicked(lua_State* L, const CompactMatrixType& m) {
  std::vector<int> positions;
  lua_check(L, 2, positions);
  std::vector<std::uint32_t> indices;
  for (const int position : positions) indices.push_back(static_cast<std::uint32_t>(position) - 1);
  CompactMatrixType picked;
  if (Submatrix(m, indices, picked)) return luaL_error(L, "Error in Submatrix\n");
  return lua_push(L, std::move(picked));
}

}  // namespace

// Matrix.Sub(m, n), (m, list), (m, rows, columns), (m, {r0, rn}, {c0, cn}), (m, r0, rn, c0, cn)
int LuaSubmatrix(lua_State* L) {
  const int n = lua_gettop(L);
  if (n != 2 && n != 3 && n != 5)
    return luaL_error(
        L,
        "Submatrix called with %d arguments. Expected either 2 (matrix and size of submatrix, or "
        "alternatively matrix and list of indices), 3 (matrix, number of rows and number of "
        "columns, or alternatively matrix, {first row, last row} and {first column, last column}) "
        "or 5 (matrix, first row, last row, first column and last column)\n",
        n);
  const MatrixArgument m(L, 1);
  if (n == 5)
    return PushBlock(L, *m, {CheckPosition(L, 2), CheckPosition(L, 3)},
                     {CheckPosition(L, 4), CheckPosition(L, 5)});
  if (n == 3) {
    const auto [rows, columns] = CheckLimits(L);
    return PushBlock(L, *m, rows, columns);
  }
  if (lua_isnumber(L, 2)) return PushBlock(L, *m, {0, CheckPosition(L, 2)}, {0, CheckPosition(L, 2)});
  if (luaL_isType<std::vector<double>>(L, 2)) return PushPicked(L, *m);
  return luaL_error(L, "Error: Submatrix called with unknown type for second argument!");
}

// Matrix.Flatten({{block, ...}, ...})
int LuaMatrixFlatten(lua_State* L) {
  CheckArgumentCount(
      L, 1, 1,
      "MatrixFlatten called with %d arguments. 1 expected, Table of tables of tables of tables "
      "of numbers.\n");
  luaL_checktype(L, 1, LUA_TTABLE);
  // The table keeps its userdata alive.
  std::vector<std::vector<MatrixArgument>> arguments(lua_rawlen(L, 1));
  std::vector<std::vector<const CompactMatrixType*>> blocks(arguments.size());
  int entry = 0;
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    lua_rawgeti(L, 1, static_cast<int>(i) + 1);
    luaL_checktype(L, -1, LUA_TTABLE);
    const std::size_t columns = lua_rawlen(L, -1);
    arguments[i].reserve(columns);  // blocks point into it
    for (std::size_t j = 1; j <= columns; ++j) {
      lua_rawgeti(L, -1, static_cast<int>(j));
      ++entry;
      if (QMatrixOrTable(L, -1)) {
        blocks[i].push_back(&*arguments[i].emplace_back(L, -1));
      } else if (lua_type(L, -1) == LUA_TNUMBER && lua_tonumber(L, -1) == 0) {
        blocks[i].push_back(nullptr);
      } else {
        return luaL_error(L, "MatrixFlatten called with entry %d. Matrix or 0 expected.\n", entry);
      }
      lua_pop(L, 1);
    }
    lua_pop(L, 1);
  }
  CompactMatrixType joined;
  if (MatrixFlatten(blocks, joined)) return luaL_error(L, "Error in MatrixFlatten\n");
  return lua_push(L, std::move(joined));
}

// Matrix.Expand(m, n [, z])
int LuaMatrixExpand(lua_State* L) {
  const int n = CheckArgumentCount(
      L, 2, 3,
      "MatrixExpand called with %d arguments. 2 or 3 expected, a matrix, the new matrix size, "
      "and possibly a value for the entries on the new diagonal.\n");
  const MatrixArgument m(L, 1);
  const std::uint32_t size = CheckMatrixSize(L, 2, "MatrixExpand");
  Complex16 z = 0;
  if (n == 3) lua_check(L, 3, z);
  return lua_push(L, MatrixExpand(*m, size, z));
}

// Matrix.Enlarge(m, k)
int LuaMatrixEnlarge(lua_State* L) {
  CheckArgumentCount(
      L, 2, 2,
      "MatrixEnlarge called with %d arguments. 2 expected, a matrix and the factor by which it "
      "is to be expanded.\n");
  const MatrixArgument m(L, 1);
  return lua_push(L, MatrixEnlarge(*m, CheckMatrixSize(L, 2, "MatrixEnlarge")));
}

// Matrix.AddSpin(m)
int LuaMatrixAddSpin(lua_State* L) {
  CheckArgumentCount(L, 1, 1, "MatrixAddSpin called with %d arguments. 1 expected, a matrix.\n");
  return lua_push(L, MatrixEnlarge(*MatrixArgument(L, 1), 2));
}

// Matrix.RemoveSpin(m), also Velko.RemoveSpin
int LuaRemoveSpin(lua_State* L) {
  CheckArgumentCount(L, 1, 1, "Error: LuaRemoveSpin called with %d argmuents, only 1 expected, a Matrix.");
  const MatrixArgument m(L, 1);
  if (m->Ni % 2 || m->Nj % 2)
    ScriptError(L,
                "Error: LuaRemoveSpin called with a matrix of dimension %d times %d. Number of rows and "
                "columns must each be even.",
                static_cast<int>(m->Ni), static_cast<int>(m->Nj));
  return lua_push(L, MatrixRemoveSpin(*m));
}

}  // namespace fermix
