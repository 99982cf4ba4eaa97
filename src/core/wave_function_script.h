// Script face of states: Wavefunction_Type and the functions that make states.
#pragma once

#include "core/wave_function.h"
#include "host/script.h"

namespace fermix {

template <>
struct ScriptType<WaveFunctionType> {
  static constexpr const char* name = "Wavefunction_Type";
};

void RegisterWaveFunctionType(lua_State* L);

// A hash table of 2^NBitsKey slots is refused as one that there is no memory for.
inline constexpr std::uint32_t MaxNBitsKey = 32;

int LuaNewWavefunction(lua_State* L);
int LuaDeterminantString(lua_State* L);
int LuaExpand(lua_State* L);
int LuaExpandToBasis(lua_State* L);
int LuaOrthonormalize(lua_State* L);
int LuaTensorProduct(lua_State* L);
int LuaReadWavefunction(lua_State* L);  // Ob.ReadWavefunction

}  // namespace fermix
