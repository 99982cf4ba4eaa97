// Operator algebra against dense matrices of the ladder operators on a whole Fock space.
//
// Modes are cut off in the reference, so that its matrices are compared only in the columns in which no
// product in question reaches the cutoff.
#include "core/operator_algebra.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "alloc_failure.h"
#include "core/basis_rotation.h"
#include "core/fock_space.h"
#include "core/operator_print.h"
#include "linalg/random_matrix.h"

namespace fermix::test {
namespace {

constexpr double Tolerance = 1e-12;  // sums of some hundred terms of magnitude one, roots of boson counts
constexpr OrderPredicate Orders[] = {QDetNotOrderedFcFaBcBa, QDetNotOrderedFcFaBaBc};

// Spaces, and the number of ladder operators of a term that leaves columns below the cutoff to compare.
struct Case {
  FockSpace space;
  int maxLength;
};
const Case Cases[] = {{{5}, 6}, {{2, 2, 5}, 4}, {{0, 1, 12}, 6}};

OperatorType OneTerm(KeyLayout layout, const std::vector<LadderIndex>& lader, Complex16 value = 1) {
  OperatorType O = InitOperator(layout.NFermion, layout.NBoson);
  OperatorAddLader(O, lader, value);
  return O;
}

// The largest difference in the columns on which `ladders` ladder operators are exact.
double ExactDistance(const FockSpace& space, const Dense& a, const Dense& b, int ladders) {
  double largest = 0;
  for (std::size_t j = 0; j < space.size(); ++j)
    if (space.exact(j, ladders))
      for (std::size_t i = 0; i < space.size(); ++i)
        largest = std::max(largest, std::abs(a[i * space.size() + j] - b[i * space.size() + j]));
  return largest;
}

Dense Matrix(const FockSpace& space, const OperatorType& O) { return space.matrix(ToTerms(O)); }

Dense Transposed(const Dense& m, std::size_t n, bool conjugate) {
  Dense t(m.size());
  for (std::size_t i = 0; i < n; ++i)
    for (std::size_t j = 0; j < n; ++j) t[j * n + i] = conjugate ? std::conj(m[i * n + j]) : m[i * n + j];
  return t;
}

bool QInOrder(const OperatorType& O, OrderPredicate order) {
  bool inOrder = true;
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, auto) {
    for (std::uint32_t k = 1; k < length; ++k)
      inOrder &= order(lader[k], lader[k - 1], O.layout.NFermion) == OrderAction::InOrder;
  });
  return inOrder;
}

TEST(NormalOrder, LeavesTheOperatorAsItIs) {
  std::mt19937 random(41);
  for (const auto& [space, maxLength] : Cases)
    for (const OrderPredicate order : Orders)
      for (const bool complex : {false, true}) {
        const auto terms = RandomTerms(space, random, 60, maxLength, complex);
        const OperatorType O = ToOperator(space, terms), ordered = NormalOrderOperator(O, order);
        EXPECT_TRUE(QInOrder(ordered, order));
        EXPECT_EQ(QComplex(ordered) != 0, complex);
        EXPECT_LT(ExactDistance(space, Matrix(space, ordered), space.matrix(terms), maxLength), Tolerance);
      }
}

// (a a+)^k = 1 - a+ a: contractions of contractions, deeper than the stack should follow.
TEST(NormalOrder, VeryLongStrings) {
  std::vector<LadderIndex> lader;
  for (int k = 0; k < 3000; ++k) lader.push_back(Create(0)), lader.push_back(Annihilate(0));
  OperatorType O = InitOperator(1, 0);
  OperatorAddLaderNormalOrder(O, lader, {0, 1});
  OperatorSetMaxLength(O);
  ASSERT_EQ(MaxLength(O), 2u);
  EXPECT_EQ(TermValue(O.l[0], 0), Complex16(0, 1));
  EXPECT_EQ(TermCount(O.l[2]), 1u);
  EXPECT_EQ(TermValue(O.l[2], 0), Complex16(0, -1));
}

