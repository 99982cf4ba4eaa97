-- Tanabe-Sugano diagrams: the terms of 2 to 8 electrons of a 3d shell in a cubic field of 10Dq = 0 to 40 B.
--
--     scripts/run examples/tanabe_sugano.lua [DIRECTORY]
--
-- All energies are in units of Racah's B; C/B is that of the usual diagrams. For each configuration the script writes
-- tanabe_sugano_d2.dat ... tanabe_sugano_d8.dat to DIRECTORY (the current one without it): 10Dq/B, then the energy of
-- each term above the ground state, one column a term, with the names of the terms in the first line. In gnuplot:
--
--     set key autotitle columnhead outside; set yrange [0:80]
--     plot for [i=2:44] "tanabe_sugano_d6.dat" using 1:i with lines
--
-- It prints the ground state of each configuration in a weak and in a strong field, and where the two cross.

Verbosity(0)
directory = args and args[1] or "."
strongest, step = 40, 0.5  -- 10Dq/B

-- C/B of each configuration; the 10Dq/B at which textbooks draw the change from high to low spin in its diagram; and
-- two terms that differ by the jump of an electron from t2g to eg only, which lie 10Dq apart in any field.
configurations = {{N = 2, ratio = 4.42, jump = {"3T2(1)", "3A2(1)"}},
                  {N = 3, ratio = 4.50, jump = {"4A2(1)", "4T2(1)"}},
                  {N = 4, ratio = 4.61, textbook = 27, jump = {"5E(1)", "5T2(1)"}},
                  {N = 5, ratio = 4.477, textbook = 28},
                  {N = 6, ratio = 4.80, textbook = 20, jump = {"5T2(1)", "5E(1)"}},
                  {N = 7, ratio = 4.633, textbook = 22, jump = {"4T2(1)", "4A2(1)"}},
                  {N = 8, ratio = 4.709, jump = {"3A2(1)", "3T2(1)"}}}

-- ------------------------------------------------------------------------------------------------------ the operators
NF, NB = 10, 0
IndexDn, IndexUp = {0, 2, 4, 6, 8}, {1, 3, 5, 7, 9}  -- m = -2 ... 2

-- Racah's parameters A = 0, B = 1 and C as Slater integrals F0, F2, F4.
function Repulsion(C) return NewOperator("U", NF, IndexUp, IndexDn, {7 / 5 * C, 49 + 7 * C, 63 / 5 * C}) end
-- The cubic field with 10Dq = 1 on renormalised spherical harmonics C(k, m): E(eg) = 0.6, E(t2g) = -0.4.
CubicField = NewOperator("CF", NF, IndexUp, IndexDn, {{4, 0, 21 / 10}, {4, -4, sqrt(63 / 40)}, {4, 4, sqrt(63 / 40)}})
Ssqr = NewOperator("Ssqr", NF, IndexUp, IndexDn)
L = {}
for i, kind in ipairs({"Lx", "Ly", "Lz"}) do L[i] = NewOperator(kind, NF, IndexUp, IndexDn) end

-- ------------------------------------------------------------------------------------------------------ one diagram
-- A term is told by its spin and by its representation of the cubic group. The six quarter turns about the cubic axes,
-- exp(+-i pi/2 L), are a class of the group: on a representation of dimension d and character chi their sum is the
-- number 6 chi / d, which differs for all five.
representations = {{"A1", 1, 6}, {"A2", 1, -6}, {"E", 2, 0}, {"T1", 3, 2}, {"T2", 3, -2}}

-- 100 S^2 + sum of the quarter turns -> {name, dimension}
kinds = {}
for S2 = 0, 5 do
  for _, representation in ipairs(representations) do
    local name, dimension, turns = table.unpack(representation)
    kinds[25 * S2 * (S2 + 2) + turns] = {(S2 + 1) .. name, dimension}
  end
end

-- The sum of c[i] states[i].
function Combine(c, states)
  local sum = c[1] * states[1]
  for i = 2, #states do sum = sum + c[i] * states[i] end
  return sum
end

