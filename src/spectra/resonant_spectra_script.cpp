#include "spectra/resonant_spectra_script.h"

#include "core/operator_script.h"
#include "core/restriction_script.h"
#include "core/space_check.h"
#include "core/wave_function_script.h"
#include "host/base/verbosity.h"
#include "spectra/resonant_spectra.h"
#include "spectra/spectra_arguments_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

// What is said about a Hamiltonian that is not Hermitian.
struct HermitianTexts {
  const char *not_fully, *not_at_all;
};
constexpr HermitianTexts H1Texts = {
    "CreateResonantSpectra called with an operator (H1) that is not fully Hermitian\nStrongly sugested to "
    "stop the calculation and repair this\n\n\n\nDo it\n\n\nReally Check this\n\n\nDid you?\n\n\n",
    "CreateResonantSpectra called with an operator (H1) that is not Hermitian\n"};
constexpr HermitianTexts H2Texts = {
    "CreateResonantSpectra called with an operator (H2) that is not fully Hermitian\nStrongly sugested to "
    "stop the calculation and repair this\n\n\n\nDo it\n\n\nReally Check this\n\n\nDid you?\n\n\n",
    "CreateResonantSpectra called with an operator (H2) that is not Hermitian\n"};

void RequireHermitian(lua_State* L, const OperatorType& H, double zero, const HermitianTexts& texts) {
  switch (QOperatorHermitian(H, zero)) {
    case 0:
      luaL_error(L, texts.not_at_all);
      break;
    case 2:
      VerbosityPrintf(16, "%s", texts.not_fully);
      break;
    case 3:
      Say("WARNING: QOperatorHermitian failed in LuaCreateResonantSpectra, this should not happen\n");
      Say("my guess is that you are out of memory and will crash soon\n");
      break;
    default:
      break;
  }
}

ResonantSpectraSettings ReadOptions(lua_State* L, int index, bool& Tensor) {
  ResonantSpectraSettings s;
  ConvergenceSettingsType& c = s.solver;
  double E0 = ResonantSpectraSettings::UnsetE0;
  LuaCheckOptions(
      L, index,
      {Option("NTri1", &c.NTri1), Option("NTri2", &c.NTri2), Option("Tensor", &Tensor),
       Option("restrictions1", &c.Restrictions1), Option("restrictions2", &c.Restrictions2),
       Option("epsilon", &c.epsilon), Option("E0", &E0), Option("E0_1", &s.E0_1), Option("E0_2", &s.E0_2),
       Option("Emin1", &c.grid1.Emin), Option("Emax1", &c.grid1.Emax), Option("NE1", &c.grid1.NE),
       Option("Gamma1", &c.grid1.Gamma), Option("Emin2", &c.grid2.Emin), Option("Emax2", &c.grid2.Emax),
       Option("NE2", &c.grid2.NE), Option("Gamma2", &c.grid2.Gamma), Option("DenseBorder", &c.DenseBorder),
       Option("ForceDenseMethod", &s.ForceDenseMethod)});
  for (double* zero : {&s.E0_1, &s.E0_2})
    if (*zero == ResonantSpectraSettings::UnsetE0) *zero = E0;
  RequireFinite(L, "CreateResonantSpectra",
                {{"E0_1", s.E0_1},
                 {"E0_2", s.E0_2},
                 {"Emin1", c.grid1.Emin},
                 {"Emax1", c.grid1.Emax},
                 {"Gamma1", c.grid1.Gamma},
                 {"Emin2", c.grid2.Emin},
                 {"Emax2", c.grid2.Emax},
                 {"Gamma2", c.grid2.Gamma},
                 {"epsilon", c.epsilon}});
  RequireAtLeast(L, "CreateResonantSpectra", 1,
                 {{"NTri1", WrittenCount(c.NTri1)}, {"NTri2", WrittenCount(c.NTri2)}});
  RequireAtLeast(L, "CreateResonantSpectra", 0,
                 {{"NE1", WrittenCount(c.grid1.NE)},
                  {"NE2", WrittenCount(c.grid2.NE)},
                  {"Gamma1", c.grid1.Gamma},
                  {"Gamma2", c.grid2.Gamma},
                  {"epsilon", c.epsilon}});
  return s;
}

void RequireOneSpace(const OperatorType& H1, const OperatorType& H2, const TwoStepArguments& steps,
                     const ConvergenceSettingsType& s) {
  RequireSameSpace(H2.layout, "H2", H1.layout, "H1");
  RequireSpaceOf(H1, "H1", steps);
  for (const DeterminantRestrictionType* R : {&s.Restrictions1, &s.Restrictions2})
    RequireRestrictionsFit(*R, H1.layout, "H1");
}

}  // namespace

// CreateResonantSpectra(H1, H2, T1, T2, psi [, options]) -> spectra
int LuaCreateResonantSpectra(lua_State* L) {
  const int n = CheckArgumentCount(L, 5, 6,
                                   "Error LuaCreateResonantSpectra called with %d arguments, 5 or 6 expected "
                                   "(H1, H2, T1, T2^+, psi, {options})\n");
  CollectDeadRecords(L);
  const OperatorType *H1 = CheckRecord<OperatorType>(L, 1), *H2 = CheckRecord<OperatorType>(L, 2);
  const TwoStepArguments steps = ReadTwoStepArguments(L, 3, "CreateResonantSpectra");
  ResonantSpectraSettings settings;
  bool Tensor = false;
  if (n == 6) settings = ReadOptions(L, 6, Tensor);
  RequireOneSpace(*H1, *H2, steps, settings.solver);
  RequireHermitian(L, *H1, settings.solver.zero * 0.0001, H1Texts);
  RequireHermitian(L, *H2, settings.solver.zero, H2Texts);
  if (Tensor) return luaL_error(L, "Tensor form for Resonant spectra not yet available");

  return lua_push(L, CreateResonantSpectra(*H1, *H2, steps.T1, steps.T2, steps.psi, settings));
}

}  // namespace fermix
