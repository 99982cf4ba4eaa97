// The interactive mode: statements from standard input, compiled as soon as they are complete, run with a
// traceback, their results printed.
//
// SIGINT is caught only while a statement runs: the handler sets a debug hook, and the hook raises the error.
// Hooks belong to a coroutine, so resume and wrap keep track of which one runs, and pass the interrupt on
// when it ends.
#include <csignal>
#include <cstdio>
#include <cstring>
#include <utility>

#include "host/interpreter.h"
#include "host/script.h"

namespace fermix {

namespace {

// What stands before messages on standard error; null while the prompt runs.
const char* progname = "Fermix";
// The coroutine that runs, which the interrupt handler stops.
lua_State* globalL = nullptr;
volatile std::sig_atomic_t interrupted = 0;  // since the statement began

void Report(const char* message) {
  if (progname) std::fprintf(stderr, "%s: ", progname);
  std::fprintf(stderr, "%s\n", message);
  std::fflush(stderr);
}

// Reports and pops the error object of a failed step; nil says nothing.
void ReportErrorObject(lua_State* L) {
  if (!lua_isnil(L, -1)) {
    const char* text = lua_tostring(L, -1);
    Report(text ? text : "(error object is not a string)");
  }
  lua_pop(L, 1);
}

int Collect(lua_State* L) {
  lua_gc(L, LUA_GCCOLLECT, 0);
  return 0;
}

// Also releases what the failed step held. A finaliser may fail in turn.
void ReportFailure(lua_State* L) {
  ReportErrorObject(L);
  lua_pushcfunction(L, Collect);
  if (lua_pcall(L, 0, 0, 0) != LUA_OK) ReportErrorObject(L);
}

void lstop(lua_State* L, lua_Debug*) {
  lua_sethook(L, nullptr, 0, 0);
  luaL_error(L, "interrupted!");
}

void StopSoon(lua_State* L) { lua_sethook(L, lstop, LUA_MASKCALL | LUA_MASKRET | LUA_MASKCOUNT, 1); }

// A second interrupt before the statement has ended ends the process.
void laction(int sig) {
  std::signal(sig, SIG_DFL);
  interrupted = 1;
  StopSoon(globalL);
}

// While it lives, co is the coroutine that an interrupt stops.
class Running {
 public:
  Running(lua_State* L, lua_State* co) : L_(L), co_(co), before_(globalL) { globalL = co; }
  ~Running() {
    globalL = before_;
    if (!interrupted) return;
    lua_sethook(co_, nullptr, 0, 0);  // it may have yielded before the hook fired
    StopSoon(L_);
  }
  Running(const Running&) = delete;
  Running& operator=(const Running&) = delete;

