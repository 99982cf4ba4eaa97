#include <cmath>

#include "atomic/harmonic_oscillator.h"
#include "atomic/operator_families_script.h"
#include "atomic/shell_arguments_script.h"
#include "core/operator_script.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

// What distinguishes the two models. Without a basis matrix, the grid's message about a has a spelling of its
// own.
struct OscillatorKind {
  const char* frontEnd;
  const char* frontEndOfA;
  bool grid;
  OperatorType (*single)(double a, int nmax);
  OperatorType (*contact)(double a, int nmax);
};

int CheckNmax(lua_State* L, const OscillatorKind& kind) {
  const double given = luaL_checknumber(L, 2), nmax = std::round(given);
  if (!(nmax > 0)) ScriptError(L, "Error in %s, nmax should be positive not %f\n", kind.frontEnd, given);
  CheckOrbitalCount(L, kind.grid ? 2 * (2 * nmax - 1) : 2 * nmax);
  return static_cast<int>(nmax);
}

// The matrix that defines the basis: over spatial functions, for standing waves also over orbitals.
CompactMatrixType CheckBasisMatrix(lua_State* L, const OscillatorKind& kind, int nmax) {
  CompactMatrixType M = luaL_checkCompactMatrix(L, 3);
  if (!QFinite(M))
    ScriptError(L, "Error in %s. The matrix defining the basis should be finite\n", kind.frontEnd);
  const auto fits = [&](std::uint32_t dimension) {
    if (kind.grid) return dimension == static_cast<std::uint32_t>(2 * nmax - 1);
    return dimension == static_cast<std::uint32_t>(nmax) || dimension == static_cast<std::uint32_t>(2 * nmax);
  };
  if (fits(M.Ni) && M.Ni == M.Nj) return M;
  const int dimension = static_cast<int>(fits(M.Ni) ? M.Nj : M.Ni);
  if (kind.grid)
    ScriptError(L,
                "Error in LuaOperatorNewHarmonicOscillatorOnGrid. The dimension of the matrix defining the "
                "basis (%d) should be equal to 2*nmax-1 (nmax=%d).\n",
                dimension, nmax);
  ScriptError(
      L,
      "Error in LuaOperatorNewHarmonicOscillatorOnStandingWaves. The dimension of the matrix defining "
      "the basis (%d) should be equal to nmax (%d) or 2*nmax.\n",
      dimension, nmax);
}

// a, nmax and an optional matrix; gives the one-body and the contact operator.
int NewOscillator(lua_State* L, const OscillatorKind& kind) {
  const int n = lua_gettop(L);
  if (n != 2 && n != 3) ScriptError(L, "Error in %s, expected 2 or 3 arguments, not %d\n", kind.frontEnd, n);
  double a;
  lua_check(L, 1, a);
  if (!(a > 0))
    ScriptError(L, "Error in %s, a should be positive not %f\n", n == 2 ? kind.frontEndOfA : kind.frontEnd,
                a);
  const int nmax = CheckNmax(L, kind);
  CompactMatrixType M;
  if (n == 3) M = CheckBasisMatrix(L, kind, nmax);

  OperatorType single = kind.single(a, nmax), contact = kind.contact(a, nmax);
  if (n == 3) {
    single = CreateOperatorOnBasis(single, M);
    contact = CreateOperatorOnBasis(contact, M);
  }
  if (!QFinite(single) || !QFinite(contact))
    ScriptError(L, "Error in %s, a=%g and nmax=%d give operators that are not finite\n", kind.frontEnd, a,
                nmax);

  lua_push(L, std::move(single));
  lua_push(L, std::move(contact));
  return 2;
}

}  // namespace

int LuaOperatorNewHarmonicOscillatorOnStandingWaves(lua_State* L) {
  constexpr const char* frontEnd = "LuaOperatorNewHarmonicOscillatorOnStandingWaves";
  return NewOscillator(L, {frontEnd, frontEnd, false, CreateOperatorHarmonicOscillatorOnStandingWaves,
                           CreateOperatorHarmonicOscillatorOnStandingWavesPointInteraction});
}

int LuaOperatorNewHarmonicOscillatorOnGrid(lua_State* L) {
  return NewOscillator(
      L, {"LuaOperatorNewHarmonicOscillatorOnGrid", "LuaOperatorNewHarmonicOscillatorOnGird", true,
          CreateOperatorHarmonicOscillatorOnGrid, CreateOperatorHarmonicOscillatorOnGridInteraction});
}

}  // namespace fermix
