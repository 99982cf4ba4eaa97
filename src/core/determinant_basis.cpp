#include "core/determinant_basis.h"

#include <algorithm>

#include "host/base/status.h"

namespace fermix {

using Slot = DeterminantBasis::Slot;

namespace {

// Two rounds of multiply and fold for each word: keys are dense bit patterns at the top of a word, and slots
// are chosen by the high bits of the result.
std::uint32_t KeyHash(const KeyWord* key, std::uint32_t words) {
  constexpr KeyWord odd = 0xd6e8feb86659fd93;
  KeyWord h = 0;
  for (std::uint32_t w = 0; w < words; ++w) {
    h = (h ^ key[w]) * odd;
    h ^= h >> 32;
    h *= odd;
  }
  return static_cast<std::uint32_t>(h >> 32);
}

bool SameKey(const KeyWord* a, const KeyWord* b, std::uint32_t words) { return std::equal(a, a + words, b); }

std::size_t HomeSlot(std::uint32_t hash, std::size_t slots) { return (std::uint64_t{hash} * slots) >> 32; }

// At most three quarters of the slots are taken. A full index grows by half, so that it costs at most 16
// bytes an element.
bool QCrowded(std::size_t elements, std::size_t slots) { return 4 * elements > 3 * slots; }

// Enters a number whose key is known to be new.
void Enter(std::vector<Slot>& slots, Slot entry) {
  std::size_t s = HomeSlot(entry.hash, slots.size());
  while (slots[s].number) s = s + 1 == slots.size() ? 0 : s + 1;
  slots[s] = entry;
}

// Old slots stand in hash order, so both tables are walked from front to back.
void ResizeIndex(DeterminantBasis& basis, std::size_t size) {
  std::vector<Slot> slots(size);
  for (const Slot& slot : basis.slots)
    if (slot.number) Enter(slots, slot);
  basis.slots.swap(slots);
}

void MakeRoom(DeterminantBasis& basis, std::size_t elements) {
  if (QCrowded(elements, basis.slots.size()))
    ResizeIndex(basis, std::max<std::size_t>({24, basis.slots.size() * 3 / 2, elements * 4 / 3 + 1}));
}

std::uint32_t FindFrom(const DeterminantBasis& basis, const KeyWord* key, std::uint32_t hash,
                       std::uint32_t words) {
  if (basis.slots.empty()) return 0;
  for (std::size_t s = HomeSlot(hash, basis.slots.size());;) {
    const Slot slot = basis.slots[s];
    if (!slot.number) return 0;
    if (slot.hash == hash && SameKey(basis.keys.at(slot.number), key, words)) return slot.number;
    if (++s == basis.slots.size()) s = 0;
  }
}

std::uint32_t AddHashed(DeterminantBasis& basis, const KeyWord* key, std::uint32_t hash,
                        std::uint32_t words) {
  if (const std::uint32_t number = FindFrom(basis, key, hash, words)) return number;
  MakeRoom(basis, basis.N + 1);
  std::copy_n(key, words, basis.keys.append());
  Enter(basis.slots, {hash, ++basis.N});
  return basis.N;
}

// The first two of three passes over a batch: hashes, with the slots fetched ahead; then for each key the
// first number of its hash (0: none), with the stored key fetched ahead. The third pass compares.
void ProbeBatch(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t words, std::uint32_t count,
                std::uint32_t* hashes, std::uint32_t* candidates) {
  const std::size_t size = basis.slots.size();
  if (size == 0) {
    for (std::uint32_t i = 0; i < count; ++i) hashes[i] = KeyHash(keys + i * words, words), candidates[i] = 0;
    return;
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    hashes[i] = KeyHash(keys + i * words, words);
    __builtin_prefetch(&basis.slots[HomeSlot(hashes[i], size)]);
  }
  for (std::uint32_t i = 0; i < count; ++i) {
    std::size_t s = HomeSlot(hashes[i], size);
    while (basis.slots[s].number && basis.slots[s].hash != hashes[i])
      if (++s == size) s = 0;
    candidates[i] = basis.slots[s].number;
    if (candidates[i]) __builtin_prefetch(basis.keys.at(candidates[i]));
  }
}

// Calls missing(i, hash) for a key that its candidate does not answer.
template <class Missing>
void ResolveBatch(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                  std::uint32_t* numbers, Missing&& missing) {
  const std::uint32_t words = KeyWords(basis.layout);
  std::uint32_t hashes[BasisBatch], candidates[BasisBatch];
  for (std::uint32_t first = 0; first < count; first += BasisBatch) {
    const std::uint32_t part = std::min(BasisBatch, count - first);
    const KeyWord* from = keys + std::size_t{first} * words;
    ProbeBatch(basis, from, words, part, hashes, candidates);
    for (std::uint32_t i = 0; i < part; ++i) {
      const std::uint32_t c = candidates[i];
      const KeyWord* key = from + std::size_t{i} * words;
      numbers[first + i] = c && SameKey(basis.keys.at(c), key, words) ? c : missing(key, hashes[i], c != 0);
    }
  }
}

}  // namespace

DeterminantBasis::DeterminantBasis(KeyLayout keyLayout, std::uint32_t bits)
    : layout(keyLayout), NBitsKey(bits), keys(1, KeyWords(keyLayout)) {}

std::uint32_t BasisFind(const DeterminantBasis& basis, const KeyWord* key) {
  const std::uint32_t words = KeyWords(basis.layout);
  return FindFrom(basis, key, KeyHash(key, words), words);
}

std::uint32_t BasisAdd(DeterminantBasis& basis, const KeyWord* key) {
  const std::uint32_t words = KeyWords(basis.layout);
  return AddHashed(basis, key, KeyHash(key, words), words);
}

void BasisReserve(DeterminantBasis& basis, std::size_t elements) {
  if (QCrowded(elements, basis.slots.size())) ResizeIndex(basis, elements * 4 / 3 + 1);
}

void BasisFindBatch(const DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                    std::uint32_t* numbers) {
  const std::uint32_t words = KeyWords(basis.layout);
  ResolveBatch(basis, keys, count, numbers, [&](const KeyWord* key, std::uint32_t hash, bool collision) {
    return collision ? FindFrom(basis, key, hash, words) : 0;
  });
}

void BasisAddBatch(DeterminantBasis& basis, const KeyWord* keys, std::uint32_t count,
                   std::uint32_t* numbers) {
  const std::uint32_t words = KeyWords(basis.layout);
  ResolveBatch(basis, keys, count, numbers, [&](const KeyWord* key, std::uint32_t hash, bool) {
    return AddHashed(basis, key, hash, words);  // an earlier key of the batch may have added it
  });
}

void BasisShrink(DeterminantBasis& basis, std::uint32_t N) noexcept {
  basis.N = N;
  basis.keys.resize(std::size_t{N} + 1);  // to a smaller size: allocates nothing
  if (N < basis.slots.size() / 3) {
    // A smaller index, if it can be had; otherwise the old one serves.
    static_cast<void>(
        FitsInMemory([&] { std::vector<Slot>(N * std::size_t{4} / 3 + 24).swap(basis.slots); }));
  }
  std::fill(basis.slots.begin(), basis.slots.end(), Slot{});
  const std::uint32_t words = KeyWords(basis.layout);
  constexpr std::uint32_t ahead = 16;
  std::uint32_t hashes[ahead];
  const auto prepare = [&](std::uint32_t i) {
    hashes[i % ahead] = KeyHash(basis.keys.at(i), words);
    __builtin_prefetch(&basis.slots[HomeSlot(hashes[i % ahead], basis.slots.size())], 1);
  };
  for (std::uint32_t i = 1; i <= std::min(N, ahead - 1); ++i) prepare(i);
  for (std::uint32_t i = 1; i <= N; ++i) {
    if (i + ahead - 1 <= N) prepare(i + ahead - 1);
    Enter(basis.slots, {hashes[i % ahead], i});
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
  return basis.keys.capacity() * basis.keys.width * sizeof(KeyWord) + basis.slots.capacity() * sizeof(Slot);
}

}  // namespace fermix
