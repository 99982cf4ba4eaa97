#include "host/complex_script.h"

#include <cctype>
#include <cmath>
#include <limits>

#include "host/complex_operands_script.h"
#include "host/table_walk.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

using enum ArithmeticOp;

// --- Numbers

Complex16 Product(Complex16 a, Complex16 b) {
  return {std::fma(a.re, b.re, -(a.im * b.im)), std::fma(a.re, b.im, a.im * b.re)};
}

// x conj(z) / |z|^2, and Smith's rule where one of its products leaves the range of normal numbers.
Complex16 RealQuotient(double x, Complex16 z) {
  const double norm = NormSqr(z), re = x * z.re, im = -x * z.im;
  if (std::isnormal(norm) && std::isnormal(std::fmax(std::fabs(re), std::fabs(im))))
    return {re / norm, im / norm};
  return Complex16(x) / z;
}

Complex16 Apply(ArithmeticOp op, Complex16 a, Complex16 b) {
  switch (op) {
    case Add:
      return a + b;
    case Sub:
      return a - b;
    case Mul:
      return Product(a, b);
    case Div:
      return a / b;
    case Pow:
      break;
  }
  return Cpow(a, b);
}

Complex16 Apply(ArithmeticOp op, double x, Complex16 z) {
  if (op == Div) return RealQuotient(x, z);
  if (op == Pow) {
    const double logx = std::log(x), magnitude = std::exp(z.re * logx), phase = z.im * logx;
    return {magnitude * std::cos(phase), magnitude * std::sin(phase)};
  }
  return op == Mul ? x * z : Apply(op, Complex16(x), z);
}

Complex16 Apply(ArithmeticOp op, Complex16 z, double x) {
  switch (op) {
    case Mul:
      return z * x;
    case Div:
      return z / x;
    case Pow:
      return Cpowd(z, x);
    default:
      return Apply(op, z, Complex16(x));
  }
}

// --- Operands of a script

[[noreturn]] void RefuseLeft(lua_State* L, ArithmeticOp op, int left) {
  ScriptError(L, "Error: %s %s complex number\n", TypeWord(L, left), Word(op));
}

[[noreturn]] void RefuseRight(lua_State* L, ArithmeticOp op, int right) {
  const bool bare = op == Pow && lua_type(L, right) == LUA_TSTRING;  // the one text without "character"
  ScriptError(L, "Error: complex number %s %s\n", Word(op), bare ? "string" : TypeWord(L, right));
}

constexpr const char* eventName[] = {"__add", "__sub", "__mul", "__div", "__pow"};

// Lets the left operand's own metamethod do the work, if it has one.
bool CallOwnMetamethod(lua_State* L, ArithmeticOp op, int left, int right) {
  if (!luaL_getmetafield(L, left, eventName[static_cast<int>(op)])) return false;
  lua_pushvalue(L, left);
  lua_pushvalue(L, right);
  lua_call(L, 2, 1);
  return true;
}

void Combine(lua_State* L, ArithmeticOp op, int left, int right, int depth, TableWalk& walk);

void CombineTable(lua_State* L, ArithmeticOp op, int left, int right, bool tableLeft, int depth,
                  TableWalk& walk) {
  walk.Enter(L, tableLeft ? left : right, depth);
  MapTable(L, tableLeft ? left : right, [&] {
    const int element = lua_gettop(L);
    Combine(L, op, tableLeft ? element : left, tableLeft ? right : element, depth + 1, walk);
  });
}

void CombineComplexLeft(lua_State* L, ArithmeticOp op, Complex16 a, int left, int right, int depth,
                        TableWalk& walk) {
  switch (lua_type(L, right)) {
    case LUA_TNUMBER:
      lua_pushcomplex(L, Apply(op, a, lua_tonumber(L, right)));
      return;
    case LUA_TTABLE:
      if (op == Div && QMatrixTable(L, right)) return PushComplexOpRecord(L, op, a, right);
      return CombineTable(L, op, left, right, false, depth, walk);
    case LUA_TUSERDATA:
      if (const Complex16* b = TestRecord<Complex16>(L, right)) {
        lua_pushcomplex(L, Apply(op, a, *b));
        return;
      }
      return PushComplexOpRecord(L, op, a, right);
    default:
      RefuseRight(L, op, right);
  }
}

void CombineComplexRight(lua_State* L, ArithmeticOp op, int left, int right, Complex16 b, int depth,
                         TableWalk& walk) {
  if (lua_type(L, left) == LUA_TNUMBER) {
    lua_pushcomplex(L, Apply(op, lua_tonumber(L, left), b));
  } else if (lua_istable(L, left) || lua_isuserdata(L, left)) {
    if (CallOwnMetamethod(L, op, left, right)) return;
    if (!lua_istable(L, left)) RefuseLeft(L, op, left);
    CombineTable(L, op, left, right, true, depth, walk);
  } else {
    RefuseLeft(L, op, left);
  }
}

// Pushes left op right, one of which is complex; the other may be a table of operands. Indices are absolute.
void Combine(lua_State* L, ArithmeticOp op, int left, int right, int depth, TableWalk& walk) {
  if (const Complex16* a = TestRecord<Complex16>(L, left)) {
    CombineComplexLeft(L, op, *a, left, right, depth, walk);
  } else {
    CombineComplexRight(L, op, left, right, *CheckRecord<Complex16>(L, right), depth, walk);
  }
}

