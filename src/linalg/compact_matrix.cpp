#include "linalg/compact_matrix.h"

#include <algorithm>
#include <cassert>

#include "host/base/status.h"
#include "linalg/blas.h"

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

std::vector<Complex16> ToComplex(const std::vector<double>& real) { return {real.begin(), real.end()}; }

// The elements of m as kind T: its own array, or a promoted copy in scratch.
template <class T>
const std::vector<T>& ElementsAs(const CompactMatrixType& m, std::vector<T>& scratch) {
  if (const auto* own = std::get_if<std::vector<T>>(&m.Data)) return *own;
  if constexpr (IsComplex<T>) scratch = ToComplex(std::get<0>(m.Data));
  return scratch;
}

void ConjugateAll(std::vector<double>&) {}
void ConjugateAll(std::vector<Complex16>& data) {
  for (Complex16& z : data) z.im = -z.im;
}

}  // namespace

bool QFinite(const CompactMatrixType& m) {
  return std::visit(
      [](const auto& data) {
        return std::all_of(data.begin(), data.end(),
                           [](const auto& x) { return std::isfinite(Re(x)) && std::isfinite(Im(x)); });
      },
      m.Data);
}

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

Complex16 CompactMatrixElement(const CompactMatrixType& m, std::uint32_t i, std::uint32_t j) {
  assert(i < m.Ni && j < m.Nj);
  return std::visit([&](const auto& data) -> Complex16 { return data[std::size_t{i} * m.Nj + j]; }, m.Data);
}

void MakeCompactRealMatrixComplex(CompactMatrixType& m) {
  if (IsComplexMatrix(m)) return;
  m.Data = OrSay("calloc failed in MakeCompactRealMatrixComplex\n",
                 [&] { return ToComplex(std::get<0>(m.Data)); });
}

void CompactMatrixChop(CompactMatrixType& m, double threshold) {
  const auto chop = [threshold](double x) { return std::fabs(x) < threshold ? 0 : x; };
  if (auto* real = std::get_if<std::vector<double>>(&m.Data)) {
    std::transform(real->begin(), real->end(), real->begin(), chop);
    return;
  }
  auto& complex = std::get<1>(m.Data);
  bool imaginary = false;
  for (Complex16& z : complex) {
    z = {chop(z.re), chop(z.im)};
    imaginary |= z.im != 0;
  }
  if (imaginary) return;
  OrSay("calloc failed in MakeCompactComplexMatrixReal\n", [&] {
    std::vector<double> reals(complex.size());
    std::transform(complex.begin(), complex.end(), reals.begin(), [](Complex16 z) { return z.re; });
    m.Data = std::move(reals);
  });
}

void CompactMatrixScale(CompactMatrixType& m, double x) {
  std::visit(
      [x](auto& data) {
        for (auto& element : data) element *= x;
      },
      m.Data);
}

void CompactMatrixScaleComplex(CompactMatrixType& m, Complex16 z) {
  if (!IsComplexMatrix(m) && z.im == 0) return CompactMatrixScale(m, z.re);
  MakeCompactRealMatrixComplex(m);
  for (Complex16& element : std::get<1>(m.Data)) element *= z;
}

