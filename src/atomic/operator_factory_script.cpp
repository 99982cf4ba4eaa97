#include "atomic/operator_factory_script.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "atomic/operator_families_script.h"
#include "atomic/shell_arguments_script.h"
#include "atomic/shell_operators.h"
#include "atomic/tensor_operators.h"
#include "core/operator_script.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// What a family does in other bases: the spin is the same in all of them, the momenta have forms of their own
// in the jjz basis, the tensors have none.
enum class Family { spin, momentum, tensor };

// The spellings of a kind; those that are not used are empty.
using Spellings = std::string_view[3];

// How the operators of a shell are made. The front end is the name that messages give.
struct ShellKind {
  const char* frontEnd;
  Spellings kinds;
  Family family;
  OperatorType (*create)(std::uint32_t NF, const ShellIndices& shell);
};

using enum VectorComponent;
using enum QuadrupoleComponent;
template <auto Create, auto C>
OperatorType Component(std::uint32_t NF, const ShellIndices& shell) {
  return Create(C, NF, shell);
}

// The lists as checked and cut to indices, and the basis they stand in.
struct ShellArguments {
  std::uint32_t NF;
  ShellIndices shell;
  int basis;
};

void CheckJJzLengths(lua_State* L, const ShellKind& kind, int first, int second) {
  if (first + 2 != second)
    ScriptError(
        L, "Error in %s, 2 plus the lenght of IndexJmin (%d) is not equal to lenght of IndexJplus (%d)\n",
        kind.frontEnd, first, second);
  if (first % 2 != 0)
    ScriptError(L, "Error in %s, Lenght of IndexJmin (%d) is not equal to 2l\n", kind.frontEnd, first);
}

void CheckSpinLengths(lua_State* L, const ShellKind& kind, int first, int second) {
  if (first != second)
    ScriptError(L, "Error in %s, Lenght of IndexUp (%d) is not equal to lenght of IndexDn (%d)\n",
                kind.frontEnd, first, second);
  if (kind.family != Family::spin && first % 2 == 0)
    ScriptError(L, "Error in %s, Lenght of IndexUp (%d) is not equal to 2l+1\n", kind.frontEnd, first);
}

// NF, two lists, and after them an option list.
ShellArguments CheckShellArguments(lua_State* L, const ShellKind& kind) {
  const std::uint32_t NF =
      CheckFermionCount(L, "Angular momentum operator acting on zero fermions is not defined");
  const auto first = CheckIndices(L, 2), second = CheckIndices(L, 3);
  const int last = lua_gettop(L);
  const int basis = CheckBasis(L, last > 3 ? last : 0, BasisOfLists(first.size(), second.size()));

  ShellArguments a{NF, {}, basis};
  a.shell.list[0] = CheckRange(L, first, NF, "First index");
  a.shell.list[1] = CheckRange(L, second, NF, "Second index");
  const int lengths[] = {static_cast<int>(first.size()), static_cast<int>(second.size())};
  (basis == JJz ? CheckJJzLengths : CheckSpinLengths)(L, kind, lengths[0], lengths[1]);
  return a;
}

int NewShellOperator(lua_State* L, const ShellKind& kind) {
  const ShellArguments a = CheckShellArguments(L, kind);
  const bool implemented = a.basis == SphericalHarmonicsY || kind.family == Family::spin ||
                           (a.basis == JJz && kind.family == Family::momentum);
  if (implemented) return lua_push(L, kind.create(a.NF, a.shell));
  Say("not yet implemented\n");
  return lua_push(L, InitOperator(a.NF, 0));
}

int LuaOperatorNotYetImplemented(lua_State* L) {
  return luaL_error(
      L,
      "Error in NewOperator, operators from radial functions (AtomicU, ContinuumU, Dirac, H0) are "
      "not yet implemented\n");
}

