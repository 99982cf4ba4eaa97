#include "solvers/fixed_basis_operator.h"

#include <algorithm>
#include <bit>

#include "core/surviving_terms.h"
#include "host/base/status.h"

namespace fermix {

namespace {

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
  RowBuilder(FixedBasisOperator<T>& H, const DeterminantRestrictionType& R)
      : H_(H), R_(R), results_(H.compiled, *H.basis), rowOf_(RowOfElement(H, H.N)), place_(H.N, NoRow) {}

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
    const std::size_t rowStart = slab.entry.size();
    T diagonal{};
    for (std::uint32_t i = begin; i < end; ++i) {
      const T value = Conj(Coefficient(i, furtherCodes));
      const std::uint32_t column = rowOf_[results_.numbers[i]];
      if (column == NoRow) {
        NoteLeaving(i);
      } else if (column == k) {
        diagonal += value;
      } else if (place_[column] == NoRow) {
        place_[column] = static_cast<std::uint32_t>(slab.entry.size() - rowStart);
        slab.entry.push_back(column);
        slab.value.push_back(value);
      } else {
        slab.value[rowStart + place_[column]] += value;
      }
    }
    for (std::size_t e = rowStart; e < slab.entry.size(); ++e) place_[slab.entry[e]] = NoRow;
    slab.start.push_back(static_cast<std::uint32_t>(slab.entry.size()));
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

// Numbers of different values in a list, which grows to a size that stays in the cache.
template <class T>
class ValueNumbers {
 public:
  explicit ValueNumbers(FixedBasisOperator<T>& H)
      : values_(H.values),
        bits_(H.columnBits),
        most_(std::min(MaxValues, std::size_t{1} << (32 - H.columnBits))),
        slots_(Slots) {}

  // Writes them into the high bits of the entries and drops the values, unless the list has no room for a new
  // one. The entries then stay columns.
  void Pack(typename FixedBasisOperator<T>::Slab& slab) {
    for (std::size_t e = 0; e < slab.value.size(); ++e) {
      std::uint16_t* slot = Find(slab.value[e]);
      if (*slot == 0) {
        if (values_.size() == most_) return Unpack(slab, e);
        values_.push_back(slab.value[e]);
        *slot = static_cast<std::uint16_t>(values_.size());
      }
      slab.entry[e] |= static_cast<std::uint32_t>(std::uint64_t{*slot - 1u} << bits_);
    }
    slab.value.clear();
  }

 private:
  static constexpr std::size_t MaxValues = 1024, Slots = 4096;

  static std::uint64_t Bits(double x) { return std::bit_cast<std::uint64_t>(x); }
  static std::uint64_t Bits(Complex16 z) { return Bits(z.re) ^ std::rotl(Bits(z.im), 21); }

  void Unpack(typename FixedBasisOperator<T>::Slab& slab, std::size_t count) {
    const auto mask = static_cast<std::uint32_t>((std::uint64_t{1} << bits_) - 1);
    for (std::size_t e = 0; e < count; ++e) slab.entry[e] &= mask;
  }

  // Where value stands, or the empty slot for it.
  std::uint16_t* Find(const T& value) {
    std::size_t slot = Bits(value) * 0x9e3779b97f4a7c15u >> 52;
    while (slots_[slot] && !(values_[slots_[slot] - 1u] == value)) slot = (slot + 1) % Slots;
    return &slots_[slot];
  }

  std::vector<T>& values_;
  std::uint32_t bits_;                // of a column
  std::size_t most_;                  // values
  std::vector<std::uint16_t> slots_;  // number + 1, 0 when empty
};

// False, with some of the rows, when closed ones were asked for and H leaves the basis.
template <class T>
bool BuildRows(FixedBasisOperator<T>& H, const DeterminantRestrictionType& R, bool closed) {
  H.diagonal.resize(H.N);
  H.leaving = Leaving::Nowhere;
  RowBuilder<T> builder(H, R);
  H.columnBits = static_cast<std::uint32_t>(std::bit_width(H.N));
  ValueNumbers<T> numbers(H);
  typename FixedBasisOperator<T>::Slab scratch;  // grows here; what is kept has the exact size
  for (std::size_t first = 0; first < H.N; first += RowsPerSlab) {
    scratch.start.assign(1, 0);
    scratch.entry.clear();
    scratch.value.clear();
    builder.Add(first, std::min(H.N, first + RowsPerSlab), scratch);
    if (closed && H.leaving == Leaving::ToAllowed) return false;
    numbers.Pack(scratch);
    H.slabs.push_back(scratch);
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

}  // namespace fermix
