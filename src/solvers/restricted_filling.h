// Determinants that fulfil a set of restrictions, however these overlap: random ones, or all of them.
#pragma once

#include <functional>
#include <set>

#include "core/restriction.h"

namespace fermix {

// Orbitals that stand in the same masks form a class; restrictions know the number of electrons in each class
// only. A search over these numbers finds a filling whenever there is one. It gives up after a million steps,
// which only a far-fetched set of restrictions takes.
//
// Fermions alone are filled: of a restriction that counts modes too only the upper bound holds.
class RestrictedFilling {
 public:
  RestrictedFilling(const DeterminantRestrictionType& R, std::uint32_t NFermion);

  // Whether key, without modes, is such a determinant.
  bool QFulfilled(const KeyWord* key) const;

  // A random one, of the orbitals that were used least; load[i] tells how often orbital i was. False when
  // there is none.
  bool Draw(const std::vector<double>& load, Key& key);

  // All of them; none when there are more than limit.
  std::vector<Key> All(std::size_t limit);

 private:
  struct Class {
    std::vector<std::uint32_t> orbitals, restrictions;
  };
  using Stop = std::function<bool()>;
  bool StartSearch(bool random, const Stop& found);
  bool Fill(std::size_t next, const Stop& found);
  bool QWithinReach(std::size_t next) const;
  double DeterminantsOfFilling() const;
  void Combine(std::size_t c, std::size_t k, std::uint32_t electrons, Key& key, std::vector<Key>& keys) const;

  const DeterminantRestrictionType& R_;
  std::vector<std::uint32_t> least_;               // lower bounds on fermions
  std::vector<Class> classes_;                     // by their first orbital
  std::vector<std::vector<std::uint32_t>> left_;   // [c][r]: orbitals of restriction r in classes c and later
  std::vector<std::uint32_t> count_, filling_;     // electrons in restriction r so far; in class c
  std::set<std::vector<std::uint32_t>> hopeless_;  // a class, and counts from which the rest can't be filled
  bool random_ = false;
  std::uint32_t steps_ = 0, found_ = 0;
};

}  // namespace fermix