constexpr ShellKind shellKinds[] = {
    {"LuaOperatorNewSx", {"Sx"}, Family::spin, Component<CreateOperatorS, x>},
    {"LuaOperatorNewSy", {"Sy"}, Family::spin, Component<CreateOperatorS, y>},
    {"LuaOperatorNewSz", {"Sz"}, Family::spin, Component<CreateOperatorS, z>},
    {"LuaOperatorNewSplus", {"Splus"}, Family::spin, Component<CreateOperatorS, plus>},
    {"LuaOperatorNewSmin", {"Smin"}, Family::spin, Component<CreateOperatorS, min>},
    {"LuaOperatorNewSsqr", {"Ssqr", "S^2", "S2"}, Family::spin, Component<CreateOperatorS, sqr>},
    {"LuaOperatorNewLx", {"Lx"}, Family::momentum, Component<CreateOperatorL, x>},
    {"LuaOperatorNewLy", {"Ly"}, Family::momentum, Component<CreateOperatorL, y>},
    {"LuaOperatorNewLz", {"Lz"}, Family::momentum, Component<CreateOperatorL, z>},
    {"LuaOperatorNewLplus", {"Lplus"}, Family::momentum, Component<CreateOperatorL, plus>},
    {"LuaOperatorNewLmin", {"Lmin"}, Family::momentum, Component<CreateOperatorL, min>},
    {"LuaOperatorNewLsqr", {"Lsqr", "L^2", "L2"}, Family::momentum, Component<CreateOperatorL, sqr>},
    {"LuaOperatorNewJx", {"Jx"}, Family::momentum, Component<CreateOperatorJ, x>},
    {"LuaOperatorNewJy", {"Jy"}, Family::momentum, Component<CreateOperatorJ, y>},
    {"LuaOperatorNewJz", {"Jz"}, Family::momentum, Component<CreateOperatorJ, z>},
    {"LuaOperatorNewJplus", {"Jplus"}, Family::momentum, Component<CreateOperatorJ, plus>},
    {"LuaOperatorNewJmin", {"Jmin"}, Family::momentum, Component<CreateOperatorJ, min>},
    {"LuaOperatorNewJsqr", {"Jsqr", "J^2", "J2"}, Family::momentum, Component<CreateOperatorJ, sqr>},
    {"LuaOperatorNewTx", {"Tx"}, Family::tensor, Component<CreateOperatorT, x>},
    {"LuaOperatorNewTy", {"Ty"}, Family::tensor, Component<CreateOperatorT, y>},
    {"LuaOperatorNewTz", {"Tz"}, Family::tensor, Component<CreateOperatorT, z>},
    {"LuaOperatorNewTplus", {"Tplus"}, Family::tensor, Component<CreateOperatorT, plus>},
    {"LuaOperatorNewTmin", {"Tmin"}, Family::tensor, Component<CreateOperatorT, min>},
    {"LuaOperatorNewTsqr", {"Tsqr"}, Family::tensor, Component<CreateOperatorT, sqr>},
    {"LuaOperatorNewQxx", {"Qx", "Qxx"}, Family::tensor, Component<CreateOperatorQ, xx>},
    {"LuaOperatorNewQyy", {"Qy", "Qyy"}, Family::tensor, Component<CreateOperatorQ, yy>},
    {"LuaOperatorNewQzz", {"Qz", "Qzz"}, Family::tensor, Component<CreateOperatorQ, zz>},
    {"LuaOperatorNewQxy", {"Qxy", "Qyx"}, Family::tensor, Component<CreateOperatorQ, xy>},
    {"LuaOperatorNewQxz", {"Qxz", "Qzx"}, Family::tensor, Component<CreateOperatorQ, xz>},
    {"LuaOperatorNewQyz", {"Qyz", "Qzy"}, Family::tensor, Component<CreateOperatorQ, yz>},
    {"LuaOperatorNewldots", {"ldots"}, Family::momentum, CreateOperatorldots},
};

constexpr struct {
  Spellings kinds;
  lua_CFunction make;
} otherKinds[] = {
    {{"Coulomb", "U"}, LuaOperatorNewCoulomb},
    {{"CF"}, LuaOperatorNewCF},
    {{"Create", "Cr"}, LuaOperatorNewCreate},
    {{"Annihilate", "An"}, LuaOperatorNewAnnihilate},
    {{"Number", "CrAn", "n"}, LuaOperatorNewNumber},
    {{"Identity", "I", "1"}, LuaOperatorNewIdentity},
    {{"HarmonicOscillatorOnStandingWaves", "HOSW"}, LuaOperatorNewHarmonicOscillatorOnStandingWaves},
    {{"HarmonicOscillatorOnGrid", "HOGrid"}, LuaOperatorNewHarmonicOscillatorOnGrid},
    {{"AtomicU", "AU"}, LuaOperatorNotYetImplemented},
    {{"ContinuumU", "CU"}, LuaOperatorNotYetImplemented},
    {{"Dirac", "H0"}, LuaOperatorNotYetImplemented},
};

bool QSpelling(const Spellings& kinds, std::string_view kind) {
  return !kind.empty() && std::find(std::begin(kinds), std::end(kinds), kind) != std::end(kinds);
}

}  // namespace

int LuaNewNamedOperator(lua_State* L, const char* kind) {
  for (const auto& row : shellKinds)
    if (QSpelling(row.kinds, kind)) return NewShellOperator(L, row);
  for (const auto& row : otherKinds)
    if (QSpelling(row.kinds, kind)) return row.make(L);
  return -1;
}

}  // namespace fermix
