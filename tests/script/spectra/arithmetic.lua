-- Arithmetic of spectra with numbers and with each other, against the same arithmetic of complex numbers.
local check = require("check")

local function spectrum(...)
  local t = {Integral = 2}
  for i, z in ipairs{...} do t[i] = {i, z} end
  return Spectra.FromTable({t})
end
local I = Complex.New(0, 1)
local a, b = 3 + 4 * I, -0.5 + 2 * I
local A, B = spectrum(a, 2 + I), spectrum(b, 1 - I)
local function first(S) return Spectra.ToTable(S)[1][1][2] end

for name, case in pairs{
  ["S + S"] = {A + B, a + b}, ["S - S"] = {A - B, a - b}, ["S * S"] = {A * B, a * b}, ["S / S"] = {A / B, a / b},
  ["x + S"] = {2 + A, a + 2}, ["S - x"] = {A - 2, a - 2}, ["x - S"] = {2 - A, 2 - a},
  ["S * x"] = {A * 3, a * 3}, ["x * S"] = {3 * A, a * 3}, ["S / x"] = {A / 4, a / 4}, ["x / S"] = {4 / A, 4 / a},
  ["S + z"] = {A + b, a + b}, ["z + S"] = {b + A, a + b}, ["S - z"] = {A - b, a - b}, ["z - S"] = {b - A, b - a},
  ["S * z"] = {A * b, a * b}, ["z * S"] = {b * A, a * b}, ["S / z"] = {A / b, a / b}, ["z / S"] = {b / A, b / a},
  ["S ^ 2"] = {A ^ 2, a * a}, ["S ^ -1"] = {A ^ -1, 1 / a}, ["S ^ z"] = {A ^ b, a ^ b}} do
  check.near(name, first(case[1]), case[2], 1e-14 * 40)
end
check.equal("operands stay", tostring(first(A)), tostring(a))
check.near("scaled weight", (A * 9).Integral[1], 2 * 3, 1e-15)
check.near("added weight", (A + B).Integral[1], 8 ^ 0.5, 1e-15)
for exponent, power in pairs{[-1] = 1 / 0, [0] = 1, [0.5] = 0, [2] = 0} do
  check.equal("0 ^ " .. exponent, Complex.Re(first(spectrum(0, 1) ^ exponent)), power)
end
check.near("0 ^ z", first(spectrum(0, 1) ^ (1 + I)), 0, 0)

-- Metamethods called by hand: their errors come without the place in the script.
local meta = debug.getmetatable(A)
local psi = NewWavefunction(1, 0, {{"1", 1}})
local operators = {plus = meta.__add, minus = meta.__sub, times = meta.__mul, ["divided by"] = meta.__div,
                   ["to the power"] = meta.__pow}
check.error("divided by zero", "Error: spectra divided by zero\n", meta.__div, A, 0)
check.error("divided by complex zero", "Error: spectra divided by zero\n", meta.__div, A, Complex.New(0, 0))
check.error("S ^ S", "Error: spectra to the power spectra\n", meta.__pow, A, B)
check.error("x ^ S", "Error: number to the power spectrum\n", meta.__pow, 2, A)

local two, longer = Spectra.Element(A, {1, 1}), spectrum(1, 2, 3)
for verb, metamethod in pairs{["Adding two"] = meta.__sub, ["Multiplying to"] = meta.__mul, ["Dividing to"] = meta.__div} do
  check.error(verb, "Error: " .. verb .. " sets of spectra with different number of elements (1) + (2)\n", metamethod, A, two)
end
for verb, metamethod in pairs{multiply = meta.__mul, divide = meta.__div} do
  check.error(verb, "Still to do: " .. verb .. " two spectra with different energy ranges, spectra 1\n", metamethod, A, longer)
end
check.equal("another grid is left out of a sum", tostring(A + longer), tostring(A))

for verb, metamethod in pairs(operators) do
  for word, operand in pairs{boolean = true, ["unrecognized userdata"] = io.stdout, wavefunction = psi} do
    check.error(verb .. word, "Error: spectra " .. verb .. " " .. word .. "\n", metamethod, A, operand)
    check.error(word .. verb, "Error: " .. word .. " " .. verb .. " spectrum\n", metamethod, operand, A)
  end
  check.error(verb .. "string", "Error: spectra " .. verb .. " string\n", metamethod, A, "2")
  check.error("string" .. verb, "Error: character string " .. verb .. " spectrum\n", metamethod, "2", A)
end

local released = spectrum(1, 2)
meta.__gc(released)
meta.__gc(released)
check.ok("released objects are refused", not pcall(tostring, released) and not pcall(meta.__add, released, A))

check.done()
