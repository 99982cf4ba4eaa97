// An array that grows in blocks of 16384 elements: elements never move, and growth never needs twice the
// memory.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <cstring>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "host/base/large_pages.h"

namespace fermix {

inline constexpr std::uint32_t BlockElements = 16384;

// size elements of width values each, side by side. Blocks are full but for the last; an array that needs one
// block only keeps that one small and doubles it, so that small states stay small. New elements of resize are
// zero.
template <class T>
struct BlockedArray {
  static_assert(std::is_trivially_copyable_v<T>);
  std::vector<T*> blocks;  // into chunks
  std::size_t size = 0;
  std::uint32_t width = 1;
  std::uint32_t firstCapacity =
      0;  // elements that block 0 has room for; BlockElements once there is a second

  BlockedArray() = default;
  explicit BlockedArray(std::size_t elements, std::uint32_t valuesEach = 1) : width(valuesEach) {
    resize(elements);
  }
  BlockedArray(const BlockedArray& other) : width(other.width) {
    growTo(other.size);
    size = other.size;
    for (std::size_t b = 0; b < blocks.size(); ++b)
      std::copy_n(other.blocks[b], elementsIn(b) * width, blocks[b]);
  }
  BlockedArray(BlockedArray&& other) noexcept { *this = std::move(other); }
  BlockedArray& operator=(const BlockedArray& other) { return *this = BlockedArray(other); }
  BlockedArray& operator=(BlockedArray&& other) noexcept {
    blocks = std::move(other.blocks);
    chunks = std::move(other.chunks);
    size = std::exchange(other.size, 0);
    width = other.width;
    firstCapacity = std::exchange(other.firstCapacity, 0);
    return *this;
  }

  // The values of element i.
  T* at(std::size_t i) { return &blocks[i / BlockElements][i % BlockElements * width]; }
  const T* at(std::size_t i) const { return &blocks[i / BlockElements][i % BlockElements * width]; }
  // The value of element i of an array of width 1.
  T& operator[](std::size_t i) { return blocks[i / BlockElements][i % BlockElements]; }
  const T& operator[](std::size_t i) const { return blocks[i / BlockElements][i % BlockElements]; }

  // Blocks that hold elements; one more may wait for the next append.
  std::size_t usedBlocks() const { return (size + BlockElements - 1) / BlockElements; }
  // How many elements stand in block b.
  std::size_t elementsIn(std::size_t b) const {
    return std::min<std::size_t>(BlockElements, size - b * BlockElements);
  }
  std::size_t capacity() const {
    return blocks.empty()
               ? 0
               : (blocks.size() - 1) * BlockElements + (blocks.size() == 1 ? firstCapacity : BlockElements);
  }

  // Shrinks, or grows by zeros. All or nothing when memory runs out.
  void resize(std::size_t elements) {
    growTo(elements);
    for (std::size_t i = size; i < elements; ++i) std::fill_n(at(i), width, T{});
    size = elements;
    dropBlocks(usedBlocks());
  }
  // Room for elements in all; a small array at least doubles.
  void reserve(std::size_t elements) {
    if (elements <= capacity()) return;
    growTo(std::max(elements, std::min<std::size_t>(BlockElements, 2 * size)));
  }
  // Makes sure that the next append has its memory.
  void reserveOne() {
    if (size == capacity())
      growTo(size < BlockElements ? std::min<std::size_t>(BlockElements, 2 * size + 16) : size + 1);
  }
  // Adds an element and gives its values, which the caller writes.
  T* append() {
    reserveOne();
    return at(size++);
  }
  void fill(T value) {
    for (std::size_t b = 0; b < usedBlocks(); ++b) std::fill_n(blocks[b], elementsIn(b) * width, value);
  }

 private:
  struct Free {
    bool large = false;
    void operator()(T* memory) const { large ? std::free(memory) : ::operator delete(memory); }
  };
  // Memory of one block, or on large pages of several: the blocks from first on.
  struct Chunk {
    std::unique_ptr<T[], Free> memory;
    std::size_t first, count;
  };
  std::vector<Chunk> chunks;

  std::size_t blockBytes() const { return sizeof(T) * BlockElements * width; }

  // Room for elements in all; keeps what is there.
  void growTo(std::size_t elements) {
    if (elements <= capacity()) return;
    if (firstCapacity < BlockElements) {
      growFirstBlock(static_cast<std::uint32_t>(std::min<std::size_t>(BlockElements, elements)));
    }
    const std::size_t needed = (elements + BlockElements - 1) / BlockElements, had = blocks.size();
    if (needed > blocks.capacity()) blocks.reserve(needed < 64 ? 2 * needed : needed + 64);
    try {
      while (blocks.size() < needed) addBlock();
    } catch (...) {
      dropBlocks(had);
      throw;
    }
  }
  void growFirstBlock(std::uint32_t wanted) {
    Chunk chunk = newChunk(sizeof(T) * wanted * width, 0, 1);
    blocks.reserve(1);
    chunks.reserve(1);
    if (!blocks.empty()) std::copy_n(blocks[0], size * width, chunk.memory.get());
    blocks.assign(1, chunk.memory.get());
    chunks.clear();
    chunks.push_back(std::move(chunk));
    firstCapacity = wanted;
  }
  // Room in blocks is reserved. From four large pages on blocks come in chunks of an eighth to a quarter of
  // what is there, less one block: allocators put a few bytes before a chunk, and the next one shall begin on
  // the next large page.
  void addBlock() {
    const Chunk* last = &chunks.back();
    std::size_t inChunk = blocks.size() - last->first;
    if (inChunk == last->count) {
      const bool large = blocks.size() * blockBytes() >= 4 * LargePage;
      const std::size_t count = large ? std::max<std::size_t>(2, std::bit_floor(blocks.size() / 4)) - 1 : 1;
      chunks.push_back(newChunk(count * blockBytes(), blocks.size(), count));
      last = &chunks.back();
      inChunk = 0;
    }
    blocks.push_back(last->memory.get() + inChunk * BlockElements * width);
  }
  static Chunk newChunk(std::size_t bytes, std::size_t first, std::size_t count) {
    const bool large = count > 1;
    void* memory = large ? AllocateLargePages(bytes) : ::operator new(bytes);
    return {std::unique_ptr<T[], Free>(static_cast<T*>(memory), Free{large}), first, count};
  }
  // Keeps the first count blocks.
  void dropBlocks(std::size_t count) {
    blocks.resize(count);
    while (!chunks.empty() && chunks.back().first >= count) chunks.pop_back();
    if (blocks.empty()) firstCapacity = 0;
  }
};

// Calls f(pointer, count) for each block of an array of width 1, in order.
template <class Array, class F>
void ForEachBlock(Array& array, F&& f) {
  for (std::size_t b = 0; b < array.usedBlocks(); ++b) f(array.blocks[b], array.elementsIn(b));
}

}  // namespace fermix
