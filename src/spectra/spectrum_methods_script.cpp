#include "spectra/spectrum_methods_script.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <span>

#include "core/operator_script.h"
#include "core/wave_function_script.h"
#include "host/base/verbosity.h"
#include "linalg/matrix_script.h"
#include "spectra/broadening.h"
#include "spectra/spectrum_arithmetic.h"

namespace fermix {

namespace {

// --- Broaden

// One of the two shapes that a spectrum is broadened with: how it is called and what it does.
struct BroadeningShape {
  const char* name;  // in messages
  void (*uniform)(std::span<SpectraType>, double);
  void (*variable)(std::span<SpectraType>, const std::vector<double>&);
};
constexpr BroadeningShape Shapes[] = {{"Gaussian", BroadenG, BroadenGvar},
                                      {"Lorenzian", BroadenL, BroadenLvar}};

// A width of its own at each energy: constant outside of the table, linear in between.
struct WidthTable {
  std::vector<double> energy, FWHM;
  double at(double E) const {
    const std::size_t above = std::upper_bound(energy.begin(), energy.end(), E) - energy.begin();
    if (above == 0) return FWHM.front();
    if (above == energy.size()) return FWHM.back();
    const double t = (E - energy[above - 1]) / (energy[above] - energy[above - 1]);
    return FWHM[above - 1] + t * (FWHM[above] - FWHM[above - 1]);
  }
};

double CheckWidth(lua_State* L, double FWHM, const BroadeningShape& shape) {
  if (!(FWHM >= 0 && FWHM <= DBL_MAX))
    ScriptError(L, "Error Spectra.Broaden called with the %s FWHM %g, a number of at least 0 expected\n",
                shape.name, FWHM);
  return FWHM;
}

WidthTable ReadWidthTable(lua_State* L, int index, const BroadeningShape& shape) {
  const MatrixArgument m(L, index);
  if (IsComplexMatrix(*m) || m->Nj != 2)
    luaL_error(L,
               "List of variable %s broadening at position %d should be of the form "
               "{{Energy_1, FWHM_1},...} with Energy and FWHM of type real\n",
               shape.name, index);
  WidthTable table;
  const auto& data = std::get<0>(m->Data);
  for (std::size_t row = 0; row < m->Ni; ++row) {
    table.energy.push_back(data[2 * row]);
    table.FWHM.push_back(CheckWidth(L, data[2 * row + 1], shape));
    if (!std::isfinite(table.energy[row]) || (row > 0 && table.energy[row] < table.energy[row - 1]))
      luaL_error(L,
                 "List of variable %s broadening at position %d should be of the form {{Energy_1, "
                 "FWHM_1},{Energy_2, FWHM_2},...,{Energy_n, FWHM_n}},\nwith "
                 "Energy_1<Energh_2<...<Energh_n",
                 shape.name, index);
  }
  return table;
}

using Width = std::variant<double, WidthTable>;

Width ReadWidth(lua_State* L, int index, const BroadeningShape& shape) {
  if (lua_istable(L, index)) return ReadWidthTable(L, index, shape);
  if (!lua_isnumber(L, index))
    luaL_error(L,
               "Error Spectra.Broaden %d-%s argument should be either a number defining the %s FWHM,\nor a "
               "table of the form {{Energy_1, FWHM_1},...}\n",
               index,
               index == 1   ? "st"
               : index == 2 ? "nd"
                            : "rd",
               shape.name);
  return CheckWidth(L, lua_tonumber(L, index), shape);
}

// Broadens spectra that share their points.
void BroadenOnOneGrid(std::span<SpectraType> S, const Width& width, const BroadeningShape& shape) {
  if (const double* FWHM = std::get_if<double>(&width)) return shape.uniform(S, *FWHM);
  std::vector<double> widths(S[0].Re.size());
  for (std::size_t i = 0; i < widths.size(); ++i)
    widths[i] = std::get<WidthTable>(width).at(S[0].Emin + static_cast<double>(i) * S[0].dE);
  shape.variable(S, widths);
}

void BroadenEach(std::span<SpectraType> S, const Width& width, const BroadeningShape& shape) {
  for (std::size_t first = 0, next = 0; first < S.size(); first = next) {
    const auto sharesPoints = [&, &A = S[first]](const SpectraType& B) {
      return A.Re.size() == B.Re.size() && A.Emin == B.Emin && A.dE == B.dE;
    };
    for (next = first + 1; next < S.size() && sharesPoints(S[next]);) ++next;
    BroadenOnOneGrid(S.subspan(first, next - first), width, shape);
  }
}

// --- Element

// Numbers give a position; everything else is refused by name.
int ReadPosition(lua_State* L, int index, std::size_t count) {
  const auto refuse = [L](const char* word) {
    luaL_error(L, "Error: can not find %s element in spectrum, expected a number or list of numbers\n", word);
  };
  switch (lua_type(L, index)) {
    case LUA_TNUMBER:
      break;
    case LUA_TNIL:
      refuse("nill");
      break;
    case LUA_TBOOLEAN:
      refuse("boolean");
      break;
    case LUA_TLIGHTUSERDATA:
      refuse("lightuserdata");
      break;
    case LUA_TSTRING:
      refuse("string");
      break;
    default:
      if (TestRecord<Complex16>(L, index)) refuse("complex valued number");
      if (TestRecord<WaveFunctionType>(L, index)) refuse("wavefunction");
      if (TestRecord<OperatorType>(L, index)) refuse("operator");
      if (TestRecord<SpectraTypeArray>(L, index)) refuse("spectrum");
      luaL_error(L, "Error: unrecognized type of element\n");
  }
  int position = 0;
  lua_check(L, index, position);
  if (position < 1 || static_cast<std::size_t>(position) > count)
    luaL_error(L, "Error: no element %d in spectra array with %d elements\n", position,
               static_cast<int>(count));
  return position;
}

// --- Sum

// The N coefficients of argument number k, counted from 1 behind the bundle, at index.
std::vector<Complex16> ReadCoefficients(lua_State* L, int index, int k, std::size_t N, const char* call) {
  if (!lua_istable(L, index)) luaL_error(L, "Error in %s arg_%d should be a table\n", call, k);
  if (lua_rawlen(L, index) != N)
    luaL_error(L, "Error in %s arg_%d should be a table of length %d\n", call, k, static_cast<int>(N));
  std::vector<Complex16> coefficients(N);
  for (std::size_t i = 0; i < N; ++i) {
    lua_rawgeti(L, index, static_cast<int>(i) + 1);
    if (!luaL_isType<Complex16>(L, -1))
      luaL_error(L, "Error in %s elemnt %d in arg_%d should be a real or complex number\n", call,
                 static_cast<int>(i) + 1, k);
    lua_check(L, lua_gettop(L), coefficients[i]);
    lua_pop(L, 1);
  }
  return coefficients;
}

// A source on another grid prints why it is left out.
SpectraType LinearCombination(const std::vector<SpectraType>& S, const std::vector<Complex16>& coefficients) {
  SpectraType sum = SpectrumAllocate(S[0]);
  for (std::size_t i = 0; i < S.size(); ++i)
    static_cast<void>(SafeAddMultipliedSpectra(sum, S[i], coefficients[i].re, coefficients[i].im));
  return sum;
}

}  // namespace

void BroadenFromArguments(lua_State* L, std::vector<SpectraType>& S, int first) {
  const Width widths[] = {ReadWidth(L, first, Shapes[0]), ReadWidth(L, first + 1, Shapes[1])};
  const bool fits = FitsInMemory([&] {
    for (int shape = 0; shape < 2; ++shape) BroadenEach(S, widths[shape], Shapes[shape]);
  });
  if (!fits) luaL_error(L, "Fatal out of memory, intermediate allocation failed\n");
}

void ShiftFromArgument(lua_State* L, std::vector<SpectraType>& S, int first) {
  const auto readShift = [L](int index) {
    if (!lua_isnumber(L, index) || !std::isfinite(lua_tonumber(L, index)))
      luaL_error(L, "Error Spectra.Shift second argument should be a number or a table of numbers\n");
    return lua_tonumber(L, index);
  };
  std::vector<double> shifts(S.size());
  if (lua_istable(L, first)) {
    if (lua_rawlen(L, first) != S.size())
      luaL_error(L, "Error Spectra.Shift Table with shifts is of length %d, but there are %d spectra\n",
                 static_cast<int>(lua_rawlen(L, first)), static_cast<int>(S.size()));
    for (std::size_t k = 0; k < S.size(); ++k) {
      lua_rawgeti(L, first, static_cast<int>(k) + 1);
      shifts[k] = readShift(-1);
      lua_pop(L, 1);
    }
  } else {
    std::fill(shifts.begin(), shifts.end(), readShift(first));
  }
  for (std::size_t k = 0; k < S.size(); ++k) SpectraShift(S[k], shifts[k]);
}

SpectraTypeArray ElementFromArgument(lua_State* L, const std::vector<SpectraType>& S, int first) {
  std::vector<int> positions;
  if (lua_istable(L, first)) {
    const int count = static_cast<int>(lua_rawlen(L, first));
    for (int i = 1; i <= count; ++i) {
      lua_rawgeti(L, first, i);
      positions.push_back(ReadPosition(L, lua_gettop(L), S.size()));
      lua_pop(L, 1);
    }
  } else {
    positions.push_back(ReadPosition(L, first, S.size()));
  }
  return NewSpectra(L, [&] {
    SpectraTypeArray chosen;
    for (const int position : positions) chosen.spectra.push_back(S[position - 1]);
    return chosen;
  });
}

SpectraTypeArray SumFromArguments(lua_State* L, const std::vector<SpectraType>& S, int first) {
  const char* call = first == 1 ? ".Sum(arg_1,arg_2,...)" : "Spectra.Sum(Spectra,arg_1,arg_2,...)";
  std::vector<std::vector<Complex16>> rows;
  for (int index = first; index <= lua_gettop(L); ++index)
    rows.push_back(ReadCoefficients(L, index, index - first + 1, S.size(), call));
  return NewSpectra(L, [&] {
    SpectraTypeArray sums;
    if (S.empty()) return sums;  // there is no grid to stand on
    for (const auto& coefficients : rows) sums.spectra.push_back(LinearCombination(S, coefficients));
    return sums;
  });
}

void PrintFromArgument(lua_State* L, const std::vector<SpectraType>& S, int first) {
  std::string file;
  if (lua_gettop(L) >= first) LuaCheckOptions(L, first, {Option("file", &file)});
  if (file.empty()) {
    StreamPrintSpectra(S, stdout);
    std::fflush(stdout);
    return;
  }
  if (FilePrintSpectra(S, file.c_str(), "w"))
    luaL_error(L, "Error in .Print(arg) could not print spectra to file: %s\n", file.c_str());
  VerbosityPrintf(2, "Spectra printed to file: %s\n", file.c_str());
}

}  // namespace fermix
