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
  {"c - a", c - a, -(a - c)}, {"a 'text'", a * "2", 2 * a},
  {"i c", i * c, c * i}, {"c / i", c / i, -i * c}, {"a - a", a - a, state()},
}
for _, law in ipairs(laws) do check.ok(law[1], law[2] == law[3]) end
check.ok("different spaces", not (NewWavefunction(2, 0, {}) == NewWavefunction(3, 0, {})))
check.equal("operands stay", a.N .. b.N .. c.N .. tostring(a.Complex), "322false")

-- <a|b> = sum of conj(a_D) b_D
check.equal("real", a * b, 1)
check.near("complex bra", c * a, -i, 0)
check.near("c * b", c * b, 3 * (1 + i), 1e-15)

local t = a * {x = b, [3] = {2}}
check.equal("table of states", t.x, 1)
check.ok("nested table", t[3][1] == 2 * a)
local loop = {}
loop.loop = loop
check.error("cyclic table", "Error: table nested deeper than 200 levels, or containing itself\n", meta.__mul, loop, a)

local two = NewWavefunction(2, 0, {{"10", 1}})
local bosons = NewWavefunction(3, 0, {})
pcall(meta.__newindex, bosons, "NB", 1)
local errors = {
  {"Error, wavefunction devided by an object of unrecognized type\n", meta.__div, a, b},
  {"Adding two wave-funcitons with different number of Fermions in the basis (3) and (2)", meta.__add, a, two},
  {"Error, wavefunction multiplied with an object of unrecognized type\n", meta.__mul, a, true},
  {"Error, wavefunction multiplied with a number that is not a number\n", meta.__mul, {Complex.New(0, 0 / 0)}, a},
  {"Error, wavefunction devided by a number that is not a number\n", meta.__div, a, 0 / 0},
  {"Error, wavefunction devided by zero\n", meta.__div, a, 0},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end

check.done()