bool QCompactMatrixHermitian(const CompactMatrixType& m, double tolerance) {
  if (m.Ni != m.Nj) return false;
  const auto small = [&](double difference, double scale) {
    return std::fabs(difference) <= std::fabs(scale) * tolerance + NumericalZero;  // false for not-a-number
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

namespace {

// Imaginary parts of the factors up to here leave a product real.
constexpr double RealFactorFloor = 2.2250738585072014e-306;

bool QTransposing(char op) { return op == 'T' || op == 'C'; }
std::uint32_t Rows(char op, const CompactMatrixType& m) { return QTransposing(op) ? m.Nj : m.Ni; }
std::uint32_t Columns(char op, const CompactMatrixType& m) { return QTransposing(op) ? m.Ni : m.Nj; }

// The product of row-major arrays: the library sees all three transposed, so the operands swap.
template <class T>
void RowMajorGemm(char opA, char opB, const CompactMatrixType& A, const CompactMatrixType& B,
                  CompactMatrixType& C, T alpha, T beta) {
  std::vector<T> scratchA, scratchB;
  const std::vector<T>*a = &ElementsAs(A, scratchA), *b = &ElementsAs(B, scratchB);
  const auto conjugated = [](char& op, const std::vector<T>*& from, std::vector<T>& scratch) {
    if (op != '*') return;
    op = 'N';
    if (from != &scratch) scratch = *from;
    ConjugateAll(scratch);
    from = &scratch;
  };
  const int m = BlasSize(C.Ni), n = BlasSize(C.Nj), k = BlasSize(Columns(opA, A));
  conjugated(opA, a, scratchA);
  conjugated(opB, b, scratchB);
  Gemm(opB, opA, n, m, k, alpha, b->data(), BlasSize(B.Nj), a->data(), BlasSize(A.Nj), beta,
       std::get<std::vector<T>>(C.Data).data(), n);
}

}  // namespace

int CompactMatrixAddMultiply(char opA, char opB, const CompactMatrixType& A, const CompactMatrixType& B,
                             CompactMatrixType& C, Complex16 alpha, Complex16 beta) {
  assert(&C != &A && &C != &B);
  if (A.Ni == 0 || A.Nj == 0 || C.Nj == 0) return 0;
  const bool realOperands = !IsComplexMatrix(A) && !IsComplexMatrix(B);
  if (IsComplexMatrix(C) && realOperands && std::fabs(beta.re) < RealFactorFloor &&
      std::fabs(beta.im) < RealFactorFloor) {
    C.Data = ZeroElements<double>(C.Ni, C.Nj);  // what it held is not read
    beta = 0;
  }
  if (Columns(opA, A) != Rows(opB, B) || Rows(opA, A) != C.Ni || Columns(opB, B) != C.Nj) {
    Say("Trying to multiply matrix (%s)^%c with dimension %i %i with matrix (%s)^%c with dimension %i %i and "
        "add it to matrix (%s) with dimension %i %i\n",
        A.Name.c_str(), opA, static_cast<int>(A.Ni), static_cast<int>(A.Nj), B.Name.c_str(), opB,
        static_cast<int>(B.Ni), static_cast<int>(B.Nj), C.Name.c_str(), static_cast<int>(C.Ni),
        static_cast<int>(C.Nj));
    return Fail("Error in dimensions\n");
  }
  if (!realOperands || IsComplexMatrix(C) || std::fabs(alpha.im) > RealFactorFloor ||
      std::fabs(beta.im) > RealFactorFloor) {
    MakeCompactRealMatrixComplex(C);
    RowMajorGemm<Complex16>(opA, opB, A, B, C, alpha, beta);
  } else {
    RowMajorGemm<double>(opA, opB, A, B, C, alpha.re, beta.re);
  }
  return 0;
}

int CompactMatrixMultiply(char opA, char opB, const CompactMatrixType& A, const CompactMatrixType& B,
                          CompactMatrixType& C) {
  CompactMatrixType product =
      InitCompactMatrix(Rows(opA, A), Columns(opB, B), IsComplexMatrix(A) || IsComplexMatrix(B));
  if (const int status = CompactMatrixAddMultiply(opA, opB, A, B, product, 1, 0)) return status;
  C = std::move(product);
  return 0;
}

int CompactMatrixInverse(CompactMatrixType& m) {
  if (m.Ni != m.Nj) return -1;
  if (m.Ni == 0) return 0;
  // The inverse of the transposed matrix is the transposed inverse: nothing to turn around.
  return std::visit(
      [&](auto& data) {
        const int n = BlasSize(m.Ni);
        std::vector<int> pivots(n);
        if (Getrf(n, data.data(), pivots.data())) return 1;
        return Getri(n, data.data(), pivots.data()) ? 1 : 0;
      },
      m.Data);
}

namespace {

// Above this many rows divide and conquer is the faster driver, five to seven times on large matrices.
constexpr std::uint32_t DivideBorder = 64;

// One driver, and the other if it fails. data holds the matrix and becomes its eigenvectors.
template <class T>
int EigensystemOfElements(const CompactMatrixType& A, std::vector<T>& data, std::vector<double>& values) {
  using Driver = int (*)(int, T*, double*);
  struct {
    Driver solve;
    const char *name, *nameInHandover;
  } first{EigenQr, EigenQrName(data.data()), EigenQrName(data.data())},
      second{EigenDivide, EigenDivideName(data.data()), IsComplex<T> ? "zheevd" : "dsyvd"};
  if (A.Ni > DivideBorder) std::swap(first, second);

  const int n = BlasSize(A.Ni);
  int info = first.solve(n, data.data(), values.data());
  if (info == 0) return 0;
  Say("%s failed in CompactMatrixEigensystem with info value %i\n", first.name, info);
  Say("While working on matrix %s\n", A.Name.c_str());
  Say("continue diagonalization with %s\n", second.nameInHandover);
  data = std::get<std::vector<T>>(A.Data);
  info = second.solve(n, data.data(), values.data());
  if (info == 0) return 0;
  Say("also %s failed in CompactMatrixEigensystem with info value %i\n", second.name, info);
  return Fail("ERORR!!!!!!!!!!\n");
}

}  // namespace

int CompactMatrixEigensystem(const CompactMatrixType& A, CompactMatrixType& V, std::vector<double>& values) {
  if (A.Ni != A.Nj) return Fail("CompactMatrixEigensystem called with non-square matrix\n");
  if (!QFinite(A))  // the drivers promise nothing then
    return Fail("CompactMatrixEigensystem called with a matrix that is not finite\n");
  CompactMatrixType vectors = A;
  vectors.IsUserdata = false;
  std::vector<double> eigenvalues(A.Ni);
  if (A.Ni > 0) {
    vectors.Name = "Eigenvectors of " + A.Name.substr(0, 240);
    const int status = std::visit(
        [&](auto& data) {
          const int failed = EigensystemOfElements(A, data, eigenvalues);
          ConjugateAll(data);  // the driver saw the transposed matrix, that is the conjugate one
          return failed;
        },
        vectors.Data);
    if (status) return status;
  }
  V = std::move(vectors);
  values = std::move(eigenvalues);
  return 0;
}

CompactMatrixType TransformDiagonalMatrixByCompactMatrixTtranATcon(const std::vector<double>& D,
                                                                   const CompactMatrixType& T) {
  assert(D.size() == T.Ni);
  CompactMatrixType DT = T, R;
  std::visit(
      [&](auto& data) {
        for (std::size_t k = 0; k < D.size(); ++k)
          for (std::size_t j = 0; j < T.Nj; ++j) data[k * T.Nj + j] *= D[k];
      },
      DT.Data);
  const int status = CompactMatrixMultiply('T', '*', T, DT, R);
  assert(status == 0);
  static_cast<void>(status);
  return R;
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
