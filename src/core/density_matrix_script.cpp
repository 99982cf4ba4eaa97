#include "core/density_matrix_script.h"

#include <cmath>

#include "core/density_matrix.h"
#include "core/method_script.h"
#include "core/record_list_script.h"
#include "core/space_script.h"
#include "core/wave_function_script.h"
#include "linalg/matrix_script.h"
#include "linalg/tensor_script.h"

namespace fermix {

namespace {

struct DensityArguments {
  RecordList<WaveFunctionType> states;
  DensityRequest request;
  bool trace = false, tensor = false;
};

// One wave function, or a list of one or more on one space.
RecordList<WaveFunctionType> CheckStates(lua_State* L) {
  if (!luaL_isType<WaveFunctionType>(L, 1) && !luaL_isType<std::vector<WaveFunctionType>>(L, 1))
    luaL_error(L, "Error: DensityMatrix expects a function or a list of functions on the first position\n");
  RecordList<WaveFunctionType> states = CheckRecords<WaveFunctionType>(L, 1);
  for (const WaveFunctionType* psi : states.records)
    CheckSameSpace(L, Layout(*states.records[0]), Layout(*psi),
                   "DensityMatrix called with wave-functions with");
  return states;
}

// With two arguments the second is a list of indices, or of options, which are tables or none.
bool QIndexList(lua_State* L, int n) {
  if (n == 3) return !lua_isnil(L, 2);
  if (n < 2 || !lua_istable(L, 2) || lua_rawlen(L, 2) == 0) return false;
  lua_rawgeti(L, 2, 1);
  const bool indices = !lua_istable(L, -1);
  lua_pop(L, 1);
  return indices;
}

std::vector<std::uint32_t> CheckIndices(lua_State* L, const KeyLayout& layout) {
  std::vector<double> list;
  luaL_checkarray(L, 2, list);
  const double last = double(layout.NFermion) + layout.NBoson - 1;
  std::vector<std::uint32_t> orbitals;
  for (const double i : list) {
    if (!(i > -0.5 && i < last + 0.5))
      ScriptError(L, "DensityMatrix: Index %g is not within [0,NF+NB-1]=[0,%d].\n", i,
                  static_cast<int>(last));
    orbitals.push_back(static_cast<std::uint32_t>(std::nearbyint(i)));
  }
  return orbitals;
}

void ReadOptions(lua_State* L, int index, DensityArguments& a) {
  std::string type = "One Particle";
  LuaCheckOptions(L, index, {Option("Type", &type), Option("Trace", &a.trace), Option("Tensor", &a.tensor)});
  if (type != "One Particle" && type != "Two Particle")
    luaL_error(L,
               "The option Type can be\n: \"One Particle\" for a^dag_i a_j\n: \"Two Particle\" for a^dag_i "
               "a^dag_j a_k a_l\n But not %s ",
               type.c_str());
  a.request.particles = type == "One Particle" ? 1 : 2;
  if (a.tensor && a.states.single)
    luaL_error(L,
               "Error: DensityMatrix expects a list of functions on the first position when the option "
               "{\"Tensor\",true} is set\n");
}

DensityArguments CheckArguments(lua_State* L) {
  const int n = CheckArgumentCount(
      L, 1, 3,
      "Error: DensityMatrix called with %d arguments. The first argument should be a function or a "
      "list of functions. The optional next argument is an list of indices, the optional next, i.e. "
      "2nd or 3rd argument is an list of options");
  DensityArguments a;
  a.states = CheckStates(L);
  const KeyLayout& layout = Layout(*a.states.records[0]);
  const bool indices = QIndexList(L, n);
  a.request.orbitals = indices ? CheckIndices(L, layout) : AllOrbitals(layout);
  if (n > (indices ? 2 : 1) && !lua_isnil(L, n)) ReadOptions(L, n, a);
  return a;
}

// One density: the matrix of one particle is a matrix to the script, unless a plain tensor is wanted.
int PushDensity(lua_State* L, CompactTensorType density, bool tensor) {
  if (tensor || density.Dimensions.size() != 2) return LuaPushTable_CompactTensorType(L, density);
  CompactMatrixType matrix;
  matrix.Name = std::move(density.Name);
  matrix.Ni = density.Dimensions[0];
  matrix.Nj = density.Dimensions[1];
  matrix.Data = std::move(density.Data);
  return LuaPushTable_CompactMatrixType(L, matrix);
}

// A table [bra][ket].
int PushPairs(lua_State* L, std::vector<CompactTensorType> densities, std::size_t count, bool tensor) {
  luaL_checkstack(L, 3, "table too deep");
  lua_createtable(L, static_cast<int>(count), 0);
  for (std::size_t bra = 0; bra < count; ++bra) {
    lua_createtable(L, static_cast<int>(count), 0);
    for (std::size_t ket = 0; ket < count; ++ket) {
      PushDensity(L, std::move(densities[bra * count + ket]), tensor);
      lua_rawseti(L, -2, static_cast<int>(ket) + 1);
    }
    lua_rawseti(L, -2, static_cast<int>(bra) + 1);
  }
  return 1;
}

}  // namespace

// DensityMatrix(psi or list [, orbitals] [, options])
int LuaDensityMatrix(lua_State* L) {
  const CollectorPause pause(L);
  const DensityArguments a = CheckArguments(L);
  const auto& states = a.states.records;

  if (a.states.single) return PushDensity(L, CalculateDensityMatrix(a.request, *states[0]), false);
  if (a.trace) return PushDensity(L, CalculateDensityMatrixTrace(a.request, states), a.tensor);
  return PushPairs(L, CalculateDensityMatrixWithOffDiagonals(a.request, states), states.size(), a.tensor);
}

}  // namespace fermix
