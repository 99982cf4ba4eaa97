#include "spectra/create_spectra_script.h"

#include <cmath>

#include "core/operator_script.h"
#include "core/restriction_script.h"
#include "core/wave_function_script.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "spectra/create_spectra.h"
#include "spectra/response_script.h"
#include "spectra/spectra_arguments_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

// {Operator, spectra} or a list of such pairs. The pairs are checked; they enter no spectrum.
void CheckSingleSelfenergy(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 3, "table too deep");
  lua_rawgeti(L, index, 1);
  CheckRecord<OperatorType>(L, -1);
  lua_rawgeti(L, index, 2);
  CheckRecord<SpectraTypeArray>(L, -1);
  lua_pop(L, 2);
}

void CheckSelfenergy(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  const int count = static_cast<int>(lua_rawlen(L, index));
  if (count == 2) return CheckSingleSelfenergy(L, index);
  for (int i = 1; i <= count; ++i) {
    lua_rawgeti(L, index, i);
    CheckSingleSelfenergy(L, lua_gettop(L));
    lua_pop(L, 1);
  }
}

CreateSpectraSettings ReadOptions(lua_State* L, int index) {
  CreateSpectraSettings s;
  bool Tensor = false, Sigma = false;
  LuaCheckOptions(L, index,
                  {Option("Tensor", &Tensor), Option("Sigma", &Sigma), Option("KrylovBasis", &s.KrylovBasis),
                   Option("NTri", &s.solver.NTri), Option("epsilon", &s.solver.epsilon),
                   Option("restrictions", &s.solver.Restrictions), Option("Emin", &s.solver.grid.Emin),
                   Option("Emax", &s.solver.grid.Emax), Option("NE", &s.solver.grid.NE),
                   Option("Gamma", &s.solver.grid.Gamma), Option("E0", &s.E0),
                   Option("DenseBorder", &s.solver.DenseBorder),
                   Option("ForceDenseMethod", &s.ForceDenseMethod), Option("file", &s.file)});
  if (Tensor) luaL_error(L, "Tensor form for CreateSpectra not yet available\n");
  RequireAtLeast(L, "CreateSpectra", 1,
                 {{"NTri", WrittenCount(s.solver.NTri)}, {"NE", WrittenCount(s.solver.grid.NE)}});
  RequireFinite(L, "CreateSpectra",
                {{"Emin", s.solver.grid.Emin},
                 {"Emax", s.solver.grid.Emax},
                 {"Gamma", s.solver.grid.Gamma},
                 {"E0", s.E0},
                 {"epsilon", s.solver.epsilon}});
  RequireAtLeast(L, "CreateSpectra", 0, {{"Gamma", s.solver.grid.Gamma}, {"epsilon", s.solver.epsilon}});
  const bool window = s.solver.grid.Emin != CreateSpectraSettings::UnsetEmin &&
                      s.solver.grid.Emax != CreateSpectraSettings::UnsetEmax;
  if (window && !(s.solver.grid.Emin < s.solver.grid.Emax))
    ScriptError(L, "CreateSpectra called with an empty energy window, Emin=%f is not below Emax=%f\n",
                s.solver.grid.Emin, s.solver.grid.Emax);
  return s;
}

// --- Consistency of the arguments: one space for all

// Texts about fermions and about bosons, with the numbers of both sides.
struct SpaceTexts {
  const char *fermions, *bosons;
};

void RequireSpace(lua_State* L, const KeyLayout& a, const KeyLayout& b, const SpaceTexts& texts) {
  if (a.NFermion != b.NFermion) luaL_error(L, texts.fermions, a.NFermion, b.NFermion);
  if (a.NBoson != b.NBoson) luaL_error(L, texts.bosons, a.NBoson, b.NBoson);
}

const KeyLayout& SpaceOf(const WaveFunctionType& psi) { return Layout(psi); }
const KeyLayout& SpaceOf(const OperatorType& O) { return O.layout; }

// Every record of a list against the first; the texts begin with its position.
template <class T>
void RequireSpaceOfFirst(lua_State* L, const std::vector<const T*>& records, const SpaceTexts& texts) {
  const KeyLayout& first = SpaceOf(*records[0]);
  for (std::size_t k = 1; k < records.size(); ++k) {
    const KeyLayout& other = SpaceOf(*records[k]);
    const int position = static_cast<int>(k) + 1;
    if (other.NFermion != first.NFermion)
      luaL_error(L, texts.fermions, position, other.NFermion, first.NFermion);
    if (other.NBoson != first.NBoson) luaL_error(L, texts.bosons, position, other.NBoson, first.NBoson);
  }
}

