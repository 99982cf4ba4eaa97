// An operator prepared for being applied: terms as bit masks, and a look-up of the terms that survive.
//
// A fermionic string acts on a determinant k by four masks: it needs the orbitals of `filled` and no orbital
// of `empty`, flips those of `flip`, and its sign is that of the string itself times the parity of k under
// `sign`. Which terms survive is looked up, not tried: for every byte (or half-byte) of the key and every
// value of it, a bitmap row says which terms it allows; the AND of one row a byte gives the surviving terms
// in stored order. Strings with bosons take the step-by-step route on the determinants that their bitmap lets
// through.
#pragma once

#include "core/operator.h"

namespace fermix {

struct CompiledOperator {
  KeyLayout layout;
  std::uint32_t words = 1;             // of a key
  std::uint32_t terms = 0;             // in the order of application: length by length, as stored
  std::uint32_t kind = 0;              // QComplex of the operator: 0 real, 1 complex, 2 mixed
  Coefficients values;                 // one a term, the constant sign of the string included
  std::vector<KeyWord> filled, empty;  // words a term: tested directly when a look-up does not pay
  std::vector<KeyWord> flip, sign;     // words a term
  // Strings that need OperatorLader: for term t its string starts at laderStart[t] (npos: none needed).
  static constexpr std::uint32_t npos = 0xffffffff;
  std::vector<std::uint32_t> laderStart, laderLength;
  std::vector<LadderIndex> lader;
  bool QLader = false;  // any such string
  // Look-up: rows of rowWords words; slice s of the key takes the value v in row (s << sliceBits) + v.
  std::uint32_t sliceBits = 0, slices = 0, rowWords = 0;
  std::vector<KeyWord> rows;
  // Restrictions and each term's change of their counts: change[t * NRestrictions + r].
  DeterminantRestrictionType Restrictions;
  std::vector<std::int32_t> change;
  bool QChange = true;  // false: a mask touches bosons, results are counted one by one
};

// R: restrictions of the result; null takes the operator's own. elements: how many determinants it will meet,
// which decides whether the look-up pays. Throws bad_alloc.
CompiledOperator CompileOperator(const OperatorType& O, const DeterminantRestrictionType* R,
                                 std::size_t elements);

}  // namespace fermix
