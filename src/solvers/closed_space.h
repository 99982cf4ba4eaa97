// Determinants that operators reach: the spaces on which a spectrum is exact.
#pragma once

#include "core/operator.h"
#include "core/wave_function.h"

namespace fermix {

// Adds to U the determinants of other, with values of 0: a norm of 0 or an overflow in other does no harm.
void AddBasis(WaveFunctionType& U, WaveFunctionType other);

// Adds to U all determinants that H reaches from it, again and again, until H maps the space onto itself. R:
// restrictions in force, those of H play no part. False, with U worthless, when there are none or more than
// most. Throws bad_alloc.
bool CloseUnder(const OperatorType& H, const DeterminantRestrictionType& R, std::uint32_t most,
                WaveFunctionType& U);

}  // namespace fermix
