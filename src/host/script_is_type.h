// luaL_isType: whether lua_check would succeed, for scalars, records and arrays.
#pragma once

namespace fermix {

namespace detail {
template <class T>
struct ScriptTest {  // records
  static bool Holds(lua_State* L, int index) { return TestRecord<T>(L, index) != nullptr; }
};
template <>
struct ScriptTest<double> {
  static bool Holds(lua_State* L, int index) { return lua_isnumber(L, index); }
};
template <>
struct ScriptTest<Complex16> {
  static bool Holds(lua_State* L, int index) {
    return lua_isnumber(L, index) || TestRecord<Complex16>(L, index) != nullptr;
  }
};
template <>
struct ScriptTest<std::string> {
  static bool Holds(lua_State* L, int index) { return lua_isstring(L, index); }
};
template <class T>
struct ScriptTest<std::vector<T>> {
  static bool Holds(lua_State* L, int index) {
    if (!lua_istable(L, index)) return ScriptTest<T>::Holds(L, index);
    if (!lua_checkstack(L, 3)) return false;
    const int length = ListLength(L, index);
    for (int i = 1; i <= length; ++i) {
      PushListElement(L, index, i);
      const bool holds = ScriptTest<T>::Holds(L, -1);
      lua_pop(L, 1);
      if (!holds) return false;
    }
    return length > 0;
  }
};
}  // namespace detail

template <class T>
bool luaL_isType(lua_State* L, int index) {
  return detail::ScriptTest<T>::Holds(L, index);
}

}  // namespace fermix
