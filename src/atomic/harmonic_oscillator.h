// Spin-1/2 particles in a one-dimensional harmonic well with a contact repulsion: the oscillator test models.
//
// Units of the oscillator: H = sum of p^2 / 2 + x^2 / 2, and the repulsion delta(x1 - x2) between particles
// of opposite spin. Orbital 2n is spin down and 2n + 1 spin up of the spatial function n = 0, 1, ..
#pragma once

#include "core/operator.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// On the sine functions of a box of width a > 0, centred on the well: nmax spatial functions.
OperatorType CreateOperatorHarmonicOscillatorOnStandingWaves(double a, int nmax);
OperatorType CreateOperatorHarmonicOscillatorOnStandingWavesPointInteraction(double a, int nmax);

// On 2 nmax - 1 grid points of distance a / nmax, the middle one on the bottom of the well; the kinetic
// energy by second differences.
OperatorType CreateOperatorHarmonicOscillatorOnGrid(double a, int nmax);
OperatorType CreateOperatorHarmonicOscillatorOnGridInteraction(double a, int nmax);

// O in another basis: row r of M holds new function r on the old ones. M is square, of the number of spatial
// functions, which then changes both spins alike, or of the number of orbitals.
OperatorType CreateOperatorOnBasis(const OperatorType& O, const CompactMatrixType& M);

}  // namespace fermix
