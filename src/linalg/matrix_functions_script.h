// Functions of the script table Matrix, and those of them that are also globals or entries of other tables.
#pragma once

#include "host/script.h"

namespace fermix {

extern const luaL_Reg MatrixFunctions[];

int LuaNewMatrix(lua_State* L);
int LuaMatrixToTable(lua_State* L);
int LuaMatrixToUserdata(lua_State* L);
int LuaMatrixIdentity(lua_State* L);
int LuaMatrixZero(lua_State* L);
int LuaMatrixDiagonal(lua_State* L);
int LuaMatrixRandom(lua_State* L);

int LuaMatrixTranspose(lua_State* L);
int LuaMatrixConjugate(lua_State* L);
int LuaMatrixConjugateTranspose(lua_State* L);
int LuaMatrixInverse(lua_State* L);
int LuaMatrixExp(lua_State* L);
int LuaMatrixSqrt(lua_State* L);
int LuaMatrixRotate(lua_State* L);
int LuaMatrixEigensystem(lua_State* L);

int LuaSubmatrix(lua_State* L);
int LuaMatrixFlatten(lua_State* L);
int LuaMatrixExpand(lua_State* L);
int LuaMatrixEnlarge(lua_State* L);
int LuaMatrixAddSpin(lua_State* L);
int LuaRemoveSpin(lua_State* L);

// The number of rows or columns at index; a negative one is an error that names function.
std::uint32_t CheckMatrixSize(lua_State* L, int index, const char* function);

}  // namespace fermix
