#include "atomic/shell_arguments_script.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <string_view>

#include "core/determinant.h"

namespace fermix {

namespace {

constexpr struct {
  std::string_view name;
  int basis;
} basisNames[] = {{"SphericalHarmonicsY", SphericalHarmonicsY},
                  {"SphericalHarmonics", SphericalHarmonicsY},
                  {"BasisY", SphericalHarmonicsY},
                  {"Y", SphericalHarmonicsY},
                  {"TesseralHarmonicsZ", TesseralHarmonicsZ},
                  {"TesseralHarmonics", TesseralHarmonicsZ},
                  {"BasisZ", TesseralHarmonicsZ},
                  {"Z", TesseralHarmonicsZ},
                  {"KubicHarmonicsK", KubicHarmonicsK},
                  {"KubicHarmonics", KubicHarmonicsK},
                  {"BasisK", KubicHarmonicsK},
                  {"K", KubicHarmonicsK},
                  {"CubicHarmonicsK", KubicHarmonicsK},
                  {"CubicHarmonics", KubicHarmonicsK},
                  {"PyramidalHarmonicsP", PyramidalHarmonicsP},
                  {"PyramidalHarmonics", PyramidalHarmonicsP},
                  {"BasisP", PyramidalHarmonicsP},
                  {"P", PyramidalHarmonicsP},
                  {"jjz", JJz},
                  {"Basisjjz", JJz},
                  {"Basisj", JJz},
                  {"j", JJz}};

// Options as pairs or as fields: {basis = "K"} has the length of an empty list, but must not give another
// basis than it names.
void ReadPairsAndFields(lua_State* L, int index, const std::vector<LuaOptionsType>& options) {
  LuaCheckOptions(L, index, options);
  luaL_checkstack(L, 5, "too many values");
  for (lua_pushnil(L); lua_next(L, index) != 0; lua_pop(L, 1)) {
    if (lua_type(L, -2) != LUA_TSTRING) continue;
    lua_createtable(L, 1, 0);  // a list of this pair
    lua_createtable(L, 2, 0);
    lua_pushvalue(L, -4);
    lua_rawseti(L, -2, 1);
    lua_pushvalue(L, -3);
    lua_rawseti(L, -2, 2);
    lua_rawseti(L, -2, 1);
    LuaCheckOptions(L, -1, options);
    lua_pop(L, 1);
  }
}

}  // namespace

void CheckOrbitalCount(lua_State* L, double NF) {
  constexpr double MostOrbitals = IndexMask + 1;
  if (NF > MostOrbitals || NF <= -0.5)  // which rounds to a negative number
    ScriptError(
        L, "ERROR: LuaNewOperator called with to many particles in he one particle basis NF= %d, NB=%d\n",
        static_cast<int>(std::fmax(INT32_MIN, std::fmin(NF, INT32_MAX))), 0);
}

std::uint32_t CheckFermionCount(lua_State* L) {
  CheckOrbitalCount(L, luaL_checknumber(L, 1));
  std::uint32_t NF;
  lua_check(L, 1, NF);
  return NF;
}

std::uint32_t CheckFermionCount(lua_State* L, const char* zeroText) {
  if (luaL_checknumber(L, 1) <= 0.5) luaL_error(L, "%s", zeroText);
  return CheckFermionCount(L);
}

int CheckIndex(lua_State* L, int index) {
  const double x = std::nearbyint(luaL_checknumber(L, index));
  return x >= 0 && x <= INT32_MAX ? static_cast<int>(x) : -1;
}

std::vector<int> CheckIndices(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 3, "table too deep");
  std::vector<int> indices;
  const int length = ListLength(L, index);
  for (int i = 1; i <= length; ++i) {
    PushListElement(L, index, i);
    indices.push_back(CheckIndex(L, -1));
    lua_pop(L, 1);
  }
  return indices;
}

bool QInRange(const std::vector<int>& indices, std::uint32_t NFermion) {
  return std::all_of(indices.begin(), indices.end(),
                     [&](int i) { return i >= 0 && static_cast<std::uint32_t>(i) < NFermion; });
}

IndexList CheckRange(lua_State* L, const std::vector<int>& indices, std::uint32_t NFermion,
                     const char* what) {
  if (!QInRange(indices, NFermion))
    ScriptError(L, "%s contains a refference outside the range [0,%d]", what, static_cast<int>(NFermion) - 1);
  IndexList list;
  std::transform(indices.begin(), indices.end(), std::back_inserter(list),
                 [](int i) { return static_cast<std::uint16_t>(i); });
  return list;
}

int CountWithoutOptions(lua_State* L) {
  const int n = lua_gettop(L);
  return n > 0 && LuaTestOptionsList(L, n) ? n - 1 : n;
}

int CheckBasis(lua_State* L, int index, int otherwise) {
  if (index == 0) return otherwise;
  const std::string NotGiven(1, '\0');
  std::string basis = NotGiven;
  ReadPairsAndFields(L, index, {Option("basis", &basis)});
  if (basis == NotGiven) return otherwise;
  for (const auto& row : basisNames)
    if (row.name == basis) return row.basis;
  ScriptError(L,
              "Unrecognized value for basis %s, use SphericalHarmonicsY, TesseralHarmonicsZ, "
              "KubicHarmonicsK, PyramidalHarmonicsP, or jjz\n",
              basis.c_str());
}

}  // namespace fermix
