// Elements of script matrices: m[i], m[i][j], m[{i, ...}][{j, ...}], m.Ni, m.Dim, m.Elem(i, j), and writing.
//
// m[i] is a row view: a table {__Matrix = m, __Row = i} with the metatable MatrixRowMeta, which holds no
// data. It has the length of a row and is walked by ipairs, and what reads lists takes it for the list of its
// elements, m[{i, ...}] for a list of such rows.
#pragma once

#include "host/script.h"

namespace fermix {

inline constexpr const char* MatrixRowMeta = "MatrixRowMeta";

// Whether the value at index is a table with the metatable of that name.
bool QTableWithMeta(lua_State* L, int index, const char* name);

int LuaMatrixIndex(lua_State* L);
int LuaMatrixNewIndex(lua_State* L);
int LuaMatrixRowIndex(lua_State* L);
int LuaMatrixRowNewIndex(lua_State* L);
int LuaMatrixRowLen(lua_State* L);
int LuaMatrixIpairs(lua_State* L);  // of a matrix and of a row view

}  // namespace fermix
