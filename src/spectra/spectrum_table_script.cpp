// Spectra as script tables, there and back: {{energy, value}, ..., EminPole = , ..., Name = }.
#include <cmath>
#include <limits>

#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

struct TableField {
  const char* key;
  const char* notANumber;
  double& (*of)(SpectraType&);
};

const TableField Fields[] = {
    {"ResonantEnergy", "Error Spectra.FromTable \"ResonantEnergy\" of spectrum %d should be a number\n",
     [](SpectraType& S) -> double& { return S.ResonantEnergy; }},
    {"EminPole", "Error Spectra.FromTable \"EminPole\" of spectrum %d should be a number\n",
     [](SpectraType& S) -> double& { return S.EminPole; }},
    {"EmaxPole", "Error Spectra.FromTable \"EmaxPole\" of spectrum %d should be a number\n",
     [](SpectraType& S) -> double& { return S.EmaxPole; }},
    {"Gamma", "Error Spectra.FromTable \"Gamma\" of spectrum %d should be a number\n",
     [](SpectraType& S) -> double& { return S.Gamma; }},
    {"Integral", "Error Spectra.FromTable \"Integral\" of spectrum %d should be a number\n",
     [](SpectraType& S) -> double& { return S.FirstB[0]; }},
};

void PushSpectrum(lua_State* L, SpectraType S) {
  lua_createtable(L, static_cast<int>(S.Re.size()), 6);
  for (std::size_t i = 0; i < S.Re.size(); ++i) {
    lua_createtable(L, 2, 0);
    lua_pushnumber(L, S.Emin + static_cast<double>(i) * S.dE);
    lua_rawseti(L, -2, 1);
    lua_pushcomplex(L, {S.Re[i], S.Im[i]});
    lua_rawseti(L, -2, 2);
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  for (const TableField& field : Fields) {
    lua_pushnumber(L, field.of(S));
    lua_setfield(L, -2, field.key);
  }
  lua_push(L, S.Name);
  lua_setfield(L, -2, "Name");
}

// The raw field of the table on the stack top; pushes one value.
void RawField(lua_State* L, const char* key) {
  lua_pushstring(L, key);
  lua_rawget(L, -2);
}

void ReadFields(lua_State* L, SpectraType& S, int k) {
  for (const TableField& field : Fields) {
    RawField(L, field.key);
    if (!lua_isnil(L, -1)) {
      if (!lua_isnumber(L, -1)) ScriptError(L, field.notANumber, k);
      field.of(S) = lua_tonumber(L, -1);
    }
    lua_pop(L, 1);
  }
  RawField(L, "Name");
  if (!lua_isnil(L, -1)) {
    if (lua_type(L, -1) != LUA_TSTRING)
      luaL_error(L, "Error Spectra.FromTable \"Name\" of spectrum %d should be a string\n", k);
    S.Name = lua_tostring(L, -1);
  }
  lua_pop(L, 1);
}

struct Point {
  double energy;
  Complex16 value;
};

// The pair {energy, value} on the stack top.
Point ReadPoint(lua_State* L, int k) {
  Point point{};
  bool holds = lua_istable(L, -1) && lua_rawlen(L, -1) == 2;
  if (holds) {
    lua_rawgeti(L, -1, 1);
    lua_rawgeti(L, -2, 2);
    holds = lua_isnumber(L, -2) && luaL_isType<Complex16>(L, -1);
    if (holds) {
      lua_check(L, lua_gettop(L) - 1, point.energy);
      lua_check(L, lua_gettop(L), point.value);
    }
    lua_pop(L, 2);
  }
  if (!holds)
    luaL_error(L,
               "Error Spectra.FromTable the %d-th spectrum should be a table of elements consisting of "
               "{energy,Intensity}\n",
               k);
  return point;
}

// Energies that a script computed are as equidistant as its rounding allows.
constexpr double SpacingTolerance = 1e-6;  // of a step

bool QEquidistant(const std::vector<double>& E, double dE) {
  if (E.size() > 1 && !(dE > 0 && std::isfinite(dE))) return false;
  for (std::size_t i = 0; i < E.size(); ++i) {
    const double expected = E[0] + static_cast<double>(i) * dE;
    const double rounding = 8 * std::numeric_limits<double>::epsilon() * std::fabs(expected);
    if (!(std::fabs(E[i] - expected) <= SpacingTolerance * dE + rounding)) return false;
  }
  return true;
}

// The spectrum number k, counted from 1, from the table on the stack top.
SpectraType ReadSpectrum(lua_State* L, int k) {
  if (!lua_istable(L, -1)) luaL_error(L, "Error Spectra.FromTable the %d-th spectrum is not a table\n", k);
  const int points = static_cast<int>(lua_rawlen(L, -1));
  if (points == 0) luaL_error(L, "Error Spectra.FromTable the %d-th spectrum has no elements\n", k);
  SpectraType S;
  S.Re.clear();
  S.Im.clear();
  std::vector<double> E;
  for (int i = 1; i <= points; ++i) {
    lua_rawgeti(L, -1, i);
    const Point point = ReadPoint(L, k);
    lua_pop(L, 1);
    E.push_back(point.energy);
    S.Re.push_back(point.value.re);
    S.Im.push_back(point.value.im);
  }
  S.Emin = E.front();
  S.Emax = E.back();
  S.dE = points > 1 ? (S.Emax - S.Emin) / (points - 1) : 0;
  if (!QEquidistant(E, S.dE))
    luaL_error(L,
               "Error Spectra.FromTable the %d-th spectrum should be a table of elements consisting of "
               "{energy,Intensity}, whereby the energy needs to be a list of increasing energies with "
               "constant difference.\n(Energy steps not constant.)",
               k);
  ReadFields(L, S, k);
  return S;
}

}  // namespace

int LuaPushTable_SpectraTypeArray(lua_State* L, const SpectraTypeArray& S) {
  luaL_checkstack(L, 8, "table too deep");
  lua_createtable(L, static_cast<int>(S.spectra.size()), 0);
  for (std::size_t k = 0; k < S.spectra.size(); ++k) {
    PushSpectrum(L, S.spectra[k]);
    lua_rawseti(L, -2, static_cast<int>(k) + 1);
  }
  return 1;
}

SpectraTypeArray luaL_checkSpectraTypeArrayTable(lua_State* L, int index) {
  luaL_checkstack(L, 8, "table too deep");
  SpectraTypeArray S;
  const int count = static_cast<int>(lua_rawlen(L, index));
  for (int k = 1; k <= count; ++k) {
    lua_rawgeti(L, index, k);
    S.spectra.push_back(ReadSpectrum(L, k));
    lua_pop(L, 1);
  }
  lua_pushvalue(L, index);
  RawField(L, "Name");
  if (lua_type(L, -1) == LUA_TSTRING) S.Name = lua_tostring(L, -1);
  lua_pop(L, 2);
  return S;
}

}  // namespace fermix
