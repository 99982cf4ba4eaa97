#include "spectra/energy_grid.h"

#include <algorithm>
#include <cfloat>
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
    "CreateResonantSpectra called with an empty energy window, Emin1=%f is not below Emax1=%f\n"};

const EnergyGridTexts FinalGridTexts = {
    "Automatically set energy range for final states Emin=%22.15E Emax=%22.15E\n",
    "Automatically set number of energy points (NE=%d) and lifetime (Gamma=%22.15E) for final state\n",
    "Automatically set number of energy points (NE=%d) for final state\n",
    "Automatically set lifetime (Gamma=%22.15E) for final state\n",
    "CreateResonantSpectra called with an empty energy window, Emin2=%f is not below Emax2=%f\n"};

namespace {

constexpr std::uint32_t ProgressMask = 2;
// Bounds beyond it count as left open.
constexpr double OpenBound = 1.7976931348623156e305;

bool QOpenEmin(double Emin) { return Emin > OpenBound; }
bool QOpenEmax(double Emax) { return Emax < -OpenBound; }

void RequireAscending(double Emin, double Emax, const EnergyGridTexts& texts) {
  if (std::isfinite(Emax - Emin) && Emin < Emax) return;
  DynamicString text;
  sprintfAdd(text, texts.empty, Emin, Emax);
  throw std::runtime_error(text);
}

void CompleteBounds(EnergyGrid& grid, const PoleRange& poles, const EnergyGridTexts& texts) {
  const bool openEmin = QOpenEmin(grid.Emin), openEmax = QOpenEmax(grid.Emax);
  if (!openEmin && !openEmax) return;
  if (openEmin && openEmax && poles.lowest == poles.highest) {
    const EnergyWindow around = AutomaticEnergyWindow(poles.lowest, poles.highest, CreateSpectraSettings());
    grid.Emin = around.Emin;
    grid.Emax = around.Emax;
  } else {
    // The bound that was given stands in for the poles at its end.
    const double upper = openEmax ? poles.highest : grid.Emax, lower = openEmin ? poles.lowest : grid.Emin;
    if (openEmin) grid.Emin = 1.1 * poles.lowest - 0.1 * upper;
    if (openEmax) grid.Emax = 1.1 * poles.highest - 0.1 * lower;
  }
  VerbosityPrintf(ProgressMask, texts.range, grid.Emin, grid.Emax);
}

// Five intervals for a width: at least one, and as many as can be counted.
std::uint32_t IntervalsFor(double span, double Gamma) {
  const double NE = std::trunc(5 * span / Gamma);
  if (!(NE < std::numeric_limits<std::int32_t>::max()))
    throw std::runtime_error(
        "CreateResonantSpectra called with an energy window that has too many widths Gamma in it\n");
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
  const double size = std::max({std::fabs(e.front()), std::fabs(e.back()), std::fabs(E0)});
  rounding = std::max(rounding, 64 * DBL_EPSILON * size);
}

void PoleRange::add(const PoleRange& other) {
  lowest = std::min(lowest, other.lowest);
  highest = std::max(highest, other.highest);
  rounding = std::max(rounding, other.rounding);
}

PoleRange PoleRange::orZero() const {
  PoleRange range = *this;
  if (lowest > highest) range.lowest = range.highest = 0;
  return range;
}

PoleRange PoleRange::forWindow() const {
  PoleRange range = orZero();
  if (range.highest - range.lowest <= rounding)
    range.lowest = range.highest = std::fabs(range.lowest) <= rounding ? 0 : range.lowest;
  return range;
}

void RequireWindow(const EnergyGridSettings& given, const EnergyGridTexts& texts) {
  if (!QOpenEmin(given.Emin) && !QOpenEmax(given.Emax)) RequireAscending(given.Emin, given.Emax, texts);
}

EnergyGrid CompleteEnergyGrid(const EnergyGridSettings& given, const PoleRange& poles,
                              const EnergyGridTexts& texts) {
  EnergyGrid grid{given.Emin, given.Emax, given.NE, given.Gamma};
  CompleteBounds(grid, poles.forWindow(), texts);
  RequireAscending(grid.Emin, grid.Emax, texts);
  CompleteWidth(grid, texts);
  return grid;
}

}  // namespace fermix
