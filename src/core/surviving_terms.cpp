#include "core/surviving_terms.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "host/base/vector_clones.h"

namespace fermix {

namespace {

// mask := AND of the rows that the slices of key choose.
FERMIX_VECTOR_CLONES void AndRows(const KeyWord* rows, const KeyWord* key, unsigned sliceBits,
                                  unsigned slices, unsigned rowWords, KeyWord* mask) {
  const unsigned perWord = 64 / sliceBits;
  const KeyWord low = (KeyWord{1} << sliceBits) - 1;
  for (unsigned w = 0; w < rowWords; ++w) mask[w] = ~KeyWord{0};
  for (unsigned s = 0; s < slices; ++s) {
    const KeyWord value = (key[s / perWord] >> (64 - sliceBits * (s % perWord + 1))) & low;
    const KeyWord* row = rows + ((std::size_t{s} << sliceBits) + value) * rowWords;
    for (unsigned w = 0; w < rowWords; ++w) mask[w] &= row[w];
  }
}

// Numbers of the set bits of mask that are below terms.
std::uint32_t CollectBits(const KeyWord* mask, std::uint32_t terms, std::uint32_t* numbers) {
  std::uint32_t count = 0;
  for (std::uint32_t w = 0; w * 64 < terms; ++w) {
    KeyWord bits = mask[w];
    if (terms - w * 64 < 64) bits &= (KeyWord{1} << (terms - w * 64)) - 1;
    for (; bits; bits &= bits - 1)
      numbers[count++] = w * 64 + static_cast<std::uint32_t>(std::countr_zero(bits));
  }
  return count;
}

// Without a look-up: each term's masks against the key.
std::uint32_t TestTerms(const CompiledOperator& O, const KeyWord* key, std::uint32_t* numbers) {
  std::uint32_t count = 0;
  for (std::uint32_t t = 0; t < O.terms; ++t) {
    KeyWord wrong = 0;
    for (std::uint32_t w = 0; w < O.words; ++w) {
      const KeyWord filled = O.filled[std::size_t{t} * O.words + w],
                    empty = O.empty[std::size_t{t} * O.words + w];
      wrong |= (filled & ~key[w]) | (empty & key[w]);
    }
    numbers[count] = t;
    count += wrong == 0;
  }
  return count;
}

// 1 or -1 by the lowest bit of count. No branch: signs can't be predicted.
inline double SignOf(int count) {
  return std::bit_cast<double>(std::bit_cast<std::uint64_t>(1.0) | static_cast<std::uint64_t>(count) << 63);
}

// Results of purely fermionic terms on keys of one word.
FERMIX_POPCOUNT_CLONES void ApplyOneWord(const KeyWord* flip, const KeyWord* sign, const std::uint32_t* term,
                                         std::uint32_t count, KeyWord key, KeyWord* keys, double* amplitude) {
  for (std::uint32_t i = 0; i < count; ++i) {
    keys[i] = key ^ flip[term[i]];
    amplitude[i] = SignOf(__builtin_popcountll(key & sign[term[i]]));
  }
}

FERMIX_POPCOUNT_CLONES void ApplyWords(const KeyWord* flip, const KeyWord* sign, std::uint32_t words,
                                       const std::uint32_t* term, std::uint32_t count, const KeyWord* key,
                                       KeyWord* keys, double* amplitude) {
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t from = std::size_t{term[i]} * words, to = std::size_t{i} * words;
    KeyWord counted = 0;
    for (std::uint32_t w = 0; w < words; ++w) {
      keys[to + w] = key[w] ^ flip[from + w];
      counted ^= key[w] & sign[from + w];  // parity of the whole is the parity of the exclusive or
    }
    amplitude[i] = SignOf(__builtin_popcountll(counted));
  }
}

// Keeps the results from first on for which keep(i) is true.
template <class Keep>
void KeepResults(SurvivingTerms& out, std::uint32_t first, std::uint32_t words, Keep&& keep) {
  std::uint32_t kept = first;
  for (std::uint32_t i = first; i < out.count; ++i) {
    if (!keep(i)) continue;
    if (kept != i) {
      out.term[kept] = out.term[i];
      out.amplitude[kept] = out.amplitude[i];
      std::copy_n(&out.keys[std::size_t{i} * words], words, &out.keys[std::size_t{kept} * words]);
    }
    ++kept;
  }
  out.count = kept;
}

// Terms with bosons step by step; those that kill the determinant leave the list.
void ApplyLaders(const CompiledOperator& O, const KeyWord* key, std::uint32_t first, SurvivingTerms& out) {
  KeepResults(out, first, O.words, [&](std::uint32_t i) {
    const std::uint32_t t = out.term[i];
    if (O.laderStart[t] == CompiledOperator::npos) return true;
    KeyWord* to = &out.keys[std::size_t{i} * O.words];
    std::copy_n(key, O.words, to);
    out.amplitude[i] = OperatorLader(to, &O.lader[O.laderStart[t]], O.laderLength[t], O.layout.NFermion);
    return std::fabs(out.amplitude[i]) > NumericalZero;
  });
}

// Drops results outside of the restrictions.
void Restrict(const CompiledOperator& O, const KeyWord* key, std::uint32_t first, SurvivingTerms& out) {
  const DeterminantRestrictionType& R = O.Restrictions;
  const std::uint32_t n = NRestrictions(R);
  if (!O.QChange) {
    KeepResults(out, first, O.words, [&](std::uint32_t i) {
      return QFulfillsRestrictions(R, &out.keys[std::size_t{i} * O.words]);
    });
    return;
  }
  for (std::uint32_t r = 0; r < n; ++r) out.occupation[r] = RestrictionCount(R, r, key);
  KeepResults(out, first, O.words, [&](std::uint32_t i) {
    const std::int32_t* change = &O.change[std::size_t{out.term[i]} * n];
    for (std::uint32_t r = 0; r < n; ++r) {
      const std::uint32_t c = out.occupation[r] + static_cast<std::uint32_t>(change[r]);
      if (c > R.MaxOccupation[r] || c < R.MinOccupation[r]) return false;
    }
    return true;
  });
}

}  // namespace

