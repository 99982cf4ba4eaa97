#include "atomic/operator_factory_script.h"

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

// How the kinds of a shell are made. The front end is the name that messages give.
struct ShellKind {
  std::string_view kind;
  const char* frontEnd;
  Family family;
  OperatorType (*create)(std::uint32_t NF, const ShellIndices& shell);
};

using enum VectorComponent;
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
  if (a.basis == JJz && kind.family != Family::tensor)
    ScriptError(L, "Error in %s, the jjz basis is not yet implemented\n", kind.frontEnd);
  if (a.basis == SphericalHarmonicsY || kind.family == Family::spin)
    return lua_push(L, kind.create(a.NF, a.shell));
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
    {"Sx", "LuaOperatorNewSx", Family::spin, Component<CreateOperatorS, x>},
    {"Sy", "LuaOperatorNewSy", Family::spin, Component<CreateOperatorS, y>},
    {"Sz", "LuaOperatorNewSz", Family::spin, Component<CreateOperatorS, z>},
    {"Splus", "LuaOperatorNewSplus", Family::spin, Component<CreateOperatorS, plus>},
    {"Smin", "LuaOperatorNewSmin", Family::spin, Component<CreateOperatorS, min>},
    {"Ssqr", "LuaOperatorNewSsqr", Family::spin, Component<CreateOperatorS, sqr>},
    {"S^2", "LuaOperatorNewSsqr", Family::spin, Component<CreateOperatorS, sqr>},
    {"S2", "LuaOperatorNewSsqr", Family::spin, Component<CreateOperatorS, sqr>},
    {"Lx", "LuaOperatorNewLx", Family::momentum, Component<CreateOperatorL, x>},
    {"Ly", "LuaOperatorNewLy", Family::momentum, Component<CreateOperatorL, y>},
    {"Lz", "LuaOperatorNewLz", Family::momentum, Component<CreateOperatorL, z>},
    {"Lplus", "LuaOperatorNewLplus", Family::momentum, Component<CreateOperatorL, plus>},
    {"Lmin", "LuaOperatorNewLmin", Family::momentum, Component<CreateOperatorL, min>},
    {"Lsqr", "LuaOperatorNewLsqr", Family::momentum, Component<CreateOperatorL, sqr>},
    {"L^2", "LuaOperatorNewLsqr", Family::momentum, Component<CreateOperatorL, sqr>},
    {"L2", "LuaOperatorNewLsqr", Family::momentum, Component<CreateOperatorL, sqr>},
    {"Jx", "LuaOperatorNewJx", Family::momentum, Component<CreateOperatorJ, x>},
    {"Jy", "LuaOperatorNewJy", Family::momentum, Component<CreateOperatorJ, y>},
    {"Jz", "LuaOperatorNewJz", Family::momentum, Component<CreateOperatorJ, z>},
    {"Jplus", "LuaOperatorNewJplus", Family::momentum, Component<CreateOperatorJ, plus>},
    {"Jmin", "LuaOperatorNewJmin", Family::momentum, Component<CreateOperatorJ, min>},
    {"Jsqr", "LuaOperatorNewJsqr", Family::momentum, Component<CreateOperatorJ, sqr>},
    {"J^2", "LuaOperatorNewJsqr", Family::momentum, Component<CreateOperatorJ, sqr>},
    {"J2", "LuaOperatorNewJsqr", Family::momentum, Component<CreateOperatorJ, sqr>},
    {"Tx", "LuaOperatorNewTx", Family::tensor, Component<CreateOperatorT, x>},
    {"Ty", "LuaOperatorNewTy", Family::tensor, Component<CreateOperatorT, y>},
    {"Tz", "LuaOperatorNewTz", Family::tensor, Component<CreateOperatorT, z>},
    {"Tplus", "LuaOperatorNewTplus", Family::tensor, Component<CreateOperatorT, plus>},
    {"Tmin", "LuaOperatorNewTmin", Family::tensor, Component<CreateOperatorT, min>},
    {"Tsqr", "LuaOperatorNewTsqr", Family::tensor, Component<CreateOperatorT, sqr>},
    {"Qx", "LuaOperatorNewQxx", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::xx>},
    {"Qxx", "LuaOperatorNewQxx", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::xx>},
    {"Qy", "LuaOperatorNewQyy", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::yy>},
    {"Qyy", "LuaOperatorNewQyy", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::yy>},
    {"Qz", "LuaOperatorNewQzz", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::zz>},
    {"Qzz", "LuaOperatorNewQzz", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::zz>},
    {"Qxy", "LuaOperatorNewQxy", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::xy>},
    {"Qyx", "LuaOperatorNewQxy", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::xy>},
    {"Qxz", "LuaOperatorNewQxz", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::xz>},
    {"Qzx", "LuaOperatorNewQxz", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::xz>},
    {"Qyz", "LuaOperatorNewQyz", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::yz>},
    {"Qzy", "LuaOperatorNewQyz", Family::tensor, Component<CreateOperatorQ, QuadrupoleComponent::yz>},
    {"ldots", "LuaOperatorNewldots", Family::momentum, CreateOperatorldots},
};

constexpr struct {
  std::string_view kind;
  lua_CFunction make;
} otherKinds[] = {
    {"Coulomb", LuaOperatorNewCoulomb},
    {"U", LuaOperatorNewCoulomb},
    {"CF", LuaOperatorNewCF},
    {"Create", LuaOperatorNewCreate},
    {"Cr", LuaOperatorNewCreate},
    {"Annihilate", LuaOperatorNewAnnihilate},
    {"An", LuaOperatorNewAnnihilate},
    {"Number", LuaOperatorNewNumber},
    {"CrAn", LuaOperatorNewNumber},
    {"n", LuaOperatorNewNumber},
    {"Identity", LuaOperatorNewIdentity},
    {"I", LuaOperatorNewIdentity},
    {"1", LuaOperatorNewIdentity},
    {"HarmonicOscillatorOnStandingWaves", LuaOperatorNewHarmonicOscillatorOnStandingWaves},
    {"HOSW", LuaOperatorNewHarmonicOscillatorOnStandingWaves},
    {"HarmonicOscillatorOnGrid", LuaOperatorNewHarmonicOscillatorOnGrid},
    {"HOGrid", LuaOperatorNewHarmonicOscillatorOnGrid},
    {"AtomicU", LuaOperatorNotYetImplemented},
    {"AU", LuaOperatorNotYetImplemented},
    {"ContinuumU", LuaOperatorNotYetImplemented},
    {"CU", LuaOperatorNotYetImplemented},
    {"Dirac", LuaOperatorNotYetImplemented},
    {"H0", LuaOperatorNotYetImplemented},
};

}  // namespace

int LuaNewNamedOperator(lua_State* L, const char* kind) {
  for (const auto& row : shellKinds)
    if (row.kind == kind) return NewShellOperator(L, row);
  for (const auto& row : otherKinds)
    if (row.kind == kind) return row.make(L);
  return -1;
}

}  // namespace fermix
