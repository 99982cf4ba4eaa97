// Single ladder operators, sums of them, and the identity.
//
// All orbital indices are below NFermion, which is at most 32768. Terms on equal orbitals add up.
#pragma once

#include "core/operator.h"

namespace fermix {

// c+(i) and c(i).
OperatorType CreateOperatorCreate(std::uint32_t NFermion, std::uint16_t i);
OperatorType CreateOperatorAnnihilate(std::uint32_t NFermion, std::uint16_t i);
// The sum of prefactors[k] c+(indices[k]), or of prefactors[k] c(indices[k]); lists of one length.
OperatorType CreateOperatorCreateList(std::uint32_t NFermion, const std::vector<std::uint16_t>& indices,
                                      const std::vector<Complex16>& prefactors);
OperatorType CreateOperatorAnnihilateList(std::uint32_t NFermion, const std::vector<std::uint16_t>& indices,
                                          const std::vector<Complex16>& prefactors);

// c+(a) c(b).
OperatorType CreateOperatorNumber(std::uint32_t NFermion, std::uint16_t a, std::uint16_t b);
// The sum of prefactors[k] c+(creation[k]) c(annihilation[k]); lists of one length.
OperatorType CreateOperatorCreateAnnihilateList(std::uint32_t NFermion,
                                                const std::vector<std::uint16_t>& creation,
                                                const std::vector<std::uint16_t>& annihilation,
                                                const std::vector<Complex16>& prefactors);

OperatorType CreateOperatorIdentity(std::uint32_t NFermion);

}  // namespace fermix
