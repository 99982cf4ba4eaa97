#include "atomic/ladder_operators.h"

#include <cmath>

#include "atomic/operator_families_script.h"
#include "atomic/shell_arguments_script.h"
#include "core/operator_script.h"

namespace fermix {

namespace {

// What distinguishes creation from annihilation.
struct LadderKind {
  const char* frontEnd;
  OperatorType (*single)(std::uint32_t, std::uint16_t);
  OperatorType (*list)(std::uint32_t, const IndexList&, const std::vector<Complex16>&);
};

// Raises unless all are below NF.
IndexList CheckOrbitals(lua_State* L, const char* frontEnd, const std::vector<int>& indices,
                        std::uint32_t NF) {
  if (!QInRange(indices, NF))
    ScriptError(L, "Error in %s, index of the fermion cannot be larger than NFermion-1\n", frontEnd);
  return {indices.begin(), indices.end()};
}

std::vector<Complex16> CheckPrefactors(lua_State* L, int index, const char* frontEnd, std::size_t expected) {
  std::vector<Complex16> prefactors;
  luaL_checkarray_complex16(L, index, prefactors);
  if (prefactors.size() != expected)
    ScriptError(L, "Error in %s, Lenght of Index (%d) is not equal to lenght of prefactors (%d)\n", frontEnd,
                static_cast<int>(expected), static_cast<int>(prefactors.size()));
  for (std::size_t k = 0; k < expected; ++k)
    if (std::isnan(prefactors[k].re) || std::isnan(prefactors[k].im))
      ScriptError(L, "Error in %s, prefactor %d is not a number\n", frontEnd, static_cast<int>(k) + 1);
  return prefactors;
}

// NF, i, or NF, a list of indices, a list of prefactors.
int NewLadder(lua_State* L, const LadderKind& kind) {
  const int n = lua_gettop(L);
  if (n != 2 && n != 3) ScriptError(L, "Error in %s, expected 2 or 3 arguments, not %d\n", kind.frontEnd, n);
  const std::uint32_t NF = CheckFermionCount(L);
  if (n == 2) {
    const int i = CheckIndex(L, 2);
    return lua_push(L, kind.single(NF, CheckOrbitals(L, kind.frontEnd, {i}, NF)[0]));
  }
  const auto indices = CheckIndices(L, 2);
  const auto prefactors = CheckPrefactors(L, 3, kind.frontEnd, indices.size());
  return lua_push(L, kind.list(NF, CheckOrbitals(L, kind.frontEnd, indices, NF), prefactors));
}

}  // namespace

int LuaOperatorNewCreate(lua_State* L) {
  return NewLadder(L, {"LuaOperatorNewCreate", CreateOperatorCreate, CreateOperatorCreateList});
}

int LuaOperatorNewAnnihilate(lua_State* L) {
  return NewLadder(L, {"LuaOperatorNewAnnihilate", CreateOperatorAnnihilate, CreateOperatorAnnihilateList});
}

// NF, a, b, or NF, a list of creators, a list of annihilators, a list of prefactors.
int LuaOperatorNewNumber(lua_State* L) {
  constexpr const char* frontEnd = "LuaOperatorNewNumber";
  const int n =
      CheckArgumentCount(L, 3, 4, "Error in LuaOperatorNewNumber, expected 3 or 4 arguments, not %d\n");
  const std::uint32_t NF = CheckFermionCount(L);
  if (n == 3) {
    const int a = CheckIndex(L, 2), b = CheckIndex(L, 3);
    const IndexList hop = CheckOrbitals(L, frontEnd, {a, b}, NF);
    return lua_push(L, CreateOperatorNumber(NF, hop[0], hop[1]));
  }
  const auto creation = CheckIndices(L, 2), annihilation = CheckIndices(L, 3);
  const auto prefactors = CheckPrefactors(L, 4, frontEnd, creation.size());
  if (creation.size() != annihilation.size())
    ScriptError(L,
                "Error in LuaOperatorNewNumber, Lenght of Index for Creation (%d) is not equal to lenght of "
                "index for Annihilation (%d)\n",
                static_cast<int>(creation.size()), static_cast<int>(annihilation.size()));
  const IndexList a = CheckOrbitals(L, frontEnd, creation, NF);
  const IndexList b = CheckOrbitals(L, frontEnd, annihilation, NF);
  return lua_push(L, CreateOperatorCreateAnnihilateList(NF, a, b, prefactors));
}

int LuaOperatorNewIdentity(lua_State* L) {
  CheckArgumentCount(L, 1, 1,
                     "Error in NewOperator(\"Identity\",...), expected 1 aditional argument, not %d\n");
  return lua_push(L, CreateOperatorIdentity(CheckFermionCount(L)));
}

}  // namespace fermix
