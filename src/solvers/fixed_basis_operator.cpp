#include "solvers/fixed_basis_operator.h"

#include <algorithm>

#include "core/operator_on_state.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"

namespace fermix {

namespace {

constexpr std::size_t RowsPerSlab = 4096;

// Collects the entries of one row after the other. Where two terms lead to one determinant, the second finds
// the entry of the first through place, which has an element for each column.
template <class T>
class RowBuilder {
 public:
  explicit RowBuilder(const FixedBasisOperator<T>& H)
      : H_(H), out_(H.compiled), numbers_(H.compiled.terms), place_(H.N, None) {}

  // Appends row k to slab and gives its diagonal element. H is Hermitian: the row is the conjugate of what H
  // makes of the determinant.
  T Add(std::size_t k, typename FixedBasisOperator<T>::Slab& slab) {
    const DeterminantBasis& basis = *H_.basis;
    FindSurvivingTerms(H_.compiled, basis.keys.at(k + 1), false, out_);
    BasisFindBatch(basis, out_.keys.data(), out_.count, numbers_.data());
    const std::size_t begin = slab.column.size();
    T diagonal{};
    for (std::uint32_t i = 0; i < out_.count; ++i) {
      if (!numbers_[i]) continue;
      const std::uint32_t column = numbers_[i] - 1;
      const T value = Conj(Coefficient(out_.term[i])) * out_.amplitude[i];
      if (column == k) {
        diagonal += value;
      } else if (place_[column] == None) {
        place_[column] = static_cast<std::uint32_t>(slab.column.size() - begin);
        slab.column.push_back(column);
        slab.value.push_back(value);
      } else {
        slab.value[begin + place_[column]] += value;
      }
    }
    for (std::size_t e = begin; e < slab.column.size(); ++e) place_[slab.column[e]] = None;
    return diagonal;
  }

 private:
  static constexpr std::uint32_t None = 0xffffffff;

  T Coefficient(std::uint32_t term) const {
    return std::visit([&](const auto& values) { return ToKind<T>(values[term]); }, H_.compiled.values);
  }

  const FixedBasisOperator<T>& H_;
  SurvivingTerms out_;
  std::vector<std::uint32_t> numbers_, place_;
};

template <class T>
void BuildRows(FixedBasisOperator<T>& H) {
  using Slab = typename FixedBasisOperator<T>::Slab;
  H.diagonal.resize(H.N);
  RowBuilder<T> builder(H);
  Slab scratch;  // grows here; what is kept has the exact size
  for (std::size_t first = 0; first < H.N; first += RowsPerSlab) {
    scratch.start.assign(1, 0);
    scratch.column.clear();
    scratch.value.clear();
    for (std::size_t k = first; k < std::min(H.N, first + RowsPerSlab); ++k) {
      H.diagonal[k] = builder.Add(k, scratch);
      scratch.start.push_back(static_cast<std::uint32_t>(scratch.column.size()));
    }
    H.slabs.push_back(scratch);
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
  for (std::size_t k = 0; k < H.N; ++k) from[k + 1] = x[k];
  OperatorPsiConserveBasisPreAllocated(H.compiled, psi, Hpsi);
  const auto& to = std::get<BlockedArray<T>>(Hpsi.values);
  for (std::size_t k = 0; k < H.N; ++k) y[k] = to[k + 1] + shift * x[k];
}

}  // namespace

template <class T>
FixedBasisOperator<T> MakeFixedBasisOperator(const OperatorType& H, const WaveFunctionType& psi, bool QRows) {
  FixedBasisOperator<T> result;
  result.N = ElementCount(psi);
  result.basis = psi.basis;
  const DeterminantRestrictionType none;
  result.compiled = CompileOperator(H, &none, result.N);
  result.QRows = QRows && FitsInMemory([&] { BuildRows(result); });
  if (!result.QRows) {
    result.slabs = {};
    result.diagonal = {};
  }
  return result;
}

template <class T>
void FixedBasisOperatorMultiply(const FixedBasisOperator<T>& H, double shift, const T* x, T* y) {
  if (!H.QRows) return MultiplyDirectly(H, shift, x, y);
  std::size_t k = 0;
  for (const auto& slab : H.slabs) {
    const std::uint32_t* column = slab.column.data();
    const T* value = slab.value.data();
    for (std::size_t r = 0; r + 1 < slab.start.size(); ++r, ++k) {
      T sum = H.diagonal[k] * x[k] + shift * x[k];
      for (std::uint32_t e = slab.start[r]; e < slab.start[r + 1]; ++e) sum += value[e] * x[column[e]];
      y[k] = sum;
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
template void FixedBasisOperatorMultiply(const FixedBasisOperator<double>&, double, const double*, double*);
template void FixedBasisOperatorMultiply(const FixedBasisOperator<Complex16>&, double, const Complex16*,
                                         Complex16*);
template std::size_t EntryCount(const FixedBasisOperator<double>&);
template std::size_t EntryCount(const FixedBasisOperator<Complex16>&);

}  // namespace fermix
