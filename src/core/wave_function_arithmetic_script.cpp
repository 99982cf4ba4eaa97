#include "core/wave_function_arithmetic_script.h"

#include <cfloat>
#include <cmath>

#include "core/method_script.h"
#include "core/space_script.h"

namespace fermix {

namespace {

constexpr const char* SpaceFormat = "%s different number of %s in the basis (%d) and (%d)";

}  // namespace

int PushScaled(lua_State* L, const WaveFunctionType& psi, Complex16 factor, const char* outOfMemory) {
  return lua_push(L, OrScriptError(outOfMemory, [&] {
                    WaveFunctionType result = WaveFunctionCopy(psi);
                    WaveFunctionMultiply(result, factor.re, factor.im);
                    return result;
                  }));
}

int LuaWavefunctionAdd(lua_State* L) {
  if (lua_gettop(L) > 2)
    return luaL_error(L, "Error in __add found 3 arguments, wheras a + b should only have two arguments\n");
  const auto &a = *CheckRecord<WaveFunctionType>(L, 1), &b = *CheckRecord<WaveFunctionType>(L, 2);
  CheckSameSpace(L, Layout(a), Layout(b), "Adding two wave-funcitons with", SpaceFormat);

  return lua_push(L, OrScriptError("out of memory when adding two wavefunctions", [&] {
                    WaveFunctionType result = WaveFunctionCopy(a);
                    WaveFunctionAddUnionBasis(result, b);
                    return result;
                  }));
}

int LuaWavefunctionSubMin(lua_State* L) {
  if (lua_gettop(L) > 2)
    return luaL_error(L, "Error in __sub found 3 arguments, wheras a - b should only have two arguments\n");
  const auto &a = *CheckRecord<WaveFunctionType>(L, 1), &b = *CheckRecord<WaveFunctionType>(L, 2);
  CheckSameSpace(L, Layout(a), Layout(b), "Subtracting two wave-funcitons with", SpaceFormat);

  return lua_push(L, OrScriptError("out of memory when subtracting two wavefunctions", [&] {
                    WaveFunctionType result = WaveFunctionCopy(a);
                    WaveFunctionAddMultipliedUnionBasis(result, b, -1);
                    return result;
                  }));
}

int LuaWavefunctionDiv(lua_State* L) {
  // The texts on the left operand are those of operators, also here.
  if (luaL_isType<Complex16>(L, 1)) return luaL_error(L, "Error, number devided by an operator\n");
  if (lua_istable(L, 1)) return luaL_error(L, "Error, table devided by an operator\n");
  if (!TestRecord<WaveFunctionType>(L, 1) || !luaL_isType<Complex16>(L, 2))
    return luaL_error(L, "Error, wavefunction devided by an object of unrecognized type\n");
  const WaveFunctionType& psi = *CheckRecord<WaveFunctionType>(L, 1);
  const Complex16 factor =
      CheckDivisor(L, 2, "Error, wavefunction devided by a number that is not a number\n");
  if (!std::isfinite(factor.re) || !std::isfinite(factor.im))
    return luaL_error(L, "Error, wavefunction devided by zero\n");
  return PushScaled(L, psi, factor,
                    TestRecord<Complex16>(L, 2)
                        ? "out of memory when deviding a wavefunction by a complex number"
                        : "out of memory when deviding a wavefunction by a number");
}

int LuaWavefunctionUnm(lua_State* L) {
  return PushScaled(L, *CheckRecord<WaveFunctionType>(L, 1), -1,
                    "out of memory when multipling a wavefunction with a number");
}

int LuaWavefunctionEq(lua_State* L) {
  const auto &a = *CheckRecord<WaveFunctionType>(L, 1), &b = *CheckRecord<WaveFunctionType>(L, 2);
  bool equal = Layout(a) == Layout(b);
  if (equal) {
    WaveFunctionType difference = WaveFunctionCopy(a);
    WaveFunctionAddMultipliedUnionBasis(difference, b, -1);
    equal = WaveFunctionCalculateNormSqr(difference) <= DBL_MIN;
  }
  lua_pushboolean(L, equal);
  return 1;
}

}  // namespace fermix
