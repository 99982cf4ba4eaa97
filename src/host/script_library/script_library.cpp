#include "host/script_library/script_library.h"

#include "host/math_script.h"
#include "host/script_library/generic_script.h"
#include "host/timing_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

int LuaWarning(lua_State* L) {
  luaL_warning(L, "%s", luaL_checkstring(L, 1));
  return 0;
}

// Types, each with its table of functions.
constexpr void (*types[])(lua_State*) = {RegisterSpectraType};

// Global functions, grouped by what they work on.
constexpr luaL_Reg functions[] = {{"warning", Entry<LuaWarning>},
                                  {"Copy", Entry<LuaCopy>},
                                  {"Clone", Entry<LuaCopy>},
                                  {"Chop", Entry<LuaChop>},
                                  {"Conjugate", Entry<LuaConjugate>},
                                  {"Transpose", Entry<LuaTranspose>},
                                  {"ConjugateTranspose", Entry<LuaConjugateTranspose>},
                                  {"Rotate", Entry<LuaRotate>},
                                  {"Verbosity", Entry<LuaVerbosity>},
                                  {"TimeStart", Entry<LuaTimeStart>},
                                  {"TimeEnd", Entry<LuaTimeEnd>},
                                  {"TimeSet", Entry<LuaTimeSet>},
                                  {"TimePrint", Entry<LuaTimePrint>}};

}  // namespace

void luaopen_ssp(lua_State* L) {
  for (const auto registerType : types) registerType(L);
  for (const luaL_Reg& function : functions) {
    lua_pushcfunction(L, function.func);
    lua_setglobal(L, function.name);
  }
  RegisterMath(L);
  SetMathGlobals(L);
}

}  // namespace fermix
