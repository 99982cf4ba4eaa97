// Script functions that make an operator from another one.
#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/method_script.h"
#include "core/operator_algebra.h"
#include "core/operator_script.h"
#include "core/partial_operator.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// The orbitals of the list at index; outside(i) is called for an index that is none.
template <class Outside>
std::vector<std::uint32_t> ReadOrbitals(lua_State* L, int index, std::uint32_t NFermion, Outside&& outside) {
  std::vector<int> list;
  luaL_checkarray(L, index, list);
  std::vector<std::uint32_t> orbitals;
  for (const int i : list) {
    if (i < 0 || static_cast<std::uint32_t>(i) >= NFermion) {
      outside(i);
    } else {
      orbitals.push_back(static_cast<std::uint32_t>(i));
    }
  }
  return orbitals;
}

}  // namespace

std::vector<std::uint32_t> CheckOrbitalsOrWarn(lua_State* L, int index, std::uint32_t NFermion) {
  return ReadOrbitals(L, index, NFermion, [NFermion](int i) {
    Say("Index %d is not within [0,NF-1]=[0,%d].\n", i, static_cast<int>(NFermion) - 1);
  });
}

namespace {

// The distinct orbitals of the list at index.
std::vector<std::uint32_t> CheckOrbitals(lua_State* L, int index, std::uint32_t NFermion) {
  auto orbitals = ReadOrbitals(L, index, NFermion, [L, NFermion](int i) {
    luaL_error(L, "OperatorSetTrace: Index %d is not within [0,NF-1]=[0,%d].\n", i,
               static_cast<int>(NFermion) - 1);
  });
  std::vector<bool> met(NFermion);
  const auto again = [&met](std::uint32_t i) { return met[i] ? true : (met[i] = true, false); };
  orbitals.erase(std::remove_if(orbitals.begin(), orbitals.end(), again), orbitals.end());
  return orbitals;
}

// --- PartialOperator

// A list of groups; a flat list of indices is one group.
OrbitalGroups ReadGroups(lua_State* L, int index, std::uint32_t NFermion) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 6, "table too deep");
  const int count = static_cast<int>(lua_rawlen(L, index));
  if (count == 0) return {};
  lua_rawgeti(L, index, 1);
  const bool flat = !lua_istable(L, -1);
  lua_pop(L, 1);
  if (flat) return {CheckOrbitalsOrWarn(L, index, NFermion)};
  OrbitalGroups groups;
  for (int k = 1; k <= count; ++k) {
    lua_rawgeti(L, index, k);
    groups.push_back(CheckOrbitalsOrWarn(L, lua_gettop(L), NFermion));
    lua_pop(L, 1);
  }
  return groups;
}

CrAnPredicate CheckMode(lua_State* L, int index) {
  const std::string mode = CheckText(L, index);
  if (mode == "include") return isCrAnIncluded;
  if (mode == "exclude") return isCrAnExcluded;
  if (mode == "conserve") return isCrAnConservesSubspaceOccupation;
  ScriptError(L,
              "PartialOperator called with unrecognised mode \"%s\".\n Mode should be \"include\", "
              "\"exclude\", or \"conserve\"\n",
              mode.c_str());
}

}  // namespace

// OperatorSetTrace(O [, value [, indices]]) -> O with that average energy on the orbitals
int LuaOperatorSetOnsiteEnergy(lua_State* L) {
  const int n =
      CheckArgumentCount(L, 1, 3,
                         "OperatorSetTrace called with %d arguments. One, two or three expected, Operator, "
                         "trace, and indices to be included.\n");
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  Complex16 value = 0;
  if (n > 1) value = CheckNumber(L, 2, "OperatorSetTrace called with a trace that is not a number\n");
  std::vector<std::uint32_t> orbitals(O.layout.NFermion);
  std::iota(orbitals.begin(), orbitals.end(), 0u);
  if (n == 3) orbitals = CheckOrbitals(L, 3, O.layout.NFermion);

  OperatorType result = O;
  if (!orbitals.empty()) {
    const Complex16 change = value - OperatorTraceAverage(O, orbitals);
    for (const std::uint32_t i : orbitals) OperatorAddLader(result, {Annihilate(i), Create(i)}, change);
  }

  return lua_push(L, std::move(result));
}

// PartialOperator(O, groups, mode) -> the terms of O that a mode keeps
int LuaPartialOperator(lua_State* L) {
  const int n = lua_gettop(L);
  if (n < 3)
    return luaL_error(
        L,
        "PartialOperator called with %d arguments. Operator, List of (list of) Indices and mode expected.\n",
        n);
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  const CrAnPredicate keep = CheckMode(L, 3);
  const OrbitalGroups groups = ReadGroups(L, 2, O.layout.NFermion);

  return lua_push(L, extractPartialOperator(O, groups, keep));
}

// OperatorExp(O [, z]) -> exp(z O), for a Hermitian one-particle O
int LuaOperatorExp(lua_State* L) {
  const int n =
      CheckArgumentCount(L, 1, 2, "Error, call to OperatorExp with %d arguments, expected 1 or 2\n");
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  Complex16 z = 1;
  if (n == 2) {
    if (!luaL_isType<Complex16>(L, 2))
      return luaL_error(L,
                        "Error, call to OperatorExp with 2 arguments, first should be an operator, second is "
                        "an optional real or complex number. Type found at position two is %s\n",
                        luaL_typename(L, 2));
    z = CheckNumber(L, 2, "Error, call to OperatorExp with a factor that is not a number\n");
  }

  OperatorType result;
  if (HermitianOperatorNormalOrderExponent(O, z, result, QDetNotOrderedFcFaBcBa))
    return luaL_error(L, "Error, call to OperatorExp failed\n");

  return lua_push(L, std::move(result));
}

}  // namespace fermix
