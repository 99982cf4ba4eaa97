#include "core/determinant_basis.h"

#include <algorithm>
#include <bit>

#include "host/base/status.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace fermix {

using Bucket = DeterminantBasis::Bucket;
using BucketTable = DeterminantBasis::BucketTable;

namespace {

// Two rounds of multiply and fold for each word: keys are dense bit patterns at the top of a word, and
// buckets are chosen by the high bits of the result. Never 0.
template <class Words>
std::uint32_t KeyHash(const KeyWord* key, Words words) {
  constexpr KeyWord odd = 0xd6e8feb86659fd93;
  KeyWord h = 0;
  for (std::uint32_t w = 0; w < words; ++w) {
    h = (h ^ key[w]) * odd;
    h ^= h >> 32;
    h *= odd;
  }
  return static_cast<std::uint32_t>(h >> 32) | 1;
}

template <class Words>
const KeyWord* KeyAt(const DeterminantBasis& basis, std::uint32_t i, Words words) {
  return &basis.keys.blocks[i / BlockElements][i % BlockElements * words];
}

std::size_t HomeBucket(std::uint32_t hash, std::size_t buckets) {
  return (std::uint64_t{hash} * buckets) >> 32;
}

std::size_t NextBucket(std::size_t b, std::size_t buckets) { return b + 1 == buckets ? 0 : b + 1; }

// Bit k is set when place k holds the hash. No branch: where in a bucket a key stands can't be predicted.
unsigned Matches(const Bucket& bucket, std::uint32_t hash) {
#ifdef __SSE2__
  const __m128i wanted = _mm_set1_epi32(static_cast<int>(hash));
  const auto equal = [&](int first) {
    return _mm_cmpeq_epi32(_mm_load_si128(reinterpret_cast<const __m128i*>(bucket.hash + first)), wanted);
  };
  const __m128i words = _mm_packs_epi32(equal(0), equal(4));
  return static_cast<unsigned>(_mm_movemask_epi8(_mm_packs_epi16(words, _mm_setzero_si128())));
#else
  unsigned bits = 0;
  for (unsigned k = 0; k < Bucket::Places; ++k) bits |= unsigned{bucket.hash[k] == hash} << k;
  return bits;
#endif
}

// At most three quarters of the places are taken. A full index grows by half, so that it costs at most 16
// bytes an element.
bool QCrowded(std::size_t elements, std::size_t buckets) {
  return 4 * elements > 3 * buckets * Bucket::Places;
}
std::size_t BucketsFor(std::size_t elements) { return elements * 4 / (3 * Bucket::Places) + 1; }

// Enters a number whose key is known to be new, from bucket b on.
void Enter(BucketTable& buckets, std::size_t b, std::uint32_t hash, std::uint32_t number) {
  for (;; b = NextBucket(b, buckets.size())) {
    const unsigned empty = Matches(buckets[b], 0);
    if (!empty) continue;
    const int k = std::countr_zero(empty);
    buckets[b].hash[k] = hash;
    buckets[b].number[k] = number;
    return;
  }
}

// Buckets stand in hash order, so both tables are walked from front to back.
void ResizeIndex(DeterminantBasis& basis, std::size_t size) {
  BucketTable buckets(size);
  std::vector<std::uint8_t> taken(size);  // places of each bucket
  for (const Bucket& bucket : basis.buckets)
    for (unsigned k = 0; k < Bucket::Places && bucket.hash[k]; ++k) {
      std::size_t b = HomeBucket(bucket.hash[k], size);
      while (taken[b] == Bucket::Places) b = NextBucket(b, size);
      buckets[b].hash[taken[b]] = bucket.hash[k];
      buckets[b].number[taken[b]++] = bucket.number[k];
    }
  basis.buckets.swap(buckets);
}

// Room for elements in all.
void MakeRoom(DeterminantBasis& basis, std::size_t elements) {
  if (QCrowded(elements, basis.buckets.size()))
    ResizeIndex(basis, std::max<std::size_t>({3, basis.buckets.size() * 3 / 2, BucketsFor(elements)}));
}

// The number of key, 0 if it is not there; b is its home bucket.
template <class Words>
std::uint32_t FindFrom(const DeterminantBasis& basis, const KeyWord* key, std::uint32_t hash, Words words,
                       std::size_t b) {
  for (;; b = NextBucket(b, basis.buckets.size())) {
    const Bucket& bucket = basis.buckets[b];
    for (unsigned matches = Matches(bucket, hash); matches; matches &= matches - 1) {
      const std::uint32_t number = bucket.number[std::countr_zero(matches)];
      if (SameKey(KeyAt(basis, number, words), key, words)) return number;
    }
    if (!bucket.hash[Bucket::Places - 1]) return 0;
  }
}

// The number of key, which is added if it is new; b is its home bucket. The index has room.
template <class Words>
std::uint32_t AddFrom(DeterminantBasis& basis, const KeyWord* key, std::uint32_t hash, Words words,
                      std::size_t b) {
  for (;; b = NextBucket(b, basis.buckets.size())) {
    Bucket& bucket = basis.buckets[b];
    for (unsigned matches = Matches(bucket, hash); matches; matches &= matches - 1) {
      const std::uint32_t number = bucket.number[std::countr_zero(matches)];
      if (SameKey(KeyAt(basis, number, words), key, words)) return number;
    }
    const unsigned empty = Matches(bucket, 0);
    if (!empty) continue;
    CopyKey(key, words, basis.keys.append());
    const int k = std::countr_zero(empty);
    bucket.hash[k] = hash;
    return bucket.number[k] = ++basis.N;
  }
}

// For each hash the first number that goes with it in its home bucket (0: none), with the stored key fetched
// ahead, or the next bucket if the home bucket has run over.
template <class Words>
void ProbeBatch(const DeterminantBasis& basis, Words words, std::uint32_t count, const std::uint32_t* hashes,
                std::uint32_t* candidates) {
  const std::size_t size = basis.buckets.size();
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::size_t b = HomeBucket(hashes[i], size);
    const Bucket& bucket = basis.buckets[b];
    constexpr unsigned last = Bucket::Places - 1;
    const unsigned matches = Matches(bucket, hashes[i]);
    candidates[i] = bucket.number[std::countr_zero(matches | 1u << last)];
    __builtin_prefetch(KeyAt(basis, candidates[i], words));
    const bool overflow = matches == 0 && bucket.hash[last];
    __builtin_prefetch(&basis.buckets[overflow ? NextBucket(b, size) : b]);
  }
}

