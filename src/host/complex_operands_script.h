// What stands right of a complex number and is a record: operators, states, spectra and matrices.
#pragma once

#include "host/script.h"

namespace fermix {

enum class ArithmeticOp { Add, Sub, Mul, Div, Pow };

// How messages call the operation.
inline constexpr const char* ArithmeticWord[] = {"plus", "minus", "multiplied with", "divided by",
                                                 "to the power"};
inline const char* Word(ArithmeticOp op) { return ArithmeticWord[static_cast<int>(op)]; }

// How messages call an operand that has no meaning to an operation.
const char* TypeWord(lua_State* L, int index);

// Pushes z op record for the userdata, or the matrix in table form, at index. Raises "Error: complex number
// plus wavefunction\n" and the like for what has no meaning.
void PushComplexOpRecord(lua_State* L, ArithmeticOp op, Complex16 z, int index);

}  // namespace fermix
