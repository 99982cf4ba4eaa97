#include "core/mean_field_script.h"

#include "core/mean_field.h"
#include "core/operator_script.h"
#include "linalg/matrix_script.h"

namespace fermix {

namespace {

constexpr const char* Failed = "Mean-field operator failed\n";

MeanFieldSettings CheckSettings(lua_State* L, int index) {
  MeanFieldSettings settings;
  bool offset = true, offsetAsTrace = false;
  LuaCheckOptions(L, index,
                  {Option("AddDFTSelfInteraction", &settings.AddDFTSelfInteraction),
                   Option("OffsetAsTrace", &offsetAsTrace), Option("Offset", &offset)});
  if (!offset && offsetAsTrace)
    luaL_error(L, "MeanFieldOperator can not both have the option Offset = false and OffsetAsTrace = true\n");
  if (!offset) settings.offset = MeanFieldOffset::None;
  if (offsetAsTrace) settings.offset = MeanFieldOffset::Trace;
  return settings;
}

// Modes count: a density matrix of fermions never fits an operator with bosons.
bool QFits(const OperatorType& O, const CompactMatrixType& Rho) {
  return std::uint64_t{O.layout.NFermion} + O.layout.NBoson == Rho.Ni;
}

void CheckFit(lua_State* L, const OperatorType& O, const CompactMatrixType& Rho) {
  if (!QFits(O, Rho))
    ScriptError(
        L,
        "Error in MeanFieldOperator, length of operator (NF=%d, NB=%d) is not equal to length of density "
        "matrix (%d)\n",
        static_cast<int>(O.layout.NFermion), static_cast<int>(O.layout.NBoson), static_cast<int>(Rho.Ni));
}

// Pushes the operator at 1 decoupled under the density matrix at 2: all of its terms, or with listAt those on
// the orbitals of the list there. Options may stand at optionsAt.
int PushDecoupled(lua_State* L, int listAt, int optionsAt) {
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  const MatrixArgument Rho(L, 2);
  CheckFit(L, O, *Rho);
  MeanFieldSettings settings;
  if (lua_gettop(L) >= optionsAt) settings = CheckSettings(L, optionsAt);
  std::vector<std::uint32_t> indices;
  if (listAt) indices = CheckOrbitalsOrWarn(L, listAt, O.layout.NFermion);

  OperatorType result;
  if (listAt ? partialMeanFieldOperator(O, result, *Rho, indices, settings)
             : MeanFieldOperator(O, result, *Rho, settings))
    return luaL_error(L, "%s", Failed);

  return lua_push(L, std::move(result));
}

}  // namespace

// MeanFieldOperator(O, Rho [, options]) -> O decoupled under the density matrix Rho
int LuaMeanFieldOperator(lua_State* L) {
  CheckArgumentCount(L, 2, 3,
                     "MeanFieldOperator called with %d arguments. Two or three expected, Operator, Density "
                     "Matrix and optional Options.\n");
  return PushDecoupled(L, 0, 3);
}

// PartialMeanFieldOperator(O, Rho, indices [, options]) -> O with the terms on these orbitals decoupled
int LuaPartialMeanFieldOperator(lua_State* L) {
  CheckArgumentCount(L, 3, 4,
                     "MeanFieldOperator called with %d arguments. Three or four expected, Operator, Density "
                     "Matrix, List of Indices and optional Options.\n");
  return PushDecoupled(L, 3, 4);
}

// MeanFieldGroundState(O, Rho, temperature) -> the self-consistent density matrix, its energy
int LuaMeanFieldGroundState(lua_State* L) {
  CheckArgumentCount(L, 3, 3,
                     "MeanFieldGroundState called with %d arguments. Three expected, Operator, Density "
                     "Matrix and Temperature.\n");
  const OperatorType& O = *CheckRecord<OperatorType>(L, 1);
  CompactMatrixType Rho;
  double temperature = 0, energy = 0;
  lua_check(L, 2, Rho);
  lua_check(L, 3, temperature);
  if (!QFits(O, Rho))
    ScriptError(L,
                "Error in MeanFieldGroundstate, length of operator (NF %d NB %d) is not equal to length of "
                "density matrix (%d)\n",
                static_cast<int>(O.layout.NFermion), static_cast<int>(O.layout.NBoson),
                static_cast<int>(Rho.Ni));

  if (MeanFieldGroundstate(O, Rho, temperature, energy)) return luaL_error(L, "%s", Failed);

  lua_push(L, std::move(Rho));
  return 1 + lua_push(L, energy);
}

}  // namespace fermix