// b^n b+^n = sum_k (n over k)^2 (n - k)! b+^k b^k, although it contracts in n! ways.
TEST(NormalOrder, ManyWaysToContractLeaveFewStrings) {
  constexpr int n = 24;
  for (const OrderPredicate order : Orders) {
    const bool creatorsLeft = order == Orders[0];
    std::vector<LadderIndex> lader(2 * n, creatorsLeft ? Create(0) : Annihilate(0));
    std::fill(lader.begin() + n, lader.end(), creatorsLeft ? Annihilate(0) : Create(0));
    OperatorType O = InitOperator(0, 1);
    OperatorAddLaderNormalOrder(O, lader, 1, order);
    EXPECT_TRUE(QInOrder(O, order));
    for (std::uint32_t k = 0; k <= n; ++k) {
      ASSERT_EQ(TermCount(O.l[2 * k]), 1u);
      const double choose =
          std::round(std::exp(std::lgamma(n + 1) - std::lgamma(k + 1) - std::lgamma(n - k + 1)));
      const double sign = creatorsLeft || (n - k) % 2 == 0 ? 1 : -1;
      EXPECT_NEAR(TermValue(O.l[2 * k], 0).re / (sign * choose * choose * std::tgamma(n - k + 1)), 1, 1e-12);
    }
  }
}

// What falls into a complex table is complex, with all that it leaves.
TEST(NormalOrder, ContractionsFindTablesOfEitherKind) {
  const std::vector<LadderIndex> aaDag = {Create(0), Annihilate(0)};
  OperatorType O = InitOperator(2, 0);
  OperatorAddConstant(O, {0, 1});
  OperatorAddLaderNormalOrder(O, aaDag, 2);
  OperatorAddLaderNormalOrder(O, aaDag, {0, 3});
  EXPECT_EQ(TermValue(O.l[0], 0), Complex16(2, 4));
  EXPECT_EQ(TermValue(O.l[2], 0), Complex16(-2, -3));
}

TEST(OperatorProduct, IsTheProductOfTheMatrices) {
  std::mt19937 random(17);
  for (const auto& [space, maxLength] : Cases)
    for (int trial = 0; trial < 8; ++trial) {
      const bool complexA = trial & 1, complexB = trial & 2;
      const char Aset = trial & 4 ? 'D' : 'N', Bset = trial % 3 ? 'N' : 'D';
      const auto a = RandomTerms(space, random, 25, maxLength / 2, complexA),
                 b = RandomTerms(space, random, 25, maxLength / 2, complexB);
      const OperatorType A = ToOperator(space, a), B = ToOperator(space, b);
      const OrderPredicate order = Orders[trial / 2 % 2];
      const OperatorType AB = OperatorMultiply2NormalOrder(A, B, Aset, Bset, order);
      Dense ma = space.matrix(a), mb = space.matrix(b);
      if (Aset == 'D') ma = Transposed(ma, space.size(), true);
      if (Bset == 'D') mb = Transposed(mb, space.size(), true);
      EXPECT_EQ(MaxLength(AB), MaxLength(A) + MaxLength(B));
      EXPECT_TRUE(QInOrder(AB, order));
      EXPECT_EQ(QComplex(AB) != 0, complexA || complexB);
      EXPECT_LT(ExactDistance(space, Matrix(space, AB), Multiply(ma, mb, space.size()), maxLength),
                Tolerance);
    }
}

TEST(OperatorTranspose, TransposesAndConjugatesTheMatrix) {
  std::mt19937 random(23);
  for (const auto& [space, maxLength] : Cases)
    for (const OrderPredicate order : Orders)
      for (const bool complex : {false, true}) {
        const auto terms = RandomTerms(space, random, 40, maxLength, complex);
        const OperatorType O = ToOperator(space, terms), T = OperatorTransposeNormalOrder(O, order),
                           D = OperatorConjugateTransposeNormalOrder(O, order);
        const Dense m = space.matrix(terms);
        EXPECT_LT(ExactDistance(space, Matrix(space, T), Transposed(m, space.size(), false), maxLength),
                  Tolerance);
        EXPECT_LT(ExactDistance(space, Matrix(space, D), Transposed(m, space.size(), true), maxLength),
                  Tolerance);
        EXPECT_TRUE(QInOrder(T, order) && QInOrder(D, order));
        EXPECT_EQ(QComplex(T) != 0, complex);
      }
}