void RequireOneSpace(lua_State* L, const OperatorType& H, const std::vector<const OperatorType*>& T,
                     const std::vector<const WaveFunctionType*>& psi, const DeterminantRestrictionType& R) {
  RequireSpaceOfFirst(L, psi,
                      {"Wave-function %d has a different number of Fermions (%d) than Wave-function 1 (%d)\n",
                       "Wave-function %d has a different number of Bosons (%d) than Wave-function 1 (%d)\n"});
  RequireSpaceOfFirst(
      L, T,
      {"Transition Operator %d has a different number of Fermions (%d) than Transition Operator 1 (%d)\n",
       "Transition Operator %d has a different number of Bosons (%d) than Transition Operator 1 (%d)\n"});
  const KeyLayout& space = SpaceOf(*psi[0]);
  RequireSpace(L, space, SpaceOf(*T[0]),
               {"Wave-functions have different number of Fermions (%d) than transition operators (%d)",
                "Wave-functions have different number of Bosons (%d) than transition operators (%d)"});
  RequireSpace(L, space, SpaceOf(H),
               {"Wave-functions have different number of Fermions (%d) than the Hamilton operator used for "
                "the propagator (%d)",
                "Wave-functions have different number of Bosons (%d) than the Hamilton operator used for the "
                "propagator (%d)"});
  if (NRestrictions(R) == 0) return;
  RequireSpace(
      L, space, R.layout,
      {"Wave-functions have different number of Fermions (%d) than the definitions of the restrictions (%d)",
       "Wave-functions have different number of Bosons (%d) than the definitions of the restrictions (%d)"});
}

void RequireHermitian(lua_State* L, const OperatorType& H, double zero) {
  switch (QOperatorHermitian(H, zero)) {
    case 0:
      luaL_error(L, "CreateSpectra called with an operator that is not Hermitian\n");
      break;
    case 2:
      VerbosityPrintf(16,
                      "CreateSpectra called with an operator that is not fully Hermitian\nStrongly sugested "
                      "to stop the calculation and repair this\n\n\n\nDo it\n\n\nReally Check this\n\n\nDid "
                      "you?\n\n\n");
      break;
    case 3:
      Say("WARNING: QOperatorHermitian failed in LuaCreateSpectra, this should not happen\n");
      Say("my guess is that you are out of memory and will crash soon\n");
      break;
    default:
      break;
  }
}

int PushRepresentation(lua_State* L, const TriDiagonalMatrixType& M) {
  return LuaPushTable_TriDiagonalMatrixType(L, M);
}
int PushRepresentation(lua_State* L, const ListOfPoles& P) { return LuaPushTable_ListOfPoles(L, P); }

}  // namespace

// CreateSpectra(H, T, psi [, sigma] [, options]) -> spectra, representations [, states]
int LuaCreateSpectra(lua_State* L) {
  const int n = CheckArgumentCount(
      L, 3, 5,
      "Error CreateSpectra called with %d arguments, 3 to 5 expected (H, T, psi, {sigma}, {options})\n");
  if (lua_gc(L, LUA_GCISRUNNING, 0)) lua_gc(L, LUA_GCCOLLECT, 0);
  const OperatorType* H = CheckRecord<OperatorType>(L, 1);
  const auto T = ReadRecords<OperatorType>(L, 2);
  const auto psi = ReadRecords<WaveFunctionType>(L, 3);
  if (T.empty())
    return luaL_error(L, "Errof CreateSpectra called with a table of transition operators of length 0\n");
  if (psi.empty())
    return luaL_error(L, "Errof CreateSpectra called with a table of wave functions of length 0\n");
  CreateSpectraSettings settings;
  if (n == 5 || (n == 4 && !LuaTestOptionsList(L, 4))) CheckSelfenergy(L, 4);
  if (n == 5 || (n == 4 && LuaTestOptionsList(L, 4))) settings = ReadOptions(L, n);
  RequireOneSpace(L, *H, T, psi, settings.solver.Restrictions);
  RequireHermitian(L, *H, settings.solver.zero);

  CreateSpectraResult result = CreateSpectra(*H, T, psi, settings);

  luaL_checkstack(L, 8, "too many values");
  lua_push(L, std::move(result.spectra));
  std::visit(
      [L](const auto& functions) {
        lua_createtable(L, static_cast<int>(functions.size()), 0);
        for (std::size_t k = 0; k < functions.size(); ++k) {
          PushRepresentation(L, functions[k]);
          lua_rawseti(L, -2, static_cast<int>(k) + 1);
        }
      },
      result.representations);
  if (!settings.KrylovBasis) return 2;
  return 2 + (result.states.size() == 1 ? lua_push(L, std::move(result.states[0]))
                                        : lua_push(L, std::move(result.states)));
}

}  // namespace fermix
