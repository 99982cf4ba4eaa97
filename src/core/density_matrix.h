// Density matrices: what all pairs, or quadruples, of ladder operators give between two states.
//
//     one particle    element (i, j)        <bra| a+_i a_j |ket>
//     two particles   element (i, j, k, l)  <bra| a+_i a+_j a_k a_l |ket>
//
// Indices count the listed orbitals and modes. All elements come from one walk over the states: as a_i |bra>
// and a_j |ket> meet in a determinant with one particle less, n look-ups for a determinant with n electrons
// serve all its n (N - n + 1) contributions, and no operator is applied twice.
#pragma once

#include <vector>

#include "core/wave_function.h"
#include "linalg/compact_tensor.h"

namespace fermix {

struct DensityRequest {
  int particles = 1;                    // 1 or 2
  std::vector<std::uint32_t> orbitals;  // each below NFermion + NBoson, in any order, also repeatedly
  // Determinants with particles taken out that are held at a time, 60 to 100 bytes each. While a ket gives no
  // more, each element is a running sum in the order of the ket; states beyond that are taken in pieces.
  std::size_t piece = std::size_t{1} << 22;
};

// All orbitals and modes: 0 .. NFermion + NBoson - 1.
std::vector<std::uint32_t> AllOrbitals(const KeyLayout& layout);

// The density of one state: rank 2 or 4, complex if psi is, named "Density Matrix." or "Two Particle Density
// Matrix.". All throw bad_alloc after a line, and invalid_argument for orbitals or states that don't fit.
CompactTensorType CalculateDensityMatrix(const DensityRequest& request, const WaveFunctionType& psi);

// All pairs of the states: bra a with ket b at a * count + b, complex if either state is.
std::vector<CompactTensorType> CalculateDensityMatrixWithOffDiagonals(
    const DensityRequest& request, const std::vector<const WaveFunctionType*>& states);

// The sum of the densities of one or more states.
CompactTensorType CalculateDensityMatrixTrace(const DensityRequest& request,
                                              const std::vector<const WaveFunctionType*>& states);

}  // namespace fermix
