// Progress lines under a bit mask that the script sets with Verbosity(mask).
#pragma once

#include <cstdint>

#include "host/base/status.h"

namespace fermix {

// Bits of the masks in use: 1 and 2 print by default, the others on demand.
extern std::uint32_t GlobalVerbosity;

// Prints as printf when GlobalVerbosity and mask share a bit.
void VerbosityPrintf(std::uint32_t mask, const char* format, ...) FERMIX_PRINTF(2, 3);

}  // namespace fermix
