// The process from banner to exit status: start-up, the one interpreter state, script mode and the prompt.
#pragma once

#include <initializer_list>
#include <lua.hpp>

namespace fermix {

// Start-up of the process, in this order, all before the interpreter exists.
void PrepareProcess(char** argv);  // BLAS on one thread, standard output by lines, a limit on memory
void PrintBanner();
void SeedRandom();

// A state with the standard libraries and, behind them in the given order, the system's own; null when there
// is no memory for it. Seeds the Mersenne twister.
lua_State* NewInterpreter(std::initializer_list<void (*)(lua_State*)> libraries);

// Runs the script argv[1] with the arguments behind it as the global args. Exit status 0, 1 when loading or
// running failed. Closes L.
int RunScript(lua_State* L, int argc, char** argv);

// The prompt, until the end of standard input. Exit status 0. Closes L.
int RunPrompt(lua_State* L);

}  // namespace fermix
