// Point-wise arithmetic of spectra with numbers and with each other.
#pragma once

#include "host/base/complex16.h"
#include "spectra/spectrum.h"

namespace fermix {

// S + z, z / S and S to the power z at each point, in place. A power of a point of value 0
// is that of the magnitude: 0, 1 or infinite by the sign of the real part of z.
void SpectraAddConstant(SpectraType& S, Complex16 z);
void SpectraDivideConstant(SpectraType& S, Complex16 z);
void SpectraPower(SpectraType& S, Complex16 z);

// A B and A / B at each point, new records on the grid of A, which both must share (asserted).
SpectraType SpectraProduct(const SpectraType& A, const SpectraType& B);
SpectraType SpectraQuotient(const SpectraType& A, const SpectraType& B);

// Moves the energy axis: the energies of grid, poles and coefficients grow by shift, the data stay.
void SpectraShift(SpectraType& S, double shift);

// Multiplies each point by its energy.
void SpectraMultiplyByEnergy(SpectraType& S);

}  // namespace fermix
