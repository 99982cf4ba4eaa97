#include "core/surviving_terms.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "core/determinant_index.h"
#include "host/base/vector_clones.h"

namespace fermix {

namespace {

// mask := AND of count rows of words words.
FERMIX_VECTOR_CLONES void AndRows(const KeyWord* const* rows, std::size_t count, std::uint32_t words,
                                  KeyWord* mask) {
  constexpr std::uint32_t grain = CompiledOperator::RowGrain;
  for (std::uint32_t w = 0; w < words; w += grain) {
    KeyWord both[grain];
    for (std::uint32_t k = 0; k < grain; ++k) both[k] = rows[0][w + k];
    for (std::size_t r = 1; r < count; ++r)
      for (std::uint32_t k = 0; k < grain; ++k) both[k] &= rows[r][w + k];
    for (std::uint32_t k = 0; k < grain; ++k) mask[w + k] = both[k];
  }
}

// The rows that the slices of key choose, and those of the restrictions.
std::size_t ChooseRows(const CompiledOperator& O, const KeyWord* key, bool restricted, const KeyWord** rows) {
  const KeyWord* row = O.rows.data();
  const std::size_t values = std::size_t{1} << O.sliceBits;  // that a slice can take
  for (std::uint32_t s = 0, bit = 0; s < O.slices; ++s, bit += O.sliceBits, row += values * O.rowWords) {
    const KeyWord value = (key[bit / 64] >> (64 - O.sliceBits - bit % 64)) & (values - 1);
    rows[s] = row + value * O.rowWords;
  }
  if (!restricted) return O.slices;
  for (std::uint32_t r = 0; r < O.restrictionStart.size(); ++r) {
    const std::size_t at = O.restrictionStart[r] + RestrictionCount(O.Restrictions, r, key);
    rows[O.slices + r] = O.restrictionRows.data() + at * O.rowWords;
  }
  return O.slices + O.restrictionStart.size();
}

// Numbers of the set bits of a mask of whole words, counted from base. Always in fours: how many a word has
// can't be predicted. Writes up to three numbers more than it counts.
inline std::uint32_t CollectBits(const KeyWord* mask, std::uint32_t words, std::uint32_t base,
                                 std::uint32_t* numbers) {
  std::uint32_t count = 0;
  for (std::uint32_t w = 0; w < words; ++w, base += 64) {
    KeyWord bits = mask[w];
    const auto found = static_cast<std::uint32_t>(__builtin_popcountll(bits));
    std::uint32_t* to = numbers + count;
    for (std::uint32_t done = 0; done < found; done += 4)
      for (int k = 0; k < 4; ++k, bits &= bits - 1) {
        *to++ = base + static_cast<std::uint32_t>(__builtin_ctzll(bits | KeyWord{1} << 63));
        __asm__("" : "+r"(bits));  // nothing for vectors, but compilers try
      }
    count += found;
  }
  return count;
}

// Lists the terms of mask in stored order and counts them. Diagonal ones share a result: the first of them
// stands at its place among the others, the codes of the rest become further ones.
FERMIX_POPCOUNT_CLONES std::uint32_t ListTerms(const CompiledOperator& O, KeyWord* mask,
                                               SurvivingTerms& out) {
  std::uint32_t* term = out.code.data() + out.count;
  std::uint32_t w = O.plainWords;
  while (w < O.rowWords && mask[w] == 0) ++w;
  if (w == O.rowWords) return CollectBits(mask, O.plainWords, 0, term);

  const std::uint32_t plain = CollectBits(mask, O.plainWords, 0, term + 1);
  const std::uint32_t d = (w - O.plainWords) * 64 + static_cast<std::uint32_t>(__builtin_ctzll(mask[w]));
  mask[w] &= mask[w] - 1;
  std::uint32_t place = 0;
  for (; place < plain && term[place + 1] < O.plainBefore[d]; ++place) term[place] = term[place + 1];
  term[place] = O.plainTerms + d;

  std::uint32_t* further = out.further.get() + out.furtherCount;
  const std::uint32_t more =
      CollectBits(mask + w, O.rowWords - w, O.plainTerms + (w - O.plainWords) * 64, further);
  if (more) {
    // Nothing is flipped, so each orbital of the string counts an even number of times: parity 0.
    for (std::uint32_t e = 0; e < more; ++e) further[e] *= 2;
    out.shared.back() = {out.count + place, out.furtherCount, out.furtherCount + more};
    out.furtherCount += more;
    out.shared.push_back({CompiledOperator::npos, 0, 0});
  }
  return plain + 1;
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

// Results of fermionic terms on one determinant: replaces each term by its code, and gives the key and its
// hash, whose bucket is fetched.
template <class Words>
inline void Apply(const CompiledOperator::Action* actions, Words words, const KeyWord* key,
                  const DeterminantBasis& target, std::uint32_t count, std::uint32_t* term, KeyWord* keys,
                  std::uint32_t* hashes) {
  const DeterminantBasis::Bucket* buckets = target.buckets.data();
  const std::size_t size = target.buckets.size();
  for (std::uint32_t i = 0; i < count; ++i) {
    const CompiledOperator::Action* action = actions + std::size_t{term[i]} * words;
    KeyWord* to = keys + std::size_t{i} * words;
    KeyWord counted = 0;
    for (std::uint32_t w = 0; w < words; ++w) {
      to[w] = key[w] ^ action[w].flip;
      counted ^= key[w] & action[w].sign;  // parity of the whole is the parity of the exclusive or
    }
    term[i] = 2 * term[i] + (static_cast<std::uint32_t>(__builtin_popcountll(counted)) & 1);
    hashes[i] = KeyHash(to, words);
    __builtin_prefetch(buckets + HomeBucket(hashes[i], size));
  }
}
FERMIX_POPCOUNT_CLONES void ApplyNarrow(const CompiledOperator::Action* actions, const KeyWord* key,
                                        const DeterminantBasis& target, std::uint32_t count,
                                        std::uint32_t* term, KeyWord* keys, std::uint32_t* hashes) {
  Apply(actions, NarrowKeys{}, key, target, count, term, keys, hashes);
}
FERMIX_POPCOUNT_CLONES void ApplyOneWord(const CompiledOperator::Action* actions, const KeyWord* key,
                                         const DeterminantBasis& target, std::uint32_t count,
                                         std::uint32_t* term, KeyWord* keys, std::uint32_t* hashes) {
  Apply(actions, std::integral_constant<std::uint32_t, 1>{}, key, target, count, term, keys, hashes);
}
FERMIX_POPCOUNT_CLONES void ApplyTwoWords(const CompiledOperator::Action* actions, const KeyWord* key,
                                          const DeterminantBasis& target, std::uint32_t count,
                                          std::uint32_t* term, KeyWord* keys, std::uint32_t* hashes) {
  Apply(actions, std::integral_constant<std::uint32_t, 2>{}, key, target, count, term, keys, hashes);
}

// Keeps the results from first on for which keep(i) is true.
template <class Keep>
void KeepResults(SurvivingTerms& out, std::uint32_t first, std::uint32_t words, Keep&& keep) {
  std::uint32_t kept = first;
  for (std::uint32_t i = first; i < out.count; ++i) {
    if (!keep(i)) continue;
    if (kept != i) {
      out.code[kept] = out.code[i];
      if (!out.factor.empty()) out.factor[kept] = out.factor[i];
      std::copy_n(&out.keys[std::size_t{i} * words], words, &out.keys[std::size_t{kept} * words]);
    }
    ++kept;
  }
  out.count = kept;
}

// Terms with bosons step by step; those that kill the determinant leave the list.
void ApplyLaders(const CompiledOperator& O, const KeyWord* key, std::uint32_t first, SurvivingTerms& out) {
  KeepResults(out, first, O.words, [&](std::uint32_t i) {
    const std::uint32_t t = out.code[i] / 2;
    out.factor[i] = 1;
    if (O.laderStart[t] == CompiledOperator::npos) return true;
    KeyWord* to = &out.keys[std::size_t{i} * O.words];
    std::copy_n(key, O.words, to);
    out.code[i] = 2 * t;
    out.factor[i] = OperatorLader(to, &O.lader[O.laderStart[t]], O.laderLength[t], O.layout.NFermion);
    return std::fabs(out.factor[i]) > NumericalZero;
  });
}

// Drops results outside of the restrictions.
void Restrict(const CompiledOperator& O, std::uint32_t first, SurvivingTerms& out) {
  KeepResults(out, first, O.words, [&](std::uint32_t i) {
    return QFulfillsRestrictions(O.Restrictions, &out.keys[std::size_t{i} * O.words]);
  });
}

}  // namespace

SurvivingTerms::SurvivingTerms(const CompiledOperator& O, const DeterminantBasis& targetBasis)
    : target(targetBasis),
      code(BasisBatch + O.terms + 4),  // more: lists of terms are written ahead
      factor(O.QLader ? BasisBatch + O.terms : 0),
      keys(std::size_t{BasisBatch + O.terms} * O.words),
      numbers(BasisBatch + O.terms),
      furtherRoom(std::size_t{BasisBatch} * (O.terms - O.plainTerms) + 4),
      further(std::make_unique_for_overwrite<std::uint32_t[]>(furtherRoom)),
      mask(O.rowWords),
      chosen(O.slices + O.restrictionStart.size()) {
  shared.reserve(BasisBatch + 2);
  clear();
}

void SurvivingTerms::clear() {
  count = furtherCount = 0;
  shared.assign(1, {CompiledOperator::npos, 0, 0});
}

std::uint32_t FindSurvivingTerms(const CompiledOperator& O, const KeyWord* key, bool restricted,
                                 SurvivingTerms& out) {
  const std::uint32_t first = out.count;
  const bool byRows = restricted && !O.restrictionRows.empty();
  const bool restrictResults = restricted && !byRows && !O.Restrictions.Masks.empty();
  const bool plain = !O.QLader && !restrictResults;
  std::uint32_t* term = out.code.data() + first;
  std::uint32_t found;
  if (O.rows.empty()) {
    found = TestTerms(O, key, term);
  } else {
    const std::size_t rows = ChooseRows(O, key, byRows, out.chosen.data());
    AndRows(out.chosen.data(), rows, O.rowWords, out.mask.data());
    found = ListTerms(O, out.mask.data(), out);
  }
  KeyWord* keys = out.keys.data() + std::size_t{first} * O.words;
  std::uint32_t* hashes = out.numbers.data() + first;
  DispatchKeys(O.layout, [&](auto words) {
    using Words = decltype(words);
    if constexpr (std::is_same_v<Words, NarrowKeys>) {
      ApplyNarrow(O.actions.data(), key, out.target, found, term, keys, hashes);
    } else if constexpr (std::is_same_v<Words, std::integral_constant<std::uint32_t, 1>>) {
      ApplyOneWord(O.actions.data(), key, out.target, found, term, keys, hashes);
    } else if constexpr (std::is_same_v<Words, std::integral_constant<std::uint32_t, 2>>) {
      ApplyTwoWords(O.actions.data(), key, out.target, found, term, keys, hashes);
    } else {
      Apply(O.actions.data(), words, key, out.target, found, term, keys, hashes);
    }
  });
  out.count += found;
  if (plain) return first;
  if (O.QLader) ApplyLaders(O, key, first, out);
  if (restrictResults) Restrict(O, first, out);
  BasisHash(out.target, keys, out.count - first, hashes);
  return first;
}

}  // namespace fermix
