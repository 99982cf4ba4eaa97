#include <algorithm>
#include <cstdlib>

#include "atomic/coulomb.h"
#include "atomic/operator_families_script.h"
#include "atomic/shell_arguments_script.h"
#include "core/operator_script.h"

namespace fermix {

namespace {

// The two lists of a shell at index and index + 1. Scripts give spin down first; the repulsion does not care.
ShellIndices CheckShellRange(lua_State* L, int index, std::uint32_t NF) {
  const auto dn = CheckIndices(L, index), up = CheckIndices(L, index + 1);
  ShellIndices shell;
  shell.list[0] = CheckRange(L, up, NF, "Index up");
  shell.list[1] = CheckRange(L, dn, NF, "Index dn");
  return shell;
}

void CheckShellLengths(lua_State* L, const ShellIndices& shell) {
  const int up = static_cast<int>(shell.list[0].size()), dn = static_cast<int>(shell.list[1].size());
  if (up != dn)
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, Lenght of IndexUp (%d) is not equal to lenght of IndexDn "
                "(%d)\n",
                up, dn);
  if (up % 2 == 0)
    ScriptError(L, "Error in LuaOperatorNewCoulomb, Lenght of IndexUp (%d) is not equal to 2l+1\n", up);
}

// The Slater integrals at index. wrongLength is the message, with a place for the length found.
std::vector<double> CheckSlaterIntegrals(lua_State* L, int index, int length, const char* wrongLength) {
  std::vector<double> F;
  luaL_checkarray(L, index, F);
  if (static_cast<int>(F.size()) != length) luaL_error(L, wrongLength, static_cast<int>(F.size()));
  return F;
}

// NF, IndexDn, IndexUp, F
int NewCoulombSingleShell(lua_State* L, std::uint32_t NF, const ShellIndices& shell) {
  CheckShellLengths(L, shell);
  const auto F = CheckSlaterIntegrals(
      L, 4, shell.l() + 1, "Error in LuaOperatorNewCoulomb, Lenght of F (%d) is not equal to l+1\n");
  return lua_push(L, CreateOperatorCoulombSingleShell(NF, shell, F));
}

// NF, IndexDnA, IndexUpA, IndexDnB, IndexUpB, F, G
int NewCoulombTwoShells(lua_State* L, std::uint32_t NF, const ShellIndices& A, const ShellIndices& B) {
  CheckShellLengths(L, A);
  CheckShellLengths(L, B);
  const int length = std::min(A.l(), B.l()) + 1;
  const auto F = CheckSlaterIntegrals(
      L, 6, length, "Error in LuaOperatorNewCoulomb, Lenght of F (%d) is not equal to (Min(lA,lB)+1)\n");
  const auto G = CheckSlaterIntegrals(
      L, 7, length, "Error in LuaOperatorNewCoulomb, Lenght of G (%d) is not equal to (Min(lA,lB)+1)\n");
  return lua_push(L, CreateOperatorCoulombTwoShellsConstantOccupation(NF, A, B, F, G));
}

[[noreturn]] void RefuseRelativistic(lua_State* L, int basis) {
  if (basis != JJz)
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, Orbitals formatted according to j jz basis, but options "
                "state it is an Harmonics basis (ibasis = %d)\n",
                basis);
  ScriptError(L,
              "Error in LuaOperatorNewCoulomb, relativistic shells (j jz basis) are not yet implemented\n");
}

}  // namespace

// The number of arguments, without a trailing option list, and the kind of argument 3 choose the form.
int LuaOperatorNewCoulomb(lua_State* L) {
  const std::uint32_t NF = CheckFermionCount(L, "Coulomb operator acting on zero fermions is not defined");
  const int n = CountWithoutOptions(L), options = lua_gettop(L) > n ? n + 1 : 0;
  if (n != 4 && n != 7 && n != 10)
    ScriptError(L,
                "Error in LuaOperatorNewCoulomb, expected 4, 7, or 10 arguments for Coulomb repulsion in ls "
                "coupling basis or 3, 5, or 6 arguments for Coulomb repulsion in jj coupling basis, not %d\n",
                n);
  if (lua_isnumber(L, 3)) RefuseRelativistic(L, CheckBasis(L, options, JJz));
  if (n == 10)
    ScriptError(L, "Error in LuaOperatorNewCoulomb, repulsion between four shells is not yet implemented\n");

  const int basis = CheckBasis(L, options, SphericalHarmonicsY);
  const ShellIndices A = CheckShellRange(L, 2, NF);
  const ShellIndices B = n == 7 ? CheckShellRange(L, 4, NF) : ShellIndices{};
  if (basis == JJz)
    ScriptError(
        L,
        "Error in LuaOperatorNewCoulomb, Orbitals formatted according to Harmonics basis, but options "
        "state it is a jjz basis\n");
  return n == 4 ? NewCoulombSingleShell(L, NF, A) : NewCoulombTwoShells(L, NF, A, B);
}

}  // namespace fermix
