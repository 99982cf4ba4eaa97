#include "solvers/fixed_basis_operator.h"

#include <algorithm>

#include "core/operator_on_state.h"
#include "linalg/vector_kernels.h"

namespace fermix {

namespace {

template <class T>
WaveFunctionType EmptyState(const FixedBasisOperator<T>& H) {
  WaveFunctionType psi(H.basis->layout);
  psi.basis = H.basis;
  psi.values = BlockedArray<T>(H.N + 1);
  return psi;
}

// The direct route: out of the vector into a state, and back.
template <class T>
void MultiplyDirectly(const FixedBasisOperator<T>& H, double shift, const T* x, T* y) {
  WaveFunctionType psi = EmptyState(H), Hpsi = EmptyState(H);
  auto& from = std::get<BlockedArray<T>>(psi.values);
  for (std::size_t k = 0; k < H.N; ++k) from[H.element[k]] = x[k];
  OperatorPsiConserveBasisPreAllocated(H.compiled, psi, Hpsi);
  const auto& to = std::get<BlockedArray<T>>(Hpsi.values);
  for (std::size_t k = 0; k < H.N; ++k) y[k] = to[H.element[k]] + shift * x[k];
}

}  // namespace

template <class T>
FixedBasisOperator<T>& ForgetRows(FixedBasisOperator<T>& H) {
  H.QRows = false;
  H.slabs = {};
  H.diagonal = {};
  H.values = {};
  return H;
}

template <class T>
bool MoveToBasis(FixedBasisOperator<T>& H, const WaveFunctionType& psi) {
  if (ElementCount(psi) > H.N) return false;
  const std::uint32_t words = KeyWords(Layout(psi));
  std::vector<std::uint32_t> element(H.N);
  for (std::size_t k = 0; k < H.N; k += BasisBatch) {
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(BasisBatch, H.N - k));
    BasisHash(*psi.basis, &H.keys[k * words], count, &element[k]);
    BasisFindBatch(*psi.basis, &H.keys[k * words], count, &element[k]);
  }
  const auto lacking = static_cast<std::size_t>(std::count(element.begin(), element.end(), 0u));
  if (H.N - lacking < ElementCount(psi)) return false;
  H.element = std::move(element);
  return true;
}

template <class T>
WorkVector<T> VectorOfState(const FixedBasisOperator<T>& H, const WaveFunctionType& psi) {
  const auto& values = std::get<BlockedArray<T>>(psi.values);
  WorkVector<T> v(H.N);
  for (std::size_t k = 0; k < H.N; ++k) v[k] = values[H.element[k]];
  return v;
}

template <class T>
void SetStateToVector(const FixedBasisOperator<T>& H, const WorkVector<T>& v, WaveFunctionType& psi) {
  auto& values = std::get<BlockedArray<T>>(psi.values);
  for (std::size_t k = 0; k < H.N; ++k) values[H.element[k]] = v[k];
}

namespace {

// Rows of one slab times x; column(e) and value(e) are those of entry e. Several sums run at once, so that
// additions overlap.
template <class T, class Column, class Value>
inline void MultiplyRows(const FixedBasisOperator<T>& H, std::size_t slabNumber, double shift, const T* x,
                         T* y, Column&& column, Value&& value) {
  constexpr std::size_t Sums = 4;
  const std::vector<std::uint32_t>& start = H.slabs[slabNumber].start;
  const std::size_t first = slabNumber * RowsPerSlab;
  for (std::size_t r = 0; r + 1 < start.size(); ++r) {
    const std::size_t k = first + r, end = start[r + 1];
    T sum[Sums] = {};
    sum[0] = H.diagonal[k] * x[k] + shift * x[k];
    std::size_t e = start[r];
    for (; e + Sums <= end; e += Sums)
      for (std::size_t s = 0; s < Sums; ++s) sum[s] += value(e + s) * x[column(e + s)];
    for (; e < end; ++e) sum[0] += value(e) * x[column(e)];
    T total = sum[0];
    for (std::size_t s = 1; s < Sums; ++s) total += sum[s];
    y[k] = total;
  }
}

}  // namespace

template <class T>
T FixedBasisOperatorMultiply(const FixedBasisOperator<T>& H, double shift, const T* x, T* y) {
  if (!H.QRows) {
    MultiplyDirectly(H, shift, x, y);
    return Dot(x, y, H.N);
  }
  const std::uint32_t bits = H.columnBits, mask = ColumnMask(H);
  const T* values = H.values.data();
  T overlap{};
  for (std::size_t s = 0; s < H.slabs.size(); ++s) {
    const std::uint32_t* entry = H.slabs[s].entry.data();
    const T* value = H.slabs[s].value.data();
    if (H.slabs[s].value.empty())
      MultiplyRows(
          H, s, shift, x, y, [=](std::size_t e) { return entry[e] & mask; },
          [=](std::size_t e) { return values[std::uint64_t{entry[e]} >> bits]; });
    else
      MultiplyRows(
          H, s, shift, x, y, [=](std::size_t e) { return entry[e]; },
          [=](std::size_t e) { return value[e]; });
    const std::size_t first = s * RowsPerSlab;  // still in the cache
    overlap += Dot(x + first, y + first, std::min(RowsPerSlab, H.N - first));
  }
  return overlap;
}

