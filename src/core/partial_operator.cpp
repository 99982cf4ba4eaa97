#include "core/partial_operator.h"

#include <algorithm>

namespace fermix {

namespace {

bool QInGroup(LadderIndex i, const std::vector<std::uint32_t>& group) {
  return std::find(group.begin(), group.end(), LadderOrbital(i)) != group.end();
}

}  // namespace

bool isCrAnIncluded(const LadderIndex* lader, std::uint32_t length, const OrbitalGroups& groups) {
  return !isCrAnExcluded(lader, length, groups);
}

bool isCrAnExcluded(const LadderIndex* lader, std::uint32_t length, const OrbitalGroups& groups) {
  return std::none_of(lader, lader + length, [&](LadderIndex i) {
    return std::any_of(groups.begin(), groups.end(), [i](const auto& group) { return QInGroup(i, group); });
  });
}

bool isCrAnConservesSubspaceOccupation(const LadderIndex* lader, std::uint32_t length,
                                       const OrbitalGroups& groups) {
  return std::all_of(groups.begin(), groups.end(), [&](const auto& group) {
    int change = 0;
    for (std::uint32_t k = 0; k < length; ++k)
      if (QInGroup(lader[k], group)) change += QCreation(lader[k]) ? 1 : -1;
    return change == 0;
  });
}

OperatorType extractPartialOperator(const OperatorType& O, const OrbitalGroups& groups, CrAnPredicate keep) {
  OperatorType result = InitOperatorCopySettings(O);
  ForEachTerm(O, [&](const LadderIndex* lader, std::uint32_t length, auto value) {
    if (keep(lader, length, groups)) OperatorAddLader(result, lader, length, value);
  });
  return result;
}

}  // namespace fermix
