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
  Key filled, empty, flip, sign;
  bool odd = false;  // constant sign -1
  bool alive = true;
};

// Follows the string from its first ladder on: what each orbital must have held at the start, and how often
// the sign rule of one ladder counts orbitals that earlier ladders have flipped.
StringMasks ReduceString(const LadderIndex* lader, std::uint32_t length, std::uint32_t words) {
  StringMasks m{Key(words), Key(words), Key(words), Key(words)};
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
  return m;
}

// Change of the count of each restriction that the string makes.
void AddChanges(CompiledOperator& C, const StringMasks& m) {
  for (const Key& mask : C.Restrictions.Masks) {
    std::int32_t change = 0;
    for (std::uint32_t w = 0; w < C.words; ++w) {
      const KeyWord flipped = m.flip[w] & mask[w];
      change += std::popcount(flipped & m.empty[w]) - std::popcount(flipped & m.filled[w]);
    }
    C.change.push_back(change);
  }
}

void AddMasks(CompiledOperator& C, const StringMasks& m) {
  C.filled.insert(C.filled.end(), m.filled.begin(), m.filled.end());
  C.empty.insert(C.empty.end(), m.empty.begin(), m.empty.end());
  C.flip.insert(C.flip.end(), m.flip.begin(), m.flip.end());
  C.sign.insert(C.sign.end(), m.sign.begin(), m.sign.end());
  AddChanges(C, m);
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
  for (std::uint32_t i = 0; i < TermCount(table); ++i) {
    const LadderIndex* lader = table.o.data() + std::size_t{i} * length;
    fermions.clear();
    for (std::uint32_t k = 0; k < length; ++k)
      if (LadderOrbital(lader[k]) < O.layout.NFermion) fermions.push_back(lader[k]);
    const bool bosons = fermions.size() < length;
    // The fermions of a mixed string decide which determinants can survive; its amplitude comes from
    // OperatorLader.
    const StringMasks m = ReduceString(fermions.data(), static_cast<std::uint32_t>(fermions.size()), C.words);
    if (!m.alive) continue;
    AddMasks(C, m);
    values.push_back(ToKind<T>(TermValue(table, i)));
    if (m.odd && !bosons) values.back() = -values.back();
    C.laderStart.push_back(bosons ? static_cast<std::uint32_t>(C.lader.size()) : CompiledOperator::npos);
    C.laderLength.push_back(length);
    if (bosons) C.lader.insert(C.lader.end(), lader, lader + length);
    C.QLader |= bosons;
  }
}

// Four bits of a key, counted from its first.
unsigned HalfByte(const KeyWord* mask, std::uint32_t n) { return (mask[n / 16] >> (60 - 4 * (n % 16))) & 15; }

// Rows by half-bytes: of all terms, those that allow each value.
std::vector<KeyWord> HalfByteRows(const CompiledOperator& C, std::uint32_t halves) {
  std::vector<KeyWord> rows(std::size_t{halves} * 16 * C.rowWords, ~KeyWord{0});
  for (std::uint32_t t = 0; t < C.terms; ++t) {
    const KeyWord *filled = &C.filled[std::size_t{t} * C.words], *empty = &C.empty[std::size_t{t} * C.words];
    for (std::uint32_t n = 0; n < halves; ++n) {
      const unsigned f = HalfByte(filled, n), e = HalfByte(empty, n);
      if (!(f | e)) continue;
      for (unsigned v = 0; v < 16; ++v)
        if ((v & f) != f || (v & e))
          rows[(std::size_t{n} * 16 + v) * C.rowWords + t / 64] &= ~(KeyWord{1} << (t % 64));
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
  if (elements < LookUpPays || bytes == 0) return;
  C.rowWords = (C.terms + 63) / 64;
  const bool byBytes =
      elements >= BytesPay && std::size_t{bytes} * 256 * C.rowWords * sizeof(KeyWord) <= BytesFit;
  C.sliceBits = byBytes ? 8 : 4;
  C.slices = byBytes ? bytes : 2 * bytes;
  C.rows = HalfByteRows(C, 2 * bytes);
  if (byBytes) C.rows = ByteRows(C.rows, bytes, C.rowWords);
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
  C.QChange = !QCountsBosons(C.Restrictions);
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
  return C;
}

}  // namespace fermix
