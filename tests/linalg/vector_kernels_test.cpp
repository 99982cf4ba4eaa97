#include "linalg/vector_kernels.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace fermix {
namespace {

template <class T>
std::vector<T> RandomVector(std::size_t n, unsigned seed) {
  std::mt19937 generator(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  std::vector<T> v(n);
  for (T& x : v) {
    if constexpr (IsComplex<T>) x.im = uniform(generator);
    x = x + T(uniform(generator));
  }
  return v;
}

template <class T>
class VectorKernels : public testing::Test {};
using Kinds = testing::Types<double, Complex16>;
TYPED_TEST_SUITE(VectorKernels, Kinds);

// Lengths below, at and above the lanes and the chunks of the passes.
constexpr std::size_t Lengths[] = {0, 1, 7, 8, 1023, 1024, 2048, 5001};

TYPED_TEST(VectorKernels, DotProductsAndSumsAreThoseOfPlainLoops) {
  using T = TypeParam;
  for (const std::size_t n : Lengths) {
    SCOPED_TRACE(n);
    std::vector<std::vector<T>> v;
    std::vector<const T*> pointers;
    for (unsigned k = 0; k < 6; ++k) v.push_back(RandomVector<T>(n, k));
    for (const auto& x : v) pointers.push_back(x.data());
    std::vector<T> w = RandomVector<T>(n, 77), c = RandomVector<T>(6, 78), d(6), expected = w;
    DotEach(pointers.data(), 6, w.data(), n, d.data());
    for (unsigned k = 0; k < 6; ++k) {
      T sum{};
      for (std::size_t i = 0; i < n; ++i) sum += Conj(v[k][i]) * w[i];
      EXPECT_NEAR(Re(sum), Re(d[k]), 1e-12);
      EXPECT_NEAR(Im(sum), Im(d[k]), 1e-12);
      for (std::size_t i = 0; i < n; ++i) expected[i] += c[k] * v[k][i];
    }
    AddEach(pointers.data(), 6, c.data(), w.data(), n);
    for (std::size_t i = 0; i < n; ++i) ASSERT_LT(Abs(expected[i] - w[i]), 1e-14);
    const double norm = Norm(w.data(), n);
    EXPECT_NEAR(norm * norm, Re(Dot(w.data(), w.data(), n)), 1e-9);
    Scale(w.data(), 0.5, n);
    EXPECT_NEAR(Norm(w.data(), n), norm / 2, 1e-12);
  }
}

}  // namespace
}  // namespace fermix
