-- A long search for low states that can be stopped at any time, and goes on from where it was.
--
--     scripts/run examples/stop_and_restart.lua [DIRECTORY [STAGES]]
--
-- The half-filled Hubbard ring of 10 sites, U = 4 t. The search runs in stages. Each asks for more accuracy and keeps
-- smaller coefficients than the one before, from whose states it starts. After each stage the states go to the folder
-- hubbard_states in DIRECTORY (the current one without it). Whoever starts the script again finds them there, and goes
-- on: a run that was stopped by the user, by a queue or by a power cut loses one stage at most. STAGES is the number of
-- stages to do in this run (all without it), so that a stop can be tried:
--
--     scripts/run examples/stop_and_restart.lua . 2; scripts/run examples/stop_and_restart.lua .
--
-- Eigensystem(H, psi) improves states that exist, whatever they come from: a smaller basis, a cruder truncation, or
-- another Hamiltonian that is not far from H.

Verbosity(0)
directory = args and args[1] or "."
stagesNow = tonumber(args and args[2] or math.huge)
folder = directory .. "/hubbard_states"

Nsites, t, U, Npsi = 10, 1, 4, 2
NF, NB = 2 * Nsites, 0
stages = {{Epsilon = 1e-2, Zero = 1e-2}, {Epsilon = 1e-3, Zero = 1e-4}, {Epsilon = 1e-5, Zero = 1e-7},
          {Epsilon = 1e-10, Zero = 1e-12}}

terms, up, dn = {}, {}, {}
for i = 0, Nsites - 1 do
  local j = (i + 1) % Nsites
  for s = 0, 1 do
    table.insert(terms, {2 * i + s, -(2 * j + s), -t})
    table.insert(terms, {2 * j + s, -(2 * i + s), -t})
  end
  table.insert(terms, {2 * i, -(2 * i), 2 * i + 1, -(2 * i + 1), U})
  dn[i + 1], up[i + 1] = 2 * i, 2 * i + 1
end
H = NewOperator(NF, NB, terms)

-- ------------------------------------------------------------------------------------------------- states on the disk
-- search holds the number of the last stage that was finished, and its states. io.put writes this global variable to
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
Load()
print(search.stage == 0 and "\nA new search" or string.format("\nStages up to %d were found in %s", search.stage, folder))
print("stage  epsilon  determinants        E0 (t)        E1 (t)  variance of E0   CPU (s)")
for stage = search.stage + 1, math.min(#stages, search.stage + stagesNow) do
  Load()  -- as if this were a new run
  local before = os.clock()
  local options = {{"Epsilon", stages[stage].Epsilon}, {"Zero", stages[stage].Zero}}
  if search.states then
    Eigensystem(H, search.states, options)
  else
    search.states = Eigensystem(H, {NF, NB, {DeterminantString(NF, dn), Nsites / 2, Nsites / 2},
                                            {DeterminantString(NF, up), Nsites / 2, Nsites / 2}}, Npsi, options)
  end
  search.stage = stage
  Save()

  local psi = search.states
  local Hpsi = H * psi[1]
  local E0, E1 = psi[1] * Hpsi, psi[2] * H * psi[2]
  search.variance = Hpsi * Hpsi - E0 ^ 2
  print(string.format("%5d %8.0e %13d %13.9f %13.9f %15.1e %9.2f", stage, options[1][2], psi[1].N, E0, E1, search.variance,
                      os.clock() - before))
end
