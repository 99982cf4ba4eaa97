#include "core/operator_algebra.h"

#include <algorithm>
#include <cassert>
#include <cfloat>
#include <cmath>
#include <numeric>

#include "core/matrix_operator.h"
#include "core/space_check.h"
#include "host/base/status.h"
#include "linalg/compact_matrix.h"

namespace fermix {

namespace {

// The string of the conjugate transpose: reversed, creators and annihilators exchanged.
void TransposeString(const LadderIndex* lader, std::uint32_t length, LadderIndex* out) {
  for (std::uint32_t k = 0; k < length; ++k) out[k] = lader[length - 1 - k] ^ CreationBit;
}

// value(v) gives the coefficient of the transposed term.
template <class Value>
OperatorType Transposed(const OperatorType& O, OrderPredicate order, Value&& value) {
  OperatorType result = InitOperatorCopySettings(O);
  WorkString work(MaxLength(O));
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, auto v) {
    TransposeString(lader, length, work.data());
    AddNormalOrder(result, work.data(), length, value(v), order);
  });
  return result;
}

// A factor of a product as it enters it.
void EnterString(char set, const LadderIndex* lader, std::uint32_t length, LadderIndex* out) {
  if (set == 'D') {
    TransposeString(lader, length, out);
  } else {
    std::copy_n(lader, length, out);
  }
}

// Adds the products of all terms of two tables of lengths la and lb.
void MultiplyTables(OperatorType& result, const OperatorFixedLengthType& A, std::uint32_t la,
                    const OperatorFixedLengthType& B, std::uint32_t lb, char Aset, char Bset,
                    LadderIndex* combined, OrderPredicate order) {
  // A complex result takes products, and what ordering leaves of them, as complex numbers.
  const bool complex = QComplexTable(result.l[la + lb]);
  const auto product = [&](const auto& a, const auto& b) {
    for (std::uint32_t n = 0; n < TermCount(B); ++n) {
      // B acts first and so stands at the low positions.
      EnterString(Bset, B.o.data() + std::size_t{n} * lb, lb, combined);
      const std::uint32_t sorted = SortedLength(combined, lb, result.layout.NFermion, order);
      const auto vb = Bset == 'D' ? Conj(b[n]) : b[n];
      for (std::uint32_t m = 0; m < TermCount(A); ++m) {
        EnterString(Aset, A.o.data() + std::size_t{m} * la, la, combined + lb);
        const auto value = (Aset == 'D' ? Conj(a[m]) : a[m]) * vb;
        if (complex) {
          AddNormalOrder(result, combined, la + lb, Complex16(value), order, sorted);
        } else {
          AddNormalOrder(result, combined, la + lb, value, order, sorted);
        }
      }
    }
  };
  std::visit(product, A.values, B.values);
}

// The matrix h of sum_ij h_ij a+_i a_j, left empty where O has no strings of that length, and the constant.
// Status 1 after a line when O has other terms.
int OneParticleMatrix(const OperatorType& O, CompactMatrixType& h, Complex16& constant) {
  if (O.layout.NBoson != 0)
    return Fail("OperatorExponent failed, tried to take the exponent of an operator with bosons Nboson=%i\n",
                static_cast<int>(O.layout.NBoson));
  std::uint32_t longest = 0;
  ForEachTable(O, [&](const OperatorFixedLengthType&, std::uint32_t length) { longest = length; });
  if (longest > 2)
    return Fail("OperatorExponent failed, tried to take the exponent of an operator with max Length %i\n",
                static_cast<int>(longest));
  if (longest > 0 && TermCount(O.l[1]))
    return Fail(
        "OperatorExponent failed, tried to take the exponent of an operator with single creation or "
        "annihilation operators MaxLength=%i and there are %i elements of length 1\n",
        static_cast<int>(longest), static_cast<int>(TermCount(O.l[1])));
  if (longest == 2) {
    const OperatorFixedLengthType& t = O.l[2];
    for (std::uint32_t n = 0; n < TermCount(t); ++n)
      if (QCreation(t.o[2 * std::size_t{n}]) == QCreation(t.o[2 * std::size_t{n} + 1]))
        return Fail(
            "OperatorExponent failed, operator of length 2 at index %i consists of two creation or two "
            "annihilation operators\n",
            static_cast<int>(n));
  }
  const OperatorType ordered = NormalOrderOperator(O, QDetNotOrderedFcFaBcBa);
  constant = ConstantTerm(ordered);
  if (longest == 2) h = OperatorToOneParticleMatrix(ordered);
  return 0;
}

// 1 + z n for the number operator n = sum_ij u_i conj(u_j) a+_i a_j of an orbital.
template <class T, class U>
OperatorType OneOrbitalExponent(std::uint32_t NFermion, const U* u, T z, OrderPredicate order) {
  OperatorType O = InitOperator(NFermion, 0);
  InitOperatorFixedLength(O, 2, 8);
  OperatorAddConstant(O, 1.0);
  for (std::uint32_t i = 0; i < NFermion; ++i)
    for (std::uint32_t j = 0; j < NFermion; ++j) {
      const auto v = z * u[i] * Conj(u[j]);
      if (NormSqr(v) == 0) continue;
      const LadderIndex pair[] = {Annihilate(j), Create(i)};
      AddNormalOrder(O, pair, 2, v, order);
    }
  return O;
}

}  // namespace

