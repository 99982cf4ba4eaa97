// Inverse and Hermitian eigensystem of dense matrices.
#include <utility>

#include "host/base/status.h"
#include "linalg/blas.h"
#include "linalg/compact_matrix.h"

namespace fermix {

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
    const int status =
        std::visit([&](auto& data) { return EigensystemOfElements(A, data, eigenvalues); }, vectors.Data);
    if (status) return status;
    CompactMatrixConjugate(vectors);  // the driver saw the transposed matrix, that is the conjugate one
  }
  V = std::move(vectors);
  values = std::move(eigenvalues);
  return 0;
}

}  // namespace fermix
