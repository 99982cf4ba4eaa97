// H as a ground-state search applies it: term by term while the basis grows, and by rows, which are kept from
// pass to pass, once the states stay inside a space that H does not leave.
#pragma once

#include <variant>

#include "core/operator.h"
#include "solvers/fixed_basis_operator.h"

namespace fermix {

class SearchOperator {
 public:
  explicit SearchOperator(const OperatorType& H) : H_(H) {}
  const OperatorType& H() const { return H_; }

  // Products keep to R from now on, or to the restrictions of H if R has none. R must stay alive.
  void Restrict(const DeterminantRestrictionType& R);

  // Builds the rows if H leads from the basis of psi nowhere else. Without memory for them it does not.
  void Explore(const WaveFunctionType& psi);

  // H psi for a block of states on one basis, on a basis that may be larger. H holds a constant term.
  // Throws bad_alloc, after lines.
  std::vector<WaveFunctionType> Times(const std::vector<WaveFunctionType>& psi);

  // <psi|H|psi>
  double Expectation(const WaveFunctionType& psi);

  // The rows inside the basis of psi: those that are remembered, if they belong to it, or new ones.
  // Restrictions play no part. Throws bad_alloc.
  template <class T>
  FixedBasisOperator<T> Inside(const WaveFunctionType& psi);
  // Takes rows back when they may be used again.
  template <class T>
  void Keep(FixedBasisOperator<T>&& rows);

  // Gives memory back. False when there was none.
  bool Forget();

 private:
  // The rows, moved to the basis of psi; null unless they know all products with states of this kind on it.
  template <class T>
  FixedBasisOperator<T>* RowsFor(const WaveFunctionType& psi);
  template <class T>
  bool QComplete(const FixedBasisOperator<T>& rows) const;

  const OperatorType& H_;
  const DeterminantRestrictionType* R_ = &H_.Restrictions;
  std::variant<std::monostate, FixedBasisOperator<double>, FixedBasisOperator<Complex16>> rows_;
};

}  // namespace fermix
