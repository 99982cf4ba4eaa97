#include "spectra/energy_grid.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "host/base/text.h"
#include "host/base/verbosity.h"
#include "spectra/create_spectra.h"

namespace fermix {

const EnergyGridTexts IntermediateGridTexts = {
    "Automatically set energy range for intermediate states Emin=%22.15E Emax=%22.15E\n",
    "Automatically set number of energy points (NE=%d) and lifetime (Gamma=%22.15E) for intermediate state\n",
    "Automatically set number of energy points (NE=%d) for intermediate state\n",
    "Automatically set lifetime (Gamma=%22.15E) for intermediate state\n",
    "Emin1",
    "Emax1"};

const EnergyGridTexts FinalGridTexts = {
    "Automatically set energy range for final states Emin=%22.15E Emax=%22.15E\n",
    "Automatically set number of energy points (NE=%d) and lifetime (Gamma=%22.15E) for final state\n",
    "Automatically set number of energy points (NE=%d) for final state\n",
    "Automatically set lifetime (Gamma=%22.15E) for final state\n",
    "Emin2",
    "Emax2"};

namespace {

constexpr std::uint32_t ProgressMask = 2;
// Bounds beyond it count as left open.
constexpr double OpenBound = 1.7976931348623156e305;

void CompleteBounds(EnergyGrid& grid, const PoleRange& poles, const EnergyGridTexts& texts) {
  const bool openEmin = grid.Emin > OpenBound, openEmax = grid.Emax < -OpenBound;
  if (!openEmin && !openEmax) return;
  if (openEmin && openEmax && poles.lowest == poles.highest) {
    const EnergyWindow around = AutomaticEnergyWindow(poles.lowest, poles.highest, CreateSpectraSettings());
    grid.Emin = around.Emin;
    grid.Emax = around.Emax;
  } else {
    // The other bound that was given stands in for the other end of the poles.
    const double below = openEmax ? poles.highest : grid.Emax, above = openEmin ? poles.lowest : grid.Emin;
    if (openEmin) grid.Emin = 1.1 * poles.lowest - 0.1 * below;
    if (openEmax) grid.Emax = 1.1 * poles.highest - 0.1 * above;
  }
  VerbosityPrintf(ProgressMask, texts.range, grid.Emin, grid.Emax);
}

void RequireWindow(const EnergyGrid& grid, const EnergyGridTexts& texts) {
  if (std::isfinite(grid.Emax - grid.Emin) && grid.Emin < grid.Emax) return;
  DynamicString text;
  sprintfAdd(text, "Resonant spectra have an empty energy window, %s=%f is not below %s=%f\n", texts.Emin,
             grid.Emin, texts.Emax, grid.Emax);
  throw std::runtime_error(text);
}

// Five intervals for a width: at least one, and as many as can be counted.
std::uint32_t IntervalsFor(double span, double Gamma) {
  const double NE = std::trunc(5 * span / Gamma);
  if (!(NE < std::numeric_limits<std::int32_t>::max()))
    throw std::runtime_error("Resonant spectra have an energy window with too many widths Gamma in it\n");
  return NE < 1 ? 1 : static_cast<std::uint32_t>(NE);
}

void CompleteWidth(EnergyGrid& grid, const EnergyGridTexts& texts) {
  const double span = grid.Emax - grid.Emin;
  if (grid.NE == 0 && grid.Gamma == 0) {
    grid.NE = 1000;
    grid.Gamma = 5 * span / 1000;
    VerbosityPrintf(ProgressMask, texts.pointsAndWidth, static_cast<int>(grid.NE), grid.Gamma);
  } else if (grid.NE == 0) {
    grid.NE = IntervalsFor(span, grid.Gamma);
    VerbosityPrintf(ProgressMask, texts.points, static_cast<int>(grid.NE));
  } else if (grid.Gamma == 0) {
    grid.Gamma = 5 * span / grid.NE;
    VerbosityPrintf(ProgressMask, texts.width, grid.Gamma);
  }
}

}  // namespace

void PoleRange::add(const std::vector<double>& e, double E0) {
  if (e.empty()) return;
  lowest = std::min(lowest, e.front() - E0);
  highest = std::max(highest, e.back() - E0);
}

void PoleRange::add(const PoleRange& other) {
  lowest = std::min(lowest, other.lowest);
  highest = std::max(highest, other.highest);
}

PoleRange PoleRange::orZero() const {
  PoleRange range = *this;
  if (lowest > highest) range.lowest = range.highest = 0;
  return range;
}

EnergyGrid CompleteEnergyGrid(const EnergyGridSettings& given, const PoleRange& poles,
                              const EnergyGridTexts& texts) {
  EnergyGrid grid{given.Emin, given.Emax, given.NE, given.Gamma};
  CompleteBounds(grid, poles.orZero(), texts);
  RequireWindow(grid, texts);
  CompleteWidth(grid, texts);
  return grid;
}

}  // namespace fermix
