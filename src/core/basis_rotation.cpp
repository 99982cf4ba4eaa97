#include "core/basis_rotation.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "core/normal_order.h"
#include "core/operator_on_state.h"
#include "host/base/status.h"

namespace fermix {

namespace {

std::uint32_t SpaceSize(const KeyLayout& layout) { return layout.NFermion + layout.NBoson; }

void RequireShape(const CompactMatrixType& M, const KeyLayout& to, const KeyLayout& from) {
  if (M.Ni != SpaceSize(to) || M.Nj != SpaceSize(from))
    throw std::invalid_argument("Rotation matrix has " + std::to_string(M.Ni) + " rows and " +
                                std::to_string(M.Nj) + " columns, expected " + std::to_string(SpaceSize(to)) +
                                " and " + std::to_string(SpaceSize(from)) + "\n");
  if (M.Ni > IndexMask + 1u || M.Nj > IndexMask + 1u)
    throw std::invalid_argument("Rotation matrix is larger than the range of a ladder operator\n");
}

// The elements of one column that are not 0.
template <class E>
struct ColumnEntry {
  LadderIndex j;
  E m;
};
template <class E>
using Columns = std::vector<std::vector<ColumnEntry<E>>>;

template <class E>
Columns<E> MatrixColumns(const CompactMatrixType& M, const std::vector<E>& data) {
  Columns<E> columns(M.Nj);
  for (std::uint32_t j = 0; j < M.Ni; ++j)
    for (std::uint32_t i = 0; i < M.Nj; ++i)
      if (const E m = data[std::size_t{j} * M.Nj + i]; !(Abs(m) == 0))
        columns[i].push_back({static_cast<LadderIndex>(j), m});
  return columns;
}

// The expansion of one string: position 0 runs slowest. T holds the products of the coefficient with elements
// of M, of kind E.
template <class T, class E>
class StringExpansion {
 public:
  explicit StringExpansion(const Columns<E>& columns, std::uint32_t maxLength)
      : columns_(columns), string_(maxLength), next_(maxLength), value_(std::size_t{maxLength} + 1) {}

  // Calls add(string, coefficient) for each string that value * lader becomes.
  template <class Add>
  void expand(const LadderIndex* lader, std::uint32_t length, T value, Add&& add) {
    value_[0] = value;
    if (length) next_[0] = 0;
    for (std::uint32_t level = 0;;) {
      if (level < length && advance(level, lader[level])) {
        if (++level < length) next_[level] = 0;
        continue;
      }
      if (level == length) add(string_.data(), value_[length]);
      if (level-- == 0) return;
    }
  }

 private:
  // Puts the next orbital at that position; false when there is none left.
  bool advance(std::uint32_t level, LadderIndex old) {
    const std::vector<ColumnEntry<E>>& column = columns_[LadderOrbital(old)];
    const double magnitude = std::fabs(Re(value_[level])) + std::fabs(Im(value_[level]));
    for (std::uint32_t& n = next_[level]; n < column.size();) {
      const auto& [j, m] = column[n++];
      if (!(Abs(m) * magnitude > NumericalZero)) continue;
      string_[level] = j | (old & CreationBit);
      value_[level + 1] = value_[level] * (QCreation(old) ? Conj(m) : m);
      return true;
    }
    return false;
  }

