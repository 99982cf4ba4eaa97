// Script face of operators: Operator_Type and the functions that make operators.
#pragma once

#include "core/operator.h"
#include "host/script.h"

namespace fermix {

template <>
struct ScriptType<OperatorType> {
  static constexpr const char* name = "Operator_Type";
};

// The coefficients are finite: one that is not would spoil all that it meets, and show only as not-a-number
// at the end of a long run.
void CheckNewRecord(lua_State* L, const OperatorType& O);

void RegisterOperatorType(lua_State* L);

int LuaNewOperator(lua_State* L);  // NewOperator(NF, NB, terms [, options]), NewOperator(kind, ...)
int LuaOperatorSetOnsiteEnergy(lua_State* L);  // also OperatorSetTrace
int LuaPartialOperator(lua_State* L);
int LuaOperatorToMatrix(lua_State* L);
int LuaOperatorExp(lua_State* L);  // also math.exp of an operator

// Reads the list of orbitals at index; those outside of 0 .. NFermion - 1 are skipped after a line.
std::vector<std::uint32_t> CheckOrbitalsOrWarn(lua_State* L, int index, std::uint32_t NFermion);

}  // namespace fermix
