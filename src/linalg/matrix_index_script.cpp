#include "linalg/matrix_index_script.h"

#include <cmath>

#include "core/method_script.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

// --- Indices: 1 .. n, or -1 .. -n counted from the end

// The number at index as an integer; 0, which no index is, for what is none.
int IntegerIndex(lua_State* L, int index) {
  int i = 0;
  if (!std::isnan(lua_tonumber(L, index))) lua_check(L, index, i);
  return i;
}

// From 0; i has been found to be in range.
std::uint32_t FromZero(int i, std::uint32_t n) {
  return i > 0 ? static_cast<std::uint32_t>(i) - 1 : n - static_cast<std::uint32_t>(-i);
}

bool QInRange(int i, std::uint32_t n) { return i != 0 && std::fabs(double(i)) <= n; }

std::uint32_t CheckRow(lua_State* L, int index, std::uint32_t n) {
  const int i = IntegerIndex(L, index);
  if (i == 0)
    ScriptError(
        L,
        "Error: Matrix indexed with zero. Indices must be in the range [-Nrow(%d), ..., -1,1,...,Nrow] "
        "in the matrix\n",
        static_cast<int>(n));
  if (!QInRange(i, n))
    ScriptError(
        L,
        i > 0 ? "Error: Matrix indexed with number %d. Indices can not be larger than the number of "
                "rows (%d) in the matrix\n"
              : "Error: Matrix indexed with number %d. Indices can not be smaller than minus the number "
                "of rows (%d) in the matrix\n",
        i, static_cast<int>(n));
  return FromZero(i, n);
}

// An index of a row view; name is "Ncol", or "Nrow" for the rows that the view has kept.
std::uint32_t CheckInView(lua_State* L, int index, std::uint32_t n, const char* name) {
  const int i = IntegerIndex(L, index);
  if (i == 0)
    ScriptError(
        L,
        "Error: Matrix indexed with zero. Indices must be in the range [-%s(%d), ..., -1,1,...,%s] in "
        "the matrix\n",
        name, static_cast<int>(n), name);
  if (!QInRange(i, n))
    ScriptError(L,
                "Error: Matrix index out of range (%d). Indices must be in the range [-%s(%d), ..., "
                "-1,1,...,%s] in the matrix\n",
                i, name, static_cast<int>(n), name);
  return FromZero(i, n);
}

// One index or a list of them.
struct IndexList {
  std::vector<std::uint32_t> at;  // from 0
  bool list = false;
};

template <class Check>
IndexList ReadIndices(lua_State* L, int index, Check&& check) {
  IndexList indices;
  indices.list = lua_istable(L, index);
  if (!indices.list) {
    indices.at.push_back(check(index));
    return indices;
  }
  index = lua_absindex(L, index);
  const int length = static_cast<int>(lua_rawlen(L, index));
  for (int k = 1; k <= length; ++k) {
    lua_rawgeti(L, index, k);
    indices.at.push_back(check(-1));
    lua_pop(L, 1);
  }
  return indices;
}

// --- Elements

void PushElement(lua_State* L, const CompactMatrixType& m, std::uint32_t i, std::uint32_t j) {
  lua_push(L, CompactMatrixElement(m, i, j));
}

// A value to be written: a number, or a Complex_Type, which makes the matrix complex whatever its parts are.
bool QElement(lua_State* L, int index) {
  return lua_isnumber(L, index) || TestRecord<Complex16>(L, index) != nullptr;
}

struct NewElements {
  std::vector<Complex16> values;
  bool complex = false;

  void Read(lua_State* L, int index) {
    lua_check(L, index, values.emplace_back());
    complex |= !lua_isnumber(L, index);
  }
};

void WriteElement(CompactMatrixType& m, std::uint32_t i, std::uint32_t j, Complex16 z) {
  std::visit(
      [&](auto& data) { data[std::size_t{i} * m.Nj + j] = ToKind<std::decay_t<decltype(data[0])>>(z); },
      m.Data);
}

// Writes the elements row by row to all pairs of the indices.
void WriteElements(CompactMatrixType& m, const std::vector<std::uint32_t>& rows,
                   const std::vector<std::uint32_t>& columns, const NewElements& elements) {
  if (elements.complex) MakeCompactRealMatrixComplex(m);
  auto value = elements.values.begin();
  for (const std::uint32_t i : rows)
    for (const std::uint32_t j : columns) WriteElement(m, i, j, *value++);
}

// --- m.Elem

