#include "core/surviving_terms.h"

#include <algorithm>
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

// Results of purely fermionic terms on keys of one word.
FERMIX_VECTOR_CLONES void ApplyOneWord(const KeyWord* flip, const KeyWord* sign, const std::uint32_t* term,
                                       std::uint32_t count, KeyWord key, KeyWord* keys, double* amplitude) {
  for (std::uint32_t i = 0; i < count; ++i) {
    keys[i] = key ^ flip[term[i]];
    amplitude[i] = __builtin_popcountll(key & sign[term[i]]) & 1 ? -1.0 : 1.0;
  }
}

FERMIX_VECTOR_CLONES void ApplyWords(const KeyWord* flip, const KeyWord* sign, std::uint32_t words,
                                     const std::uint32_t* term, std::uint32_t count, const KeyWord* key,
                                     KeyWord* keys, double* amplitude) {
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t from = std::size_t{term[i]} * words, to = std::size_t{i} * words;
    KeyWord counted = 0;
    for (std::uint32_t w = 0; w < words; ++w) {
      keys[to + w] = key[w] ^ flip[from + w];
      counted ^= key[w] & sign[from + w];  // parity of the whole is the parity of the exclusive or
    }
    amplitude[i] = __builtin_popcountll(counted) & 1 ? -1.0 : 1.0;
  }
}

// Terms with bosons step by step; those that kill the determinant leave the list.
void ApplyLaders(const CompiledOperator& O, const KeyWord* key, SurvivingTerms& out) {
  std::uint32_t kept = 0;
  for (std::uint32_t i = 0; i < out.count; ++i) {
    const std::uint32_t t = out.term[i];
    KeyWord* to = &out.keys[std::size_t{kept} * O.words];
    double amplitude = out.amplitude[i];
    if (O.laderStart[t] == CompiledOperator::npos) {
      std::copy_n(&out.keys[std::size_t{i} * O.words], O.words, to);
    } else {
      std::copy_n(key, O.words, to);
      amplitude = OperatorLader(to, &O.lader[O.laderStart[t]], O.laderLength[t], O.layout.NFermion);
      if (!(std::fabs(amplitude) > NumericalZero)) continue;
    }
    out.term[kept] = t;
    out.amplitude[kept++] = amplitude;
  }
  out.count = kept;
}

// Drops results outside of the restrictions.
void Restrict(const CompiledOperator& O, const KeyWord* key, SurvivingTerms& out) {
  const std::uint32_t n = NRestrictions(O.Restrictions);
  if (O.QChange)
    for (std::uint32_t r = 0; r < n; ++r) out.counts[r] = RestrictionCount(O.Restrictions, r, key);
  const auto allowed = [&](std::uint32_t i) {
    if (!O.QChange) return QFulfillsRestrictions(O.Restrictions, &out.keys[std::size_t{i} * O.words]);
    const std::int32_t* change = &O.change[std::size_t{out.term[i]} * n];
    for (std::uint32_t r = 0; r < n; ++r) {
      const std::uint32_t c = out.counts[r] + static_cast<std::uint32_t>(change[r]);
      if (c > O.Restrictions.MaxOccupation[r] || c < O.Restrictions.MinOccupation[r]) return false;
    }
    return true;
  };
  std::uint32_t kept = 0;
  for (std::uint32_t i = 0; i < out.count; ++i) {
    if (!allowed(i)) continue;
    if (kept != i) {
      out.term[kept] = out.term[i];
      out.amplitude[kept] = out.amplitude[i];
      std::copy_n(&out.keys[std::size_t{i} * O.words], O.words, &out.keys[std::size_t{kept} * O.words]);
    }
    ++kept;
  }
  out.count = kept;
}

}  // namespace

SurvivingTerms::SurvivingTerms(const CompiledOperator& O)
    : term(O.terms + 1),  // one more: the test without look-up writes ahead
      amplitude(O.terms),
      keys(std::size_t{O.terms} * O.words),
      mask(O.rowWords),
      counts(NRestrictions(O.Restrictions)) {}

void FindSurvivingTerms(const CompiledOperator& O, const KeyWord* key, bool restricted, SurvivingTerms& out) {
  if (O.rows.empty()) {
    out.count = TestTerms(O, key, out.term.data());
  } else {
    AndRows(O.rows.data(), key, O.sliceBits, O.slices, O.rowWords, out.mask.data());
    out.count = CollectBits(out.mask.data(), O.terms, out.term.data());
  }
  if (O.words == 1) {
    ApplyOneWord(O.flip.data(), O.sign.data(), out.term.data(), out.count, *key, out.keys.data(),
                 out.amplitude.data());
  } else {
    ApplyWords(O.flip.data(), O.sign.data(), O.words, out.term.data(), out.count, key, out.keys.data(),
               out.amplitude.data());
  }
  if (O.QLader) ApplyLaders(O, key, out);
  if (restricted && !O.Restrictions.Masks.empty()) Restrict(O, key, out);
}

}  // namespace fermix
