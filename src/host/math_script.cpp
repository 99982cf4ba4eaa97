// The table math: functions that know complex numbers, the standard ones under their capital names, numbers
// that are integers, and the Mersenne twister.
#include "host/math_script.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <complex>
#include <limits>

#include "core/operator_script.h"
#include "host/base/status.h"
#include "host/mersenne_twister.h"

namespace fermix {

namespace {

// --- Elementary functions

std::complex<double> ToStd(Complex16 z) { return {z.re, z.im}; }
Complex16 FromStd(std::complex<double> z) { return {z.real(), z.imag()}; }

// A function of numbers and of complex numbers. The complex forms are those of the C library: each part is
// right to a few units in its last place, also where the addition formulas overflow or cancel.
template <class F>
int LuaRealOrComplex(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1)) return lua_pushcomplex(L, FromStd(F::Of(ToStd(*z))));
  return lua_push(L, F::Of(luaL_checknumber(L, 1)));
}

// clang-format off
struct Cos { static auto Of(auto z) { return std::cos(z); } };
struct Sin { static auto Of(auto z) { return std::sin(z); } };
struct Tan { static auto Of(auto z) { return std::tan(z); } };
struct Cosh { static auto Of(auto z) { return std::cosh(z); } };
struct Sinh { static auto Of(auto z) { return std::sinh(z); } };
struct Tanh { static auto Of(auto z) { return std::tanh(z); } };
struct NaturalExp { static auto Of(auto z) { return std::exp(z); } };
struct Log10 { static auto Of(auto z) { return std::log10(z); } };
// clang-format on

int LuaAbs(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1)) return lua_push(L, Abs(*z));
  return lua_push(L, std::fabs(luaL_checknumber(L, 1)));
}

int LuaExp(lua_State* L) {
  return TestRecord<OperatorType>(L, 1) ? LuaOperatorExp(L) : LuaRealOrComplex<NaturalExp>(L);
}

// log(x [, base])
int LuaLog(lua_State* L) {
  const Complex16* z = TestRecord<Complex16>(L, 1);
  const double x = z ? 0 : luaL_checknumber(L, 1);
  const bool natural = lua_isnoneornil(L, 2);
  const double base = natural ? 0 : luaL_checknumber(L, 2);
  if (z) {
    const Complex16 result = FromStd(std::log(ToStd(*z)));
    return lua_pushcomplex(L, natural ? result : result / std::log(base));
  }
  if (natural) return lua_push(L, std::log(x));
  return lua_push(L, base == 10 ? std::log10(x) : std::log(x) / std::log(base));
}

int LuaSqrt(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1))
    return lua_pushcomplex(L, FromStd(std::sqrt(ToStd(*z))));
  const double x = luaL_checknumber(L, 1);
  return x < 0 ? lua_pushcomplex(L, {0, std::sqrt(-x)}) : lua_push(L, std::sqrt(x));
}

// z / |z|. The larger part is scaled to 1 first, so that the magnitude neither overflows nor underflows.
Complex16 Direction(Complex16 z) {
  const double larger = std::max(std::fabs(z.re), std::fabs(z.im));
  const Complex16 scaled(z.re / larger, z.im / larger);
  return scaled / Abs(scaled);
}

int LuaSign(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1))
    return *z == Complex16() ? lua_push(L, 0.0) : lua_pushcomplex(L, Direction(*z));
  const double x = luaL_checknumber(L, 1);
  return lua_push(L, static_cast<double>((x > 0) - (x < 0)));
}

// --- Integers

// The number at index cut towards 0; what 64 bits can't hold saturates, not-a-number is 0.
std::int64_t CheckInteger(lua_State* L, int index) {
  const double x = luaL_checknumber(L, index);
  if (std::isnan(x)) return 0;
  if (std::fabs(x) < 4e18) return static_cast<std::int64_t>(x);
  return x < 0 ? -4000000000000000000 : 4000000000000000000;
}

constexpr double inf = std::numeric_limits<double>::infinity();

// Both products carry more digits than a double, so that the result is the rounded exact value.
double Factorial(std::int64_t n) {
  constexpr std::int64_t largest = 170;  // of those below the largest double
  if (n > largest) return inf;
  long double product = 1;
  for (; n > 1; --n) product *= n;
  return static_cast<double>(product);
}

double BinomialCoefficient(std::int64_t n, std::int64_t k) {
  if (k < 0 || k > n) return 0;
  const std::int64_t smaller = std::min(k, n - k);
  long double product = 1;
  // Every factor is at least 2: an overflow ends the loop soon, whatever n is.
  for (std::int64_t i = 1; i <= smaller && product <= std::numeric_limits<double>::max(); ++i)
    product = product * (n - smaller + i) / i;
  return product <= std::numeric_limits<double>::max() ? static_cast<double>(product) : inf;
}

int LuaFactorial(lua_State* L) {
  if (lua_gettop(L) != 1) return luaL_error(L, "math.fact expects 1 parameter n");
  const std::int64_t n = CheckInteger(L, 1);
  if (n >= 0) return lua_push(L, Factorial(n));
  Say("Error Factorial called with a negative number\n");
  return lua_push(L, 0.0);
}