// --- Exponent

// exp(m) by its series, after halving m until it converges fast.
Dense DenseExponential(Dense m, std::size_t n) {
  constexpr int halvings = 8;
  for (Amplitude& x : m) x /= 1 << halvings;
  Dense sum(n * n), power(n * n);
  for (std::size_t i = 0; i < n; ++i) sum[i * n + i] = power[i * n + i] = 1;
  for (int k = 1; k < 20; ++k) {
    power = Multiply(power, m, n);
    for (Amplitude& x : power) x /= k;
    for (std::size_t i = 0; i < n * n; ++i) sum[i] += power[i];
  }
  for (int k = 0; k < halvings; ++k) sum = Multiply(sum, sum, n);
  return sum;
}

TEST(OperatorExponent, IsTheExponentialOfTheMatrix) {
  std::mt19937 random(37);
  const FockSpace space{4};
  for (const bool complex : {false, true})
    for (const Complex16 factor : {Complex16(0.7), Complex16(0, -1.3), Complex16(-0.4, 0.8), Complex16(0)})
      for (const OrderPredicate order : Orders) {
        std::vector<Term> terms = {{{}, 0.3}, {{-1, 1}, -0.8}};  // a a+ brings a constant of its own
        for (int t = 0; t < 6; ++t) {
          const int i = static_cast<int>(random() % 4) + 1, j = static_cast<int>(random() % 4) + 1;
          terms.push_back({{i, -j}, RandomAmplitude(random, complex)});
        }
        terms = Hermitian(terms);
        Dense m = space.matrix(terms);
        for (Amplitude& x : m) x *= ToStd(factor);
        OperatorType O = ToOperator(space, terms), result;
        O.Name = "one";
        ASSERT_EQ(HermitianOperatorNormalOrderExponent(O, factor, result, order), 0);
        EXPECT_LT(Distance(Matrix(space, result), DenseExponential(m, space.size())), 1e-11);
        EXPECT_EQ(result.Name, "one");
        EXPECT_TRUE(QInOrder(result, order));
        EXPECT_TRUE(complex || factor.im != 0 || QComplex(result) == 0);
      }
}

TEST(OperatorExponent, LeavesOrbitalsAloneWhoseFactorIsOne) {
  OperatorType result;  // with all its orbitals it would have 2^30 terms
  const OperatorType n = OneTerm({30, 0}, {Annihilate(7), Create(7)});
  ASSERT_EQ(HermitianOperatorNormalOrderExponent(n, 1, result, Orders[0]), 0);
  OperatorType expected = OneTerm({30, 0}, {Annihilate(7), Create(7)}, std::exp(1.0) - 1);
  OperatorAddConstant(expected, 1);
  EXPECT_TRUE(QOperatorEqual(result, expected, 1e-14));
}

TEST(OperatorExponent, RefusesWhatHasNoClosedForm) {
  const std::pair<std::vector<LadderIndex>, std::string> cases[] = {
      {{Annihilate(0), Annihilate(1), Create(1), Create(0)},
       "tried to take the exponent of an operator with max Length 4\n"},
      {{Create(0), Create(1)},
       "operator of length 2 at index 0 consists of two creation or two annihilation operators\n"},
      {{Annihilate(0), Create(0)}, "the exponent is not finite\n"}};
  for (const auto& [lader, said] : cases) {
    OperatorType result = OneTerm({1, 0}, {}, 5);
    const OperatorType O = OneTerm({2, 0}, lader, 1e3);
    EXPECT_EQ(Printed([&] { EXPECT_EQ(HermitianOperatorNormalOrderExponent(O, 1, result, Orders[0]), 1); }),
              "OperatorExponent failed, " + said);
    EXPECT_EQ(TermValue(result.l[0], 0), Complex16(5));
  }
}

