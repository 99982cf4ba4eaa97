#include "host/complex_operands_script.h"

#include "core/operator_algebra.h"
#include "core/operator_script.h"
#include "core/wave_function_script.h"
#include "linalg/matrix_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

using enum ArithmeticOp;

void PushWithOperator(lua_State* L, ArithmeticOp op, Complex16 z, const OperatorType& O) {
  if (op == Div || op == Pow) ScriptError(L, "Error: complex number %s operator\n", Word(op));
  OperatorType result = O;
  if (op == Mul) OperatorScale(result, z);
  if (op == Sub) OperatorScale(result, -1);
  if (op != Mul) OperatorAddConstant(result, z);
  lua_push(L, std::move(result));
}

void PushWithState(lua_State* L, ArithmeticOp op, Complex16 z, const WaveFunctionType& psi) {
  if (op != Mul) ScriptError(L, "Error: complex number %s wavefunction\n", Word(op));
  WaveFunctionType result = WaveFunctionCopy(psi);
  WaveFunctionMultiply(result, z.re, z.im);
  lua_push(L, std::move(result));
}

// z m, or z times the inverse of m, in the form of m.
void PushWithMatrix(lua_State* L, ArithmeticOp op, Complex16 z, int index) {
  if (op != Mul && op != Div) ScriptError(L, "Error: complex number %s unrecognized userdata\n", Word(op));
  CompactMatrixType m = luaL_checkCompactMatrix(L, index);
  if (op == Mul) {
    CompactMatrixScaleComplex(m, z);
  } else {
    InvertOrError(L, m, z);
  }
  lua_push(L, std::move(m));
}

// The arithmetic of spectra knows numbers on its left.
void PushWithSpectra(lua_State* L, ArithmeticOp op, Complex16 z, int index) {
  constexpr lua_CFunction function[] = {Entry<LuaSpectraAdd>, Entry<LuaSpectraSub>, Entry<LuaSpectraMul>,
                                        Entry<LuaSpectraDiv>, Entry<LuaSpectraPow>};
  lua_pushcfunction(L, function[static_cast<int>(op)]);
  lua_pushcomplex(L, z);
  lua_pushvalue(L, index);
  lua_call(L, 2, 1);
}

}  // namespace

const char* TypeWord(lua_State* L, int index) {
  switch (lua_type(L, index)) {
    case LUA_TNONE:
    case LUA_TNIL:
      return "nil";
    case LUA_TBOOLEAN:
      return "boolean";
    case LUA_TLIGHTUSERDATA:
      return "lightuserdata";
    case LUA_TSTRING:
      return "character string";
    case LUA_TUSERDATA:
      return "unrecognized userdata";
    default:
      return "unrecognized type";
  }
}

void PushComplexOpRecord(lua_State* L, ArithmeticOp op, Complex16 z, int index) {
  index = lua_absindex(L, index);
  if (const auto* O = TestRecord<OperatorType>(L, index)) {
    PushWithOperator(L, op, z, *O);
  } else if (const auto* psi = TestRecord<WaveFunctionType>(L, index)) {
    PushWithState(L, op, z, *psi);
  } else if (TestRecord<SpectraTypeArray>(L, index)) {
    PushWithSpectra(L, op, z, index);
  } else if (TestRecord<CompactMatrixType>(L, index) || QMatrixTable(L, index)) {
    PushWithMatrix(L, op, z, index);
  } else {
    ScriptError(L, "Error: complex number %s unrecognized userdata\n", Word(op));
  }
}

}  // namespace fermix