// Replaces all hashes by numbers, a batch at a time; missing(key, hash) gives a number where the candidate is
// not the key.
template <class Words, class Missing>
void ForEachProbe(const DeterminantBasis& basis, const KeyWord* keys, Words words, std::uint32_t count,
                  std::uint32_t* numbers, Missing&& missing) {
  std::uint32_t candidates[BasisBatch];
  for (std::uint32_t first = 0; first < count; first += BasisBatch) {
    const std::uint32_t part = std::min(BasisBatch, count - first);
    const KeyWord* from = keys + std::size_t{first} * words;
    std::uint32_t* number = numbers + first;
    ProbeBatch(basis, words, part, number, candidates);
    for (std::uint32_t i = 0; i < part; ++i) {
      const KeyWord* key = from + std::size_t{i} * words;
      const std::uint32_t c = candidates[i];
      number[i] = c && SameKey(KeyAt(basis, c, words), key, words) ? c : missing(key, number[i]);
    }
  }
}

}  // namespace

DeterminantBasis::DeterminantBasis(KeyLayout keyLayout, std::uint32_t bits)
    : layout(keyLayout), NBitsKey(bits), keys(1, KeyWords(keyLayout)) {}

std::uint32_t BasisFind(const DeterminantBasis& basis, const KeyWord* key) {
  if (basis.buckets.empty()) return 0;
  const std::uint32_t words = KeyWords(basis.layout), hash = KeyHash(key, words);
  return FindFrom(basis, key, hash, words, HomeBucket(hash, basis.buckets.size()));
}

