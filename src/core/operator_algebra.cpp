#include "core/operator_algebra.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "core/operator_on_state.h"
#include "core/space_check.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// Room for a ladder string: on the stack up to a length that factories and products of two-particle operators
// do not exceed, on the heap above.
class WorkString {
 public:
  explicit WorkString(std::uint32_t length) {
    if (length > StackLength) heap_.resize(length);
  }
  LadderIndex* data() { return heap_.empty() ? stack_ : heap_.data(); }

 private:
  static constexpr std::uint32_t StackLength = 32;
  LadderIndex stack_[StackLength];
  std::vector<LadderIndex> heap_;
};

// The string of the conjugate transpose: reversed, creators and annihilators exchanged.
void TransposeString(const LadderIndex* lader, std::uint32_t length, LadderIndex* out) {
  for (std::uint32_t k = 0; k < length; ++k) out[k] = lader[length - 1 - k] ^ CreationBit;
}

// Calls f(string, length, value) for each term, length by length, as stored.
template <class F>
void ForEachTerm(const OperatorType& O, F&& f) {
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length)
    for (std::uint32_t n = 0; n < TermCount(O.l[length]); ++n)
      f(O.l[length].o.data() + std::size_t{n} * length, length, TermValue(O.l[length], n));
}

template <class Value>
OperatorType Transposed(const OperatorType& O, OrderPredicate order, Value&& value) {
  OperatorType result = InitOperatorCopySettings(O);
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    WorkString work(length);
    TransposeString(lader, length, work.data());
    const Complex16 z = value(v);
    OperatorAddLaderNormalOrder(result, work.data(), length, z.re, z.im, order);
  });
  return result;
}

// The matrix h of sum_ij h_ij a+_i a_j and the constant that reordering leaves. Status 1 after a line when O
// is not of that form.
int OneParticleMatrix(const OperatorType& O, CompactMatrixType& h, Complex16& constant) {
  if (O.layout.NBoson != 0)
    return Fail("OperatorExponent failed, tried to take the exponent of an operator with bosons Nboson=%i\n",
                static_cast<int>(O.layout.NBoson));
  OperatorType trimmed = O;
  OperatorSetMaxLength(trimmed);
  const std::uint32_t length = MaxLength(trimmed);
  if (length > 2)
    return Fail("OperatorExponent failed, tried to take the exponent of an operator with max Length %i\n",
                static_cast<int>(length));
  if (length > 0 && TermCount(trimmed.l[1]))
    return Fail(
        "OperatorExponent failed, tried to take the exponent of an operator with single creation or "
        "annihilation "
        "operators MaxLength=%i and there are %i elements of length 1\n",
        static_cast<int>(length), static_cast<int>(TermCount(trimmed.l[1])));
  constant = TermCount(trimmed.l[0]) ? TermValue(trimmed.l[0], 0) : 0;
  h = InitCompactMatrix(O.layout.NFermion, O.layout.NFermion, true);
  if (length < 2) return 0;
  auto& data = std::get<std::vector<Complex16>>(h.Data);
  const OperatorFixedLengthType& t = trimmed.l[2];
  for (std::uint32_t n = 0; n < TermCount(t); ++n) {
    const LadderIndex first = t.o[2 * n], second = t.o[2 * n + 1];
    if (QCreation(first) == QCreation(second))
      return Fail(
          "OperatorExponent failed, operator of length 2 at index %i consists of two creation or two "
          "annihilation "
          "operators\n",
          static_cast<int>(n));
    const bool normal = QCreation(second);  // the creator acts last
    const std::uint32_t i = LadderOrbital(normal ? second : first),
                        j = LadderOrbital(normal ? first : second);
    const Complex16 v = TermValue(t, n);
    data[std::size_t{i} * h.Nj + j] += normal ? v : -v;
    if (!normal && i == j) constant += v;
  }
  return 0;
}

// The strings of one length with position `level` in the new basis. Equal strings merge, so that the work
// grows with their number and not with the number of ways that lead to them.
OperatorType MappedAtLevel(const OperatorType& in, const CompactMatrixType& M, std::uint32_t length,
                           std::uint32_t level) {
  OperatorType out = InitOperatorCopySettings(in);
  const OperatorFixedLengthType& table = in.l[length];
  std::vector<LadderIndex> mapped(length);
  for (std::uint32_t n = 0; n < TermCount(table); ++n) {
    const LadderIndex* lader = table.o.data() + std::size_t{n} * length;
    const LadderIndex old = lader[level];
    const Complex16 value = TermValue(table, n);
    std::copy_n(lader, length, mapped.begin());
    for (std::uint32_t j = 0; j < M.Ni; ++j) {
      const Complex16 m = CompactMatrixElement(M, j, LadderOrbital(old));
      if (!(Abs(m) * (std::fabs(value.re) + std::fabs(value.im)) > NumericalZero)) continue;
      mapped[level] = static_cast<LadderIndex>(j | (old & CreationBit));
      OperatorAddLader(out, mapped, value * (QCreation(old) ? Conj(m) : m));
    }
  }
  return out;
}

}  // namespace

void OperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re,
                                 double im, OrderPredicate order) {
  WorkString work(length);
  LadderIndex* W = work.data();
  double s = 1;
  // The string without positions j - 1 and j of W, completed by what is not sorted yet.
  const auto contract = [&](std::uint32_t i, std::uint32_t j, double sign) {
    WorkString shorter(length);
    LadderIndex* end = std::copy(W, W + j - 1, shorter.data());
    end = std::copy(W + j + 1, W + i + 1, end);
    std::copy(lader + i + 1, lader + length, end);
    OperatorAddLaderNormalOrder(O, shorter.data(), length - 2, sign * re, sign * im, order);
  };
  if (length) W[0] = lader[0];
  for (std::uint32_t i = 1; i < length; ++i) {
    W[i] = lader[i];
    for (std::uint32_t j = i; j > 0; --j) {
      const OrderAction action = order(W[j], W[j - 1], O.layout.NFermion);
      if (action == OrderAction::InOrder) break;
      if (action == OrderAction::Vanish) return;
      std::swap(W[j - 1], W[j]);
      const bool same = LadderOrbital(W[j]) == LadderOrbital(W[j - 1]);
      if (same && (action == OrderAction::FermionContraction || action == OrderAction::BosonContraction))
        contract(i, j, s);
      if (same && action == OrderAction::BosonAntiContraction) contract(i, j, -s);
      if (action == OrderAction::FermionContraction || action == OrderAction::FermionExchange) s = -s;
    }
  }
  OperatorAddLader(O, W, length, s * re, s * im);
}

OperatorType NormalOrderOperator(const OperatorType& O, OrderPredicate order) {
  OperatorType result = InitOperatorCopySettings(O);
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    OperatorAddLaderNormalOrder(result, lader, length, v.re, v.im, order);
  });
  return result;
}

void OperatorAddNormalOrder(OperatorType& O, const OperatorType& Other, Complex16 factor,
                            OrderPredicate order) {
  RequireSameSpace(O.layout, "Operator", Other.layout, "the other operator");
  for (std::uint32_t length = MaxLength(O) + 1; length <= MaxLength(Other); ++length)
    InitOperatorFixedLength(O, length, Other.l[length].NBitsKey);
  ForEachTerm(Other, [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    const Complex16 z = v * factor;
    OperatorAddLaderNormalOrder(O, lader, length, z.re, z.im, order);
  });
}

OperatorType OperatorMultiply2NormalOrder(const OperatorType& A, const OperatorType& B, char Aset, char Bset,
                                          OrderPredicate order) {
  RequireSameSpace(A.layout, "Operator", B.layout, "the other operator");
  OperatorType result = InitOperatorForMult(A, B);
  WorkString combined(MaxLength(result));
  const auto enter = [](char set, const LadderIndex* lader, std::uint32_t length, LadderIndex* out) {
    if (set == 'D') {
      TransposeString(lader, length, out);
    } else {
      std::copy_n(lader, length, out);
    }
  };
  const auto mode = [](char set, Complex16 v) { return set == 'D' ? Conj(v) : v; };
  for (std::uint32_t la = 0; la <= MaxLength(A); ++la)
    for (std::uint32_t lb = 0; lb <= MaxLength(B); ++lb)
      for (std::uint32_t b = 0; b < TermCount(B.l[lb]); ++b) {
        // B acts first and so stands at the low positions.
        enter(Bset, B.l[lb].o.data() + std::size_t{b} * lb, lb, combined.data());
        const Complex16 vb = mode(Bset, TermValue(B.l[lb], b));
        for (std::uint32_t a = 0; a < TermCount(A.l[la]); ++a) {
          enter(Aset, A.l[la].o.data() + std::size_t{a} * la, la, combined.data() + lb);
          const Complex16 v = mode(Aset, TermValue(A.l[la], a)) * vb;
          OperatorAddLaderNormalOrder(result, combined.data(), la + lb, v.re, v.im, order);
        }
      }
  return result;
}

OperatorType OperatorTransposeNormalOrder(const OperatorType& O, OrderPredicate order) {
  return Transposed(O, order, [](Complex16 v) { return v; });
}

OperatorType OperatorConjugateTransposeNormalOrder(const OperatorType& O, OrderPredicate order) {
  return Transposed(O, order, [](Complex16 v) { return Conj(v); });
}

void OperatorComplexConjugate(OperatorType& O) {
  for (OperatorFixedLengthType& t : O.l)
    if (auto* values = std::get_if<std::vector<Complex16>>(&t.values))
      for (Complex16& v : *values) v = Conj(v);
}

void OperatorScale(OperatorType& O, Complex16 factor) {
  for (std::uint32_t length = 0; length <= MaxLength(O); ++length) {
    if (!(std::fabs(factor.im) < NumericalZero))
      static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
    std::visit(
        [&](auto& values) {
          using T = std::decay_t<decltype(values[0])>;
          for (T& v : values) v *= ToKind<T>(factor);
        },
        O.l[length].values);
  }
}