// --- Change of basis

// Fermions among fermions and modes among modes only.
CompactMatrixType RandomBlockMatrix(std::mt19937& random, const FockSpace& space, bool complex) {
  const auto fermions = static_cast<std::uint32_t>(space.orbitals),
             n = fermions + static_cast<std::uint32_t>(space.modes);
  CompactMatrixType M = complex ? RandomMatrix<Complex16>(random, n, n) : RandomMatrix<double>(random, n, n);
  for (std::uint32_t j = 0; j < n; ++j)
    for (std::uint32_t i = 0; i < n; ++i)
      if ((j < fermions) != (i < fermions)) std::visit([&](auto& data) { data[j * n + i] = {}; }, M.Data);
  return M;
}

// What a factor becomes: annihilator i is sum_j M[j][i] annihilator j, a creator has conj(M[j][i]).
std::vector<Term> MappedFactor(const CompactMatrixType& M, int factor) {
  std::vector<Term> terms;
  for (std::uint32_t j = 0; j < M.Ni; ++j) {
    const Amplitude m = ToStd(CompactMatrixElement(M, j, static_cast<std::uint32_t>(std::abs(factor) - 1)));
    const int index = static_cast<int>(j) + 1;
    terms.push_back({{factor > 0 ? index : -index}, factor > 0 ? std::conj(m) : m});
  }
  return terms;
}

Dense MappedMatrix(const FockSpace& space, const std::vector<Term>& terms, const CompactMatrixType& M) {
  Dense sum(space.size() * space.size());
  for (const Term& term : terms) {
    Dense product = space.matrix({{{}, term.value}});
    for (const int factor : term.factors)
      product = Multiply(product, space.matrix(MappedFactor(M, factor)), space.size());
    for (std::size_t k = 0; k < sum.size(); ++k) sum[k] += product[k];
  }
  return sum;
}

TEST(BasisRotation, TransformsEveryLadderOperator) {
  std::mt19937 random(53);
  for (const FockSpace& space : {FockSpace{4}, FockSpace{2, 2, 4}})
    for (int trial = 0; trial < 4; ++trial) {
      const bool complex = trial & 1, complexM = trial & 2;
      const auto terms = RandomTerms(space, random, 6, 3, complex);
      const OperatorType Source = ToOperator(space, terms);
      const CompactMatrixType M = RandomBlockMatrix(random, space, complexM);
      for (const OrderPredicate order : Orders) {
        OperatorType O = InitOperatorCopySettings(Source);
        OperatorAddConstant(O, 1);
        MappedOperatorAddNormalOrder(O, Source, M, order);
        EXPECT_TRUE(QInOrder(O, order));
        EXPECT_EQ(QComplex(O) != 0, complex || complexM);
        OperatorAddConstant(O, -1);
        EXPECT_LT(ExactDistance(space, Matrix(space, O), MappedMatrix(space, terms, M), 3), Tolerance);
      }
    }
}

// Orbitals 0 .. 2 become 2 .. 4 of 6, modes 0 and 1 stay the first of 3.
TEST(BasisRotation, Rectangles) {
  CompactMatrixType onto = InitCompactMatrix(9, 5, false);
  for (std::uint32_t i = 0; i < 5; ++i) std::get<0>(onto.Data)[(i < 3 ? i + 2 : i + 3) * 5 + i] = 1;
  const OperatorType O = OneTerm({3, 2}, {Annihilate(0), Create(2), Create(4)}, 3);
  OperatorType placed = InitOperator(6, 3), same = O;
  MappedOperatorAddNormalOrder(placed, O, onto, Orders[0]);
  EXPECT_TRUE(QOperatorEqual(placed, OneTerm({6, 3}, {Create(7), Annihilate(2), Create(4)}, 3), 0));
  WaveFunctionType psi({3, 2});
  EXPECT_THROW(MappedOperatorAddNormalOrder(same, O, onto, Orders[0]), std::invalid_argument);
  EXPECT_THROW(MappedWaveFunctionAdd(psi, WaveFunctionType({3, 2}), onto), std::invalid_argument);
}

