#include "solvers/restarted_lanczos.h"

#include <cmath>

#include "host/base/verbosity.h"
#include "printed.h"
#include "solvers/orthogonality_estimate.h"
#include "solvers/vector_kernels.h"

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

// Lanczos vectors of a diagonal matrix with levels far outside of the others, whose convergence destroys the
// orthogonality. Gives the largest overlap; counts the vectors that were orthogonalised.
double LargestOverlap(bool guarded, int& orthogonalised) {
  constexpr std::size_t n = 400, steps = 100;
  std::vector<std::vector<double>> v(steps + 1, std::vector<double>(n));
  for (std::size_t i = 0; i < n; ++i) v[0][i] = 1 / std::sqrt(double(n));
  OrthogonalityEstimate estimate;
  estimate.Start();
  double below = 0, largest = 0;
  const auto subtract = [&](std::size_t from, double factor, std::vector<double>& w) {
    for (std::size_t i = 0; i < n; ++i) w[i] -= factor * v[from][i];
  };
  for (std::size_t j = 0; j < steps; ++j) {
    std::vector<double>& w = v[j + 1];
    for (std::size_t i = 0; i < n; ++i) w[i] = (i < 4 ? -10 - 3.0 * double(i) : double(i) / n) * v[j][i];
    const double a = Dot(v[j].data(), w.data(), n);
    subtract(j, a, w);
    if (j) subtract(j - 1, below, w);
    subtract(j, Dot(v[j].data(), w.data(), n), w);
    const double next = Norm(w.data(), n);
    if (guarded && estimate.QOrthogonalize(a, below, next)) {
      ++orthogonalised;
      for (std::size_t k = 0; k <= j; ++k) subtract(k, Dot(v[k].data(), w.data(), n), w);
    }
    below = Norm(w.data(), n);
    Scale(w.data(), 1 / below, n);
    for (std::size_t k = 0; k <= j; ++k)
      largest = std::max(largest, std::fabs(Dot(v[k].data(), w.data(), n)));
  }
  return largest;
}

TEST(OrthogonalityEstimate, KeepsTheVectorsOrthogonalWithFewOrthogonalisations) {
  int orthogonalised = 0;
  EXPECT_GT(LargestOverlap(false, orthogonalised), 0.1);
  EXPECT_LT(LargestOverlap(true, orthogonalised), 1e-9);
  EXPECT_LT(orthogonalised, 50);  // of 100
}

}  // namespace
}  // namespace fermix
