-- What the named kinds of NewOperator, and the functions of angular momentum, refuse: whole texts.
local check = require("check")
local nan, huge = 0 / 0, math.huge
local range = " contains a refference outside the range [0,3]"
local many = "ERROR: LuaNewOperator called with to many particles in he one particle basis NF= %d, NB=0\n"
local basis = "Unrecognized value for basis %s, use SphericalHarmonicsY, TesseralHarmonicsZ, KubicHarmonicsK, " ..
              "PyramidalHarmonicsP, or jjz\n"
local notFinite = "Error, operator with a coefficient that is infinite or not a number\n"
local up, dn = {1, 3, 5}, {0, 2, 4}

local function refused(cases)
  for k, c in ipairs(cases) do
    check.error(tostring(c[2]) .. " " .. k, c[1], NewOperator, table.unpack(c, 2))
  end
end

-- Families of a shell: every kind gives the name of its front end, here before other spellings.
for spellings in ("Ssqr S^2,Tmin,Qxy Qyx,ldots"):gmatch("[^,]+") do
  local e = "Error in LuaOperatorNew" .. spellings:match("%S+") .. ", "
  for kind in spellings:gmatch("%S+") do
    refused {
      {e .. "Lenght of IndexUp (2) is not equal to lenght of IndexDn (1)\n", kind, 4, {1, 3}, {0}},
      {e .. "Lenght of IndexJmin (1) is not equal to 2l\n", kind, 4, {0}, {1, 2, 3}},
    }
  end
end
-- Their other checks, each before the next.
refused {
  {many:format(32769), "Tz", 32769, up, dn},
  {basis:format("Q"), "Lz", 4, {9}, dn, {{"basis", "Q"}}},
  {"Second index" .. range, "Lx", 4, {1}, {nan}},
  {"ERROR: first argument in NewOperator (T2) is not recognized as a known operatortype\n" ..
   " See Help(\"NewOperator\") for more information\n", "T2", 6, up, dn},
}

-- Crystal fields and transitions.
local cubic = {{4, 0, 1}}
local cf = "Error in LuaOperatorNewCF, "
refused {
  {"Error in NewOperator, operators from radial functions (AtomicU, ContinuumU, Dirac, H0) are not yet implemented\n", "AU", 1},
  {cf .. "an empty last table is a list of options, the expansion should stand before it\n", "CF", 6, up, dn, {}},
  {notFinite, "CF", 6, up, dn, {{2, 0, nan}}},
  {cf .. "Index of jmin and jmax should relate to the same angular momentum (0+2 != 4)\n",
   "CF", 8, {0, 1}, {2, 3, 4, 5}, {}, {4, 5, 6, 7}, cubic},
  {cf .. "the basis jjz needs two lists, IndexJmin and IndexJplus\n", "CF", 6, up, cubic, {{"basis", "j"}}},
  {"Error Harmonics Expansion, |m| (-2) > l (1) at level 1\n", "CF", 6, up, dn, {{1, -2, 1}}},
}

-- Ladders.
for kind, name in pairs {Create = "Create", An = "Annihilate"} do
  local e = "Error in LuaOperatorNew" .. name .. ", "
  refused {
    {e .. "index of the fermion cannot be larger than NFermion-1\n", kind, 4, 4},
    {e .. "prefactor 2 is not a number\n", kind, 4, {0, 1}, {1, Complex.New(0, nan)}},
  }
end
refused {
  {"Error in LuaOperatorNewNumber, Lenght of Index for Creation (1) is not equal to lenght of index for Annihilation (2)\n",
   "Number", 4, {0}, {1, 0}, {1}},
}

-- Oscillators. Without a matrix the grid has its own spelling where it speaks of a.
local grid = "Error in LuaOperatorNewHarmonicOscillatorOnGrid"
refused {
  {"Error in LuaOperatorNewHarmonicOscillatorOnGird, a should be positive not -2.000000\n", "HOGrid", -2, 3},
  {many:format(32770), "HOGrid", 1, 8193},
  {grid .. ", a=1e-200 and nmax=1 give operators that are not finite\n", "HOGrid", 1e-200, 1},
  {grid .. ". The dimension of the matrix defining the basis (2) should be equal to 2*nmax-1 (nmax=2).\n",
   "HOGrid", 1, 2, {{1, 0}, {0, 1}}},
}

-- Angular momentum.
local six = "math.SlaterCoefficientC expects 6 angular momentum as input that need to be integer values"
for _, c in ipairs {
  {"angular momentum 1e+300 is too large\n", ThreeJSymbol, {1e300, 0}, {1e300, 0}, {0, 0}},
  {"the angular momenta of a 3j symbol are too large\n", ThreeJSymbol, {1e8, 0}, {1e8, 0}, {0, 0}},
  {six, SlaterCoefficientC, 1.5, {1, 0}, {1, 0}},
} do
  check.error("angular momentum", c[1], table.unpack(c, 2))
end

check.done()
