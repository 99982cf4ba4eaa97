#include "solvers/restarted_lanczos.h"

#include <cmath>

#include "host/base/verbosity.h"
#include "linalg/vector_kernels.h"
#include "printed.h"
#include "solvers/orthogonality_estimate.h"

namespace fermix {
namespace {

TEST(TimeToDeflate, SparesRitzVectorsThatAreNotNull) {
  // Scale 9 + 16; with zero = 0.01 a squared norm below 0.25 has vanished.
  KrylovMatrix<double> T{3, std::vector<double>(9)};
  T(0, 0) = 3;
  T(1, 1) = -4;
  const struct {
    double norm, zero;
    std::uint32_t level, width, restart;
    bool deflate;
    const char* line;
  } cases[] = {
      {0.6, 0.01, 2, 2, 1, false, ""},
      {0.4, 0.01, 2, 2, 1, true, ""},
      {0.4, -0.01, 2, 2, 1, true, ""},  // the magnitude counts
      {0.4, 0.01, 2, 3, 1, true, ""},   // first restart: start vectors may depend on each other
      {0.4, 0.01, 2, 2, 2, true, ""},   // behind the block
      {0.4, 0.01, 2, 3, 2, false,
       "  According to the norm we should deflate, but we do not want to make the number of states asked 3 "
       "smaller so we should not deflate at level 2 at loop 2\n"},
      {1e-160, 0.01, 2, 3, 2, true,
       "  Deflating below the number of states asked from 3 to 2 at level 2 at loop 2\n"},
      {0, 0, 2, 2, 1, true, ""},  // a null vector can't be normalised
  };
  for (const auto& c : cases) {
    GlobalVerbosity = 256;
    bool deflate = !c.deflate;
    EXPECT_EQ(Printed([&] {
                deflate = TimeToDeflateInBlockLanczosKrylov(c.norm, c.zero, c.level, c.width, T, c.restart);
              }),
              c.line);
    EXPECT_EQ(deflate, c.deflate);
    GlobalVerbosity = 0;
  }
}

// Block Lanczos on a diagonal matrix with levels far outside of the others, whose convergence destroys the
// orthogonality. Gives the largest overlap; counts the vectors that were orthogonalised.
double LargestOverlap(std::uint32_t width, bool guarded, int& orthogonalised) {
  constexpr std::size_t n = 400;
  constexpr std::uint32_t steps = 100;
  std::vector<std::vector<double>> v(steps + width, std::vector<double>(n));
  for (std::uint32_t k = 0; k < width; ++k)
    for (std::size_t i = 0; i < n; ++i) v[k][i] = std::cos(double(k * i)) / std::sqrt(double(n));
  KrylovMatrix<double> T{steps, std::vector<double>(std::size_t{steps} * steps)};
  OrthogonalityEstimate<double> estimate;
  estimate.Start(width);
  const auto take = [&](std::uint32_t from, std::vector<double>& w) {
    const double d = Dot(v[from].data(), w.data(), n);
    for (std::size_t i = 0; i < n; ++i) w[i] -= d * v[from][i];
    return d;
  };
  double largest = 0;
  for (std::uint32_t j = 0; j < steps; ++j) {
    const double norm = Norm(v[j].data(), n);
    if (j >= width) T(j, j - width) = norm;
    if (guarded && estimate.QOrthogonalize(T, j, norm)) {
      ++orthogonalised;
      for (std::uint32_t k = 0; k < j; ++k) take(k, v[j]);
    }
    Scale(v[j].data(), 1 / Norm(v[j].data(), n), n);
    for (std::uint32_t k = 0; k < j; ++k)
      largest = std::max(largest, std::fabs(Dot(v[k].data(), v[j].data(), n)));
    for (std::uint32_t k = j + 1; k < j + width; ++k) {
      const double d = take(j, v[k]);
      if (k >= width) T(j, k - width) = d;
    }
    std::vector<double>& w = v[j + width];
    for (std::size_t i = 0; i < n; ++i) w[i] = (i < 4 ? -10 - 3.0 * double(i) : double(i) / n) * v[j][i];
    for (std::uint32_t i = j > width ? j - width : 0; i <= j; ++i) {
      const double d = take(i, w);
      if (i == j) T(j, j) = d;
    }
    for (std::uint32_t i = j > width ? j - width : 0; i < j; ++i) T(i, j) = T(j, i);
  }
  return largest;
}

TEST(OrthogonalityEstimate, KeepsTheVectorsOrthogonalWithFewOrthogonalisations) {
  for (const std::uint32_t width : {1u, 3u}) {
    SCOPED_TRACE(width);
    int orthogonalised = 0;
    EXPECT_GT(LargestOverlap(width, false, orthogonalised), 0.1);
    EXPECT_LT(LargestOverlap(width, true, orthogonalised), 1e-9);
    EXPECT_LT(orthogonalised, 50);  // of 100
  }
}

// Levels -10 .. 20. All but two start vectors depend on the first one; what rounding leaves of them counts as
// a vector when zero is 0.
TEST(RestartedBlockLanczos, SolvesFromDependentStartVectors) {
  constexpr std::uint32_t n = 31, N = 6;
  FixedBasisOperator<double> H;
  H.N = n;
  for (std::uint32_t i = 0; i < n; ++i) H.diagonal.push_back(double(i) - 10);
  H.slabs.resize(1);
  H.slabs[0].start.assign(n + 1, 0);
  std::vector<WorkVector<double>> v;
  for (std::uint32_t k = 0; k < n + 2 * N; ++k) v.emplace_back(n);
  for (std::uint32_t k = 0; k < N; ++k)
    for (std::uint32_t i = 0; i < n; ++i)
      v[k][i] = std::sin(1.0 + i) * (k + 1) / 3 + (k == 5) * std::cos(0.3 * i * i);
  ConvergenceSettingsType settings;
  settings.zero = 0;
  ASSERT_EQ(RestartedBlockLanczos(H, 0.0, v, N, settings), KrylovStatus::Done);
  for (std::uint32_t k = 0; k < N; ++k)
    for (std::uint32_t i = 0; i < n; ++i) EXPECT_NEAR(std::fabs(v[k][i]), i == k, 1e-10) << k << " " << i;
}

}  // namespace
}  // namespace fermix
