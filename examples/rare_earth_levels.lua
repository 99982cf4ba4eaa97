-- 4f levels of Ce3+ and Pr3+: the free ions, and the ions in the cubic crystals Cs2NaCeCl6 and Cs2NaPrCl6.
--
-- The Hamiltonian of a 4f shell is a sum of operators, each with a parameter (in cm-1):
--
--     F2, F4, F6          Slater integrals of the repulsion between two 4f electrons
--     zeta                spin-orbit coupling
--     alpha, beta, gamma  configurations of higher energy, as they act on 4f^2: alpha L^2 + beta G(G2) + gamma G(R7)
--     B4, B6              the field of a regular octahedron of chlorine ions, on harmonics C(4, m) and C(6, m)
--
-- As a spectroscopist does, the script determines the parameters from measured levels by least squares. The derivative
-- of a level by a parameter is the expectation value of the parameter's operator in a state of the level, so that each
-- step of the fit solves a small linear problem. It prints parameters and levels, calculated and measured.

Verbosity(0)

-- ------------------------------------------------------------------------------------------------------ the operators
NF, NB = 14, 0
IndexDn, IndexUp = {0, 2, 4, 6, 8, 10, 12}, {1, 3, 5, 7, 9, 11, 13}  -- m = -3 ... 3
AllOrbitals = string.rep("1", NF)
function Shell(kind, ...) return NewOperator(kind, NF, IndexUp, IndexDn, ...) end

-- The squared unit tensor of odd rank k: sum_q (-1)^q v(k, q) v(k, -q), with the elements
-- <m|v(k, q)|m - q> = (-1)^(3 - m) (3 k 3; -m q m-q). Casimir's operators of Racah's groups G2 and R7 are sums of
-- these.
function SquaredTensor(k)
  local function Component(q)
    local terms = {}
    for m = math.max(-3, q - 3), math.min(3, q + 3) do
      local value = (-1) ^ (3 - m) * ThreeJSymbol({3, -m}, {k, q}, {3, m - q})
      for _, index in ipairs({IndexDn, IndexUp}) do table.insert(terms, {index[m + 4], -index[m - q + 4], value}) end
    end
    return NewOperator(NF, NB, terms)
  end
  local sum = NewOperator(NF, NB, {})
  for q = -k, k do sum = sum + (-1) ^ q * Component(q) * Component(-q) end
  return sum
end
V1, V3, V5 = SquaredTensor(1), SquaredTensor(3), SquaredTensor(5)

operators = {
  F2 = Shell("U", {0, 1, 0, 0}), F4 = Shell("U", {0, 0, 1, 0}), F6 = Shell("U", {0, 0, 0, 1}),
  zeta = Shell("ldots"),
  alpha = Shell("Lsqr"), beta = (3 * V1 + 11 * V5) / 4, gamma = (3 * V1 + 7 * V3 + 11 * V5) / 5,
  B4 = Shell("CF", {{4, 0, 1}, {4, -4, sqrt(5 / 14)}, {4, 4, sqrt(5 / 14)}}),
  B6 = Shell("CF", {{6, 0, 1}, {6, -4, -sqrt(7 / 2)}, {6, 4, -sqrt(7 / 2)}}),
}
Jsqr = Shell("Jsqr")
QuarterTurn = OperatorExp(Shell("Jz"), -I * math.pi / 2)  -- of all 4f electrons about the z axis
Moment = Shell("Lz") + 2 * Shell("Sz")

function Hamiltonian(parameters)
  local H = NewOperator(NF, NB, {})
  for key, value in pairs(parameters) do H = H + value * operators[key] end
  return H
end

-- -------------------------------------------------------------------------------------------------------- the levels
-- Free ion: J, from J (J + 1).
function FreeName(states)
  local twoJ = 2 * math.sqrt(0.25 + states[1] * Jsqr * states[1]) - 1
  return string.format("J=%g", math.floor(twoJ + 0.5) / 2)
end

-- Cubic crystal: the representation, told by its dimension and by the character of a quarter turn. G6, G7, G8 are
-- Bethe's names of those with an odd number of electrons.
representations = {["1 +1.00"] = "A1", ["1 -1.00"] = "A2", ["2 +0.00"] = "E", ["3 +1.00"] = "T1", ["3 -1.00"] = "T2",
                   ["2 +1.41"] = "G6", ["2 -1.41"] = "G7", ["4 +0.00"] = "G8"}
