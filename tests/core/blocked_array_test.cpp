// The blocked array against a plain vector, across the sizes at which its storage changes: the small first
// block, the second one, and chunks on large pages.
#include "core/blocked_array.h"

#include <gtest/gtest.h>

#include <random>

namespace fermix {
namespace {

std::vector<double> Elements(const BlockedArray<double>& array) {
  std::vector<double> elements;
  for (std::size_t i = 0; i < array.size; ++i)
    elements.insert(elements.end(), array.at(i), array.at(i) + array.width);
  return elements;
}

TEST(BlockedArray, KeepsItsElementsWhileItGrowsAndShrinks) {
  std::mt19937 random(1);
  for (const std::uint32_t width : {1u, 8u}) {
    BlockedArray<double> array(0, width);
    std::vector<double> reference;
    double next = 1;
    // Blocks of 1 MiB for width 8: the larger sizes reach chunks of seven blocks.
    for (const std::size_t size :
         {3u, 40u, 16384u, 16385u, 16000u, 200000u, 480000u, 330000u, 331000u, 20000u, 0u, 5u}) {
      array.resize(size);
      reference.resize(size * width, 0.0);
      const double* place = size ? array.at(0) : nullptr;
      for (std::size_t i = 0; i < array.size; ++i)
        for (std::uint32_t k = 0; k < width; ++k) array.at(i)[k] = reference[i * width + k] = next++;
      for (unsigned more = random() % 20000; more > 0; --more) {
        double* to = array.append();
        for (std::uint32_t k = 0; k < width; ++k) reference.push_back(to[k] = next++);
      }
      EXPECT_TRUE(Elements(array) == reference);
      if (size > BlockElements) {
        EXPECT_EQ(array.at(0), place) << "elements move";
      }
      const BlockedArray<double> copy = array;
      array.fill(-1);
      EXPECT_TRUE(Elements(copy) == reference);
      array = copy;
      BlockedArray<double> taken = std::move(array);
      EXPECT_EQ(array.size, 0u);
      array = std::move(taken);
      EXPECT_TRUE(Elements(array) == reference);
    }
  }
}

}  // namespace
}  // namespace fermix
