#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <string>

#include "atomic/coulomb.h"
#include "atomic/operator_families_script.h"
#include "atomic/shell_arguments_script.h"
#include "core/operator_script.h"

namespace fermix {

namespace {

using Shells = std::vector<CoulombShell>;

constexpr const char* Ordinal[] = {"first", "second", "third", "forth"};

// Two lists of orbitals for each shell, from argument 2 on: spin down, then up, by rising m.
Shells CheckPlainShells(lua_State* L, std::uint32_t NF, int count, int options) {
  std::vector<ShellIndices> lists(count);
  std::vector<std::vector<int>> given;
  for (int i = 0; i < 2 * count; ++i) given.push_back(CheckIndices(L, 2 + i));
  const int basis = CheckBasis(L, options, SphericalHarmonicsY);

  for (int n = 0; n < count; ++n) {
    const std::string shell = count == 4 ? std::string(" of ") + Ordinal[n] + " shell" : "";
    lists[n].list[0] = CheckRange(L, given[2 * n + 1], NF, ("Index up" + shell).c_str());
    lists[n].list[1] = CheckRange(L, given[2 * n], NF, ("Index dn" + shell).c_str());
  }
  if (basis == JJz)
    ScriptError(
        L,
        "Error in LuaOperatorNewCoulomb, Orbitals formatted according to Harmonics basis, but options "
        "state it is a jjz basis\n");
  for (int n = 0; n < count; ++n) {
    const std::string shell = count == 4 ? std::string("For ") + Ordinal[n] + " shell lenght" : "Lenght";
    const int up = lists[n].length(), dn = static_cast<int>(lists[n].list[1].size());
    if (up != dn)
      ScriptError(L,
                  "Error in LuaOperatorNewCoulomb, %s of IndexUp (%d) is not equal to lenght of IndexDn "
                  "(%d)\n",
                  shell.c_str(), up, dn);
    if (up % 2 == 0)
      ScriptError(L, "Error in LuaOperatorNewCoulomb, %s of IndexUp (%d) is not equal to 2l+1\n",
                  shell.c_str(), up);
  }
  return Shells(lists.begin(), lists.end());
}

CoulombShell CheckKappa(lua_State* L, int kappa, IndexList states, const char* of, const char* forShell) {
  const int length = static_cast<int>(states.size());
  if (length % 2 != 0)
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, Lenght of Index for %sJ shell (%d) is not equal to 2j+1 for "
                "half integer j\n",
                of, length);
  if (length != 2 * std::abs(static_cast<long long>(kappa)))
    ScriptError(L, "Error in LuaOperatorNewCoulomb, %sj (%d/2) is not equal to |kappa|-1/2 (kappa = %d)\n",
                forShell, length - 1, kappa);
  return CoulombShell(kappa, std::move(states));
}

// A list of orbitals by rising jz and kappa for each shell, from argument 2 on.
Shells CheckRelativisticShells(lua_State* L, std::uint32_t NF, int count, int options) {
  std::vector<std::vector<int>> given(count);
  std::vector<int> kappa(count);
  for (int n = 0; n < count; ++n) {
    given[n] = CheckIndices(L, 2 + 2 * n);
    lua_check(L, 3 + 2 * n, kappa[n]);
  }
  const int basis = CheckBasis(L, options, JJz);
  if (basis != JJz)
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, Orbitals formatted according to j jz basis, but options "
                "state it is an Harmonics basis (ibasis = %d)\n",
                basis);

  std::vector<IndexList> states;
  for (int n = 0; n < count; ++n) {
    const std::string what =
        count == 1 ? "Index of Jshell" : std::string("Index of ") + Ordinal[n] + " J shell";
    states.push_back(CheckRange(L, given[n], NF, what.c_str()));
  }
  Shells shells;
  for (int n = 0; n < count; ++n) {
    const std::string of = count == 1 ? "" : std::string(Ordinal[n]) + " ";
    const std::string forShell = count == 1 ? "" : "for " + of + "shell: ";
    shells.push_back(CheckKappa(L, kappa[n], std::move(states[n]), of.c_str(), forShell.c_str()));
  }
  return shells;
}

bool QRelativistic(const Shells& s) { return s[0].spins.size() == 1; }

std::vector<double> CheckIntegrals(lua_State* L, int index) {
  std::vector<double> F;
  luaL_checkarray(L, index, F);
  if (!std::all_of(F.begin(), F.end(), [](double x) { return std::isfinite(x); }))
    luaL_error(L, "Error in LuaOperatorNewCoulomb, a Slater integral is not a finite number\n");
  return F;
}

