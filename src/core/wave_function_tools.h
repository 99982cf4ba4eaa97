// States made from states: taken apart by occupation, multiplied as tensors, made orthonormal.
#pragma once

#include "core/wave_function.h"

namespace fermix {

// The 2^n parts of psi by the occupation of the n listed orbitals (below NFermion), on all orbitals of psi,
// in the order of the binary numbers that the occupations form; the first listed orbital is the highest
// digit. At most MaxExpandOrbitals orbitals. The parts sum to psi.
inline constexpr std::uint32_t MaxExpandOrbitals = 20;
std::vector<WaveFunctionType> WaveFunctionExpand(const WaveFunctionType& psi,
                                                 const std::vector<std::uint32_t>& orbitals);

// One state for each element, with its value.
std::vector<WaveFunctionType> WaveFunctionExpandToDeterminantBasis(const WaveFunctionType& psi);

// |a> x |b> on the orbitals of a followed by those of b; fermions only. Elements run through a and, faster,
// through b. Throws length_error when that is more than a basis can number.
WaveFunctionType WaveFunctionTensorProduct(const WaveFunctionType& a, const WaveFunctionType& b);

struct OrthonormalizeSettings {
  // Löwdin drops directions whose eigenvalue of the overlap is at or below it; Gram-Schmidt drops functions
  // of which less than this part of their norm remains.
  double SingularValue = 1.4901161193847656e-8;  // root of the double epsilon
  // Drop dependent functions; otherwise they stand at the end as states of norm 0.
  bool ReduceDimension = true;
};

// Orthonormal functions that span the same space, on whatever bases the states live. Löwdin changes them as
// little as possible: the functions times the inverse root of their overlap. Of dependent ones it drops the
// one that comes out smallest, until the rest is independent. Status 1 after a line when the overlap can't be
// diagonalised or holds what is not a number; states is then left alone.
[[nodiscard]] int WaveFunctionListSVDOrthogonalize(std::vector<WaveFunctionType>& states,
                                                   const OrthonormalizeSettings& settings);
// One after the other, each without its projections on those before it.
[[nodiscard]] int WaveFunctionListOrthogonalize(std::vector<WaveFunctionType>& states,
                                                const OrthonormalizeSettings& settings);

}  // namespace fermix