int CheckElemIndex(lua_State* L, int index, const char* position, char letter, std::uint32_t n) {
  const double x = lua_tonumber(L, index);
  if (!lua_isnumber(L, index) || x != std::floor(x))
    ScriptError(L, "Error: %s element in Matrix.Elem should be an integer!", position);
  const int i = IntegerIndex(L, index);
  if (!QInRange(i, n))
    ScriptError(L, "Error in Matrix.Elem: Index %c=%d lies outside of range +-[1,%d].", letter, i,
                static_cast<int>(n));
  return static_cast<int>(FromZero(i, n));
}

int LuaMatrixElem(lua_State* L) {
  const auto& m = *CheckRecord<CompactMatrixType>(L, lua_upvalueindex(1));
  CheckArgumentCount(L, 2, 2, "Error: Matrix.Elem called with %d arguments, 2 expected: i and j.");
  const int i = CheckElemIndex(L, 1, "First", 'i', m.Ni), j = CheckElemIndex(L, 2, "Second", 'j', m.Nj);
  PushElement(L, m, static_cast<std::uint32_t>(i), static_cast<std::uint32_t>(j));
  return 1;
}

// --- m[key]

int PushField(lua_State* L, const CompactMatrixType& m, const std::string& key) {
  for (const char* name : {"Ni", "NRow", "Nrow"})
    if (key == name) return lua_push(L, double(m.Ni));
  for (const char* name : {"Nj", "NCol", "Ncol", "NColumn", "Ncolumn"})
    if (key == name) return lua_push(L, double(m.Nj));
  if (key == "Dim" || key == "dim") return lua_push(L, std::vector<double>{double(m.Ni), double(m.Nj)});
  if (key == "Elem" || key == "elem") {
    lua_pushvalue(L, 1);
    lua_pushcclosure(L, Entry<LuaMatrixElem>, 1);
    return 1;
  }
  ScriptError(L, "Error: Matrix indexed with unrecognised string %s", key.c_str());
}

// Pushes the view of one row, given from 0, of the matrix at index.
void PushViewOfRow(lua_State* L, int index, std::uint32_t row) {
  index = lua_absindex(L, index);
  lua_createtable(L, 0, 2);
  lua_pushvalue(L, index);
  lua_setfield(L, -2, "__Matrix");
  lua_pushnumber(L, row + 1.0);
  lua_setfield(L, -2, "__Row");
  luaL_setmetatable(L, MatrixRowMeta);
}

int PushRowView(lua_State* L, const CompactMatrixType& m) {
  const IndexList rows = ReadIndices(L, 2, [&](int index) { return CheckRow(L, index, m.Ni); });
  PushViewOfRow(L, 1, rows.list ? 0 : rows.at[0]);
  if (rows.list) {
    std::vector<double> numbers;
    for (const std::uint32_t i : rows.at) numbers.push_back(i + 1.0);
    lua_push(L, std::move(numbers));
    lua_setfield(L, -2, "__Row");
  }
  return 1;
}

// --- Row views

// What the row view at index shows. The script may have changed its fields; their values are left on the
// stack, which keeps the matrix alive.
struct ViewedRows {
  CompactMatrixType& m;
  IndexList rows;
};

ViewedRows ReadRows(lua_State* L, int index) {
  luaL_checktype(L, index, LUA_TTABLE);
  lua_pushliteral(L, "__Matrix");
  lua_rawget(L, index);
  CompactMatrixType& m = *CheckRecord<CompactMatrixType>(L, -1);
  lua_pushliteral(L, "__Row");
  lua_rawget(L, index);
  return {m, ReadIndices(L, -1, [&](int row) { return CheckInView(L, row, m.Ni, "Nrow"); })};
}

bool QRowView(lua_State* L, int index) { return QTableWithMeta(L, index, MatrixRowMeta); }

// Pushes the matrix and the row number or numbers of the row view at index. The matrix, null if the script
// has put something else in its place.
const CompactMatrixType* PushViewFields(lua_State* L, int index) {
  luaL_checkstack(L, 4, "table too deep");
  index = lua_absindex(L, index);
  lua_pushliteral(L, "__Matrix");
  lua_rawget(L, index);
  lua_pushliteral(L, "__Row");
  lua_rawget(L, index);
  return TestRecord<CompactMatrixType>(L, -2);
}

// Whether a row of a view stands at index.
bool QRow(lua_State* L, int index, const CompactMatrixType& m) {
  return lua_isnumber(L, index) && QInRange(IntegerIndex(L, index), m.Ni);
}

// The view at index 1, indexed with the key at index 2.
struct ViewAccess {
  CompactMatrixType& m;
  IndexList rows, columns;
};

ViewAccess ReadView(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  if (lua_type(L, 2) == LUA_TSTRING)
    ScriptError(L, "Error: Matrix indexed with unrecognised string %s", lua_tostring(L, 2));
  if (lua_type(L, 2) != LUA_TNUMBER && !lua_istable(L, 2))
    luaL_error(L, "Error: Matrix indexed with unrecognised type!");
  auto [m, rows] = ReadRows(L, 1);
  return {m, std::move(rows),
          ReadIndices(L, 2, [&, Nj = m.Nj](int index) { return CheckInView(L, index, Nj, "Ncol"); })};
}

