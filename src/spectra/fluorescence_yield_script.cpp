#include "core/operator_script.h"
#include "core/restriction_script.h"
#include "core/space_check.h"
#include "core/wave_function_script.h"
#include "spectra/fluorescence_yield.h"
#include "spectra/resonant_spectra_script.h"
#include "spectra/spectra_arguments_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

ConvergenceSettingsType ReadOptions(lua_State* L, int index) {
  ConvergenceSettingsType s;
  LuaCheckOptions(L, index,
                  {Option("NTri", &s.NTri), Option("epsilon", &s.epsilon),
                   Option("restrictions", &s.Restrictions), Option("Emin", &s.grid.Emin),
                   Option("Emax", &s.grid.Emax), Option("NE", &s.grid.NE), Option("Gamma", &s.grid.Gamma)});
  RequireFinite(
      L, "CreateFluorescenceYield",
      {{"Emin", s.grid.Emin}, {"Emax", s.grid.Emax}, {"Gamma", s.grid.Gamma}, {"epsilon", s.epsilon}});
  RequireAtLeast(L, "CreateFluorescenceYield", 1, {{"NTri", WrittenCount(s.NTri)}});
  RequireAtLeast(L, "CreateFluorescenceYield", 0,
                 {{"NE", WrittenCount(s.grid.NE)}, {"Gamma", s.grid.Gamma}, {"epsilon", s.epsilon}});
  return s;
}

}  // namespace

// CreateFluorescenceYield(H, T1, T2, psi [, options]) -> spectra
int LuaCreateFluorescenceYield(lua_State* L) {
  const int n = CheckArgumentCount(
      L, 4, 5, "Error CreateFluorescenceYield called with %d arguments, 4 or 5 expected\n");
  CollectDeadRecords(L);
  const OperatorType* H = CheckRecord<OperatorType>(L, 1);
  const TwoStepArguments steps = ReadTwoStepArguments(L, 2, "LuaCreateFluorescenceYield");
  ConvergenceSettingsType settings;
  if (n == 5) settings = ReadOptions(L, 5);
  RequireSpaceOf(*H, "H", steps);
  RequireRestrictionsFit(settings.Restrictions, H->layout, "H");
  if (QOperatorHermitian(*H, settings.zero) == 0)
    return luaL_error(L, "CreateFluorescenceYield called with an operator that is not Hermitian\n");

  return lua_push(L, FluorescenceYield(*H, steps.T1, steps.T2, steps.psi, settings));
}

}  // namespace fermix
