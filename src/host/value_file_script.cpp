#include "host/value_file_script.h"

#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <memory>
#include <tuple>

#include "core/operator_script.h"
#include "core/wave_function_script.h"
#include "host/table_walk.h"
#include "host/value_source_script.h"
#include "linalg/matrix_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

// --- Values as text

// What the text around a value asks of the interpreter when the file is read: it nests at most 200 calls of
// its parser, some of them those of the script that reads, and keeps all that is open in 250 registers - one
// for a table, one for each of up to 49 elements of a list that wait to be stored, and one for a key that is
// none of the first 256 constants.
struct Nesting {
  int depth = 0, registers = 0;
};
constexpr int maxDepth = 180;
constexpr int maxRegisters = 240;
constexpr int maxWaiting = 50;
constexpr int tableRegisters = 3;      // of a table with a key and a value
constexpr int recordRegisters = 110;   // of the call that makes a record
constexpr int maxListRegisters = 100;  // beyond, the elements of a list are written with their keys
constexpr int maxConstants = 250;

// Where the text goes, and what is known of what has been written.
struct Output {
  std::FILE* stream;
  TableWalk walk;
  int constants = 0;  // at most so many, as each one is counted every time
};

// Refuses what would not be read back; also what contains itself.
void CheckNesting(lua_State* L, const Nesting& nesting, int inside) {
  const bool full = nesting.registers + inside > maxRegisters;
  EnterTable(L, nesting.depth, full ? nesting.depth : maxDepth);
}

void Write(lua_State* L, int index, Output& out, Nesting nesting);

// Number of elements before the first nil.
int SequenceLength(lua_State* L, int index) {
  for (int n = 0;; ++n) {
    lua_rawgeti(L, index, n + 1);
    const bool end = lua_isnil(L, -1);
    lua_pop(L, 1);
    if (end) return n;
  }
}

// Of two tables with the same content the text is the same: numbers come first, by value, then strings.
struct SortedKey {
  int kind;
  double number;
  std::string text;
  int position;  // in the list of keys
  bool operator<(const SortedKey& k) const {
    return std::tie(kind, number, text, position) < std::tie(k.kind, k.number, k.text, k.position);
  }
};

SortedKey MakeSortedKey(lua_State* L, int index, int position) {
  switch (lua_type(L, index)) {
    case LUA_TNUMBER:
      return {0, lua_tonumber(L, index), "", position};
    case LUA_TSTRING: {
      std::string text;
      lua_check(L, index, text);
      return {1, 0, std::move(text), position};
    }
    default:
      return {2, 0, "", position};
  }
}

// Pushes a list of the keys of the table at index other than 1 .. listed; gives their positions in order.
std::vector<SortedKey> PushKeys(lua_State* L, int index, int listed) {
  std::vector<SortedKey> keys;
  lua_newtable(L);
  const int list = lua_gettop(L);
  for (lua_pushnil(L); lua_next(L, index); lua_pop(L, 1)) {
    const double number = lua_type(L, -2) == LUA_TNUMBER ? lua_tonumber(L, -2) : 0;
    if (number >= 1 && number <= listed && number == static_cast<int>(number)) continue;
    keys.push_back(MakeSortedKey(L, -2, static_cast<int>(keys.size()) + 1));
    lua_pushvalue(L, -2);
    lua_rawseti(L, list, keys.back().position);
  }
  std::sort(keys.begin(), keys.end());
  return keys;
}

void WriteTable(lua_State* L, int index, Output& out, Nesting nesting) {
  CheckNesting(L, nesting, tableRegisters);
  out.walk.CountRepeated(L, index);
  const int length = SequenceLength(L, index);
  // A short list takes no more room than its keys would.
  const bool list =
      length < tableRegisters || nesting.registers + std::min(length, maxWaiting) <= maxListRegisters;
  const int listed = list ? length : 0;
  const char* separator = "";
  std::fputs("{ ", out.stream);
  for (int i = 1; i <= listed; ++i) {
    std::fputs(separator, out.stream);
    lua_rawgeti(L, index, i);
    Write(L, -1, out, {nesting.depth + 1, nesting.registers + 1 + (i - 1) % maxWaiting});
    separator = lua_istable(L, -1) ? " , \n  " : " , ";
    lua_pop(L, 1);
  }
  if (listed) separator = " ,\n  ";
  for (const SortedKey& key : PushKeys(L, index, listed)) {
    Nesting inner = {nesting.depth + 1, nesting.registers + 1 + listed % maxWaiting};
    lua_rawgeti(L, -1, key.position);
    std::fprintf(out.stream, "%s[ ", separator);
    Write(L, -1, out, inner);
    std::fputs(" ] = ", out.stream);
    inner.registers += lua_istable(L, -1) || lua_isuserdata(L, -1) || out.constants > maxConstants;
    lua_rawget(L, index);
    Write(L, -1, out, inner);
    lua_pop(L, 1);
    separator = " ,\n  ";
  }
  lua_pop(L, 1);
  std::fputs(" }", out.stream);
}

