// Script functions that make states from states, texts and files.
#include <algorithm>
#include <cmath>

#include "core/method_script.h"
#include "core/record_list_script.h"
#include "core/space_script.h"
#include "core/state_file.h"
#include "core/wave_function_script.h"
#include "core/wave_function_tools.h"
#include "host/base/status.h"
#include "linalg/matrix_orthogonalize.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

// Copies of the states of the list at index; a copy shares the basis.
std::vector<WaveFunctionType> CheckStates(lua_State* L, int index) {
  std::vector<WaveFunctionType> states;
  for (const WaveFunctionType* psi : CheckRecords<WaveFunctionType>(L, index).records) states.push_back(*psi);
  return states;
}

// True for a table whose elements are all states; an empty one counts.
bool QStates(lua_State* L, int index) {
  if (!lua_istable(L, index)) return false;
  const int count = static_cast<int>(lua_rawlen(L, index));
  for (int i = 1; i <= count; ++i) {
    lua_rawgeti(L, index, i);
    const bool state = TestRecord<WaveFunctionType>(L, -1) != nullptr;
    lua_pop(L, 1);
    if (!state) return false;
  }
  return true;
}

// --- TensorProduct

void CheckTensorFactors(lua_State* L, const WaveFunctionType& a, const WaveFunctionType& b) {
  if (Layout(a).NBoson || Layout(b).NBoson)
    luaL_error(L, "One of the Wavefunctions contains bosonic states, this is not yet implemented.");
  const std::uint64_t NF = std::uint64_t{Layout(a).NFermion} + Layout(b).NFermion;
  if (NF > MaxStateParticles)
    luaL_error(L, "Error: TensorProduct has %d Fermions, at most 65535 are allowed\n", static_cast<int>(NF));
}

// All pairs, as a table of rows.
int PushTensorProducts(lua_State* L, const std::vector<WaveFunctionType>& as,
                       const std::vector<WaveFunctionType>& bs) {
  for (const auto& a : as)
    for (const auto& b : bs) CheckTensorFactors(L, a, b);
  lua_createtable(L, static_cast<int>(as.size()), 0);
  for (std::size_t i = 0; i < as.size(); ++i) {
    lua_createtable(L, static_cast<int>(bs.size()), 0);
    for (std::size_t j = 0; j < bs.size(); ++j) {
      lua_push(L, WaveFunctionTensorProduct(as[i], bs[j]));
      lua_rawseti(L, -2, static_cast<int>(j) + 1);
    }
    lua_rawseti(L, -2, static_cast<int>(i) + 1);
  }
  return 1;
}

// --- Orthonormalize

struct OrthonormalizeOptions {
  std::string Method = "Lowdin", Order = "Row";
  OrthonormalizeSettings settings;
};

OrthonormalizeOptions ReadOrthonormalizeOptions(lua_State* L, int index) {
  OrthonormalizeOptions options;
  if (!LuaTestOptionsList(L, index))
    luaL_error(L,
               "Second argument of Orthogonalize is optional but iff given should be a list of options.\n");
  LuaCheckOptions(L, index,
                  {Option("Method", &options.Method), Option("Order", &options.Order),
                   Option("SingularValue", &options.settings.SingularValue),
                   Option("ReduceDimension", &options.settings.ReduceDimension)});
  if (std::isnan(options.settings.SingularValue))
    luaL_error(L, "Error Orthogonalize Option \"SingularValue\" should be a number and not nan\n");
  if (options.Method != "Lowdin" && options.Method != "GramSchmidt")
    ScriptError(L,
                "Error Orthogonalize Option \"Method\" should either be \"Lowdin\" (standard) or "
                "\"GramSchmidt\" and not\"%s\"\n",
                options.Method.c_str());
  if (options.Order != "Row" && options.Order != "Column")
    ScriptError(L,
                "Error Orthogonalize Option \"Order\" should either be \"Row\" (standard) or \"Column\" and "
                "not\"%s\"\n",
                options.Order.c_str());
  return options;
}

