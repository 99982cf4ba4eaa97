// What the system adds to Lua's math table.
#pragma once

#include "host/script.h"

namespace fermix {

// Adds to the table math, or replaces there what learns complex arguments. Needs the types to be registered.
void RegisterMath(lua_State* L);

// Makes every entry of the table math a global.
void SetMathGlobals(lua_State* L);

}  // namespace fermix
