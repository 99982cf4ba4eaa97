#include "core/operator_arithmetic_script.h"

#include <cfloat>

#include "core/method_script.h"
#include "core/operator_algebra.h"
#include "core/operator_script.h"
#include "core/space_script.h"

namespace fermix {

namespace {

constexpr const char* AddedNaN = "Error, operator added to a number that is not a number\n";

// a + sign b, where a number stands for its multiple of the identity.
int PushSum(lua_State* L, double sign) {
  if (luaL_isType<Complex16>(L, 1)) {
    const Complex16 z = CheckNumber(L, 1, AddedNaN);
    OperatorType result = *CheckRecord<OperatorType>(L, 2);
    if (sign < 0) OperatorScale(result, -1);
    OperatorAddConstant(result, z);
    return lua_push(L, std::move(result));
  }
  const OperatorType& A = *CheckRecord<OperatorType>(L, 1);
  if (luaL_isType<Complex16>(L, 2)) {
    const Complex16 z = CheckNumber(L, 2, AddedNaN);
    OperatorType result = A;
    OperatorAddConstant(result, sign * z);
    return lua_push(L, std::move(result));
  }
  const OperatorType& B = *CheckRecord<OperatorType>(L, 2);
  CheckSameSpace(L, A.layout, B.layout, "Adding two operators with");
  OperatorType result = A;
  OperatorAdd(result, B, sign);
  return lua_push(L, std::move(result));
}

}  // namespace

int LuaOperatorAdd(lua_State* L) { return PushSum(L, 1); }
int LuaOperatorSub(lua_State* L) { return PushSum(L, -1); }

int LuaOperatorDiv(lua_State* L) {
  if (luaL_isType<Complex16>(L, 1)) return luaL_error(L, "Error, number devided by an operator\n");
  if (lua_istable(L, 1)) return luaL_error(L, "Error, table devided by an operator\n");
  if (!TestRecord<OperatorType>(L, 1) || !luaL_isType<Complex16>(L, 2))
    return luaL_error(L, "Error, operator devided by an object of unrecognized type\n");
  const Complex16 factor = CheckDivisor(L, 2, "Error, operator devided by a number that is not a number\n");
  OperatorType result = *CheckRecord<OperatorType>(L, 1);
  OperatorScale(result, factor);
  return lua_push(L, std::move(result));
}

int LuaOperatorUnm(lua_State* L) {
  OperatorType result = *CheckRecord<OperatorType>(L, 1);
  OperatorScale(result, -1);
  return lua_push(L, std::move(result));
}

int LuaOperatorEq(lua_State* L) {
  const OperatorType &A = *CheckRecord<OperatorType>(L, 1), &B = *CheckRecord<OperatorType>(L, 2);
  lua_pushboolean(L, A.layout == B.layout && QOperatorEqual(A, B, DBL_MIN));
  return 1;
}

}  // namespace fermix
