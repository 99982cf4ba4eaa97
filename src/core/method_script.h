// What the script faces of records share: methods as closures over their object, and memory that runs out.
#pragma once

#include <cmath>

#include "host/script.h"

namespace fermix {

// The most orbitals and modes together that a state has.
inline constexpr int MaxStateParticles = 65535;

// A row of a type's list of methods.
struct ScriptMethod {
  const char* key;
  lua_CFunction function;
};

// Pushes the method of that name, if there is one, as a closure over the object at index 1.
template <std::size_t N>
bool PushMethod(lua_State* L, const ScriptMethod (&methods)[N], const std::string& key) {
  for (const ScriptMethod& method : methods) {
    if (key != method.key) continue;
    lua_pushvalue(L, 1);
    lua_pushcclosure(L, method.function, 1);
    return true;
  }
  return false;
}

// The object of a running method.
template <class T>
T& MethodSelf(lua_State* L) {
  T* self = TestRecord<T>(L, lua_upvalueindex(1));
  if (!self) ScriptError(L, "%s expected, object has been released", ScriptType<T>::name);
  return *self;
}

// Runs step; memory that runs out in it becomes the script error text.
template <class Step>
auto OrScriptError(const char* text, Step&& step) {
  try {
    return step();
  } catch (const std::bad_alloc&) {
    throw OutOfMemory(text);
  }
}

// Keeps the collector, and with it finalisers of the script, from running while records are in use that only
// a table of the script holds.
class CollectorPause {
 public:
  explicit CollectorPause(lua_State* L) : L_(lua_gc(L, LUA_GCISRUNNING, 0) ? L : nullptr) {
    if (L_) lua_gc(L_, LUA_GCSTOP, 0);
  }
  ~CollectorPause() {
    if (L_) lua_gc(L_, LUA_GCRESTART, 0);
  }
  CollectorPause(const CollectorPause&) = delete;
  CollectorPause& operator=(const CollectorPause&) = delete;

 private:
  lua_State* L_;
};

inline bool QNaN(Complex16 z) { return std::isnan(z.re) || std::isnan(z.im); }

// The number at index; not-a-number would silently spoil all that it meets, and gives the error text.
inline Complex16 CheckNumber(lua_State* L, int index, const char* text) {
  Complex16 z;
  lua_check(L, index, z);
  if (QNaN(z)) luaL_error(L, "%s", text);
  return z;
}

// 1 / z for the number z at index. A zero without imaginary part, also of Complex_Type, gives infinity.
inline Complex16 CheckDivisor(lua_State* L, int index, const char* text) {
  const Complex16 z = CheckNumber(L, index, text);
  return z.im == 0 ? Complex16(1 / z.re) : Complex16(1) / z;
}

// A finite or infinite threshold; not-a-number would silently drop everything.
inline double CheckThreshold(lua_State* L, int index) {
  const double x = luaL_checknumber(L, index);
  if (std::isnan(x)) luaL_argerror(L, index, "number expected, got nan");
  return x;
}

// The number at index rounded to the nearest integer, saturated; a fraction of half goes to the even one.
inline int CheckRounded(lua_State* L, int index) {
  int value = 0;
  lua_check(L, index, value);
  return value;
}

// Nearest integer if x is one up to rounding noise; false otherwise, also for not-a-number.
inline bool QInteger(double x) { return std::fabs(x - std::nearbyint(x)) <= 2.220446049250313e-15; }

}  // namespace fermix
