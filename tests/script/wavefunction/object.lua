-- Script states: constructor, fields and methods.
local check = require("check")
local i, nan = Complex.New(0, 1), 0 / 0
local meta = getmetatable(NewWavefunction(1, 0, {}))

-- --- Constructor
local function elements(psi)
  local text = {}
  for k = 1, psi.N do text[k] = tostring(psi.PrefactorDet(k)) end
  return table.concat(text, " ")
end
local stored = {
  {"in the order given", 4, {{"1100", 2}, {"0011", 1}}, "2 1", false},
  {"equal determinants sum", 4, {{"1100", 2}, {"0011", 1}, {"11 00", 3}}, "5 1", false},
  {"numbers are texts", 4, {{1100, 2}, {"1100", 1}}, "3", false},
  {"bytes", 9, {{{0xc0, 0x80}, 2}, {"110000001", 1}}, "3", false},
  {"padding is cleared", 4, {{{0xff}, 2}, {"1111", 1}}, "3", false},
  {"complex without imaginary part", 4, {{"1100", Complex.New(2, 0)}}, "2", true},
}
for _, c in ipairs(stored) do
  local psi = NewWavefunction(c[2], 0, c[3])
  if c[4] then check.equal(c[1], elements(psi), c[4]) end
  check.equal(c[1] .. ": kind", psi.Complex, c[5])
end
local options = NewWavefunction(4, 0, {}, {{"name", string.rep("x", 300)}, {"NBitsKey", 5}})
check.equal("long names are cut", #options.Name, 255)
check.equal("NBitsKey", options.NBitsKey, 5)
local psi = NewWavefunction(4, 0, {{"1100", 3}, {"0110", 4 * i}})
check.equal("defaults", psi.Name .. psi.NBitsKey .. psi.NF .. psi.NB .. psi.N, "Wave Function16402")

local errors = {
  {"Bosons not included in this version\n Sorry\n", 4, 1, {}},
  {"ERROR: LuaNewWaveFunction called with to many particles in the one particle basis NF= 2147483647, NB=0\n", 1e300, 0, {}},
  {"Error in LuaWavefunctionNew, length of string(3) different from NFermion(4)+2*NBoson(0)\n", 4, 0, {{"1 1 0", 1}}},
  -- "%.14g" turns a number of 15 digits into 1e+14
  {"Error in LuaWavefunctionNew, length of string(5) different from NFermion(15)+2*NBoson(0)\n", 15, 0, {{1e14, 1}}},
  {"Error in LuaWavefunctionNew, determinant number 1 should be a table of 1 words\n", 4, 0, {{{1, 2}, 1}}},
  {'Error in StringToDet, expected "1", "0" or " " on position 2 of the string, got x\n', 4, 0, {{"11x0", 1}}},
  {"Error in LuaWavefunctionNew, prefactor of determinant number 1 is not a number\n", 4, 0, {{"1100", nan}}},
  {"WaveFunctionInit failed, your most probably out of memory", 4, 0, {}, {{"NBitsKey", 33}}},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], NewWavefunction, table.unpack(e, 2, e.n or #e)) end

-- --- Methods
check.equal("name of an element", psi.Det(2).Name, "Wave Function.Det(2)")
check.equal("by text", psi.PrefactorDet("1100"), 3)
check.near("complex", psi.PrefactorDet("01 10"), 4 * i, 0)
psi.Conjugate()
check.near("conjugated", psi.PrefactorDet(2), -4 * i, 0)
psi.Normalize()
check.near("norm", psi * psi, 1, 1e-15)
local chopped = NewWavefunction(2, 0, {{"10", 1}, {"01", 1e-3}, {"11", 1e-16 * i}})
chopped.Chop()
check.equal("default threshold", chopped.N .. tostring(chopped.Complex), "2false")
chopped.Chop(1e-3)
check.equal("at the threshold", chopped.N, 1)
local random = NewWavefunction(4, 0, {{"1100", 0}, {"0011", 0}})
random.Randomize()
check.near("random and normalised", random * random, 1, 1e-14)

-- States that share a basis do not see each other's changes.
local q = Orthonormalize({NewWavefunction(2, 0, {{"10", 2}, {"01", 1}}), NewWavefunction(2, 0, {{"10", 1}, {"01", 2}})})
local before = tostring(q[2])
q[1].Chop(0.9)
q[1].NF = 3
check.equal("neighbour on the same basis", tostring(q[2]), before)

-- --- Writing
local w = NewWavefunction(3, 0, {{"110", 1}, {"001", 2}}, {{"Name", "w"}})
w.NF = 5
check.ok("more orbitals", w == NewWavefunction(5, 0, {{"11000", 1}, {"00100", 2}}))
w.NF = 2
check.ok("fewer orbitals", w == NewWavefunction(2, 0, {{"11", 1}, {"00", 2}}))
w.NBitsKey = 3
check.equal("NBitsKey", w.NBitsKey .. " " .. w.N, "3 2")
local set = {
  {"Errorr, you can not change the value Complex of a wavefunction w.\nIn order to change you have to modify the wavefunction itselves, the value of Complex will follow automatically.", "Complex", true},
  {"Maximum number of fermions + bosons allowed is 2^16 = 65535\nTrying to change the number of fermions from 2 to 65536 with 0 bosons\n", "NF", 65536},
  {"Current version does not suport Bosons\n", "NB", 1},
  {"Internal error in WaveFunctionResetKeylist\n", "NBitsKey", 33}, {"Internal error in WaveFunctionResetKeylist\n", "NBitsKey", nan},
  {"Error index foo not found in Wavefunction Object\n", "foo", 1},
}
for _, e in ipairs(set) do check.error(e[2], e[1], meta.__newindex, w, e[2], e[3]) end
check.equal("the bosons stay", w.NB, 1)
check.ok("modes in the text of a determinant", w.PrefactorDet("11 00") == 1 and w.PrefactorDet("1101") == 0)
check.ok("a blank inside of a mode", not pcall(w.PrefactorDet, "110 0"))

local call = {
  {"Error in .Det(arg) arg should be an integer between 1 and .N (2)\n", psi.Det, nan},
  {"Error in .Det(arg = 3) arg should be an integer between 1 and .N (2)\n", psi.Det, 3},
  {"Error in .Print(arg) Binary and full text format are exclusive\n", psi.Print, {{"Full", true}, {"Binary", true}}},
  {'Error operation ".foo()" not defined on wavefunction\n', meta.__index, psi, "foo"},
}
for _, e in ipairs(call) do check.error(e[1], e[1], table.unpack(e, 2)) end
local chop = w.Chop
meta.__gc(w)
check.ok("method of a released state", not pcall(chop))

check.done()
