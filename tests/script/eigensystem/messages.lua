-- Eigensystem: every text that it raises, and wrong arguments of all kinds.
local check = require("check")
Verbosity(0)
local nan, inf = 0 / 0, math.huge

local H = NewOperator(2, 0, {{0, -1, 1}, {1, -0, 1}})
local psi, psi3 = NewWavefunction(2, 0, {{"10", 1}}), NewWavefunction(3, 0, {{"100", 1}})
local R, R3 = {2, 0, {"11", 1, 1}}, {3, 0, {"111", 1, 1}}
psi.Name = "start"
local format = 'Restrictions should be given in the format {NFermion,NBoson,{"determinant1",minocc,maxocc},{"determinant2",minocc,maxocc},...}'
local single = "Error Eigensystem called with a single argument, which should be either a matrix (square table or one of the (block) response function types)"
local cyclic = {}
cyclic[1] = cyclic

local errors = {
  {"Error Eigensystem called with 0 arguments, 1, 2, 3 or 4 expected\n"},
  {"Error Eigensystem called with 5 arguments, 1, 2, 3 or 4 expected\n", H, psi, 1, {}, 2},
  {single, H},
  {"bad argument #1 to '?' (Operator_Type expected, got number)", 1, psi},
  {"bad argument #2 to '?' (Wavefunction_Type expected, got number)", H, 3},
  {"bad argument #-1 to '?' (Wavefunction_Type expected, got string)", H, {psi, "x"}},
  {"bad argument #-1 to '?' (Wavefunction_Type expected, got table)", H, cyclic},
  {"Error Eigensystem called with 2 arguments, whereby the first is the operator and the second a set of restrictions\n" ..
   "Need a thrid argument how many eigenstates should be calculated\n", H, R},
  {format, H, {2, 0}, 1},
  {'Eigensystem called with a list of functions. Function with name "start" is at position 2 and 4\n',
   H, {Copy(psi), psi, Copy(psi), psi}},
  {"bad argument #3 to '?' (number expected, got table)", H, R, {}},
  {"Eigensystem called for a negative number of states (-1)\n", H, R, -1},
  {"Eigensystem called with zero equal to -1, at least 0 is needed\n", H, R, 1, {{"Zero", -1}}},
  {"Eigensystem called with a value of epsilon that is not finite\n", H, R, 1, {{"epsilon", nan}}},
  -- spaces
  {"Wave-function 1 has a different number of Fermions (3) than the Hamilton operator (2)\n", H, psi3},
  {"Number of Fermions in definition of restrictions (3) not the same as number of Fermions in operator (2)\n", H, R3, 1},
  {"Number of Bosons in definition of restrictions (1) not the same as number of Bosons in operator (0)\n",
   H, {2, 1, {"1100", 1, 1}}, 1},
  {"Number of Fermions in definition of restrictions (3) not the same as number of Fermions in operator (2)\n",
   H, psi, {{"Restrictions", R3}}},
  -- what can't start
  {"Eigensystem called with a set of restrictions and ExpandBasis false. Without start functions there is no basis that could be kept\n",
   H, R, 1, {{"ExpandBasis", false}}},
  {"Eigensystem called with a set of restrictions and NBitsKey 0, which turns off the creation of start functions\n",
   H, R, 1, {{"NBitsKey", 0}}},
  -- operators and states that are none
  {"Eigensystem called with an operator that is not Hermitian\n", NewOperator(2, 0, {{0, -0, Complex.New(0, 1)}}), psi},
  {"Eigensystem called with wave-function 2 that has a coefficient that is not a finite number\n",
   H, {psi, inf * psi}},
  {"Eigensystem called with start functions of norm 0, there is nothing to start from\n", H, 0 * psi},
  {"Eigensystem called with start functions of norm 0, there is nothing to start from\n",
   H, NewWavefunction(2, 0, {{"10", 0}, {"01", 0}}), {{"ExpandBasis", false}, {"DenseBorder", 0}}},
  {"Eigensystem called with start functions of norm 0, there is nothing to start from\n",
   H, NewWavefunction(2, 0, {}), {{"ExpandBasis", false}}},
  -- restrictions that H psi does not meet: another number of electrons, and at least 2 but at most 1
  {"Error in Eigensystem, the restrictions allow no determinant that the operator reaches from the start functions\n",
   H, psi, {{"Restrictions", {2, 0, {"11", 2, 2}}}}},
  {"Error in Eigensystem, the restrictions allow no determinant that the operator reaches from the start functions\n",
   H, R, 2, {{"Restrictions", {2, 0, {"11", 2, 1}}}}},
  -- options
  {"Error in option 1, Options should be a LIST of two elements of the form {\"name\",value}\n", H, psi, {1}},
}
for k, e in ipairs(errors) do check.error("error " .. k, e[1], Eigensystem, table.unpack(e, 2)) end

