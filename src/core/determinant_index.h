// The hash index of a determinant basis from inside, for the loops that look up millions of keys: the basis
// itself, and products of operators with states.
//
// Looking up goes in three steps, so that misses of the cache overlap with each other and with other work:
// a hash is made and its bucket fetched (BasisHash); the bucket is searched, and what goes with the number
// found is fetched; the stored key is compared. The last two steps are FindEach and AddEach.
#pragma once

#include <algorithm>
#include <bit>

#include "core/determinant_basis.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace fermix {

// Keys of at most 31 bits: their hash is one-to-one, so that equal hashes mean equal keys.
struct NarrowKeys : std::integral_constant<std::uint32_t, 1> {};

// Calls f with the number of words of a key, as DispatchWords, or with NarrowKeys.
template <class F>
decltype(auto) DispatchKeys(const KeyLayout& layout, F&& f) {
  if ((layout.NBoson ? 8 * NWord(layout) : layout.NFermion) <= 31) return f(NarrowKeys{});
  return DispatchWords(KeyWords(layout), std::forward<F>(f));
}

// Both steps, a shift and a multiplication by an odd number, can be undone in 31 bits. Never 0.
inline std::uint32_t KeyHash(const KeyWord* key, NarrowKeys) {
  auto y = static_cast<std::uint32_t>(*key >> 33);
  y ^= y >> 16;
  return (y * 0x9e3779b1u) << 1 | 1;
}

// One wide multiplication for each word, its halves folded: keys are dense bit patterns at the top of a word,
// and the middle bits of the product depend on all of them. Never 0.
template <class Words>
inline std::uint32_t KeyHash(const KeyWord* key, Words words) {
  __extension__ using Wide = unsigned __int128;
  KeyWord h = 0;
  for (std::uint32_t w = 0; w < words; ++w) {
    const Wide product = Wide{h ^ key[w]} * 0xd6e8feb86659fd93;
    h = static_cast<KeyWord>(product) ^ static_cast<KeyWord>(product >> 64);
  }
  return static_cast<std::uint32_t>(h) | 1;
}

inline std::size_t HomeBucket(std::uint32_t hash, std::size_t buckets) {
  return (std::uint64_t{hash} * buckets) >> 32;
}
inline std::size_t NextBucket(std::size_t b, std::size_t buckets) { return b + 1 == buckets ? 0 : b + 1; }

// Bit k is set when place k holds the hash. No branch: where in a bucket a key stands can't be predicted.
inline unsigned Matches(const DeterminantBasis::Bucket& bucket, std::uint32_t hash) {
#ifdef __SSE2__
  const __m128i wanted = _mm_set1_epi32(static_cast<int>(hash));
  const auto equal = [&](int first) {
    return _mm_cmpeq_epi32(_mm_load_si128(reinterpret_cast<const __m128i*>(bucket.hash + first)), wanted);
  };
  const __m128i words = _mm_packs_epi32(equal(0), equal(4));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(words, _mm_setzero_si128())));
#else
  unsigned bits = 0;
  for (unsigned k = 0; k < DeterminantBasis::Bucket::Places; ++k)
    bits |= unsigned{bucket.hash[k] == hash} << k;
  return bits;
#endif
}

template <class Words>
inline const KeyWord* KeyAt(const DeterminantBasis& basis, std::uint32_t i, Words words) {
  return &basis.keys.blocks[i / BlockElements][i % BlockElements * words];
}

// True when element number, found by the hash of key, has that key.
template <class Words>
inline bool QHolds(const DeterminantBasis& basis, std::uint32_t number, const KeyWord* key, Words words) {
  return std::is_same_v<Words, NarrowKeys> || SameKey(KeyAt(basis, number, words), key, words);
}

// The number of key, 0 if it is not there. The basis has an index.
template <class Words>
std::uint32_t FindHashed(const DeterminantBasis& basis, const KeyWord* key, Words words, std::uint32_t hash) {
  const std::size_t size = basis.buckets.size();
  for (std::size_t b = HomeBucket(hash, size);; b = NextBucket(b, size)) {
    const DeterminantBasis::Bucket& bucket = basis.buckets[b];
    for (unsigned matches = Matches(bucket, hash); matches; matches &= matches - 1) {
      const std::uint32_t number = bucket.number[std::countr_zero(matches)];
      if (QHolds(basis, number, key, words)) return number;
    }
    if (!bucket.hash[DeterminantBasis::Bucket::Places - 1]) return 0;
  }
}

