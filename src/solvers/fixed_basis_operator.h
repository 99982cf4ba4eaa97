// An operator inside a basis that stays as it is: the projected H as compressed rows, for solvers that apply
// it hundreds of times to vectors without keys.
//
// The elements of a vector stand in the order of their keys, those orbitals first between which electrons
// hop, not in that of the basis: then most of what a row reads stands near, half of it in the same cache
// lines as for the row before. Equal (row, column) pairs are merged when the rows are built. An entry takes 4
// bytes where the operator has few values, as hopping and on-site terms do, and else 12 bytes (20 if
// complex). When the rows don't fit into memory, the operator is applied term by term: the same result,
// slower.
//
// A space that the operator does not leave is closed. Its rows say all that there is to know of the operator
// on states inside it, and serve these also after their basis was truncated or put into another order.
#pragma once

#include <memory>
#include <optional>

#include "core/compiled_operator.h"
#include "core/wave_function.h"
#include "host/base/work_vector.h"

namespace fermix {

inline constexpr std::size_t RowsPerSlab = 4096;

// Where terms lead that leave a basis: nowhere, to determinants that restrictions forbid, to allowed ones.
enum class Leaving { Nowhere, ToForbidden, ToAllowed };

// T is double for a real operator and Complex16 for the others.
template <class T>
struct FixedBasisOperator {
  // RowsPerSlab rows. Row r of the slab has the entries start[r] .. start[r + 1] - 1. An entry's column
  // stands in the low columnBits of it; its value is value[e], or, if there is no such list, the high bits
  // are its number in values.
  struct Slab {
    std::vector<std::uint32_t> start, entry;
    std::vector<T> value;
  };
  std::size_t N = 0;                   // rows and columns
  std::vector<KeyWord> keys;           // of the rows' determinants, one behind the other
  std::vector<std::uint32_t> element;  // of the basis, from 1, to which a row belongs; 0 if it was truncated
  std::vector<T> diagonal;
  std::vector<Slab> slabs;  // the off-diagonal part; empty without rows
  std::uint32_t columnBits = 32;
  std::vector<T> values;  // the first different ones that were met
  Leaving leaving = Leaving::ToAllowed;
  // The direct route, used when QRows is false.
  bool QRows = true;
  CompiledOperator compiled;
  std::shared_ptr<DeterminantBasis> basis;
};

// H, Hermitian, inside the basis of psi. Restrictions of H play no part: the basis is the space.
// QRows false asks for the direct route. R says what `leaving` counts as forbidden.
// Throws bad_alloc when even the direct route has no room.
template <class T>
FixedBasisOperator<T> MakeFixedBasisOperator(const OperatorType& H, const WaveFunctionType& psi,
                                             bool QRows = true, const DeterminantRestrictionType& R = {});

// The same if H leads from the basis to no other determinant that R allows, and its rows fit into memory.
template <class T>
std::optional<FixedBasisOperator<T>> MakeClosedOperator(const OperatorType& H, const WaveFunctionType& psi,
                                                        const DeterminantRestrictionType& R);

// Gives the memory of the rows back: from now on H, which is returned, takes the direct route.
template <class T>
FixedBasisOperator<T>& ForgetRows(FixedBasisOperator<T>& H);

// Whether all determinants of psi have rows; these then belong to the elements of psi, and the direct route
// is no longer open. False leaves H as it was.
template <class T>
[[nodiscard]] bool MoveToBasis(FixedBasisOperator<T>& H, const WaveFunctionType& psi);

// The values of a state on the basis of H, as a vector; and back. psi has values of type T.
template <class T>
WorkVector<T> VectorOfState(const FixedBasisOperator<T>& H, const WaveFunctionType& psi);
template <class T>
void SetStateToVector(const FixedBasisOperator<T>& H, const WorkVector<T>& v, WaveFunctionType& psi);

// y = (H + shift) x, both of N elements, not overlapping. Gives <x|y>.
template <class T>
T FixedBasisOperatorMultiply(const FixedBasisOperator<T>& H, double shift, const T* x, T* y);

// H on the states psi, at least one, whose basis H has been moved to, with values of type T. H is closed and
// holds a constant term: then basis and order are those of BlockOperatorPsiSerial. Throws bad_alloc.
template <class T>
std::vector<WaveFunctionType> ClosedProduct(const FixedBasisOperator<T>& H,
                                            const std::vector<WaveFunctionType>& psi);

// The row of each of the elements 1 .. count of the basis; NoRow for number 0.
inline constexpr std::uint32_t NoRow = 0xffffffff;
template <class T>
std::vector<std::uint32_t> RowOfElement(const FixedBasisOperator<T>& H, std::size_t count) {
  std::vector<std::uint32_t> rowOf(count + 1, NoRow);
  for (std::uint32_t k = 0; k < H.N; ++k) rowOf[H.element[k]] = k;
  rowOf[0] = NoRow;
  return rowOf;
}

template <class T>
std::uint32_t ColumnMask(const FixedBasisOperator<T>& H) {
  return static_cast<std::uint32_t>((std::uint64_t{1} << H.columnBits) - 1);
}

// Number of stored entries, the diagonal included.
template <class T>
std::size_t EntryCount(const FixedBasisOperator<T>& H);

}  // namespace fermix
