#include "host/base/status.h"

#include <cstdio>
#include <cstdlib>

namespace fermix {

void Say(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fflush(stdout);
}

int Fail(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::vprintf(format, arguments);
  va_end(arguments);
  std::fflush(stdout);
  return 1;
}

void EndOfMemory() {
  Say("Allocation failed\nNo evaluation information impelemented yet\nSorry you're screwed: System will "
      "exit\n");
  std::exit(1);
}

}  // namespace fermix
