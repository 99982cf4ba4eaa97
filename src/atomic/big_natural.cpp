#include "atomic/big_natural.h"

#include <algorithm>
#include <cmath>

namespace fermix {

namespace {
constexpr int bits = 32;
}

void BigNatural::MultiplyBy(std::uint32_t factor) {
  std::uint64_t carry = 0;
  for (std::uint32_t& digit : digits_) {
    carry += std::uint64_t{digit} * factor;
    digit = static_cast<std::uint32_t>(carry);
    carry >>= bits;
  }
  if (carry) digits_.push_back(static_cast<std::uint32_t>(carry));
}

void BigNatural::DivideBy(std::uint32_t divisor) {
  std::uint64_t rest = 0;
  for (auto digit = digits_.rbegin(); digit != digits_.rend(); ++digit) {
    rest = rest << bits | *digit;
    *digit = static_cast<std::uint32_t>(rest / divisor);
    rest %= divisor;
  }
  while (digits_.size() > 1 && digits_.back() == 0) digits_.pop_back();
}

void BigNatural::Add(const BigNatural& other) {
  digits_.resize(std::max(digits_.size(), other.digits_.size()) + 1);
  std::uint64_t carry = 0;
  for (std::size_t i = 0; i < digits_.size(); ++i) {
    carry += digits_[i];
    if (i < other.digits_.size()) carry += other.digits_[i];
    digits_[i] = static_cast<std::uint32_t>(carry);
    carry >>= bits;
  }
  if (digits_.back() == 0) digits_.pop_back();
}

long double Difference(const BigNatural& a, const BigNatural& b) {
  const std::size_t n = std::max(a.digits_.size(), b.digits_.size());
  const auto digit = [](const BigNatural& x, std::size_t i) {
    return std::int64_t{i < x.digits_.size() ? x.digits_[i] : 0};
  };
  std::size_t top = n;  // the highest digit that differs tells the sign
  while (top > 0 && digit(a, top - 1) == digit(b, top - 1)) --top;
  if (top == 0) return 0;
  if (digit(a, top - 1) < digit(b, top - 1)) return -Difference(b, a);

  long double value = 0;
  std::int64_t borrow = 0;
  for (std::size_t i = 0; i < top; ++i) {
    std::int64_t d = digit(a, i) - digit(b, i) - borrow;
    borrow = d < 0;
    if (borrow) d += std::int64_t{1} << bits;
    value += std::ldexp(static_cast<long double>(d), bits * static_cast<int>(i));
  }
  return value;
}

}  // namespace fermix
