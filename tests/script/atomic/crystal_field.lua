-- Crystal fields in scripts: potentials from the energies of orbitals, and the operators made of them.
local check = require("check")
local potential = PotentialExpandedOnClm
local function same(name, a, b) check.equal(name, #Chop(a - b, 1e-14).N, 0) end

-- A potential is a list of rows {k, m, value}; values are numbers where they are real.
local tetragonal = potential("C4v", 2, {0.4, 0.1, -0.3, 0.2})
check.equal("terms", #tetragonal, 5)
check.equal("real", type(tetragonal[4][3]), "number")
check.near("mean", tetragonal[1][3], 0.12, 1e-15)
check.near("energies beyond those needed", potential("Oh", "1", {"2", 5})[1][3], 2, 0)
local between = potential("D3d", 2, {0, 0, 0, 1})
check.near("complex", between[5][3], I * 3 * math.sqrt(7 / 5), 1e-14)

local up, dn, NF = {1, 3, 5, 7, 9}, {0, 2, 4, 6, 8}, 10
-- Lists of states of j give the operator in their basis, within a shell and between two.
local trigonal = potential("D3dA", 2, {1, 0.2, 0.1, -0.5})
local jmin, jplus = {0, 1, 2, 3}, {4, 5, 6, 7, 8, 9}
same("jjz", NewOperator("CF", NF, jmin, jplus, trigonal), Rotate(NewOperator("CF", NF, up, dn, trigonal), YtojjzMatrix(2)))
local pUp, pDn, dipole = {11, 13, 15}, {10, 12, 14}, {{1, 1, math.sqrt(1 / 2)}, {1, -1, -math.sqrt(1 / 2)}}
local pMin, pPlus = {10, 11}, {12, 13, 14, 15}
same("jjz, transition", NewOperator("CF", 16, jmin, jplus, pMin, pPlus, dipole, {{"basis", "jjz"}}),
     Rotate(NewOperator("CF", 16, up, dn, pUp, pDn, dipole), YtojjzMatrix({2, 1})))
local field = NewOperator("CF", NF, up, dn, tetragonal)
for _, name in ipairs {"Y", "TesseralHarmonics", "CubicHarmonicsK", "P"} do  -- lists are taken as they stand
  same(name, NewOperator("CF", NF, up, dn, tetragonal, {{"basis", name}}), field)
end

-- Errors; the lines printed before some of them are compared elsewhere.
local function missing(sym, l) return ("Potential of \"%s\" symmetry for angular momentum %d not found\n"):format(sym, l) end
local call = "Error in PotentialExpandedOnClm, "
for _, c in ipairs {
  {missing("oh", 1), "oh", 1, {1}}, {missing("D3h", 3), "D3h", 3, {}},
  {call .. "\"Oh\" symmetry for angular momentum 2 needs the energies {Eg, T2g}, found only 1\n", "Oh", 2, {1}},
  {call .. "\"C4v\" symmetry for angular momentum 3 needs the energies {A1, B1, B2, E(1), E(2), <E(1)|V|E(2)>}, found only 5\n",
   "C4v", 3, {1, 2, 3, 4, 5}},
  {call .. "energy 1 is not a finite number\n", "Oh", 2, {math.huge, 1}},
  {"bad argument #1 to '?' (string expected, got no value)"},
} do check.error(tostring(c[2]), c[1], potential, table.unpack(c, 2)) end

check.done()
