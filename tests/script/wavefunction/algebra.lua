-- Arithmetic of states.
local check = require("check")
local i = Complex.New(0, 1)
local meta = getmetatable(NewWavefunction(1, 0, {}))
local function state(...) return NewWavefunction(3, 0, {...}) end

local a = state({"110", 1}, {"011", 2}, {"101", -1})
local b = state({"011", 0.5}, {"000", 3})
local c = state({"110", i}, {"000", 1 - i})
local laws = {
  {"a + b", a + b, state({"000", 3}, {"110", 1}, {"011", 2.5}, {"101", -1})},
  {"a + c", a + c, c + a}, {"associative", (a + b) + c, a + (b + c)}, {"a - b", a - b, a + (-1) * b},
  {"c - a", c - a, -(a - c)}, {"2 a", 2 * a, a + a}, {"a 2", a * 2, 2 * a}, {"a 'text'", a * "2", 2 * a},
  {"i c", i * c, c * i}, {"a / 4", a / 4, a * 0.25}, {"c / i", c / i, -i * c}, {"a - a", a - a, state()},
}
for _, law in ipairs(laws) do check.ok(law[1], law[2] == law[3]) end
check.ok("different", a ~= b and not (a == 2 * a))
check.ok("different spaces", not (NewWavefunction(2, 0, {}) == NewWavefunction(3, 0, {})))
check.equal("operands stay", a.N .. b.N .. c.N .. tostring(a.Complex), "322false")

-- <a|b> = sum of conj(a_D) b_D
check.equal("real", a * b, 1)
check.near("complex bra", c * a, -i, 0)
check.near("complex ket", a * c, i, 0)
check.near("norm", c * c, 3, 1e-15)
check.near("c * b", c * b, 3 * (1 + i), 1e-15)

local t = a * {x = b, [3] = {2}}
check.equal("table of states", t.x, 1)
check.ok("nested table", t[3][1] == 2 * a)
check.ok("table on the left", ({c, i} * a)[2] == i * a)
local loop = {}
loop.loop = loop
check.error("cyclic table", "Error: table nested deeper than 200 levels, or containing itself\n", meta.__mul, loop, a)
local doubled = {a}
for _ = 1, 100 do doubled = {doubled, doubled} end
check.error("shared tables", "Error: tables shared inside of a table come to more than 4000000 values\n", meta.__mul,
  {a}, doubled)

local two = NewWavefunction(2, 0, {{"10", 1}})
local bosons = NewWavefunction(3, 0, {})
pcall(meta.__newindex, bosons, "NB", 1)
local errors = {
  {"Adding two wave-funcitons with different number of Fermions in the basis (3) and (2)", meta.__add, a, two},
  {"Adding two wave-funcitons with different number of Bosons in the basis (0) and (1)", meta.__add, a, bosons},
  {"Subtracting two wave-funcitons with different number of Fermions in the basis (2) and (3)", meta.__sub, two, a},
  {"Subtracting two wave-funcitons with different number of Bosons in the basis (1) and (0)", meta.__sub, bosons, a},
  {"Multiplying two wave-funcitons with different number of Fermions in the basis (2) and (3)", meta.__mul, two, a},
  {"Error in __add found 3 arguments, wheras a + b should only have two arguments\n", meta.__add, a, b, c},
  {"Error in __sub found 3 arguments, wheras a - b should only have two arguments\n", meta.__sub, a, b, c},
  {"Error, number devided by an operator\n", meta.__div, 1, a},
  {"Error, table devided by an operator\n", meta.__div, {}, a},
  {"Error, wavefunction devided by an object of unrecognized type\n", meta.__div, a, b},
  {"Error, wavefunction multiplied with an object of unrecognized type\n", meta.__mul, a, true},
  {"Error, wavefunction multiplied with a number that is not a number\n", meta.__mul, a, 0 / 0},
  {"Error, wavefunction multiplied with a number that is not a number\n", meta.__mul, {Complex.New(0, 0 / 0)}, a},
  {"Error, wavefunction devided by a number that is not a number\n", meta.__div, a, 0 / 0},
  {"Error, wavefunction devided by zero\n", meta.__div, a, 0},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end
for _, wrong in ipairs({1, true, {}, NewOperator(3, 0, {})}) do
  check.ok("sum of wrong types", not pcall(meta.__add, a, wrong) and not pcall(meta.__sub, wrong, a))
end

check.done()
