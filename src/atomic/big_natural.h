// Natural numbers of any size, as far as sums of products of binomials need them.
#pragma once

#include <cstdint>
#include <vector>

namespace fermix {

class BigNatural {
 public:
  explicit BigNatural(std::uint32_t value) : digits_{value} {}

  void MultiplyBy(std::uint32_t factor);
  // Cuts a remainder off.
  void DivideBy(std::uint32_t divisor);
  void Add(const BigNatural& other);

  // a - b, rounded only after the subtraction.
  friend long double Difference(const BigNatural& a, const BigNatural& b);

 private:
  std::vector<std::uint32_t> digits_;  // the lowest first
};

}  // namespace fermix
