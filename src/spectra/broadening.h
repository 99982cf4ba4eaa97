// Broadening of spectra by convolution with a Gaussian or a Lorentzian.
//
// The kernel of a grid cell is the mean over seven positions in it, which keeps its area right when it is
// only a few cells wide. Weight that falls outside of the grid is lost; Gamma and the pole fields stay as
// they are.
//
// Spectra of one call have as many points and the same spacing, so that all share each value of a kernel.
#pragma once

#include <span>

#include "spectra/spectrum.h"

namespace fermix {

// FWHM is the full width at half maximum, in units of energy. A width of 0 or below half a cell changes
// nothing.
void BroadenG(std::span<SpectraType> S, double FWHM);
void BroadenL(std::span<SpectraType> S, double FWHM);

// Each point of the source spreads with its own width: FWHM has one for each point, and widths below half a
// cell count as half a cell.
void BroadenGvar(std::span<SpectraType> S, const std::vector<double>& FWHM);
void BroadenLvar(std::span<SpectraType> S, const std::vector<double>& FWHM);

}  // namespace fermix
