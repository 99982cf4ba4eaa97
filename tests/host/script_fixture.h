// A Lua state with complex numbers, in which tests register functions and run lines of a script.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "host/complex_script.h"
#include "host/script.h"

namespace fermix {

class Script : public testing::Test {
 protected:
  Script() : L(luaL_newstate()) {
    luaL_openlibs(L);
    luaopen_Complex(L);
    luaconstants(L);
  }
  ~Script() override { lua_close(L); }

  void Function(const char* name, lua_CFunction f) {
    lua_pushcfunction(L, f);
    lua_setglobal(L, name);
  }
  // Runs source; gives the text of its first result, or of the error it raised.
  std::string Run(const std::string& source) {
    lua_settop(L, 0);
    if (luaL_loadstring(L, source.c_str()) == LUA_OK) lua_pcall(L, 0, 1, 0);
    if (lua_gettop(L) == 0) return "";
    std::size_t length = 0;
    const char* text = luaL_tolstring(L, -1, &length);
    return WithoutFunctionName({text, length});
  }

  // Lua names a function that pcall calls by a search through the globals, in no fixed order.
  static std::string WithoutFunctionName(const std::string& text) {
    const std::size_t name = text.find(" to '"), end = text.find("' (");
    if (name == std::string::npos || end == std::string::npos) return text;
    return text.substr(0, name + 5) + "?" + text.substr(end);
  }

  lua_State* L;
};

}  // namespace fermix
