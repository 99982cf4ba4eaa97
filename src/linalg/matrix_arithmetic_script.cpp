#include "linalg/matrix_arithmetic_script.h"

#include <cmath>

#include "linalg/matrix_functions.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

// A number or a Complex_Type; strings are no operands.
bool QScalar(lua_State* L, int index) {
  return lua_type(L, index) == LUA_TNUMBER || TestRecord<Complex16>(L, index);
}

Complex16 Scalar(lua_State* L, int index) {
  Complex16 z;
  lua_check(L, index, z);
  return z;
}

void CheckOperand(lua_State* L, int index, const char* operation) {
  if (QScalar(L, index) || QMatrixOrTable(L, index)) return;
  if (index == 1)
    luaL_error(L, "Unrecognized type (%d) at position one of %s \n", lua_type(L, index), operation);
  luaL_error(L, "Unrecognized type (%s) at position two of %s \n", luaL_typename(L, index), operation);
}

int PushScaled(lua_State* L, CompactMatrixType m, Complex16 z) {
  CompactMatrixScaleComplex(m, z);
  return lua_push(L, std::move(m));
}

int PushProduct(lua_State* L, const CompactMatrixType& a, const CompactMatrixType& b) {
  if (a.Nj != b.Ni)
    ScriptError(
        L,
        "Matrix multiplication requirs the number of columns of the left matrix (%d) to be equal to the "
        "number of rows (%d) of the right matrix\n",
        static_cast<int>(a.Nj), static_cast<int>(b.Ni));
  CompactMatrixType product;
  if (CompactMatrixMultiply('N', 'N', a, b, product)) return luaL_error(L, "Matrix multiplication failed\n");
  product.IsUserdata = a.IsUserdata || b.IsUserdata;
  return lua_push(L, std::move(product));
}

// a + sign b
int PushSum(lua_State* L, const char* word, double sign) {
  MatrixArgument a(L, 1);
  const MatrixArgument b(L, 2);
  if (a->Ni != b->Ni || a->Nj != b->Nj)
    ScriptError(L, "Error: dimensions of matrix A (%d %d) and B (%d %d) in %s not equivalent\n",
                static_cast<int>(a->Ni), static_cast<int>(a->Nj), static_cast<int>(b->Ni),
                static_cast<int>(b->Nj), word);
  CompactMatrixType sum = std::move(a).Take();
  if (CompactMatrixAdd(sum, *b, sign)) return luaL_error(L, "Matrix addition failed\n");
  sum.IsUserdata |= b->IsUserdata;
  return lua_push(L, std::move(sum));
}

// Whether x is an integer up to rounding; false for infinity and not-a-number.
bool QIntegerPower(double x) {
  return std::fabs(x - std::rint(x)) <= std::fabs(x) * 2.220446049250313e-15 + NumericalZero;
}

}  // namespace

int LuaMatrixUnm(lua_State* L) { return PushScaled(L, luaL_checkCompactMatrix(L, 1), -1); }
int LuaMatrixAdd(lua_State* L) { return PushSum(L, "A+B", 1); }
int LuaMatrixSub(lua_State* L) { return PushSum(L, "A-B", -1); }

int LuaMatrixMul(lua_State* L) {
  CheckOperand(L, 1, "multiplication");
  CheckOperand(L, 2, "multiplication");
  if (QScalar(L, 1)) return PushScaled(L, luaL_checkCompactMatrix(L, 2), Scalar(L, 1));
  if (QScalar(L, 2)) return PushScaled(L, luaL_checkCompactMatrix(L, 1), Scalar(L, 2));
  return PushProduct(L, *MatrixArgument(L, 1), *MatrixArgument(L, 2));
}

int LuaMatrixDiv(lua_State* L) {
  CheckOperand(L, 1, "division");
  CheckOperand(L, 2, "division");
  if (QScalar(L, 2)) {
    const Complex16 z = Scalar(L, 2);
    return PushScaled(L, luaL_checkCompactMatrix(L, 1), z.im == 0 ? 1 / z.re : Complex16(1) / z);
  }
  CompactMatrixType inverse = luaL_checkCompactMatrix(L, 2);
  if (QScalar(L, 1)) {
    InvertOrError(L, inverse, Scalar(L, 1));
    return lua_push(L, std::move(inverse));
  }
  const MatrixArgument a(L, 1);
  InvertOrError(L, inverse);
  return PushProduct(L, *a, inverse);
}

int LuaMatrixPow(lua_State* L) {
  const MatrixArgument m(L, 1);
  const double x = luaL_checknumber(L, 2);
  if (!QIntegerPower(x)) return luaL_error(L, "Matrix power only works on integers\n");
  if (m->Ni != m->Nj) return luaL_error(L, "Matrix power only works on square matrices\n");
  constexpr double largest = 9e18;  // fits 64 bits; no power beyond is anything but 0, 1 or infinite
  CompactMatrixType power;
  if (std::fabs(x) > largest || CompactMatrixPow(*m, power, std::llrint(x)))
    return luaL_error(L, "Matrix power failed\n");
  power.IsUserdata = m->IsUserdata;
  return lua_push(L, std::move(power));
}

int LuaMatrixEq(lua_State* L) {
  lua_pushboolean(L, QCompactMatrixEqual(*MatrixArgument(L, 1), *MatrixArgument(L, 2)));
  return 1;
}

int LuaMatrixLen(lua_State* L) { return lua_push(L, double(CheckRecord<CompactMatrixType>(L, 1)->Ni)); }

// math.Dot(a, b)
int LuaDot(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  luaL_checktype(L, 2, LUA_TTABLE);
  return PushProduct(L, *MatrixArgument(L, 1), *MatrixArgument(L, 2));
}

}  // namespace fermix
