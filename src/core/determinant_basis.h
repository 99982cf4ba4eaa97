// A determinant basis: keys in insertion order, and the number of each key.
//
// Elements are numbered 1 .. N; number 0 is no element, but a sentinel whose key and values are 0. Several
// states may share a basis by sharing the pointer to it.
#pragma once

#include "core/blocked_array.h"
#include "core/restriction.h"

namespace fermix {

struct DeterminantBasis {
  // A bucket of the index, one cache line: full 32-bit hashes, never 0, and the numbers that go with them. It
  // fills from the front; hash 0 is an empty place. A full bucket runs over into the next one.
  struct alignas(64) Bucket {
    static constexpr std::uint32_t Places = 8;
    std::uint32_t hash[Places] = {}, number[Places] = {};
  };
  using BucketTable = std::vector<Bucket, LargePageAllocator<Bucket>>;
  KeyLayout layout;
  std::uint32_t NBitsKey = 16;  // the setting that scripts see; the index has the size that the load asks for
  std::uint32_t N = 0;
  BlockedArray<KeyWord> keys;  // element i at keys.at(i), KeyWords(layout) words
  BucketTable buckets;         // in the order of the hashes that they hold

  explicit DeterminantBasis(KeyLayout keyLayout = {}, std::uint32_t bits = 16);
};

// Blocks of storage in use, at least 1.
inline std::uint32_t NBlok(const DeterminantBasis& basis) { return basis.N / BlockElements + 1; }

// The number of key, 0 if it is not in the basis.
std::uint32_t BasisFind(const DeterminantBasis& basis, const KeyWord* key);

// The number of key, which is added at the end if it is new. All or nothing when memory runs out.
std::uint32_t BasisAdd(DeterminantBasis& basis, const KeyWord* key);

// Room in the index for elements in all, so that adding does not rebuild it on the way.
void BasisReserve(DeterminantBasis& basis, std::size_t elements);

// Gives back what the index has beyond 16 bytes an element, if memory for a smaller one can be had.
void BasisFit(DeterminantBasis& basis) noexcept;

// Drops the elements above N and builds the index anew. Does not throw.
void BasisShrink(DeterminantBasis& basis, std::uint32_t N) noexcept;

// Finds, or adds, count keys that stand one behind the other, KeyWords words each; numbers[i] is the number
// of key i. Two steps, so that misses of the cache overlap with each other and with what the caller does in
// between: BasisHash leaves a hash in each number and fetches ahead; the other two fetch further and compare.
// When memory runs out while adding, the first keys may have been added.
inline constexpr std::uint32_t BasisBatch = 128;
void BasisHash(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
               std::uint32_t* numbers);
void BasisFindBatch(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                    std::uint32_t* numbers);
void BasisAddBatch(DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count, std::uint32_t* numbers);

// Keeps the elements i = 1 .. N for which keep(i) is true, in their order, and renumbers them; move(i, n)
// moves the values of element i to number n <= i. Allocates nothing that it needs.
template <class Keep, class Move>
void BasisKeep(DeterminantBasis& basis, Keep&& keep, Move&& move) {
  const std::uint32_t words = KeyWords(basis.layout);
  std::uint32_t kept = 0;
  for (std::uint32_t i = 1; i <= basis.N; ++i) {
    if (!keep(i)) continue;
    if (++kept == i) continue;
    std::copy_n(basis.keys.at(i), words, basis.keys.at(kept));
    move(i, kept);
  }
  BasisShrink(basis, kept);
}

// All elements in reverse order. Throws bad_alloc.
DeterminantBasis BasisReversed(const DeterminantBasis& basis);

// True when both hold the same keys under the same numbers.
bool QSameBasis(const DeterminantBasis& a, const DeterminantBasis& b);

std::size_t OwnedBytes(const DeterminantBasis& basis);

}  // namespace fermix
