#include "solvers/fixed_basis_operator.h"

#include <algorithm>
#include <bit>

#include "core/operator_on_state.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"
#include "solvers/vector_kernels.h"

namespace fermix {

namespace {

constexpr std::size_t RowsPerSlab = 4096;

// The elements of a basis in the order of their keys.
std::vector<std::uint32_t> ElementsByKey(const DeterminantBasis& basis) {
  struct Entry {
    KeyWord first;  // word of the key: most comparisons need no more
    std::uint32_t element;
  };
  std::vector<Entry> entries(basis.N);
  for (std::uint32_t i = 0; i < basis.N; ++i) entries[i] = {basis.keys.at(i + 1)[0], i + 1};
  std::sort(entries.begin(), entries.end(), [&](const Entry& a, const Entry& b) {
    if (a.first != b.first) return a.first < b.first;
    const KeyWord *x = basis.keys.at(a.element), *y = basis.keys.at(b.element);
    const std::uint32_t words = KeyWords(basis.layout);
    return std::lexicographical_compare(x, x + words, y, y + words);
  });
  std::vector<std::uint32_t> elements(basis.N);
  std::transform(entries.begin(), entries.end(), elements.begin(), [](const Entry& e) { return e.element; });
  return elements;
}

constexpr std::uint32_t None = 0xffffffff;

// The row of each of the elements 1 .. count of the basis, None for 0.
template <class T>
std::vector<std::uint32_t> RowOfElement(const FixedBasisOperator<T>& H, std::size_t count) {
  std::vector<std::uint32_t> rowOf(count + 1, None);
  for (std::uint32_t k = 0; k < H.N; ++k) rowOf[H.element[k]] = k;
  rowOf[0] = None;
  return rowOf;
}

// Makes rows one after the other. Where two terms lead to one determinant, the second finds the entry of the
// first through place, which has an element for each column.
template <class T>
class RowBuilder {
 public:
  using Slab = typename FixedBasisOperator<T>::Slab;
  RowBuilder(FixedBasisOperator<T>& H, const DeterminantRestrictionType& R)
      : H_(H), R_(R), results_(H.compiled, *H.basis), rowOf_(RowOfElement(H, H.N)), place_(H.N, None) {}

  // Appends rows first .. end - 1 to slab and sets their diagonal elements.
  void Add(std::size_t first, std::size_t end, Slab& slab) {
    while (first < end) {
      // As many determinants together as let the look-ups of their results overlap.
      rowEnds_.clear();
      results_.clear();
      for (std::size_t k = first; k < end && results_.count < BasisBatch; ++k) {
        FindSurvivingTerms(H_.compiled, &H_.keys[k * KeyWords(H_.basis->layout)], false, results_);
        rowEnds_.push_back(results_.count);
      }
      BasisFindBatch(*H_.basis, results_.keys.data(), results_.count, results_.numbers.data());
      FurtherCodes furtherCodes(results_);
      std::uint32_t begin = 0;
      for (const std::uint32_t rowEnd : rowEnds_) {
        AddRow(first++, begin, rowEnd, furtherCodes, slab);
        begin = rowEnd;
      }
    }
  }

 private:
  // Row k from the results begin .. end - 1. H is Hermitian: the row is the conjugate of what H makes of the
  // determinant.
  void AddRow(std::size_t k, std::uint32_t begin, std::uint32_t end, FurtherCodes& furtherCodes, Slab& slab) {
    const std::size_t rowStart = slab.column.size();
    T diagonal{};
    for (std::uint32_t i = begin; i < end; ++i) {
      const T value = Conj(Coefficient(i, furtherCodes));
      const std::uint32_t column = rowOf_[results_.numbers[i]];
      if (column == None) {
        NoteLeaving(i);
      } else if (column == k) {
        diagonal += value;
      } else if (place_[column] == None) {
        place_[column] = static_cast<std::uint32_t>(slab.column.size() - rowStart);
        slab.column.push_back(column);
        slab.value.push_back(value);
      } else {
        slab.value[rowStart + place_[column]] += value;
      }
    }
    for (std::size_t e = rowStart; e < slab.column.size(); ++e) place_[slab.column[e]] = None;
    slab.start.push_back(static_cast<std::uint32_t>(slab.column.size()));
    H_.diagonal[k] = diagonal;
  }