SurvivingTerms::SurvivingTerms(const CompiledOperator& O, const DeterminantBasis& targetBasis)
    : target(targetBasis),
      term(BasisBatch + O.terms + 1),  // one more: the test without look-up writes ahead
      amplitude(BasisBatch + O.terms),
      keys(std::size_t{BasisBatch + O.terms} * O.words),
      numbers(BasisBatch + O.terms),
      mask(O.rowWords),
      occupation(NRestrictions(O.Restrictions)) {}

std::uint32_t FindSurvivingTerms(const CompiledOperator& O, const KeyWord* key, bool restricted,
                                 SurvivingTerms& out) {
  const std::uint32_t first = out.count;
  std::uint32_t* term = out.term.data() + first;
  std::uint32_t found;
  if (O.rows.empty()) {
    found = TestTerms(O, key, term);
  } else {
    AndRows(O.rows.data(), key, O.sliceBits, O.slices, O.rowWords, out.mask.data());
    found = CollectBits(out.mask.data(), O.terms, term);
  }
  KeyWord* keys = out.keys.data() + std::size_t{first} * O.words;
  if (O.words == 1) {
    ApplyOneWord(O.flip.data(), O.sign.data(), term, found, *key, keys, out.amplitude.data() + first);
  } else {
    ApplyWords(O.flip.data(), O.sign.data(), O.words, term, found, key, keys, out.amplitude.data() + first);
  }
  out.count += found;
  if (O.QLader) ApplyLaders(O, key, first, out);
  if (restricted && !O.Restrictions.Masks.empty()) Restrict(O, key, first, out);
  BasisHash(out.target, keys, out.count - first, out.numbers.data() + first);
  return first;
}

}  // namespace fermix
