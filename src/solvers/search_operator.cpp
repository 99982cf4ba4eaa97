#include "solvers/search_operator.h"

#include <algorithm>

#include "core/expectation.h"
#include "core/operator_on_state.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"

namespace fermix {

namespace {

bool QAllFulfil(const DeterminantRestrictionType& R, const KeyLayout& layout,
                const std::vector<KeyWord>& keys) {
  if (NRestrictions(R) == 0) return true;
  for (std::size_t k = 0; k < keys.size(); k += KeyWords(layout))
    if (!QFulfillsRestrictions(R, &keys[k])) return false;
  return true;
}

}  // namespace

// Products by rows know no restrictions: all determinants have to be allowed.
template <class T>
bool SearchOperator::QComplete(const FixedBasisOperator<T>& rows) const {
  return rows.QRows && rows.leaving != Leaving::ToAllowed && QAllFulfil(*R_, H_.layout, rows.keys);
}

void SearchOperator::Restrict(const DeterminantRestrictionType& R) {
  R_ = NRestrictions(R) ? &R : &H_.Restrictions;
  std::visit(
      [&](auto& rows) {
        if constexpr (!std::is_same_v<std::decay_t<decltype(rows)>, std::monostate>)
          // What other restrictions forbade may be allowed now.
          if (rows.leaving != Leaving::Nowhere || !QComplete(rows)) Forget();
      },
      rows_);
}

void SearchOperator::Explore(const WaveFunctionType& psi) {
  const auto explore = [&](auto kind) {
    using T = decltype(kind);
    if (RowsFor<T>(psi)) return;
    if (auto rows = MakeClosedOperator<T>(H_, psi, *R_)) Keep(std::move(*rows));
  };
  if (QComplex(H_)) return explore(Complex16());
  explore(double());
}

template <class T>
FixedBasisOperator<T>* SearchOperator::RowsFor(const WaveFunctionType& psi) {
  auto* rows = std::get_if<FixedBasisOperator<T>>(&rows_);
  bool found = false;
  static_cast<void>(
      FitsInMemory([&] { found = rows && QComplex(psi) == IsComplex<T> && MoveToBasis(*rows, psi); }));
  return found ? rows : nullptr;
}

std::vector<WaveFunctionType> SearchOperator::Times(const std::vector<WaveFunctionType>& psi) {
  const auto times = [&](auto kind) {
    std::vector<WaveFunctionType> product;
    if (auto* rows = RowsFor<decltype(kind)>(psi[0])) {
      if (NRestrictions(*R_) == 0) VerbosityPrintf(2, "Start of BlockOperatorPsiSerial\n");
      product = ClosedProduct(*rows, psi);
    }
    return product;
  };
  std::vector<WaveFunctionType> product = QComplex(H_) ? times(Complex16()) : times(double());
  return product.empty() ? BlockOperatorPsiSerial(H_, psi, R_ == &H_.Restrictions ? nullptr : R_) : product;
}

double SearchOperator::Expectation(const WaveFunctionType& psi) {
  const auto expectation = [&](auto kind) {
    using T = decltype(kind);
    auto* rows = RowsFor<T>(psi);
    if (!rows) return PsiHermitianOperatorPsi(H_, psi);
    const WorkVector<T> x = VectorOfState(*rows, psi);
    WorkVector<T> y(x.size());
    return Re(FixedBasisOperatorMultiply(*rows, 0.0, x.data(), y.data()));
  };
  return QComplex(H_) ? expectation(Complex16()) : expectation(double());
}

template <class T>
FixedBasisOperator<T> SearchOperator::Inside(const WaveFunctionType& psi) {
  auto* rows = RowsFor<T>(psi);
  // A part of their space has rows of its own.
  if (!rows || rows->N != ElementCount(psi)) {
    Forget();
    return MakeFixedBasisOperator<T>(H_, psi, true, *R_);
  }
  FixedBasisOperator<T> taken = std::move(*rows);
  taken.basis = psi.basis;  // for the direct route, should memory run short
  Forget();
  return taken;
}

template <class T>
void SearchOperator::Keep(FixedBasisOperator<T>&& rows) {
  if (!QComplete(rows)) return;
  rows.basis.reset();  // states that change their basis need not copy it
  rows_ = std::move(rows);
}

bool SearchOperator::Forget() {
  const bool held = rows_.index() != 0;
  rows_ = std::monostate();
  return held;
}

template FixedBasisOperator<double> SearchOperator::Inside(const WaveFunctionType&);
template FixedBasisOperator<Complex16> SearchOperator::Inside(const WaveFunctionType&);
template void SearchOperator::Keep(FixedBasisOperator<double>&&);
template void SearchOperator::Keep(FixedBasisOperator<Complex16>&&);

}  // namespace fermix
