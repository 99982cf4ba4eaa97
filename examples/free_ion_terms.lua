-- The terms of free ions with 2 to 8 electrons in the 3d shell, against Racah's formulas and against experiment.
--
-- Electrons of one shell repel each other by sum_k F^k f_k; for a d shell k = 0, 2, 4. Spectroscopists write the
-- three Slater integrals as Racah's parameters:
--
--     A = F0 - F4 / 9        B = F2 / 49 - 5 F4 / 441        C = 5 F4 / 63
--
-- Each term is (2S + 1)(2L + 1)-fold, with an energy that Racah wrote in A, B and C: linear where S and L occur once,
-- roots of a small matrix where they occur twice or three times. The script diagonalises the repulsion on the
-- determinants of each configuration and prints, for each term, its energy, that of the formula, and the measured one.
-- Without spin-orbit coupling the measured value to compare with is the centre of gravity of the term's levels.

Verbosity(0)

-- Free ions with Racah's B and C in cm-1: Y. Tanabe and S. Sugano, J. Phys. Soc. Jpn. 9 (1954) 766. Measured: centres
-- of gravity above that of the ground term in 1000 cm-1, rounded, of the levels of J. Sugar and C. Corliss, J. Phys.
-- Chem. Ref. Data 14, Suppl. 2 (1985).
Ions = {
  {"Ti2+", 2, 695, 2910, {["1D"] = 8.2, ["3P"] = 10.4, ["1G"] = 14.2, ["1S"] = 32.2}},
  {"V2+", 3, 755, 3257, {["4P"] = 11.3, ["2G"] = 11.8, ["2P"] = 15.2, ["2D"] = 16.0, ["2H"] = 16.6, ["2F"] = 27.4}},
  {"Cr2+", 4, 810, 3565, {["3P"] = 17.2, ["3H"] = 17.1, ["3F"] = 18.2, ["3G"] = 20.5, ["3D"] = 25.4}},
  {"Mn2+", 5, 860, 3850, {["4G"] = 26.8, ["4P"] = 29.2, ["4D"] = 32.4, ["2I"] = 39.2, ["4F"] = 43.6}},
  {"Fe2+", 6, 917, 4040, {["3P"] = 19.6, ["3H"] = 19.8, ["3F"] = 21.2, ["3G"] = 24.4, ["1I"] = 29.9, ["3D"] = 30.4,
                          ["1G"] = 30.5, ["1S"] = 34.4, ["1D"] = 35.4, ["1F"] = 42.5}},
  {"Co2+", 7, 971, 4497, {["4P"] = 14.6, ["2G"] = 16.5, ["2P"] = 19.6, ["2H"] = 22.2, ["2D"] = 22.7, ["2F"] = 36.4}},
  {"Ni2+", 8, 1030, 4850, {["1D"] = 13.0, ["3P"] = 15.8, ["1G"] = 22.1, ["1S"] = 51.5}},
}

-- G. Racah, Phys. Rev. 62 (1942) 438: b B + c C, and where a fourth entry {f, x, y, z} stands two terms at
-- b B + c C -+ f sqrt(x B^2 + y B C + z C^2). The A of N (N - 1) / 2 pairs is common to all. N and 10 - N electrons
-- share a table, as energies that are counted from the ground term, its first row, are the same for holes.
Racah = {
  [2] = {{"3F", -8, 0}, {"1D", -3, 2}, {"3P", 7, 0}, {"1G", 4, 2}, {"1S", 14, 7}},
  [3] = {{"4F", -15, 0}, {"4P", 0, 0}, {"2G", -11, 3}, {"2P", -6, 3}, {"2H", -6, 3}, {"2F", 9, 3},
         {"2D", 5, 5, {1, 193, 8, 4}}},
  [4] = {{"5D", -21, 0}, {"3H", -17, 4}, {"3G", -12, 4}, {"3D", -5, 4}, {"1I", -15, 6}, {"1F", 0, 6},
         {"3F", -5, 11 / 2, {3 / 2, 68, 4, 1}}, {"3P", -5, 11 / 2, {1 / 2, 912, -24, 9}},
         {"1G", -5, 15 / 2, {1 / 2, 708, -12, 9}}, {"1D", 9, 15 / 2, {3 / 2, 144, 8, 1}},
         {"1S", 10, 10, {2, 193, 8, 4}}},
  [5] = {{"6S", -35, 0}, {"4G", -25, 5}, {"4P", -28, 7}, {"4D", -18, 5}, {"4F", -13, 7}, {"2I", -24, 8},
         {"2H", -22, 10}, {"2G", -13, 8}, {"2G", 3, 10}, {"2F", -9, 8}, {"2F", -25, 10}, {"2D", -4, 10},
         {"2D", -3, 11, {3, 57, 2, 1}}, {"2S", -3, 8}, {"2P", 20, 10}},
}