-- An unknown option lists those that there are.
local ok, message = pcall(Eigensystem, H, psi, {{"Colour", 1}})
check.equal("unknown option", message,
  "Error in option 1, Unrecognized option \"Colour\"\n Possible values for options are:\n" ..
  "DenseBorder [uint32_t]\nNKrylovStart [uint32_t]\nNKrylovMax [uint32_t]\nNKrylovStep [uint32_t]\n" ..
  "NKrylovMin [uint32_t]\nNBitsKey [uint32_t]\nepsilon [double]\nEpsilon [double]\nzero [double]\nZero [double]\n" ..
  "restrictions [DeterminantRestrictionType]\nRestrictions [DeterminantRestrictionType]\nExpandBasis [bool]\n" ..
  "ShiftScheme [char*]\n")

-- Refused calls leave their arguments alone.
local bent = NewOperator(2, 0, {{0, -1, 1}, {1, -0, 1 + 1e-9}})
local before = tostring(bent)
check.ok("not finite", not pcall(Eigensystem, bent, inf * psi))
check.equal("not repaired", tostring(bent), before)

-- Restrictions that nothing fulfils: they contradict each other, ask for more than there is, for at least 2 and at most
-- 1, or have a mask of a wrong length, which counts nothing.
local big = NewOperator(26, 0, {{0, -0, 1}})
local ones, first = string.rep("1", 26), "1" .. string.rep("0", 25)
for k, impossible in ipairs{
  {H, {2, 0, {"11", 2, 2}, {"10", 0, 0}}}, {H, {2, 0, {"11", 3, 4}}}, {H, {2, 0, {"11", 2, 1}}}, {H, {2, 0, {"1", 1, 1}}},
  {H, {2, 0, {"111", 1, 1}}}, {big, {26, 0, {ones, 26, 26}, {first, 0, 0}}},
} do
  for n = 1, 2 do
    check.error("impossible " .. k, "Error in Eigensystem, no start functions could be created within the restrictions\n",
      Eigensystem, impossible[1], impossible[2], n)
  end
end

-- Settings that make no sense end, one way or the other.
local odd = {
  {{"zero", 1e300}}, {{"epsilon", 1}}, {{"NKrylovMax", 0}, {"NKrylovStart", 0}, {"NKrylovStep", 0}}, {{"NKrylovStart", 4294967295}},
  {{"NKrylovStep", 4294967295}}, {{"NKrylovMax", 4294967295}}, {{"NBitsKey", 4294967295}}, {{"DenseBorder", 4294967295}},
  {{"ShiftScheme", "?"}},
}
for k, options in ipairs(odd) do
  for _, border in ipairs{1513, 0} do
    table.insert(options, 1, {"DenseBorder", border})
    local done, text = pcall(Eigensystem, H, R, 3, options)
    check.ok("odd settings " .. k, done, text)
    table.remove(options, 1)
  end
end
-- Huge and tiny energies, of which squares over- or underflow.
for _, scale in ipairs{1e300, 1e154, 1e-154, 1e-300, 5e-324} do
  for _, border in ipairs{1513, 0} do
    local done, text = pcall(Eigensystem, scale * H, R, 2, {{"DenseBorder", border}})
    check.ok("scale " .. scale, done, text)
  end
end
check.done()
