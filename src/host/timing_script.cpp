#include "host/timing_script.h"

#include <algorithm>
#include <cmath>

#include "host/base/timing.h"
#include "host/base/verbosity.h"

namespace fermix {

namespace {

// The number on the stack top as 32 mask bits, rounded; -1 sets them all.
std::uint32_t CheckMask(lua_State* L) {
  const double x = luaL_checknumber(L, std::max(1, lua_gettop(L)));
  constexpr double range = 9.2e18;
  return std::fabs(x) < range ? static_cast<std::uint32_t>(std::llround(x)) : 0;
}

}  // namespace

int LuaVerbosity(lua_State* L) { return GlobalVerbosity = CheckMask(L), 0; }

int LuaTimeSet(lua_State* L) { return GlobalTimeOn = CheckMask(L), 0; }

// Both ignore a call in the wrong order, and have said so.
int LuaTimeStart(lua_State* L) { return BeginTiming(luaL_checkstring(L, 1), GlobalTime), 0; }

int LuaTimeEnd(lua_State* L) { return EndTiming(luaL_checkstring(L, 1), GlobalTime), 0; }

int LuaTimePrint(lua_State*) { return StreamPrintTiming(GlobalTime, stdout), 0; }

}  // namespace fermix