  void NoteLeaving(std::uint32_t i) {
    if (H_.leaving == Leaving::ToAllowed) return;
    const KeyWord* key = &results_.keys[i * KeyWords(H_.basis->layout)];
    H_.leaving = QFulfillsRestrictions(R_, key) ? Leaving::ToAllowed : Leaving::ToForbidden;
  }

  T Coefficient(std::uint32_t i, FurtherCodes& furtherCodes) const {
    return std::visit(
        [&](const auto& values) { return ToKind<T>(ResultCoefficient(results_, values, i, furtherCodes)); },
        H_.compiled.values);
  }

  FixedBasisOperator<T>& H_;
  const DeterminantRestrictionType& R_;
  SurvivingTerms results_;
  std::vector<std::uint32_t> rowEnds_, rowOf_, place_;
};

// Codes of values: numbers of different ones in a list, which grows to a size that stays in the cache.
template <class T>
class ValueCodes {
 public:
  explicit ValueCodes(std::vector<T>& values) : values_(values), slots_(Slots) {}

  // Codes for all of these values, or none when the list has no room for a new one.
  std::vector<std::uint16_t> Encode(const std::vector<T>& value) {
    std::vector<std::uint16_t> code(value.size());
    for (std::size_t e = 0; e < value.size(); ++e) {
      std::uint16_t* slot = Find(value[e]);
      if (*slot == 0) {
        if (values_.size() == MaxValues) return {};
        values_.push_back(value[e]);
        *slot = static_cast<std::uint16_t>(values_.size());
      }
      code[e] = static_cast<std::uint16_t>(*slot - 1);
    }
    return code;
  }

 private:
  static constexpr std::size_t MaxValues = 1024, Slots = 4096;

  static std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }
  static std::uint64_t Bits(Complex16 z) { return Bits(z.re) ^ std::rotl(Bits(z.im), 21); }

  // Where value stands, or the empty slot for it.
  std::uint16_t* Find(const T& value) {
    std::size_t slot = Bits(value) * 0x9e3779b97f4a7c15u >> 52;
    while (slots_[slot] && !(values_[slots_[slot] - 1u] == value)) slot = (slot + 1) % Slots;
    return &slots_[slot];
  }

