#include "core/normal_order.h"

#include <algorithm>
#include <cmath>
#include <type_traits>

namespace fermix {

namespace {

// Calls f with the predicate in a form that compiles into the sort; one that is not known is called.
template <class F>
void DispatchOrder(OrderPredicate order, F&& f) {
  if (order == QDetNotOrderedFcFaBcBa) {
    f([](LadderIndex a, LadderIndex b, std::uint32_t NF) { return OrderOfPair(a, b, NF, false); });
  } else if (order == QDetNotOrderedFcFaBaBc) {
    f([](LadderIndex a, LadderIndex b, std::uint32_t NF) { return OrderOfPair(a, b, NF, true); });
  } else {
    f(order);
  }
}

// An insertion sort that follows the (anti)commutators.
template <class T, class Order>
class NormalOrdering {
 public:
  NormalOrdering(OperatorType& O, const Order& order) : O_(O), order_(order) {}

  void add(const LadderIndex* lader, std::uint32_t sorted, std::uint32_t length, T value) {
    WorkString work(length);
    std::copy_n(lader, length, work.data());
    sort(work.data(), sorted, length, value, 0);
    for (std::size_t k = 0; k < postponed_.size(); ++k) {
      Postponed next = std::move(postponed_[k]);
      sort(next.string.data(), next.sorted, static_cast<std::uint32_t>(next.string.size()), next.value, 0);
    }
  }

 private:
  struct Postponed {
    std::vector<LadderIndex> string;
    std::uint32_t sorted;
    T value;
  };

  // Adds value * W, of which the first `sorted` elements are in order.
  void sort(LadderIndex* W, std::uint32_t sorted, std::uint32_t length, T value, std::uint32_t depth) {
    const std::uint32_t NFermion = O_.layout.NFermion;
    for (std::uint32_t i = sorted; i < length; ++i) {
      const LadderIndex a = W[i];
      for (std::uint32_t j = i; j > 0; --j) {
        const LadderIndex b = W[j - 1];
        const OrderAction action = order_(a, b, NFermion);
        if (action == OrderAction::InOrder) break;
        if (action == OrderAction::Vanish) return;
        W[j] = b;
        W[j - 1] = a;
        if (action == OrderAction::Commute) continue;
        if (action != OrderAction::FermionExchange && LadderOrbital(a) == LadderOrbital(b))
          contract(W, i, j, length, action == OrderAction::BosonAntiContraction ? -value : value, depth);
        if (action == OrderAction::FermionContraction || action == OrderAction::FermionExchange)
          value = -value;
      }
    }
    OperatorAddLader(O_, W, length, value);
  }

  // Adds W without its elements j - 1 and j. What stands below i is in order and stays so without the pair.
  void contract(const LadderIndex* W, std::uint32_t i, std::uint32_t j, std::uint32_t length, T value,
                std::uint32_t depth) {
    const auto without = [&](LadderIndex* out) {
      std::copy(W + j + 1, W + length, std::copy(W, W + j - 1, out));
    };
    if constexpr (!IsComplex<T>) {
      // What falls into a complex table is complex from there on, with all that it leaves.
      if (length - 2 <= MaxLength(O_) && QComplexTable(O_.l[length - 2])) {
        WorkString shorter(length - 2);
        without(shorter.data());
        return NormalOrdering<Complex16, Order>(O_, order_)
            .add(shorter.data(), std::max(i - 1, 1u), length - 2, value);
      }
    }
    if (depth == MaxDepth) {
      Postponed& later = postponed_.emplace_back(
          Postponed{std::vector<LadderIndex>(length - 2), std::max(i - 1, 1u), value});
      return without(later.string.data());
    }
    WorkString shorter(length - 2);
    without(shorter.data());
    sort(shorter.data(), std::max(i - 1, 1u), length - 2, value, depth + 1);
  }

  // Contractions of contractions: no operator of physics comes near, but a script may write a string of any
  // length, and the stack is finite.
  static constexpr std::uint32_t MaxDepth = 500;
  OperatorType& O_;
  const Order& order_;
  std::vector<Postponed> postponed_;
};

template <class T>
void AddInOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, T value,
                OrderPredicate order, std::uint32_t sorted = 1) {
  DispatchOrder(order, [&](const auto& compiled) {
    NormalOrdering<T, std::decay_t<decltype(compiled)>>(O, compiled).add(lader, sorted, length, value);
  });
}

}  // namespace

void AddNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double value,
                    OrderPredicate order, std::uint32_t sorted) {
  AddInOrder(O, lader, length, value, order, sorted);
}

void AddNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, Complex16 value,
                    OrderPredicate order, std::uint32_t sorted) {
  AddInOrder(O, lader, length, value, order, sorted);
}

std::uint32_t SortedLength(const LadderIndex* lader, std::uint32_t length, std::uint32_t NFermion,
                           OrderPredicate order) {
  std::uint32_t sorted = 1;
  while (sorted < length && order(lader[sorted], lader[sorted - 1], NFermion) == OrderAction::InOrder)
    ++sorted;
  return sorted;
}

void RealOperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                                     double value, OrderPredicate order) {
  AddInOrder(O, lader, length, value, order);
}

void ComplexOperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length,
                                        Complex16 value, OrderPredicate order) {
  AddInOrder(O, lader, length, value, order);
}

void OperatorAddLaderNormalOrder(OperatorType& O, const LadderIndex* lader, std::uint32_t length, double re,
                                 double im, OrderPredicate order) {
  const bool complexTable = length <= MaxLength(O) && QComplexTable(O.l[length]);
  if (!complexTable && std::fabs(im) < NumericalZero) {
    RealOperatorAddLaderNormalOrder(O, lader, length, re, order);
  } else {
    if (length <= MaxLength(O)) static_cast<void>(MakeRealOperatorFixedLengthComplex(O, length));
    ComplexOperatorAddLaderNormalOrder(O, lader, length, {re, im}, order);
  }
}

OperatorType NormalOrderOperator(const OperatorType& O, OrderPredicate order) {
  OperatorType result = InitOperatorCopySettings(O);
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, auto value) {
    AddNormalOrder(result, lader, length, value, order);
  });
  return result;
}

void OperatorAddNormalOrder(OperatorType& O, const OperatorType& Other, Complex16 factor,
                            OrderPredicate order) {
  AddScaledTerms(O, Other, factor, [&](const LadderIndex* lader, std::uint32_t length, auto value) {
    AddNormalOrder(O, lader, length, value, order);
  });
}

}  // namespace fermix
