#include "core/determinant_basis.h"

#include <algorithm>

#include "core/determinant_index.h"
#include "host/base/status.h"

namespace fermix {

using Bucket = DeterminantBasis::Bucket;
using BucketTable = DeterminantBasis::BucketTable;

namespace {

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

// An index of that many buckets with the entries of another one, numbered anew. Buckets stand in hash order,
// so both tables are walked from front to back.
template <class NewNumber>
BucketTable RefilledIndex(const BucketTable& from, std::size_t size, NewNumber&& newNumber) {
  BucketTable buckets(size);
  std::vector<std::uint8_t> taken(size);  // places of each bucket
  for (const Bucket& bucket : from)
    for (unsigned k = 0; k < Bucket::Places && bucket.hash[k]; ++k) {
      std::size_t b = HomeBucket(bucket.hash[k], size);
      while (taken[b] == Bucket::Places) b = NextBucket(b, size);
      buckets[b].hash[taken[b]] = bucket.hash[k];
      buckets[b].number[taken[b]++] = newNumber(bucket.number[k]);
    }
  return buckets;
}
void ResizeIndex(DeterminantBasis& basis, std::size_t size) {
  basis.buckets = RefilledIndex(basis.buckets, size, [](std::uint32_t number) { return number; });
}

// Enters all elements into an index that is empty.
template <class Words>
void EnterAll(DeterminantBasis& basis, Words words) {
  constexpr std::uint32_t ahead = 16;
  std::uint32_t hashes[ahead];
  const std::uint32_t N = basis.N;
  const auto prepare = [&](std::uint32_t i) {
    hashes[i % ahead] = KeyHash(KeyAt(basis, i, words), words);
    __builtin_prefetch(&basis.buckets[HomeBucket(hashes[i % ahead], basis.buckets.size())], 1);
  };
  for (std::uint32_t i = 1; i <= std::min(N, ahead - 1); ++i) prepare(i);
  for (std::uint32_t i = 1; i <= N; ++i) {
    if (i + ahead - 1 <= N) prepare(i + ahead - 1);
    const std::uint32_t hash = hashes[i % ahead];
    Enter(basis.buckets, HomeBucket(hash, basis.buckets.size()), hash, i);
  }
}

}  // namespace

DeterminantBasis::DeterminantBasis(KeyLayout keyLayout, std::uint32_t bits)
    : layout(keyLayout), NBitsKey(bits), keys(1, KeyWords(keyLayout)) {}

std::uint32_t BasisFind(const DeterminantBasis& basis, const KeyWord* key) {
  if (basis.buckets.empty()) return 0;
  return DispatchKeys(basis.layout,
                      [&](auto words) { return FindHashed(basis, key, words, KeyHash(key, words)); });
}

std::uint32_t BasisAdd(DeterminantBasis& basis, const KeyWord* key) {
  BasisMakeRoom(basis, std::size_t{basis.N} + 1, 0);
  return DispatchKeys(basis.layout,
                      [&](auto words) { return AddHashed(basis, key, words, KeyHash(key, words)); });
}

void BasisMakeRoom(DeterminantBasis& basis, std::size_t elements, std::size_t wanted) {
  if (QCrowded(elements, basis.buckets.size()))
    ResizeIndex(basis, std::max<std::size_t>(
                           {3, basis.buckets.size() * 3 / 2, BucketsFor(elements), BucketsFor(wanted)}));
}

void BasisReserve(DeterminantBasis& basis, std::size_t elements) {
  if (QCrowded(elements, basis.buckets.size())) ResizeIndex(basis, BucketsFor(elements));
}

void BasisFit(DeterminantBasis& basis) noexcept {
  if (basis.buckets.size() * sizeof(Bucket) <= std::size_t{basis.N} * 16) return;
  if (BucketsFor(basis.N) < basis.buckets.size())
    static_cast<void>(FitsInMemory([&] { ResizeIndex(basis, BucketsFor(basis.N)); }));
}

void BasisHash(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
               std::uint32_t* numbers) {
  DispatchKeys(basis.layout, [&](auto words) {
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
  DispatchKeys(basis.layout, [&](auto words) {
    FindEach(
        basis, words, keys, numbers, count, [](std::uint32_t) {},
        [&](std::uint32_t i, std::uint32_t number) { numbers[i] = number; });
  });
}

void BasisAddBatch(DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                   std::uint32_t* numbers) {
  BasisMakeRoom(basis, std::size_t{basis.N} + count, 0);
  DispatchKeys(basis.layout, [&](auto words) {
    AddEach(
        basis, words, keys, numbers, count, [](std::uint32_t) {},
        [&](const KeyWord* key, std::uint32_t hash) { return AddHashed(basis, key, words, hash); },
        [&](std::uint32_t i, std::uint32_t number) { numbers[i] = number; });
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
  DispatchKeys(basis.layout, [&](auto words) { EnterAll(basis, words); });
}

DeterminantBasis BasisReversed(const DeterminantBasis& basis) {
  DeterminantBasis reversed(basis.layout, basis.NBitsKey);
  const std::uint32_t N = basis.N;
  reversed.keys.reserve(std::size_t{N} + 1);
  DispatchWords(KeyWords(basis.layout), [&](auto words) {
    for (std::uint32_t i = N; i >= 1; --i) CopyKey(basis.keys.at(i), words, reversed.keys.append());
  });
  reversed.buckets = RefilledIndex(basis.buckets, BucketsFor(N), [N](std::uint32_t i) { return N + 1 - i; });
  reversed.N = N;
  return reversed;
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
