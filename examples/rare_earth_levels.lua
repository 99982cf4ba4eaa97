-- 4f levels of Ce3+ and Pr3+: free ions, and in the cubic field of an elpasolite crystal Cs2NaLnCl6.
--
-- The Hamiltonian of a 4f shell is a sum of a few operators, each with a parameter (in cm-1):
--
--     F2, F4, F6   Slater integrals of the repulsion between 4f electrons (not in Ce3+, which has one electron)
--     zeta         spin-orbit coupling
--     alpha        Trees' correction alpha L^2: the leading part of what configurations of higher energy do to 4f^2
--     B4, B6       the field of a regular octahedron of chlorine ions, on spherical harmonics C(4, m) and C(6, m)
--
-- As a spectroscopist does, the script determines the parameters from the measured levels by least squares. The
-- derivative of a level by a parameter is the expectation value of the parameter's operator in the level's state, so
-- that a step of the fit solves a small linear problem. It prints parameters and levels, calculated and measured.

Verbosity(0)

-- ------------------------------------------------------------------------------------------------------ the operators
NF, NB = 14, 0
IndexDn, IndexUp = {0, 2, 4, 6, 8, 10, 12}, {1, 3, 5, 7, 9, 11, 13}  -- m = -3 ... 3
AllOrbitals = string.rep("1", NF)

function Shell(kind, ...) return NewOperator(kind, NF, IndexUp, IndexDn, ...) end
operators = {
  F2 = Shell("U", {0, 1, 0, 0}), F4 = Shell("U", {0, 0, 1, 0}), F6 = Shell("U", {0, 0, 0, 1}),
  zeta = Shell("ldots"), alpha = Shell("Lsqr"),
  B4 = Shell("CF", {{4, 0, 1}, {4, -4, sqrt(5 / 14)}, {4, 4, sqrt(5 / 14)}}),
  B6 = Shell("CF", {{6, 0, 1}, {6, -4, -sqrt(7 / 2)}, {6, 4, -sqrt(7 / 2)}}),
}
Jsqr, Jz = Shell("Jsqr"), Shell("Jz")
QuarterTurn = OperatorExp(Jz, -I * math.pi / 2)  -- of all 4f electrons about the z axis
Moment = Shell("Lz") + 2 * Shell("Sz")           -- in Bohr magnetons, with the sign of L + 2 S

-- -------------------------------------------------------------------------------------------------------- the levels
-- Free ion: J, from J (J + 1).
function FreeName(states)
  local twoJ = 2 * math.sqrt(0.25 + states[1] * Jsqr * states[1]) - 1
  return string.format("J=%g", math.floor(twoJ + 0.5) / 2)
end

-- Cubic crystal: the representation, told by its dimension and by the character of a quarter turn.
representations = {["1 +1.00"] = "A1", ["1 -1.00"] = "A2", ["2 +0.00"] = "E", ["3 +1.00"] = "T1", ["3 -1.00"] = "T2",
                   ["2 +1.41"] = "G6", ["2 -1.41"] = "G7", ["4 +0.00"] = "G8"}