int LuaBinomial(lua_State* L) {
  if (lua_gettop(L) != 2) return luaL_error(L, "math.Binomial expects 2 parameters n and k");
  const std::int64_t n = CheckInteger(L, 1);
  return lua_push(L, BinomialCoefficient(n, CheckInteger(L, 2)));
}

// Remainder of x by 2 for an integer, not-a-number for any other number.
double Parity(double x) {
  return std::isfinite(x) && x == std::floor(x) ? std::fabs(std::fmod(x, 2)) : std::nan("");
}

int LuaIntegerQ(lua_State* L) { return lua_pushboolean(L, Parity(luaL_checknumber(L, 1)) >= 0), 1; }
int LuaEvenQ(lua_State* L) { return lua_pushboolean(L, Parity(luaL_checknumber(L, 1)) == 0), 1; }
int LuaOddQ(lua_State* L) { return lua_pushboolean(L, Parity(luaL_checknumber(L, 1)) == 1), 1; }

// --- Mersenne twister

// A random integer of a .. b
int LuaMersenneInt(lua_State* L) {
  if (lua_gettop(L) != 2) return luaL_error(L, "wrong number of arguments");
  const std::int64_t a = CheckInteger(L, 1), b = CheckInteger(L, 2);
  luaL_argcheck(L, a < b, 2, "interval is empty");
  const auto numbers = static_cast<std::uint64_t>(b - a) + 1;
  return lua_push(L,
                  static_cast<double>(static_cast<std::int64_t>(GlobalMersenneTwister.Draw() % numbers) + a));
}

// On [0, 1], [0, 1) and (0, 1): 32 bits divided by 2^32 - 1 and by 2^32.
int LuaMersenneReal1(lua_State* L) {
  return lua_push(L, GlobalMersenneTwister.Draw() * 2.3283064370807974e-10);
}
int LuaMersenneReal2(lua_State* L) {
  return lua_push(L, GlobalMersenneTwister.Draw() * 2.3283064365386963e-10);
}
int LuaMersenneReal3(lua_State* L) {
  return lua_push(L, (GlobalMersenneTwister.Draw() + 0.5) * 2.3283064365386963e-10);
}

// --- Registration

constexpr luaL_Reg mathFunctions[] = {{"abs", Entry<LuaAbs>},
                                      {"cos", Entry<LuaRealOrComplex<Cos>>},
                                      {"sin", Entry<LuaRealOrComplex<Sin>>},
                                      {"tan", Entry<LuaRealOrComplex<Tan>>},
                                      {"cosh", Entry<LuaRealOrComplex<Cosh>>},
                                      {"sinh", Entry<LuaRealOrComplex<Sinh>>},
                                      {"tanh", Entry<LuaRealOrComplex<Tanh>>},
                                      {"exp", Entry<LuaExp>},
                                      {"log", Entry<LuaLog>},
                                      {"log10", Entry<LuaRealOrComplex<Log10>>},
                                      {"sqrt", Entry<LuaSqrt>},
                                      {"sign", Entry<LuaSign>},
                                      {"mt_random_int", Entry<LuaMersenneInt>},
                                      {"MT_Random_Int", Entry<LuaMersenneInt>},
                                      {"mt_random_real1", Entry<LuaMersenneReal1>},
                                      {"MT_Random_Real1", Entry<LuaMersenneReal1>},
                                      {"mt_random_real2", Entry<LuaMersenneReal2>},
                                      {"MT_Random_Real2", Entry<LuaMersenneReal2>},
                                      {"mt_random_real3", Entry<LuaMersenneReal3>},
                                      {"MT_Random_Real3", Entry<LuaMersenneReal3>},
                                      {"fact", Entry<LuaFactorial>},
                                      {"factorial", Entry<LuaFactorial>},
                                      {"Binomial", Entry<LuaBinomial>},
                                      {"BinomialCoefficient", Entry<LuaBinomial>},
                                      {"IntegerQ", Entry<LuaIntegerQ>},
                                      {"EvenQ", Entry<LuaEvenQ>},
                                      {"OddQ", Entry<LuaOddQ>},
                                      {nullptr, nullptr}};

// Functions with a second name that begins with a capital.
constexpr const char* capitalised[] = {
    "abs",   "acos", "asin", "atan", "atan2", "ceil", "deg",  "floor",  "fmod", "frexp",
    "ldexp", "max",  "min",  "modf", "pow",   "rad",  "cos",  "sin",    "tan",  "cosh",
    "sinh",  "tanh", "exp",  "log",  "log10", "sqrt", "sign", "random", "fact", "factorial"};

}  // namespace

void RegisterMath(lua_State* L, const luaL_Reg* functions) {
  lua_getglobal(L, "math");
  luaL_setfuncs(L, mathFunctions, 0);
  luaL_setfuncs(L, functions, 0);
  for (const char* name : capitalised) {
    std::string capital = name;
    capital[0] = static_cast<char>(std::toupper(capital[0]));
    lua_getfield(L, -1, name);
    lua_setfield(L, -2, capital.c_str());
  }
  lua_getfield(L, -1, "randomseed");
  lua_setfield(L, -2, "RandomSeed");
  lua_pop(L, 1);
}

void SetMathGlobals(lua_State* L) {
  lua_getglobal(L, "math");
  lua_pushnil(L);
  while (lua_next(L, -2)) lua_setglobal(L, lua_tostring(L, -2));
  lua_pop(L, 1);
}

}  // namespace fermix
