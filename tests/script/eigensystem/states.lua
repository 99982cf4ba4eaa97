-- Eigensystem of an operator: every form of the call on systems that are solved by hand.
local check = require("check")
Verbosity(0)

-- Two-site Hubbard model; orbitals: site 1 down, up, site 2 down, up.
local function hubbard(t, U)
  return NewOperator(4, 0, {{0, -2, -t}, {2, -0, -t}, {1, -3, -t}, {3, -1, -t}, {0, -0, 1, -1, U}, {2, -2, 3, -3, U}})
end
local U = 4
local E0, E5 = U / 2 - math.sqrt(U ^ 2 / 4 + 4), U / 2 + math.sqrt(U ^ 2 / 4 + 4)
local two = {4, 0, {"1111", 2, 2}}
local H = hubbard(1, U)

local function residual(O, psi, E)
  local r = O * psi - E * psi
  return math.sqrt(Complex.Re(r * r))
end
local function check_states(name, O, states, energies, tolerance)
  for k, E in ipairs(energies) do
    check.near(name .. ": energy " .. k, Braket(states[k], O, states[k]), E, tolerance)
    check.ok(name .. ": residual " .. k, residual(O, states[k], E) < 1e-3)
    for j = 1, k do
      check.near(name .. ": overlap " .. j .. k, Braket(states[j], states[k]), j == k and 1 or 0, 1e-6)
    end
  end
end