template <ArithmeticOp op>
int LuaComplexArithmetic(lua_State* L) {
  lua_settop(L, 2);
  TableWalk walk;
  Combine(L, op, 1, 2, 0, walk);
  return 1;
}

int LuaComplexUnm(lua_State* L) { return lua_pushcomplex(L, -*CheckRecord<Complex16>(L, 1)); }

int LuaComplexEq(lua_State* L) {
  const Complex16 *a = TestRecord<Complex16>(L, 1), *b = TestRecord<Complex16>(L, 2);
  lua_pushboolean(L, a && b && *a == *b);
  return 1;
}

// The part of z that a key names by its first letter, null for any other key.
double* Part(lua_State* L, Complex16& z, int key) {
  const char* name = lua_tostring(L, key);
  switch (name ? std::tolower(static_cast<unsigned char>(name[0])) : 0) {
    case 'r':
      return &z.re;
    case 'i':
      return &z.im;
    default:
      return nullptr;
  }
}

int LuaComplexIndex(lua_State* L) {
  const double* part = Part(L, *CheckRecord<Complex16>(L, 1), 2);
  if (!part) return luaL_error(L, "Error Complex variable not found");
  return lua_push(L, *part);
}

int LuaComplexNewIndex(lua_State* L) {
  double* part = Part(L, *CheckRecord<Complex16>(L, 1), 2);
  if (!part) ScriptError(L, "Error index %s not found in Complex Object\n", luaL_tolstring(L, 2, nullptr));
  *part = lua_tonumber(L, 3);  // 0 for what is no number
  return 0;
}

int LuaComplexToString(lua_State* L) {
  const Complex16 z = *CheckRecord<Complex16>(L, 1);
  if (z.im == 0) {
    lua_pushfstring(L, "%f", z.re);
  } else if (z.im < 0) {
    lua_pushfstring(L, "(%f - %f I)", z.re, -z.im);
  } else {
    lua_pushfstring(L, "(%f + %f I)", z.re, z.im);
  }
  return 1;
}

// --- The table Complex

int LuaComplexNew(lua_State* L) {
  Complex16 z;
  lua_check(L, 1, z.re);
  lua_check(L, 2, z.im);
  return lua_pushcomplex(L, z);
}

int LuaComplexI(lua_State* L) { return lua_pushcomplex(L, {0, 1}); }

int LuaComplexExp(lua_State* L) { return lua_pushcomplex(L, Exp(*CheckRecord<Complex16>(L, 1))); }

Complex16 CheckComplexForPart(lua_State* L) {
  if (!luaL_isType<Complex16>(L, 1)) luaL_error(L, "Can only take complex part of (complex) numbers");
  Complex16 z;
  lua_check(L, 1, z);
  return z;
}
int LuaComplexRe(lua_State* L) { return lua_push(L, CheckComplexForPart(L).re); }
int LuaComplexIm(lua_State* L) { return lua_push(L, CheckComplexForPart(L).im); }

constexpr luaL_Reg complexMetamethods[] = {{"__add", Entry<LuaComplexArithmetic<Add>>},
                                           {"__sub", Entry<LuaComplexArithmetic<Sub>>},
                                           {"__mul", Entry<LuaComplexArithmetic<Mul>>},
                                           {"__div", Entry<LuaComplexArithmetic<Div>>},
                                           {"__pow", Entry<LuaComplexArithmetic<Pow>>},
                                           {"__unm", Entry<LuaComplexUnm>},
                                           {"__eq", Entry<LuaComplexEq>},
                                           {"__index", Entry<LuaComplexIndex>},
                                           {"__newindex", Entry<LuaComplexNewIndex>},
                                           {"__tostring", Entry<LuaComplexToString>},
                                           {nullptr, nullptr}};

constexpr luaL_Reg complexFunctions[] = {{"New", Entry<LuaComplexNew>}, {"I", Entry<LuaComplexI>},
                                         {"Exp", Entry<LuaComplexExp>}, {"Re", Entry<LuaComplexRe>},
                                         {"re", Entry<LuaComplexRe>},   {"Im", Entry<LuaComplexIm>},
                                         {"im", Entry<LuaComplexIm>},   {nullptr, nullptr}};

}  // namespace

void luaopen_Complex(lua_State* L) {
  RegisterMetatable(L, ScriptType<Complex16>::name, complexMetamethods);
  RegisterTable(L, "Complex", complexFunctions);
}

void luaconstants(lua_State* L) {
  lua_pushcomplex(L, {0, 1});
  lua_setglobal(L, "I");
  constexpr struct {
    const char* name;
    double value;
  } constants[] = {{"Pi", 3.141592653589793},
                   {"pi", 3.141592653589793},
                   {"E", 2.718281828459045},
                   {"e", 2.718281828459045},
                   {"inf", std::numeric_limits<double>::infinity()},
                   // As they stand in files of values
                   {"INF", std::numeric_limits<double>::infinity()},
                   {"NAN", std::numeric_limits<double>::quiet_NaN()}};
  for (const auto& constant : constants) {
    lua_pushnumber(L, constant.value);
    lua_setglobal(L, constant.name);
  }
}

}  // namespace fermix