function CubicName(states)
  local character = 1e-9  -- so that 0 has one sign
  for _, psi in ipairs(states) do character = character + Complex.Re(psi * QuarterTurn * psi) end
  return representations[string.format("%d %+.2f", #states, character)]
end

-- The lowest levels with N electrons, from below: names ("J=4 (2)": the second level with J = 4), and for each name
-- the list of its states.
function Levels(H, N, number, name)
  local psi = Eigensystem(H, {NF, NB, {AllOrbitals, N, N}}, number, {{"Epsilon", 0}, {"Zero", 1e-14}})
  local names, states, count, first = {}, {}, {}, 1
  for i = 1, number do
    if i == number or psi[i + 1] * H * psi[i + 1] - psi[i] * H * psi[i] > 1e-4 then
      local level = {table.unpack(psi, first, i)}
      local kind = name(level)
      count[kind] = (count[kind] or 0) + 1
      table.insert(names, string.format("%s (%d)", kind, count[kind]))
      states[names[#names]] = level
      first = i + 1
    end
  end
  return names, states
end

-- ------------------------------------------------------------------------------------------------------------ the fit
function Hamiltonian(parameters)
  local H = NewOperator(NF, NB, {})
  for key, value in pairs(parameters) do H = H + value * operators[key] end
  return H
end

-- Changes those parameters that "free" names such that the measured levels come out, in the sense of least squares.
-- measured is a list of {level, energy above the first one, term}. Prints both, and returns the states of the levels.
function Fit(title, parameters, free, N, number, name, measured)
  local ground, H, names, states = measured[1][1]
  local function FromGround(level, O) return states[level][1] * O * states[level][1] - states[ground][1] * O * states[ground][1] end
  for iteration = 1, 8 do
    H = Hamiltonian(parameters)
    names, states = Levels(H, N, number, name)
    local derivatives, missing = {}, {}
    for i = 2, #measured do
      local level, energy = table.unpack(measured[i])
      missing[i - 1], derivatives[i - 1] = {energy - FromGround(level, H)}, {}
      for k, key in ipairs(free) do derivatives[i - 1][k] = FromGround(level, operators[key]) end
    end
    local D = Matrix.ToUserdata(derivatives)
    local change = Inverse(Transpose(D) * D) * Transpose(D) * Matrix.ToUserdata(missing)
    for k, key in ipairs(free) do parameters[key] = parameters[key] + change[k][1] end
  end

  print("\n" .. title)
  for _, key in ipairs(free) do io.write(string.format("  %s = %.1f", key, parameters[key])) end
  print("\n\n  level                calculated   measured")
  local squares = 0
  for _, row in ipairs(measured) do
    local level, energy, term = table.unpack(row)
    local calculated = FromGround(level, H)
    squares = squares + (calculated - energy) ^ 2
    print(string.format("  %-8s %-10s  %10.1f %10.1f", level, term, calculated, energy))
  end
  print(string.format("  root mean square deviation %.1f cm-1", math.sqrt(squares / (#measured - 1))))
  return states
end

-- ---------------------------------------------------------------------------------------------------------- free ions
-- Measured levels: W. C. Martin, R. Zalubas and L. Hagan, Atomic energy levels: the rare-earth elements, NBS (1978).
ce = {zeta = 640}
Fit("Ce3+ 4f1, free ion", ce, {"zeta"}, 1, 14, FreeName, {{"J=2.5 (1)", 0, "2F"}, {"J=3.5 (1)", 2253, "2F"}})

pr = {F2 = 70000, F4 = 50000, F6 = 33000, zeta = 750, alpha = 20}
Fit("Pr3+ 4f2, free ion", pr, {"F2", "F4", "F6", "zeta", "alpha"}, 2, 91, FreeName, {
  {"J=4 (1)", 0, "3H"}, {"J=5 (1)", 2152.1, "3H"}, {"J=6 (1)", 4389.1, "3H"}, {"J=2 (1)", 4996.6, "3F"},
  {"J=3 (1)", 6415.2, "3F"}, {"J=4 (2)", 6854.8, "3F"}, {"J=4 (3)", 9921.2, "1G"}, {"J=2 (2)", 17334.4, "1D"},
  {"J=0 (1)", 21389.8, "3P"}, {"J=1 (1)", 22007.5, "3P"}, {"J=6 (2)", 22211.5, "1I"}, {"J=2 (3)", 23160.6, "3P"},
  {"J=0 (2)", 50090.3, "1S"}})
ce.B4, ce.B6 = 2000, 200
Fit("Ce3+ 4f1 in Cs2NaCeCl6", ce, {"zeta", "B4", "B6"}, 1, 14, CubicName, {
  {"G7 (1)", 0, "2F5/2"}, {"G8 (1)", 562, "2F5/2"}, {"G7 (2)", 2159, "2F7/2"}, {"G8 (2)", 2663, "2F7/2"},
  {"G6 (1)", 3048, "2F7/2"}})
pr.B4, pr.B6 = 2000, 200
Fit("Pr3+ 4f2 in Cs2NaPrCl6", pr, {"B4", "B6"}, 2, 9, CubicName, {
  {"A1 (1)", 0, "3H4"}, {"T1 (1)", 236, "3H4"}, {"E (1)", 422, "3H4"}, {"T2 (1)", 701, "3H4"}})
