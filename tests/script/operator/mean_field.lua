local check = require("check")

local function diagonal(NF, value)
  local m = {}
  for i = 1, NF do
    m[i] = {}
    for j = 1, NF do m[i][j] = i == j and value(i - 1) or 0 end
  end
  return m
end
local function even(NF, N) return diagonal(NF, function() return N / NF end) end

-- --- A d shell. Energies in Racah's parameters A = F0 - F4 / 9, B = F2 / 49 - 5 F4 / 441 (G. Racah, Phys. Rev. 62
-- (1942) 438); average energy of a pair F0 - 2 / 63 (F2 + F4) (J. C. Slater, Quantum Theory of Atomic Structure).
local NF, Dn, Up = 10, {0, 2, 4, 6, 8}, {1, 3, 5, 7, 9}
local F0, F2, F4 = 8, 12, 7.5
local A, B = F0 - F4 / 9, F2 / 49 - 5 * F4 / 441
local Uav = F0 - 2 / 63 * (F2 + F4)
local U = NewOperator("U", NF, Up, Dn, {F0, F2, F4})

-- Hund's states are single determinants. That of d5 comes out of a density that is nearly spherical, which is unstable.
local rho, energy = MeanFieldGroundState(U, diagonal(NF, function(i) return i % 2 == 1 and 0.501 or 0.499 end), 1e-3)
check.near("d5, 6S", energy, 10 * A - 35 * B, 1e-12)
rho, energy = MeanFieldGroundState(U, Matrix.New(diagonal(NF, function(i) return (i == 7 or i == 9) and 1 or 0 end)), 0.05)
check.near("d2, 3F", energy, A - 8 * B, 1e-12)
check.equal("a userdata gives a userdata", type(rho), "userdata")

-- So is one electron or one hole in any field: Hartree-Fock is exact, a hole has the levels of an electron in the
-- reversed field. The first field makes everything complex; what starts in a determinant of the second turns so slowly
-- that linear mixing does not end.
local fields = {0.1 * NewOperator("ldots", NF, Up, Dn) + 0.3 * NewOperator("Ly", NF, Up, Dn) + 0.05 * NewOperator("Sx", NF, Up, Dn),
                0.08 * NewOperator("ldots", NF, Up, Dn) + 0.01 * NewOperator("Sz", NF, Up, Dn)}
local function level_of(field, start)
  local levels, lowest, nearest = Eigensystem(field, {NF, 0, {"1111111111", 1, 1}}, NF), 1e9, 1e9
  for _, psi in ipairs(levels) do
    lowest, nearest = math.min(lowest, Complex.Re(psi * field * psi)), math.min(nearest, math.abs(Complex.Re(psi * field * psi) - start))
  end
  return lowest, nearest
end
for _, field in ipairs(fields) do
  rho, energy = MeanFieldGroundState(U + field, even(NF, 1), 0)
  check.near("an electron", energy, level_of(field, 0), 1e-9)
  rho, energy = MeanFieldGroundState(U + field, even(NF, 9), 0)
  check.near("a hole", energy - 36 * Uav, level_of(-1 * field, 0), 1e-9)
  rho, energy = MeanFieldGroundState(U + field, diagonal(NF, function(i) return i == 9 and 0 or 1 end), 0)
  local _, distance = level_of(-1 * field, energy - 36 * Uav)
  check.near("a hole that turns", distance, 0, 1e-9)
end

-- --- The self-interaction of density functionals. In a spherical shell the potential is Uav (N - 1/2), whichever
-- orbitals are filled, where the interaction is the same for all pairs.
local psi3 = NewWavefunction(NF, 0, {{"1101000000", 0.6}, {"0000010110", 0.8}})
local function expect(name, O, value) -- O is the number value within the state psi3
  local rest = O * psi3 - value * psi3
  check.near(name, rest * rest, 0, 1e-24)
end
local N = 3.7
local dft = MeanFieldOperator(U, even(NF, N), {{"AddDFTSelfInteraction", true}, {"Offset", false}})
expect("potential of a spherical shell", dft, 3 * Uav * (N - 0.5))
dft = MeanFieldOperator(U, even(NF, N), {{"AddDFTSelfInteraction", true}})
expect("its double counting", dft, 3 * Uav * (N - 0.5) - Uav * N ^ 2 / 2)
expect("without, Hartree-Fock", MeanFieldOperator(U, even(NF, N)), 3 * Uav * N * 0.9 - Uav * N ^ 2 * 0.45)

-- Orbitals 2 to 9 with one interaction for all pairs, under a complex density of no symmetry; in the partial form,
-- which looks at the listed orbitals alone, they also feel an electron in orbital 0.
local listed, number, interaction = {}, {}, {}
for i = 2, 9 do
  listed[#listed + 1] = i
  number[#number + 1] = {i, -i, 1}
  for j = i + 1, 9 do interaction[#interaction + 1] = {i, -i, j, -j, 6} end
end
local shell, count = NewOperator(NF, 0, interaction), NewOperator(NF, 0, number)
local rho = diagonal(NF, function(i) return i > 1 and 0.1 * i or 0 end)
rho[4][5], rho[5][4], rho[4][10], rho[10][4] = 0.2 + 0.1 * I, 0.2 - 0.1 * I, -0.3, -0.3
local electrons = 4.4
local expected = 6 * (electrons - 0.5) * count - 3 * electrons ^ 2
local coupling, felt = NewOperator(NF, 0, {{0, -0, 5, -5, 100}}), NewOperator(NF, 0, {{0, -0, 100 * rho[6][6]}})
local options = {{"AddDFTSelfInteraction", true}}
for name, difference in pairs({full = MeanFieldOperator(shell, rho, options) - expected,
                               partial = PartialMeanFieldOperator(shell + coupling, rho, listed, options) - expected - felt}) do
  check.ok("no orbital is favoured, " .. name, Chop(difference, 1e-12) == NewOperator(NF, 0, {}))
end

-- --- Partial decoupling, and where the constant goes
local O = NewOperator(3, 0, {{0, -0, 1, -1, 5}, {1, -1, 2, -2, 7}, {0, -0, 2}, {11}})
local density = {{0.5, 0, 0}, {0, 0.25, 0}, {0, 0, 0.75}}
local function same(name, operator, list)
  check.ok(name, Chop(operator - NewOperator(3, 0, list), 1e-14) == NewOperator(3, 0, {}))
end
local c = (11 - 5 * 0.5 * 0.25 - 7 * 0.25 * 0.75) / 1.5
same("as trace", MeanFieldOperator(O, density, {{"OffsetAsTrace", true}}), {{0, -0, 2 + 5 * 0.25 + c}, {1, -1, 5 * 0.5 + 7 * 0.75 + c}, {2, -2, 7 * 0.25 + c}})

-- --- Messages
local both = {{"Offset", false}, {"OffsetAsTrace", true}}
for _, e in ipairs({
  {"MeanFieldOperator can not both have the option Offset = false and OffsetAsTrace = true\n", MeanFieldOperator, O, density, both},
  {"Error in MeanFieldOperator, length of operator (NF=10, NB=0) is not equal to length of density matrix (3)\n", PartialMeanFieldOperator, U, density, {0}},
  {"Error in MeanFieldGroundstate, length of operator (NF 3 NB 0) is not equal to length of density matrix (0)\n", MeanFieldGroundState, O, {}, 1},
  {"Mean-field operator failed\n", MeanFieldGroundState, O, {{4, 0, 0}, {0, 0, 0}, {0, 0, 0}}, 1},
}) do check.error(e[1], e[1], table.unpack(e, 2)) end

check.done()
