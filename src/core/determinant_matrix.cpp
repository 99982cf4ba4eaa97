#include "core/determinant_matrix.h"

#include "core/compiled_operator.h"
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

}  // namespace fermix
