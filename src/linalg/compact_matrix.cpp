#include "linalg/compact_matrix.h"

#include <algorithm>
#include <cassert>
#include <cfloat>
#include <cmath>

#include "host/base/status.h"

namespace fermix {

namespace {

template <class T>
std::vector<T> ZeroElements(std::uint32_t Ni, std::uint32_t Nj) {
  std::vector<T> elements;
  const std::uint64_t size = std::uint64_t{Ni} * Nj;
  if (size > elements.max_size()) throw std::bad_alloc();
  elements.resize(size);
  return elements;
}

// m[k + row][l + column] += factor b[k][l], all inside; m is complex if b or factor is.
template <class Factor>
void AddBlock(CompactMatrixType& m, const CompactMatrixType& b, Factor factor, std::size_t row,
              std::size_t column) {
  std::visit(
      [&](auto& to, const auto& from) {
        using T = std::decay_t<decltype(to[0])>;
        for (std::size_t k = 0; k < b.Ni; ++k) {
          auto* target = to.data() + (k + row) * m.Nj + column;
          const auto* source = from.data() + k * b.Nj;
          for (std::size_t l = 0; l < b.Nj; ++l) target[l] += ToKind<T>(factor * source[l]);
        }
      },
      m.Data, b.Data);
}

}  // namespace

CompactMatrixType InitCompactMatrix(std::uint32_t Ni, std::uint32_t Nj, bool complex) {
  CompactMatrixType m;
  m.Ni = Ni;
  m.Nj = Nj;
  if (complex) {
    m.Data = OrSay("Malloc failed in InitCompactMatrix for complex allocation\n",
                   [&] { return ZeroElements<Complex16>(Ni, Nj); });
  } else {
    m.Data = OrSay("Malloc failed in InitCompactMatrix for real allocation\n",
                   [&] { return ZeroElements<double>(Ni, Nj); });
  }
  return m;
}

CompactMatrixType InitCompactIdentityMatrix(std::uint32_t Ni, std::uint32_t Nj) {
  CompactMatrixType m = InitCompactMatrix(Ni, Nj, false);
  m.Name = "I_Matrix";
  auto& data = std::get<0>(m.Data);
  for (std::size_t i = 0; i < std::min(Ni, Nj); ++i) data[i * Nj + i] = 1;
  return m;
}

std::size_t OwnedBytes(const CompactMatrixType& m) {
  return std::visit([](const auto& data) { return data.capacity() * sizeof(data[0]); }, m.Data);
}

void ResizeCompactMatrix(CompactMatrixType& m, std::uint32_t Ni, std::uint32_t Nj) {
  const std::uint64_t size = std::uint64_t{Ni} * Nj;
  std::visit(
      [&](auto& data) {
        if (size > data.max_size()) throw std::bad_alloc();
        data.resize(size);
        if (data.capacity() / 2 > size) data.shrink_to_fit();
      },
      m.Data);
  m.Ni = Ni;
  m.Nj = Nj;
}

int CompactMatrixRemoveRow(CompactMatrixType& m, std::uint32_t i) {
  if (i >= m.Ni)
    return Fail(
        "Error in CompactMatrixRemoveRow, tried to remove row %u, but there are only %u rows (counting "
        "starts "
        "at zero)\n",
        i, m.Ni);
  std::visit(
      [&](auto& data) {
        const auto row = data.begin() + static_cast<std::ptrdiff_t>(std::size_t{i} * m.Nj);
        data.erase(row, row + m.Nj);
      },
      m.Data);
  --m.Ni;
  return 0;
}

Complex16 CompactMatrixElement(const CompactMatrixType& m, std::uint32_t i, std::uint32_t j) {
  assert(i < m.Ni && j < m.Nj);
  return std::visit([&](const auto& data) -> Complex16 { return data[std::size_t{i} * m.Nj + j]; }, m.Data);
}

void MakeCompactRealMatrixComplex(CompactMatrixType& m) {
  if (IsComplexMatrix(m)) return;
  m.Data = OrSay("calloc failed in MakeCompactRealMatrixComplex\n", [&] {
    return std::vector<Complex16>(std::get<0>(m.Data).begin(), std::get<0>(m.Data).end());
  });
}

void CompactMatrixChop(CompactMatrixType& m, double threshold) {
  OrSay("calloc failed in MakeCompactComplexMatrixReal\n", [&] { ChopElements(m.Data, threshold); });
}

void CompactMatrixConjugate(CompactMatrixType& m) {
  if (auto* data = std::get_if<std::vector<Complex16>>(&m.Data))
    for (Complex16& z : *data) z.im = -z.im;
}

void CompactMatrixTranspose(CompactMatrixType& m) {
  const std::size_t Ni = m.Ni, Nj = m.Nj;
  std::visit(
      [&](auto& data) {
        if (Ni == Nj) {
          for (std::size_t i = 0; i < Ni; ++i)
            for (std::size_t j = 0; j < i; ++j) std::swap(data[i * Nj + j], data[j * Nj + i]);
          return;
        }
        OrSay("malloc failed in CompactMatrixTranspose\n", [&] {
          std::decay_t<decltype(data)> transposed(data.size());
          for (std::size_t i = 0; i < Ni; ++i)
            for (std::size_t j = 0; j < Nj; ++j) transposed[j * Ni + i] = data[i * Nj + j];
          data = std::move(transposed);
        });
      },
      m.Data);
  std::swap(m.Ni, m.Nj);
}

void CompactMatrixScale(CompactMatrixType& m, double x) {
  std::visit(
      [x](auto& data) {
        for (auto& element : data) element *= x;
      },
      m.Data);
}

void CompactMatrixScaleComplex(CompactMatrixType& m, Complex16 z) {
  // A real factor keeps infinite parts apart; the complex product would mix them to not-a-number.
  if (z.im == 0) return CompactMatrixScale(m, z.re);
  MakeCompactRealMatrixComplex(m);
  for (Complex16& element : std::get<1>(m.Data)) element *= z;
}

int CompactMatrixAddShifted(CompactMatrixType& M, const CompactMatrixType& B, Complex16 z, std::uint32_t i,
                            std::uint32_t j) {
  if (std::uint64_t{i} + B.Ni > M.Ni || std::uint64_t{j} + B.Nj > M.Nj)
    return Fail("Matrix B shifted does not fit in matrix M\n");
  if (IsComplexMatrix(B) || z.im != 0) MakeCompactRealMatrixComplex(M);
  if (z.im == 0) {
    AddBlock(M, B, z.re, i, j);
  } else {
    AddBlock(M, B, z, i, j);
  }
  return 0;
}

int CompactMatrixAdd(CompactMatrixType& a, const CompactMatrixType& b, double factor) {
  if (a.Ni != b.Ni || a.Nj != b.Nj) return Fail("Error in dimensions\n");
  if (IsComplexMatrix(b)) MakeCompactRealMatrixComplex(a);
  AddBlock(a, b, factor, 0, 0);
  return 0;
}

bool QCompactMatrixEqual(const CompactMatrixType& a, const CompactMatrixType& b) {
  return a.Ni == b.Ni && a.Nj == b.Nj && a.Data.base() == b.Data.base();
}

bool QFinite(const CompactMatrixType& m) {
  return std::visit(
      [](const auto& data) {
        return std::all_of(data.begin(), data.end(),
                           [](const auto& x) { return std::isfinite(Re(x)) && std::isfinite(Im(x)); });
      },
      m.Data);
}

bool QCompactMatrixHermitian(const CompactMatrixType& m, double tolerance) {
  if (m.Ni != m.Nj) return false;
  constexpr double floor = 10 * NumericalZero;
  const auto small = [&](double difference, double scale) {  // false for not-a-number
    return std::fabs(difference) <= std::fmin(std::fabs(scale), DBL_MAX) * tolerance + floor;
  };
  return std::visit(
      [&](const auto& data) {
        const std::size_t n = m.Ni;
        for (std::size_t i = 0; i < n; ++i) {
          // A diagonal element mirrors itself: its imaginary part is measured by its real part.
          if (!small(Im(data[i * n + i]), Re(data[i * n + i])) || std::isnan(Re(data[i * n + i])))
            return false;
          for (std::size_t j = 0; j < i; ++j) {
            const auto a = data[i * n + j], b = data[j * n + i];
            if (!small(Re(a) - Re(b), Re(a) + Re(b)) || !small(Im(a) + Im(b), Im(a) - Im(b))) return false;
          }
        }
        return true;
      },
      m.Data);
}

std::string CompactMatrixToString(const CompactMatrixType& m) {
  std::string text;
  if (m.Ni == 0 || m.Nj == 0) return text;
  std::visit(
      [&](const auto& data) {
        for (std::size_t i = 0; i < m.Ni; ++i) {
          text += i == 0 ? "{ { " : "  { ";
          for (std::size_t j = 0; j < m.Nj; ++j) {
            if (j > 0) text += ", ";
            text += ElementText(data[i * m.Nj + j]);
          }
          text += i + 1 < m.Ni ? "} ,\n" : "} }\n";
        }
      },
      m.Data);
  return text;
}

void StreamPrintCompactMatrixMinimal(const CompactMatrixType& m, std::FILE* stream) {
  for (std::uint32_t i = 0; i < m.Ni; ++i) {
    for (std::uint32_t j = 0; j < m.Nj; ++j) {
      const Complex16 z = CompactMatrixElement(m, i, j);
      std::fprintf(stream, " %12.5E", z.re);
      if (IsComplexMatrix(m)) std::fprintf(stream, " %+12.5E I", z.im);
    }
    std::fputc('\n', stream);
  }
}

}  // namespace fermix
