// Recursion over nested script tables, with a bound that also refuses cyclic ones.
#pragma once

#include "host/script.h"

namespace fermix {

inline constexpr int MaxTableDepth = 200;

// Reserves the stack of one level of recursion.
inline void EnterTable(lua_State* L, int depth, int most = MaxTableDepth) {
  if (depth >= most)
    ScriptError(L, "Error: table nested deeper than %d levels, or containing itself\n", most);
  luaL_checkstack(L, 10, "table too deep");
}

// Sets the metatable of the table at from, if any, on the table on the stack top.
inline void ShareMetatable(lua_State* L, int from) {
  if (lua_getmetatable(L, from)) lua_setmetatable(L, -2);
}

// Pushes a new table with the keys and the metatable of the table at index. value() finds an element on the
// stack top and pushes what takes its place.
template <class F>
void MapTable(lua_State* L, int index, F&& value) {
  index = lua_absindex(L, index);
  lua_createtable(L, static_cast<int>(lua_rawlen(L, index)), 0);
  const int result = lua_gettop(L);
  lua_pushnil(L);
  while (lua_next(L, index)) {
    value();
    lua_pushvalue(L, -3);
    lua_insert(L, -2);  // key, element, key, new element
    lua_rawset(L, result);
    lua_pop(L, 1);
  }
  ShareMetatable(L, index);
}

}  // namespace fermix
