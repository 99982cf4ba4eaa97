#include "solvers/restricted_filling.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <map>

namespace fermix {

namespace {

constexpr std::uint32_t MaxSteps = 1000000;
constexpr std::size_t MaxClasses = 10000;  // depth of the search

bool QCountsModes(const DeterminantRestrictionType& R, std::uint32_t r) {
  Key modes = R.Masks[r];
  for (std::uint32_t i = 0; i < R.layout.NFermion; ++i) modes[i / 64] &= ~OrbitalBit(i);
  return std::any_of(modes.begin(), modes.end(), [](KeyWord word) { return word != 0; });
}

}  // namespace

RestrictedFilling::RestrictedFilling(const DeterminantRestrictionType& R, std::uint32_t NFermion)
    : R_(R), least_(R.MinOccupation), count_(NRestrictions(R)) {
  for (std::uint32_t r = 0; r < NRestrictions(R); ++r)
    if (QCountsModes(R, r)) least_[r] = 0;
  std::map<std::vector<std::uint32_t>, std::size_t> classOf;
  for (std::uint32_t i = 0; i < NFermion; ++i) {
    std::vector<std::uint32_t> restrictions;
    for (std::uint32_t r = 0; r < NRestrictions(R); ++r)
      if (QOccupied(R.Masks[r].data(), i)) restrictions.push_back(r);
    const auto [at, isNew] = classOf.emplace(restrictions, classes_.size());
    if (isNew) classes_.push_back({{}, restrictions});
    classes_[at->second].orbitals.push_back(i);
  }
  filling_.resize(classes_.size());
  left_.assign(classes_.size() + 1, std::vector<std::uint32_t>(NRestrictions(R)));
  for (std::size_t c = classes_.size(); c-- > 0;) {
    left_[c] = left_[c + 1];
    for (const std::uint32_t r : classes_[c].restrictions)
      left_[c][r] += static_cast<std::uint32_t>(classes_[c].orbitals.size());
  }
}

bool RestrictedFilling::QFulfilled(const KeyWord* key) const {
  for (std::uint32_t r = 0; r < NRestrictions(R_); ++r) {
    const std::uint32_t count = RestrictionCount(R_, r, key);
    if (count < least_[r] || count > R_.MaxOccupation[r]) return false;
  }
  return true;
}

bool RestrictedFilling::QWithinReach(std::size_t next) const {
  for (std::uint32_t r = 0; r < NRestrictions(R_); ++r)
    if (count_[r] > R_.MaxOccupation[r] || count_[r] + left_[next][r] < least_[r]) return false;
  return true;
}

// Calls found for each way to fill class next and later, until it returns true; tells whether it did.
bool RestrictedFilling::Fill(std::size_t next, const Stop& found) {
  if (++steps_ > MaxSteps || !QWithinReach(next)) return false;
  if (next == classes_.size()) {
    ++found_;
    return found();
  }
  // Restrictions without orbitals from here on are settled and tell states apart no longer.
  std::vector<std::uint32_t> state = {static_cast<std::uint32_t>(next)};
  for (std::uint32_t r = 0; r < NRestrictions(R_); ++r) state.push_back(left_[next][r] ? count_[r] : 0);
  if (hopeless_.count(state)) return false;
  const std::uint32_t before = found_;
  const auto size = static_cast<std::uint32_t>(classes_[next].orbitals.size());
  const std::uint32_t first = random_ ? static_cast<std::uint32_t>(std::rand()) % (size + 1) : 0;
  for (std::uint32_t k = 0; k <= size; ++k) {
    filling_[next] = (first + k) % (size + 1);
    for (const std::uint32_t r : classes_[next].restrictions) count_[r] += filling_[next];
    const bool stopped = Fill(next + 1, found);
    for (const std::uint32_t r : classes_[next].restrictions) count_[r] -= filling_[next];
    if (stopped) return true;
  }
  if (found_ == before && steps_ <= MaxSteps) hopeless_.insert(std::move(state));
  return false;
}

bool RestrictedFilling::StartSearch(bool random, const Stop& found) {
  steps_ = found_ = 0;
  random_ = random;
  return classes_.size() <= MaxClasses && Fill(0, found);
}

bool RestrictedFilling::Draw(const std::vector<double>& load, Key& key) {
  if (!StartSearch(true, [] { return true; })) return false;
  std::fill(key.begin(), key.end(), KeyWord{0});
  for (std::size_t c = 0; c < classes_.size(); ++c) {
    std::vector<std::uint32_t> orbitals = classes_[c].orbitals;
    for (std::size_t i = orbitals.size(); i > 1; --i)
      std::swap(orbitals[i - 1], orbitals[static_cast<std::size_t>(std::rand()) % i]);
    std::stable_sort(orbitals.begin(), orbitals.end(),
                     [&](std::uint32_t a, std::uint32_t b) { return load[a] < load[b]; });
    for (std::uint32_t k = 0; k < filling_[c]; ++k) key[orbitals[k] / 64] |= OrbitalBit(orbitals[k]);
  }
  return true;
}

double RestrictedFilling::DeterminantsOfFilling() const {
  double ways = 1;
  for (std::size_t c = 0; c < classes_.size(); ++c)
    for (std::uint32_t k = 0; k < filling_[c]; ++k) ways *= double(classes_[c].orbitals.size() - k) / (k + 1);
  return std::round(ways);
}

// Every way to put electrons on the orbitals from k on of class c, and those of filling_ on later classes.
void RestrictedFilling::Combine(std::size_t c, std::size_t k, std::uint32_t electrons, Key& key,
                                std::vector<Key>& keys) const {
  if (electrons == 0) {
    if (c + 1 < classes_.size()) return Combine(c + 1, 0, filling_[c + 1], key, keys);
    keys.push_back(key);
    return;
  }
  const std::vector<std::uint32_t>& orbitals = classes_[c].orbitals;
  for (; k + electrons <= orbitals.size(); ++k) {
    key[orbitals[k] / 64] ^= OrbitalBit(orbitals[k]);
    Combine(c, k + 1, electrons - 1, key, keys);
    key[orbitals[k] / 64] ^= OrbitalBit(orbitals[k]);
  }
}

std::vector<Key> RestrictedFilling::All(std::size_t limit) {
  std::vector<Key> keys;
  double count = 0;
  const bool tooMany = StartSearch(false, [&] {
    count += DeterminantsOfFilling();
    if (count > double(limit)) return true;
    Key key(KeyWords(R_.layout));
    if (!classes_.empty()) Combine(0, 0, filling_[0], key, keys);
    return false;
  });
  if (tooMany || steps_ > MaxSteps) keys.clear();
  return keys;
}

}  // namespace fermix
