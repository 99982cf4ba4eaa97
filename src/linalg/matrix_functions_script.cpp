#include "linalg/matrix_functions_script.h"

#include "core/matrix_operator_script.h"
#include "host/base/status.h"
#include "linalg/general_eigensystem.h"
#include "linalg/matrix_functions.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

void CheckOneArgument(lua_State* L, const char* function) {
  const int n = lua_gettop(L);
  if (n != 1) luaL_error(L, "%s called with %d arguments, only one expected", function, n);
}

// How far mirrored elements may differ, relative to their size, in a matrix that is taken for Hermitian. Each
// function has its own.
constexpr double SqrtTolerance = 2.220446049250313e-16, ExpTolerance = 4.440892098500626e-16,
                 EigensystemTolerance = 2.220446049250313e-15;

int PushTransformed(lua_State* L, const char* function, bool transpose, bool conjugate) {
  CheckOneArgument(L, function);
  CompactMatrixType m = MatrixArgument(L, 1).Take();
  if (transpose) CompactMatrixTranspose(m);
  if (conjugate) CompactMatrixConjugate(m);
  return lua_push(L, std::move(m));
}

int PushHermitianEigensystem(lua_State* L, const CompactMatrixType& m) {
  CompactMatrixType vectors;
  std::vector<double> values;
  if (CompactMatrixEigensystem(m, vectors, values)) return luaL_error(L, "Matrix Eigensystem failed\n");
  vectors.IsUserdata = m.IsUserdata;
  lua_push(L, std::move(values));
  lua_push(L, std::move(vectors));
  return 2;
}

int PushGeneralEigensystem(lua_State* L, const CompactMatrixType& m) {
  Say("WARNING: non hermitian matrix found\n");
  Say("Using left and right handed eigensystem\n");
  Say("With potential complex eigenvalues\n");
  CompactMatrixType left, right;
  std::vector<Complex16> values;
  if (NonHermitianCompactMatrixEigensystem(m, left, right, values))
    return luaL_error(L, "Matrix Eigensystem failed\n");
  left.IsUserdata = right.IsUserdata = m.IsUserdata;
  lua_push(L, std::move(values));
  lua_push(L, std::move(left));
  lua_push(L, std::move(right));
  return 3;
}

}  // namespace

int LuaMatrixTranspose(lua_State* L) { return PushTransformed(L, "Matrix.Transpose", true, false); }
int LuaMatrixConjugate(lua_State* L) { return PushTransformed(L, "Matrix.Conjugate", false, true); }
int LuaMatrixConjugateTranspose(lua_State* L) {
  return PushTransformed(L, "Matrix.ConjugateTranspose", true, true);
}

// Matrix.Inverse(m), also Inverse
int LuaMatrixInverse(lua_State* L) {
  CheckOneArgument(L, "Matrix.Inverse");
  CompactMatrixType m = MatrixArgument(L, 1).Take();
  if (m.Ni != m.Nj) return luaL_error(L, "Matrix Inverse only works on square matrices\n");
  InvertOrError(L, m);
  return lua_push(L, std::move(m));
}

int LuaMatrixExp(lua_State* L) {
  CheckOneArgument(L, "Matrix.Exp");
  const MatrixArgument m(L, 1);
  if (m->Ni != m->Nj) return luaL_error(L, "Matrix Exp only works on square matrices\n");
  CompactMatrixType result;
  if (QCompactMatrixHermitian(*m, ExpTolerance)) {
    if (HermitianCompactMatrixExp(*m, result))
      return luaL_error(L, "Matrix Exp failed (should not happen for Hermitian matrices)\n");
  } else if (NonHermitianCompactMatrixExp(*m, result)) {
    return luaL_error(L,
                      "Matrix Exp failed (probably singular needs aditional algorithm to be implemented)\n");
  }
  result.IsUserdata = m->IsUserdata;
  return lua_push(L, std::move(result));
}

