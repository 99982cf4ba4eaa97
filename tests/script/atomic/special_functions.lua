-- Special functions of the table math as scripts call them: values, kinds of results, and every message.
local check = require("check")
local nan, huge = 0 / 0, math.huge
local pi = math.pi

-- Values: closed forms.
local theta, phi = 0.7, -2.2
check.near("Y00", SphericalHarmonicY(0, 0, theta, phi), math.sqrt(1 / (4 * pi)), 1e-16)
check.near("Y11", SphericalHarmonicY(1, 1, theta, phi),
           -math.sqrt(3 / (8 * pi)) * math.sin(theta) * Exp(I * phi), 1e-16)
check.near("C2-1", SphericalHarmonicC(2, -1, theta, phi),
           math.sqrt(3 / 2) * math.sin(theta) * math.cos(theta) * Exp(-I * phi), 2e-16)
check.equal("no negative zero", 1 / TesseralHarmonicZ(1, 1, 0, 4), huge)
check.near("K1-1 is x", KubicHarmonicK(1, -1, theta, phi), TesseralHarmonicZ(1, 1, theta, phi), 0)
check.near("E2-1 is (3z^2-1)/2", KubicHarmonicE(2, -1, theta, phi), (3 * math.cos(theta) ^ 2 - 1) / 2, 2e-16)
check.equal("numbers lose their fraction", TesseralHarmonicZ(2.9, -1.9, 1, 2), TesseralHarmonicZ(2, -1, 1, 2))

check.near("j1", math.SphericalBesselJ(1, 6), math.sin(6) / 36 - math.cos(6) / 6, 1e-17)
check.equal("orders below 0", SphericalBesselJ(-1, 2), 0)
check.near("L", LaguerreL(2, 3, 0.5), (0.25 - 5 * 2 * 0.5 + 20) / 2, 1e-15)

check.near("erf + erfc", Erf(1 + 2 * I) + Erfc(1 + 2 * I), 1, 1e-14)
check.equal("the Gaussian width plays no part", Voight(0.3, 1, 0.5), Voight(0.3, -77, 0.5))
check.near("Voight far out is a Lorentzian", Voight(1e4, 1, 2) * 2 * pi * 1e8, 1, 1e-7)

-- Messages.
local withC, withY = "math.SphericalHarmonicsC expects 4 parameters l,m,theta,phi",
                     "math.SphericalHarmonicsY expects 4 parameters l,m,theta,phi"
local range = {Y = "Spherical Harmonics only implemented for 0<=l<=12 l=%d",
               Z = "Spherical Harmonics only implemented for 0<l<12 l=%d",
               K = "Spherical Harmonics only implemented for 0<=l<=6 l=%d"}
for name, texts in pairs {SphericalHarmonicY = {withY, range.Y}, SphericalHarmonicC = {withC, range.Y},
                          TesseralHarmonicZ = {withY, range.Z}, KubicHarmonicK = {withY, range.K}} do
  local f = math[name]
  check.error(name, texts[1], f)
  check.error(name, texts[2]:format(13), f, 13, 0, 1, 1)
  check.error(name, texts[2]:format(-2147483648), f, nan, 0, 1, 1)
  check.error(name, "Spherical Harmonics only defined for -l<m<l l=1 m=2", f, 1, 2, 0, 0)
end
check.error("Bessel", "math.SphericalBesselJ expects 2 parameters l,x", SphericalBesselJ, 1)
check.error("Laguerre", "Laguerre polynomials only implemented for n<=10000000 n=2147483647", LaguerreL, 1e300, 1, 2)
check.error("Voight", "math.Voight expects 3 parameters w,GFWMH,LFWHM", Voight, 1, 2)
check.error("w", "bad argument #1 to '?' (Complex_Type expected, got boolean)", FaddeevaW, true)

-- What makes no sense neither stops nor crashes.
for _, x in ipairs {nan, huge, -huge, 1e300, -1e300, 0} do
  for _, f in ipairs {erf, erfc, FaddeevaW} do f(x) f(Complex.New(x, 1)) f(Complex.New(1, x)) end
  Voight(x, x, x)
  for _, n in ipairs {0, 1, 30, -5, nan} do SphericalBesselJ(n, x) LaguerreL(n, n, x) end
  SphericalBesselJ(huge, x)
end

check.done()