  std::vector<T>& values_;
  std::vector<std::uint16_t> slots_;  // code + 1, 0 when empty
};

// False, with some of the rows, when closed ones were asked for and H leaves the basis.
template <class T>
bool BuildRows(FixedBasisOperator<T>& H, const DeterminantRestrictionType& R, bool closed) {
  H.diagonal.resize(H.N);
  H.leaving = Leaving::Nowhere;
  RowBuilder<T> builder(H, R);
  ValueCodes<T> codes(H.values);
  typename FixedBasisOperator<T>::Slab scratch;  // grows here; what is kept has the exact size
  for (std::size_t first = 0; first < H.N; first += RowsPerSlab) {
    scratch.start.assign(1, 0);
    scratch.column.clear();
    scratch.value.clear();
    builder.Add(first, std::min(H.N, first + RowsPerSlab), scratch);
    if (closed && H.leaving == Leaving::ToAllowed) return false;
    typename FixedBasisOperator<T>::Slab kept{scratch.start, scratch.column, codes.Encode(scratch.value), {}};
    if (kept.code.empty()) kept.value = scratch.value;
    H.slabs.push_back(std::move(kept));
  }
  return true;
}

// Without rows.
template <class T>
FixedBasisOperator<T> DirectOperator(const OperatorType& H, const WaveFunctionType& psi) {
  FixedBasisOperator<T> result;
  result.N = ElementCount(psi);
  result.basis = psi.basis;
  result.element = ElementsByKey(*psi.basis);
  const std::uint32_t words = KeyWords(Layout(psi));
  result.keys.resize(result.N * words);
  for (std::size_t k = 0; k < result.N; ++k)
    std::copy_n(ElementKey(psi, result.element[k]), words, &result.keys[k * words]);
  const DeterminantRestrictionType none;
  result.compiled = CompileOperator(H, &none, result.N);
  result.QRows = false;
  return result;
}

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
FixedBasisOperator<T> MakeFixedBasisOperator(const OperatorType& H, const WaveFunctionType& psi, bool QRows,
                                             const DeterminantRestrictionType& R) {
  FixedBasisOperator<T> result = DirectOperator<T>(H, psi);
  result.QRows = QRows && FitsInMemory([&] { BuildRows(result, R, false); });
  if (!result.QRows) ForgetRows(result);
  return result;
}

template <class T>
std::optional<FixedBasisOperator<T>> MakeClosedOperator(const OperatorType& H, const WaveFunctionType& psi,
                                                        const DeterminantRestrictionType& R) {
  std::optional<FixedBasisOperator<T>> result;
  const bool fits = FitsInMemory([&] {
    result = DirectOperator<T>(H, psi);
    result->QRows = BuildRows(*result, R, true);
  });
  if (!fits || !result->QRows) result.reset();
  return result;
}

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
  H.basis = psi.basis;
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

// Rows of one slab times x. Several sums run at once, so that additions overlap.
template <class T, class Value>
inline void MultiplyRows(const FixedBasisOperator<T>& H, std::size_t slabNumber, double shift, const T* x,
                         T* y, Value&& value) {
  constexpr std::size_t Sums = 4;
  const auto& slab = H.slabs[slabNumber];
  const std::uint32_t* column = slab.column.data();
  const std::size_t first = slabNumber * RowsPerSlab;
  for (std::size_t r = 0; r + 1 < slab.start.size(); ++r) {
    const std::size_t k = first + r, end = slab.start[r + 1];
    T sum[Sums] = {};
    sum[0] = H.diagonal[k] * x[k] + shift * x[k];
    std::size_t e = slab.start[r];
    for (; e + Sums <= end; e += Sums)
      for (std::size_t s = 0; s < Sums; ++s) sum[s] += value(e + s) * x[column[e + s]];
    for (; e < end; ++e) sum[0] += value(e) * x[column[e]];
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
  T overlap{};
  for (std::size_t s = 0; s < H.slabs.size(); ++s) {
    const T *value = H.slabs[s].value.data(), *values = H.values.data();
    const std::uint16_t* code = H.slabs[s].code.data();
    if (H.slabs[s].code.empty()) {
      MultiplyRows(H, s, shift, x, y, [=](std::size_t e) { return value[e]; });
    } else {
      MultiplyRows(H, s, shift, x, y, [=](std::size_t e) { return values[code[e]]; });
    }
    const std::size_t first = s * RowsPerSlab;  // still in the cache
    overlap += Dot(x + first, y + first, std::min(RowsPerSlab, H.N - first));
  }
  return overlap;
}

namespace {

// Rows that H reaches from the elements of its basis, in the order in which it meets them.
template <class T>
std::vector<std::uint32_t> ReachedRows(const FixedBasisOperator<T>& H) {
  std::vector<std::uint32_t> reached;
  reached.reserve(H.N);
  std::vector<bool> met(H.N);
  const auto meet = [&](std::uint32_t row) {
    if (met[row]) return;
    met[row] = true;
    reached.push_back(row);
  };
  const std::vector<std::uint32_t> rowOf = RowOfElement(H, H.basis->N);
  for (std::uint32_t i = 1; i <= H.basis->N; ++i) {
    meet(rowOf[i]);  // by the constant term
    const auto& slab = H.slabs[rowOf[i] / RowsPerSlab];
    const std::uint32_t* start = &slab.start[rowOf[i] % RowsPerSlab];
    for (std::uint32_t e = start[0]; e < start[1]; ++e) meet(slab.column[e]);
  }
  return reached;
}

// A basis with the determinants of these rows.
template <class T>
std::shared_ptr<DeterminantBasis> BasisOfRows(const FixedBasisOperator<T>& H,
                                              const std::vector<std::uint32_t>& rows) {
  auto basis = std::make_shared<DeterminantBasis>(H.basis->layout, H.basis->NBitsKey);
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
  const std::vector<std::uint32_t> reached = ReachedRows(H);
  const std::shared_ptr<DeterminantBasis> basis = BasisOfRows(H, reached);
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
  for (const auto& slab : H.slabs) count += slab.column.size();
  return count;
}

template FixedBasisOperator<double> MakeFixedBasisOperator(const OperatorType&, const WaveFunctionType&, bool,
                                                           const DeterminantRestrictionType&);
template FixedBasisOperator<Complex16> MakeFixedBasisOperator(const OperatorType&, const WaveFunctionType&,
                                                              bool, const DeterminantRestrictionType&);
template std::optional<FixedBasisOperator<double>> MakeClosedOperator(const OperatorType&,
                                                                      const WaveFunctionType&,
                                                                      const DeterminantRestrictionType&);
template std::optional<FixedBasisOperator<Complex16>> MakeClosedOperator(const OperatorType&,
                                                                         const WaveFunctionType&,
                                                                         const DeterminantRestrictionType&);
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
