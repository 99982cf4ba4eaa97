#include "linalg/matrix_shape.h"

#include <algorithm>
#include <cassert>
#include <climits>
#include <new>

#include "host/base/status.h"

namespace fermix {

namespace {

// An Ni by Nj matrix of the kind and form of m with element (i, j) = m[row(i)][column(j)].
template <class Row, class Column>
CompactMatrixType Pick(const CompactMatrixType& m, std::uint32_t Ni, std::uint32_t Nj, Row row,
                       Column column) {
  CompactMatrixType result = InitCompactMatrix(Ni, Nj, IsComplexMatrix(m));
  result.IsUserdata = m.IsUserdata;
  std::visit(
      [&](auto& to) {
        const auto& from = std::get<std::decay_t<decltype(to)>>(m.Data);
        for (std::size_t i = 0; i < Ni; ++i)
          for (std::size_t j = 0; j < Nj; ++j) to[i * Nj + j] = from[std::size_t{row(i)} * m.Nj + column(j)];
      },
      result.Data);
  return result;
}

bool QEmpty(const CompactMatrixType* m) { return !m || m->Ni == 0 || m->Nj == 0; }

// Sets size to that of the block at row i, column j. Status 1 after a line when another block of the same row
// or column has set another one.
int Agree(std::uint32_t& size, std::uint32_t ofBlock, const char* what, std::size_t i, std::size_t j) {
  if (size != 0 && size != ofBlock)
    return Fail(
        "Error in MatrixFlatten: block at row %d and column %d has %u %s, another block beside it %u\n",
        static_cast<int>(i), static_cast<int>(j), ofBlock, what, size);
  size = ofBlock;
  return 0;
}

std::uint32_t Sum(const std::vector<std::uint32_t>& sizes) {
  std::uint64_t sum = 0;
  for (const std::uint32_t size : sizes) sum += size;
  if (sum > INT_MAX) throw std::bad_alloc();
  return static_cast<std::uint32_t>(sum);
}

}  // namespace

int Submatrix(const CompactMatrixType& m, std::uint32_t firstRow, std::uint32_t lastRow,
              std::uint32_t firstCol, std::uint32_t lastCol, CompactMatrixType& result) {
  if (firstRow > lastRow || lastRow >= m.Ni || firstCol > lastCol || lastCol >= m.Nj)
    return Fail(
        "Error in Submatrix: Invalid parameters: rows %d to %d and columns %d to %d of a matrix with %u rows "
        "and %u columns\n",
        static_cast<int>(firstRow), static_cast<int>(lastRow), static_cast<int>(firstCol),
        static_cast<int>(lastCol), m.Ni, m.Nj);
  result = Pick(
      m, lastRow - firstRow + 1, lastCol - firstCol + 1, [&](std::size_t i) { return firstRow + i; },
      [&](std::size_t j) { return firstCol + j; });
  return 0;
}

int Submatrix(const CompactMatrixType& m, const std::vector<std::uint32_t>& indices,
              CompactMatrixType& result) {
  for (const std::uint32_t i : indices)
    if (i >= std::min(m.Ni, m.Nj))
      return Fail("Error in Submatrix: index %d out of range.\n", static_cast<int>(i));
  const auto index = [&](std::size_t i) { return indices[i]; };
  const auto n = static_cast<std::uint32_t>(indices.size());
  result = Pick(m, n, n, index, index);
  return 0;
}

int MatrixFlatten(const std::vector<std::vector<const CompactMatrixType*>>& blocks,
                  CompactMatrixType& result) {
  std::size_t columns = 0;
  for (const auto& row : blocks) columns = std::max(columns, row.size());
  std::vector<std::uint32_t> heights(blocks.size()), widths(columns);
  bool complex = false, userdata = false;
  for (std::size_t i = 0; i < blocks.size(); ++i) {
    for (std::size_t j = 0; j < blocks[i].size(); ++j) {
      if (QEmpty(blocks[i][j])) continue;
      const CompactMatrixType& block = *blocks[i][j];
      if (Agree(heights[i], block.Ni, "rows", i, j) || Agree(widths[j], block.Nj, "columns", i, j)) return 1;
      complex |= IsComplexMatrix(block);
      userdata |= block.IsUserdata;
    }
    if (heights[i] == 0)
      Say("\nWarning: Row %d of matrix is empty and will be ignored.\n", static_cast<int>(i));
  }
  CompactMatrixType joined = InitCompactMatrix(Sum(heights), Sum(widths), complex);
  joined.IsUserdata = userdata;
  std::uint32_t top = 0;
  for (std::size_t i = 0; i < blocks.size(); top += heights[i++]) {
    std::uint32_t left = 0;
    for (std::size_t j = 0; j < blocks[i].size(); left += widths[j++])
      if (!QEmpty(blocks[i][j]) && CompactMatrixAddShifted(joined, *blocks[i][j], 1, top, left)) return 1;
  }
  result = std::move(joined);
  return 0;
}

CompactMatrixType MatrixExpand(const CompactMatrixType& m, std::uint32_t n, Complex16 z) {
  if (m.Ni != m.Nj || n < m.Ni) {
    if (m.Ni != m.Nj) {
      Say("Error in MatrixExpand: Input of nono-quadratic Matrix (size %u times %u).\n", m.Ni, m.Nj);
    } else {
      Say("Error in MatrixExpand: New size %u of expanded matrix must be larger than or equal to old size "
          "%u.\n",
          n, m.Ni);
    }
    CompactMatrixType zero = InitCompactMatrix(1, 1, false);
    zero.IsUserdata = m.IsUserdata;
    return zero;
  }
  CompactMatrixType result = InitCompactMatrix(n, n, IsComplexMatrix(m) || z.im != 0);
  result.IsUserdata = m.IsUserdata;
  const int status = CompactMatrixAddShifted(result, m, 1, 0, 0);
  assert(status == 0);
  static_cast<void>(status);
  std::visit(
      [&](auto& data) {
        for (std::size_t i = m.Ni; i < n; ++i) data[i * n + i] = ToKind<std::decay_t<decltype(data[0])>>(z);
      },
      result.Data);
  return result;
}

CompactMatrixType MatrixEnlarge(const CompactMatrixType& m, std::uint32_t k) {
  if (std::uint64_t{std::max(m.Ni, m.Nj)} * k > INT_MAX) throw std::bad_alloc();
  CompactMatrixType result = InitCompactMatrix(m.Ni * k, m.Nj * k, IsComplexMatrix(m));
  result.IsUserdata = m.IsUserdata;
  std::visit(
      [&](auto& to) {
        const auto& from = std::get<std::decay_t<decltype(to)>>(m.Data);
        for (std::size_t i = 0; i < m.Ni; ++i)
          for (std::size_t j = 0; j < m.Nj; ++j)
            for (std::size_t a = 0; a < k; ++a) to[(k * i + a) * result.Nj + k * j + a] = from[i * m.Nj + j];
      },
      result.Data);
  return result;
}

CompactMatrixType MatrixRemoveSpin(const CompactMatrixType& m) {
  assert(m.Ni % 2 == 0 && m.Nj % 2 == 0);
  const auto even = [](std::size_t i) { return 2 * i; };
  return Pick(m, m.Ni / 2, m.Nj / 2, even, even);
}

}  // namespace fermix
