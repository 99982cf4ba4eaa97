#include "core/restriction.h"

#include "host/base/vector_clones.h"

namespace fermix {

namespace {

FERMIX_POPCOUNT_CLONES std::uint32_t CountFermions(const KeyWord* key, const KeyWord* mask,
                                                   std::uint32_t words) {
  std::uint32_t count = 0;
  for (std::uint32_t w = 0; w < words; ++w)
    count += static_cast<std::uint32_t>(std::popcount(key[w] & mask[w]));
  return count;
}

// Occupied mask orbitals below orbital.
std::uint32_t CountBelow(std::uint32_t orbital, const KeyWord* key, const KeyWord* mask) {
  std::uint32_t count = CountFermions(key, mask, orbital / 64);
  if (orbital % 64)
    count += static_cast<std::uint32_t>(
        std::popcount(key[orbital / 64] & mask[orbital / 64] & (~KeyWord{0} << (64 - orbital % 64))));
  return count;
}

}  // namespace

std::uint32_t RestrictionCount(const DeterminantRestrictionType& R, std::uint32_t r, const KeyWord* key) {
  const KeyWord* mask = R.Masks[r].data();
  if (R.layout.NBoson == 0) return CountFermions(key, mask, KeyWords(R.layout));
  std::uint32_t count = 0;
  const std::uint32_t fermionBytes = NFermionBytes(R.layout.NFermion);
  for (std::uint32_t b = 0; b < NWord(R.layout); ++b) {
    const unsigned counted = KeyByte(key, b) & KeyByte(mask, b);
    count += b < fermionBytes ? static_cast<std::uint32_t>(std::popcount(counted)) : counted;
  }
  return count;
}

bool QFulfillsRestrictions(const DeterminantRestrictionType& R, const KeyWord* key) {
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    const std::uint32_t count = RestrictionCount(R, r, key);
    if (count > R.MaxOccupation[r] || count < R.MinOccupation[r]) return false;
  }
  return true;
}

bool QMustOccupy(std::uint32_t orbital, std::uint32_t NFermion, const KeyWord* key,
                 const DeterminantRestrictionType& R) {
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    const KeyWord* mask = R.Masks[r].data();
    if (!QOccupied(mask, orbital)) continue;
    std::uint32_t reach = CountBelow(orbital, key, mask);
    for (std::uint32_t i = orbital + 1; i < NFermion; ++i) reach += QOccupied(mask, i);
    if (reach < R.MinOccupation[r]) return true;
  }
  return false;
}

bool QCanNotOccupy(std::uint32_t orbital, std::uint32_t, const KeyWord* key,
                   const DeterminantRestrictionType& R) {
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r) {
    const KeyWord* mask = R.Masks[r].data();
    if (QOccupied(mask, orbital) && CountBelow(orbital, key, mask) >= R.MaxOccupation[r]) return true;
  }
  return false;
}

}  // namespace fermix
