// Arithmetic of script matrices: metamethods of Matrix_Type and MatrixMeta.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaMatrixUnm(lua_State* L);
int LuaMatrixAdd(lua_State* L);
int LuaMatrixSub(lua_State* L);
int LuaMatrixMul(lua_State* L);
int LuaMatrixDiv(lua_State* L);
int LuaMatrixPow(lua_State* L);
int LuaMatrixEq(lua_State* L);
int LuaMatrixLen(lua_State* L);

int LuaDot(lua_State* L);  // math.Dot, the product of two tables

}  // namespace fermix
