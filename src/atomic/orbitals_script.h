// Script functions of orbital names, their spin-orbitals and the bases of shells.
#pragma once

#include "host/script.h"

namespace fermix {

// l, name, or a list of them, and the option "addSpin" -> table form of the matrix
int LuaYtoKMatrix(lua_State* L);
int LuaYtoZMatrix(lua_State* L);
int LuaZtoKMatrix(lua_State* L);
int LuaYtojjzMatrix(lua_State* L);           // without option
int LuaOrbitalRotationMatrix(lua_State* L);  // list of old names, list of new names

int LuaOrbToMultiplicity(lua_State* L);
int LuaNonRelToRelOrbitals(lua_State* L);
int LuaRelToNonRelOrbitals(lua_State* L);
int LuaSortByKappa(lua_State* L);

int LuaCreateAtomicIndicesDict(lua_State* L);  // names [, groups] -> dictionary, number of indices
int LuaCreateAtomicIndicesList(lua_State* L);  // names [, options] -> list of index lists

}  // namespace fermix
