#include "solvers/fixed_basis_operator.h"

#include <algorithm>
#include <bit>

#include "core/operator_on_state.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"

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

// Makes rows one after the other. Where two terms lead to one determinant, the second finds the entry of the
// first through place, which has an element for each column.
template <class T>
class RowBuilder {
 public:
  using Slab = typename FixedBasisOperator<T>::Slab;
  explicit RowBuilder(FixedBasisOperator<T>& H)
      : H_(H), results_(H.compiled, *H.basis), rowOf_(H.N + 1, None), place_(H.N, None) {
    for (std::uint32_t k = 0; k < H.N; ++k) rowOf_[H.element[k]] = k;
  }

  // Appends rows first .. end - 1 to slab and sets their diagonal elements.
  void Add(std::size_t first, std::size_t end, Slab& slab) {
    while (first < end) {
      // As many determinants together as let the look-ups of their results overlap.
      rowEnds_.clear();
      results_.clear();
      for (std::size_t k = first; k < end && results_.count < BasisBatch; ++k) {
        FindSurvivingTerms(H_.compiled, H_.basis->keys.at(H_.element[k]), false, results_);
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
  static constexpr std::uint32_t None = 0xffffffff;

  // Row k from the results begin .. end - 1. H is Hermitian: the row is the conjugate of what H makes of the
  // determinant.
  void AddRow(std::size_t k, std::uint32_t begin, std::uint32_t end, FurtherCodes& furtherCodes, Slab& slab) {
    const std::size_t rowStart = slab.column.size();
    T diagonal{};
    for (std::uint32_t i = begin; i < end; ++i) {
      const T value = Conj(Coefficient(i, furtherCodes));
      const std::uint32_t column = rowOf_[results_.numbers[i]];
      if (column == None) continue;  // leaves the basis
      if (column == k) {
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

  T Coefficient(std::uint32_t i, FurtherCodes& furtherCodes) const {
    return std::visit(
        [&](const auto& values) { return ToKind<T>(ResultCoefficient(results_, values, i, furtherCodes)); },
        H_.compiled.values);
  }

  FixedBasisOperator<T>& H_;
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

template <class T>
void BuildRows(FixedBasisOperator<T>& H) {
  H.diagonal.resize(H.N);
  RowBuilder<T> builder(H);
  ValueCodes<T> codes(H.values);
  typename FixedBasisOperator<T>::Slab scratch;  // grows here; what is kept has the exact size
  for (std::size_t first = 0; first < H.N; first += RowsPerSlab) {
    scratch.start.assign(1, 0);
    scratch.column.clear();
    scratch.value.clear();
    builder.Add(first, std::min(H.N, first + RowsPerSlab), scratch);
    typename FixedBasisOperator<T>::Slab kept{scratch.start, scratch.column, codes.Encode(scratch.value), {}};
    if (kept.code.empty()) kept.value = scratch.value;
    H.slabs.push_back(std::move(kept));
  }
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
FixedBasisOperator<T> MakeFixedBasisOperator(const OperatorType& H, const WaveFunctionType& psi, bool QRows) {
  FixedBasisOperator<T> result;
  result.N = ElementCount(psi);
  result.basis = psi.basis;
  result.element = ElementsByKey(*psi.basis);
  const DeterminantRestrictionType none;
  result.compiled = CompileOperator(H, &none, result.N);
  result.QRows = QRows && FitsInMemory([&] { BuildRows(result); });
  if (!result.QRows) ForgetRows(result);
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
std::vector<T> VectorOfState(const FixedBasisOperator<T>& H, const WaveFunctionType& psi) {
  const auto& values = std::get<BlockedArray<T>>(psi.values);
  std::vector<T> v(H.N);
  for (std::size_t k = 0; k < H.N; ++k) v[k] = values[H.element[k]];
  return v;
}

template <class T>
void SetStateToVector(const FixedBasisOperator<T>& H, const std::vector<T>& v, WaveFunctionType& psi) {
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
void FixedBasisOperatorMultiply(const FixedBasisOperator<T>& H, double shift, const T* x, T* y) {
  if (!H.QRows) return MultiplyDirectly(H, shift, x, y);
  for (std::size_t s = 0; s < H.slabs.size(); ++s) {
    const T *value = H.slabs[s].value.data(), *values = H.values.data();
    const std::uint16_t* code = H.slabs[s].code.data();
    if (H.slabs[s].code.empty()) {
      MultiplyRows(H, s, shift, x, y, [=](std::size_t e) { return value[e]; });
    } else {
      MultiplyRows(H, s, shift, x, y, [=](std::size_t e) { return values[code[e]]; });
    }
  }
}

template <class T>
std::size_t EntryCount(const FixedBasisOperator<T>& H) {
  std::size_t count = H.diagonal.size();
  for (const auto& slab : H.slabs) count += slab.column.size();
  return count;
}

template FixedBasisOperator<double> MakeFixedBasisOperator(const OperatorType&, const WaveFunctionType&,
                                                           bool);
template FixedBasisOperator<Complex16> MakeFixedBasisOperator(const OperatorType&, const WaveFunctionType&,
                                                              bool);
template FixedBasisOperator<double>& ForgetRows(FixedBasisOperator<double>&);
template FixedBasisOperator<Complex16>& ForgetRows(FixedBasisOperator<Complex16>&);
template std::vector<double> VectorOfState(const FixedBasisOperator<double>&, const WaveFunctionType&);
template std::vector<Complex16> VectorOfState(const FixedBasisOperator<Complex16>&, const WaveFunctionType&);
template void SetStateToVector(const FixedBasisOperator<double>&, const std::vector<double>&,
                               WaveFunctionType&);
template void SetStateToVector(const FixedBasisOperator<Complex16>&, const std::vector<Complex16>&,
                               WaveFunctionType&);
template void FixedBasisOperatorMultiply(const FixedBasisOperator<double>&, double, const double*, double*);
template void FixedBasisOperatorMultiply(const FixedBasisOperator<Complex16>&, double, const Complex16*,
                                         Complex16*);
template std::size_t EntryCount(const FixedBasisOperator<double>&);
template std::size_t EntryCount(const FixedBasisOperator<Complex16>&);

}  // namespace fermix
