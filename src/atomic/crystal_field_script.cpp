#include "atomic/crystal_field_script.h"

#include <array>
#include <cmath>
#include <cstdlib>

#include "atomic/operator_families_script.h"
#include "atomic/shell_arguments_script.h"
#include "atomic/symmetric_potential.h"
#include "core/operator_script.h"

namespace fermix {

namespace {

HarmonicsTerm CheckHarmonicsTerm(lua_State* L, int row, int level) {
  const int entries = lua_istable(L, row) ? ListLength(L, row) : 0;
  if (entries != 3)
    ScriptError(L, "Error Harmonics Expansion, found %d indices (expected 3 {l,m,val}) at level %d\n",
                entries, level);
  HarmonicsTerm term;
  PushListElement(L, row, 1);
  lua_check(L, -1, term.l);
  PushListElement(L, row, 2);
  lua_check(L, -1, term.m);
  PushListElement(L, row, 3);
  lua_check(L, -1, term.value);
  lua_pop(L, 3);
  if (std::abs(static_cast<long long>(term.m)) > term.l)
    ScriptError(L, "Error Harmonics Expansion, |m| (%d) > l (%d) at level %d\n", term.m, term.l, level);
  return term;
}

void CheckSingleLength(lua_State* L, std::size_t length) {
  const int n = static_cast<int>(length), l = (n - 1) / 2;
  if (n != 2 * l + 1)
    ScriptError(L, "Error in LuaOperatorNewCF, Lenght of Index (%d) is not equal to 2l+1 (%d)\n", n,
                2 * l + 1);
}

// The lengths of the lists of a shell for spin up and down.
void CheckSpinLengths(lua_State* L, std::size_t lengthUp, std::size_t lengthDn) {
  const int up = static_cast<int>(lengthUp), dn = static_cast<int>(lengthDn), l = (up - 1) / 2;
  if (up != dn)
    ScriptError(L,
                "Error in LuaOperatorNewCF, Index of spin up and spin down should relate to the same angular "
                "momentum (%d != %d)\n",
                up, dn);
  if (up != 2 * l + 1)
    ScriptError(L, "Error in LuaOperatorNewCF, Lenght of Index (%d + %d) is not equal to 4l+2 (%d)\n", up, dn,
                4 * l + 2);
}

// The lengths of the lists of a shell for j = l - 1/2 and j = l + 1/2.
void CheckJJzLengths(lua_State* L, std::size_t lengthMin, std::size_t lengthPlus) {
  const int jmin = static_cast<int>(lengthMin), jplus = static_cast<int>(lengthPlus), l = jmin / 2;
  if (jmin + 2 != jplus)
    ScriptError(
        L,
        "Error in LuaOperatorNewCF, Index of jmin and jmax should relate to the same angular momentum "
        "(%d+2 != %d)\n",
        jmin, jplus);
  if (jmin != 2 * l)
    ScriptError(L, "Error in LuaOperatorNewCF, Lenght of Index (%d + %d) is not equal to 4l+2 (%d)\n", jmin,
                jplus, 4 * l + 2);
}

OrbitalList CheckSingleList(lua_State* L, IndexList list, int basis) {
  if (basis == JJz)
    luaL_error(L, "Error in LuaOperatorNewCF, the basis jjz needs two lists, IndexJmin and IndexJplus\n");
  CheckSingleLength(L, list.size());
  const int l = static_cast<int>(list.size()) / 2;
  return {std::move(list), l};
}

// The two lists of a shell. A field doesn't mix spins, but it does mix the two j.
std::array<OrbitalList, 2> CheckShell(lua_State* L, IndexList first, IndexList second, int basis) {
  (basis == JJz ? CheckJJzLengths : CheckSpinLengths)(L, first.size(), second.size());
  const int l = static_cast<int>(first.size()) / 2;
  return {OrbitalList{std::move(first), l}, OrbitalList{std::move(second), l}};
}

// The index lists, in the order of the arguments after NF, as pairs that the field connects:
//   list                              one set of orbitals without spin
//   up, dn or jmin, jplus             a shell
//   bra up, bra dn, ket up, ket dn    a transition from the ket to the bra shell
//   bra jmin, bra jplus, ket jmin, ket jplus
// options is the index of the option list or 0.
std::vector<OrbitalPair> CheckPairs(lua_State* L, std::uint32_t NF, int lists, int options) {
  std::vector<std::vector<int>> given;
  for (int i = 0; i < lists; ++i) given.push_back(CheckIndices(L, 2 + i));
  std::vector<IndexList> list;
  for (int i = 0; i < lists; ++i)
    list.push_back(CheckRange(L, given[i], NF, i % 2 == 0 ? "Index up" : "Index dn"));

  if (lists == 1) {
    const OrbitalList shell = CheckSingleList(L, list[0], CheckBasis(L, options, SphericalHarmonicsY));
    return {{shell, shell}};
  }
  const int basis = CheckBasis(L, options, BasisOfLists(list[0].size(), list[1].size()));
  const auto bra = CheckShell(L, list[0], list[1], basis);
  const auto ket = lists == 2 ? bra : CheckShell(L, list[2], list[3], basis);
  if (basis == JJz) return {{bra[0], ket[0]}, {bra[0], ket[1]}, {bra[1], ket[0]}, {bra[1], ket[1]}};
  return {{bra[0], ket[0]}, {bra[1], ket[1]}};
}

void CheckEnergies(lua_State* L, const std::string& sym, int l, const std::vector<UnitPotential>& potentials,
                   const std::vector<double>& E) {
  if (E.size() < potentials.size()) {
    std::string names;
    for (const auto& p : potentials) names += (names.empty() ? "" : ", ") + p.energy;
    ScriptError(L,
                "Error in PotentialExpandedOnClm, \"%s\" symmetry for angular momentum %d needs the energies "
                "{%s}, found only %d\n",
                sym.c_str(), l, names.c_str(), static_cast<int>(E.size()));
  }
  for (std::size_t i = 0; i < potentials.size(); ++i)
    if (!std::isfinite(E[i]))
      ScriptError(L, "Error in PotentialExpandedOnClm, energy %d is not a finite number\n",
                  static_cast<int>(i) + 1);
}

}  // namespace

HarmonicsExpansion luaL_checkarray_HarmonicsExpansion(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 4, "table too deep");
  HarmonicsExpansion expansion;
  const int length = ListLength(L, index);
  for (int level = 1; level <= length; ++level) {
    lua_rawgeti(L, index, level);
    expansion.push_back(CheckHarmonicsTerm(L, lua_gettop(L), level));
    lua_pop(L, 1);
  }
  return expansion;
}

