-- Arithmetic of operators with numbers, operators, states and tables.
local check = require("check")
local i = Complex.New(0, 1)
local meta = getmetatable(NewOperator(1, 0, {}))
local NF = 3

local A = NewOperator(NF, 0, {{1, -0, 1 + i}, {2, -2, 3}, {0.5}}, {{"Name", "A"}})
local B = NewOperator(NF, 0, {{2, 1, -0, -1, 0.5}, {0, -2, -i}}, {{"Name", "B"}})
check.ok("transpose of a product", (A * B).T() == B.T() * A.T())

-- Scalars.
local one = NewOperator(NF, 0, {{1}})
local scalars = {
  {"text", "2" * A, A + A}, {"i i A", i * (i * A), -A}, {"A / i", A / i, -i * A}, {"-A", -A, A - A - A},
  {"2 - A", 2 - A, one + one - A}, {"A - i", A - i, A + one * (-i)}, {"A - '1'", A - "1", A - one},
}
for _, s in ipairs(scalars) do check.ok(s[1], s[2] == s[3]) end
check.ok("of different spaces", not (NewOperator(2, 0, {}) == NewOperator(3, 0, {})))

-- On states: <phi| O psi> = <O^dag phi | psi>, and the product acts as one after the other.
local psi = NewWavefunction(NF, 0, {{"110", 1}, {"011", i}})
local phi = NewWavefunction(NF, 0, {{"110", 0.5}, {"101", 2}, {"011", 1}})
local sum = A + B
check.near("adjoint", phi * (sum * psi), (phi * sum) * psi, 1e-14)
check.ok("product on a state", (A * B) * psi == A * (B * psi))

-- Tables keep their keys.
local t = A * {x = 2, y = {B, psi}, [7] = i}
check.ok("operator in a table", t.y[1] == A * B)
check.ok("state in a table", t.y[2] == A * psi)
check.ok("table on the left", ({B})[1] * A == ({B} * A)[1])
local loop = {}
loop[1] = loop
check.error("cyclic table", "Error: table nested deeper than 200 levels, or containing itself\n", meta.__mul, A, loop)

local two = NewOperator(2, 1, {})
local notFinite = "Error, operator with a coefficient that is infinite or not a number\n"
local errors = {
  {"Adding two operators with different number of Fermions (3 and 2)\n", meta.__add, A, two},
  {"Adding two operators with different number of Bosons (0 and 1)\n", meta.__add, A, NewOperator(3, 1, {})},
  {"Multiplying two operators with different number of Fermions (2 and 3)\n", meta.__mul, two, A},
  {"Multiplying a wavefunction with an operator with different number of Fermions (3 and 2)\n", meta.__mul, psi, two},
  {"Error, operator multiplied with an object of unrecognized type\n", meta.__mul, A, {print}},
  {"Error, number devided by an operator\n", meta.__div, 1, A},
  {"Error, operator devided by an object of unrecognized type\n", meta.__div, A, B},
  {"Error, operator multiplied with a number that is not a number\n", meta.__mul, A, 0 / 0},
  {"Error, operator added to a number that is not a number\n", meta.__sub, Complex.New(0, 0 / 0), A},
  {notFinite, meta.__div, A, 0}, {notFinite, meta.__mul, A, 1 / 0}, {notFinite, meta.__add, A, 1 / 0},
  {notFinite, meta.__mul, 1e300 * A, 1e300 * A}, {notFinite, NewOperator, 2, 0, {{1, -0, 1 / 0}}},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end

check.done()
