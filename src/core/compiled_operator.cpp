#include "core/compiled_operator.h"

#include <algorithm>

#include "core/space_check.h"

namespace fermix {

namespace {

// Below this many determinants testing each term costs less than building the look-up.
constexpr std::size_t LookUpPays = 48;
// Rows by bytes serve from this many determinants on, while they stay within the second-level cache.
constexpr std::size_t BytesPay = 1024, BytesFit = std::size_t{1} << 18;

// Where the masks of a string are written, words each.
struct StringMasks {
  KeyWord *filled, *empty;
  CompiledOperator::Action* action;
};

// Follows a fermionic string from its first ladder on: what each orbital must have held at the start, and how
// often the sign rule of one ladder counts orbitals that earlier ladders have flipped: odd, a constant sign
// of -1. Returns false when no determinant survives.
template <class Words>
bool ReduceString(const LadderIndex* lader, std::uint32_t length, Words words, StringMasks m, bool& odd) {
  for (std::uint32_t w = 0; w < words; ++w) {
    m.filled[w] = m.empty[w] = 0;
    m.action[w] = {0, 0};
  }
  KeyWord counted = 0;  // the parity of all that was counted is that of the exclusive or
  for (std::uint32_t position = 0; position < length; ++position) {
    const std::uint32_t orbital = LadderOrbital(lader[position]), w = words == 1 ? 0 : orbital / 64;
    const KeyWord bit = OrbitalBit(orbital);
    const bool create = QCreation(lader[position]);
    if ((m.filled[w] | m.empty[w]) & bit) {
      const bool occupied = ((m.filled[w] ^ m.action[w].flip) & bit) != 0;
      if (occupied == create) return false;
    } else {
      (create ? m.empty : m.filled)[w] |= bit;
    }
    // Orbitals below this one: all earlier words, and the higher bits of this word.
    for (std::uint32_t v = 0; v < w; ++v) {
      m.action[v].sign = ~m.action[v].sign;
      counted ^= m.action[v].flip;
    }
    const KeyWord below = ~(bit | (bit - 1));
    m.action[w].sign ^= below;
    counted ^= m.action[w].flip & below;
    m.action[w].flip ^= bit;
  }
  odd = __builtin_parityll(counted) != 0;
  return true;
}

// True when a mask of R counts a boson: then changes of a count are not fixed by the string.
bool QCountsBosons(const DeterminantRestrictionType& R) {
  for (const Key& mask : R.Masks)
    for (std::uint32_t b = NFermionBytes(R.layout.NFermion); b < NWord(R.layout); ++b)
      if (KeyByte(mask.data(), b)) return true;
  return false;
}

// Appends the terms of the table of one length. Masks have room for them.
template <class T>
void AddTable(CompiledOperator& C, std::vector<T>& values, const OperatorFixedLengthType& table,
              std::uint32_t length) {
  std::vector<LadderIndex> fermions(length);
  ForEachTermOf(table, length, [&](const LadderIndex* lader, std::uint32_t, const auto& value) {
    // The fermions of a mixed string decide which determinants can survive; its amplitude comes from
    // OperatorLader.
    const auto last = std::copy_if(lader, lader + length, fermions.begin(),
                                   [&](LadderIndex s) { return LadderOrbital(s) < C.layout.NFermion; });
    const bool bosons = last != fermions.end();
    const std::size_t at = std::size_t{C.terms} * C.words;
    bool odd = false;
    const bool alive = DispatchWords(C.words, [&](auto words) {
      return ReduceString(fermions.data(), static_cast<std::uint32_t>(last - fermions.begin()), words,
                          {&C.filled[at], &C.empty[at], &C.actions[at]}, odd);
    });
    if (!alive) return;
    ++C.terms;
    const T signedValue = odd && !bosons ? -ToKind<T>(value) : ToKind<T>(value);
    values.push_back(signedValue);
    values.push_back(-signedValue);
    if (C.layout.NBoson == 0) return;
    C.laderStart.push_back(bosons ? static_cast<std::uint32_t>(C.lader.size()) : CompiledOperator::npos);
    C.laderLength.push_back(length);
    if (bosons) C.lader.insert(C.lader.end(), lader, lader + length);
    C.QLader |= bosons;
  });
}

template <class T>
void AddTerms(CompiledOperator& C, std::vector<T>& values, const OperatorType& O) {
  std::size_t terms = 0;
  for (const OperatorFixedLengthType& table : O.l) terms += TermCount(table);
  const auto resize = [&](std::size_t words) {
    C.filled.resize(words);
    C.empty.resize(words);
    C.actions.resize(words);
  };
  resize(terms * C.words);
  values.reserve(2 * terms);
  ForEachTable(O, [&](const OperatorFixedLengthType& table, std::uint32_t length) {
    AddTable(C, values, table, length);
  });
  resize(std::size_t{C.terms} * C.words);
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

// Of all terms those that allow orbital n empty, row 2 n, and those that allow it filled, row 2 n + 1.
std::vector<KeyWord> OrbitalRows(const CompiledOperator& C, std::uint32_t orbitals) {
  Key all(C.rowWords);
  for (std::uint32_t t = 0; t < C.terms; ++t) all[RowBit(C, t) / 64] |= KeyWord{1} << (RowBit(C, t) % 64);
  std::vector<KeyWord> rows;
  rows.reserve(std::size_t{orbitals} * 2 * C.rowWords);
  for (std::uint32_t row = 0; row < orbitals * 2; ++row) rows.insert(rows.end(), all.begin(), all.end());
  for (std::uint32_t t = 0; t < C.terms; ++t) {
    const std::uint32_t bit = RowBit(C, t);
    const auto forbid = [&](const std::vector<KeyWord>& needed, std::uint32_t value) {
      for (std::uint32_t w = 0; w < C.words; ++w)
        for (KeyWord left = needed[std::size_t{t} * C.words + w]; left; left &= left - 1) {
          const std::size_t n = 64 * w + 63 - static_cast<std::uint32_t>(std::countr_zero(left));
          rows[(2 * n + value) * C.rowWords + bit / 64] &= ~(KeyWord{1} << (bit % 64));
        }
    };
    forbid(C.filled, 0);
    forbid(C.empty, 1);
  }
  return rows;
}

// Rows by slices of 2 bits bits from rows by slices of bits bits.
std::vector<KeyWord> WiderRows(const std::vector<KeyWord>& rows, std::uint32_t bits, std::uint32_t rowWords) {
  const std::size_t values = std::size_t{1} << bits, slices = rows.size() / (2 * values * rowWords);
  std::vector<KeyWord> wider(slices * values * values * rowWords);
  KeyWord* to = wider.data();
  for (std::size_t s = 0; s < slices; ++s)
    for (std::size_t v = 0; v < values * values; ++v, to += rowWords) {
      const KeyWord* high = &rows[(2 * s * values + v / values) * rowWords];
      const KeyWord* low = &rows[((2 * s + 1) * values + v % values) * rowWords];
      for (std::uint32_t w = 0; w < rowWords; ++w) to[w] = high[w] & low[w];
    }
  return wider;
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
  C.rows = OrbitalRows(C, 8 * bytes);
  for (std::uint32_t bits = 1; bits < C.sliceBits; bits *= 2) C.rows = WiderRows(C.rows, bits, C.rowWords);
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
  std::visit([&](auto& values) { AddTerms(C, values, O); }, C.values);
  BuildLookUp(C, elements);
  BuildRestrictionRows(C);
  return C;
}

}  // namespace fermix
