#include "core/expectation_script.h"

#include <algorithm>
#include <optional>

#include "core/expectation.h"
#include "core/expectation_table.h"
#include "core/method_script.h"
#include "core/operator_script.h"
#include "core/record_list_script.h"
#include "core/space_script.h"
#include "core/wave_function_script.h"
#include "host/base/status.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

// --- Braket

struct BraketArguments {
  RecordList<WaveFunctionType> bra, ket;
  std::optional<CompiledOperator> O;

  // Of several bras with ket k.
  std::vector<Complex16> elements(const std::vector<const WaveFunctionType*>& bras, std::size_t k) const {
    if (O) return PsiPrimeOperatorPsi(*O, bras, *ket.records[k]);
    std::vector<Complex16> overlaps;
    for (const WaveFunctionType* psi : bras)
      overlaps.push_back(WaveFunctionDotProduct(*psi, *ket.records[k]));
    return overlaps;
  }
};

void CheckOneSpace(lua_State* L, const BraketArguments& a, const OperatorType* O) {
  for (const auto* list : {&a.bra, &a.ket})
    for (const WaveFunctionType* psi : list->records) {
      const auto& first = a.bra.records.empty() ? psi : a.bra.records[0];
      CheckSameSpace(L, Layout(*first), Layout(*psi), "Braket called with wave-functions with");
      if (O)
        CheckSameSpace(L, Layout(*psi), O->layout, "Braket called with a wave-function and an operator with");
    }
}

BraketArguments CheckBraketArguments(lua_State* L) {
  const int n = CheckArgumentCount(L, 2, 3, "Error in BraKet, called with %d arguments, 2 or 3 expected\n");
  BraketArguments a;
  a.bra = CheckRecords<WaveFunctionType>(L, 1);
  const OperatorType* O = n == 3 ? CheckRecord<OperatorType>(L, 2) : nullptr;
  a.ket = CheckRecords<WaveFunctionType>(L, n);
  CheckOneSpace(L, a, O);
  if (O) a.O = CompileForElements(*O, a.ket.records);
  return a;
}

int PushMatrix(lua_State* L, const BraketArguments& a) {
  const std::size_t rows = a.bra.records.size(), columns = a.ket.records.size();
  CompactMatrixType m =
      InitCompactMatrix(static_cast<std::uint32_t>(rows), static_cast<std::uint32_t>(columns), true);
  auto& data = std::get<std::vector<Complex16>>(m.Data);
  for (std::size_t k = 0; k < columns; ++k) {
    const std::vector<Complex16> column = a.elements(a.bra.records, k);
    for (std::size_t b = 0; b < rows; ++b) data[b * columns + k] = column[b];
  }
  return LuaPushTable_CompactMatrixType(L, m);
}

// --- PrintExpectationValues

struct PrintArguments {
  RecordList<WaveFunctionType> states;
  RecordList<OperatorType> operators;
  const OperatorType* H = nullptr;
  std::vector<ExpectationList> lists;
  ExpectationSettings settings;
  int colWidth = 8, printHeaderEvery = 0;
};

// A map has names as keys, an option list has none.
bool QMap(lua_State* L, int index) {
  if (!lua_istable(L, index) || lua_rawlen(L, index) != 0) return false;
  lua_pushnil(L);
  if (!lua_next(L, index)) return false;
  lua_pop(L, 2);
  return true;
}

// The list on the stack top; its elements are numbers, complex numbers or texts.
ExpectationList CheckList(lua_State* L, const std::string& name) {
  ExpectationList list{name, {}};
  luaL_checktype(L, -1, LUA_TTABLE);
  const int count = static_cast<int>(lua_rawlen(L, -1));
  for (int i = 1; i <= count; ++i) {
    lua_rawgeti(L, -1, i);
    if (lua_type(L, -1) == LUA_TSTRING) {
      list.cells.emplace_back(std::string(lua_tostring(L, -1)));
    } else {
      Complex16 z;
      lua_check(L, -1, z);
      list.cells.emplace_back(z);
    }
    lua_pop(L, 1);
  }
  return list;
}

// The lists of the map at index by their names, those of the right size.
std::vector<ExpectationList> CheckMap(lua_State* L, int index, std::size_t count) {
  std::vector<ExpectationList> lists;
  lua_pushnil(L);
  for (; lua_next(L, index); lua_pop(L, 1)) {
    if (lua_type(L, -2) != LUA_TSTRING)
      luaL_error(L, "PrintExpectationValues expects names as keys of the map to other lists\n");
    ExpectationList list = CheckList(L, lua_tostring(L, -2));
    if (list.cells.size() == count) {
      lists.push_back(std::move(list));
    } else {
      Say("Warning: Size %d of List with name %s is not equal to %d, the number of Wavefunctions.\n",
          static_cast<int>(list.cells.size()), list.name.c_str(), static_cast<int>(count));
    }
  }
  // A table of the script has no order of its own.
  std::sort(lists.begin(), lists.end(), [](const auto& a, const auto& b) { return a.name < b.name; });
  return lists;
}