OperatorType OperatorMultiply2NormalOrder(const OperatorType& A, const OperatorType& B, char Aset, char Bset,
                                          OrderPredicate order) {
  assert((Aset == 'N' || Aset == 'D') && (Bset == 'N' || Bset == 'D'));
  RequireSameSpace(A.layout, "Operator", B.layout, "the other operator");
  OperatorType result = InitOperatorForMult(A, B);
  WorkString combined(MaxLength(result));
  ForEachTable(A, [&](const OperatorFixedLengthType& a, std::uint32_t la) {
    ForEachTable(B, [&](const OperatorFixedLengthType& b, std::uint32_t lb) {
      MultiplyTables(result, a, la, b, lb, Aset, Bset, combined.data(), order);
    });
  });
  return result;
}

OperatorType OperatorTransposeNormalOrder(const OperatorType& O, OrderPredicate order) {
  return Transposed(O, order, [](auto v) { return v; });
}

OperatorType OperatorConjugateTransposeNormalOrder(const OperatorType& O, OrderPredicate order) {
  return Transposed(O, order, [](auto v) { return Conj(v); });
}

void OperatorComplexConjugate(OperatorType& O) {
  for (OperatorFixedLengthType& t : O.l)
    if (auto* values = std::get_if<std::vector<Complex16>>(&t.values))
      for (Complex16& v : *values) v = Conj(v);
}

void OperatorScale(OperatorType& O, Complex16 factor) {
  const bool real = std::fabs(factor.im) < NumericalZero;
  if (!real)  // changes of kind first: they may fail
    OperatorAllOrNothing(O, [&] {
      for (std::uint32_t length = 0; length <= MaxLength(O); ++length)
        static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
    });
  for (OperatorFixedLengthType& t : O.l)
    std::visit(
        [&](auto& values) {
          using T = typename std::decay_t<decltype(values)>::value_type;
          for (T& v : values) v *= ToKind<T>(factor);
        },
        t.values);
}

Complex16 OperatorTraceAverage(const OperatorType& O, const std::vector<std::uint32_t>& indices) {
  Complex16 sum;
  if (MaxLength(O) < 2 || indices.empty()) return sum;
  std::vector<std::uint32_t> sorted = indices;
  std::sort(sorted.begin(), sorted.end());
  const OperatorFixedLengthType& t = O.l[2];
  for (std::uint32_t n = 0; n < TermCount(t); ++n) {
    const LadderIndex first = t.o[2 * std::size_t{n}], second = t.o[2 * std::size_t{n} + 1];
    const bool number = (first ^ second) == CreationBit;
    if (!number || !std::binary_search(sorted.begin(), sorted.end(), LadderOrbital(first))) continue;
    sum += QCreation(second) ? TermValue(t, n) : -TermValue(t, n);
  }
  return sum / static_cast<double>(indices.size());
}

int HermitianOperatorNormalOrderExponent(const OperatorType& O, Complex16 factor, OperatorType& result,
                                         OrderPredicate order) {
  CompactMatrixType h, V;
  Complex16 constant;
  if (OneParticleMatrix(O, h, constant)) return 1;
  if (!QCompactMatrixHermitian(h, DBL_EPSILON)) {
    const int status = Fail("OperatorExponent failed, operator of length 2 should be Hermitian\n");
    StreamPrintCompactMatrixMinimal(h, stdout);
    return status;
  }
  std::vector<double> energies;
  if (h.Ni && CompactMatrixEigensystem(h, V, energies)) return 1;
  OperatorType product = InitOperator(O.layout.NFermion, 0);
  OperatorAddConstant(product, 1.0);
  for (std::uint32_t k = 0; k < energies.size(); ++k) {
    // exp(factor e n) = 1 + (exp(factor e) - 1) n for the number operator n of the eigenorbital.
    const Complex16 z = Exp(factor * energies[k]) - Complex16(1);
    if (z == Complex16(0)) continue;
    const OperatorType T = std::visit(
        [&](const auto& v) {
          const auto* u = &v[std::size_t{k} * V.Nj];
          return std::fabs(z.im) < NumericalZero ? OneOrbitalExponent(V.Nj, u, z.re, order)
                                                 : OneOrbitalExponent(V.Nj, u, z, order);
        },
        V.Data);
    product = OperatorMultiply2NormalOrder(product, T, 'N', 'N', order);
    OperatorSetMaxLength(product);
  }
  OperatorScale(product, Exp(factor * constant));
  if (!QFinite(product)) return Fail("OperatorExponent failed, the exponent is not finite\n");
  product.Name = O.Name;
  product.Restrictions = O.Restrictions;
  result = std::move(product);
  return 0;
}

}  // namespace fermix
