// Long vectors that are written before they are read: contents are undefined at first, and no page of them is
// touched before it is needed.
#pragma once

#include <cstddef>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace fermix {

template <class T>
struct WorkAllocator : std::allocator<T> {
  template <class U>
  struct rebind {
    using other = WorkAllocator<U>;
  };
  WorkAllocator() = default;
  template <class U>
  WorkAllocator(const WorkAllocator<U>&) noexcept {}
  template <class U>
  void construct(U*) noexcept {
    static_assert(std::is_trivially_copyable_v<U>);
  }
  template <class U, class... Arguments>
  void construct(U* p, Arguments&&... arguments) {
    ::new (static_cast<void*>(p)) U(std::forward<Arguments>(arguments)...);
  }
};

template <class T>
using WorkVector = std::vector<T, WorkAllocator<T>>;

// Brings all pages of a long memory in at once, before it is written from end to end: cheaper than one by
// one. A wish only.
void BringPagesIn(void* memory, std::size_t bytes) noexcept;

}  // namespace fermix
