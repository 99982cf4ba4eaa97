#include "atomic/angular_momentum_script.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "atomic/angular_momentum.h"

namespace fermix {

namespace {

bool QInteger(double x) { return std::fabs(std::round(x) - x) < 10 * DBL_EPSILON * std::fabs(x) + DBL_MIN; }

// The nearest integer, whose double fits as well.
int ToInteger(lua_State* L, double x) {
  if (!(std::fabs(x) <= 1e9)) ScriptError(L, "angular momentum %g is too large\n", x);
  return static_cast<int>(std::round(x));
}

// A value that could be computed.
int PushSymbol(lua_State* L, double value) {
  if (std::isnan(value)) luaL_error(L, "the angular momenta of a 3j symbol are too large\n");
  return lua_push(L, value);
}

// A list {j, m}.
void CheckPair(lua_State* L, int index, double& j, double& m) {
  luaL_checktype(L, index, LUA_TTABLE);
  lua_rawgeti(L, index, 1);
  lua_check(L, -1, j);
  lua_rawgeti(L, index, 2);
  lua_check(L, -1, m);
  lua_pop(L, 2);
}

}  // namespace

int LuaThreeJSymbol(lua_State* L) {
  double v[6];
  for (int i = 0; i < 3; ++i) CheckPair(L, i + 1, v[2 * i], v[2 * i + 1]);

  const auto integers = [&](double factor) {
    return std::all_of(v, v + 6, [&](double x) { return QInteger(factor * x); });
  };
  const auto integer = [&](double x) { return ToInteger(L, x); };
  if (integers(1))
    return PushSymbol(L, ThreeJSymbol(integer(v[0]), integer(v[1]), integer(v[2]), integer(v[3]),
                                      integer(v[4]), integer(v[5])));
  if (!integers(2))
    return luaL_error(L,
                      "ThreeJSymbol expects 6 angular momentum as input that need to be integer or half "
                      "integer values");
  const auto twice = [&](double x) { return ToInteger(L, 2 * x); };
  return PushSymbol(
      L, ThreeJSymbolHalf(twice(v[0]), twice(v[1]), twice(v[2]), twice(v[3]), twice(v[4]), twice(v[5])));
}

// {l1, m1}, {k, q}, {l2, m2}, or k, {l1, m1}, {l2, m2} with q = m1 - m2.
int LuaSlaterCoefficientC(lua_State* L) {
  double k, q, l1, m1, l2, m2;
  if (lua_istable(L, 1)) {
    CheckPair(L, 1, l1, m1);
    CheckPair(L, 2, k, q);
  } else {
    lua_check(L, 1, k);
    CheckPair(L, 2, l1, m1);
  }
  CheckPair(L, 3, l2, m2);
  if (!lua_istable(L, 1)) q = m1 - m2;
  for (double x : {k, q, l1, m1, l2, m2})
    if (!QInteger(x))
      return luaL_error(L,
                        "math.SlaterCoefficientC expects 6 angular momentum as input that need to be "
                        "integer values");

  const long long K = ToInteger(L, k), L1 = ToInteger(L, l1), L2 = ToInteger(L, l2);
  const long long M1 = ToInteger(L, m1), M2 = ToInteger(L, m2);
  const bool forbidden =
      ToInteger(L, q) != M1 - M2 || L1 + L2 < K || std::abs(L1 - L2) > K || (L1 + L2 + K) % 2 != 0;
  if (forbidden) return lua_push(L, 0.0);
  const auto i = [](long long n) { return static_cast<int>(n); };
  return PushSymbol(L, SlaterCoefficientC(i(K), i(L1), i(M1), i(L2), i(M2)));
}

}  // namespace fermix
