// What the system adds to Lua's math table.
#pragma once

#include "host/script.h"

namespace fermix {

// Replaces in the table math what learns arguments beyond real numbers, and adds functions of other layers.
void RegisterMath(lua_State* L, const luaL_Reg* functions);

// Makes every entry of the table math a global.
void SetMathGlobals(lua_State* L);

}  // namespace fermix
