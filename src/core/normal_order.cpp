#include "core/normal_order.h"

#include <algorithm>
#include <cmath>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>

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

// An insertion sort that follows the (anti)commutators. What contractions leave of a short string is sorted
// at once. The number of ways to contract a long one is a factorial, that of different strings they leave
// often is not: these are gathered, equal ones merged, and sorted length by length. Terms arrive in a table
// in the same order either way.
template <class T, class Order>
class NormalOrdering {
 public:
  NormalOrdering(OperatorType& O, const Order& order) : O_(O), order_(order) {}

  void add(const LadderIndex* lader, std::uint32_t sorted, std::uint32_t length, T value) {
    WorkString work(length);
    std::copy_n(lader, length, work.data());
    sort(work.data(), sorted, length, value);
    while (const std::unique_ptr<Gathered> strings = std::move(gathered_))
      for (const auto string : strings->arrival) {
        const auto& [shorter, rest] = *string;
        std::copy(shorter.begin(), shorter.end(), work.data());
        sort(work.data(), rest.sorted, static_cast<std::uint32_t>(shorter.size()), rest.value);
      }
  }

 private:
  // Strings of one length, and the order in which they came.
  struct Rest {
    std::uint32_t sorted;
    T value;
  };
  struct Gathered {
    std::map<std::vector<LadderIndex>, Rest> strings;
    std::vector<typename decltype(strings)::iterator> arrival;
  };

  // Adds value * W, of which the first `sorted` elements are in order.
  void sort(LadderIndex* W, std::uint32_t sorted, std::uint32_t length, T value) {
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
          contract(W, i, j, length, action == OrderAction::BosonAntiContraction ? -value : value);
        if (action == OrderAction::FermionContraction || action == OrderAction::FermionExchange)
          value = -value;
      }
    }
    OperatorAddLader(O_, W, length, value);
  }

  // Adds W without its elements j - 1 and j. What stands below i is in order and stays so without the pair.
  void contract(const LadderIndex* W, std::uint32_t i, std::uint32_t j, std::uint32_t length, T value) {
    const std::uint32_t sorted = std::max(i - 1, 1u);
    if (length > LongestAtOnce) {
      std::vector<LadderIndex> shorter(W, W + j - 1);
      shorter.insert(shorter.end(), W + j + 1, W + length);
      return gather(std::move(shorter), sorted, value);
    }
    WorkString shorter(length - 2);
    std::copy(W + j + 1, W + length, std::copy(W, W + j - 1, shorter.data()));
    if (QTurnsComplex(length - 2)) return addComplex(shorter.data(), sorted, length - 2, value);
    sort(shorter.data(), sorted, length - 2, value);
  }

  void gather(std::vector<LadderIndex> shorter, std::uint32_t sorted, T value) {
    const auto length = static_cast<std::uint32_t>(shorter.size());
    if (QTurnsComplex(length)) return addComplex(shorter.data(), sorted, length, value);
    if (!gathered_) gathered_ = std::make_unique<Gathered>();
    const auto [string, fresh] = gathered_->strings.try_emplace(std::move(shorter), Rest{sorted, T{}});
    if (fresh) gathered_->arrival.push_back(string);
    string->second.sorted = std::max(string->second.sorted, sorted);
    string->second.value += value;
  }

  // What falls into a complex table is complex from there on, with all that it leaves.
  bool QTurnsComplex(std::uint32_t length) const {
    return !IsComplex<T> && length <= MaxLength(O_) && QComplexTable(O_.l[length]);
  }
  void addComplex(const LadderIndex* lader, std::uint32_t sorted, std::uint32_t length, Complex16 value) {
    NormalOrdering<Complex16, Order>(O_, order_).add(lader, sorted, length, value);
  }

  static constexpr std::uint32_t LongestAtOnce = 12;  // at most 720 ways
  OperatorType& O_;
  const Order& order_;
  std::unique_ptr<Gathered> gathered_;
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
