// Process entry: with a script runs it and exits, without one offers the prompt.
#include <cstdio>
#include <cstdlib>

#include "host/interpreter.h"

int main(int argc, char** argv) {
  fermix::PrepareProcess();
  fermix::PrintBanner();
  fermix::SeedRandom();
  lua_State* L = fermix::NewInterpreter();
  if (!L) {
    std::fputs("Fermix: not enough memory\n", stderr);
    return EXIT_FAILURE;
  }
  return argc > 1 ? fermix::RunScript(L, argc, argv) : fermix::RunPrompt(L);
}
