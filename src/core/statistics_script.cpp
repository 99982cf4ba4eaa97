#include "core/statistics_script.h"

#include <cmath>
#include <cstdio>
#include <limits>

#include "core/operator_script.h"
#include "core/wave_function_script.h"

namespace fermix {

namespace {

void PrintOperatorStatistics(const OperatorType& O) {
  std::printf("Statistical information on operator %s\n", O.Name.c_str());
  std::printf("Fermionic modes %u, bosonic modes %u, %u restrictions\n", O.layout.NFermion, O.layout.NBoson,
              NRestrictions(O.Restrictions));
  std::printf("Length      Terms    Kind   Smallest |value|   Largest |value|\n");
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length) {
    const OperatorFixedLengthType& t = O.l[length];
    if (TermCount(t) == 0) continue;
    double smallest = std::numeric_limits<double>::infinity(), largest = 0;
    for (std::uint32_t n = 0; n < TermCount(t); ++n) {
      const double magnitude = Abs(TermValue(t, n));
      smallest = std::fmin(smallest, magnitude);
      largest = std::fmax(largest, magnitude);
    }
    std::printf("%6u %10u %7s %18.10E %17.10E\n", length, TermCount(t), QComplexTable(t) ? "complex" : "real",
                smallest, largest);
  }
}

void PrintStateStatistics(const WaveFunctionType& psi) {
  // Decades of the squared magnitude, relative to the largest.
  constexpr int decades = 20;
  std::uint32_t counts[decades + 1] = {};
  double weights[decades + 1] = {}, largest = 0;
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i)
    largest = std::fmax(largest, NormSqr(ElementValue(psi, i)));
  for (std::uint32_t i = 1; i <= ElementCount(psi); ++i) {
    const double weight = NormSqr(ElementValue(psi, i)), below = -std::log10(weight / largest);
    const int decade =
        below < decades ? static_cast<int>(below) : decades;  // NaN, for a weight of 0 / 0, too
    ++counts[decade];
    weights[decade] += weight;
  }
  std::printf("Statistical information on wave function %s\n", psi.Name.c_str());
  std::printf("Fermionic modes %u, bosonic modes %u, %s\n", Layout(psi).NFermion, Layout(psi).NBoson,
              QComplex(psi) ? "complex" : "real");
  std::printf("Determinants %u, norm squared %.15E\n", ElementCount(psi), WaveFunctionCalculateNormSqr(psi));
  std::printf("|value|^2 / largest   Determinants   Sum of |value|^2\n");
  for (int d = 0; d <= decades; ++d) {
    if (counts[d] == 0) continue;
    std::printf(
        d < decades ? "       >= 1E-%02d      %12u  %17.10E\n" : "       <  1E-%02d      %12u  %17.10E\n",
        d < decades ? d + 1 : d, counts[d], weights[d]);
  }
}

}  // namespace

int LuaStatistics(lua_State* L) {
  if (const OperatorType* O = TestRecord<OperatorType>(L, 1)) {
    PrintOperatorStatistics(*O);
  } else if (const WaveFunctionType* psi = TestRecord<WaveFunctionType>(L, 1)) {
    PrintStateStatistics(*psi);
  } else {
    return luaL_error(L, "Error Statistics expects a wave-function or operator as first imput\n");
  }
  return 0;
}

}  // namespace fermix