-- The matrices of repulsion and field for each kind of term: {name, dimension, repulsion, field}. They are made on the
-- states of the lowest MS, where each term has as many states as its representation has dimensions.
function Blocks(N, ratio)
  local nUp = math.floor((N + 1) / 2)
  local sector = {NF, NB, {"0101010101", nUp, nUp}, {"1010101010", N - nUp, N - nUp}}
  local U = Repulsion(ratio)
  local basis = Eigensystem(U, sector, Binomial(5, nUp) * Binomial(5, N - nUp), {{"Epsilon", 0}})  -- keeps all digits
  local function OnStates(O, states) return Matrix.ToUserdata(OperatorToMatrix(O, states)) end

  local label = 100 * OnStates(Ssqr, basis)
  for _, component in ipairs(L) do
    local turn = Matrix.Exp(I * math.pi / 2 * OnStates(component, basis))
    label = label + (turn + ConjugateTranspose(turn))  -- with the brackets Hermitian to the last digit
  end
  local values, vectors = Eigensystem(Chop(label))
  local states = {}
  for i, value in ipairs(values) do
    local kind = kinds[math.floor(value + 0.5)]
    states[kind] = states[kind] or {}
    table.insert(states[kind], Combine(vectors[i], basis))
  end

  local blocks = {}
  for kind, list in pairs(states) do
    table.insert(blocks, {kind[1], kind[2], OnStates(U, list), OnStates(CubicField, list)})
  end
  return blocks
end

-- Names of the terms ("5T2(1)" is the lowest 5T2) and their energies at 10Dq = x B, and the name of the lowest.
function Terms(blocks, x)
  local names, energies, lowest = {}, {}, nil
  for _, block in ipairs(blocks) do
    local kind, dimension, repulsion, field = table.unpack(block)
    local values = Eigensystem(repulsion + x * field)
    for i = 1, #values, dimension do
      local name = string.format("%s(%d)", kind, (i + dimension - 1) / dimension)
      table.insert(names, name)
      energies[name] = values[i]
      if not lowest or values[i] < energies[lowest] then lowest = name end
    end
  end
  return names, energies, lowest
end

-- Where between the two values of 10Dq/B the ground state changes.
function Crossing(blocks, weak, strong)
  local _, _, ground = Terms(blocks, weak)
  while strong - weak > 1e-6 do
    local middle = (weak + strong) / 2
    local _, _, lowest = Terms(blocks, middle)
    if lowest == ground then weak = middle else strong = middle end
  end
  return weak
end

-- The average energy of all states, each term counted with all its states. The field does not change it.
function Average(energies)
  local sum, states = 0, 0
  for name, energy in pairs(energies) do
    local spin, orbital = name:match("^(%d)(%u)")
    local count = spin * ({A = 1, E = 2, T = 3})[orbital]
    sum, states = sum + count * energy, states + count
  end
  return sum / states
end

function WriteLine(file, x, names, energies, lowest)
  file:write(string.format("%6.2f", x))
  for _, name in ipairs(names) do file:write(string.format(" %10.5f", energies[name] - energies[lowest])) end
  file:write("\n")
end

-- --------------------------------------------------------------------------------------------------------- all of them
print("\n        C/B   terms   weak field   strong field   crossing at 10Dq/B   textbook")
for _, configuration in ipairs(configurations) do
  local N, ratio, textbook, jump = configuration.N, configuration.ratio, configuration.textbook, configuration.jump
  local blocks = Blocks(N, ratio)
  local names, weakEnergies, weak = Terms(blocks, 0.01)
  table.sort(names, function(a, b)
    if math.abs(weakEnergies[a] - weakEnergies[b]) < 1e-9 then return a < b end  -- 4A1 and 4E of d5 never part
    return weakEnergies[a] < weakEnergies[b]
  end)

  local file = assert(io.open(string.format("%s/tanabe_sugano_d%d.dat", directory, N), "w"))
  file:write("10Dq/B ", table.concat(names, " "), "\n")
  for x = 0, strongest, step do
    local _, energies, lowest = Terms(blocks, x)
    WriteLine(file, x, names, energies, lowest)
    assert(math.abs(Average(energies) - Average(weakEnergies)) < 1e-9, "the field keeps the average energy")
    assert(not jump or math.abs(energies[jump[2]] - energies[jump[1]] - x) < 1e-9, "the jump of an electron costs 10Dq")
  end
  file:close()

  local _, _, strong = Terms(blocks, strongest)
  local crossing = strong ~= weak and string.format("%.3f", Crossing(blocks, 0.01, strongest)) or "-"
  print(string.format("  d%d   %5.3f   %3d      %-8s     %-8s      %14s        %5s", N, ratio, #names, weak, strong,
                      crossing, textbook or "-"))
end
print("\nEnergies written to " .. directory .. "/tanabe_sugano_d2.dat ... tanabe_sugano_d8.dat")