// NF, one, two or four index lists, and the expansion; arguments are counted without a trailing option list.
// An empty last table is an option list, so that an expansion without terms needs one behind it.
int LuaOperatorNewCF(lua_State* L) {
  const std::uint32_t NF =
      CheckFermionCount(L, "Crystal-field operator acting on zero fermions is not defined");
  const int n = CountWithoutOptions(L);
  if (n != 3 && n != 4 && n != 6)
    ScriptError(L, "Error in LuaOperatorNewCF, called with %d arguments, 3,4 or 6 expected\n", n);
  const bool emptyLast = lua_gettop(L) > n && lua_rawlen(L, n + 1) == 0;
  if (emptyLast && luaL_isType<std::vector<double>>(L, n))
    luaL_error(
        L,
        "Error in LuaOperatorNewCF, an empty last table is a list of options, the expansion should stand "
        "before it\n");
  const auto pairs = CheckPairs(L, NF, n - 2, lua_gettop(L) > n ? n + 1 : 0);
  return lua_push(L, CreateOperatorCF(NF, pairs, luaL_checkarray_HarmonicsExpansion(L, n)));
}

int LuaPushTable_HarmonicsExpansion(lua_State* L, const HarmonicsExpansion& expansion) {
  luaL_checkstack(L, 3, "table too deep");
  lua_createtable(L, static_cast<int>(expansion.size()), 0);
  for (std::size_t i = 0; i < expansion.size(); ++i) {
    lua_push(L, std::vector<Complex16>{static_cast<double>(expansion[i].l),
                                       static_cast<double>(expansion[i].m), expansion[i].value});
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  return 1;
}

// Fewer energies than the symmetry needs are refused, more are left out of account.
int LuaPotentialExpandedOnClm(lua_State* L) {
  std::string sym;
  int l;
  std::vector<double> E;
  lua_check(L, 1, sym);
  lua_check(L, 2, l);
  luaL_checkarray(L, 3, E);

  std::vector<UnitPotential> potentials;
  if (PotentialsOfSymmetry(sym, l, potentials))
    ScriptError(L, "Potential of \"%s\" symmetry for angular momentum %d not found\n", sym.c_str(), l);
  CheckEnergies(L, sym, l, potentials, E);
  return LuaPushTable_HarmonicsExpansion(L, PotentialExpandedOnC(potentials, E));
}

}  // namespace fermix
