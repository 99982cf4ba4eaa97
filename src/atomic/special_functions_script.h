// Script functions of the table math: error functions, harmonics, Bessel and Laguerre functions.
#pragma once

#include "host/script.h"

namespace fermix {

int LuaErf(lua_State* L);
int LuaErfc(lua_State* L);
int LuaFaddeevaW(lua_State* L);
int LuaVoight(lua_State* L);  // w, GFWHM, LFWHM; the second plays no part

// l, m, theta, phi
int LuaSphericalHarmonicY(lua_State* L);
int LuaSphericalHarmonicC(lua_State* L);
int LuaTesseralHarmonicZ(lua_State* L);
int LuaTesseralHarmonicD(lua_State* L);
int LuaKubicHarmonicK(lua_State* L);
int LuaKubicHarmonicE(lua_State* L);

int LuaSphericalBesselJ(lua_State* L);  // l, x
int LuaLaguerreL(lua_State* L);         // n, l, x

}  // namespace fermix
