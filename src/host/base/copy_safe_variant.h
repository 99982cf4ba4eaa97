// A variant of containers that can be copied when memory is short.
//
// The copy constructor of std::variant may destroy an alternative that it never made when copying it throws
// (libstdc++ 12 for vectors, which it takes for never valueless), and copy assignment goes through it. Here
// the copy is made first and moved in.
#pragma once

#include <type_traits>
#include <utility>
#include <variant>

namespace fermix {

// T: containers that move without throwing; the first one empty takes no memory.
template <class... T>
struct CopySafeVariant : std::variant<T...> {
  static_assert((std::is_nothrow_move_constructible_v<T> && ...));
  using Base = std::variant<T...>;
  using Base::Base;
  using Base::operator=;

  CopySafeVariant() = default;
  CopySafeVariant(CopySafeVariant&&) noexcept = default;
  CopySafeVariant(const CopySafeVariant& other) : Base() {
    std::visit([this](auto copy) { this->template emplace<decltype(copy)>(std::move(copy)); }, other.base());
  }
  CopySafeVariant& operator=(CopySafeVariant&&) noexcept = default;
  CopySafeVariant& operator=(const CopySafeVariant& other) { return *this = CopySafeVariant(other); }
  ~CopySafeVariant() = default;

  const Base& base() const { return *this; }
};

}  // namespace fermix
