// An operator prepared for being applied: terms as bit masks, and a look-up of the terms that survive.
//
// A fermionic string acts on a determinant k by four masks: it needs the orbitals of `filled` and no orbital
// of `empty`, flips those of `flip`, and its sign is that of the string itself times the parity of k under
// `sign`. Which terms survive is looked up, not tried: for every byte (or half-byte) of the key and every
// value of it, a bitmap row says which terms it allows; the AND of one row a byte gives the surviving terms
// in stored order. A restriction is one row more, chosen by what it counts on the determinant. Strings with
// bosons take the step-by-step route on the determinants that their bitmap lets through.
#pragma once

#include "core/operator.h"

namespace fermix {

struct CompiledOperator {
  static constexpr std::uint32_t RowGrain =
      4;  // rows have a multiple of so many words: they are read as vectors
  KeyLayout layout;
  std::uint32_t words = 1;  // of a key
  std::uint32_t terms = 0;  // in the order of application: length by length, as stored
  std::uint32_t kind = 0;   // QComplex of the operator: 0 real, 1 complex, 2 mixed
  // Two a term, c and -c, the constant sign of the string included: what a determinant gets stands at
  // 2 * term + parity of the orbitals that the sign counts.
  Coefficients values;
  std::vector<KeyWord> filled, empty;  // words a term: tested directly when a look-up does not pay
  struct Action {
    KeyWord flip, sign;
  };
  std::vector<Action> actions;  // words a term
  // Strings that need OperatorLader: for term t its string starts at laderStart[t] (npos: none needed).
  static constexpr std::uint32_t npos = 0xffffffff;
  std::vector<std::uint32_t> laderStart, laderLength;
  std::vector<LadderIndex> lader;
  bool QLader = false;  // any such string
  // Look-up: rows of rowWords words; slice s of the key takes the value v in row (s << sliceBits) + v. Bit t
  // stands for term t. Terms that flip nothing, the diagonal ones, come last and begin with a word of their
  // own: the bits from 64 * plainWords on stand for the terms from plainTerms on. (Without a look-up, or with
  // results that are tried one by one, all terms count as plain ones.)
  std::uint32_t sliceBits = 0, slices = 0, rowWords = 0, plainWords = 0, plainTerms = 0;
  std::vector<KeyWord> rows;
  std::vector<std::uint32_t>
      plainBefore;  // for each diagonal term, how many plain ones were stored before it
  DeterminantRestrictionType Restrictions;
  // With a look-up, and if no mask touches a boson: the row of the terms that restriction r allows on a
  // determinant where it counts c stands at restrictionRows[(restrictionStart[r] + c) * rowWords].
  std::vector<KeyWord> restrictionRows;
  std::vector<std::uint32_t> restrictionStart;
};

// R: restrictions of the result; null takes the operator's own. elements: how many determinants it will meet,
// which decides whether the look-up pays. Throws bad_alloc.
CompiledOperator CompileOperator(const OperatorType& O, const DeterminantRestrictionType* R,
                                 std::size_t elements);

}  // namespace fermix
