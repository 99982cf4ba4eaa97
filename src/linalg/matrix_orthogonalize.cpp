#include "linalg/matrix_orthogonalize.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "linalg/blas.h"

namespace fermix {

namespace {

constexpr std::uint32_t SingularValueMask = 0x10000, RowNormMask = 0x30000;

template <class T>
double RowNormSqr(const std::vector<T>& data, std::size_t i, std::size_t Nj) {
  double sum = 0;
  for (std::size_t j = i * Nj; j < (i + 1) * Nj; ++j) sum += NormSqr(data[j]);
  return sum;
}

int SvdFailure(const double*, int info, const CompactMatrixType& m) {
  return Fail("dgesvd failed in CompactMatrixSVDOrthogonalize with INFO %i (A->Ni %u, A->Nj %u)\n", info,
              m.Ni, m.Nj);
}
int SvdFailure(const Complex16*, int info, const CompactMatrixType&) {
  return Fail("zgesvd failed in CompactMatrixSVDOrthogonalize with INFO %i\n", info);
}

// Replaces the rows by the product of the singular vectors whose values exceed threshold; rank is their
// number.
template <class T>
int SetSingularValuesToOne(const CompactMatrixType& m, std::vector<T>& data, double threshold,
                           std::uint32_t& rank) {
  // The library sees the transposed matrix, Nj by Ni; its polar factor is the transposed one of ours.
  const int rows = BlasSize(m.Nj), columns = BlasSize(m.Ni), k = std::min(rows, columns);
  std::vector<T> work = data, U(std::size_t(rows) * k), VT(std::size_t(k) * columns);
  std::vector<double> values(k);
  if (const int info = Gesvd(rows, columns, work.data(), values.data(), U.data(), VT.data()))
    return SvdFailure(data.data(), info, m);
  // Values descend; those behind the k-th are 0.
  rank = static_cast<std::uint32_t>(
      std::find_if(values.begin(), values.end(), [&](double s) { return s <= threshold; }) - values.begin());
  for (std::uint32_t i = rank; i < m.Ni; ++i)
    VerbosityPrintf(SingularValueMask, "Singular value found at position %d with value %e \n",
                    static_cast<int>(i), i < values.size() ? values[i] : 0.0);
  Gemm('N', 'N', rows, columns, static_cast<int>(rank), T(1), U.data(), rows, VT.data(), k, T(0), data.data(),
       rows);
  return 0;
}

// Of equal ones the last, also when they differ by rounding.
template <class T>
std::uint32_t SmallestRow(const CompactMatrixType& m, const std::vector<T>& data) {
  std::uint32_t smallest = 0;
  double least = HUGE_VAL;
  for (std::uint32_t i = 0; i < m.Ni; ++i) {
    const double norm = RowNormSqr(data, i, m.Nj);
    VerbosityPrintf(RowNormMask, "Determining which vector to remove, norm found at %d is %24.16e \n",
                    static_cast<int>(i), norm);
    if (norm > least * (1 + 100 * DBL_EPSILON)) continue;
    smallest = i;
    least = norm;
  }
  return smallest;
}

int OrthogonalizeRows(CompactMatrixType& m, double threshold, bool removeRows) {
  // After the first pass singular values are 0 or no less than the root of one over the number of rows.
  constexpr double noise = 1.4901161193847656e-8;  // root of DBL_EPSILON
  while (m.Ni > 0) {
    std::uint32_t rank = 0, remove = 0;
    const int status = std::visit(
        [&](auto& data) {
          const int failed = SetSingularValuesToOne(m, data, threshold, rank);
          if (!failed && removeRows && rank < m.Ni) remove = SmallestRow(m, data);
          return failed;
        },
        m.Data);
    if (status) return status;
    if (rank == m.Ni || !removeRows) return 0;
    VerbosityPrintf(SingularValueMask, "Singular value removed at position %d \n", static_cast<int>(remove));
    if (rank == 0) return ResizeCompactMatrix(m, 0, m.Nj), 0;
    if (const int failed = CompactMatrixRemoveRow(m, remove)) return failed;
    threshold = std::min(threshold, noise);
  }
  return 0;
}

// Whether a row is dropped: real matrices compare the square of its norm, complex ones the norm. Scripts that
// choose a threshold rely on the difference. Zeros can't be normalised, whatever the threshold.
bool QSmall(const double*, double normSqr, double threshold) { return threshold > normSqr || normSqr == 0; }
bool QSmall(const Complex16*, double normSqr, double threshold) {
  return threshold >= std::sqrt(normSqr) || normSqr == 0;
}

template <class T>
std::uint32_t GramSchmidtRows(const CompactMatrixType& m, std::vector<T>& data, double threshold) {
  const std::size_t Nj = m.Nj;
  std::uint32_t dropped = 0;
  for (std::uint32_t i = 0; i < m.Ni; ++i) {
    T* row = data.data() + i * Nj;
    double normSqr = RowNormSqr(data, i, Nj);
    if (QSmall(row, normSqr, threshold)) {
      ++dropped;
      continue;
    }
    if (std::isinf(normSqr)) {  // too long to be squared; its direction is what counts
      for (std::size_t j = 0; j < Nj; ++j) row[j] *= 1e-300;
      normSqr = RowNormSqr(data, i, Nj);
    }
    const double scale = 1 / std::sqrt(normSqr);
    for (std::size_t j = 0; j < Nj; ++j) row[j] *= scale;
    if (dropped) std::copy_n(row, Nj, row - dropped * Nj);
    // After a drop the next rows are left out on purpose: what results depend on stays as it is.
    for (std::size_t r = std::size_t{i} + 1 + dropped; r < m.Ni; ++r) {
      T* other = data.data() + r * Nj;
      T overlap = 0;
      for (std::size_t j = 0; j < Nj; ++j) overlap += Conj(row[j]) * other[j];
      for (std::size_t j = 0; j < Nj; ++j) other[j] -= overlap * row[j];
    }
  }
  return dropped;
}

using OrthogonalizeFunction = int (*)(CompactMatrixType&, double, bool);

int OnColumns(OrthogonalizeFunction onRows, CompactMatrixType& m, double threshold, bool remove) {
  CompactMatrixType transposed = m;
  CompactMatrixTranspose(transposed);
  if (const int status = onRows(transposed, threshold, remove)) return status;
  CompactMatrixTranspose(transposed);
  m = std::move(transposed);
  return 0;
}

}  // namespace

int CompactMatrixSVDOrthogonalizeRow(CompactMatrixType& m, double threshold, bool removeRows) {
  if (m.Nj == 0) return ResizeCompactMatrix(m, 0, 0), 0;
  if (!QFinite(m)) return Fail("CompactMatrixSVDOrthogonalizeRow called with a matrix that is not finite\n");
  CompactMatrixType work = m;
  if (const int status = OrthogonalizeRows(work, threshold, removeRows)) return status;
  m = std::move(work);
  return 0;
}

int CompactMatrixGramSchmidtOrthogonalizeRow(CompactMatrixType& m, double threshold, bool removeRows) {
  if (!QFinite(m))
    return Fail("CompactMatrixGramSchmidtOrthogonalizeRow called with a matrix that is not finite\n");
  const std::uint32_t dropped =
      std::visit([&](auto& data) { return GramSchmidtRows(m, data, threshold); }, m.Data);
  const std::uint32_t kept = m.Ni - dropped, Ni = m.Ni;
  if (dropped == 0) return 0;
  ResizeCompactMatrix(m, kept, m.Nj);
  if (!removeRows) ResizeCompactMatrix(m, Ni, m.Nj);
  return 0;
}

int CompactMatrixSVDOrthogonalizeCol(CompactMatrixType& m, double threshold, bool removeColumns) {
  return OnColumns(CompactMatrixSVDOrthogonalizeRow, m, threshold, removeColumns);
}

int CompactMatrixGramSchmidtOrthogonalizeCol(CompactMatrixType& m, double threshold, bool removeColumns) {
  return OnColumns(CompactMatrixGramSchmidtOrthogonalizeRow, m, threshold, removeColumns);
}

}  // namespace fermix
