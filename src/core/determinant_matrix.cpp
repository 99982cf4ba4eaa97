#include "core/determinant_matrix.h"

#include <algorithm>

#include "core/compiled_operator.h"
#include "core/expectation.h"
#include "core/space_check.h"
#include "core/surviving_terms.h"

namespace fermix {

namespace {

template <class C, class T>
void FillColumns(const CompiledOperator& O, const std::vector<C>& coefficients, const DeterminantBasis& basis,
                 std::vector<T>& elements) {
  SurvivingTerms terms(O, basis);
  for (std::size_t j = 0; j < basis.N; ++j) {
    terms.clear();
    FindSurvivingTerms(O, basis.keys.at(j + 1), false, terms);
    BasisFindBatch(basis, terms.keys.data(), terms.count, terms.numbers.data());
    FurtherCodes furtherCodes(terms);
    for (std::uint32_t t = 0; t < terms.count; ++t) {
      const T element = ResultCoefficient(terms, coefficients, t, furtherCodes);
      if (const std::uint32_t number = terms.numbers[t])
        elements[(std::size_t{number} - 1) * basis.N + j] += element;
    }
  }
}

}  // namespace

bool QHermitianToRounding(const OperatorType& O) {
  constexpr double Rounding = 1e-14;
  double largest = 0;
  ForEachTerm(O, [&](const LadderIndex*, std::uint32_t, const auto& value) {
    largest = std::max(largest, Abs(value));
  });
  const int status = QOperatorHermitian(O, Rounding * largest);
  return status == 1 || status == 2;
}

void MirrorUpperTriangle(CompactMatrixType& A) {
  std::visit(
      [n = std::size_t{A.Ni}](auto& data) {
        using T = typename std::decay_t<decltype(data)>::value_type;
        for (std::size_t i = 0; i < n; ++i) {
          data[i * n + i] = T(Re(data[i * n + i]));
          for (std::size_t j = 0; j < i; ++j) data[i * n + j] = Conj(data[j * n + i]);
        }
      },
      A.Data);
}

CompactMatrixType OperatorToDeterminantMatrix(const OperatorType& H, const WaveFunctionType& basis) {
  RequireSameSpace(Layout(basis), "Wave-function", H.layout, "the operator");
  static const DeterminantRestrictionType unrestricted;
  const CompiledOperator O = CompileOperator(H, &unrestricted, ElementCount(basis));
  CompactMatrixType A = InitCompactMatrix(ElementCount(basis), ElementCount(basis), O.values.index() == 1);
  std::visit(
      [&](const auto& coefficients) {
        using Vector = std::decay_t<decltype(coefficients)>;
        FillColumns(O, coefficients, *basis.basis, std::get<Vector>(A.Data));
      },
      O.values);
  return A;
}

CompactMatrixType OperatorToFunctionMatrix(const OperatorType& O,
                                           const std::vector<const WaveFunctionType*>& functions) {
  const bool complex = QComplex(O) || std::any_of(functions.begin(), functions.end(),
                                                  [](const auto* psi) { return QComplex(*psi); });
  const auto n = static_cast<std::uint32_t>(functions.size());
  CompactMatrixType A = InitCompactMatrix(n, n, complex);
  const CompiledOperator compiled = CompileForElements(O, functions);
  const bool hermitian = QHermitianToRounding(O);
  std::vector<const WaveFunctionType*> bras = functions;
  for (std::uint32_t j = 0; j < n; ++j) {
    if (hermitian) bras.assign(functions.begin(), functions.begin() + j + 1);
    const std::vector<Complex16> column = PsiPrimeOperatorPsi(compiled, bras, *functions[j]);
    std::visit(
        [&](auto& data) {
          using T = typename std::decay_t<decltype(data)>::value_type;
          for (std::size_t i = 0; i < column.size(); ++i) data[i * n + j] = ToKind<T>(column[i]);
        },
        A.Data);
  }
  if (hermitian) MirrorUpperTriangle(A);
  return A;
}

}  // namespace fermix
