#include "core/expectation.h"

#include <algorithm>

#include "core/operator_on_state.h"
#include "core/space_check.h"
#include "core/surviving_terms.h"

namespace fermix {

namespace {

const DeterminantRestrictionType Unrestricted;

// Numbers of bras whose bases have one numbering: what is looked up once serves all of them.
std::vector<std::vector<std::size_t>> GroupByBasis(const std::vector<const WaveFunctionType*>& bras) {
  std::vector<std::vector<std::size_t>> groups;
  for (std::size_t b = 0; b < bras.size(); ++b) {
    const auto group = std::find_if(groups.begin(), groups.end(), [&](const auto& g) {
      return QSameBasis(*bras[g[0]]->basis, *bras[b]->basis);
    });
    if (group == groups.end()) {
      groups.push_back({b});
    } else {
      group->push_back(b);
    }
  }
  return groups;
}

// sum += conj(bra) result for the results that the bra has, under these numbers.
template <class C, class K>
void AddResults(const WaveFunctionType& bra, const std::uint32_t* numbers, const ResultValues<C, K>& values,
                Complex16& sum) {
  std::visit(
      [&](const auto& b) {
        auto added = ToKind<decltype(b[0] * values.first[0])>(sum);
        FurtherCodes further(values.results);
        for (std::uint32_t i = 0; i < values.results.count; ++i) {
          const std::uint32_t number = numbers[i];
          if (number) added += Conj(b[number]) * values.first[i];
          values.forEachFurther(further, i, [&](auto term) {
            if (number) added += Conj(b[number]) * term;
          });
        }
        sum = added;
      },
      bra.values);
}

// For each bra the sum over the elements of ket and the terms of O, in their order, of
// conj(bra) coefficient amplitude ket. Images are looked up in the bras a batch at a time.
template <class C, class K>
std::vector<Complex16> SumMatrixElements(const CompiledOperator& O, const std::vector<C>& coefficients,
                                         const std::vector<const WaveFunctionType*>& bras,
                                         const WaveFunctionType& ket, const BlockedArray<K>& k) {
  const auto groups = GroupByBasis(bras);
  std::vector<Complex16> sums(bras.size());
  std::vector<std::uint32_t> others;
  const auto flush = [&](SurvivingTerms& results, const ResultValues<C, K>& values) {
    for (const auto& group : groups) {
      const DeterminantBasis& basis = *bras[group[0]]->basis;
      std::uint32_t* numbers = results.numbers.data();
      if (&basis != &results.target) {
        others.resize(results.numbers.size());
        numbers = others.data();
        BasisHash(basis, results.keys.data(), results.count, numbers);
      }
      BasisFindBatch(basis, results.keys.data(), results.count, numbers);
      for (const std::size_t b : group) AddResults(*bras[b], numbers, values, sums[b]);
    }
  };
  ForEachResult(
      O, coefficients, false, 1, ElementCount(ket), *ket.basis, *bras[0]->basis,
      [&](std::uint32_t i) { return k[i]; }, flush);
  return sums;
}

}  // namespace

CompiledOperator CompileForElements(const OperatorType& O, const std::vector<const WaveFunctionType*>& kets) {
  std::size_t elements = 0;
  for (const WaveFunctionType* ket : kets) elements += ElementCount(*ket);
  return CompileOperator(O, &Unrestricted, elements);
}

std::vector<Complex16> PsiPrimeOperatorPsi(const CompiledOperator& O,
                                           const std::vector<const WaveFunctionType*>& bras,
                                           const WaveFunctionType& ket) {
  RequireSameSpace(Layout(ket), "Wave-function", O.layout, "the operator");
  for (const WaveFunctionType* bra : bras)
    RequireSameSpace(Layout(*bra), "Wave-function", O.layout, "the operator");
  if (bras.empty()) return {};
  return std::visit([&](const auto& c, const auto& k) { return SumMatrixElements(O, c, bras, ket, k); },
                    O.values, ket.values);
}

Complex16 PsiPrimeOperatorPsi(const OperatorType& O, const WaveFunctionType& bra,
                              const WaveFunctionType& ket) {
  return PsiPrimeOperatorPsi(CompileForElements(O, {&ket}), {&bra}, ket)[0];
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