namespace {

// Rows that H reaches from the elements of the basis, in the order in which it meets them.
template <class T>
std::vector<std::uint32_t> ReachedRows(const FixedBasisOperator<T>& H, const DeterminantBasis& basis) {
  std::vector<std::uint32_t> reached;
  reached.reserve(H.N);
  std::vector<bool> met(H.N);
  const auto meet = [&](std::uint32_t row) {
    if (met[row]) return;
    met[row] = true;
    reached.push_back(row);
  };
  const std::vector<std::uint32_t> rowOf = RowOfElement(H, basis.N);
  const std::uint32_t mask = ColumnMask(H);
  for (std::uint32_t i = 1; i <= basis.N; ++i) {
    meet(rowOf[i]);  // by the constant term
    const auto& slab = H.slabs[rowOf[i] / RowsPerSlab];
    const std::uint32_t* start = &slab.start[rowOf[i] % RowsPerSlab];
    for (std::uint32_t e = start[0]; e < start[1]; ++e) meet(slab.entry[e] & mask);
  }
  return reached;
}

// A basis with the determinants of these rows, for H on states on another one.
template <class T>
std::shared_ptr<DeterminantBasis> BasisOfRows(const FixedBasisOperator<T>& H, const DeterminantBasis& other,
                                              const std::vector<std::uint32_t>& rows) {
  auto basis = std::make_shared<DeterminantBasis>(other.layout, other.NBitsKey);
  BasisReserve(*basis, rows.size());
  const std::uint32_t words = KeyWords(basis->layout);
  std::vector<KeyWord> keys(std::size_t{BasisBatch} * words);
  std::uint32_t numbers[BasisBatch];
  for (std::size_t first = 0; first < rows.size(); first += BasisBatch) {
    const auto count = static_cast<std::uint32_t>(std::min<std::size_t>(BasisBatch, rows.size() - first));
    for (std::size_t k = 0; k < count; ++k)
      std::copy_n(&H.keys[rows[first + k] * std::size_t{words}], words, &keys[k * words]);
    BasisHash(*basis, keys.data(), count, numbers);
    BasisAddBatch(*basis, keys.data(), count, numbers);
  }
  BasisFit(*basis);
  return basis;
}

}  // namespace

template <class T>
std::vector<WaveFunctionType> ClosedProduct(const FixedBasisOperator<T>& H,
                                            const std::vector<WaveFunctionType>& psi) {
  const std::vector<std::uint32_t> reached = ReachedRows(H, *psi[0].basis);
  const std::shared_ptr<DeterminantBasis> basis = BasisOfRows(H, *psi[0].basis, reached);
  std::vector<WaveFunctionType> product;
  std::vector<T> y(H.N);
  for (const WaveFunctionType& state : psi) {
    FixedBasisOperatorMultiply(H, 0.0, VectorOfState(H, state).data(), y.data());
    WaveFunctionType& Hpsi = product.emplace_back();
    Hpsi.basis = basis;
    BlockedArray<T> values(reached.size() + 1);
    for (std::size_t k = 0; k < reached.size(); ++k) values[k + 1] = y[reached[k]];
    Hpsi.values = std::move(values);
  }
  return product;
}

template <class T>
std::size_t EntryCount(const FixedBasisOperator<T>& H) {
  std::size_t count = H.diagonal.size();
  for (const auto& slab : H.slabs) count += slab.entry.size();
  return count;
}

template bool MoveToBasis(FixedBasisOperator<double>&, const WaveFunctionType&);
template bool MoveToBasis(FixedBasisOperator<Complex16>&, const WaveFunctionType&);
template std::vector<WaveFunctionType> ClosedProduct(const FixedBasisOperator<double>&,
                                                     const std::vector<WaveFunctionType>&);
template std::vector<WaveFunctionType> ClosedProduct(const FixedBasisOperator<Complex16>&,
                                                     const std::vector<WaveFunctionType>&);
template FixedBasisOperator<double>& ForgetRows(FixedBasisOperator<double>&);
template FixedBasisOperator<Complex16>& ForgetRows(FixedBasisOperator<Complex16>&);
template WorkVector<double> VectorOfState(const FixedBasisOperator<double>&, const WaveFunctionType&);
template WorkVector<Complex16> VectorOfState(const FixedBasisOperator<Complex16>&, const WaveFunctionType&);
template void SetStateToVector(const FixedBasisOperator<double>&, const WorkVector<double>&,
                               WaveFunctionType&);
template void SetStateToVector(const FixedBasisOperator<Complex16>&, const WorkVector<Complex16>&,
                               WaveFunctionType&);
template double FixedBasisOperatorMultiply(const FixedBasisOperator<double>&, double, const double*, double*);
template Complex16 FixedBasisOperatorMultiply(const FixedBasisOperator<Complex16>&, double, const Complex16*,
                                              Complex16*);
template std::size_t EntryCount(const FixedBasisOperator<double>&);
template std::size_t EntryCount(const FixedBasisOperator<Complex16>&);

}  // namespace fermix