OperatorType NewSingleShell(lua_State* L, std::uint32_t NF, const Shells& s) {
  const auto F = CheckIntegrals(L, 4);
  const int length = static_cast<int>(F.size());
  if (length != CoulombOrdersOf(s[0], s[0], s[0], s[0]).count) {
    if (QRelativistic(s))
      ScriptError(L,
                  "Error in LuaOperatorNewCoulomb, Lenght of Flarge (%d) is not equal to (2j+1)/2 (%d+1)/2\n",
                  length, s[0].twoJ);
    ScriptError(L, "Error in LuaOperatorNewCoulomb, Lenght of F (%d) is not equal to l+1\n", length);
  }
  return CreateOperatorCoulombSingleShell(NF, s[0], F);
}

OperatorType NewTwoShells(lua_State* L, std::uint32_t NF, const Shells& s) {
  const auto check = [&](int index, const char* name, CoulombOrders orders) {
    auto F = CheckIntegrals(L, index);
    const int length = static_cast<int>(F.size());
    if (length != orders.count) {
      if (QRelativistic(s))
        ScriptError(L,
                    "Error in LuaOperatorNewCoulomb, Lenght of %s (%d) is not equal to (Min(2 j1 (%d),2 j2 "
                    "(%d))+1)/2\n",
                    name, length, s[0].twoJ, s[1].twoJ);
      ScriptError(L, "Error in LuaOperatorNewCoulomb, Lenght of %s (%d) is not equal to (Min(lA,lB)+1)\n",
                  name, length);
    }
    return F;
  };
  const auto F = check(6, "F", CoulombOrdersOf(s[0], s[1], s[0], s[1]));
  const auto G = check(7, "G", CoulombOrdersOf(s[0], s[1], s[1], s[0]));
  return CreateOperatorCoulombTwoShellsConstantOccupation(NF, s[0], s[1], F, G);
}

OperatorType NewFourShells(lua_State* L, std::uint32_t NF, const Shells& s) {
  const bool empty = std::any_of(s.begin(), s.end(), [](const CoulombShell& A) { return A.twoJ < 0; });
  const int l[] = {s[0].l, s[1].l, s[2].l, s[3].l};
  if (!empty && (l[0] + l[1] + l[2] + l[3]) % 2 != 0)
    ScriptError(L, "Error in LuaOperatorNewCoulomb, lA(%d)+lB(%d)+lC(%d)+lD(%d) should be even.", l[0], l[1],
                l[2], l[3]);
  const auto R = CheckIntegrals(L, 10);
  const int length = static_cast<int>(R.size());
  if (length != CoulombOrdersOf(s[0], s[1], s[2], s[3]).count) {
    if (QRelativistic(s))
      ScriptError(L,
                  "Error in LuaOperatorNewCoulomb (10), Lenght of F (%d) is not equal to (Max(2 j1 (%d) + 2 "
                  "j3 (%d), 2 j2 (%d) + 2 j4 (%d)) - Min( |2j1-2j3|,|2j2-2j4| ))/2)+1\n",
                  length, s[0].twoJ, s[2].twoJ, s[1].twoJ, s[3].twoJ);
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, Lenght of R (%d) is not equal to "
                "(Min(lA+lC,lB+lD)-Max(Abs(lA-lC),Abs(lB-lD)))/2+1\n",
                length);
  }
  return CreateOperatorCoulombFourShells(NF, s[0], s[1], s[2], s[3], R);
}

}  // namespace

// NF, the lists of one, two or four shells, and their integrals: F, or F and G, or R. A shell is (IndexDn,
// IndexUp), or (Index, kappa) for states of good j: a number as argument 3 tells which.
int LuaOperatorNewCoulomb(lua_State* L) {
  const std::uint32_t NF = CheckFermionCount(L, "Coulomb operator acting on zero fermions is not defined");
  const int n = CountWithoutOptions(L), options = lua_gettop(L) > n ? n + 1 : 0;
  if (n != 4 && n != 7 && n != 10)
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, expected 4, 7, or 10 arguments for Coulomb repulsion in ls "
                "coupling basis or 3, 5, or 6 arguments for Coulomb repulsion in jj coupling basis, not %d\n",
                n);
  const int count = n == 4 ? 1 : n == 7 ? 2 : 4;
  const auto checkShells = lua_isnumber(L, 3) ? CheckRelativisticShells : CheckPlainShells;
  const Shells shells = checkShells(L, NF, count, options);
  const auto create = count == 1 ? NewSingleShell : count == 2 ? NewTwoShells : NewFourShells;
  return lua_push(L, create(L, NF, shells));
}

}  // namespace fermix