// Writes the userdata at index if it is a T; false if it is none.
template <class T>
bool WriteRecord(lua_State* L, int index, std::FILE* stream) {
  const T* record = TestRecord<T>(L, index);
  if (record) PrintSource(stream, *record);
  return record != nullptr;
}

// A matrix is the call that makes it from its table form.
bool WriteMatrix(lua_State* L, int index, Output& out, Nesting nesting) {
  const auto* m = TestRecord<CompactMatrixType>(L, index);
  if (!m) return false;
  std::fputs("Matrix.New(", out.stream);
  LuaPushTable_CompactMatrixType(L, *m);
  Output rows{out.stream, {}, out.constants};  // a table of its own, whose place another one may take
  Write(L, -1, rows, nesting);
  out.constants = rows.constants;
  lua_pop(L, 1);
  std::fputs(")", out.stream);
  return true;
}

void WriteUserdata(lua_State* L, int index, Output& out, Nesting nesting) {
  const bool number = TestRecord<Complex16>(L, index);
  CheckNesting(L, nesting, number ? tableRegisters : recordRegisters);
  out.constants += number ? 3 : maxConstants;
  if (!(WriteRecord<Complex16>(L, index, out.stream) || WriteRecord<OperatorType>(L, index, out.stream) ||
        WriteRecord<WaveFunctionType>(L, index, out.stream) ||
        WriteRecord<SpectraTypeArray>(L, index, out.stream) || WriteMatrix(L, index, out, nesting)))
    luaL_error(L, "Error in LuaASCIIStreamPrint unrecognized type of user data\n");
}

void Write(lua_State* L, int index, Output& out, Nesting nesting) {
  index = lua_absindex(L, index);
  ++out.constants;
  switch (lua_type(L, index)) {
    case LUA_TNIL:
      std::fputs("nil", out.stream);
      break;
    case LUA_TNUMBER:
      PrintSource(out.stream, lua_tonumber(L, index));
      break;
    case LUA_TBOOLEAN:
      std::fputs(lua_toboolean(L, index) ? "true" : "false", out.stream);
      break;
    case LUA_TSTRING: {
      std::string text;
      lua_check(L, index, text);
      PrintSource(out.stream, text);
      break;
    }
    case LUA_TTABLE:
      WriteTable(L, index, out, nesting);
      break;
    case LUA_TUSERDATA:
      WriteUserdata(L, index, out, nesting);
      break;
    case LUA_TFUNCTION:
      luaL_error(L, "Error in LuaASCIIStreamPrint unrecognized type of function\n");
      break;
    case LUA_TTHREAD:
      luaL_error(L, "Error in LuaASCIIStreamPrint unrecognized type of thread\n");
      break;
    case LUA_TLIGHTUSERDATA:
      luaL_error(L, "Error in LuaASCIIStreamPrint unrecognized type of light user data\n");
      break;
    default:
      luaL_error(L, "Error in LuaASCIIStreamPrint unrecognized type of data\n");
  }
}

// --- Names and files

constexpr std::size_t maxNameLength = 200;

