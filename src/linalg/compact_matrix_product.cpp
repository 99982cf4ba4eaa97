// Products of dense matrices, all through the BLAS.
#include <cassert>
#include <cmath>

#include "host/base/status.h"
#include "linalg/blas.h"
#include "linalg/compact_matrix.h"

namespace fermix {

namespace {

// Imaginary parts of the factors up to here leave a product real.
constexpr double RealFactorFloor = 2.2250738585072014e-306;

bool QTransposing(char op) { return op == 'T' || op == 'C'; }
std::uint32_t Rows(char op, const CompactMatrixType& m) { return QTransposing(op) ? m.Nj : m.Ni; }
std::uint32_t Columns(char op, const CompactMatrixType& m) { return QTransposing(op) ? m.Ni : m.Nj; }

// The elements of m as kind T: its own array, or a promoted copy in scratch.
template <class T>
const std::vector<T>& ElementsAs(const CompactMatrixType& m, std::vector<T>& scratch) {
  if (const auto* own = std::get_if<std::vector<T>>(&m.Data)) return *own;
  if constexpr (IsComplex<T>) scratch.assign(std::get<0>(m.Data).begin(), std::get<0>(m.Data).end());
  return scratch;
}

void ConjugateAll(std::vector<double>&) {}
void ConjugateAll(std::vector<Complex16>& data) {
  for (Complex16& z : data) z.im = -z.im;
}

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

// C = alpha op(A) B + beta C for a real A and complex B and C: real and imaginary parts stand side by side,
// so that B and C are real matrices of twice as many columns.
void RealTimesComplex(char opA, const CompactMatrixType& A, const CompactMatrixType& B, CompactMatrixType& C,
                      double alpha, double beta) {
  const int m = BlasSize(C.Ni), n = BlasSize(2 * std::uint64_t{C.Nj}), k = BlasSize(Columns(opA, A));
  Gemm('N', QTransposing(opA) ? 'T' : 'N', n, m, k, alpha, &std::get<1>(B.Data)[0].re, n,
       std::get<0>(A.Data).data(), BlasSize(A.Nj), beta, &std::get<1>(C.Data)[0].re, n);
}

}  // namespace

int CompactMatrixAddMultiply(char opA, char opB, const CompactMatrixType& A, const CompactMatrixType& B,
                             CompactMatrixType& C, Complex16 alpha, Complex16 beta) {
  assert(&C != &A && &C != &B);
  if (A.Ni == 0 || A.Nj == 0 || C.Nj == 0) return 0;
  const bool realOperands = !IsComplexMatrix(A) && !IsComplexMatrix(B);
  if (IsComplexMatrix(C) && realOperands && std::fabs(beta.re) < RealFactorFloor &&
      std::fabs(beta.im) < RealFactorFloor) {
    C.Data = std::vector<double>(std::get<1>(C.Data).size());  // what it held is not read
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
    if (!IsComplexMatrix(A) && IsComplexMatrix(B) && opB == 'N' && alpha.im == 0 && beta.im == 0) {
      RealTimesComplex(opA, A, B, C, alpha.re, beta.re);
    } else {
      RowMajorGemm<Complex16>(opA, opB, A, B, C, alpha, beta);
    }
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

int CompactMatrixMultiply3(char opA, char opB, char opC, const CompactMatrixType& A,
                           const CompactMatrixType& B, const CompactMatrixType& C, CompactMatrixType& R) {
  CompactMatrixType AB;
  if (const int status = CompactMatrixMultiply(opA, opB, A, B, AB)) return status;
  return CompactMatrixMultiply('N', opC, AB, C, R);
}

namespace {

// M becomes opL(U) M opR(U); its name and what it carries stay.
int TransformInline(CompactMatrixType& M, char opL, char opR, const CompactMatrixType& U) {
  CompactMatrixType R;
  if (const int status = CompactMatrixMultiply3(opL, 'N', opR, U, M, U, R)) return status;
  M.Ni = R.Ni;
  M.Nj = R.Nj;
  M.Data = std::move(R.Data);
  return 0;
}

// opL(L) diag(D) opR(R); opL transposes, D has an element for each row of L and R.
template <class T>
CompactMatrixType TransformDiagonal(char opL, const std::vector<T>& D, const CompactMatrixType& L, char opR,
                                    const CompactMatrixType& R) {
  assert(D.size() == L.Ni && D.size() == R.Ni);
  CompactMatrixType DR = R, result;
  if (IsComplex<T>) MakeCompactRealMatrixComplex(DR);
  std::visit(
      [&](auto& data) {
        using E = std::decay_t<decltype(data[0])>;
        using Factor = std::conditional_t<IsComplex<E>, T, double>;
        for (std::size_t k = 0; k < D.size(); ++k) {
          const Factor factor = ToKind<Factor>(opR == '*' ? Conj(D[k]) : D[k]);
          for (std::size_t j = 0; j < R.Nj; ++j) data[k * R.Nj + j] *= factor;
        }
      },
      DR.Data);
  const int status = CompactMatrixMultiply(opL, opR, L, DR, result);
  assert(status == 0);
  static_cast<void>(status);
  return result;
}

}  // namespace

int TransformCompactMatrixInlineNC(CompactMatrixType& M, const CompactMatrixType& U) {
  return TransformInline(M, 'N', 'C', U);
}

int TransformCompactMatrixInlinecT(CompactMatrixType& M, const CompactMatrixType& U) {
  return TransformInline(M, 'C', 'N', U);
}

CompactMatrixType TransformDiagonalMatrixByCompactMatrixTdagAT(const std::vector<double>& D,
                                                               const CompactMatrixType& T) {
  return TransformDiagonal('C', D, T, 'N', T);
}

CompactMatrixType TransformDiagonalMatrixByCompactMatrixTtranATcon(const std::vector<double>& D,
                                                                   const CompactMatrixType& T) {
  return TransformDiagonal('T', D, T, '*', T);
}

int TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(const std::vector<Complex16>& D,
                                                              const CompactMatrixType& TL,
                                                              const CompactMatrixType& TR,
                                                              CompactMatrixType& R) {
  if (TL.Ni != TR.Ni || TL.Nj != TR.Nj || D.size() != TL.Ni)
    return Fail(
        "Error in input of TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon, dimension of left and "
        "right matrix not compatible\n");
  R = TransformDiagonal('T', D, TR, '*', TL);
  return 0;
}

}  // namespace fermix