  const Columns<E>& columns_;
  std::vector<LadderIndex> string_;
  std::vector<std::uint32_t> next_;
  std::vector<T> value_;
};

template <class E>
void AddMapped(OperatorType& O, const OperatorType& Source, const Columns<E>& columns, OrderPredicate order) {
  ForEachTable(Source, [&](const OperatorFixedLengthType& t, std::uint32_t length) {
    std::visit(
        [&](const auto& values) {
          using T = decltype(values[0] * E{});
          StringExpansion<T, E> expansion(columns, length);
          for (std::uint32_t n = 0; n < TermCount(t); ++n)
            expansion.expand(
                t.o.data() + std::size_t{n} * length, length, T(values[n]),
                [&](const LadderIndex* lader, T value) { AddNormalOrder(O, lader, length, value, order); });
        },
        t.values);
  });
}

// What the creators of the old basis become in the new one.
std::vector<OperatorType> MappedCreators(const CompactMatrixType& M, const KeyLayout& to) {
  std::vector<OperatorType> creators(M.Nj, InitOperator(to.NFermion, to.NBoson));
  for (OperatorType& creator : creators) InitOperatorFixedLength(creator, 1, 4);
  std::visit(
      [&](const auto& data) {
        const auto columns = MatrixColumns(M, data);
        for (std::uint32_t i = 0; i < M.Nj; ++i)
          for (const auto& [j, m] : columns[i]) {
            const LadderIndex create = Create(j);
            AddNormalOrder(creators[i], &create, 1, Conj(m), QDetNotOrderedFcFaBcBa);
          }
      },
      M.Data);
  return creators;
}

// The creators whose product makes the determinant from the vacuum, the first to act first: the lowest
// orbital stands leftmost in the product. Modes stand as often as they are filled.
void CreatorSequence(const KeyLayout& layout, const KeyWord* key, std::vector<std::uint32_t>& sequence) {
  sequence.clear();
  for (std::uint32_t k = layout.NBoson; k-- > 0;)
    sequence.insert(sequence.end(), KeyByte(key, NFermionBytes(layout.NFermion) + k), layout.NFermion + k);
  for (std::uint32_t i = layout.NFermion; i-- > 0;)
    if (QOccupied(key, i)) sequence.push_back(i);
}

// The product of the k-th creator of a sequence with state. The n quanta of a mode are (b+)^n / sqrt(n!).
WaveFunctionType ApplyCreator(const std::vector<OperatorType>& creators,
                              const std::vector<std::uint32_t>& sequence, std::size_t k,
                              std::uint32_t modesFrom, const WaveFunctionType& state) {
  WaveFunctionType result = OperatorPsi(creators[sequence[k]], state);
  if (sequence[k] >= modesFrom) {
    const auto first = std::find(sequence.begin(), sequence.end(), sequence[k]);
    const auto quanta = static_cast<double>(sequence.begin() + static_cast<std::ptrdiff_t>(k) + 1 - first);
    WaveFunctionMultiply(result, 1 / std::sqrt(quanta), 0);
  }
  return result;
}

}  // namespace

void MappedOperatorAddNormalOrder(OperatorType& O, const OperatorType& Source, const CompactMatrixType& M,
                                  OrderPredicate order) {
  if (&O == &Source) return MappedOperatorAddNormalOrder(O, OperatorType(Source), M, order);
  RequireShape(M, O.layout, Source.layout);
  OrSay("MappedOperatorFixedLengthAtLevel failed in MappedOperatorAddNormalOrder\n", [&] {
    OperatorAllOrNothing(O, [&] {
      OperatorCreateTablesOf(O, Source);
      std::visit([&](const auto& data) { AddMapped(O, Source, MatrixColumns(M, data), order); }, M.Data);
    });
  });
}

void MappedWaveFunctionAdd(WaveFunctionType& Psi, const WaveFunctionType& Source,
                           const CompactMatrixType& M) {
  const KeyLayout from = Layout(Source), to = Layout(Psi);
  RequireShape(M, to, from);
  WaveFunctionType sum = Psi;
  if (QComplex(Source) || IsComplexMatrix(M))
    OrSay("MakeComplexWaveFunctionFromReal failed in MappedWaveFunctionAdd\n",
          [&] { MakeComplexWaveFunctionFromReal(sum); });
  const std::vector<OperatorType> creators = MappedCreators(M, to);
  // images[k] is what the first k creators of `sequence` make; neighbours in a basis share the first ones.
  std::vector<WaveFunctionType> images = {WaveFunctionType(to, false, 4)};
  RealWaveFunctionAddElement(images[0], Key(KeyWords(to)).data(), 1);
  std::vector<std::uint32_t> sequence, before;
  for (std::uint32_t n = 1; n <= ElementCount(Source); ++n) {
    CreatorSequence(from, ElementKey(Source, n), sequence);
    const auto shared = std::mismatch(sequence.begin(), sequence.end(), before.begin(), before.end()).first -
                        sequence.begin();
    images.erase(images.begin() + shared + 1, images.end());
    for (std::size_t k = images.size() - 1; k < sequence.size(); ++k)
      images.push_back(ApplyCreator(creators, sequence, k, from.NFermion, images[k]));
    WaveFunctionAddComplexMultipliedUnionBasis(sum, images.back(), ElementValue(Source, n));
    before.swap(sequence);
  }
  Psi = std::move(sum);
}

}  // namespace fermix
