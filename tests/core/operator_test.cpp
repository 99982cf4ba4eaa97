// The operator record: tables, kinds, chopping, change of space, sums, comparisons, prints.
#include "core/operator.h"

#include <gtest/gtest.h>

#include <functional>
#include <map>

#include "alloc_failure.h"
#include "core/fock_space.h"
#include "core/operator_algebra.h"
#include "core/operator_print.h"
#include "printed.h"

namespace fermix::test {
namespace {

using Lader = std::vector<LadderIndex>;

OperatorType MakeOperator(KeyLayout layout, const std::vector<std::pair<Lader, Complex16>>& terms) {
  OperatorType O = InitOperator(layout.NFermion, layout.NBoson);
  for (const auto& [lader, value] : terms) OperatorAddLader(O, lader, value);
  return O;
}

// All that a user can see of an operator.
std::string Text(const OperatorType& O) { return StringPrintOperatorReadable(O); }

Lader RandomString(std::mt19937& random, std::uint32_t length, std::uint32_t indices) {
  Lader lader(length);
  for (LadderIndex& l : lader) l = random() % 2 ? Create(random() % indices) : Annihilate(random() % indices);
  return lader;
}

// For some sizes of the hash: sums by string, in insertion order, against a map; then what a chop leaves.
TEST(OperatorTable, SumsEqualStringsAndKeepsTheOrderOfInsertion) {
  std::mt19937 random(4);
  constexpr std::uint32_t lengths[] = {0, 1, 3, 9};
  constexpr double bar = 6000;
  for (const std::uint32_t NBitsKey : {0u, 6u, 31u, 32u, 0xffffffffu}) {
    OperatorType O = InitOperator(12, 0);
    for (const std::uint32_t length : lengths) InitOperatorFixedLength(O, length, NBitsKey);
    std::map<Lader, double> sums;
    std::vector<Lader> order;
    for (int t = 0; t < 4000; ++t) {
      Lader lader = RandomString(random, lengths[random() % 4], 6);
      if (lader.size() == 9) std::fill(lader.begin() + 4, lader.end(), Create(11));
      OperatorAddLader(O, lader, t);
      const auto [at, fresh] = sums.try_emplace(lader, 0);
      if (fresh) order.push_back(lader);
      at->second += t;
    }
    std::stable_sort(order.begin(), order.end(),
                     [](const Lader& a, const Lader& b) { return a.size() < b.size(); });
    for (const double epsilon : {-1.0, bar}) {
      OperatorRemoveSmallValues(O, epsilon);
      OperatorType expected = InitOperatorCopySettings(O);
      for (const Lader& lader : order)
        if (sums[lader] > epsilon) OperatorAddLader(expected, lader, sums[lader]);
      EXPECT_EQ(Text(O), Text(expected));
      for (const Lader& lader : order) OperatorAddLader(O, lader, 0);  // all that stays is found again
      EXPECT_EQ(TermCount(O.l[9]) + TermCount(O.l[3]), sums.size() - 1 - TermCount(O.l[1]));
    }
    EXPECT_EQ(O.l[9].NBitsKey, NBitsKey);
  }
}

TEST(OperatorTable, KindsFollowTheirTerms) {
  const Lader a = {Annihilate(0)}, ab = {Annihilate(0), Create(1)};
  const double nearly = 0.9 * NumericalZero;
  const struct {
    std::vector<std::pair<Lader, Complex16>> terms;
    std::uint32_t kind;
  } cases[] = {{{}, 0},
               {{{a, {1, nearly}}}, 0},
               {{{a, {1, 2 * nearly}}}, 1},
               {{{a, {1, 0}}, {a, {0, 1}}}, 1},
               {{{a, {0, 1}}, {a, {0, -1}}}, 1},  // cancelling does not turn it back
               {{{a, {0, 1}}, {ab, 1}}, 2},
               {{{{}, {0, 1}}, {ab, 1}}, 2},
               {{{a, {1, std::nan("")}}}, 1}};
  for (const auto& c : cases) {
    const OperatorType O = MakeOperator({2, 0}, c.terms);
    EXPECT_EQ(QComplex(O), c.kind);
  }
}

TEST(OperatorChop, KeepsWhatIsAboveTheBar) {
  const auto a = [](std::uint32_t i) { return Lader{Annihilate(i)}; };
  const struct {
    std::vector<std::pair<Lader, Complex16>> before;
    double epsilon;
    std::vector<std::pair<Lader, Complex16>> after;
  } cases[] = {// at the bar: terms go, a constant stays
               {{{{}, 0.5}, {a(0), 0.5}, {a(1), -0.75}}, 0.5, {{{}, 0.5}, {a(1), -0.75}}},
               {{{{}, {1, 0.25}}, {a(0), {1, 0.5}}, {a(1), {2, -0.5}}}, 0.5, {{{}, 1}, {a(0), 1}, {a(1), 2}}},
               {{{{}, {0.25, 1}}}, 0.5, {{{}, {0.25, 1}}}},
               // one imaginary part keeps the whole table complex
               {{{a(0), {1, 0.25}}, {a(1), {2, 0.75}}}, 0.5, {{a(0), {1, 0.25}}, {a(1), {2, 0.75}}}},
               {{{a(0), {0.4, 0.4}}, {a(1), {0.3, 0.3}}}, 0.5, {{a(0), 0.4}}},
               {{{a(0), std::nan("")}, {a(1), 1}}, 0.5, {{a(1), 1}}}};
  for (const auto& c : cases) {
    OperatorType O = MakeOperator({2, 0}, c.before), expected = MakeOperator({2, 0}, c.after);
    if (MaxLength(O) > MaxLength(expected)) InitOperatorFixedLength(expected, MaxLength(O), 8);
    OperatorRemoveSmallValues(O, c.epsilon);
    EXPECT_EQ(Text(O), Text(expected));
  }
}

// --- Change of the one-particle space

TEST(OperatorChangeNFandNB, DropsAndShifts) {
  // orbitals 0 .. 3, modes 4 and 5
  const std::vector<std::pair<Lader, Complex16>> all = {{{}, 1},
                                                        {{Annihilate(0), Create(3)}, 2},
                                                        {{Annihilate(1), Create(2)}, 3},
                                                        {{Annihilate(4), Create(0)}, 4},
                                                        {{Annihilate(5), Create(4)}, 5}};
  const struct {
    std::uint32_t NF, NB;
    std::vector<std::pair<Lader, Complex16>> after;
  } cases[] = {
      {4, 2, all},
      // fewer orbitals take every mode along
      {3, 2, {{{}, 1}, {{Annihilate(1), Create(2)}, 3}}},
      {4, 0, {all[0], all[1], all[2]}},
      {9, 2, {all[0], all[1], all[2], {{Annihilate(9), Create(0)}, 4}, {{Annihilate(10), Create(9)}, 5}}},
      {5, 1, {all[0], all[1], all[2], {{Annihilate(5), Create(0)}, 4}}}};
  for (const auto& c : cases) {
    OperatorType O = MakeOperator({4, 2}, all), expected = MakeOperator({c.NF, c.NB}, c.after);
    if (MaxLength(expected) < 2) InitOperatorFixedLength(expected, 2, 8);
    EXPECT_EQ(OperatorChangeNFandNB(O, c.NF, c.NB), 0);
    EXPECT_EQ(Text(O), Text(expected));
  }
}

TEST(OperatorChangeNFandNB, ShiftedStringsMeetTheirLikeWhenTheTableIsCompacted) {
  OperatorType O = MakeOperator({4, 1}, {{{Annihilate(4), Create(0)}, 1}});
  ASSERT_EQ(OperatorChangeNFandNB(O, 6, 1), 0);
  const Lader shifted = {Annihilate(6), Create(0)};
  OperatorAddLader(O, shifted, 10);
  EXPECT_EQ(TermCount(O.l[2]), 2u);
  OperatorRemoveSmallValues(O, 0);
  EXPECT_EQ(Text(O), Text(MakeOperator({6, 1}, {{shifted, 11}})));
}

TEST(OperatorChangeNFandNB, RestrictionsKeepTheOrbitalsThatRemain) {
  OperatorType O = InitOperator(4, 2);
  O.Restrictions = {
      {4, 2},
      {1, 2, 3},
      {1, 2, 4},
      {StringToDet(4, 2, "1001 00 00"), StringToDet(4, 2, "0001 00 00"), StringToDet(4, 2, "0000 00 FF")}};
  OperatorType fewer = O, more = O;
  ASSERT_EQ(OperatorChangeNFandNB(fewer, 3, 2) + OperatorChangeNFandNB(more, 9, 2), 0);
  EXPECT_EQ(fewer.Restrictions.layout, fewer.layout);
  EXPECT_EQ(fewer.Restrictions.MinOccupation, (std::vector<std::uint32_t>{1, 3}));
  EXPECT_EQ(fewer.Restrictions.Masks[0], StringToDet(3, 2, "100 00 00"));
  EXPECT_EQ(more.Restrictions.MaxOccupation, (std::vector<std::uint32_t>{1, 2, 4}));
  EXPECT_EQ(more.Restrictions.Masks[2], StringToDet(9, 2, "000000000 00 FF"));
}

// --- Sums and comparisons

TEST(OperatorAdd, IsTheSumOfTheMatrices) {
  std::mt19937 random(12);
  const FockSpace space{4};
  for (int trial = 0; trial < 8; ++trial) {
    const bool complexA = trial & 1, complexB = trial & 2, complexFactor = trial & 4;
    const auto a = RandomTerms(space, random, 30, 3, complexA),
               b = RandomTerms(space, random, 40, 5, complexB);
    const Amplitude factor = RandomAmplitude(random, complexFactor);
    OperatorType O = ToOperator(space, a);
    const std::string Otext = Text(ToOperator(space, b));
    const OperatorType B = ToOperator(space, b);
    OperatorAdd(O, B, {factor.real(), factor.imag()});
    EXPECT_EQ(Text(B), Otext);
    EXPECT_EQ(QComplex(O) != 0, complexA || complexB || complexFactor);
    Dense expected = space.matrix(a), added = space.matrix(b);
    for (std::size_t i = 0; i < expected.size(); ++i) expected[i] += factor * added[i];
    EXPECT_LT(Distance(space.matrix(ToTerms(O)), expected), 1e-13);
    OperatorAdd(O, O, -1);
    EXPECT_LT(Distance(space.matrix(ToTerms(O)), Dense(expected.size())), 1e-13);
  }
  OperatorType O = InitOperator(4, 0);
  EXPECT_THROW(OperatorAdd(O, InitOperator(5, 0), 1), std::invalid_argument);
  EXPECT_THROW(OperatorAdd(O, InitOperator(4, 1), 1), std::invalid_argument);
}

TEST(QOperatorEqual, ComparesInNormalOrder) {
  const std::uint32_t NF = 2;
  const auto O = [&](const std::vector<std::pair<Lader, Complex16>>& terms) {
    return MakeOperator({NF, 1}, terms);
  };
  const Lader n = {Annihilate(0), Create(0)}, reversed = {Create(0), Annihilate(0)};
  const Lader bAntinormal = {Create(2), Annihilate(2)}, bNormal = {Annihilate(2), Create(2)};
  const OperatorType ordered = O({{n, 1}});
  EXPECT_TRUE(QOperatorEqual(ordered, O({{{}, 1}, {reversed, -1}}), 1e-15));  // a+ a = 1 - a a+
  EXPECT_FALSE(QOperatorEqual(MakeOperator({NF, 0}, {{reversed, 1}}),
                              MakeOperator({NF, 0}, {{{}, 1}, {n, -1}}), 1e-15));  // the first as stored
  EXPECT_TRUE(QOperatorEqual(O({{bAntinormal, 1}}), O({{{}, 1}, {bNormal, 1}}), 1e-15));  // b b+ = 1 + b+ b
  EXPECT_TRUE(QOperatorEqual(ordered, O({{n, 1.5}}), 0.5));
  EXPECT_FALSE(QOperatorEqual(ordered, O({{n, 1.5}}), 0.4));
}

TEST(QOperatorHermitian, TellsExactFromNearly) {
  const Lader up = {Annihilate(0), Create(1)}, down = {Annihilate(1), Create(0)};
  const struct {
    std::vector<std::pair<Lader, Complex16>> terms;
    int result;
  } cases[] = {{{}, 1},
               {{{{}, 3}}, 1},
               {{{{}, {3, 1}}}, 0},
               {{{up, {1, 2}}, {down, {1, -2}}}, 1},
               {{{up, {1, 2}}, {down, {1, 2}}}, 0},
               {{{up, 1}, {{Create(0), Annihilate(1)}, -1}}, 1},  // the other order
               {{{up, 1}, {down, 1 + 1e-10}}, 2},
               {{{up, 1}, {down, 1 + 1e-7}}, 0},
               {{{{Annihilate(2), Annihilate(2)}, 1}, {{Create(2), Create(2)}, 1}}, 1},
               {{{{Annihilate(2)}, 1}}, 0}};
  for (const auto& c : cases) EXPECT_EQ(QOperatorHermitian(MakeOperator({2, 1}, c.terms), 1e-8), c.result);
}

// --- Prints

// The full form links each term with the next one of equal hash, numbered from 1: here all of them.
TEST(OperatorPrint, FullFormShowsTheChains) {
  OperatorType O = InitOperator(2, 0);
  InitOperatorFixedLength(O, 1, 0);
  for (const LadderIndex l : {Create(0), Annihilate(1), Create(1)}) OperatorAddLader(O, {l}, 1);
  const std::string text = StringPrintOperatorFullReadable(O);
  EXPECT_TRUE(
      text.ends_with("\n   0 | C  0 |  1.000000000000000E+00 | ->          2\n"
                     "   1 | A  1 |  1.000000000000000E+00 | ->          3\n"
                     "   2 | C  1 |  1.000000000000000E+00 | ->          0\n"))
      << text;
}

// --- Memory

TEST(OperatorMemory, FailedStepsLeaveTheRecordAsItWas) {
  std::mt19937 random(14);
  const FockSpace space{5, 1, 1};
  OperatorType O = ToOperator(space, RandomTerms(space, random, 60, 3, false));
  O.Restrictions = {{5, 1}, {1}, {2}, {StringToDet(5, 1, "11000 00")}};
  OperatorRemoveSmallValues(O, 0.1);  // no spare room is left
  OperatorType more = ToOperator(space, RandomTerms(space, random, 60, 5, true));
  const std::string before = Text(O);
  const OperatorFixedLengthType& table = O.l[2];
  const Lader known(&table.o[0], &table.o[2]), fresh = {Create(0), Create(0), Create(0)};
  const std::pair<const char*, std::function<void(OperatorType&)>> steps[] = {
      {"known string", [&](OperatorType& o) { OperatorAddLader(o, known, Complex16(0, 1)); }},
      {"new string", [&](OperatorType& o) { OperatorAddLader(o, fresh, 1); }},
      {"new complex string", [&](OperatorType& o) { OperatorAddLader(o, fresh, Complex16(1, 1)); }},
      {"new table", [&](OperatorType& o) { OperatorAddLader(o, Lader(9, Create(0)), 1); }},
      {"sum", [&](OperatorType& o) { OperatorAdd(o, more, Complex16(1, 0.5)); }},
      {"space", [&](OperatorType& o) { EXPECT_EQ(OperatorChangeNFandNB(o, 7, 1), 0); }},
      {"table size", [&](OperatorType& o) { InitOperatorFixedLength(o, 7, 4); }},
      {"scale", [&](OperatorType& o) { OperatorScale(o, Complex16(1, 1)); }}};
  for (const auto& row : steps) {
    const auto& step = row.second;  // a name of its own: not every compiler captures bindings
    SCOPED_TRACE(row.first);
    OperatorType done = O;
    step(done);
    const std::string after = Text(done);
    const std::size_t thrown = FailEachAllocation(O, step, [&](OperatorType& o) {
      EXPECT_EQ(Text(o), before);
      OperatorType again = o;
      step(again);
      EXPECT_EQ(Text(again), after);
      OperatorAdd(o, O, -1);  // its tables find what they hold
      OperatorRemoveSmallValues(o, NumericalZero);
      for (const OperatorFixedLengthType& t : o.l) EXPECT_EQ(TermCount(t), 0u);
    });
    EXPECT_GT(thrown, 0u);
  }
}

// Chopping goes on without memory; at worst a table stays complex.
TEST(OperatorMemory, ChoppingNeverThrows) {
  const OperatorType O =
      MakeOperator({3, 0}, {{{}, {1, 1e-9}}, {{Create(0)}, {1, 1e-9}}, {{Create(1)}, {1e-9, 0}}});
  std::size_t complexKept = 0;
  const auto chop = [&](OperatorType& o) {
    OperatorRemoveSmallValues(o, 1e-6);
    complexKept += QComplex(o) != 0;
  };
  EXPECT_FALSE(Printed([&] { EXPECT_EQ(FailEachAllocation(O, chop, [](OperatorType&) {}), 0u); }).empty());
  EXPECT_EQ(complexKept, 2u);
}

}  // namespace
}  // namespace fermix::test
