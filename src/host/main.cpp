// Process entry: with a script runs it and exits, without one offers the prompt.
#include <cstdio>
#include <cstdlib>

#include "host/base/status.h"
#include "host/complex_script.h"
#include "host/interpreter.h"
#include "host/script_library/script_library.h"
#include "host/units_script.h"
#include "linalg/blas.h"

using namespace fermix;

int main(int argc, char** argv) {
  PrepareProcess(argv);
  // When there is no room for it now, whoever needs it later says so.
  static_cast<void>(FitsInMemory(HoldBlasMemory));
  PrintBanner();
  SeedRandom();
  lua_State* L = NewInterpreter({luaopen_units, luaopen_Complex, luaopen_ssp, luaconstants});
  if (!L) {
    std::fputs("Fermix: not enough memory\n", stderr);
    return EXIT_FAILURE;
  }
  return argc > 1 ? RunScript(L, argc, argv) : RunPrompt(L);
}