 private:
  lua_State *L_, *co_, *before_;
};

// The functions of the standard library; ours stand in their place, on the same arguments and upvalues.
lua_CFunction resumeOfLua = nullptr, stepOfWrap = nullptr;

int Resume(lua_State* L) {
  lua_State* co = lua_tothread(L, 1);
  const Running running(L, co ? co : L);
  return resumeOfLua(L);
}

int StepOfWrap(lua_State* L) {
  const Running running(L, lua_tothread(L, lua_upvalueindex(1)));
  return stepOfWrap(L);
}

int Wrap(lua_State* L) {
  luaL_checktype(L, 1, LUA_TFUNCTION);
  lua_State* co = lua_newthread(L);
  lua_pushvalue(L, 1);
  lua_xmove(L, co, 1);
  lua_pushcclosure(L, StepOfWrap, 1);
  return 1;
}

void FollowCoroutines(lua_State* L) {
  lua_getglobal(L, "coroutine");
  lua_getfield(L, -1, "resume");
  resumeOfLua = lua_tocfunction(L, -1);
  lua_getfield(L, -2, "wrap");
  lua_pushcfunction(L, Collect);  // any function: the one that wrap returns is what is asked for
  lua_call(L, 1, 1);
  stepOfWrap = lua_tocfunction(L, -1);
  lua_pop(L, 2);
  lua_pushcfunction(L, Resume);
  lua_setfield(L, -2, "resume");
  lua_pushcfunction(L, Wrap);
  lua_setfield(L, -2, "wrap");
  lua_pop(L, 1);
}

int traceback(lua_State* L) {
  if (const char* message = lua_tostring(L, 1)) {
    luaL_traceback(L, L, message, 1);
  } else if (!lua_isnoneornil(L, 1) && !luaL_callmeta(L, 1, "__tostring")) {
    lua_pushliteral(L, "(no error message)");
  }
  return 1;
}

// Runs the function on the stack top, which took no arguments; leaves its results or the error object.
int CallStatement(lua_State* L) {
  const int handler = lua_gettop(L);
  lua_pushcfunction(L, Entry<traceback>);
  lua_insert(L, handler);
  globalL = L;
  interrupted = 0;
  std::signal(SIGINT, laction);
  const int status = lua_pcall(L, 0, LUA_MULTRET, handler);
  std::signal(SIGINT, SIG_DFL);
  lua_sethook(L, nullptr, 0, 0);  // of an interrupt that came too late
  lua_remove(L, handler);
  return status;
}

// Pushes the value that the returned text belongs to. Reads the global without metamethods: one that refuses
// undefined names would leave no prompt at all.
const char* Prompt(lua_State* L, bool first) {
  lua_pushglobaltable(L);
  lua_pushstring(L, first ? "_PROMPT" : "_PROMPT2");
  lua_rawget(L, -2);
  lua_remove(L, -2);
  const char* prompt = lua_tostring(L, -1);
  return prompt ? prompt : first ? "F " : ">> ";
}

constexpr int lineBuffer = 512;

// Pushes one line without its line end; false at the end of input.
bool pushline(lua_State* L, bool first) {
  std::fputs(Prompt(L, first), stdout);
  std::fflush(stdout);
  lua_pop(L, 1);
  char line[lineBuffer];
  if (!std::fgets(line, lineBuffer, stdin)) return false;
  line[std::strcspn(line, "\n")] = '\0';
  if (first && line[0] == '=') {
    lua_pushfstring(L, "return %s", line + 1);
  } else {
    lua_pushstring(L, line);
  }
  return true;
}

// Whether the error message on the stack top says that the text ended too early.
bool QIncomplete(lua_State* L, int status) {
  constexpr std::size_t length = sizeof "<eof>" - 1;
  std::size_t n = 0;
  const char* message = lua_tolstring(L, -1, &n);
  return status == LUA_ERRSYNTAX && message && n >= length && !std::strcmp(message + n - length, "<eof>");
}

// Leaves the compiled statement, or the error object, as the only value on the stack; -1 at the end of input.
int LoadStatement(lua_State* L) {
  lua_settop(L, 0);
  if (!pushline(L, true)) return -1;
  while (true) {
    std::size_t length = 0;
    const char* text = lua_tolstring(L, 1, &length);
    const int status = luaL_loadbuffer(L, text, length, "=stdin");
    if (!QIncomplete(L, status)) {
      lua_remove(L, 1);
      return status;
    }
    lua_pop(L, 1);
    lua_pushliteral(L, "\n");
    if (!pushline(L, false)) return -1;
    lua_concat(L, 3);
  }
}

// Prints all values on the stack.
int PrintResults(lua_State* L) {
  if (lua_gettop(L) == 0) return LUA_OK;
  if (!lua_checkstack(L, LUA_MINSTACK)) {
    lua_settop(L, 0);
    lua_pushliteral(L, "stack overflow (too many results to print)");
    return LUA_ERRRUN;
  }
  lua_getglobal(L, "print");
  lua_insert(L, 1);
  if (lua_pcall(L, lua_gettop(L) - 1, 0, 0) != LUA_OK) {
    const char* text = lua_tostring(L, -1);
    Report(lua_pushfstring(L, "error calling 'print' (%s)", text ? text : "(null)"));
  }
  return LUA_OK;
}

// Reads, runs and prints one statement. Returns to the script side whether there was one.
int RunStatement(lua_State* L) {
  int status = LoadStatement(L);
  const bool found = status != -1;
  if (status == LUA_OK) status = CallStatement(L);
  if (status == LUA_OK) status = PrintResults(L);
  if (found && status != LUA_OK) ReportFailure(L);
  lua_pushboolean(L, found);
  return 1;
}

}  // namespace

int RunPrompt(lua_State* L) {
  const char* saved = std::exchange(progname, nullptr);
  FollowCoroutines(L);
  for (bool more = true; more; lua_settop(L, 0)) {
    // Protected as a whole: outside of the statement a finaliser may fail, or memory for its text.
    lua_pushcfunction(L, Entry<RunStatement>);
    if (lua_pcall(L, 0, 1, 0) == LUA_OK) {
      more = lua_toboolean(L, -1);
    } else {
      ReportFailure(L);
    }
  }
  std::fputs("\n", stdout);
  std::fflush(stdout);
  progname = saved;
  lua_close(L);
  return 0;
}

}  // namespace fermix