-- The formulas' energies of each kind of term, from below, counted from the ground term: formula["3P"][1], ...
function RacahEnergies(N, B, C)
  local rows, energies = Racah[math.min(N, 10 - N)], {}
  local ground = rows[1][2] * B + rows[1][3] * C
  local function Add(term, energy)
    energies[term] = energies[term] or {}
    table.insert(energies[term], energy - ground)
  end
  for _, row in ipairs(rows) do
    local term, centre, root = row[1], row[2] * B + row[3] * C, row[4]
    if root then
      local half = root[1] * math.sqrt(root[2] * B ^ 2 + root[3] * B * C + root[4] * C ^ 2)
      Add(term, centre - half)
      Add(term, centre + half)
    else
      Add(term, centre)
    end
  end
  for _, list in pairs(energies) do table.sort(list) end
  return energies
end

-- ------------------------------------------------------------------------------------------------------ the operators
NF, NB = 10, 0
IndexDn, IndexUp = {0, 2, 4, 6, 8}, {1, 3, 5, 7, 9}  -- m = -2 ... 2
Ssqr = NewOperator("Ssqr", NF, IndexUp, IndexDn)
Lsqr = NewOperator("Lsqr", NF, IndexUp, IndexDn)

-- The repulsion with A = 0.
function Repulsion(B, C) return NewOperator("U", NF, IndexUp, IndexDn, {7 / 5 * C, 49 * B + 7 * C, 63 / 5 * C}) end

-- The x of x (x + 1) = square, doubled: an integer.
function Doubled(square) return math.floor(2 * (math.sqrt(0.25 + square) - 0.5) + 0.5) end

-- All terms as a list of {name, energy, count}, from below. Each term shows once for each ML in the sector of the
-- lowest MS. The repulsion alone leaves the terms 2P and 2H of d3 at one energy, and their states mixed; a bit of
-- L^2 in the operator parts them and changes no energy of the repulsion.
function Terms(N, U)
  local nUp = math.floor((N + 1) / 2)
  local sector = {NF, NB, {"0101010101", nUp, nUp}, {"1010101010", N - nUp, N - nUp}}
  local states = Eigensystem(U + 0.1 * Lsqr, sector, Binomial(5, nUp) * Binomial(5, N - nUp), {{"Epsilon", 0}})
  local energies, orbital = {}, {}
  for _, psi in ipairs(states) do
    local S2, L = Doubled(psi * Ssqr * psi), Doubled(psi * Lsqr * psi) / 2
    local term = (S2 + 1) .. ("SPDFGHI"):sub(L + 1, L + 1)
    energies[term], orbital[term] = energies[term] or {}, 2 * L + 1
    table.insert(energies[term], psi * U * psi)
  end
  local terms = {}
  for term, list in pairs(energies) do
    table.sort(list)
    for first = 1, #list, orbital[term] do
      local last = first + orbital[term] - 1
      assert(list[last] - list[first] < 1e-6, "the states of a term are degenerate")
      table.insert(terms, {term, list[first], orbital[term] * tonumber(term:sub(1, 1))})
    end
  end
  table.sort(terms, function(a, b)
    if math.abs(a[2] - b[2]) < 1e-6 then return a[1] < b[1] end
    return a[2] < b[2]
  end)
  return terms
end

-- -------------------------------------------------------------------------------------------------------- the table
for _, ion in ipairs(Ions) do
  local name, N, B, C, measured = table.unpack(ion)
  local terms, formula, seen = Terms(N, Repulsion(B, C)), RacahEnergies(N, B, C), {}
  print(string.format("\n%s 3d%d, B = %d cm-1, C = %d cm-1 (C/B = %.2f)\n", name, N, B, C, C / B))
  print("  term    energy    Racah   measured   (1000 cm-1)")
  local states, sum = 0, 0
  for _, row in ipairs(terms) do
    local term, energy, count = table.unpack(row)
    states, sum = states + count, sum + count * energy
    seen[term] = (seen[term] or 0) + 1
    local fromGround, racah = energy - terms[1][2], formula[term][seen[term]]
    local experiment = seen[term] == 1 and measured[term]
    print(string.format("   %s  %8.3f %8.3f   %8s", term, fromGround / 1000, racah / 1000,
                        experiment and string.format("%.1f", experiment) or ""))
    assert(math.abs(fromGround - racah) < 1e-6, "the term lies where Racah's formula says")
  end
  -- The average energy of a configuration is that of its pairs of electrons.
  local average = N * (N - 1) / 2 * (-14 / 9 * B + 7 / 9 * C)
  print(string.format("%d states with the average energy %.6f; %.6f from the pairs", states, sum / states, average))
  assert(math.abs(sum / states - average) < 1e-6, "the average energy is that of the pairs")
end
