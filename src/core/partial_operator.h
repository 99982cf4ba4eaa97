// The part of an operator that belongs to groups of orbitals.
#pragma once

#include "core/operator.h"

namespace fermix {

// A group holds orbital indices below NFermion.
using OrbitalGroups = std::vector<std::vector<std::uint32_t>>;

// At least one index of the string stands in a group; never so for the constant.
bool isCrAnIncluded(const LadderIndex* lader, std::uint32_t length, const OrbitalGroups& groups);
// None of its indices stands in a group.
bool isCrAnExcluded(const LadderIndex* lader, std::uint32_t length, const OrbitalGroups& groups);
// In each group it creates as often as it annihilates.
bool isCrAnConservesSubspaceOccupation(const LadderIndex* lader, std::uint32_t length,
                                       const OrbitalGroups& groups);

using CrAnPredicate = bool (*)(const LadderIndex*, std::uint32_t, const OrbitalGroups&);

// The terms for which keep holds, with the name, the space, the restrictions and the tables of O.
OperatorType extractPartialOperator(const OperatorType& O, const OrbitalGroups& groups, CrAnPredicate keep);

}  // namespace fermix