int OrthonormalizeMatrix(lua_State* L, const OrthonormalizeOptions& options) {
  const bool row = options.Order == "Row", lowdin = options.Method == "Lowdin";
  const auto orthogonalize =
      row ? (lowdin ? CompactMatrixSVDOrthogonalizeRow : CompactMatrixGramSchmidtOrthogonalizeRow)
          : (lowdin ? CompactMatrixSVDOrthogonalizeCol : CompactMatrixGramSchmidtOrthogonalizeCol);
  CompactMatrixType m =
      OrScriptError("Not able to initialize matrix. Probably ran outoff memory on a bad moment\n",
                    [&] { return luaL_checkCompactMatrix(L, 1); });
  if (OrScriptError("Failure in Orthogonalize Sorry\n", [&] {
        return orthogonalize(m, options.settings.SingularValue, options.settings.ReduceDimension);
      }))
    return luaL_error(L, "Failure in Orthogonalize Sorry\n");
  return lua_push(L, std::move(m));
}

}  // namespace

// DeterminantString(NF, list, ...) -> the text of the determinant with those orbitals
int LuaDeterminantString(lua_State* L) {
  const int n = lua_gettop(L);
  if (n < 2)
    return luaL_error(L,
                      "DeterminantString called with %d arguments. Number of Fermions and one or several "
                      "Lists of Indices expected.\n",
                      n);
  const double x = luaL_checknumber(L, 1);
  const int NF = CheckRounded(L, 1);
  if (!(x > -0.5 && NF <= MaxStateParticles))
    return luaL_error(L, "DeterminantString called with %d Fermions, 0 to 65535 expected.\n", NF);
  std::vector<int> indices;
  for (int k = 2; k <= n; ++k) {
    std::vector<int> list;
    luaL_checkarray(L, k, list);
    indices.insert(indices.end(), list.begin(), list.end());
  }

  std::string text(static_cast<std::size_t>(NF), '0');
  std::vector<int> outside;
  for (const int i : indices) {
    if (i >= 0 && i < NF) {
      text[static_cast<std::size_t>(i)] = '1';
    } else if (std::find(outside.begin(), outside.end(), i) == outside.end()) {
      outside.push_back(i);
      Say("\nWarning: Index %d is not within [0,NF-1]=[0,%d].\n", i, NF - 1);
    }
  }
  return lua_push(L, text);
}

// Expand(psi, index) -> the parts of psi by the occupation of the listed orbitals
int LuaExpand(lua_State* L) {
  CheckArgumentCount(L, 2, 2, "Error in Expand(psi,index) two arguments expected, recieved (%d)\n");
  const WaveFunctionType& psi = *CheckRecord<WaveFunctionType>(L, 1);
  std::vector<int> list;
  luaL_checkarray(L, 2, list);
  std::vector<std::uint32_t> orbitals;
  for (const int i : list) {
    if (i < 0 || static_cast<std::uint32_t>(i) >= Layout(psi).NFermion)
      return luaL_error(L, "Error in Expand(psi,index). Index %d is not within [0,NF-1]=[0,%d].\n", i,
                        static_cast<int>(Layout(psi).NFermion) - 1);
    orbitals.push_back(static_cast<std::uint32_t>(i));
  }
  if (orbitals.size() > MaxExpandOrbitals)
    return luaL_error(L,
                      "Error in Expand(psi,index). Expanding a wavefunction in determinants yields 2^N new "
                      "functions for N=%d this would not fit in your memory\n",
                      static_cast<int>(orbitals.size()));

  const int elements = static_cast<int>(ElementCount(psi)), count = 1 << orbitals.size();
  char text[200];
  std::snprintf(text, sizeof text,
                "Error in Expand(psi,index). Out off memory when expanding a function with %d determinants "
                "for %d determinants into %d seperate functions\n",
                elements, static_cast<int>(orbitals.size()), count);
  return OrScriptError(text, [&] { return lua_push(L, WaveFunctionExpand(psi, orbitals)); });
}

