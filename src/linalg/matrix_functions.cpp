#include "linalg/matrix_functions.h"

#include <algorithm>
#include <cmath>

#include "host/base/status.h"
#include "linalg/blas.h"
#include "linalg/general_eigensystem.h"

namespace fermix {

namespace {

int Power(const CompactMatrixType& A, CompactMatrixType& R, std::int64_t n) {
  if (n == 0) return R = InitCompactIdentityMatrix(A.Ni, A.Nj), 0;
  if (n == 1) return R = A, 0;
  if (n < 0) {
    CompactMatrixType inverse = A;
    if (CompactMatrixInverse(inverse)) return Fail("CompactMatrixPow faild at CompactMatrixInverse\n");
    return Power(inverse, R, -n);
  }
  CompactMatrixType factor;
  if (n % 2 == 0) {
    if (CompactMatrixMultiply('N', 'N', A, A, factor))
      return Fail("CompactMatrixPow faild at CompactMatrixSqr\n");
    return Power(factor, R, n / 2);
  }
  if (const int status = Power(A, factor, n - 1)) return status;
  if (CompactMatrixMultiply('N', 'N', factor, A, R))
    return Fail("CompactMatrixPow faild at CompactMatrixMultiply\n");
  return 0;
}

}  // namespace

int CompactMatrixPow(const CompactMatrixType& A, CompactMatrixType& R, std::int64_t n) {
  if (A.Ni != A.Nj) return Fail("CompactMatrixPow called with non-square matrix\n");
  CompactMatrixType power;
  if (const int status = Power(A, power, n)) return status;
  power.A0 = A.A0;
  power.B0 = A.B0;
  power.Mu = A.Mu;
  R = std::move(power);
  return 0;
}

// --- Exponentials

namespace {

// sum += exp(x) m for an exp(x) that overflows: an element becomes infinite unless m has a zero there, or one
// that is small enough.
void AddScaledByExp(CompactMatrixType& sum, const CompactMatrixType& m, double x) {
  const auto add = [half = std::exp(x / 2)](double& element, double factor) {
    if (factor != 0) element += factor * half * half;
  };
  std::visit(
      [&](auto& elements) {
        const auto& factors = std::get<std::decay_t<decltype(elements)>>(m.Data);
        for (std::size_t k = 0; k < elements.size(); ++k) {
          if constexpr (IsComplex<std::decay_t<decltype(elements[k])>>) {
            add(elements[k].re, factors[k].re);
            add(elements[k].im, factors[k].im);
          } else {
            add(elements[k], factors[k]);
          }
        }
      },
      sum.Data);
}

}  // namespace

int HermitianCompactMatrixExp(const CompactMatrixType& A, CompactMatrixType& R) {
  CompactMatrixType V;
  std::vector<double> values;
  if (CompactMatrixEigensystem(A, V, values))
    return Fail("CompactMatrixEigensystem failed in HermitianCompactMatrixExp\n");
  const double largest = values.empty() ? 0 : values.back();
  std::vector<double> beyond(values.size());  // what overflows, relative to the largest
  for (std::size_t k = 0; k < values.size(); ++k) {
    const double value = std::exp(values[k]);
    if (std::isinf(value)) beyond[k] = std::exp(values[k] - largest);
    values[k] = std::isinf(value) ? 0 : value;
  }
  CompactMatrixType result = TransformDiagonalMatrixByCompactMatrixTtranATcon(values, V);
  if (!values.empty() && values.back() == 0 && beyond.back() == 1)
    AddScaledByExp(result, TransformDiagonalMatrixByCompactMatrixTtranATcon(beyond, V), largest);
  R = std::move(result);
  return 0;
}

namespace {

// Eigenvectors are used when they are biorthonormal up to this, also those of equal eigenvalues,
constexpr double BiorthonormalTolerance = 1e-10;
// and when no eigenvalue is this much more sensitive to rounding than that of a normal matrix. Beyond,
// scaling and squaring keeps more digits.
constexpr double EigenvectorCondition = 2;

bool QWellConditioned(const CompactMatrixType& VL, const CompactMatrixType& VR) {
  CompactMatrixType overlap;
  if (CompactMatrixMultiply('*', 'T', VL, VR, overlap)) return false;
  const auto &s = std::get<1>(overlap.Data), &left = std::get<1>(VL.Data), &right = std::get<1>(VR.Data);
  const std::size_t n = VL.Ni;
  for (std::size_t k = 0; k < n; ++k) {
    for (std::size_t l = 0; l < n; ++l)
      if (!(Abs(s[k * n + l] - Complex16(k == l)) <= BiorthonormalTolerance)) return false;
    double leftNorm = 0, rightNorm = 0;
    for (std::size_t j = k * n; j < (k + 1) * n; ++j) {
      leftNorm += NormSqr(left[j]);
      rightNorm += NormSqr(right[j]);
    }
    if (!(std::sqrt(leftNorm * rightNorm) <= EigenvectorCondition)) return false;
  }
  return true;
}

// The largest sum of magnitudes in a row.
double RowSumNorm(const CompactMatrixType& m) {
  double norm = 0;
  std::visit(
      [&](const auto& data) {
        for (std::size_t i = 0; i < m.Ni; ++i) {
          double sum = 0;
          for (std::size_t j = 0; j < m.Nj; ++j) sum += Abs(data[i * m.Nj + j]);
          norm = std::max(norm, sum);
        }
      },
      m.Data);
  return norm;
}

CompactMatrixType Product(const CompactMatrixType& a, const CompactMatrixType& b) {
  CompactMatrixType result;
  static_cast<void>(CompactMatrixMultiply('N', 'N', a, b, result));  // all are square and of one size
  return result;
}

// Sum of coefficient[k] term[k].
CompactMatrixType Combination(std::initializer_list<double> coefficient,
                              std::initializer_list<const CompactMatrixType*> term) {
  CompactMatrixType sum = InitCompactMatrix((*term.begin())->Ni, (*term.begin())->Nj, false);
  const auto* t = term.begin();
  for (const double c : coefficient) static_cast<void>(CompactMatrixAdd(sum, **t++, c));
  return sum;
}

// exp(A) for a norm of A up to 5.37: the quotient (V + U) / (V - U) of the diagonal Padé approximant of
// degree 13, U odd and V even in A. Status 1 when V - U is singular.
int PadeExp(const CompactMatrixType& A, CompactMatrixType& R) {
  const CompactMatrixType I = InitCompactIdentityMatrix(A.Ni, A.Nj), A2 = Product(A, A), A4 = Product(A2, A2),
                          A6 = Product(A4, A2);
  const CompactMatrixType highOdd = Combination({1, 16380, 40840800}, {&A6, &A4, &A2}),
                          highEven = Combination({182, 960960, 1323241920}, {&A6, &A4, &A2}),
                          odd6 = Product(A6, highOdd), even6 = Product(A6, highEven);
  const CompactMatrixType U =
      Product(A, Combination({1, 33522128640, 10559470521600, 1187353796428800, 32382376266240000},
                             {&odd6, &A6, &A4, &A2, &I}));
  const CompactMatrixType V = Combination(
      {1, 670442572800, 129060195264000, 7771770303897600, 64764752532480000}, {&even6, &A6, &A4, &A2, &I});
  CompactMatrixType denominator = Combination({1, -1}, {&V, &U});
  R = Combination({1, 1}, {&V, &U});
  return std::visit(
      [&](auto& numerator) {
        using Elements = std::decay_t<decltype(numerator)>;
        const int n = BlasSize(A.Ni);
        // The transposed quotient of the transposed matrices, which commute.
        return Gesv(n, n, std::get<Elements>(denominator.Data).data(), numerator.data()) ? 1 : 0;
      },
      R.Data);
}

// exp(A) = exp(A / 2^s)^(2^s). Source: N. J. Higham, SIAM J. Matrix Anal. Appl. 26 (2005) 1179, table 2.3 and
// algorithm 2.3; degree 13 throughout.
int ScalingAndSquaringExp(const CompactMatrixType& A, CompactMatrixType& R) {
  constexpr double largestNorm = 5.371920351148152;
  const double norm = RowSumNorm(A);
  if (!std::isfinite(norm)) return 1;
  CompactMatrixType scaled = A;
  int squarings = 0;
  std::frexp(norm / largestNorm, &squarings);
  squarings = std::max(0, squarings);
  CompactMatrixScale(scaled, std::ldexp(1.0, -squarings));
  CompactMatrixType result;
  if (PadeExp(scaled, result)) return 1;
  for (int k = 0; k < squarings; ++k) result = Product(result, result);
  R = std::move(result);
  return 0;
}

}  // namespace

int NonHermitianCompactMatrixExp(const CompactMatrixType& A, CompactMatrixType& R) {
  CompactMatrixType VL, VR, result;
  std::vector<Complex16> values;
  if (NonHermitianCompactMatrixEigensystem(A, VL, VR, values))
    return Fail("NonHermitianCompactMatrixEigensystem failed in NonHermitianCompactMatrixExp\n");
  if (A.Ni == 0) return R = A, 0;
  if (!QWellConditioned(VL, VR)) return ScalingAndSquaringExp(A, R);
  for (Complex16& value : values) value = Exp(value);
  if (TransformComplexDiagonalMatrixByCompactMatrixTRtranATLcon(values, VL, VR, result)) return 1;
  if (!IsComplexMatrix(
          A)) {  // conjugate pairs of eigenvalues: what is left of the imaginary part is rounding
    std::vector<double> re;
    for (const Complex16 z : std::get<1>(result.Data)) re.push_back(z.re);
    result.Data = std::move(re);
  }
  R = std::move(result);
  return 0;
}

// --- Root and signs

int CompactMatrixSqrt(const CompactMatrixType& A, CompactMatrixType& R) {
  CompactMatrixType V;
  std::vector<double> values;
  if (CompactMatrixEigensystem(A, V, values)) return -1;
  double trace = 0;
  for (const double value : values) trace += std::fabs(value);
  constexpr double rounding = 2.220446049250313e-13;  // 1000 DBL_EPSILON
  int negative = 0;
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (values[k] < -rounding * trace) {
      Say("Negative value in CompactMatrixSqrt, eigen value is %22.15E at pos %i (trace |val| = %22.15E)\n",
          values[k], static_cast<int>(k), trace);
      ++negative;
    }
    values[k] = std::sqrt(std::max(0.0, values[k]));
  }
  R = TransformDiagonalMatrixByCompactMatrixTtranATcon(values, V);
  return negative;
}

int HermitianCompactMatrixToPosAndNeg(const CompactMatrixType& A, CompactMatrixType& P, CompactMatrixType& N,
                                      EigenvalueSigns& counts, double& sum) {
  CompactMatrixType V;
  std::vector<double> values;
  if (CompactMatrixEigensystem(A, V, values))
    return Fail("CompactMatrixEigensystem failed in HermitianCompactMatrixToPosAndNeg\n");
  std::vector<double> positive(values.size()), negative(values.size());
  counts = {};
  sum = 0;
  for (std::size_t k = 0; k < values.size(); ++k) {
    if (values[k] > 0) {
      positive[k] = values[k];
      ++counts.positive;
    } else if (values[k] < 0) {
      sum += negative[k] = values[k];
      ++counts.negative;
    } else {
      ++counts.zero;
    }
  }
  P = TransformDiagonalMatrixByCompactMatrixTtranATcon(positive, V);
  N = TransformDiagonalMatrixByCompactMatrixTtranATcon(negative, V);
  return 0;
}

}  // namespace fermix
