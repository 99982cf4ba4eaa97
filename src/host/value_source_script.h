// Numbers and records as source text of a script that rebuilds them.
//
// Numbers have 16 significant digits, and a 17th where 16 do not read back as the same number. What is not
// finite is written as INF and NAN, which are global names. Texts end without a line end.
#pragma once

#include <cstdio>
#include <string>

#include "core/operator.h"
#include "core/wave_function.h"
#include "spectra/spectrum.h"

namespace fermix {

void PrintSource(std::FILE* stream, double x);
void PrintSource(std::FILE* stream, Complex16 z);
void PrintSource(std::FILE* stream, const std::string& text);
void PrintSource(std::FILE* stream, const OperatorType& O);
void PrintSource(std::FILE* stream, const WaveFunctionType& psi);
void PrintSource(std::FILE* stream, const SpectraTypeArray& S);

}  // namespace fermix