function CubicName(states)
  local character = 1e-9  -- so that 0 has one sign
  for _, psi in ipairs(states) do character = character + Complex.Re(psi * QuarterTurn * psi) end
  return representations[string.format("%d %+.2f", #states, character)]
end

-- The states of the lowest levels with N electrons, by the levels' names: "J=4 (2)" is the second level with J = 4.
function Levels(H, N, number, name)
  local psi = Eigensystem(H, {NF, NB, {AllOrbitals, N, N}}, number, {{"Epsilon", 0}, {"Zero", 1e-14}})
  local levels, count, first = {}, {}, 1
  for i = 1, number do
    if i == number or psi[i + 1] * H * psi[i + 1] - psi[i] * H * psi[i] > 1e-4 then
      local states = {table.unpack(psi, first, i)}
      local kind = name(states)
      count[kind] = (count[kind] or 0) + 1
      levels[string.format("%s (%d)", kind, count[kind])] = states
      first = i + 1
    end
  end
  return levels
end

-- ------------------------------------------------------------------------------------------------------------ the fit
-- The expectation value of O in a level, counted from that in the ground level, the first measured one.
function FromGround(O, level, levels, measured)
  local psi, ground = levels[level][1], levels[measured[1][1]][1]
  return psi * O * psi - ground * O * ground
end

-- The changes of the parameters named in "free" that bring the levels nearest to the measured ones, as far as the
-- levels are linear in the parameters.
function LeastSquares(H, levels, free, measured)
  local derivatives, missing = {}, {}
  for i = 2, #measured do
    local level, energy = table.unpack(measured[i])
    derivatives[i - 1], missing[i - 1] = {}, {energy - FromGround(H, level, levels, measured)}
    for k, key in ipairs(free) do derivatives[i - 1][k] = FromGround(operators[key], level, levels, measured) end
  end
  local D, E = Matrix.ToUserdata(derivatives), Matrix.ToUserdata(missing)
  return Inverse(Transpose(D) * D) * Transpose(D) * E
end

function PrintLevels(H, levels, measured)
  print("\n\n  level                calculated   measured")
  local squares = 0
  for _, row in ipairs(measured) do
    local level, energy, term = table.unpack(row)
    local calculated = FromGround(H, level, levels, measured)
    squares = squares + (calculated - energy) ^ 2
    print(string.format("  %-9s %-9s  %10.1f %10.1f", level, term, calculated, energy))
  end
  print(string.format("  deviation (root mean square) %.1f", math.sqrt(squares / (#measured - 1))))
end

-- Changes the parameters named in "free" until the levels lie as near to the measured ones as they can.
--
-- ion       {electrons, number of states that the levels make up, function that names a level}
-- measured  rows {level, energy above the first row, term}
-- Prints the result and returns the states of the levels by their names.
function Fit(title, ion, parameters, free, measured)
  local electrons, number, name = table.unpack(ion)
  local H, levels, largest
  repeat
    H = Hamiltonian(parameters)
    levels, largest = Levels(H, electrons, number, name), 0
    local changes = LeastSquares(H, levels, free, measured)
    for k, key in ipairs(free) do
      parameters[key] = parameters[key] + changes[k][1]
      largest = math.max(largest, math.abs(changes[k][1]))
    end
  until largest < 0.01

  print("\n" .. title)
  for _, key in ipairs(free) do io.write(string.format("  %s = %.1f", key, parameters[key])) end
  PrintLevels(H, levels, measured)
  return levels
end

-- ---------------------------------------------------------------------------------------------------------- free ions
-- Measured levels: W. C. Martin, R. Zalubas and L. Hagan, Atomic energy levels: the rare-earth elements (1978).
ce = {zeta = 600}
Fit("Ce3+ 4f1, free ion", {1, 14, FreeName}, ce, {"zeta"}, {{"J=2.5 (1)", 0, "2F5/2"}, {"J=3.5 (1)", 2253, "2F7/2"}})
assert(math.abs(7 / 2 * ce.zeta - 2253) < 1e-6, "the interval of one electron is (l + 1/2) zeta")

pr = {F2 = 70000, F4 = 50000, F6 = 33000, zeta = 750, alpha = 20, beta = -600, gamma = 1000}
Fit("Pr3+ 4f2, free ion", {2, 91, FreeName}, pr, {"F2", "F4", "F6", "zeta", "alpha", "beta", "gamma"}, {
  {"J=4 (1)", 0, "3H4"}, {"J=5 (1)", 2152.1, "3H5"}, {"J=6 (1)", 4389.1, "3H6"}, {"J=2 (1)", 4996.6, "3F2"},
  {"J=3 (1)", 6415.2, "3F3"}, {"J=4 (2)", 6854.8, "3F4"}, {"J=4 (3)", 9921.2, "1G4"}, {"J=2 (2)", 17334.4, "1D2"},
  {"J=0 (1)", 21389.8, "3P0"}, {"J=1 (1)", 22007.5, "3P1"}, {"J=6 (2)", 22211.5, "1I6"}, {"J=2 (3)", 23160.6, "3P2"},
  {"J=0 (2)", 50090.3, "1S0"}})

-- ----------------------------------------------------------------------------------------------------------- crystals
-- Measured levels (rounded), from optical and electronic Raman spectra. For all rare earths, with parameters: P. A.
-- Tanner, V. V. R. K. Kumar, C. K. Jayasankar and M. F. Reid, J. Alloys Compd. 215 (1994) 349.
ce.B4, ce.B6 = 2000, 200
levels = Fit("Ce3+ 4f1 in Cs2NaCeCl6", {1, 14, CubicName}, ce, {"zeta", "B4", "B6"}, {
  {"G7 (1)", 0, "2F5/2"}, {"G8 (1)", 562, "2F5/2"}, {"G7 (2)", 2159, "2F7/2"}, {"G8 (2)", 2663, "2F7/2"},
  {"G6 (1)", 3048, "2F7/2"}})

-- The magnetic moment of the ground doublet: its two states have moments -+ g / 2, in any basis sum |M|^2 = g^2 / 2.
squares = 0
for _, row in ipairs(Braket(levels["G7 (1)"], Moment, levels["G7 (1)"])) do
  for _, element in ipairs(row) do squares = squares + math.abs(element) ^ 2 end
end
print(string.format("  g of the ground doublet %.3f; without 2F7/2 in it %.3f", math.sqrt(2 * squares), 10 / 7))

-- Spin-orbit coupling and crystal field leave the average energy of all states alone.
sum = 0
for _, states in pairs(levels) do
  for _, psi in ipairs(states) do sum = sum + psi * Hamiltonian(ce) * psi end
end
assert(math.abs(sum) < 1e-6, "the average of all levels is that of the configuration")

pr.B4, pr.B6 = 2000, 200
Fit("Pr3+ 4f2 in Cs2NaPrCl6, ground level", {2, 9, CubicName}, pr, {"B4", "B6"}, {
  {"A1 (1)", 0, "3H4"}, {"T1 (1)", 236, "3H4"}, {"E (1)", 422, "3H4"}, {"T2 (1)", 701, "3H4"}})
