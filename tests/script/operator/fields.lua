-- Fields, methods and prints of operators.
local check = require("check")
local i = Complex.New(0, 1)
local meta = getmetatable(NewOperator(1, 0, {}))
local function read(path)
  local file = assert(io.open(path))
  local text = file:read("*a")
  file:close()
  return text
end

local O = NewOperator(3, 1, {{1, -0, 0.5}, {2, -2, -1}, {3, 1, 2}, {2, -1, 1e-16}, {1e-16 - i}}, {{"Name", "100% hop"}})
local text = "\nOperator: 100% hop\n" ..
  "QComplex         =          2 (Real==0 or Complex==1 or Mixed==2)\n" ..
  "MaxLength        =          2 (largest number of product of lader operators)\n" ..
  "NFermionic modes =          3 (Number of fermions in the one particle basis)\n" ..
  "NBosonic modes   =          1 (Number of bosons in the one particle basis)\n" ..
  "\nOperator of Length   0\n" ..
  "QComplex      =          1 (Real==0 or Complex==1)\n" ..
  "N             =          1 (number of operators of length   0)\n" ..
  "|  1.000000000000000E-16 -1.000000000000000E+00\n" ..
  "\nOperator of Length   2\n" ..
  "QComplex      =          0 (Real==0 or Complex==1)\n" ..
  "N             =          4 (number of operators of length   2)\n" ..
  "C  1 A  0 |  5.000000000000000E-01\n" ..
  "C  2 A  2 | -1.000000000000000E+00\n" ..
  "C  1 C  3 |  2.000000000000000E+00\n" ..
  "C  2 A  1 |  1.000000000000000E-16\n\n"
check.equal("print", tostring(O), text)
local path = os.tmpname()
O.Print({{"file", path}})
check.equal("print to file", read(path), text)
O.Print({{"file", path}, {"Full", true}})
check.equal("full print to file", read(path):sub(1, 32), "\nprintout of Operator: 100% hop\n")
os.remove(path)

-- Chop and Conjugate work in place, the transposes make new operators.
O.Chop()
check.equal("chopped noise", O.N[0] .. " " .. O.N[2], "1 3")
O.Chop(1.5)
check.equal("chopped to one term", O.N[0] .. " " .. O.N[2], "0 1")
local A = NewOperator(2, 0, {{1, -0, 1 + 2 * i}, {3 * i}})
check.ok("transpose", A.T() == NewOperator(2, 0, {{0, -1, 1 + 2 * i}, {3 * i}}))
check.ok("conjugate transpose", A.CT() == NewOperator(2, 0, {{0, -1, 1 - 2 * i}, {-3 * i}}))
A.Dag()
check.ok("Dag conjugates and does not transpose", A == NewOperator(2, 0, {{1, -0, 1 - 2 * i}, {-3 * i}}))

-- Writing.
A.Name = "A"
A.Restrictions = {2, 0, {"11", 0, 1}, {10, 1, 2}}
local R = A.Restrictions
check.equal("restrictions", table.concat({R[1], R[2], R[3][1], R[3][2], R[3][3], R[4][1], R[4][2], R[4][3]}, " "),
  "2 0 11 0 1 10 1 2")
A.Restrictions = nil
check.equal("restrictions removed", A.Restrictions, nil)
A.NF = 4
check.ok("more orbitals leave fermion terms", A == NewOperator(4, 0, {{1, -0, 1 - 2 * i}, {-3 * i}}))

local set = {
  {"Errorr, you can not change the value Complex of an operator A.\nIn order to change you have to modify the operator itselves, the value of Complex will follow automatically.", "Complex", true},
  {"Error index foo not found in Operator Object\n", "foo", 1},
  {"Maximum number of fermions + bosons allowed is 2^15 = 32768\nTrying to change the number of fermions from 4 to 32769 with 0 bosons\n", "NF", 32769},
  {"Maximum number of fermions + bosons allowed is 2^15 = 32768\nTrying to change the number of bosons from 0 to 32765 with 4 fermions\n", "NB", 32765},
  {"Current version does not suport Bosons\n", "NB", 1},
  {"Number of Bosons in definition of restrictions (0) not the same as number of Bosons in operator (1)\n", "Restrictions", {4, 0, {"1111", 0, 1}}},
}
for _, e in ipairs(set) do check.error(e[2], e[1], meta.__newindex, A, e[2], e[3]) end
check.equal("the bosons stay", A.NB, 1)

local call = {
  {"Error in .Print(arg) unrecognized arguments in Print()\n", A.Print, {}, {}},
  {"Errorr, call to chop with 2 arguments, expected 0 or 1\n", A.Chop, 1, 2},
  {"Error operator variable not found", meta.__index, A, "foo"},
}
for _, e in ipairs(call) do check.error(e[1], e[1], table.unpack(e, 2)) end

local chop = A.Chop
meta.__gc(A)
check.ok("method of a released operator", not pcall(chop))

check.done()