// Pushes the list of the elements of row i, or of column j, at the other indices.
void PushList(lua_State* L, const std::vector<std::uint32_t>& at, auto&& element) {
  lua_createtable(L, static_cast<int>(at.size()), 0);
  for (std::size_t k = 0; k < at.size(); ++k) {
    element(at[k]);
    lua_rawseti(L, -2, static_cast<int>(k) + 1);
  }
}

CompactMatrixType ViewedSubmatrix(const ViewAccess& view) {
  CompactMatrixType sub =
      InitCompactMatrix(static_cast<std::uint32_t>(view.rows.at.size()),
                        static_cast<std::uint32_t>(view.columns.at.size()), IsComplexMatrix(view.m));
  std::uint32_t row = 0;
  for (const std::uint32_t i : view.rows.at) {
    std::uint32_t column = 0;
    for (const std::uint32_t j : view.columns.at)
      WriteElement(sub, row, column++, CompactMatrixElement(view.m, i, j));
    ++row;
  }
  return sub;
}

// How messages call the keys of a view.
std::string KeyWords(const IndexList& key, bool length) {
  if (!key.list) return "a number (" + std::to_string(key.at[0] + 1) + ")";
  return length ? "a table of length (" + std::to_string(key.at.size()) + ")" : "a table";
}
std::string KeyWords(const ViewAccess& view, bool length) {
  return KeyWords(view.rows, length) + " and " + KeyWords(view.columns, length);
}

// Reads the value at index, a table with one element for each of the indices.
template <class Read>
void ReadNewList(lua_State* L, int index, const ViewAccess& view, std::size_t length, Read&& read) {
  index = lua_absindex(L, index);
  if (!lua_istable(L, index))
    ScriptError(
        L, "Error: Matrix indexed with %s. You try to set this to be equal to something that is not a table",
        KeyWords(view, false).c_str());
  const int given = ListLength(L, index);
  if (static_cast<std::size_t>(given) != length)
    ScriptError(L, "Error: Matrix indexed with %s. You try to set this to be equal to a table of length (%d)",
                KeyWords(view, true).c_str(), given);
  for (std::size_t k = 0; k < length; ++k) {
    PushListElement(L, index, static_cast<int>(k) + 1);
    read(k);
    lua_pop(L, 1);
  }
}

// The next step of ipairs: what is indexed, the index before -> index, element; nothing at the end.
int LuaMatrixNext(lua_State* L) {
  const double i = luaL_checknumber(L, 2) + 1;
  if (!(i >= 1 && i <= luaL_len(L, 1))) return 0;
  lua_settop(L, 1);
  lua_pushnumber(L, i);
  lua_pushvalue(L, -1);
  lua_gettable(L, 1);
  return 2;
}

}  // namespace

bool QTableWithMeta(lua_State* L, int index, const char* name) {
  if (!lua_istable(L, index) || !lua_getmetatable(L, index)) return false;
  luaL_getmetatable(L, name);
  const bool same = lua_rawequal(L, -1, -2);
  lua_pop(L, 2);
  return same;
}

int ListLength(lua_State* L, int index) {
  if (!QRowView(L, index)) return static_cast<int>(lua_rawlen(L, index));
  const CompactMatrixType* m = PushViewFields(L, index);
  int length = 0;
  if (m && lua_istable(L, -1)) {
    length = static_cast<int>(lua_rawlen(L, -1));
  } else if (m && QRow(L, -1, *m)) {
    length = static_cast<int>(m->Nj);
  }
  lua_pop(L, 2);
  return length;
}

void PushListElement(lua_State* L, int index, int i) {
  if (!QRowView(L, index)) return lua_rawgeti(L, index, i);
  const CollectorPause pause(L);  // reading makes no values elsewhere
  const CompactMatrixType* m = PushViewFields(L, index);
  const bool list = lua_istable(L, -1);
  if (list) {
    lua_rawgeti(L, -1, i);
    lua_replace(L, -2);
  }
  if (!m || !QRow(L, -1, *m)) {
    lua_pushnil(L);
  } else if (const std::uint32_t row = FromZero(IntegerIndex(L, -1), m->Ni); list) {
    PushViewOfRow(L, -2, row);
  } else if (i >= 1 && static_cast<std::uint32_t>(i) <= m->Nj) {
    PushElement(L, *m, row, static_cast<std::uint32_t>(i) - 1);
  } else {
    lua_pushnil(L);
  }
  lua_replace(L, -3);
  lua_pop(L, 1);
}

