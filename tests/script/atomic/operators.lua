-- The named kinds of NewOperator as scripts use them.
local check = require("check")
local i = Complex.New(0, 1)
local up, dn = {1, 3, 5}, {0, 2, 4}
local NF = 6

-- Kinds of the shell families, and the names that they get.
local kinds = {
  {"Sx", "Sx"}, {"Sy", "Sy"}, {"Sz", "Sz"}, {"Splus", "S^+"}, {"Smin", "S^-"}, {"Ssqr", "S^2"}, {"Lx", "Lx"}, {"Ly", "Ly"},
  {"Lz", "Lz"}, {"Lplus", "L^+"}, {"Lmin", "L^-"}, {"Lsqr", "L^2"}, {"Jx", "Jx"}, {"Jy", "Jy"}, {"Jz", "Jz"}, {"Jplus", "J^+"},
  {"Jmin", "J^-"}, {"J2", "J^2"}, {"Jsqr", "J^2"}, {"Tx", "Tx"}, {"Ty", "Ty"}, {"Tz", "Tz"}, {"Tsqr", "T^2"}, {"Qyx", "Qxy"},
  {"ldots", "l.s"},
}
local O = {}
for _, kind in ipairs(kinds) do
  O[kind[1]] = NewOperator(kind[1], NF, up, dn)
  check.equal(kind[1], O[kind[1]].Name, kind[2])
end

-- Terms of the differences below the tolerance are rounding.
local function same(name, a, b) check.equal(name, #Chop(a - b, 1e-12).N, 0) end
-- In the jjz basis the momenta are what the basis change makes of them; the lists alone tell the basis.
for l = 0, 3 do
  local plain, jjz = {{}, {}}, {{}, {}}
  for k = 0, 4 * l + 1 do
    table.insert(plain[k % 2 == 1 and 1 or 2], k)
    table.insert(jjz[k < 2 * l and 1 or 2], k)
  end
  for _, kind in ipairs(kinds) do
    if kind[1]:find("^[SLJl]") then
      local expected = Rotate(NewOperator(kind[1], 4 * l + 2, plain[1], plain[2]), YtojjzMatrix(l))
      local form = NewOperator(kind[1], 4 * l + 2, jjz[1], jjz[2])
      same(kind[1] .. " in jjz", form, expected)
    end
  end
end

-- Prefactors below 0.001 are dropped: jz / (2l + 1) of the four states with jz = +-1/2 when l = 250.
local jmin, jplus = {}, {}
for k = 0, 1001 do table.insert(k < 500 and jmin or jplus, k) end
check.equal("small prefactors", NewOperator("Sz", 1002, jmin, jplus).N[2], 1002 - 4 + 2 * 500)

-- Bases. The spin is the same in all of them; options may be an empty list; the case of the key is free.
same("spin in cubic harmonics", NewOperator("Sy", NF, up, dn, {{"Basis", "CubicHarmonics"}}), O.Sy)
check.equal("K is not yet implemented for L", #NewOperator("Lx", NF, up, dn, {basis = "K"}).N, 0)
check.equal("T has no form in jjz", #NewOperator("Tz", NF, {0, 1}, {2, 3, 4, 5}).N, 0)

-- Orbitals may be any, also repeated; texts that are numbers are numbers.
same("repeated", NewOperator("Sz", 2, {1, 1}, {0, 0}), 2 * NewOperator("Sz", 2, {1}, {0}))

local N = NewOperator("Number", NF, {0, 1, 2, 3, 4, 5}, {0, 1, 2, 3, 4, 5}, {1, 1, 1, 1, 1, 1})
-- Crystal field: a constant is a number operator, in all three argument forms.
same("one list", NewOperator("CF", 3, {0, 1, 2}, {{0, 0, 2}}), 2 * NewOperator("Number", 3, {0, 1, 2}, {0, 1, 2}, {1, 1, 1}))
same("two lists", NewOperator("CF", NF, up, dn, {{0, 0, 2}}), 2 * N)
-- The first pair of lists is the bra.
local s, pUp, pDn = {{0}, {1}}, {3, 5, 7}, {2, 4, 6}
local z = NewOperator("CF", 8, {1}, {0}, pUp, pDn, {{1, 0, sqrt(3)}})
same("s from p", z, NewOperator("Number", 8, {1, 0}, {5, 4}, {1, 1}))
local y = NewOperator("CF", 8, {1}, {0}, pUp, pDn, {{1, 1, sqrt(3) * i}})
same("complex", y, NewOperator("Number", 8, {1, 0}, {3, 2}, {-i, -i}))

-- Ladders.
same("creators", NewOperator("Create", 3, {0, 2}, {i, 2}), NewOperator(3, 0, {{0, i}, {2, 2}}))
same("creator", NewOperator("Cr", 3, 2), NewOperator(3, 0, {{2, 1}}))
same("annihilator", NewOperator("An", 3, 2), NewOperator("An", 3, {2}, {1}))
same("sums", NewOperator("Create", 3, {0, 2, 0}, {0.5, i, 1}), NewOperator(3, 0, {{0, 1.5}, {2, i}}))
check.equal("identity", NewOperator("1", 3) == NewOperator(3, 0, {{1}}), true)
for name, O in pairs {
  ["Number operator a^{+}_(2) a_(1)"] = NewOperator("n", 3, 2, 1), ["Number operator"] = NewOperator("n", 3, {2}, {1}, {1}),
  ["Identity operator"] = NewOperator("I", 3)
} do check.equal("name", O.Name, name) end

-- Oscillators give two operators; a unit matrix changes nothing.
for kind, unit in pairs {HOSW = {{1, 0}, {0, 1}}, HarmonicOscillatorOnGrid = {{1, 0, 0}, {0, 1, 0}, {0, 0, 1}}} do
  local H, V = NewOperator(kind, 3, 2)
  local Hunit, Vunit = NewOperator(kind, 3, 2, unit)
  same(kind, H, Hunit)
  same(kind, V, Vunit)
end

-- Angular momentum.
check.near("half 3j", ThreeJ({0.5, 0.5}, {"0.5", -0.5}, {1, 0}), 1 / sqrt(6), 1e-15)
for _, c in ipairs {
  {{{2, 1}, {4, 1}, {2, 0}}, sqrt(30) / 21}, {{4, {2, 1}, {2, 0}}, sqrt(30) / 21},
  {{{2, 1}, {4, 0}, {2, 0}}, 0},  -- q is not m1 - m2
} do
  check.near("c^k", SlaterCoefficientC(table.unpack(c[1])), c[2], 1e-15)
end

check.done()
