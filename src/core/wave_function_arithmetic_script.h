// Sums, quotients and comparison of script states; products stand in core/product_script.h.
#pragma once

#include "core/wave_function_script.h"

namespace fermix {

// Pushes factor psi; memory that runs out is the script error outOfMemory.
int PushScaled(lua_State* L, const WaveFunctionType& psi, Complex16 factor, const char* outOfMemory);

int LuaWavefunctionAdd(lua_State* L);
int LuaWavefunctionSubMin(lua_State* L);
int LuaWavefunctionDiv(lua_State* L);
int LuaWavefunctionUnm(lua_State* L);
int LuaWavefunctionEq(lua_State* L);

}  // namespace fermix
