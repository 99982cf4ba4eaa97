#include "host/script_library/script_library.h"

#include "atomic/angular_momentum_script.h"
#include "atomic/crystal_field_script.h"
#include "atomic/orbitals_script.h"
#include "atomic/special_functions_script.h"
#include "core/density_matrix_script.h"
#include "core/expectation_script.h"
#include "core/matrix_operator_script.h"
#include "core/mean_field_script.h"
#include "core/operator_script.h"
#include "core/statistics_script.h"
#include "core/wave_function_script.h"
#include "host/export_script.h"
#include "host/math_script.h"
#include "host/script_library/generic_script.h"
#include "host/timing_script.h"
#include "host/value_file_script.h"
#include "linalg/matrix_arithmetic_script.h"
#include "linalg/matrix_functions_script.h"
#include "linalg/matrix_script.h"
#include "solvers/eigensystem_script.h"
#include "spectra/create_spectra_script.h"
#include "spectra/resonant_spectra_script.h"
#include "spectra/spectrum_script.h"

namespace fermix {

namespace {

int LuaWarning(lua_State* L) {
  luaL_warning(L, "%s", luaL_checkstring(L, 1));
  return 0;
}

void RegisterOb(lua_State* L) {
  constexpr luaL_Reg functions[] = {{"ReadWavefunction", Entry<LuaReadWavefunction>},
                                    {"readwavefunction", Entry<LuaReadWavefunction>},
                                    {nullptr, nullptr}};
  RegisterTable(L, "Ob", functions);
}

void RegisterKestor(lua_State* L) {
  constexpr luaL_Reg functions[] = {{"Export", Entry<LuaExport>}, {nullptr, nullptr}};
  RegisterTable(L, "Kestor", functions);
}

void RegisterVelko(lua_State* L) {
  constexpr luaL_Reg functions[] = {{"MatrixToOperator", Entry<LuaMatrixToOperator>},
                                    {"RemoveSpin", Entry<LuaRemoveSpin>},
                                    {"SortByKappa", Entry<LuaSortByKappa>},
                                    {nullptr, nullptr}};
  RegisterTable(L, "Velko", functions);
}

// Types and tables of functions.
constexpr void (*types[])(lua_State*) = {
    RegisterOperatorType, RegisterWaveFunctionType, RegisterSpectraType, RegisterMatrixType,
    RegisterOb,           RegisterKestor,           RegisterVelko,       RegisterValueFiles};

// Global functions, grouped by what they work on.
constexpr luaL_Reg functions[] = {
    {"warning", Entry<LuaWarning>},
    // any value
    {"Copy", Entry<LuaCopy>},
    {"Clone", Entry<LuaCopy>},
    {"Chop", Entry<LuaChop>},
    {"Conjugate", Entry<LuaConjugate>},
    {"Transpose", Entry<LuaTranspose>},
    {"ConjugateTranspose", Entry<LuaConjugateTranspose>},
    {"Rotate", Entry<LuaRotate>},
    // output and timers
    {"Verbosity", Entry<LuaVerbosity>},
    {"TimeStart", Entry<LuaTimeStart>},
    {"TimeEnd", Entry<LuaTimeEnd>},
    {"TimeSet", Entry<LuaTimeSet>},
    {"TimePrint", Entry<LuaTimePrint>},
    {"Statistics", Entry<LuaStatistics>},
    // operators
    {"NewOperator", Entry<LuaNewOperator>},
    {"OperatorToMatrix", Entry<LuaOperatorToMatrix>},
    {"OperatorExp", Entry<LuaOperatorExp>},
    {"OperatorSetOnsiteEnergy", Entry<LuaOperatorSetOnsiteEnergy>},
    {"OperatorSetTrace", Entry<LuaOperatorSetOnsiteEnergy>},
    {"PartialOperator", Entry<LuaPartialOperator>},
    // wave functions
    {"NewWavefunction", Entry<LuaNewWavefunction>},
    {"DeterminantString", Entry<LuaDeterminantString>},
    {"Expand", Entry<LuaExpand>},
    {"ExpandToBasis", Entry<LuaExpandToBasis>},
    {"Orthonormalize", Entry<LuaOrthonormalize>},
    {"TensorProduct", Entry<LuaTensorProduct>},
    // expectation values
    {"Braket", Entry<LuaBraket>},
    {"BraketDiagonal", Entry<LuaBraketDiagonal>},
    {"DensityMatrix", Entry<LuaDensityMatrix>},
    {"PrintExpectationValues", Entry<LuaPrintExpectationValues>},
    // mean field
    {"MeanFieldOperator", Entry<LuaMeanFieldOperator>},
    {"PartialMeanFieldOperator", Entry<LuaPartialMeanFieldOperator>},
    {"MeanFieldGroundState", Entry<LuaMeanFieldGroundState>},
    // solvers and spectra
    {"Eigensystem", Entry<LuaEigensystem>},
    {"CreateSpectra", Entry<LuaCreateSpectra>},
    {"CreateResonantSpectra", Entry<LuaCreateResonantSpectra>},
    {"CreateFluorescenceYield", Entry<LuaCreateFluorescenceYield>},
    // matrices
    {"NewMatrix", Entry<LuaNewMatrix>},
    {"Inverse", Entry<LuaMatrixInverse>},
    // orbitals and bases of shells
    {"NonRelToRelOrbitals", Entry<LuaNonRelToRelOrbitals>},
    {"RelToNonRelOrbitals", Entry<LuaRelToNonRelOrbitals>},
    {"SortByKappa", Entry<LuaSortByKappa>},
    {"OrbitalRotationMatrix", Entry<LuaOrbitalRotationMatrix>},
    {"YtojjzMatrix", Entry<LuaYtojjzMatrix>},
    {"YtoKMatrix", Entry<LuaYtoKMatrix>},
    {"YtoZMatrix", Entry<LuaYtoZMatrix>},
    {"ZtoKMatrix", Entry<LuaZtoKMatrix>},
    {"CreateAtomicIndicesDict", Entry<LuaCreateAtomicIndicesDict>},
    {"CreateAtomicIndicesList", Entry<LuaCreateAtomicIndicesList>},
    {"OrbToMultiplicity", Entry<LuaOrbToMultiplicity>},
    {"PotentialExpandedOnClm", Entry<LuaPotentialExpandedOnClm>},
};

// Goes into the table math, whose entries all become globals.
constexpr luaL_Reg mathFunctions[] = {{"ThreeJ", Entry<LuaThreeJSymbol>},
                                      {"ThreeJSymbol", Entry<LuaThreeJSymbol>},
                                      {"SlaterCoefficientC", Entry<LuaSlaterCoefficientC>},
                                      {"Dot", Entry<LuaDot>},
                                      {"MatrixTranspose", Entry<LuaMatrixTranspose>},
                                      {"MatrixConjugateTranspose", Entry<LuaMatrixConjugateTranspose>},
                                      {"MatrixConjugate", Entry<LuaMatrixConjugate>},
                                      {"SphericalHarmonicY", Entry<LuaSphericalHarmonicY>},
                                      {"SphericalHarmonicC", Entry<LuaSphericalHarmonicC>},
                                      {"TesseralHarmonicZ", Entry<LuaTesseralHarmonicZ>},
                                      {"TesseralHarmonicD", Entry<LuaTesseralHarmonicD>},
                                      {"KubicHarmonicK", Entry<LuaKubicHarmonicK>},
                                      {"KubicHarmonicE", Entry<LuaKubicHarmonicE>},
                                      {"SphericalBesselJ", Entry<LuaSphericalBesselJ>},
                                      {"LaguerreL", Entry<LuaLaguerreL>},
                                      {"erf", Entry<LuaErf>},
                                      {"Erf", Entry<LuaErf>},
                                      {"erfc", Entry<LuaErfc>},
                                      {"Erfc", Entry<LuaErfc>},
                                      {"FaddeevaW", Entry<LuaFaddeevaW>},
                                      {"Voight", Entry<LuaVoight>},
                                      {nullptr, nullptr}};

}  // namespace

void luaopen_ssp(lua_State* L) {
  for (const auto registerType : types) registerType(L);
  for (const luaL_Reg& function : functions) {
    lua_pushcfunction(L, function.func);
    lua_setglobal(L, function.name);
  }
  RegisterMath(L, mathFunctions);
  SetMathGlobals(L);
}

}  // namespace fermix
