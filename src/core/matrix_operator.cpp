#include "core/matrix_operator.h"

#include <algorithm>
#include <bit>
#include <stdexcept>
#include <string>

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

}  // namespace fermix
