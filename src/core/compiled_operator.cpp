#include "core/compiled_operator.h"

#include <algorithm>

#include "core/space_check.h"

namespace fermix {

namespace {

// Below this many determinants testing each term costs less than building the look-up.
constexpr std::size_t LookUpPays = 48;
// Rows by bytes serve from this many determinants on, while they stay within the second-level cache.
constexpr std::size_t BytesPay = 1024, BytesFit = std::size_t{1} << 18;

// Masks of one fermionic string, words each; alive tells whether any determinant survives it.
struct StringMasks {
  explicit StringMasks(std::uint32_t words) : filled(words), empty(words), flip(words), sign(words) {}
  Key filled, empty, flip, sign;
  bool odd = false;  // constant sign -1
  bool alive = true;
};

// Follows the string from its first ladder on: what each orbital must have held at the start, and how often
// the sign rule of one ladder counts orbitals that earlier ladders have flipped.
void ReduceString(const LadderIndex* lader, std::uint32_t length, StringMasks& m) {
  for (Key* mask : {&m.filled, &m.empty, &m.flip, &m.sign}) std::fill(mask->begin(), mask->end(), 0);
  m.odd = false;
  m.alive = true;
  for (std::uint32_t position = 0; position < length && m.alive; ++position) {
    const std::uint32_t orbital = LadderOrbital(lader[position]), w = orbital / 64;
    const KeyWord bit = OrbitalBit(orbital);
    const bool create = QCreation(lader[position]);
    if ((m.filled[w] | m.empty[w]) & bit) {
      const bool occupied = ((m.filled[w] ^ m.flip[w]) & bit) != 0;
      m.alive = occupied != create;
    } else {
      (create ? m.empty : m.filled)[w] |= bit;
    }
    // Orbitals below this one: all earlier words, and the higher bits of this word.
    int flipped = 0;
    for (std::uint32_t v = 0; v <= w; ++v) {
      const KeyWord below = v < w ? ~KeyWord{0} : ~(bit | (bit - 1));
      m.sign[v] ^= below;
      flipped += std::popcount(m.flip[v] & below);
    }
    m.odd ^= flipped % 2 != 0;
    m.flip[w] ^= bit;
  }
}

void AddMasks(CompiledOperator& C, const StringMasks& m) {
  C.filled.insert(C.filled.end(), m.filled.begin(), m.filled.end());
  C.empty.insert(C.empty.end(), m.empty.begin(), m.empty.end());
  for (std::uint32_t w = 0; w < C.words; ++w) C.actions.push_back({m.flip[w], m.sign[w]});
  ++C.terms;
}

// True when a mask of R counts a boson: then changes of a count are not fixed by the string.
bool QCountsBosons(const DeterminantRestrictionType& R) {
  for (const Key& mask : R.Masks)
    for (std::uint32_t b = NFermionBytes(R.layout.NFermion); b < NWord(R.layout); ++b)
      if (KeyByte(mask.data(), b)) return true;
  return false;
}

template <class T>
void AddTable(CompiledOperator& C, std::vector<T>& values, const OperatorType& O, std::uint32_t length) {
  const OperatorFixedLengthType& table = O.l[length];
  std::vector<LadderIndex> fermions;
  StringMasks m(C.words);
  for (std::uint32_t i = 0; i < TermCount(table); ++i) {
    const LadderIndex* lader = table.o.data() + std::size_t{i} * length;
    fermions.clear();
    for (std::uint32_t k = 0; k < length; ++k)
      if (LadderOrbital(lader[k]) < O.layout.NFermion) fermions.push_back(lader[k]);
    const bool bosons = fermions.size() < length;
    // The fermions of a mixed string decide which determinants can survive; its amplitude comes from
    // OperatorLader.
    ReduceString(fermions.data(), static_cast<std::uint32_t>(fermions.size()), m);
    if (!m.alive) continue;
    AddMasks(C, m);
    const T value = ToKind<T>(TermValue(table, i)), signedValue = m.odd && !bosons ? -value : value;
    values.push_back(signedValue);
    values.push_back(-signedValue);
    C.laderStart.push_back(bosons ? static_cast<std::uint32_t>(C.lader.size()) : CompiledOperator::npos);
    C.laderLength.push_back(length);
    if (bosons) C.lader.insert(C.lader.end(), lader, lader + length);
    C.QLader |= bosons;
  }
}

// Moves the terms that flip nothing behind the others; order within both is kept.
void MoveDiagonalBehind(CompiledOperator& C) {
  std::vector<std::uint32_t> plain, diagonal;
  for (std::uint32_t t = 0; t < C.terms; ++t) {
    const auto* action = &C.actions[std::size_t{t} * C.words];
    if (std::any_of(action, action + C.words, [](const auto& a) { return a.flip != 0; })) {
      plain.push_back(t);
    } else {
      C.plainBefore.push_back(static_cast<std::uint32_t>(plain.size()));
      diagonal.push_back(t);
    }
  }
  C.plainTerms = static_cast<std::uint32_t>(plain.size());
  plain.insert(plain.end(), diagonal.begin(), diagonal.end());
  const auto permute = [&](auto& list, std::size_t each) {
    std::decay_t<decltype(list)> moved;
    moved.reserve(list.size());
    for (const std::size_t t : plain)
      moved.insert(moved.end(), list.begin() + t * each, list.begin() + (t + 1) * each);
    list.swap(moved);
  };
  permute(C.filled, C.words);
  permute(C.empty, C.words);
  permute(C.actions, C.words);
  std::visit([&](auto& values) { permute(values, 2); }, C.values);
}

// The place of term t in a row.
std::uint32_t RowBit(const CompiledOperator& C, std::uint32_t t) {
  return t < C.plainTerms ? t : t - C.plainTerms + 64 * C.plainWords;
}

// Four bits of a key, counted from its first.
unsigned HalfByte(const KeyWord* mask, std::uint32_t n) { return (mask[n / 16] >> (60 - 4 * (n % 16))) & 15; }

// Rows by half-bytes: of all terms, those that allow each value.
std::vector<KeyWord> HalfByteRows(const CompiledOperator& C, std::uint32_t halves) {
  Key all(C.rowWords);
  for (std::uint32_t t = 0; t < C.terms; ++t) all[RowBit(C, t) / 64] |= KeyWord{1} << (RowBit(C, t) % 64);
  std::vector<KeyWord> rows;
  rows.reserve(std::size_t{halves} * 16 * C.rowWords);
  for (std::uint32_t row = 0; row < halves * 16; ++row) rows.insert(rows.end(), all.begin(), all.end());
  for (std::uint32_t t = 0; t < C.terms; ++t) {
    const std::uint32_t bit = RowBit(C, t);
    const KeyWord *filled = &C.filled[std::size_t{t} * C.words], *empty = &C.empty[std::size_t{t} * C.words];
    for (std::uint32_t n = 0; n < halves; ++n) {
      const unsigned f = HalfByte(filled, n), e = HalfByte(empty, n);
      if (!(f | e)) continue;
      for (unsigned v = 0; v < 16; ++v)
        if ((v & f) != f || (v & e))
          rows[(std::size_t{n} * 16 + v) * C.rowWords + bit / 64] &= ~(KeyWord{1} << (bit % 64));
    }
  }
  return rows;
}

// Rows by bytes from rows by half-bytes.
std::vector<KeyWord> ByteRows(const std::vector<KeyWord>& halves, std::uint32_t bytes,
                              std::uint32_t rowWords) {
  std::vector<KeyWord> rows(std::size_t{bytes} * 256 * rowWords);
  for (std::uint32_t b = 0; b < bytes; ++b)
    for (std::uint32_t v = 0; v < 256; ++v) {
      const KeyWord* high = &halves[(std::size_t{2 * b} * 16 + v / 16) * rowWords];
      const KeyWord* low = &halves[(std::size_t{2 * b + 1} * 16 + v % 16) * rowWords];
      KeyWord* row = &rows[(std::size_t{b} * 256 + v) * rowWords];
      for (std::uint32_t w = 0; w < rowWords; ++w) row[w] = high[w] & low[w];
    }
  return rows;
}

void BuildLookUp(CompiledOperator& C, std::size_t elements) {
  const std::uint32_t bytes = NFermionBytes(C.layout.NFermion);
  C.plainTerms = C.terms;
  if (elements < LookUpPays || bytes == 0 || C.terms == 0) return;
  if (!C.QLader && !QCountsBosons(C.Restrictions)) MoveDiagonalBehind(C);
  C.plainWords = (C.plainTerms + 63) / 64;
  C.rowWords = CompiledOperator::RowGrain *
               ((C.plainWords + (C.terms - C.plainTerms + 63) / 64 + CompiledOperator::RowGrain - 1) /
                CompiledOperator::RowGrain);
  const bool byBytes =
      elements >= BytesPay && std::size_t{bytes} * 256 * C.rowWords * sizeof(KeyWord) <= BytesFit;
  C.sliceBits = byBytes ? 8 : 4;
  C.slices = byBytes ? bytes : 2 * bytes;
  C.rows = HalfByteRows(C, 2 * bytes);
  if (byBytes) C.rows = ByteRows(C.rows, bytes, C.rowWords);
}

// What each term changes in the count of a restriction.
std::vector<std::int32_t> Changes(const CompiledOperator& C, const Key& mask) {
  std::vector<std::int32_t> change(C.terms);
  for (std::size_t t = 0; t < C.terms; ++t)
    for (std::size_t w = 0, k = t * C.words; w < C.words; ++w, ++k) {
      const KeyWord flipped = C.actions[k].flip & mask[w];
      change[t] += std::popcount(flipped & C.empty[k]) - std::popcount(flipped & C.filled[k]);
    }
  return change;
}

// Counts run from 0 to the number of orbitals that a mask has.
void BuildRestrictionRows(CompiledOperator& C) {
  const DeterminantRestrictionType& R = C.Restrictions;
  if (C.rows.empty() || QCountsBosons(R)) return;
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    const std::vector<std::int32_t> change = Changes(C, R.Masks[r]);
    std::uint32_t orbitals = 0;
    for (const KeyWord word : R.Masks[r]) orbitals += static_cast<std::uint32_t>(std::popcount(word));
    const std::size_t start = C.restrictionRows.size();
    C.restrictionStart.push_back(static_cast<std::uint32_t>(start / C.rowWords));
    C.restrictionRows.resize(start + std::size_t{orbitals + 1} * C.rowWords);
    for (std::uint32_t counted = 0; counted <= orbitals; ++counted)
      for (std::uint32_t t = 0; t < C.terms; ++t) {
        const std::uint32_t c = counted + static_cast<std::uint32_t>(change[t]);
        const std::uint32_t bit = RowBit(C, t);
        if (c >= R.MinOccupation[r] && c <= R.MaxOccupation[r])
          C.restrictionRows[start + std::size_t{counted} * C.rowWords + bit / 64] |= KeyWord{1} << (bit % 64);
      }
  }
}

}  // namespace

CompiledOperator CompileOperator(const OperatorType& O, const DeterminantRestrictionType* R,
                                 std::size_t elements) {
  CompiledOperator C;
  C.layout = O.layout;
  C.words = KeyWords(O.layout);
  C.kind = QComplex(O);
  C.Restrictions = R ? *R : O.Restrictions;
  RequireRestrictionsFit(C.Restrictions, O.layout, "the operator");
  if (C.kind == 0) {
    C.values = std::vector<double>();
  } else {
    C.values = std::vector<Complex16>();
  }
  std::visit(
      [&](auto& values) {
        for (std::uint32_t length = 0; length <= MaxLength(O); ++length) AddTable(C, values, O, length);
      },
      C.values);
  BuildLookUp(C, elements);
  BuildRestrictionRows(C);
  return C;
}

}  // namespace fermix
