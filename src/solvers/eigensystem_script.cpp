#include "solvers/eigensystem_script.h"

#include <cfloat>
#include <cmath>

#include "core/operator_algebra.h"
#include "core/operator_script.h"
#include "core/restriction_script.h"
#include "core/wave_function_script.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "linalg/matrix_functions_script.h"
#include "linalg/matrix_script.h"
#include "solvers/conserve_basis.h"
#include "solvers/ground_state.h"

namespace fermix {

namespace {

void CollectGarbage(lua_State* L) {
  if (lua_gc(L, LUA_GCISRUNNING, 0)) lua_gc(L, LUA_GCCOLLECT, 0);
}

// What the call asks for.
struct Call {
  ConvergenceSettingsType settings;
  DeterminantRestrictionType start;  // of the states that are to be created
  bool QCreate = false;              // restriction form
  bool QList = false;                // start functions came as a table
  bool ExpandBasis = true;
  std::uint32_t n = 1;
  std::vector<WaveFunctionType> psi;
};

// --- Reading
// -------------------------------------------------------------------------------------------------

bool QRestrictionTable(lua_State* L, int index) {
  lua_rawgeti(L, index, 1);
  const bool number = lua_type(L, -1) == LUA_TNUMBER;
  lua_pop(L, 1);
  return number;
}

// The states of the list at index, each named once.
void ReadStates(lua_State* L, int index, Call& call) {
  std::vector<WaveFunctionType*> states;
  luaL_checkarray(L, index, states);
  std::map<const WaveFunctionType*, int> seen;
  for (std::size_t k = 0; k < states.size(); ++k) {
    const int position = static_cast<int>(k) + 1;
    const auto [first, isNew] = seen.emplace(states[k], position);
    if (!isNew)
      ScriptError(
          L,
          "Eigensystem called with a list of functions. Function with name \"%s\" is at position %d and %d\n",
          states[k]->Name.c_str(), first->second, position);
  }
  for (const WaveFunctionType* state : states) call.psi.push_back(*state);
}

void ReadStartFunctions(lua_State* L, Call& call) {
  if (!lua_istable(L, 2)) {
    WaveFunctionType* state;
    lua_check(L, 2, state);
    call.psi.push_back(*state);
  } else if (QRestrictionTable(L, 2)) {
    call.QCreate = true;
    luaL_setarray_DeterminatRestrictionType(L, 2, &call.start);
    if (lua_gettop(L) == 2)
      luaL_error(
          L,
          "Error Eigensystem called with 2 arguments, whereby the first is the operator and the second a "
          "set of restrictions\nNeed a thrid argument how many eigenstates should be calculated\n");
  } else {
    call.QList = true;
    ReadStates(L, 2, call);
  }
}

std::uint32_t CheckCount(lua_State* L, int index) {
  std::uint32_t n;
  if (luaL_checknumber(L, index) <= -0.5)
    ScriptError(L, "Eigensystem called for a negative number of states (%g)\n", lua_tonumber(L, index));
  lua_check(L, index, n);
  return n;
}

void ReadOptions(lua_State* L, Call& call) {
  const int last = lua_gettop(L);
  if (last < (call.QCreate ? 4 : 3) || lua_isnil(L, last)) return;
  ConvergenceSettingsType& s = call.settings;
  LuaCheckOptions(
      L, last,
      {Option("DenseBorder", &s.DenseBorder), Option("NKrylovStart", &s.NKrylovStart),
       Option("NKrylovMax", &s.NKrylovMax), Option("NKrylovStep", &s.NKrylovStep),
       Option("NKrylovMin", &s.NKrylovMin), Option("NBitsKey", &s.NBitsKey), Option("epsilon", &s.epsilon),
       Option("Epsilon", &s.epsilon), Option("zero", &s.zero), Option("Zero", &s.zero),
       Option("restrictions", &s.Restrictions), Option("Restrictions", &s.Restrictions),
       Option("ExpandBasis", &call.ExpandBasis), Option("ShiftScheme", &s.ShiftScheme)});
  RequireFinite(L, "Eigensystem", {{"epsilon", s.epsilon}, {"zero", s.zero}});
  RequireAtLeast(L, "Eigensystem", 0, {{"epsilon", s.epsilon}, {"zero", s.zero}});
  if (s.DenseBorder < call.psi.size()) s.DenseBorder = static_cast<std::uint32_t>(call.psi.size());
}

// --- Checks
// --------------------------------------------------------------------------------------------------

// All that meets must live on one space.
void CheckSpaces(lua_State* L, const OperatorType& H, const Call& call) {
  for (std::size_t k = 0; k < call.psi.size(); ++k) {
    const KeyLayout layout = Layout(call.psi[k]);
    if (layout.NFermion != H.layout.NFermion)
      ScriptError(
          L, "Wave-function %d has a different number of Fermions (%d) than the Hamilton operator (%d)\n",
          static_cast<int>(k) + 1, layout.NFermion, H.layout.NFermion);
    if (layout.NBoson != H.layout.NBoson)
      ScriptError(L,
                  "Wave-function %d has a different number of Bosons (%d) than the Hamilton operator (%d)\n",
                  static_cast<int>(k) + 1, layout.NBoson, H.layout.NBoson);
  }
  CheckRestrictionsFit(L, call.start, H.layout);
  CheckRestrictionsFit(L, call.settings.Restrictions, H.layout);
  CheckRestrictionsFit(L, H.Restrictions, H.layout);
}

bool QFinite(Complex16 z) { return std::isfinite(z.re) && std::isfinite(z.im); }

void CheckFinite(lua_State* L, const std::vector<WaveFunctionType>& psi) {
  for (std::size_t k = 0; k < psi.size(); ++k)
    for (std::uint32_t i = 1; i <= ElementCount(psi[k]); ++i)
      if (!QFinite(ElementValue(psi[k], i)))
        ScriptError(
            L,
            "Eigensystem called with wave-function %d that has a coefficient that is not a finite number\n",
            static_cast<int>(k) + 1);
}

void CheckStartIsPossible(lua_State* L, const Call& call) {
  if (!call.QCreate) return;
  if (!call.ExpandBasis)
    luaL_error(L,
               "Eigensystem called with a set of restrictions and ExpandBasis false. Without start functions "
               "there is no basis that could be kept\n");
  if (call.settings.NBitsKey == 0)
    luaL_error(L,
               "Eigensystem called with a set of restrictions and NBitsKey 0, which turns off the creation "
               "of start functions\n");
}

// A search needs a state that is not 0. On a kept basis the dense solver needs none, only determinants.
void CheckStartIsNotZero(lua_State* L, const Call& call) {
  if (call.psi.empty()) return;
  for (const WaveFunctionType& psi : call.psi)
    if (WaveFunctionCalculateNorm(psi) > 0) return;
  const std::uint32_t determinants = ElementCount(call.psi[0]);
  if (!call.ExpandBasis && determinants > 0 && determinants <= call.settings.DenseBorder) return;
  luaL_error(L, "Eigensystem called with start functions of norm 0, there is nothing to start from\n");
}

// --- Preparation
// ---------------------------------------------------------------------------------------------

// Puts the start functions on one basis and normalises them; zero functions, which only bring their
// determinants, stay zero.
void PrepareStartFunctions(lua_State* L, Call& call) {
  CheckFinite(L, call.psi);
  const auto toSameBasis = [&] { WaveFunctionArrayToSameBasis(call.psi); };
  if (call.QList && !FitsInMemory(toSameBasis)) {
    lua_gc(L, LUA_GCCOLLECT, 0);
    lua_gc(L, LUA_GCCOLLECT, 0);
    if (!FitsInMemory(toSameBasis)) luaL_error(L, "Out of memory in Eigensystem");
  }
  CheckStartIsNotZero(L, call);
  for (WaveFunctionType& psi : call.psi)
    if (WaveFunctionCalculateNorm(psi) > 0) WaveFunctionNormalize(psi);
}

// Runs step; if memory runs out in it, says which step and goes on.
template <class Step>
bool Repair(const char* name, Step&& step) {
  if (FitsInMemory(step)) return true;
  Say("WARNING: %s failed in LuaEigensystem, this should not happen\n", name);
  Say("my guess is that you are out of memory and will crash soon\n");
  return false;
}

// half = (source + its conjugate transpose) / 2 in normal order, without what is small against zero.
bool HermitianHalf(const OperatorType& source, double zero, OperatorType& half) {
  if (!Repair("OperatorConjugateTransposeNormalOrder",
              [&] { half = OperatorConjugateTransposeNormalOrder(source, QDetNotOrderedFcFaBaBc); }))
    return false;
  Repair("OperatorAddNormalOrder",
         [&] { OperatorAddNormalOrder(half, source, 1.0, QDetNotOrderedFcFaBaBc); });
  OperatorScale(half, 0.5);
  OperatorRemoveSmallValues(half, zero * DBL_EPSILON);
  return true;
}

// Replaces a not quite Hermitian H by its Hermitian part, twice, so that the second pass removes the rounding
// of the first.
void RepairHermiticity(OperatorType& H, double zero) {
  VerbosityPrintf(1, "===========Warning===================\n");
  VerbosityPrintf(1, "Eigensystem called with an operator that is not fully Hermitian\n");
  VerbosityPrintf(1, "I now will try to repair this.\n");
  VerbosityPrintf(1,
                  "Replace Opp by NormalOrder ( 0.5(Opp + ConjugateTranspose(Opp) ), chop at the level "
                  "DBL_epsilon * zero and repeat once.\n");
  OperatorType A, B;
  if (!HermitianHalf(H, zero, A) || !HermitianHalf(A, zero, B)) return;
  B.Name = H.Name;
  H = std::move(B);
}

void CheckHermitian(lua_State* L, OperatorType& H, double zero) {
  switch (QOperatorHermitian(H, zero)) {
    case 0:
      luaL_error(L, "Eigensystem called with an operator that is not Hermitian\n");
      break;
    case 2:
      RepairHermiticity(H, zero);
      break;
    case 3:
      Say("WARNING: QOperatorHermitian failed in LuaEigensystem, this should not happen\n");
      Say("my guess is that you are out of memory and will crash soon\n");
      break;
    default:
      break;
  }
}

// --- Solving and giving back
// ---------------------------------------------------------------------------------

// What the solver could not do it has said; the states stand as they are. Without memory the program ends.
void Solve(lua_State* L, OperatorType& H, Call& call) {
  if (call.ExpandBasis) {
    const int status = BlockGroundState(H, call.n, call.settings, call.start, call.settings.Restrictions,
                                        call.psi, call.settings.NBitsKey);
    if (status == StatusNothingAllowed)
      luaL_error(L,
                 "Error in Eigensystem, the restrictions allow no determinant that the operator reaches from "
                 "the start functions\n");
    if (status == StatusOutOfMemory) EndOfMemory();
    if (!call.psi.empty() && ElementCount(call.psi[0]) == 0)
      Say("Error in Eigensystem: nothing is left of the states, epsilon (%g) or zero (%g) is too large\n",
          call.settings.epsilon, call.settings.zero);
  } else if (BlockLanczosGroundStateConserveBasis(H, 0.0, call.psi, call.settings) == 1) {
    EndOfMemory();
  }
  WaveFunctionArraySeperateBasis(call.psi);
}

int GiveBack(lua_State* L, Call& call) {
  if (call.QCreate) {
    if (call.psi.size() < call.n)
      return luaL_error(
          L, "Error in Eigensystem, no start functions could be created within the restrictions\n");
    return call.n == 1 ? lua_push(L, std::move(call.psi[0])) : lua_push(L, std::move(call.psi));
  }
  if (!call.QList) {
    *CheckRecord<WaveFunctionType>(L, 2) = std::move(call.psi[0]);
    return 0;
  }
  for (std::size_t k = 0; k < call.psi.size(); ++k) {
    lua_rawgeti(L, 2, static_cast<int>(k) + 1);
    *CheckRecord<WaveFunctionType>(L, -1) = std::move(call.psi[k]);
    lua_pop(L, 1);
  }
  return 0;
}

// A matrix in either form. A table with the key type would be a response function.
int EigensystemOfMatrix(lua_State* L) {
  bool matrix = TestRecord<CompactMatrixType>(L, 1) != nullptr;
  if (lua_istable(L, 1)) {
    lua_pushliteral(L, "type");
    lua_rawget(L, 1);
    matrix = !lua_isstring(L, -1);
    lua_pop(L, 1);
  }
  if (!matrix)
    return luaL_error(
        L,
        "Error Eigensystem called with a single argument, which should be either a matrix (square "
        "table or one of the (block) response function types)");
  return LuaMatrixEigensystem(L);
}

}  // namespace

// Eigensystem(m)                               -> see Matrix.Eigensystem
// Eigensystem(H, psi | {psi, ...} [, options])         improves the states in place
// Eigensystem(H, restrictions, n [, options])  -> psi  for n = 1, else {psi, ...}
int LuaEigensystem(lua_State* L) {
  VerbosityPrintf(0x10000000, "Start of LuaEigensystem\n");
  const int arguments = lua_gettop(L);
  if (arguments == 1) return EigensystemOfMatrix(L);
  CollectGarbage(L);
  if (arguments < 2 || arguments > 4)
    return luaL_error(L, "Error Eigensystem called with %d arguments, 1, 2, 3 or 4 expected\n", arguments);
  OperatorType* H;
  lua_check(L, 1, H);
  Call call;
  ReadStartFunctions(L, call);
  ReadOptions(L, call);
  if (call.QCreate) {
    call.n = CheckCount(L, 3);
  } else {
    call.n = static_cast<std::uint32_t>(call.psi.size());
  }
  CheckSpaces(L, *H, call);
  CheckStartIsPossible(L, call);
  PrepareStartFunctions(L, call);
  lua_check(L, 1, H);                         // a collection may have run finalisers of the script
  CheckHermitian(L, *H, call.settings.zero);  // the last, as it may mend H

  Solve(L, *H, call);

  return GiveBack(L, call);
}

}  // namespace fermix
