#include "host/interpreter.h"

#include <unistd.h>

#include <cfloat>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <ctime>

#include "host/base/allocator.h"
#include "host/memory_limit.h"
#include "host/mersenne_twister.h"

// There when the BLAS is OpenBLAS.
extern "C" void openblas_set_num_threads(int) __attribute__((weak));

namespace fermix {

namespace {

constexpr const char* separator = "=============================================================";

// We need one thread of the BLAS; users may ask for more. OpenBLAS has started its threads by now, each with
// 128 MiB of addresses, and one that a limit refuses them tries forever: then the process starts anew without
// them.
void SetBlasThreads(char** argv) {
  if (!openblas_set_num_threads || std::getenv("OPENBLAS_NUM_THREADS") || std::getenv("OMP_NUM_THREADS"))
    return;
  char path[PATH_MAX];
  const ssize_t length = MemoryIsLimited() ? readlink("/proc/self/exe", path, sizeof path - 1) : -1;
  if (length > 0) {
    path[length] = 0;
    setenv("OPENBLAS_NUM_THREADS", "1", 1);
    execv(path, argv);
  }
  openblas_set_num_threads(1);
}

// With this pause a cycle of the collector starts as soon as the last one has ended: what a script holds is
// larger than the collector knows.
constexpr int collectorPause = 100;

void SeedMersenneTwister() {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  for (int i = 0; i < 3; ++i) std::rand();
  std::vector<std::uint64_t> keys(4);
  for (std::uint64_t& key : keys) key = static_cast<std::uint64_t>(std::rand());
  GlobalMersenneTwister.Draw();
  GlobalMersenneTwister.SeedByArray(keys);
  GlobalMersenneTwister.Draw();
}

void PushScriptArguments(lua_State* L, int argc, char** argv) {
  lua_createtable(L, argc - 2, 0);
  for (int i = 2; i < argc; ++i) {
    lua_pushstring(L, argv[i]);
    lua_rawseti(L, -2, i - 1);
  }
  lua_setglobal(L, "args");
}

// The text of an error object; what the C library prints for a null string if it has none.
const char* ErrorText(lua_State* L) {
  const char* text = lua_tostring(L, -1);
  return text ? text : "(null)";
}

}  // namespace

void PrepareProcess(char** argv) {
  SetBlasThreads(argv);
  ConfigureAllocator();
  std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
  LimitOwnMemory();
}

void PrintBanner() {
  std::printf("%s\n", separator);
  std::puts("====    Fermix                                           ====");
  std::puts("====    Quantum many-body models of core-level and       ====");
  std::puts("====    valence spectroscopy, solved by scripts          ====");
  std::puts("====                                                     ====");
  std::puts("====    Written by the developers of Fermix. Free        ====");
  std::puts("====    software: use, change and share it under the     ====");
  std::puts("====    terms of the file LICENSE that comes with it     ====");
  std::puts("====                                                     ====");
  std::puts("====    Beta version, be critical and report errors!!!   ====");
  std::printf("%s\n", separator);
  std::puts("====    Version 0.8 beta                                 ====");
  std::printf("====            compiled at: %s at %s     ====\n", __DATE__, __TIME__);
  std::printf("%s\n", separator);
  std::puts("====    If Fermix helps you to results that you          ====");
  std::puts("====    publish, please cite the papers that describe    ====");
  std::puts("====    the methods behind the functions you used        ====");
  std::printf("%s\n", separator);

  const std::time_t now = std::time(nullptr);
  std::printf("Program executed on: %s", std::asctime(std::localtime(&now)));
  char host[256] = "";
  gethostname(host, sizeof host - 1);
  std::printf("Running on host    : %s\n", host);
  // No thread is ever started here, so the two counts are not measured.
  std::printf("number of available processors              : %i\n", 0);
  std::printf("maximum number of threads in parallel region: %i\n", 0);
  std::printf("Smallest positive float  : %E \n", DBL_MIN);
  std::printf("Smallest deviation from 1: %E \n\n", DBL_EPSILON);
}

void SeedRandom() {
  std::srand(static_cast<unsigned>(std::time(nullptr)));
  for (int i = 0; i < 10; ++i) std::rand();
}

lua_State* NewInterpreter(std::initializer_list<void (*)(lua_State*)> libraries) {
  lua_State* L = luaL_newstate();
  if (!L) return nullptr;
  luaL_openlibs(L);
  for (const auto open : libraries) open(L);
  lua_gc(L, LUA_GCSETPAUSE, collectorPause);
  SeedMersenneTwister();
  return L;
}

int RunScript(lua_State* L, int argc, char** argv) {
  int status = luaL_loadfilex(L, argv[1], nullptr);
  if (status != LUA_OK) {
    std::printf("Error while loading the script:\n%s\n\n", ErrorText(L));
  } else {
    if (argc > 2) PushScriptArguments(L, argc, argv);
    status = lua_pcall(L, 0, 0, 0);
    if (status != LUA_OK) std::fprintf(stderr, "Error while executing the script:\n%s\n\n", ErrorText(L));
  }
  lua_close(L);
  return status == LUA_OK ? 0 : 1;
}

}  // namespace fermix
