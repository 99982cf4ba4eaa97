#include "solvers/panel_kernels.h"

#include <algorithm>
#include <cmath>

#include "host/base/vector_clones.h"

namespace fermix {

namespace {

// Doubles that pass by before sums are taken over; a multiple of all numbers of columns.
constexpr std::size_t Chunk = 2048;
constexpr std::size_t Lanes = 8;
using Lane = ColumnValues;  // one a place in eight consecutive doubles

// Columns repeat along a panel: lane l belongs to column l % columns.
Lane Spread(const ColumnValues& values, std::uint32_t columns) {
  Lane lane;
  for (std::size_t l = 0; l < Lanes; ++l) lane[l] = values[l % columns];
  return lane;
}
ColumnValues Gathered(const Lane& lane, std::uint32_t columns) {
  ColumnValues values{};
  for (std::size_t l = 0; l < Lanes; ++l) values[l % columns] += lane[l];
  return values;
}

// Loops over whole groups of lanes are written out, on arrays of their own, and what is left of n follows:
// so compilers find the vectors.

FERMIX_VECTOR_CLONES void DotAndSubtract(double* __restrict y, const double* __restrict x,
                                         const double* __restrict factor, const double* __restrict z,
                                         std::size_t n, double* __restrict total) {
  double f[Lanes], sum[Lanes] = {};
  for (std::size_t l = 0; l < Lanes; ++l) f[l] = factor[l];
  std::size_t i = 0;
  for (; i + Lanes <= n; i += Lanes)
    for (std::size_t l = 0; l < Lanes; ++l) {
      sum[l] += x[i + l] * y[i + l];
      y[i + l] -= f[l] * z[i + l];
    }
  for (std::size_t l = 0; l < Lanes; ++l) total[l] += sum[l];
  for (std::size_t l = 0; i < n; ++i, ++l) {
    total[l] += x[i] * y[i];
    y[i] -= factor[l] * z[i];
  }
}

FERMIX_VECTOR_CLONES void SubtractAndSquare(double* __restrict y, const double* __restrict factor,
                                            const double* __restrict z, std::size_t n,
                                            double* __restrict total) {
  double f[Lanes], sum[Lanes] = {};
  for (std::size_t l = 0; l < Lanes; ++l) f[l] = factor[l];
  std::size_t i = 0;
  for (; i + Lanes <= n; i += Lanes)
    for (std::size_t l = 0; l < Lanes; ++l) {
      const double v = y[i + l] - f[l] * z[i + l];
      y[i + l] = v;
      sum[l] += v * v;
    }
  for (std::size_t l = 0; l < Lanes; ++l) total[l] += sum[l];
  for (std::size_t l = 0; i < n; ++i, ++l) {
    y[i] -= factor[l] * z[i];
    total[l] += y[i] * y[i];
  }
}

// v, or 0 where its magnitude is at or below epsilon; a NaN stays.
inline double Kept(double v, double epsilon) { return std::fabs(v) <= epsilon ? 0.0 : v; }

FERMIX_VECTOR_CLONES void TruncateReal(double* __restrict x, const double* __restrict factor,
                                       const double* __restrict epsilon, std::size_t n,
                                       double* __restrict before, double* __restrict kept,
                                       double* __restrict squares) {
  double f[Lanes], e[Lanes], b[Lanes] = {}, k[Lanes] = {}, s[Lanes] = {};
  for (std::size_t l = 0; l < Lanes; ++l) f[l] = factor[l], e[l] = epsilon[l];
  std::size_t i = 0;
  for (; i + Lanes <= n; i += Lanes)
    for (std::size_t l = 0; l < Lanes; ++l) {
      const double v = x[i + l] * f[l], left = Kept(v, e[l]);
      x[i + l] = left;
      b[l] += v != 0 ? 1.0 : 0.0;
      k[l] += left != 0 ? 1.0 : 0.0;
      s[l] += left * left;
    }
  for (std::size_t l = 0; l < Lanes; ++l) before[l] += b[l], kept[l] += k[l], squares[l] += s[l];
  for (std::size_t l = 0; i < n; ++i, ++l) {
    const double v = x[i] * factor[l];
    x[i] = Kept(v, epsilon[l]);
    before[l] += v != 0;
    kept[l] += x[i] != 0;
    squares[l] += x[i] * x[i];
  }
}

// The same for pairs of columns.
FERMIX_VECTOR_CLONES void TruncateComplex(double* __restrict x, const double* __restrict factor,
                                          const double* __restrict epsilon, std::size_t n,
                                          double* __restrict before, double* __restrict kept,
                                          double* __restrict squares) {
  for (std::size_t i = 0; i < n; i += 2) {
    const std::size_t l = i % Lanes;
    const double re = x[i] * factor[l], im = x[i + 1] * factor[l + 1], size = re * re + im * im;
    const bool keep = !(size <= epsilon[l] * epsilon[l]);
    const double nonzero = re != 0 || im != 0 ? 1.0 : 0.0, left = keep ? 1.0 : 0.0;
    x[i] = keep ? re : 0.0;
    x[i + 1] = keep ? im : 0.0;
    for (std::size_t part = l; part < l + 2; ++part) {
      before[part] += nonzero;
      kept[part] += left;
    }
    squares[l] += x[i] * x[i];
    squares[l + 1] += x[i + 1] * x[i + 1];
  }
}

template <class F>
void ForEachChunk(std::size_t n, F&& f) {
  for (std::size_t first = 0; first < n; first += Chunk) f(first, std::min(Chunk, n - first));
}

}  // namespace

ColumnValues PanelDotAndSubtract(Panel& y, const Panel& x, const ColumnValues& factor, const Panel& z) {
  const Lane factors = Spread(factor, y.columns);
  Lane total{};
  ForEachChunk(y.value.size(), [&](std::size_t first, std::size_t n) {
    DotAndSubtract(&y.value[first], &x.value[first], factors.data(), &z.value[first], n, total.data());
  });
  return Gathered(total, y.columns);
}

ColumnValues PanelSubtractAndSquare(Panel& y, const ColumnValues& factor, const Panel& z) {
  const Lane factors = Spread(factor, y.columns);
  Lane total{};
  ForEachChunk(y.value.size(), [&](std::size_t first, std::size_t n) {
    SubtractAndSquare(&y.value[first], factors.data(), &z.value[first], n, total.data());
  });
  return Gathered(total, y.columns);
}

ColumnValues PanelSquares(const Panel& x) {
  ColumnValues sums{};
  for (std::size_t i = 0; i < x.value.size(); ++i) sums[i % x.columns] += x.value[i] * x.value[i];
  return sums;
}

Truncation PanelScaleAndTruncate(Panel& x, bool complex, const ColumnValues& factor,
                                 const ColumnValues& epsilon) {
  const Lane factors = Spread(factor, x.columns), epsilons = Spread(epsilon, x.columns);
  Lane before{}, kept{}, squares{};
  ForEachChunk(x.value.size(), [&](std::size_t first, std::size_t n) {
    (complex ? TruncateComplex : TruncateReal)(&x.value[first], factors.data(), epsilons.data(), n,
                                               before.data(), kept.data(), squares.data());
  });
  return {Gathered(before, x.columns), Gathered(kept, x.columns), Gathered(squares, x.columns)};
}

ColumnValues PanelCount(const Panel& x, bool complex) {
  ColumnValues count{};
  for (std::size_t first = 0; first < x.value.size(); first += x.columns)
    for (std::uint32_t j = 0; j < x.columns; ++j)
      count[j] += x.value[first + j] != 0 || (complex && x.value[first + (j ^ 1)] != 0);
  return count;
}

}  // namespace fermix
