-- Complex numbers: arithmetic by identities, every message, reading and writing of parts.
local check = require("check")
local C = Complex.New
local operators = {
  {word = "plus", f = function(a, b) return a + b end},
  {word = "minus", f = function(a, b) return a - b end},
  {word = "multiplied with", f = function(a, b) return a * b end},
  {word = "divided by", f = function(a, b) return a / b end},
  {word = "to the power", f = function(a, b) return a ^ b end}
}
local meta = getmetatable(I)
local event = {meta.__add, meta.__sub, meta.__mul, meta.__div, meta.__pow}

-- Values. The expected parts are worked out by hand.
local a, b = C(3, 4), C(1, -2)
for _, row in ipairs {
  {"a + b", a + b, 4, 2}, {"a - b", a - b, 2, 6}, {"a * b", a * b, 11, -2}, {"a / b", a / b, -1, 2},
  {"1 - a", 1 - a, -2, -4}, {"a / 2", a / 2, 1.5, 2}, {"25 / a", 25 / a, 3, -4},
  {"-a", -a, -3, -4}, {"a ^ 2", a ^ 2, -7, 24}, {"a ^ 0.5", a ^ 0.5, 2, 1},
  {"I ^ I", I ^ I, math.exp(-math.pi / 2), 0},
  {"2 ^ (1 + I)", 2 ^ (1 + I), 2 * math.cos(math.log(2)), 2 * math.sin(math.log(2))},
  {"Exp", Complex.Exp(C(1, Pi)), -math.exp(1), 0},
  {"1 / huge", 1e250 / C(3e200, 4e200), 1.2e49, -1.6e49}, {"1 / tiny", 1e-100 / C(0, 1e-200), 0, -1e100},
  {"huge quotient", C(1e300, 1e300) / C(1e300, 1e300), 1, 0}, {"tiny / 1", 1e-250 / C(0, 1e-100), 0, -1e-150},
} do
  local name, z, re, im = table.unpack(row)
  check.near(name .. " re", z.re, re, 1e-14 * (1 + math.abs(re)))
  check.near(name .. " im", z.im, im, 1e-14 * (1 + math.abs(re) + math.abs(im)))
end

-- Results of script arithmetic stay complex, functions give numbers.
check.equal("(1 + I) - I", type((1 + I) - I), "userdata")
check.ok("equal parts", C(1, 2) == C(1, 2) and C(1, 2) ~= C(1, 3))

-- Text.
for text, z in pairs {["(0 + 1 I)"] = I, ["(1.5 - 2 I)"] = C(1.5, -2), ["3"] = C(3, 0), ["(inf + 1 I)"] = C(inf, 1)} do
  check.equal("tostring", tostring(z), text)
end

-- Parts: the first letter of a key counts.
local z = C(3, 4)
z.re, z.Imaginary = 5, "6"
check.equal("written", tostring(z), "(5 + 6 I)")
z.re = {}
check.equal("no number writes 0", z.re, 0)
check.error("unknown part written", "Error index xyz not found in Complex Object\n", meta.__newindex, z, "xyz", 1)

-- Every operand without a meaning.
for i, op in ipairs(operators) do
  for word, value in pairs {boolean = true, ["character string"] = "2", ["unrecognized userdata"] = io.stdout} do
    check.error("left " .. word, "Error: " .. word .. " " .. op.word .. " complex number\n", event[i], value, I)
    local right = op.word == "to the power" and word == "character string" and "string" or word
    check.error("right " .. word, "Error: complex number " .. op.word .. " " .. right .. "\n", event[i], I, value)
  end
end

-- Tables: value by value, keys and metatable kept.
local t = setmetatable({1, {2, I}, x = 3}, {})
for _, op in ipairs(operators) do
  local r, l = op.f(I, t), op.f(t, I)
  check.ok("metatables", getmetatable(r) == getmetatable(t) and getmetatable(l) == getmetatable(t))
  for _, row in ipairs {{r[1], op.f(I, 1)}, {r[2][2], op.f(I, I)}, {r.x, op.f(I, 3)}, {l[2][1], op.f(2, I)}, {l.x, op.f(3, I)}} do
    check.near(op.word, row[1], row[2], 0)
  end
end
check.error("bad value in a table", "Error: complex number plus boolean\n", event[1], I, {{true}})

-- A matrix in table form is inverted by a division.
local m = setmetatable({{2, 0}, {0, I}}, MatrixMeta)
local inverse = I / m
check.equal("inverse has the metatable", getmetatable(inverse), MatrixMeta)
check.near("inverse", inverse[1][1] + 10 * inverse[2][2], 10 + 0.5 * I, 1e-14)

check.done()
