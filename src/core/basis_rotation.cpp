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

// All strings of one length with position `level` in the new basis. Equal strings merge, so that the work
// grows with their number and not with the number of ways that lead to them.
template <class E>
OperatorType MappedFixedLengthAtLevel(const OperatorType& in, const Columns<E>& columns, std::uint32_t length,
                                      std::uint32_t level) {
  OperatorType out = InitOperator(in.layout.NFermion, in.layout.NBoson);
  InitOperatorFixedLength(out, length, 8);
  const OperatorFixedLengthType& t = in.l[length];
  WorkString mapped(length);
  for (std::uint32_t n = 0; n < TermCount(t); ++n) {
    const LadderIndex* lader = t.o.data() + std::size_t{n} * length;
    const LadderIndex old = lader[level];
    const Complex16 value = TermValue(t, n);
    const double magnitude = std::fabs(value.re) + std::fabs(value.im);
    std::copy_n(lader, length, mapped.data());
    for (const auto& [j, m] : columns[LadderOrbital(old)]) {
      if (!(Abs(m) * magnitude > NumericalZero)) continue;
      mapped.data()[level] = j | (old & CreationBit);
      const Complex16 v = value * Complex16(QCreation(old) ? Conj(m) : m);
      OperatorAddLader(out, mapped.data(), length, v.re, v.im);
    }
  }
  return out;
}

template <class E>
void AddMapped(OperatorType& O, const OperatorType& Source, const Columns<E>& columns, OrderPredicate order) {
  ForEachTable(Source, [&](const OperatorFixedLengthType& table, std::uint32_t length) {
    OperatorType mapped = InitOperator(Source.layout.NFermion, Source.layout.NBoson);
    InitOperatorFixedLength(mapped, length, 8);
    mapped.l[length] = table;
    for (std::uint32_t level = 0; level < length; ++level)
      mapped = MappedFixedLengthAtLevel(mapped, columns, length, level);
    mapped.layout = O.layout;
    OperatorAddNormalOrder(O, mapped, 1.0, order);
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
