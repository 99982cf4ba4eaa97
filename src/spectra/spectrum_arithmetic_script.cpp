// The operators + - * / ^ between bundles of spectra and numbers.
//
// One function does all five: a row of words and functions says what each does, and refuses every other
// operand by name.
#include <cmath>

#include "core/operator_script.h"
#include "core/wave_function_script.h"
#include "host/complex_operands_script.h"
#include "spectra/spectrum_arithmetic.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

struct SpectraOperator {
  const char* verb;
  // S op z in place; z op S, which may be null where numbers on the left are refused.
  void (*withNumber)(lua_State* L, SpectraType& S, Complex16 z);
  void (*numberWith)(lua_State* L, SpectraType& S, Complex16 z);
  // A op B, number k of its bundle counted from 1; null where it is refused.
  void (*withSpectrum)(lua_State* L, SpectraType& A, const SpectraType& B, int k);
  const char* differentCounts;
};

// How messages call an operand that is neither number nor bundle.
const char* OperandWord(lua_State* L, int index) {
  if (TestRecord<WaveFunctionType>(L, index)) return "wavefunction";
  if (TestRecord<OperatorType>(L, index)) return "operator";
  if (index == 2 && lua_type(L, index) == LUA_TSTRING) return "string";
  return TypeWord(L, index);
}

bool QNumber(lua_State* L, int index) {
  return lua_type(L, index) == LUA_TNUMBER || TestRecord<Complex16>(L, index);
}

SpectraTypeArray Combined(lua_State* L, const SpectraOperator& op, const SpectraTypeArray& A,
                          const SpectraTypeArray& B) {
  const int nA = static_cast<int>(A.spectra.size()), nB = static_cast<int>(B.spectra.size());
  if (nA != nB) ScriptError(L, op.differentCounts, nA, nB);
  SpectraTypeArray result = NewSpectra(L, [&] { return A; });
  for (int k = 0; k < nA; ++k) op.withSpectrum(L, result.spectra[k], B.spectra[k], k + 1);
  return result;
}

int Arithmetic(lua_State* L, const SpectraOperator& op) {
  const auto *left = TestRecord<SpectraTypeArray>(L, 1), *right = TestRecord<SpectraTypeArray>(L, 2);
  if (left && right) {
    if (!op.withSpectrum) return luaL_error(L, "Error: spectra to the power spectra\n");
    return lua_push(L, Combined(L, op, *left, *right));
  }
  const int other = left ? 2 : 1;
  if (!QNumber(L, other)) {
    const char* word = OperandWord(L, other);
    return left ? luaL_error(L, "Error: spectra %s %s\n", op.verb, word)
                : luaL_error(L, "Error: %s %s spectrum\n", word, op.verb);
  }
  if (!left && !op.numberWith)
    return lua_isnumber(L, 1) ? luaL_error(L, "Error: number to the power spectrum\n")
                              : luaL_error(L, "Error: complex number to the power spectra\n");
  Complex16 z;
  lua_check(L, other, z);
  // A metamethod that is called by hand may get no bundle at all.
  SpectraTypeArray result =
      NewSpectra(L, [&] { return left ? *left : *CheckRecord<SpectraTypeArray>(L, 2); });
  for (SpectraType& S : result.spectra) (left ? op.withNumber : op.numberWith)(L, S, z);
  return lua_push(L, std::move(result));
}

void AddNumber(lua_State*, SpectraType& S, Complex16 z) { SpectraAddConstant(S, z); }

void SubtractNumber(lua_State*, SpectraType& S, Complex16 z) { SpectraAddConstant(S, -z); }

void NumberMinus(lua_State*, SpectraType& S, Complex16 z) {
  SpectraScalarMultiply(S, -1, 0);
  SpectraAddConstant(S, z);
}

// A spectrum on another grid prints why it is left out.
template <int sign>
void AddSpectrum(lua_State*, SpectraType& A, const SpectraType& B, int) {
  static_cast<void>(SafeAddMultipliedSpectra(A, B, sign, 0));
}

void Scale(lua_State*, SpectraType& S, Complex16 z) { SpectraScalarMultiply(S, z.re, z.im); }

void DivideByNumber(lua_State* L, SpectraType& S, Complex16 z) {
  if (z == Complex16(0)) luaL_error(L, "Error: spectra divided by zero\n");
  const Complex16 factor = Complex16(1) / z;
  SpectraScalarMultiply(S, factor.re, factor.im);
}

void NumberDividedBy(lua_State*, SpectraType& S, Complex16 z) { SpectraDivideConstant(S, z); }

void MultiplySpectrum(lua_State* L, SpectraType& A, const SpectraType& B, int k) {
  if (!QSameGrid(A, B))
    luaL_error(L, "Still to do: multiply two spectra with different energy ranges, spectra %d\n", k);
  A = NewSpectra(L, [&] { return SpectraProduct(A, B); });
}

void DivideSpectrum(lua_State* L, SpectraType& A, const SpectraType& B, int k) {
  if (!QSameGrid(A, B))
    luaL_error(L, "Still to do: divide two spectra with different energy ranges, spectra %d\n", k);
  A = NewSpectra(L, [&] { return SpectraQuotient(A, B); });
}

void Power(lua_State*, SpectraType& S, Complex16 z) { SpectraPower(S, z); }

constexpr const char* AddingCounts =
    "Error: Adding two sets of spectra with different number of elements (%d) + (%d)\n";
constexpr const char* MultiplyingCounts =
    "Error: Multiplying to sets of spectra with different number of elements (%d) + (%d)\n";
constexpr const char* DividingCounts =
    "Error: Dividing to sets of spectra with different number of elements (%d) + (%d)\n";

}  // namespace

int LuaSpectraAdd(lua_State* L) {
  return Arithmetic(L, {"plus", AddNumber, AddNumber, AddSpectrum<1>, AddingCounts});
}

int LuaSpectraSub(lua_State* L) {
  return Arithmetic(L, {"minus", SubtractNumber, NumberMinus, AddSpectrum<-1>, AddingCounts});
}

int LuaSpectraMul(lua_State* L) {
  return Arithmetic(L, {"times", Scale, Scale, MultiplySpectrum, MultiplyingCounts});
}

int LuaSpectraDiv(lua_State* L) {
  return Arithmetic(L, {"divided by", DivideByNumber, NumberDividedBy, DivideSpectrum, DividingCounts});
}

int LuaSpectraPow(lua_State* L) { return Arithmetic(L, {"to the power", Power, nullptr, nullptr, nullptr}); }

}  // namespace fermix