std::uint32_t BasisAdd(DeterminantBasis& basis, const KeyWord* key) {
  MakeRoom(basis, std::size_t{basis.N} + 1);
  const std::uint32_t words = KeyWords(basis.layout), hash = KeyHash(key, words);
  return AddFrom(basis, key, hash, words, HomeBucket(hash, basis.buckets.size()));
}

void BasisReserve(DeterminantBasis& basis, std::size_t elements) {
  if (QCrowded(elements, basis.buckets.size())) ResizeIndex(basis, BucketsFor(elements));
}

void BasisHash(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
               std::uint32_t* numbers) {
  DispatchWords(KeyWords(basis.layout), [&](auto words) {
    for (std::uint32_t i = 0; i < count; ++i) {
      numbers[i] = KeyHash(keys + std::size_t{i} * words, words);
      __builtin_prefetch(basis.buckets.data() + HomeBucket(numbers[i], basis.buckets.size()));
    }
  });
}

void BasisFindBatch(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                    std::uint32_t* numbers) {
  if (basis.buckets.empty()) {
    std::fill_n(numbers, count, 0);
    return;
  }
  DispatchWords(KeyWords(basis.layout), [&](auto words) {
    ForEachProbe(basis, keys, words, count, numbers, [&](const KeyWord* key, std::uint32_t hash) {
      return FindFrom(basis, key, hash, words, HomeBucket(hash, basis.buckets.size()));
    });
  });
}

void BasisAddBatch(DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                   std::uint32_t* numbers) {
  DispatchWords(KeyWords(basis.layout), [&](auto words) {
    for (std::uint32_t first = 0; first < count; first += BasisBatch) {
      const std::uint32_t part = std::min(BasisBatch, count - first);
      MakeRoom(basis, std::size_t{basis.N} + part);
      ForEachProbe(basis, keys + std::size_t{first} * words, words, part, numbers + first,
                   [&](const KeyWord* key, std::uint32_t hash) {
                     return AddFrom(basis, key, hash, words, HomeBucket(hash, basis.buckets.size()));
                   });
    }
  });
}

void BasisShrink(DeterminantBasis& basis, std::uint32_t N) noexcept {
  basis.N = N;
  basis.keys.resize(std::size_t{N} + 1);  // to a smaller size: allocates nothing
  if (2 * BucketsFor(N) < basis.buckets.size()) {
    // A smaller index, if it can be had; otherwise the old one serves.
    static_cast<void>(FitsInMemory([&] { BucketTable(BucketsFor(N)).swap(basis.buckets); }));
  }
  std::fill(basis.buckets.begin(), basis.buckets.end(), Bucket{});
  const std::uint32_t words = KeyWords(basis.layout);
  constexpr std::uint32_t ahead = 16;
  std::uint32_t hashes[ahead];
  const auto prepare = [&](std::uint32_t i) {
    hashes[i % ahead] = KeyHash(basis.keys.at(i), words);
    __builtin_prefetch(&basis.buckets[HomeBucket(hashes[i % ahead], basis.buckets.size())], 1);
  };
  for (std::uint32_t i = 1; i <= std::min(N, ahead - 1); ++i) prepare(i);
  for (std::uint32_t i = 1; i <= N; ++i) {
    if (i + ahead - 1 <= N) prepare(i + ahead - 1);
    const std::uint32_t hash = hashes[i % ahead];
    Enter(basis.buckets, HomeBucket(hash, basis.buckets.size()), hash, i);
  }
}

bool QSameBasis(const DeterminantBasis& a, const DeterminantBasis& b) {
  if (&a == &b) return true;
  if (a.layout != b.layout || a.N != b.N) return false;
  const std::uint32_t words = KeyWords(a.layout);
  for (std::uint32_t i = 1; i <= a.N; ++i)
    if (!SameKey(a.keys.at(i), b.keys.at(i), words)) return false;
  return true;
}

std::size_t OwnedBytes(const DeterminantBasis& basis) {
  return basis.keys.capacity() * basis.keys.width * sizeof(KeyWord) +
         basis.buckets.capacity() * sizeof(Bucket);
}

}  // namespace fermix