bool QLetter(char c) { return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_'; }
bool QDigit(char c) { return c >= '0' && c <= '9'; }

// Whether the interpreter takes name as that of a variable, which the words of its grammar are not.
bool QNotReserved(lua_State* L, const std::string& name) {
  const bool accepted = luaL_loadstring(L, ("local " + name).c_str()) == LUA_OK;
  lua_pop(L, 1);
  return accepted;
}

std::string CheckVariableName(lua_State* L, int index) {
  std::string name;
  lua_check(L, index, name);
  const bool token = !name.empty() && !QDigit(name[0]) &&
                     std::all_of(name.begin(), name.end(), [](char c) { return QLetter(c) || QDigit(c); });
  if (token && name.size() > maxNameLength)
    ScriptError(L, "%s is too long for a variable name in Fermix (at most %d characters are allowed)\n",
                name.c_str(), static_cast<int>(maxNameLength));
  if (!token || !QNotReserved(L, name))
    ScriptError(L,
                "%s is not a valid token for a variable name in Fermix (only alpha numerical characters and "
                "'_' are allowed)\n",
                name.c_str());
  return name;
}

std::string PathOfVariable(const std::string& file, const std::string& name) {
  std::string path = file + "/";
  for (const char c : name) {
    if (c >= 'A' && c <= 'Z') path += '^';
    path += static_cast<char>(std::tolower(c));
  }
  return path + ".Fermix";
}

struct CloseFile {
  void operator()(std::FILE* stream) const { std::fclose(stream); }
};

void LuaPutASCII(lua_State* L, int index, const std::string& path, const std::string& name) {
  std::unique_ptr<std::FILE, CloseFile> stream(std::fopen(path.c_str(), "w"));
  if (!stream) ScriptError(L, "ERROR\nCan't open %s for writing with mode %s.\n", path.c_str(), "w");
  std::fprintf(stream.get(), "%s = ", name.c_str());
  LuaASCIIStreamPrint(L, index, stream.get());
  std::fputs("\n", stream.get());
  const bool written = !std::ferror(stream.get());
  if (std::fclose(stream.release()) != 0 || !written)
    ScriptError(L, "ERROR\nCan't write to %s.\n", path.c_str());
}

constexpr mode_t directoryMode = 0700;

// Makes sure that file is a directory; an empty format is any.
void PrepareDirectory(lua_State* L, const std::string& file, const std::string& name,
                      const std::string& format) {
  struct stat status;
  const bool ascii = format.empty() || format == "ASCII";
  if (stat(file.c_str(), &status) == 0) {
    if (!S_ISDIR(status.st_mode))
      ScriptError(L, "Tried to open file %s for writing with put, but filetype not recognized\n",
                  file.c_str());
    if (!ascii)
      ScriptError(L,
                  "tried to put variable %s to file %s of indecated type %s, but file is of type ASCII on "
                  "disk\n",
                  name.c_str(), file.c_str(), format.c_str());
    return;
  }
  if (format == "hdf5") luaL_error(L, "hdf5 file format not finished\n");
  if (!ascii)
    ScriptError(L, "tried to put variable %s to file %s of unknown type %s\n", name.c_str(), file.c_str(),
                format.c_str());
  if (mkdir(file.c_str(), directoryMode) != 0)
    ScriptError(L, "ERROR\nCan't create directory %s.\n", file.c_str());
}

// io.put(file, name [, format])
int LuaPut(lua_State* L) {
  const int n = CheckArgumentCount(
      L, 2, 3,
      "io.put caled with %d arguments, 2 (file name, variable name) or 3 (file name, variable "
      "name, file format) expected\n");
  std::string file, format;
  lua_check(L, 1, file);
  const std::string name = CheckVariableName(L, 2);
  if (n == 3) lua_check(L, 3, format);

  lua_getglobal(L, name.c_str());
  if (lua_isnil(L, -1)) {
    luaL_warning(L, "try to save variable %s to file %s, but variable is undefined (nil)\n", name.c_str(),
                 file.c_str());
    return 0;
  }
  PrepareDirectory(L, file, name, format);
  LuaPutASCII(L, -1, PathOfVariable(file, name), name);
  return 0;
}

// Status 1 when file can't be looked at.
int CheckDirectoryForReading(lua_State* L, const std::string& file) {
  struct stat status;
  if (stat(file.c_str(), &status) != 0) {
    if (errno != ENOENT) return 1;
    ScriptError(L, "Tried to open file %s for reading, but file does not excists\n", file.c_str());
  }
  if (!S_ISDIR(status.st_mode))
    ScriptError(L, "Tried to open file %s for reading with get, but filetype not recognized\n", file.c_str());
  return 0;
}

// io.get(file, name)
int LuaGet(lua_State* L) {
  std::string file;
  lua_check(L, 1, file);
  const std::string name = CheckVariableName(L, 2);
  if (CheckDirectoryForReading(L, file)) return luaL_error(L, "io.get failed");
  // As dofile does
  if (luaL_loadfile(L, PathOfVariable(file, name).c_str()) != LUA_OK) return lua_error(L);
  lua_call(L, 0, 0);
  return 0;
}

constexpr luaL_Reg ioFunctions[] = {{"get", Entry<LuaGet>}, {"put", Entry<LuaPut>}, {nullptr, nullptr}};

}  // namespace

void LuaASCIIStreamPrint(lua_State* L, int index, std::FILE* stream) {
  Output out{stream, {}};
  Write(L, index, out, {});
}

void RegisterValueFiles(lua_State* L) {
  lua_getglobal(L, "io");
  luaL_setfuncs(L, ioFunctions, 0);
  lua_pop(L, 1);
}

}  // namespace fermix
