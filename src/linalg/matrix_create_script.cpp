// Script functions that make matrices from numbers, and change their form.
#include <cstdlib>

#include "linalg/matrix_functions_script.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

// The option list at index, if there is one, chooses the form of the result.
bool ReadForm(lua_State* L, int index, bool userdata) {
  if (lua_gettop(L) >= index) LuaCheckOptions(L, index, {Option("Userdata", &userdata)});
  return userdata;
}

// Refuses calls of a function with another number of arguments than so many, and an option list behind them.
void CheckCount(lua_State* L, const char* function, int expected) {
  const int n = lua_gettop(L);
  if (n != expected && n != expected + 1)
    luaL_error(L, "%s called with %d arguments, %d or %d arguments expected\n", function, n, expected,
               expected + 1);
}

// The square matrix that make gives for the size at index 1.
int PushSquare(lua_State* L, const char* function, CompactMatrixType (*make)(std::uint32_t)) {
  CheckCount(L, function, 1);
  const std::uint32_t n = CheckMatrixSize(L, 1, function);
  const bool userdata = ReadForm(L, 2, true);

  CompactMatrixType m = make(n);
  m.IsUserdata = userdata;
  return lua_push(L, std::move(m));
}

// A random number, evenly between two ends.
double Draw(double from, double to) { return std::rand() / 2147483647.0 * (to - from) + from; }

}  // namespace

std::uint32_t CheckMatrixSize(lua_State* L, int index, const char* function) {
  const double x = luaL_checknumber(L, index);
  if (!(x > -0.5))
    ScriptError(L, "%s called with size %.14g, expected a number of at least 0\n", function, x);
  std::uint32_t size;
  lua_check(L, index, size);
  return size;
}

// Matrix.New(t) -> userdata
int LuaNewMatrix(lua_State* L) {
  if (!lua_istable(L, 1)) return luaL_error(L, "Error NewMatrix expect as input a table");
  CompactMatrixType m = MatrixArgument(L, 1).Take();
  m.IsUserdata = true;
  return lua_push(L, std::move(m));
}

// Matrix.ToTable(m) and Matrix.ToUserdata(m)
int LuaMatrixToTable(lua_State* L) {
  return LuaPushTable_CompactMatrixType(L, luaL_checkCompactMatrix(L, 1));
}
int LuaMatrixToUserdata(lua_State* L) {
  CompactMatrixType m = luaL_checkCompactMatrix(L, 1);
  m.IsUserdata = true;
  return lua_push(L, std::move(m));
}

// Matrix.Identity(n [, options]) and Matrix.Zero(n [, options])
int LuaMatrixIdentity(lua_State* L) {
  return PushSquare(L, "Matrix Identity", [](std::uint32_t n) { return InitCompactIdentityMatrix(n, n); });
}
int LuaMatrixZero(lua_State* L) {
  return PushSquare(L, "Matrix Zero", [](std::uint32_t n) { return InitCompactMatrix(n, n, false); });
}

// Matrix.Diagonal(list [, options])
int LuaMatrixDiagonal(lua_State* L) {
  CheckCount(L, "Matrix Diagonal", 1);
  std::vector<Complex16> diagonal;
  luaL_checkarray_complex16(L, 1, diagonal);
  const bool userdata = ReadForm(L, 2, false);

  const auto n = static_cast<std::uint32_t>(diagonal.size());
  bool complex = false;
  for (const Complex16 z : diagonal) complex |= z.im != 0;
  CompactMatrixType m = InitCompactMatrix(n, n, complex);
  std::visit(
      [&](auto& data) {
        for (std::size_t i = 0; i < n; ++i)
          data[i * n + i] = ToKind<std::decay_t<decltype(data[0])>>(diagonal[i]);
      },
      m.Data);
  m.IsUserdata = userdata;
  return lua_push(L, std::move(m));
}

// Matrix.Random({min, max}, {Ni, Nj} [, options])
int LuaMatrixRandom(lua_State* L) {
  CheckCount(L, "Matrix Random", 2);
  std::vector<Complex16> range;
  luaL_checkarray_complex16(L, 1, range);
  if (range.size() != 2)
    return luaL_error(L, "Matrix Random called with table of length %d at posittion 1, expected {min,max}\n",
                      static_cast<int>(range.size()));
  luaL_checktype(L, 2, LUA_TTABLE);
  if (const std::size_t length = lua_rawlen(L, 2); length != 2)
    return luaL_error(L, "Matrix Random called with table of length %d at posittion 2, expected {Ni,Nj}\n",
                      static_cast<int>(length));
  std::uint32_t size[2];
  for (int k = 0; k < 2; ++k) {
    lua_rawgeti(L, 2, k + 1);
    size[k] = CheckMatrixSize(L, -1, "Matrix Random");
    lua_pop(L, 1);
  }
  const bool userdata = ReadForm(L, 3, false);

  const Complex16 min = range[0], max = range[1];
  CompactMatrixType m = InitCompactMatrix(size[0], size[1], min.im != 0 || max.im != 0);
  std::visit(
      [&](auto& data) {
        for (auto& element : data) {
          const double re = Draw(min.re, max.re);
          if constexpr (IsComplex<std::decay_t<decltype(element)>>) {
            element = {re, Draw(min.im, max.im)};
          } else {
            element = re;
          }
        }
      },
      m.Data);
  m.IsUserdata = userdata;
  return lua_push(L, std::move(m));
}

}  // namespace fermix