Complex16 OperatorTraceAverage(const OperatorType& O, const std::vector<std::uint32_t>& indices) {
  Complex16 sum;
  if (MaxLength(O) < 2 || indices.empty()) return sum;
  const OperatorFixedLengthType& t = O.l[2];
  for (std::uint32_t n = 0; n < TermCount(t); ++n) {
    const LadderIndex first = t.o[2 * n], second = t.o[2 * n + 1];
    if ((first ^ second) != CreationBit) continue;  // not a number operator
    if (std::find(indices.begin(), indices.end(), LadderOrbital(first)) == indices.end()) continue;
    if (QCreation(second)) {
      sum += TermValue(t, n);
    } else {
      sum -= TermValue(t, n);
    }
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
  if (CompactMatrixEigensystem(h, V, energies)) return 1;
  OperatorType product = InitOperator(O.layout.NFermion, 0);
  OperatorAddConstant(product, 1.0);
  for (std::uint32_t k = 0; k < V.Ni; ++k) {
    // exp(factor e n) = 1 + (exp(factor e) - 1) n for the number operator n of the eigenorbital.
    const Complex16 z = Exp(factor * energies[k]) - Complex16(1);
    if (z == Complex16(0)) continue;
    OperatorType T = InitOperator(O.layout.NFermion, 0);
    InitOperatorFixedLength(T, 2, 8);
    OperatorAddConstant(T, 1.0);
    for (std::uint32_t i = 0; i < V.Nj; ++i)
      for (std::uint32_t j = 0; j < V.Nj; ++j) {
        const Complex16 v = z * CompactMatrixElement(V, k, i) * Conj(CompactMatrixElement(V, k, j));
        if (v == Complex16(0)) continue;
        OperatorAddLaderNormalOrder(T, {Annihilate(j), Create(i)}, v, order);
      }
    product = OperatorMultiply2NormalOrder(product, T, 'N', 'N', order);
    OperatorSetMaxLength(product);
  }
  OperatorScale(product, Exp(factor * constant));
  product.Name = O.Name;
  product.Restrictions = O.Restrictions;
  result = std::move(product);
  return 0;
}

void MappedOperatorAddNormalOrder(OperatorType& O, const OperatorType& Source, const CompactMatrixType& M,
                                  OrderPredicate order) {
  RequireSameSpace(O.layout, "Operator", Source.layout, "the other operator");
  OrSay("MappedOperatorFixedLengthAtLevel failed in MappedOperatorAddNormalOrder\n", [&] {
    for (std::uint32_t length = MaxLength(O) + 1; length <= MaxLength(Source); ++length)
      InitOperatorFixedLength(O, length, Source.l[length].NBitsKey);
    for (std::uint32_t length = 0; length <= MaxLength(Source); ++length) {
      OperatorType mapped = InitOperatorCopySettings(Source);
      mapped.l[length] = Source.l[length];
      for (std::uint32_t level = 0; level < length; ++level) mapped = MappedAtLevel(mapped, M, length, level);
      OperatorAddNormalOrder(O, mapped, 1, order);
    }
  });
}

void MappedWaveFunctionAdd(WaveFunctionType& Psi, const WaveFunctionType& Source,
                           const CompactMatrixType& M) {
  const KeyLayout layout = Layout(Source);
  RequireSameSpace(Layout(Psi), "Wave-function", layout, "the other wave-function");
  if (layout.NBoson) throw std::invalid_argument("Rotation of a wave-function with bosons is not defined\n");
  // What each creator of the old basis becomes, applied to determinants of the new one.
  std::vector<OperatorType> creators;
  for (std::uint32_t i = 0; i < layout.NFermion; ++i) {
    OperatorType& creator = creators.emplace_back(InitOperator(layout.NFermion, layout.NBoson));
    InitOperatorFixedLength(creator, 1, 4);
    for (std::uint32_t j = 0; j < layout.NFermion; ++j) {
      const Complex16 m = Conj(CompactMatrixElement(M, j, i));
      if (m == Complex16(0)) continue;
      OperatorAddLader(creator, {Create(j)}, m);
    }
  }
  const Key vacuum(KeyWords(layout));
  for (std::uint32_t n = 1; n <= ElementCount(Source); ++n) {
    WaveFunctionType mapped(layout);
    RealWaveFunctionAddElement(mapped, vacuum.data(), 1);
    // The lowest orbital stands leftmost in the product and so acts last.
    for (std::uint32_t i = layout.NFermion; i-- > 0;)
      if (QOccupied(ElementKey(Source, n), i)) mapped = OperatorPsi(creators[i], mapped);
    WaveFunctionAddComplexMultipliedUnionBasis(Psi, mapped, ElementValue(Source, n));
  }
}

}  // namespace fermix
