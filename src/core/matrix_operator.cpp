#include "core/matrix_operator.h"

#include <algorithm>
#include <bit>
#include <stdexcept>
#include <string>

#include "core/normal_order.h"

namespace fermix {

OperatorType CompactMatrixToOperator(const CompactMatrixType& m) {
  if (m.Ni != m.Nj || m.Ni > IndexMask + 1u)
    throw std::invalid_argument("A matrix of dimension " + std::to_string(m.Ni) + " times " +
                                std::to_string(m.Nj) + " is no one-particle operator\n");
  OperatorType O = InitOperator(m.Ni, 0);
  std::visit(
      [&](const auto& data) {
        using T = std::decay_t<decltype(data[0])>;
        const auto terms = data.size() - static_cast<std::size_t>(std::count(data.begin(), data.end(), T(0)));
        InitOperatorFixedLength(O, 2, std::clamp(static_cast<std::uint32_t>(std::bit_width(terms)), 8u, 24u));
        for (std::uint32_t i = 0; i < m.Ni; ++i)
          for (std::uint32_t j = 0; j < m.Nj; ++j) {
            const T x = data[std::size_t{i} * m.Nj + j];
            if (x == T(0)) continue;
            const LadderIndex hop[] = {Annihilate(j), Create(i)};  // the first acts first
            OperatorAddLader(O, hop, 2, Re(x), Im(x));
          }
      },
      m.Data);
  OperatorSetMaxLength(O);
  return O;
}

CompactMatrixType OperatorToOneParticleMatrix(const OperatorType& O) {
  const OperatorType ordered = NormalOrderOperator(O, QDetNotOrderedFcFaBcBa);
  const std::uint32_t NF = O.layout.NFermion;
  const bool complex = MaxLength(ordered) >= 2 && QComplexTable(ordered.l[2]);
  CompactMatrixType h = InitCompactMatrix(NF, NF, complex);
  ForEachTerm(ordered, [&](const LadderIndex* lader, std::uint32_t length, auto value) {
    if (length != 2 || QCreation(lader[0]) || !QCreation(lader[1])) return;
    const std::uint32_t i = LadderOrbital(lader[1]), j = LadderOrbital(lader[0]);
    if (i >= NF || j >= NF) return;
    std::visit(
        [&](auto& data) {
          using T = typename std::decay_t<decltype(data)>::value_type;
          data[std::size_t{i} * NF + j] += ToKind<T>(Complex16(value));
        },
        h.Data);
  });
  return h;
}

}  // namespace fermix
