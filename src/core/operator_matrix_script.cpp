// OperatorToMatrix: an operator as a dense matrix, of one particle (bare or in the mean field of a density)
// or on many-body states.
#include "core/determinant_matrix.h"
#include "core/matrix_operator.h"
#include "core/mean_field.h"
#include "core/operator_script.h"
#include "core/space_script.h"
#include "core/wave_function_script.h"
#include "host/base/status.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

CompactMatrixType OneParticleMatrix(const OperatorType& O) {
  Say("\nWarning: Without a specified density the matrix representation can only be found for the quadratic "
      "part of an operator, all other parts will be ignored.\n");
  return OperatorToOneParticleMatrix(O);
}

void CheckState(lua_State* L, const OperatorType& O, const WaveFunctionType& psi) {
  CheckSameSpace(L, Layout(psi), O.layout,
                 "OperatorToMatrix called with a wave-function and an operator with");
}

CompactMatrixType MatrixOnDeterminants(lua_State* L, const OperatorType& O, const WaveFunctionType& psi) {
  CheckState(L, O, psi);
  CompactMatrixType A = OperatorToDeterminantMatrix(O, psi);
  if (QHermitianToRounding(O)) MirrorUpperTriangle(A);
  return A;
}

// The states of the list at index, which go on belonging to the script.
CompactMatrixType MatrixOnFunctions(lua_State* L, const OperatorType& O, int index) {
  std::vector<const WaveFunctionType*> functions;
  const int count = static_cast<int>(lua_rawlen(L, index));
  for (int k = 1; k <= count; ++k, lua_pop(L, 1)) {
    lua_rawgeti(L, index, k);
    functions.push_back(CheckRecord<WaveFunctionType>(L, -1));
    CheckState(L, O, *functions.back());
  }
  return OperatorToFunctionMatrix(O, functions);
}

CompactMatrixType MatrixInMeanField(lua_State* L, const OperatorType& O, const CompactMatrixType& Rho,
                                    bool AddDFTSelfInteraction) {
  CompactMatrixType M;
  const int status = AddDFTSelfInteraction ? MeanFieldOperatorOneElectronMatrixWithDFTInteraction(O, M, Rho)
                                           : MeanFieldOperatorOneElectronMatrix(O, M, Rho);
  if (status) luaL_error(L, "Mean-field operator failed\n");
  return M;
}

// The matrix that the second argument asks for.
CompactMatrixType MatrixOn(lua_State* L, const OperatorType& O, bool AddDFTSelfInteraction) {
  if (const auto* psi = TestRecord<WaveFunctionType>(L, 2)) return MatrixOnDeterminants(L, O, *psi);
  if (!QMatrixOrTable(L, 2))
    luaL_error(L,
               "Error in OperatorToMatrix, expected an Wavefunction, List of functions, or DensityMatrix on "
               "position two\n");
  if (lua_istable(L, 2) && lua_rawlen(L, 2) == 0)
    luaL_error(L, "Table of length 0 found at position 2 in OperatorToMatrix\n");
  if (luaL_isType<std::vector<WaveFunctionType>>(L, 2)) return MatrixOnFunctions(L, O, 2);
  if (luaL_isType<CompactMatrixType>(L, 2))
    return MatrixInMeanField(L, O, *MatrixArgument(L, 2), AddDFTSelfInteraction);
  luaL_error(L,
             "OperatorToMatrix expects either a wave-function, table of functions or a density matrix on "
             "position two\n");
  return {};
}

}  // namespace

// OperatorToMatrix(O [, psi | list of psi | density matrix [, options]]) -> a table of rows
int LuaOperatorToMatrix(lua_State* L) {
  int n = lua_gettop(L);
  bool AddDFTSelfInteraction = false;
  if (n == 3 && LuaTestOptionsList(L, 3)) {
    LuaCheckOptions(L, 3, {Option("AddDFTSelfInteraction", &AddDFTSelfInteraction)});
    n = 2;
  }
  if (n < 1 || n > 2)
    return luaL_error(L,
                      "Error in OperatorToMatrix, expected one (Operator) or two (Operator, Wavefunction / "
                      "List of functions / DensityMatrix) input parameters, not (%d)\n",
                      n);
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);

  return LuaPushTable_CompactMatrixType(
      L, n == 1 ? OneParticleMatrix(O) : MatrixOn(L, O, AddDFTSelfInteraction));
}

}  // namespace fermix
