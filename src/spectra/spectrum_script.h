// Script face of spectra: Spectra_Type, a bundle of spectra that methods and arithmetic treat one by one, and
// the global table Spectra.
#pragma once

#include "host/base/status.h"
#include "host/script.h"
#include "spectra/spectrum.h"

namespace fermix {

template <>
struct ScriptType<SpectraTypeArray> {
  static constexpr const char* name = "Spectra_Type";
};

void RegisterSpectraType(lua_State* L);

// A table for each spectrum: pairs {energy, value} and the fields of the record.
int LuaPushTable_SpectraTypeArray(lua_State* L, const SpectraTypeArray& S);
// The inverse, for the table at index; energies must be equally spaced. A field Name of the table names the
// bundle.
SpectraTypeArray luaL_checkSpectraTypeArrayTable(lua_State* L, int index);

// Metamethods.
int LuaSpectraAdd(lua_State* L);
int LuaSpectraSub(lua_State* L);
int LuaSpectraMul(lua_State* L);
int LuaSpectraDiv(lua_State* L);
int LuaSpectraPow(lua_State* L);

// What make() builds, or the error that memory does not suffice.
template <class Make>
auto NewSpectra(lua_State* L, Make&& make) {
  decltype(make()) made;
  if (!FitsInMemory([&] { made = make(); }))
    luaL_error(L, "Error: not enough memory to allocate new spectra\n");
  return made;
}

}  // namespace fermix
