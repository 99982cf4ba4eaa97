-- An Anderson impurity in a bath that grows: what restrictions and truncation cost, and what they save.
--
--     H = -U/2 n_d + U n_d,up n_d,dn + sum_k,s e_k c+_ks c_ks + sum_k,s V_k (d+_s c_ks + c+_ks d_s)
--
-- One orbital with repulsion U hybridises with a half-filled band, for which N levels e_k stand. With as many electrons
-- of either spin there are binomial(N + 1, (N + 1) / 2)^2 determinants: 400 for 5 levels, 63504 for 9, and 2 * 10^9 for
-- 17. Two means make large baths possible:
--
-- - Restrictions. Few electrons at a time are excited within the band. With at most h holes in its filled levels and at
--   most h electrons in its empty ones, the number of determinants grows with a power of N only.
-- - Epsilon. Eigensystem finds the determinants that matter, as it lets H act on its states again and again, and drops
--   those with coefficients below Epsilon in magnitude.
--
-- Both leave the state in a part of the space: its energy is an upper bound, which falls to the exact one as h grows
-- and as Epsilon falls. So the numbers themselves tell when they suffice. The script prints them, with the determinants
-- kept and the time spent.

Verbosity(0)
U, halfWidth, V = 2, 1, 0.4

-- Spin-orbitals 0 and 1 are the impurity with spin down and up, 2 k and 2 k + 1 are level k of the bath. Levels at
-- cosines with couplings that follow sines are Gauss' rule for a semicircle: V^2 is the whole hybridisation, however
-- many levels share it.
function Impurity(N, U)
  local model = {N = N, NF = 2 * (N + 1), filled = {}, empty = {}}
  local atRest = -U / 2
  local terms = {{0, -0, -U / 2}, {1, -1, -U / 2}, {0, -0, 1, -1, U}}
  for k = 1, N do
    local angle = math.pi * k / (N + 1)
    local energy, coupling = -halfWidth * math.cos(angle), V * math.sqrt(2 / (N + 1)) * math.sin(angle)
    for s = 0, 1 do
      local i = 2 * k + s
      table.insert(terms, {i, -i, energy})
      table.insert(terms, {i, -s, coupling})
      table.insert(terms, {s, -i, coupling})
      -- The level in the middle, at energy 0, is neither filled nor empty.
      if 2 * k < N + 1 then
        table.insert(model.filled, i)
        atRest = atRest + energy
      end
      if 2 * k > N + 1 then table.insert(model.empty, i) end
    end
  end
  -- Energies count from those of the filled levels and an electron on the impurity: what is left is the energy gained
  -- by the hybridisation, which converges as N grows. It also is small, so that Eigensystem, whose accuracy is relative
  -- to the energy squared, takes small variances seriously.
  table.insert(terms, {-atRest})
  model.H, model.atRest = NewOperator(model.NF, 0, terms), atRest
  return model
end

-- The lowest state with (N + 1) / 2 electrons of either spin; h = nil leaves the number of holes and electrons open.
-- The search starts from the band at rest, an electron with spin up on the impurity and one with spin down in the
-- middle of the band. Truncation leaves a variance of the energy, on which no search can improve: Zero, the variance to
-- reach, has to allow for it.
function GroundState(model, h, epsilon)
  local NF, filled, empty = model.NF, model.filled, model.empty
  local options = {{"Epsilon", epsilon}, {"Zero", 2 * epsilon}}
  if h then
    table.insert(options, {"Restrictions", {NF, 0, {DeterminantString(NF, filled), #filled - h, #filled},
                                                   {DeterminantString(NF, empty), 0, h}}})
  end
  local before = os.clock()
  local psi = NewWavefunction(NF, 0, {{DeterminantString(NF, filled, {1, model.N + 1}), 1}})
  Eigensystem(model.H, psi, options)
  psi.Normalize()  -- truncation has taken some of the norm
  return {psi = psi, energy = psi * model.H * psi, seconds = os.clock() - before}
end

-- -------------------------------------------------------------------------------------------------- without repulsion
-- All electrons go their own way: the energy is twice the sum of the lowest levels of one particle.
do
  local model = Impurity(5, 0)
  local matrix = {}
  for i = 1, 6 do
    matrix[i] = {}
    for j = 1, 6 do
      local bra = NewWavefunction(12, 0, {{DeterminantString(12, {2 * i - 2}), 1}})
      local ket = NewWavefunction(12, 0, {{DeterminantString(12, {2 * j - 2}), 1}})
      matrix[i][j] = bra * model.H * ket
    end
  end
  local levels = Eigensystem(matrix)
  local exact = 2 * (levels[1] + levels[2] + levels[3]) + 5 * model.atRest  -- as each of six took it off
  local found = GroundState(model, nil, 1e-12).energy
  print(string.format("\nFive levels, no repulsion: E0 = %.10f, from levels of one particle %.10f", found, exact))
  assert(math.abs(found - exact) < 1e-9, "free electrons")
end

-- ----------------------------------------------------------------------------------------------------- with repulsion
-- The half-filled band is symmetric: there is one electron on the impurity, however crude the state.
function PrintRow(N, h, epsilon)
  local result = GroundState(Impurity(N, U), h, epsilon)
  local psi = result.psi
  local n_d = psi * NewOperator(psi.NF, 0, {{0, -0, 1}, {1, -1, 1}}) * psi
  local both = psi * NewOperator(psi.NF, 0, {{0, -0, 1, -1, 1}}) * psi
  print(string.format("%3d %5s %9.0e %12.4g %9d %12.7f %9.5f %9.5f %9.2f", N, h or "any", epsilon,
                      Binomial(N + 1, (N + 1) / 2) ^ 2, psi.N, result.energy, n_d, both, result.seconds))
  assert(math.abs(n_d - 1) < 10 * epsilon, "one electron on the impurity")
  return result.energy
end
header = "  N     h   epsilon determinants      kept       energy     <n_d>  <n_up n_dn>  time (s)"

print("\nSmaller and smaller epsilon\n" .. header)
last = {}
for _, N in ipairs({5, 9, 13}) do
  for _, epsilon in ipairs({1e-3, 1e-4, 1e-5}) do
    local energy = PrintRow(N, nil, epsilon)
    assert(not last[N] or energy < last[N], "with more determinants the energy is lower")
    last[N] = energy
  end
end

print("\nMore and more holes and electrons\n" .. header)
for _, N in ipairs({5, 9, 13}) do
  local one, two = PrintRow(N, 1, 1e-5), PrintRow(N, 2, 1e-5)
  assert(last[N] < two + 1e-8 and two < one, "with more determinants the energy is lower")
  assert(two - last[N] < (one - last[N]) / 20, "two holes nearly do")
end

print("\nA large bath\n" .. header)
for _, N in ipairs({17, 25, 33}) do PrintRow(N, 1, 1e-5) end