// ExpandToBasis(psi) -> a state for each element, with its value
int LuaExpandToBasis(lua_State* L) {
  CheckArgumentCount(L, 1, 1, "Error in ExpandToBasis(psi) one argument expected, recieved (%d)\n");
  const WaveFunctionType& psi = *CheckRecord<WaveFunctionType>(L, 1);
  char text[200];
  std::snprintf(text, sizeof text,
                "Error in ExpandToBasis(psi). Out off memory when expanding a function with %d determinants "
                "into seperate functions\n",
                static_cast<int>(ElementCount(psi)));
  return OrScriptError(text, [&] { return lua_push(L, WaveFunctionExpandToDeterminantBasis(psi)); });
}

// TensorProduct(a, b) of two states, or of two lists of states
int LuaTensorProduct(lua_State* L) {
  const auto *a = TestRecord<WaveFunctionType>(L, 1), *b = TestRecord<WaveFunctionType>(L, 2);
  if (a && b) {
    CheckTensorFactors(L, *a, *b);
    return lua_push(L, WaveFunctionTensorProduct(*a, *b));
  }
  if (!QStates(L, 1) || !QStates(L, 2))
    return luaL_error(L, "Error: TensorProduct called with unknown or unimplemented type.");
  return PushTensorProducts(L, CheckStates(L, 1), CheckStates(L, 2));
}

// Orthonormalize(list [, options]) -> the list of orthonormal states
// Orthonormalize(m [, options])    -> the matrix with orthonormal rows or columns
int LuaOrthonormalize(lua_State* L) {
  const int n = CheckArgumentCount(L, 1, 2, "Orthogonalize called with %d arguments. One or Two expected\n");
  const bool matrix = luaL_isType<CompactMatrixType>(L, 1);
  if (!matrix && !QStates(L, 1))
    return luaL_error(L,
                      "First argument of Orthogonalize should either be a table of wave-functions or a "
                      "rectangular matrix (table of tables of equal lenght).\n");
  OrthonormalizeOptions options;
  if (n == 2) options = ReadOrthonormalizeOptions(L, 2);
  if (matrix) return OrthonormalizeMatrix(L, options);
  auto states = OrScriptError(
      "Failure in Orthogonalize, not able to initialize list of orthogonal functions.\nOut of memory on a "
      "bad moment?\n",
      [&] { return CheckStates(L, 1); });
  for (const WaveFunctionType& psi : states)
    CheckSameSpace(L, Layout(states[0]), Layout(psi), "Orthogonalize called with wave-functions with");

  const auto orthogonalize =
      options.Method == "Lowdin" ? WaveFunctionListSVDOrthogonalize : WaveFunctionListOrthogonalize;
  if (OrScriptError("Failure in Orthogonalize Sorry\n",
                    [&] { return orthogonalize(states, options.settings); }))
    return luaL_error(L, "Failure in Orthogonalize Sorry\n");
  return lua_push(L, std::move(states));
}

// Ob.ReadWavefunction(path [, options])
int LuaReadWavefunction(lua_State* L) {
  const int n =
      CheckArgumentCount(L, 1, 2, "Error in ReadWavefunction called with %d arguments, 1 or 2 expected\n");
  const std::string path = luaL_checkstring(L, 1);
  std::uint32_t NBitsKey = 16;
  bool Binary = false;
  if (n == 2) LuaCheckOptions(L, 2, {Option("NBitsKey", &NBitsKey), Option("Binary", &Binary)});

  if (NBitsKey > MaxNBitsKey)
    return luaL_error(L, "WaveFunctionInit failed, your most probably out of memory");

  WaveFunctionType psi({}, false, NBitsKey);
  if (FileReadWaveFunction(psi, path.c_str(), Binary))
    ScriptError(L, "Error in ReadWavefunction, file %s can't be read as a wavefunction\n", path.c_str());
  return lua_push(L, std::move(psi));
}

}  // namespace fermix
