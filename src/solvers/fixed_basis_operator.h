// An operator inside a basis that stays as it is: the projected H as compressed rows, for solvers that apply
// it hundreds of times to vectors without keys.
//
// Element k of a vector belongs to determinant k + 1 of the basis. Equal (row, column) pairs are merged when
// the rows are built, 12 bytes an entry (20 if complex). When they don't fit into memory, the operator is
// applied term by term: the same result, slower.
#pragma once

#include <memory>

#include "core/compiled_operator.h"
#include "core/wave_function.h"

namespace fermix {

// T is double for a real operator and Complex16 for the others.
template <class T>
struct FixedBasisOperator {
  // Some thousand rows. Row r of the slab has the entries start[r] .. start[r + 1] - 1.
  struct Slab {
    std::vector<std::uint32_t> start;
    std::vector<std::uint32_t> column;
    std::vector<T> value;
  };
  std::size_t N = 0;  // rows and columns
  std::vector<T> diagonal;
  std::vector<Slab> slabs;  // the off-diagonal part; empty without rows
  // The direct route, used when QRows is false.
  bool QRows = true;
  CompiledOperator compiled;
  std::shared_ptr<DeterminantBasis> basis;
};

// H, Hermitian, inside the basis of psi. Restrictions of H play no part: the basis is the space.
// QRows false asks for the direct route. Throws bad_alloc when even that has no room.
template <class T>
FixedBasisOperator<T> MakeFixedBasisOperator(const OperatorType& H, const WaveFunctionType& psi,
                                             bool QRows = true);

// y = (H + shift) x, both of N elements, not overlapping.
template <class T>
void FixedBasisOperatorMultiply(const FixedBasisOperator<T>& H, double shift, const T* x, T* y);

// The same for four vectors side by side: x[4 * k + j] is element k of vector j. Rows are read once for all.
template <class T>
void FixedBasisOperatorMultiplyFour(const FixedBasisOperator<T>& H, double shift, const T* x, T* y);

// Number of stored entries, the diagonal included.
template <class T>
std::size_t EntryCount(const FixedBasisOperator<T>& H);

}  // namespace fermix