int LuaMatrixSqrt(lua_State* L) {
  CheckOneArgument(L, "Matrix.Sqrt");
  const MatrixArgument m(L, 1);
  if (m->Ni != m->Nj) return luaL_error(L, "Matrix sqrt only works on square matrices\n");
  if (!QCompactMatrixHermitian(*m, SqrtTolerance))
    return luaL_error(L, "Matrix sqrt only works on Hermitian matrices\n");
  CompactMatrixType result;
  if (CompactMatrixSqrt(*m, result)) return luaL_error(L, "Matrix Sqrt failed\n");
  result.IsUserdata = m->IsUserdata;
  return lua_push(L, std::move(result));
}

// Matrix.Rotate(m, U) -> U* m U^T
int LuaMatrixRotate(lua_State* L) {
  CheckArgumentCount(L, 2, 2, "Matrix.Rotate called with %d arguments, two arguments expected");
  const MatrixArgument m(L, 1), U(L, 2);
  if (m->Ni != m->Nj)
    ScriptError(L, "Matrix.Rotate needs the first matrix to be square, at the moment Ni=%d and Nj=%d",
                static_cast<int>(m->Ni), static_cast<int>(m->Nj));
  if (m->Ni != U->Nj)
    ScriptError(L,
                "Matrix.Rotate needs the first matrix to be of the same dimension (%d) as the number of "
                "Columns in the second matrix (%d)",
                static_cast<int>(m->Ni), static_cast<int>(U->Nj));
  CompactMatrixType result;
  if (CompactMatrixMultiply3('*', 'N', 'T', *U, *m, *U, result))
    return luaL_error(L, "Error in Matrix.Rotate");
  result.IsUserdata = m->IsUserdata || U->IsUserdata;
  return lua_push(L, std::move(result));
}

// Matrix.Eigensystem(m) -> values, vectors as rows; of a matrix that is not Hermitian values, left and right
// vectors
int LuaMatrixEigensystem(lua_State* L) {
  CheckOneArgument(L, "Matrix.Eigensystem");
  const MatrixArgument m(L, 1);
  if (m->Ni != m->Nj) return luaL_error(L, "Matrix Eigensystem only works on square matrices\n");
  return QCompactMatrixHermitian(*m, EigensystemTolerance) ? PushHermitianEigensystem(L, *m)
                                                           : PushGeneralEigensystem(L, *m);
}

const luaL_Reg MatrixFunctions[] = {{"New", Entry<LuaNewMatrix>},
                                    {"ToTable", Entry<LuaMatrixToTable>},
                                    {"ToUserdata", Entry<LuaMatrixToUserdata>},
                                    {"Identity", Entry<LuaMatrixIdentity>},
                                    {"Zero", Entry<LuaMatrixZero>},
                                    {"Diagonal", Entry<LuaMatrixDiagonal>},
                                    {"Random", Entry<LuaMatrixRandom>},
                                    {"Transpose", Entry<LuaMatrixTranspose>},
                                    {"Conjugate", Entry<LuaMatrixConjugate>},
                                    {"ConjugateTranspose", Entry<LuaMatrixConjugateTranspose>},
                                    {"Inverse", Entry<LuaMatrixInverse>},
                                    {"Exp", Entry<LuaMatrixExp>},
                                    {"Sqrt", Entry<LuaMatrixSqrt>},
                                    {"Rotate", Entry<LuaMatrixRotate>},
                                    {"Eigensystem", Entry<LuaMatrixEigensystem>},
                                    {"Sub", Entry<LuaSubmatrix>},
                                    {"Flatten", Entry<LuaMatrixFlatten>},
                                    {"Expand", Entry<LuaMatrixExpand>},
                                    {"Enlarge", Entry<LuaMatrixEnlarge>},
                                    {"AddSpin", Entry<LuaMatrixAddSpin>},
                                    {"RemoveSpin", Entry<LuaRemoveSpin>},
                                    {"ToOperator", Entry<LuaMatrixToOperator>},
                                    {nullptr, nullptr}};

}  // namespace fermix