// The number of key, which is added if it is new. The index has room.
template <class Words>
std::uint32_t AddHashed(DeterminantBasis& basis, const KeyWord* key, Words words, std::uint32_t hash) {
  const std::size_t size = basis.buckets.size();
  for (std::size_t b = HomeBucket(hash, size);; b = NextBucket(b, size)) {
    DeterminantBasis::Bucket& bucket = basis.buckets[b];
    for (unsigned matches = Matches(bucket, hash); matches; matches &= matches - 1) {
      const std::uint32_t number = bucket.number[std::countr_zero(matches)];
      if (QHolds(basis, number, key, words)) return number;
    }
    const unsigned empty = Matches(bucket, 0);
    if (!empty) continue;
    CopyKey(key, words, basis.keys.append());
    const int k = std::countr_zero(empty);
    bucket.hash[k] = hash;
    return bucket.number[k] = ++basis.N;
  }
}

// What the home buckets tell about some keys.
struct Probes {
  static constexpr std::uint32_t Count = 64;
  std::uint32_t candidate[Count];  // the first number that goes with the hash, 0 if none does
  bool further[Count];             // none does, but the bucket has run over into the next one
};

// Looks into the home buckets of count hashes, and fetches ahead: stored keys, the next bucket where it is
// needed, and by fetch(number) whatever the caller will need of an element.
template <class Words, class Fetch>
inline void ProbeBuckets(const DeterminantBasis& basis, Words words, const std::uint32_t* hashes,
                         std::uint32_t count, Probes& probes, Fetch&& fetch) {
  constexpr unsigned last = DeterminantBasis::Bucket::Places - 1;
  const std::size_t size = basis.buckets.size();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t b = HomeBucket(hashes[i], size);
    const DeterminantBasis::Bucket& bucket = basis.buckets[b];
    const unsigned matches = Matches(bucket, hashes[i]);
    // Without a match the sentinel, which is at hand.
    const std::uint32_t candidate =
        bucket.number[std::countr_zero(matches | 1u << last)] & -std::uint32_t{matches != 0};
    probes.candidate[i] = candidate;
    if constexpr (!std::is_same_v<Words, NarrowKeys>) __builtin_prefetch(KeyAt(basis, candidate, words));
    fetch(candidate);
    const bool further = matches == 0 && bucket.hash[last];
    probes.further[i] = further;
    __builtin_prefetch(&basis.buckets[further ? NextBucket(b, size) : b]);
  }
}

// The common loop of the two below: use(i, number(candidate, further, key, hash)) for each key, in order.
template <class Words, class Fetch, class Number, class Use>
inline void ForEachProbed(const DeterminantBasis& basis, Words words, const KeyWord* keys,
                          const std::uint32_t* hashes, std::uint32_t count, Fetch&& fetch, Number&& number,
                          Use&& use) {
  Probes probes;
  for (std::uint32_t first = 0; first < count; first += Probes::Count) {
    const std::uint32_t part = std::min(count - first, Probes::Count);
    ProbeBuckets(basis, words, hashes + first, part, probes, fetch);
    for (std::uint32_t i = 0; i < part; ++i)
      use(first + i, number(probes.candidate[i], probes.further[i], keys + std::size_t{first + i} * words,
                            hashes[first + i]));
  }
}

// For each of count keys that stand one behind the other, in order: use(i, number), with number 0 for a key
// that is not there. hashes are those of BasisHash; fetch as above. The basis has an index.
template <class Words, class Fetch, class Use>
inline void FindEach(const DeterminantBasis& basis, Words words, const KeyWord* keys,
                     const std::uint32_t* hashes, std::uint32_t count, Fetch&& fetch, Use&& use) {
  const auto number = [&](std::uint32_t c, bool further, const KeyWord* key, std::uint32_t hash) {
    // Which keys are there can't be predicted: no branch on that.
    const bool holds = QHolds(basis, c, key, words);
    if (further || (!holds && c)) [[unlikely]]
      return FindHashed(basis, key, words, hash);
    return c & -std::uint32_t{holds};
  };
  ForEachProbed(basis, words, keys, hashes, count, fetch, number, use);
}

// The same, where add(key, hash) gives the number of a key that is not there yet.
template <class Words, class Fetch, class Add, class Use>
inline void AddEach(const DeterminantBasis& basis, Words words, const KeyWord* keys,
                    const std::uint32_t* hashes, std::uint32_t count, Fetch&& fetch, Add&& add, Use&& use) {
  const auto number = [&](std::uint32_t c, bool, const KeyWord* key, std::uint32_t hash) {
    return c && QHolds(basis, c, key, words) ? c : add(key, hash);
  };
  ForEachProbed(basis, words, keys, hashes, count, fetch, number, use);
}

// Makes sure that the index has room for elements in all; a rebuilt one gets room for at least wanted.
void BasisMakeRoom(DeterminantBasis& basis, std::size_t elements, std::size_t wanted);

}  // namespace fermix
