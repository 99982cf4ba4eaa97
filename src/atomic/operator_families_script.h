// The front ends of the named kinds of NewOperator, as the table of kinds calls them.
//
// The kind has been taken off the stack; each returns its number of results.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaOperatorNewCoulomb(lua_State* L);
int LuaOperatorNewCF(lua_State* L);
int LuaOperatorNewCreate(lua_State* L);
int LuaOperatorNewAnnihilate(lua_State* L);
int LuaOperatorNewNumber(lua_State* L);
int LuaOperatorNewIdentity(lua_State* L);
int LuaOperatorNewHarmonicOscillatorOnStandingWaves(lua_State* L);
int LuaOperatorNewHarmonicOscillatorOnGrid(lua_State* L);

}  // namespace fermix
