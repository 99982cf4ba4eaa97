// Recursion over nested script tables, with a bound that also refuses cyclic ones.
#pragma once

#include <unordered_set>

#include "host/script.h"

namespace fermix {

inline constexpr int MaxTableDepth = 200;

// Reserves the stack of one level of recursion.
inline void EnterTable(lua_State* L, int depth, int most = MaxTableDepth) {
  if (depth >= most)
    ScriptError(L, "Error: table nested deeper than %d levels, or containing itself\n", most);
  luaL_checkstack(L, 10, "table too deep");
}

// A walk over a value that visits a shared table once for each reference to it. Tables that hold each other
// twice would make a value of a few lines grow without end; the walk is bounded by what it meets again.
class TableWalk {
 public:
  static constexpr std::size_t MaxRepeated = 4000000;  // entries, far beyond data that shares some rows

  // For each table on the way, before its entries.
  void Enter(lua_State* L, int index, int depth) {
    EnterTable(L, depth);
    CountRepeated(L, index);
  }
  void CountRepeated(lua_State* L, int index) {
    if (met_.insert(lua_topointer(L, index)).second) return;
    index = lua_absindex(L, index);
    for (lua_pushnil(L); lua_next(L, index); lua_pop(L, 1)) ++repeated_;
    if (++repeated_ > MaxRepeated)
      ScriptError(L, "Error: tables shared inside of a table come to more than %d values\n",
                  static_cast<int>(MaxRepeated));
  }

 private:
  std::unordered_set<const void*> met_;
  std::size_t repeated_ = 0;
};

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
