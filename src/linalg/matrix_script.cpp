#include "linalg/matrix_script.h"

#include <algorithm>
#include <cfloat>
#include <climits>

#include "linalg/matrix_arithmetic_script.h"
#include "linalg/matrix_functions_script.h"
#include "linalg/matrix_index_script.h"

namespace fermix {

namespace {

constexpr const char* tableMeta = "MatrixMeta";

// Noise in the imaginary part that a real matrix may carry, relative to the real part.
bool QNumericallyReal(Complex16 z) { return z.im == 0 || std::fabs(z.im) <= DBL_EPSILON * std::fabs(z.re); }

// Nothing on the way runs code of the script: what other arguments refer to stays as it is.
CompactMatrixType ReadTable(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  luaL_checkstack(L, 4, "table too deep");
  const auto Ni = static_cast<std::uint32_t>(ListLength(L, index));
  std::vector<Complex16> elements;
  std::size_t Nj = 0;
  bool real = true;
  for (std::uint32_t i = 0; i < Ni; ++i) {
    PushListElement(L, index, static_cast<int>(i) + 1);
    luaL_checktype(L, -1, LUA_TTABLE);
    const auto length = static_cast<std::size_t>(ListLength(L, -1));
    if (i == 0) {
      Nj = length;
      elements.reserve(std::min<std::size_t>(Ni * Nj, 1 << 20));
    }
    for (std::size_t j = 1; j <= length; ++j) {
      PushListElement(L, -1, static_cast<int>(j));
      if (!luaL_isType<Complex16>(L, -1))
        luaL_error(L, "Error in reading complex table in luaL_checkarray_complex16\n");
      lua_check(L, -1, elements.emplace_back());
      real &= QNumericallyReal(elements.back());
      lua_pop(L, 1);
    }
    lua_pop(L, 1);
    if (length != Nj)
      ScriptError(L,
                  "Error while reading matrix. Dimensions of rows not constant. %d at first row %d at row %d",
                  static_cast<int>(Nj), static_cast<int>(length), static_cast<int>(i) + 1);
  }
  CompactMatrixType m;
  m.Ni = Ni;
  m.Nj = static_cast<std::uint32_t>(Nj);
  if (real) {
    std::vector<double> reals;
    reals.reserve(elements.size());
    for (const Complex16 z : elements) reals.push_back(z.re);
    m.Data = std::move(reals);
  } else {
    m.Data = std::move(elements);
  }
  return m;
}

// Asks for the memory of a large table at once, so that what can't be had is not filled for half a minute.
void RefuseTooLargeTable(const CompactMatrixType& m) {
  constexpr std::size_t bytesOfElement = 16, large = std::size_t{1} << 26;
  const std::size_t bytes = bytesOfElement * m.Ni * m.Nj;
  if (bytes < large) return;
  void* volatile whole = ::operator new(bytes);
  ::operator delete(whole);
}

int LuaMatrixToString(lua_State* L) {
  return lua_push(L, CompactMatrixToString(*CheckRecord<CompactMatrixType>(L, 1)));
}

constexpr luaL_Reg arithmetic[] = {{"__unm", Entry<LuaMatrixUnm>}, {"__add", Entry<LuaMatrixAdd>},
                                   {"__sub", Entry<LuaMatrixSub>}, {"__mul", Entry<LuaMatrixMul>},
                                   {"__div", Entry<LuaMatrixDiv>}, {"__pow", Entry<LuaMatrixPow>},
                                   {"__eq", Entry<LuaMatrixEq>},   {nullptr, nullptr}};

constexpr luaL_Reg userdataOnly[] = {{"__len", Entry<LuaMatrixLen>},
                                     {"__tostring", Entry<LuaMatrixToString>},
                                     {"__index", Entry<LuaMatrixIndex>},
                                     {"__newindex", Entry<LuaMatrixNewIndex>},
                                     {"__ipairs", Entry<LuaMatrixIpairs>},
                                     {"__gc", Entry<CollectRecord<CompactMatrixType>>},
                                     {nullptr, nullptr}};

constexpr luaL_Reg rowView[] = {{"__index", Entry<LuaMatrixRowIndex>},
                                {"__newindex", Entry<LuaMatrixRowNewIndex>},
                                {"__len", Entry<LuaMatrixRowLen>},
                                {"__ipairs", Entry<LuaMatrixIpairs>},
                                {nullptr, nullptr}};

// A metatable for tables of the script, which the script sees as a global.
void RegisterGlobalMetatable(lua_State* L, const char* name, const luaL_Reg* metamethods) {
  RegisterMetatable(L, name, metamethods);
  luaL_getmetatable(L, name);
  lua_setglobal(L, name);
}

}  // namespace

// --- Reading

MatrixArgument::MatrixArgument(lua_State* L, int index) : userdata_(TestRecord<CompactMatrixType>(L, index)) {
  if (!userdata_) table_ = ReadTable(L, lua_absindex(L, index));
}

bool detail::ScriptTest<CompactMatrixType>::Holds(lua_State* L, int index) {
  if (TestRecord<CompactMatrixType>(L, index)) return true;
  if (!lua_istable(L, index) || !lua_checkstack(L, 3)) return false;
  const int Ni = ListLength(L, index);
  int Nj = 0;
  for (int i = 1; i <= Ni; ++i) {
    PushListElement(L, index, i);
    const int length = lua_istable(L, -1) ? ListLength(L, -1) : -1;
    if (i == 1) Nj = length;
    const bool row = length >= 0 && length == Nj && luaL_isType<std::vector<Complex16>>(L, -1);
    lua_pop(L, 1);
    if (!row) return false;
  }
  return Ni > 0;
}

bool QMatrixTable(lua_State* L, int index) { return QTableWithMeta(L, index, tableMeta); }

// --- Pushing

int LuaPushTable_CompactMatrixType(lua_State* L, const CompactMatrixType& m) {
  luaL_checkstack(L, 4, "table too deep");
  if (m.Ni > INT_MAX || m.Nj > INT_MAX) throw std::bad_alloc();
  RefuseTooLargeTable(m);
  const int Ni = static_cast<int>(m.Ni), Nj = static_cast<int>(m.Nj);
  lua_createtable(L, Ni, 0);
  std::visit(
      [&](const auto& data) {
        const auto* element = data.data();
        for (int i = 1; i <= Ni; ++i) {
          lua_createtable(L, Nj, 0);
          for (int j = 1; j <= Nj; ++j) {
            lua_push(L, *element++);
            lua_rawseti(L, -2, j);
          }
          lua_rawseti(L, -2, i);
        }
      },
      m.Data);
  luaL_setmetatable(L, tableMeta);
  return 1;
}

int lua_push(lua_State* L, CompactMatrixType m) {
  return m.IsUserdata ? lua_push<CompactMatrixType>(L, std::move(m)) : LuaPushTable_CompactMatrixType(L, m);
}

void InvertOrError(lua_State* L, CompactMatrixType& m, Complex16 z) {
  if (m.Ni != m.Nj)
    ScriptError(L, "Matrix inversion only works for square matrices dimensions are (%d %d)\n",
                static_cast<int>(m.Ni), static_cast<int>(m.Nj));
  if (CompactMatrixInverse(m)) luaL_error(L, "Matrix inversion failed, probably the matrix is singular\n");
  CompactMatrixScaleComplex(m, z);
}

// --- Registration

void RegisterMatrixType(lua_State* L) {
  RegisterMetatable(L, ScriptType<CompactMatrixType>::name, arithmetic);
  luaL_getmetatable(L, ScriptType<CompactMatrixType>::name);
  luaL_setfuncs(L, userdataOnly, 0);
  lua_pop(L, 1);
  RegisterTable(L, "Matrix", MatrixFunctions);
  RegisterGlobalMetatable(L, tableMeta, arithmetic);
  RegisterGlobalMetatable(L, MatrixRowMeta, rowView);
}

}  // namespace fermix
