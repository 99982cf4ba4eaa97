#include "core/expectation.h"

#include "core/operator_on_state.h"
#include "core/space_check.h"
#include "core/surviving_terms.h"

namespace fermix {

namespace {

const DeterminantRestrictionType Unrestricted;

// Sum over the elements of ket and the terms of O, in their order, of conj(bra) coefficient amplitude ket.
// Images are looked up in the bra a batch at a time.
template <class C, class B, class K>
Complex16 SumMatrixElements(const CompiledOperator& O, const std::vector<C>& coefficients,
                            const WaveFunctionType& bra, const BlockedArray<B>& b,
                            const WaveFunctionType& ket, const BlockedArray<K>& k) {
  using T = decltype(C{} * K{});
  decltype(T{} * B{}) sum{};
  ForEachResult(
      O, coefficients, false, 1, ElementCount(ket), *ket.basis, *bra.basis,
      [&](std::uint32_t i) { return k[i]; },
      [&](SurvivingTerms& results, const ResultValues<T>& values) {
        BasisFindBatch(*bra.basis, results.keys.data(), results.count, results.numbers.data());
        FurtherCodes furtherCodes(results);
        for (std::uint32_t i = 0; i < results.count; ++i) {
          const std::uint32_t number = results.numbers[i];
          if (number) sum += Conj(b[number]) * values.first[i];
          furtherCodes.forEach(i, [&](std::uint32_t e) {
            if (number) sum += Conj(b[number]) * values.further[e];
          });
        }
      });
  return sum;
}

}  // namespace

CompiledOperator CompileForElements(const OperatorType& O, const std::vector<const WaveFunctionType*>& kets,
                                    std::size_t bras) {
  std::size_t elements = 0;
  for (const WaveFunctionType* ket : kets) elements += bras * ElementCount(*ket);
  return CompileOperator(O, &Unrestricted, elements);
}

Complex16 PsiPrimeOperatorPsi(const CompiledOperator& O, const WaveFunctionType& bra,
                              const WaveFunctionType& ket) {
  RequireSameSpace(Layout(ket), "Wave-function", O.layout, "the operator");
  RequireSameSpace(Layout(bra), "Wave-function", O.layout, "the operator");
  return std::visit(
      [&](const auto& c, const auto& b, const auto& k) { return SumMatrixElements(O, c, bra, b, ket, k); },
      O.values, bra.values, ket.values);
}

Complex16 PsiPrimeOperatorPsi(const OperatorType& O, const WaveFunctionType& bra,
                              const WaveFunctionType& ket) {
  return PsiPrimeOperatorPsi(CompileForElements(O, {&ket}, 1), bra, ket);
}

Complex16 PsiOperatorPsi(const OperatorType& O, const WaveFunctionType& psi) {
  return PsiPrimeOperatorPsi(O, psi, psi);
}

double PsiHermitianOperatorPsi(const OperatorType& O, const WaveFunctionType& psi) {
  return PsiOperatorPsi(O, psi).re;
}

double PsiHermitianOperatorSqrPsi(const OperatorType& O, const WaveFunctionType& psi,
                                  const DeterminantRestrictionType* R) {
  // <psi| O O |psi> is the squared norm of O psi: one product costs less than all pairs of terms.
  return WaveFunctionCalculateNormSqr(OperatorPsiRestricted(O, psi, R ? *R : Unrestricted));
}

}  // namespace fermix
