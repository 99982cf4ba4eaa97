-- A long search for a ground state that can be stopped at any time, and goes on from where it was.
--
--     scripts/run examples/stop_and_restart.lua [DIRECTORY [STAGES]]
--
-- The model is that of anderson_impurity.lua: one orbital with repulsion U in a band of 13 levels. The search runs in
-- stages. Each lets more electrons be excited within the band and keeps smaller coefficients than the one before, from
-- whose state it starts. After each stage the state goes to the folder impurity_search in DIRECTORY (the current one
-- without it). Whoever starts the script again finds it there, and goes on: a run that was stopped by the user, by a
-- queue or by a power cut loses one stage at most. STAGES is the number of stages to do in this run (all without it),
-- so that a stop can be tried:
--
--     scripts/run examples/stop_and_restart.lua . 2; scripts/run examples/stop_and_restart.lua .
--
-- Eigensystem(H, psi) improves a state that exists, wherever it comes from: from a smaller basis, as here, or from
-- another Hamiltonian that is not far from H.

Verbosity(0)
directory = args and args[1] or "."
stagesNow = tonumber(args and args[2] or math.huge)
folder = directory .. "/impurity_search"

-- h: holes in the filled levels and electrons in the empty ones, at most; Epsilon: coefficients that are kept;
-- Zero: relative variance of the energy to reach.
stages = {{h = 1, Epsilon = 1e-3, Zero = 1e-3}, {h = 2, Epsilon = 1e-4, Zero = 1e-4},
          {h = 2, Epsilon = 1e-5, Zero = 1e-5}, {h = 3, Epsilon = 1e-6, Zero = 1e-6}}

-- Spin-orbitals 0 and 1 are the impurity with spin down and up, 2 k and 2 k + 1 are level k of the band. The level in
-- the middle is neither filled nor empty. Energies count from those of the filled levels and an electron on the
-- impurity.
N, U, halfWidth, V = 13, 2, 1, 0.4
NF, NB = 2 * (N + 1), 0
terms, filled, empty = {{0, -0, -U / 2}, {1, -1, -U / 2}, {0, -0, 1, -1, U}, {U / 2}}, {}, {}
for k = 1, N do
  local angle = math.pi * k / (N + 1)
  local energy, coupling = -halfWidth * math.cos(angle), V * math.sqrt(2 / (N + 1)) * math.sin(angle)
  for s = 0, 1 do
    local i = 2 * k + s
    table.insert(terms, {i, -i, energy})
    table.insert(terms, {i, -s, coupling})
    table.insert(terms, {s, -i, coupling})
    if 2 * k < N + 1 then
      table.insert(filled, i)
      table.insert(terms, {-energy})
    elseif 2 * k > N + 1 then
      table.insert(empty, i)
    end
  end
end
H = NewOperator(NF, NB, terms)

-- ------------------------------------------------------------------------------------------------- states on the disk
-- search holds the number of the last stage that was finished, and its state. io.put writes this global variable to
-- search.Fermix, a script that sets it. The file gets its final name when it is complete: there is no moment without a
-- good one.
function Save()
  io.put(folder, "search")
  assert(os.rename(folder .. "/search.Fermix", folder .. "/finished.Fermix"))
end
function Load()
  search = {stage = 0}
  local file = io.open(folder .. "/finished.Fermix")
  if file then
    file:close()
    dofile(folder .. "/finished.Fermix")
  end
end

-- --------------------------------------------------------------------------------------------------------- the search
-- It begins with an electron with spin up on the impurity, and one with spin down in the middle of the band at rest.
Load()
print(search.stage == 0 and "\nA new search" or "\nStages up to " .. search.stage .. " were found in " .. folder)
print("stage  h  epsilon  determinants        energy   variance   CPU (s)")
for stage = search.stage + 1, math.min(#stages, search.stage + stagesNow) do
  Load()  -- as if this were a new run
  local before, settings = os.clock(), stages[stage]
  local psi = search.state or NewWavefunction(NF, NB, {{DeterminantString(NF, filled, {1, N + 1}), 1}})
  local limits = {NF, NB, {DeterminantString(NF, filled), #filled - settings.h, #filled},
                          {DeterminantString(NF, empty), 0, settings.h}}
  Eigensystem(H, psi, {{"Epsilon", settings.Epsilon}, {"Zero", settings.Zero}, {"Restrictions", limits}})
  psi.Normalize()  -- truncation has taken some of the norm

  local Hpsi, last = H * psi, search.energy
  local energy = psi * Hpsi
  search = {stage = stage, state = psi, energy = energy}
  Save()
  print(string.format("%5d %2d %8.0e %13d %13.9f %10.1e %9.2f", stage, settings.h, settings.Epsilon, psi.N, energy,
                      Hpsi * Hpsi - energy ^ 2, os.clock() - before))
  assert(not last or energy < last, "a larger part of the space holds a lower state")
end
if search.stage == #stages then print("The search is done. Remove " .. folder .. " to begin anew.") end
