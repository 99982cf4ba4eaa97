// Many spectra with the same poles and different weights, on one grid, as one product of matrices.
#pragma once

#include "spectra/spectrum.h"

namespace fermix {

// Fills spectrum k with sum_j weights[j][k] / (E0 + E + i Gamma / 2 - e[j]), as ListOfPolesToSpectrum does,
// up to rounding.
//
// weights  real, one row for each pole and a column for each spectrum
// S        spectra with one grid and one Gamma, not 0; column k of weights belongs to S[k]
void SharedPolesToSpectra(double E0, const std::vector<double>& e, const CompactMatrixType& weights,
                          SpectraType* S);

}  // namespace fermix
