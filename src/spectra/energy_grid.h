// The energy grids of spectra: what a script leaves open follows from the poles.
#pragma once

#include <vector>

#include "solvers/convergence_settings.h"

namespace fermix {

// Point w lies at Emin + w (Emax - Emin) / NE, w = 0 .. NE; Gamma is a full width at half maximum.
struct EnergyGrid {
  double Emin, Emax;
  std::uint32_t NE;
  double Gamma;
};

inline double GridEnergy(const EnergyGrid& grid, std::uint32_t w) {
  return grid.Emin + (grid.Emax - grid.Emin) * (double(w) / grid.NE);
}

// The lines that tell what was chosen, and the error about a window without energies.
struct EnergyGridTexts {
  const char *range, *pointsAndWidth, *points, *width, *empty;
};
extern const EnergyGridTexts IntermediateGridTexts, FinalGridTexts;

// Lowest and highest pole, counted from the energy zero, and how exact they are; nothing added yet means both
// are 0.
struct PoleRange {
  double lowest = std::numeric_limits<double>::infinity(), highest = -lowest;
  double rounding = 0;

  // e ascends.
  void add(const std::vector<double>& e, double E0);
  void add(const PoleRange& other);
  // 0 .. 0 if there are no poles.
  PoleRange orZero() const;
  // The same, and a single pole where all are one up to rounding, at 0 where rounding left it there: a window
  // around it must not be as narrow as that.
  PoleRange forWindow() const;
};

// Throws std::runtime_error with the text for the user when both bounds are given and no window lies between.
void RequireWindow(const EnergyGridSettings& given, const EnergyGridTexts& texts);

// A bound that is left open lies a tenth of the range beyond the poles (with one pole for all, up to
// rounding, as far as AutomaticEnergyWindow puts it); Gamma 0 and NE 0 are chosen so that five intervals make
// a Gamma. Throws as above when the window is empty, or when NE could not be counted.
EnergyGrid CompleteEnergyGrid(const EnergyGridSettings& given, const PoleRange& poles,
                              const EnergyGridTexts& texts);

}  // namespace fermix
