// What the methods of a bundle and the functions of the table Spectra do with their arguments, which stand at
// first, first + 1, ...: 1 for a method, 2 for a free function, whose messages count its bundle too.
#pragma once

#include "spectra/spectrum_script.h"

namespace fermix {

// Gaussian width at first, Lorentzian width behind it: a number, or a table {{Energy, FWHM}, ...}.
void BroadenFromArguments(lua_State* L, std::vector<SpectraType>& S, int first);

// A shift for all, or a table with one for each spectrum.
void ShiftFromArgument(lua_State* L, std::vector<SpectraType>& S, int first);

// The chosen spectra: a position from 1, or a table of positions.
SpectraTypeArray ElementFromArgument(lua_State* L, const std::vector<SpectraType>& S, int first);

// One spectrum for each argument, a table of coefficients.
SpectraTypeArray SumFromArguments(lua_State* L, const std::vector<SpectraType>& S, int first);

// To standard output, or to the file that an option names.
void PrintFromArgument(lua_State* L, const std::vector<SpectraType>& S, int first);

}  // namespace fermix