void ReadOptions(lua_State* L, int index, PrintArguments& a) {
  LuaCheckOptions(L, index,
                  {Option("colWidth", &a.colWidth), Option("printHeaderEvery", &a.printHeaderEvery),
                   Option("printSigma", &a.settings.printSigma),
                   Option("sortByEnergy", &a.settings.sortByEnergy), Option("zero", &a.settings.zero)});
  if (a.colWidth < MinColumnWidth || a.colWidth > MaxColumnWidth)
    luaL_error(L, "PrintExpectationValues called with colWidth %d, %d to %d expected\n", a.colWidth,
               MinColumnWidth, MaxColumnWidth);
  if (a.settings.sortByEnergy && !a.H)
    luaL_error(L, "PrintExpectationValues called with sortByEnergy, but without a Hamiltonian\n");
}

void CheckOneSpace(lua_State* L, const PrintArguments& a) {
  if (a.states.records.empty()) return;
  const KeyLayout& space = Layout(*a.states.records[0]);
  const auto check = [&](const OperatorType& O) {
    CheckSameSpace(L, space, O.layout,
                   "PrintExpectationValues called with a wave-function and an operator with");
  };
  for (const WaveFunctionType* psi : a.states.records)
    CheckSameSpace(L, space, Layout(*psi), "PrintExpectationValues called with wave-functions with");
  for (const OperatorType* O : a.operators.records) check(*O);
  if (a.H) check(*a.H);
}

PrintArguments CheckPrintArguments(lua_State* L) {
  const int n = CheckArgumentCount(
      L, 2, 5,
      "PrintExpectationValues called with %d arguments. 2, 3, 4 or 5 expected, List of "
      "Wavefunctions, list of operators, optional Hamiltonian, optional map to other lists, and "
      "optional list of Options.\n");
  PrintArguments a;
  a.states = CheckRecords<WaveFunctionType>(L, 1);
  a.operators = CheckRecords<OperatorType>(L, 2);
  int next = 3;
  // What is optional may be left out or be nil.
  const auto skip = [&] { next += next <= n && lua_isnil(L, next); };
  skip();
  if (next <= n && (a.H = TestRecord<OperatorType>(L, next))) ++next;
  skip();
  if (next <= n && QMap(L, next)) a.lists = CheckMap(L, next++, a.states.records.size());
  skip();
  if (next <= n) ReadOptions(L, next++, a);
  if (next <= n) luaL_argerror(L, next, "the list of options should be the last argument");
  CheckOneSpace(L, a);
  return a;
}

}  // namespace

// Braket(bra, [O,] ket) of states or lists of states
int LuaBraket(lua_State* L) {
  const CollectorPause pause(L);
  const BraketArguments a = CheckBraketArguments(L);
  if (!a.bra.single && !a.ket.single) return PushMatrix(L, a);
  if (a.ket.single) {
    std::vector<Complex16> values = a.elements(a.bra.records, 0);
    return a.bra.single ? lua_push(L, values[0]) : lua_push(L, std::move(values));
  }
  std::vector<Complex16> values;
  for (std::size_t k = 0; k < a.ket.records.size(); ++k) values.push_back(a.elements(a.bra.records, k)[0]);
  return lua_push(L, std::move(values));
}

// BraketDiagonal(bra, [O,] ket): element k of one list with element k of the other
int LuaBraketDiagonal(lua_State* L) {
  const CollectorPause pause(L);
  const BraketArguments a = CheckBraketArguments(L);
  const std::size_t bras = a.bra.records.size(), kets = a.ket.records.size();
  if (bras != kets)
    luaL_warning(L,
                 "Diagonal elements of dot product of two tables of unequal length (%d and %d). Is this "
                 "correct?",
                 static_cast<int>(bras), static_cast<int>(kets));
  std::vector<Complex16> values;
  for (std::size_t k = 0; k < std::min(bras, kets); ++k)
    values.push_back(a.elements({a.bra.records[k]}, k)[0]);
  return lua_push(L, std::move(values));
}

// PrintExpectationValues(states, operators [, H] [, map] [, options])
int LuaPrintExpectationValues(lua_State* L) {
  const CollectorPause pause(L);
  const PrintArguments a = CheckPrintArguments(L);
  const ExpectationValues table(a.states.records, a.operators.records, a.H, a.lists, a.settings);
  table.print(a.colWidth, a.printHeaderEvery);
  return 0;
}

}  // namespace fermix
