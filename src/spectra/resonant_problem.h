// What the two ways to resonant spectra share: the problem, and the names and headers of its results.
#pragma once

#include "core/block_wave_function.h"
#include "spectra/energy_grid.h"
#include "spectra/resonant_spectra.h"

namespace fermix {

inline constexpr char ResonantNotFinite[] =
    "CreateResonantSpectra called with operators or wave-functions that are not finite\n";

struct ResonantProblem {
  const OperatorType &H1, &H2;
  const std::vector<const OperatorType*>&T1, &T2;
  const std::vector<const WaveFunctionType*>& psi;
  const ResonantSpectraSettings& settings;

  // Restrictions in force for each step; may be empty.
  const DeterminantRestrictionType& R1() const {
    return NRestrictions(settings.solver.Restrictions1) ? settings.solver.Restrictions1 : H1.Restrictions;
  }
  const DeterminantRestrictionType& R2() const {
    return NRestrictions(settings.solver.Restrictions2) ? settings.solver.Restrictions2 : H2.Restrictions;
  }
  // Energy zeros of state p.
  double E0_1(std::size_t p) const;
  double E0_2(std::size_t p) const;
  // T1 number t on state p. Throws std::runtime_error when its squared norm is not finite.
  WaveFunctionType TransitionState(std::size_t t, std::size_t p) const;
};

// T2 on each state of a block.
BlockWaveFunctionType FinalStates(const ResonantProblem& problem, const OperatorType& T2,
                                  const BlockWaveFunctionType& chi);

// An empty spectrum on the final grid for incident energy w and operator t2 of the combination of operator t1
// and state p.
SpectraType ResonantSpectrum(const ResonantProblem& problem, std::size_t p, std::size_t t1, std::size_t t2,
                             std::uint32_t w, const EnergyGrid& incident, const EnergyGrid& final);

// Number of spectra. Throws bad_alloc when nothing could hold so many.
std::size_t ResonantSpectraCount(const ResonantProblem& problem, std::uint32_t NE1);

// The exact path, on bases that T1 and H1, and T2 and H2, close; false when they are too large, or empty.
bool ResonantSpectraDense(const ResonantProblem& problem, SpectraTypeArray& bundle);

}  // namespace fermix
