// Lanczos tridiagonalisation from several start states side by side, on remembered rows.
#pragma once

#include "core/panel.h"
#include "solvers/lanczos.h"

namespace fermix {

// So many states fit into one panel.
constexpr std::size_t PanelStates(bool complex) { return complex ? 4 : 8; }

// Chains of start states as LanczosTriDiagonalize makes them, on the rows and the numbering of H, which grow.
// count: 1, 2, or up to PanelStates(complex); complex: as one of the states or H is.
// Rows make room for vectors when memory runs out; throws bad_alloc when there are no more. False when so
// much is truncated that states cover only a small part of the numbering, so that going on without it costs
// less. Nothing has been printed in both cases.
template <class C>
[[nodiscard]] bool PanelLanczos(OperatorRows<C>& H, const WaveFunctionType* starts, std::size_t count,
                                bool complex, const LanczosSettings& settings, LanczosRun* runs);

}  // namespace fermix
