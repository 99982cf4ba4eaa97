#include "host/math_script.h"

#include <cmath>

#include "core/operator_script.h"

namespace fermix {

namespace {

int LuaAbs(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1)) return lua_push(L, Abs(*z));
  return lua_push(L, std::fabs(luaL_checknumber(L, 1)));
}

int LuaExp(lua_State* L) {
  if (TestRecord<OperatorType>(L, 1)) return LuaOperatorExp(L);
  if (const Complex16* z = TestRecord<Complex16>(L, 1)) return lua_pushcomplex(L, Exp(*z));
  return lua_push(L, std::exp(luaL_checknumber(L, 1)));
}

// The root with a non-negative real part. The part that is a sum of magnitudes comes first, the other one
// from the product of both, im / 2, so that nothing cancels.
Complex16 Sqrt(Complex16 z) {
  const double larger = std::sqrt((Abs(z) + std::fabs(z.re)) / 2);
  if (larger == 0) return 0;
  const double smaller = std::fabs(z.im) / (2 * larger);
  return z.re >= 0 ? Complex16(larger, std::copysign(smaller, z.im))
                   : Complex16(smaller, std::copysign(larger, z.im));
}

int LuaSqrt(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1)) return lua_pushcomplex(L, Sqrt(*z));
  const double x = luaL_checknumber(L, 1);
  return x < 0 ? lua_pushcomplex(L, {0, std::sqrt(-x)}) : lua_push(L, std::sqrt(x));
}

constexpr luaL_Reg mathFunctions[] = {
    {"abs", Entry<LuaAbs>},   {"Abs", Entry<LuaAbs>},   {"exp", Entry<LuaExp>}, {"Exp", Entry<LuaExp>},
    {"sqrt", Entry<LuaSqrt>}, {"Sqrt", Entry<LuaSqrt>}, {nullptr, nullptr}};

}  // namespace

void RegisterMath(lua_State* L, const luaL_Reg* functions) {
  lua_getglobal(L, "math");
  luaL_setfuncs(L, mathFunctions, 0);
  luaL_setfuncs(L, functions, 0);
  lua_pop(L, 1);
}

void SetMathGlobals(lua_State* L) {
  lua_getglobal(L, "math");
  lua_pushnil(L);
  while (lua_next(L, -2)) lua_setglobal(L, lua_tostring(L, -2));
  lua_pop(L, 1);
}

}  // namespace fermix
