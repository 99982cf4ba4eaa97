#include "atomic/ladder_operators.h"

#include "atomic/sector.h"

namespace fermix::test {
namespace {

TEST(LadderOperators, TermsAndNames) {
  const struct {
    OperatorType O;
    const char* name;
    std::vector<Term> terms;
  } cases[] = {
      {CreateOperatorCreate(4, 2), "Creation operator on site 2", {{{3}, 1}}},
      {CreateOperatorAnnihilate(4, 0), "Annihilation operator on site 0", {{{-1}, 1}}},
      {CreateOperatorNumber(4, 3, 1), "Number operator a^{+}_(3) a_(1)", {{{4, -2}, 1}}},
      {CreateOperatorNumber(4, 1, 1), "Number operator a^{+}_(1) a_(1)", {{{2, -2}, 1}}},
      {CreateOperatorIdentity(4), "Identity operator", {{{}, 1}}},
      {CreateOperatorCreateList(4, {0, 2, 0}, {0.5, {0, 1}, 1}),
       "Creation operator",
       {{{1}, 1.5}, {{3}, {0, 1}}}},
      {CreateOperatorAnnihilateList(4, {3}, {{1, -1}}), "Annihilation operator", {{{-4}, {1, -1}}}},
      {CreateOperatorCreateAnnihilateList(4, {0, 3}, {3, 0}, {{0, 1}, {0, -1}}),
       "Number operator",
       {{{1, -4}, {0, 1}}, {{4, -1}, {0, -1}}}},
  };
  const FockSpace space{4};
  for (const auto& c : cases) {
    EXPECT_EQ(c.O.Name, c.name);
    EXPECT_EQ(c.O.layout, (KeyLayout{4, 0}));
    EXPECT_EQ(Distance(space.matrix(ToTerms(c.O)), space.matrix(c.terms)), 0) << c.name;
  }
}

}  // namespace
}  // namespace fermix::test
