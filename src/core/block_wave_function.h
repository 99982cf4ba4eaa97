// A block of states: one basis and, for each element, the values of all states side by side, so that one
// look-up serves all of them.
#pragma once

#include "core/operator_on_state.h"
#include "linalg/compact_matrix.h"

namespace fermix {

struct BlockWaveFunctionType {
  std::string Name = "Wave Function";
  std::shared_ptr<DeterminantBasis> basis;  // never null
  StateValues values;                       // basis->N + 1 elements of NBlock values each

  explicit BlockWaveFunctionType(KeyLayout layout = {}, std::uint32_t NBlock = 1, bool complex = false,
                                 std::uint32_t NBitsKey = 16);
};

std::uint32_t BlockSize(const BlockWaveFunctionType& Psi);

// Between a block and a list of states that share one basis. The block is complex when any of the states is.
BlockWaveFunctionType BlockWaveFunctionFromStates(const std::vector<WaveFunctionType>& states);
std::vector<WaveFunctionType> BlockWaveFunctionToStates(const BlockWaveFunctionType& Psi);

// One key, NBlock values; the key is created if it is missing. values are doubles or Complex16, as the block
// is.
void RealBlockWaveFunctionAddElement(BlockWaveFunctionType& Psi, const KeyWord* key, const double* values);
void ComplexBlockWaveFunctionAddElement(BlockWaveFunctionType& Psi, const KeyWord* key,
                                        const Complex16* values);
// Only if the key is already there.
void ComplexBlockWaveFunctionAddElementConserveBasis(BlockWaveFunctionType& Psi, const KeyWord* key,
                                                     const Complex16* values);

// Element (i, j) = <bra i | ket j>, through the hash index.
CompactMatrixType BlockWaveFunctionDotProduct(const BlockWaveFunctionType& bra,
                                              const BlockWaveFunctionType& ket);

// O applied to all states of the block in one pass, on a new basis. R: restrictions of the result; null takes
// the operator's own. Throws bad_alloc after lines.
BlockWaveFunctionType BlockOperatorPsi(const OperatorType& O, const BlockWaveFunctionType& Psi,
                                       const DeterminantRestrictionType* R = nullptr);

}  // namespace fermix