int LuaMatrixRowLen(lua_State* L) {
  luaL_checktype(L, 1, LUA_TTABLE);
  const CompactMatrixType* m = PushViewFields(L, 1);
  return lua_push(L, m ? double(m->Nj) : 0.0);
}

int LuaMatrixIpairs(lua_State* L) {
  luaL_checkany(L, 1);
  lua_settop(L, 1);
  lua_pushcfunction(L, Entry<LuaMatrixNext>);
  lua_insert(L, 1);
  lua_pushnumber(L, 0);
  return 3;
}

int LuaMatrixIndex(lua_State* L) {
  const auto& m = *CheckRecord<CompactMatrixType>(L, 1);
  switch (lua_type(L, 2)) {
    case LUA_TSTRING:
      return PushField(L, m, lua_tostring(L, 2));
    case LUA_TNUMBER:
    case LUA_TTABLE:
      return PushRowView(L, m);
    default:
      return luaL_error(L, "Error: Matrix indexed with unrecognised type!");
  }
}

// m[i] = {...}
int LuaMatrixNewIndex(lua_State* L) {
  auto& m = *CheckRecord<CompactMatrixType>(L, 1);
  if (lua_istable(L, 2)) return luaL_error(L, "Error: Matrix indexed with a table. Needs to be implemented");
  if (lua_type(L, 2) == LUA_TSTRING)
    return luaL_error(L, "Error: Matrix indexed with a string assigned to a value. That is not an option.");
  if (lua_type(L, 2) != LUA_TNUMBER) return luaL_error(L, "Error: Matrix indexed with unrecognised type!");
  const std::uint32_t i = CheckRow(L, 2, m.Ni);
  const int row = static_cast<int>(i) + 1;
  if (!lua_istable(L, 3))
    return luaL_error(L, "Error: Matrix you try to set row %d equal to somehting that is not a table\n", row);
  const int length = ListLength(L, 3);
  if (static_cast<std::uint32_t>(length) != m.Nj)
    return luaL_error(L,
                      "Error: Matrix you try to set row %d equal to a table of length %d whereas the matrix "
                      "has %d columns\n",
                      row, length, static_cast<int>(m.Nj));
  NewElements elements;
  std::vector<std::uint32_t> columns;
  for (std::uint32_t j = 0; j < m.Nj; ++j) {
    PushListElement(L, 3, static_cast<int>(j) + 1);
    if (!QElement(L, -1))
      return luaL_error(L, "Error in reading table at position %d real or complex number expected \n",
                        static_cast<int>(j) + 1);
    elements.Read(L, -1);
    columns.push_back(j);
    lua_pop(L, 1);
  }
  WriteElements(m, {i}, columns, elements);
  return 0;
}

int LuaMatrixRowIndex(lua_State* L) {
  const ViewAccess view = ReadView(L);
  const auto &rows = view.rows, &columns = view.columns;
  if (rows.list && columns.list) return LuaPushTable_CompactMatrixType(L, ViewedSubmatrix(view));
  if (rows.list) {
    PushList(L, rows.at, [&](std::uint32_t i) { PushElement(L, view.m, i, columns.at[0]); });
  } else if (columns.list) {
    PushList(L, columns.at, [&](std::uint32_t j) { PushElement(L, view.m, rows.at[0], j); });
  } else {
    PushElement(L, view.m, rows.at[0], columns.at[0]);
  }
  return 1;
}

// m[i][j] = x, m[i][{j, ...}] = {...}, m[{i, ...}][j] = {...}, m[{i, ...}][{j, ...}] = {{...}, ...}
int LuaMatrixRowNewIndex(lua_State* L) {
  const ViewAccess view = ReadView(L);
  const auto &rows = view.rows, &columns = view.columns;
  NewElements elements;
  const auto read = [&](std::uint32_t i, std::uint32_t j, int index) {
    if (!QElement(L, index))
      luaL_error(L, "Error trying to set matrix element %d,%d to a value of unknown type\n",
                 static_cast<int>(i) + 1, static_cast<int>(j) + 1);
    elements.Read(L, index);
  };
  const auto readRow = [&](std::uint32_t i, int index) {
    if (!columns.list) return read(i, columns.at[0], index);
    ReadNewList(L, index, view, columns.at.size(), [&](std::size_t k) { read(i, columns.at[k], -1); });
  };
  if (rows.list) {
    ReadNewList(L, 3, view, rows.at.size(), [&](std::size_t k) { readRow(rows.at[k], -1); });
  } else {
    readRow(rows.at[0], 3);
  }
  WriteElements(view.m, rows.at, columns.at, elements);
  return 0;
}

}  // namespace fermix