-- --- Restriction form: dense and Krylov, singlet, triplet and the charge states
local spectrum = {E0, 0, 0, 0, U, E5}
local variants = {
  {"defaults", {}},
  {"Krylov", {{"DenseBorder", 0}, {"zero", 1e-14}}},
  {"no shifts", {{"ShiftScheme", "None"}}},
  {"automatic shifts", {{"DenseBorder", 0}, {"Zero", 1e-14}, {"ShiftScheme", "Automatic"}}},
}
for _, v in ipairs(variants) do
  local states = Eigensystem(H, two, 6, v[2])
  check.equal(v[1], #states, 6)
  check_states(v[1], H, states, spectrum, 1e-10)
end
local one = Eigensystem(H, two, 1)
check.ok("a single state is no table", type(one) == "userdata")
check.equal("no states", #Eigensystem(H, two, 0), 0)

-- States do not share their determinants: one can change alone.
local pair = Eigensystem(H, two, 2)
pair[1].NF = 2
check.equal("separate", pair[2].NF, 4)

-- --- Start functions, changed in place
local psi = NewWavefunction(4, 0, {{"1001", 3}, {"0110", 1}})
check.equal("nothing is returned", select("#", Eigensystem(H, psi)), 0)
check.near("in place", Braket(psi, H, psi), E0, 1e-9)
check.equal("grown", psi.N, 4)
local list = {NewWavefunction(4, 0, {{"1100", 1}}), NewWavefunction(4, 0, {{"1001", 1}, {"0110", -2}, {"0011", 1}})}
check.equal("a list returns nothing either", select("#", Eigensystem(H, list, {{"DenseBorder", 0}, {"zero", 1e-12}})), 0)
check_states("list", H, list, {E0, 0}, 1e-9)
local third = NewWavefunction(4, 0, {{"1100", 1}})
Eigensystem(H, third, "ignored", {{"epsilon", 1e-12}})
check.near("four arguments", Braket(third, H, third), E0, 1e-9)

local untouched = NewWavefunction(4, 0, {{"1111", 2}})
Eigensystem(hubbard(1, 0), untouched)
check.equal("what H does not touch stays", untouched.N, 1)
check.near("normalised", Braket(untouched, untouched), 1, 1e-15)

-- Any combination of states of one energy solves H at once; the result is orthogonal all the same.
for _, border in ipairs{1513, 0} do
  local alike = {NewWavefunction(4, 0, {{"1010", 1}}), NewWavefunction(4, 0, {{"1010", 1}, {"0101", 1}})}
  Eigensystem(H, alike, {{"DenseBorder", border}})
  check_states("one energy", H, alike, {0, 0}, 1e-12)
  local nothing = {NewWavefunction(4, 0, {{"1100", 1}}),
                   NewWavefunction(4, 0, {{"1100", 3}, {"0011", 4}, {"0110", 12}})}
  Eigensystem(NewOperator(4, 0, {}), nothing, {{"DenseBorder", border}})
  check_states("no energy", H - H, nothing, {0, 0}, 1e-12)
end

-- --- Large bases: three electrons of each spin hop around a ring of eight sites, 3136 determinants. They fill
-- the levels -2, -sqrt(2), -sqrt(2); the first excitation to the levels at 0 costs sqrt(2), 8 times over.
local function ring(sites, hopping)
  local terms = {}
  for site = 0, sites - 1 do
    for spin = 0, 1 do
      local from, to = 2 * site + spin, 2 * ((site + 1) % sites) + spin
      terms[#terms + 1] = {to, -from, -hopping}
      terms[#terms + 1] = {from, -to, -Complex.New(Complex.Re(hopping), -Complex.Im(hopping))}
    end
  end
  return NewOperator(2 * sites, 0, terms)
end
local six = {16, 0, {string.rep("10", 8), 3, 3}, {string.rep("01", 8), 3, 3}}
local Ering = -4 - 4 * math.sqrt(2)
local quarter = Complex.New(math.sqrt(0.5), math.sqrt(0.5))  -- a gauge: a full turn of the ring gives 1
for k, hopping in ipairs{1, quarter} do
  local hop = ring(8, hopping)
  local lowest = Eigensystem(hop, six, 1)
  Eigensystem(hop, lowest, {{"ExpandBasis", false}, {"zero", 1e-22}})
  check_states("ring " .. k, hop, {lowest}, {Ering}, 1e-11)
  check.ok("ring to all digits " .. k, residual(hop, lowest, Ering) < 1e-9)
end
local hop = ring(8, 1)
local five = Eigensystem(hop, six, 5, {{"zero", 1e-13}})
local first = Ering + math.sqrt(2)
check_states("degenerate", hop, five, {Ering, first, first, first, first}, 1e-10)

-- A search that was stopped goes on from a file.
local path = os.tmpname()
math.randomseed(2)
local rough = Eigensystem(hop, six, 1, {{"zero", 0.1}, {"NKrylovStart", 5}})
check.ok("rough", residual(hop, rough, Ering) > 1e-5)
rough.Print({{"file", path}, {"Binary", true}})
local resumed = Ob.ReadWavefunction(path, {{"Binary", true}})
Eigensystem(hop, resumed, {{"zero", 1e-13}})
check.near("resumed", Braket(resumed, hop, resumed), Ering, 1e-11)
os.remove(path)

-- --- ExpandBasis false: the determinants stay as they are
for _, border in ipairs{1513, 0} do
  -- Without the charge state of site 2 the singlet sees one of two: E^2 - U E - 2 t^2 = 0.
  local kept = NewWavefunction(4, 0, {{"1100", 1}, {"1001", 2}, {"0110", -1}})
  Eigensystem(H, kept, {{"ExpandBasis", false}, {"DenseBorder", border}, {"zero", 1e-20}})
  check.equal("kept", kept.N, 3)
  check.near("inside its determinants", Braket(kept, H, kept), U / 2 - math.sqrt(U ^ 2 / 4 + 2), 1e-10)
  -- A state of norm 0 brings its determinants only.
  local zero = NewWavefunction(4, 0, {{"1001", 0}, {"0110", 0}, {"1010", 0}})
  Eigensystem(H, zero, {{"ExpandBasis", false}, {"DenseBorder", 1513}})
  check.near("norm from nothing", Braket(zero, zero), 1, 1e-12)
end

-- --- Restrictions while the search runs
local single = {4, 0, {"1100", 0, 1}, {"0011", 0, 1}}  -- no double occupation: nothing moves
local blocked = NewWavefunction(4, 0, {{"1001", 1}})
Eigensystem(H, blocked, {{"restrictions", single}})
check.equal("restricted", blocked.N, 1)
check.near("restricted energy", Braket(blocked, H, blocked), 0, 1e-12)
local free = Eigensystem(H, {4, 0, {"1111", 2, 2}, {"1100", 0, 1}, {"0011", 0, 1}}, 1)
check.near("start restrictions bind the start only", Braket(free, H, free), E0, 1e-9)

-- --- A complex operator makes a real start complex.
local turn = NewOperator(2, 0, {{0, -1, Complex.New(0, 1)}, {1, -0, Complex.New(0, -1)}})
local start = NewWavefunction(2, 0, {{"10", 1}})
Eigensystem(turn, start)
check.equal("a real state becomes complex", start.Complex, true)
check.near("lowest", Braket(start, turn, start), -1, 1e-6)

-- --- A nearly Hermitian operator is repaired in place
local bent = NewOperator(2, 0, {{0, -1, 1}, {1, -0, 1 + 1e-9}, {0, -0, 0.5}})
local state = Eigensystem(bent, {2, 0, {"11", 1, 1}}, 1)
check.near("repaired", Braket(state, bent, state), 0.25 - math.sqrt(0.0625 + (1 + 0.5e-9) ^ 2), 1e-10)
check.ok("repaired for good", bent == ConjugateTranspose(bent))

-- --- math.randomseed makes a run repeat to the digit
local function run(seed, O, R, n)
  math.randomseed(seed)
  local states = Eigensystem(O, R, n, {{"DenseBorder", 0}})
  local text = {}
  for k = 1, n do
    for i = 1, states[k].N do text[#text + 1] = string.format("%a", Complex.Re(states[k].PrefactorDet(i))) end
  end
  return table.concat(text, " ")
end
-- Above 24 orbitals the start functions are random determinants.
local large = {28, 0, {string.rep("1", 28), 2, 2}}
for _, case in ipairs{{H, two, 3}, {ring(14, 1), large, 2}} do
  check.equal("repeatable", run(7, table.unpack(case)), run(7, table.unpack(case)))
  check.ok("seeded", run(7, table.unpack(case)) ~= run(8, table.unpack(case)))
end

check.done()
