// Memory on large pages, for tables and arrays that are read at random places.
//
// With pages of 4 KiB nearly each access to a table of many megabytes also misses the cache of page
// addresses, and each page costs a fault when it is first touched. Where the system offers pages of 2 MiB on
// request, these allocations request them; elsewhere they are ordinary memory.
#pragma once

#include <cstddef>
#include <cstdlib>
#include <memory>
#include <new>
#include <vector>

namespace fermix {

inline constexpr std::size_t LargePage = std::size_t{2} << 20;

// Uninitialised memory that begins on a large page. Freed by std::free.
// Throws bad_alloc.
void* AllocateLargePages(std::size_t bytes);

// For containers: large pages from four of them on, ordinary memory below.
template <class T>
struct LargePageAllocator {
  using value_type = T;
  LargePageAllocator() = default;
  template <class U>
  LargePageAllocator(const LargePageAllocator<U>&) noexcept {}

  static bool QLarge(std::size_t n) { return n >= 4 * LargePage / sizeof(T); }
  T* allocate(std::size_t n) {
    if (!QLarge(n)) return std::allocator<T>().allocate(n);
    if (n > static_cast<std::size_t>(-1) / 2 / sizeof(T)) throw std::bad_array_new_length();
    return static_cast<T*>(AllocateLargePages(n * sizeof(T)));
  }
  void deallocate(T* p, std::size_t n) noexcept {
    if (!QLarge(n)) return std::allocator<T>().deallocate(p, n);
    std::free(p);
  }
  friend bool operator==(const LargePageAllocator&, const LargePageAllocator&) { return true; }
};

template <class T>
using LargeVector = std::vector<T, LargePageAllocator<T>>;

}  // namespace fermix