TEST(BasisRotation, StatesAreProductsOfTransformedCreators) {
  std::mt19937 random(61);
  for (const FockSpace& space : {FockSpace{6}, FockSpace{2, 2, 4}})
    for (int trial = 0; trial < 8; ++trial) {
      const bool complexPsi = trial & 1, complex = trial & 2, complexM = trial & 4;
      const CompactMatrixType M = RandomBlockMatrix(random, space, complexM);
      Dense source = RandomVector(space, random, complex, 0.3),
            expected = RandomVector(space, random, complexPsi, 0.5);
      for (std::size_t n = 0; n < space.size(); ++n)  // quanta that stay below the cutoff wherever they go
        if (space.modes && space.quanta(n, 0) + space.quanta(n, 1) > space.cutoff) source[n] = 0;
      WaveFunctionType psi = ToState(space, expected, complexPsi);
      MappedWaveFunctionAdd(psi, ToState(space, source, complex), M);
      for (std::size_t n = 0; n < space.size(); ++n) {
        if (source[n] == 0.0) continue;
        Dense image(space.size());
        image[0] = source[n];
        for (int mode = 0; mode < space.modes; ++mode)
          for (int q = 1; q <= space.quanta(n, mode); ++q) {
            image = space.apply(MappedFactor(M, space.orbitals + mode + 1), image);
            for (Amplitude& x : image) x /= std::sqrt(q);
          }
        for (int i = space.orbitals; i-- > 0;)
          if (n >> i & 1) image = space.apply(MappedFactor(M, i + 1), image);
        for (std::size_t k = 0; k < image.size(); ++k) expected[k] += image[k];
      }
      EXPECT_LT(Distance(ToDense(space, psi), expected), Tolerance);
      EXPECT_EQ(QComplex(psi), complexPsi || complex || complexM);
    }
}

// --- Memory

TEST(OperatorAlgebraMemory, FailedStepsLeaveTheirRecordsAsTheyWere) {
  std::mt19937 random(67);
  const FockSpace space{4};
  const OperatorType other = ToOperator(space, RandomTerms(space, random, 6, 4, true));
  OperatorType O = ToOperator(space, RandomTerms(space, random, 6, 2, false));
  const CompactMatrixType M = RandomMatrix<Complex16>(random, 4, 4);
  const std::string before = StringPrintOperatorReadable(O);
  const OperatorType N = OneTerm({4, 0}, {Annihilate(1), Create(1)});
  const std::pair<const char*, std::function<void(OperatorType&)>> steps[] = {
      {"rotation", [&](OperatorType& o) { MappedOperatorAddNormalOrder(o, other, M, Orders[0]); }},
      {"product", [&](OperatorType& o) { o = OperatorMultiply2NormalOrder(o, other, 'N', 'D', Orders[0]); }},
      {"transpose", [&](OperatorType& o) { o = OperatorConjugateTransposeNormalOrder(o, Orders[1]); }},
      {"exponent",
       [&](OperatorType& o) { EXPECT_EQ(HermitianOperatorNormalOrderExponent(N, 1, o, Orders[0]), 0); }}};
  for (const auto& [name, step] : steps) {
    SCOPED_TRACE(name);
    EXPECT_GT(FailEachAllocation(O, step,
                                 [&](OperatorType& o) { EXPECT_EQ(StringPrintOperatorReadable(o), before); }),
              0u);
  }
  const Dense v = RandomVector(space, random, false, 0.5);
  const WaveFunctionType Source = ToState(space, v, false);
  const auto rotate = [&](WaveFunctionType& psi) { MappedWaveFunctionAdd(psi, Source, M); };
  const auto unchanged = [&](WaveFunctionType& psi) { EXPECT_EQ(Distance(ToDense(space, psi), v), 0); };
  EXPECT_GT(FailEachAllocation(ToState(space, v, false), rotate, unchanged), 0u);
}

}  // namespace
}  // namespace fermix::test
