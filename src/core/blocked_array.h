// An array that grows in blocks of 16384 elements: elements never move, and growth never needs twice the
// memory.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

namespace fermix {

inline constexpr std::uint32_t BlockElements = 16384;

// size elements of width values each, side by side. New elements are zero.
template <class T>
struct BlockedArray {
  static_assert(std::is_trivially_copyable_v<T>);
  std::vector<std::unique_ptr<T[]>> blocks;
  std::size_t size = 0;
  std::uint32_t width = 1;

  BlockedArray() = default;
  explicit BlockedArray(std::size_t elements, std::uint32_t valuesEach = 1) : width(valuesEach) {
    resize(elements);
  }
  BlockedArray(const BlockedArray& other) : width(other.width) {
    for (const auto& block : other.blocks) {
      blocks.push_back(std::make_unique_for_overwrite<T[]>(blockValues()));
      std::copy_n(block.get(), blockValues(), blocks.back().get());
    }
    size = other.size;
  }
  BlockedArray(BlockedArray&& other) noexcept { *this = std::move(other); }
  BlockedArray& operator=(const BlockedArray& other) { return *this = BlockedArray(other); }
  BlockedArray& operator=(BlockedArray&& other) noexcept {
    blocks = std::move(other.blocks);
    size = std::exchange(other.size, 0);
    width = other.width;
    return *this;
  }

  std::size_t blockValues() const { return std::size_t{BlockElements} * width; }
  // The values of element i.
  T* at(std::size_t i) { return &blocks[i / BlockElements][i % BlockElements * width]; }
  const T* at(std::size_t i) const { return &blocks[i / BlockElements][i % BlockElements * width]; }
  // The value of element i of an array of width 1.
  T& operator[](std::size_t i) { return blocks[i / BlockElements][i % BlockElements]; }
  const T& operator[](std::size_t i) const { return blocks[i / BlockElements][i % BlockElements]; }

  // Shrinks, or grows by zeros. All or nothing when memory runs out.
  void resize(std::size_t elements) {
    const std::size_t needed = (elements + BlockElements - 1) / BlockElements, had = blocks.size();
    if (needed < had) {
      blocks.resize(needed);
    } else {
      try {
        blocks.reserve(std::max(needed, needed > had ? std::min(2 * had, needed + 64) : needed));
        while (blocks.size() < needed) blocks.push_back(std::make_unique<T[]>(blockValues()));
      } catch (...) {
        blocks.resize(had);
        throw;
      }
    }
    if (elements > size) clear(size, std::min(elements, had * BlockElements));
    size = elements;
  }
  void fill(T value) {
    for (auto& block : blocks) std::fill_n(block.get(), blockValues(), value);
  }

 private:
  void clear(std::size_t first, std::size_t end) {
    for (; first < end; ++first) std::fill_n(at(first), width, T{});
  }
};

// Calls f(pointer, count) for each block of elements 0 .. size - 1 of an array of width 1, in order.
template <class Array, class F>
void ForEachBlock(Array& array, F&& f) {
  for (std::size_t b = 0; b < array.blocks.size(); ++b)
    f(array.blocks[b].get(), std::min<std::size_t>(BlockElements, array.size - b * BlockElements));
}

}  // namespace fermix
