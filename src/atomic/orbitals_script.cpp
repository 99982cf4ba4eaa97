#include "atomic/orbitals_script.h"

#include <algorithm>
#include <set>
#include <string>

#include "atomic/atomic_indices.h"
#include "atomic/basis_change.h"
#include "atomic/orbital_rotation.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

OrbitalNames CheckNames(lua_State* L, int index) {
  OrbitalNames names;
  luaL_checkarray(L, index, names);
  return names;
}

// The multiplicity 2 (2l + 1) of a number l, or that of a name.
int CheckMultiplicity(lua_State* L, int index) {
  if (lua_type(L, index) == LUA_TSTRING) return orbToMultiplicity(lua_tostring(L, index), true);
  constexpr int MostL = 1 << 28;
  int l;
  lua_check(L, index, l);
  return 4 * std::clamp(l, -MostL, MostL) + 2;
}

std::vector<int> CheckMultiplicities(lua_State* L, int index) {
  if (!lua_istable(L, index)) return {CheckMultiplicity(L, index)};
  luaL_checkstack(L, 3, "table too deep");
  std::vector<int> multiplicities;
  const int length = luaL_len(L, index);
  for (int i = 1; i <= length; ++i) {
    lua_rawgeti(L, index, i);
    multiplicities.push_back(CheckMultiplicity(L, -1));
    lua_pop(L, 1);
  }
  return multiplicities;
}

int PushShellMatrix(lua_State* L, ShellMatrix matrix, const char* name) {
  const int n = lua_gettop(L);
  if (n < 1 || n > 2)
    ScriptError(L,
                "%s called with %d arguments. 1 or 2 expected, multiplicity of orbital, or list of "
                "multiplicities, or orbital name, or list of orbital names, and an optional list of "
                "options.\n",
                name, n);
  bool addSpin = true;
  if (n == 2) {
    if (!LuaTestOptionsList(L, 2))
      ScriptError(L, "Second argument of %s is optional but iff given should be a list of options.\n", name);
    LuaCheckOptions(L, 2, {Option("addSpin", &addSpin)});
  }
  return LuaPushTable_CompactMatrixType(L, LargeRotationMatrix(CheckMultiplicities(L, 1), matrix, addSpin));
}

// A function of one list of names.
template <OrbitalNames (*F)(const OrbitalNames&)>
int PushNames(lua_State* L, const char* function) {
  if (lua_gettop(L) != 1)
    ScriptError(L, "%s called with %d arguments. Only list of orbitals expected.\n", function, lua_gettop(L));
  return lua_push(L, F(CheckNames(L, 1)));
}

// The list of orbitals that the arguments begin with, and one more argument that is described.
std::vector<NumberedOrbital> CheckOrbitals(lua_State* L, const char* second) {
  const int n = lua_gettop(L);
  if (n < 1 || n > 2)
    ScriptError(L,
                "CreateAtomicIndices called with %d arguments. 1 or 2 expected, list of orbitals, and %s.\n",
                n, second);
  const OrbitalNames names = CheckNames(L, 1);
  if (std::set<std::string>(names.begin(), names.end()).size() != names.size())
    luaL_error(L, "Error: CreateAtomicIndices called with redundant orbitals.");
  return createAtomicIndices(names);
}

void PushIndices(lua_State* L, const OrbitalIndices& indices) {
  lua_push(L, std::vector<double>(indices.begin(), indices.end()));
}

}  // namespace

int LuaYtoKMatrix(lua_State* L) { return PushShellMatrix(L, YToKMatrix, "YtoKMatrix"); }
int LuaYtoZMatrix(lua_State* L) { return PushShellMatrix(L, YToZMatrix, "YtoZMatrix"); }
int LuaZtoKMatrix(lua_State* L) { return PushShellMatrix(L, ZToKMatrix, "ZtoKMatrix"); }

int LuaYtojjzMatrix(lua_State* L) {
  if (lua_gettop(L) != 1)
    return luaL_error(L,
                      "YtoJJZMatrix called with %d arguments. Exactly 1 expected, multiplicity of orbital, "
                      "or list of multiplicities, or orbital name, or list of orbital names.\n",
                      lua_gettop(L));
  return LuaPushTable_CompactMatrixType(L,
                                        LargeRotationMatrix(CheckMultiplicities(L, 1), YToJJzMatrix, true));
}

int LuaOrbitalRotationMatrix(lua_State* L) {
  if (lua_gettop(L) != 2)
    return luaL_error(L,
                      "RotationMatrix called with %d arguments. Exactly 2 expected, list of old orbitals and "
                      "list of new orbitals.\n",
                      lua_gettop(L));
  const OrbitalNames from = CheckNames(L, 1), to = CheckNames(L, 2);
  const CompactMatrixType rotation = OrbitalRotationMatrix(from, to);
  if (rotation.Ni == 0) return luaL_error(L, "Could not create rotation matrix.\n");
  return LuaPushTable_CompactMatrixType(L, rotation);
}

int LuaOrbToMultiplicity(lua_State* L) {
  if (lua_gettop(L) != 1)
    return luaL_error(L, "OrbToMultiplicity called with %d arguments. Only name of the orbital expected.\n",
                      lua_gettop(L));
  return lua_push(L, static_cast<double>(orbToMultiplicity(luaL_checkstring(L, 1), true)));
}

int LuaNonRelToRelOrbitals(lua_State* L) { return PushNames<nonRelToRelOrbs>(L, "NonRelToRelOrbitals"); }
int LuaRelToNonRelOrbitals(lua_State* L) { return PushNames<relToNonRelOrbs>(L, "RelToNonRelOrbitals"); }
int LuaSortByKappa(lua_State* L) { return PushNames<orbsSortedByKappa>(L, "SortByKappa"); }

int LuaCreateAtomicIndicesDict(lua_State* L) {
  const auto orbitals = CheckOrbitals(L, "an optional table of groups of orbitals");
  OrbitalDictionary dictionary = createAtomicIndicesDict(orbitals);
  OrbitalIndices all;
  for (const auto& orbital : orbitals) all.insert(all.end(), orbital.indices.begin(), orbital.indices.end());
  dictionary["all"] = dictionary["All"] = all;
  if (lua_gettop(L) == 2) {
    std::map<std::string, OrbitalNames> groups;
    lua_check(L, 2, groups);
    groupOrbitals(dictionary, groups);
  }

  lua_createtable(L, 0, static_cast<int>(dictionary.size()));
  for (const auto& [key, indices] : dictionary) {
    PushIndices(L, indices);
    lua_setfield(L, -2, key.c_str());
  }
  lua_push(L, static_cast<double>(all.size()));
  return 2;
}

int LuaCreateAtomicIndicesList(lua_State* L) {
  const auto orbitals = CheckOrbitals(L, "an optional list of options");
  bool withKappas = false;
  if (lua_gettop(L) == 2) {
    if (!LuaTestOptionsList(L, 2))
      return luaL_error(
          L,
          "Second argument of CreateAtomicIndicesList is optional but iff given should be a list "
          "of options.\n");
    LuaCheckOptions(L, 2, {Option("kappas", &withKappas)});
  }
  lua_createtable(L, static_cast<int>(orbitals.size()), 0);
  std::vector<double> kappaOf;
  for (std::size_t i = 0; i < orbitals.size(); ++i) {
    PushIndices(L, orbitals[i].indices);
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
    if (withKappas) kappaOf.push_back(kappa(orbitals[i].name));
  }
  if (withKappas) {
    lua_push(L, kappaOf);
    lua_setfield(L, -2, "kappas");
  }
  return 1;
}

}  // namespace fermix
