#include "atomic/special_functions_script.h"

#include <algorithm>
#include <cmath>
#include <cstdint>

#include "atomic/error_functions.h"
#include "atomic/harmonics.h"
#include "atomic/special_functions.h"

namespace fermix {

namespace {

void CheckCount(lua_State* L, int expected, const char* text) {
  if (lua_gettop(L) != expected) luaL_error(L, "%s", text);
}

// A number without its fraction; not-a-number becomes the lowest integer, which no order is.
int CheckTruncated(lua_State* L, int index) {
  const double x = luaL_checknumber(L, index);
  if (std::isnan(x)) return INT32_MIN;
  return static_cast<int>(std::clamp(std::trunc(x), -2147483648.0, 2147483647.0));
}

template <auto Real, auto Complex>
int ErrorFunction(lua_State* L) {
  if (const Complex16* z = TestRecord<Complex16>(L, 1)) return lua_pushcomplex(L, Complex(*z));
  return lua_push(L, Real(luaL_checknumber(L, 1)));
}

double RealErf(double x) { return std::erf(x); }
double RealErfc(double x) { return std::erfc(x); }

struct HarmonicArguments {
  int l, m;
  double theta, phi;
};

// lText names the family's range of l, in words that scripts know and that differ from the test.
HarmonicArguments CheckHarmonic(lua_State* L, const char* countText, const char* lText) {
  CheckCount(L, 4, countText);
  const HarmonicArguments a{CheckTruncated(L, 1), CheckTruncated(L, 2), luaL_checknumber(L, 3),
                            luaL_checknumber(L, 4)};
  if (a.l < 0 || a.l > MaxHarmonicL) luaL_error(L, lText, a.l);
  if (a.m < -a.l || a.m > a.l)
    luaL_error(L, "Spherical Harmonics only defined for -l<m<l l=%d m=%d", a.l, a.m);
  return a;
}

HarmonicArguments CheckSpherical(lua_State* L, const char* countText) {
  return CheckHarmonic(L, countText, "Spherical Harmonics only implemented for 0<=l<=12 l=%d");
}

using enum HarmonicNorm;

int PushSpherical(lua_State* L, const HarmonicArguments& a, HarmonicNorm norm) {
  return lua_pushcomplex(L, {ReSphericalHarmonicY(a.l, a.m, a.theta, a.phi, norm),
                             ImSphericalHarmonicY(a.l, a.m, a.theta, a.phi, norm)});
}

int PushTesseral(lua_State* L, HarmonicNorm norm) {
  const auto a = CheckHarmonic(L, "math.SphericalHarmonicsY expects 4 parameters l,m,theta,phi",
                               "Spherical Harmonics only implemented for 0<l<12 l=%d");
  return lua_push(L, TesseralHarmonicZ(a.l, a.m, a.theta, a.phi, norm));
}

int PushCubic(lua_State* L, HarmonicNorm norm) {
  const auto a = CheckHarmonic(L, "math.SphericalHarmonicsY expects 4 parameters l,m,theta,phi",
                               "Spherical Harmonics only implemented for 0<=l<=6 l=%d");
  return lua_push(L, CubicHarmonicK(a.l, a.m, a.theta, a.phi, norm));
}

}  // namespace

int LuaErf(lua_State* L) { return ErrorFunction<RealErf, Cerf>(L); }
int LuaErfc(lua_State* L) { return ErrorFunction<RealErfc, Cerfc>(L); }

int LuaFaddeevaW(lua_State* L) {
  Complex16 z;
  lua_check(L, 1, z);
  return lua_pushcomplex(L, FaddeevaW(z));
}

int LuaVoight(lua_State* L) {
  CheckCount(L, 3, "math.Voight expects 3 parameters w,GFWMH,LFWHM");
  const double w = luaL_checknumber(L, 1);
  luaL_checknumber(L, 2);
  return lua_push(L, Voight(w, luaL_checknumber(L, 3)));
}

int LuaSphericalHarmonicY(lua_State* L) {
  return PushSpherical(L, CheckSpherical(L, "math.SphericalHarmonicsY expects 4 parameters l,m,theta,phi"),
                       unit);
}
int LuaSphericalHarmonicC(lua_State* L) {
  return PushSpherical(L, CheckSpherical(L, "math.SphericalHarmonicsC expects 4 parameters l,m,theta,phi"),
                       renormalised);
}
int LuaTesseralHarmonicZ(lua_State* L) { return PushTesseral(L, unit); }
int LuaTesseralHarmonicD(lua_State* L) { return PushTesseral(L, renormalised); }
int LuaKubicHarmonicK(lua_State* L) { return PushCubic(L, unit); }
int LuaKubicHarmonicE(lua_State* L) { return PushCubic(L, renormalised); }

// A negative order counts as the unsigned number that it would be: far above any x.
int LuaSphericalBesselJ(lua_State* L) {
  CheckCount(L, 2, "math.SphericalBesselJ expects 2 parameters l,x");
  const int l = CheckTruncated(L, 1);
  return lua_push(L, SphericalBesselJ(luaL_checknumber(L, 2), static_cast<unsigned>(l)));
}

int LuaLaguerreL(lua_State* L) {
  CheckCount(L, 3, "math.LaguerreL expects 3 parameters n,l,x");
  const int n = CheckTruncated(L, 1), l = CheckTruncated(L, 2);
  constexpr int MaxLaguerreN = 10000000;  // a step of the recurrence for each
  if (n > MaxLaguerreN) luaL_error(L, "Laguerre polynomials only implemented for n<=10000000 n=%d", n);
  return lua_push(L, LaguerrePolynomial(n, l, luaL_checknumber(L, 3)));
}

}  // namespace fermix
