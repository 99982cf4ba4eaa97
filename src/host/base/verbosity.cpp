#include "host/base/verbosity.h"

#include <cstdio>

namespace fermix {

std::uint32_t GlobalVerbosity = 15;

void VerbosityPrintf(std::uint32_t mask, const char* format, ...) {
  if (!(GlobalVerbosity & mask)) return;
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
}

}  // namespace fermix
