-- NewOperator from a list of terms: what is stored, and what is refused.
local check = require("check")
local nan, huge = 0 / 0, math.huge

-- Strings that mean the same after ordering sum; what ordering leaves behind goes to the constant.
local function counts(O)
  local N = O.N
  local text = tostring(N[0])
  for i = 1, #N do text = text .. " " .. N[i] end
  return text
end
local stored = {
  {"the same string twice", 2, {{1, -0, 0.5}, {1, -0, 0.25}}, "0 0 1", 0},
  {"annihilator left of its creator", 2, {{-0, 0, 2}}, "1 0 1", 2},
  {"only a constant", 2, {{3.5}}, "1", 3.5},
  {"the same creator twice vanishes", 2, {{1, 1, 1}}, "0 0 0", 0},
  {"value as text, index a rounding error off", 3, {{2.0000000000000001, "2"}}, "0 1", 0},
}
for _, c in ipairs(stored) do
  local O = NewOperator(c[2], 0, c[3])
  check.equal(c[1] .. ": terms", counts(O), c[4])
  check.equal(c[1] .. ": constant", O.Offset, c[5])
end

-- The sign bit decides, also that of zero: -0 annihilates.
local hop = NewOperator(2, 0, {{1, -0, 1}})
check.ok("-0 annihilates", hop * NewWavefunction(2, 0, {{"10", 1}}) == NewWavefunction(2, 0, {{"01", 1}}))

check.near("complex constant", NewOperator(2, 0, {{Complex.New(1, 2)}}).Offset, Complex.New(1, 2), 0)

local O = NewOperator(3, 2, {}, {{"name", "H"}, {"NBitsKey", {0, 4, 0.4, 7}}, {"restrictions", {3, 2, {"110 FF00", 1, 2}}}})
check.equal("Name", O.Name, "H")
check.equal("tables up to the longest with a size", #O.N, 4)
check.equal("long names are cut", #NewOperator(1, 0, {}, {{"Name", string.rep("x", 300)}}).Name, 255)

local errors = {
  {"ERROR: LuaNewOperator called with 0 arguments, expect at least one\n"},
  {'ERROR: first argument in LuaNewOperator should be a string (use "Oppname" as first argument)\n', nil, n = 2},
  {'ERROR: first argument in NewOperator (sz) is not recognized as a known operatortype\n See Help("NewOperator") for more information\n', "sz"},
  {"ERROR: LuaNewOperator called with to many particles in he one particle basis NF= 2147483647, NB=0\n", 1e300, 0, {}},
  {"ERROR: Opperator 1 at position 2 adding particle with index 5 but there are only 4 (3 Fermions + 1 Bosons in the basis)\n)\n", 3, 1, {{1, -5, 1}}},
  {"ERROR: Opperator 2 at position 1 addign particle with index 1.500000 should be integer", 3, 0, {{1, 1}, {1.5, 1}}},
  {"ERROR: Opperator 1 has a prefactor that is not a number\n", 3, 0, {{1, Complex.New(0, nan)}}},
  {"Number of Fermions in definition of restrictions (4) not the same as number of Fermions in operator (3)\n", 3, 0, {}, {{"Restrictions", {4, 0, {"1111", 0, 1}}}}},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], NewOperator, table.unpack(e, 2, e.n or #e)) end
local loop = {}
loop[1] = loop
check.ok("cyclic table", not pcall(NewOperator, 2, 0, loop))

-- Restriction sets.
local format = 'Restrictions should be given in the format {NFermion,NBoson,{"determinant1",minocc,maxocc},{"determinant2",minocc,maxocc},...}'
local restrictions = {
  {format, {3, 0}},
  {"Error in Restrictions, determinant number 1 should be a table of 1 words\n", {3, 0, {"111", 0, 1}, {{1, 2}, 0, 1}}},
}
for _, r in ipairs(restrictions) do check.error(r[1], r[1], NewOperator, 3, 0, {}, {{"Restrictions", r[2]}}) end
-- A mask that can't be read is no error; it counts nothing, or what could be read of it.
for text, mask in pairs{["1111"] = "000", ["121"] = "101"} do
  local O = NewOperator(3, 0, {}, {{"Restrictions", {3, 0, {text, 0, 1}}}})
  check.equal("mask " .. text, O.Restrictions[3][1], mask)
end
check.ok("huge space in restrictions", not pcall(NewOperator, 3, 0, {}, {{"Restrictions", {4294967295, 0, {"1", 0, 1}}}}))

check.done()
