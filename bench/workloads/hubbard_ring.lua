-- The lowest state of a half-filled Hubbard ring with as many electrons of either spin, U = 8 t, against the exact
-- energy.
--
--     hubbard_ring.lua SITES            12 sites have 853776 determinants
local Nsites, U = tonumber(args and args[1] or 12), 8
Verbosity(0)

local terms, up, dn = {}, {}, {}
for i = 0, Nsites - 1 do
  local j = (i + 1) % Nsites
  for s = 0, 1 do
    table.insert(terms, {2 * i + s, -(2 * j + s), -1})
    table.insert(terms, {2 * j + s, -(2 * i + s), -1})
  end
  table.insert(terms, {2 * i, -(2 * i), 2 * i + 1, -(2 * i + 1), U})
  dn[i + 1], up[i + 1] = 2 * i, 2 * i + 1
end
local NF, NB = 2 * Nsites, 0
local H = NewOperator(NF, NB, terms)
local psi = Eigensystem(H, {NF, NB, {DeterminantString(NF, dn), Nsites / 2, Nsites / 2},
                                    {DeterminantString(NF, up), Nsites / 2, Nsites / 2}}, 1)
local E = psi * H * psi

-- E. H. Lieb and F. Y. Wu, Phys. Rev. Lett. 20 (1968) 1445, in units of t, with u = U / 4 and M = N / 2:
--
--     N k[j]  =  2 pi I[j] - 2 sum_b atan((sin k[j] - L[b]) / u)
--     2 sum_j atan((L[a] - sin k[j]) / u)  =  2 pi J[a] + 2 sum_b atan((L[a] - L[b]) / (2 u)),       E = -2 sum cos k
--
-- I are N neighbours around 0, integer for even M and half-integer for odd M, J are M neighbours around 0. The first
-- line gives k by iteration; each L[a] is a zero of a function that rises with it, which Newton's method finds.
local N, M, u = Nsites, Nsites / 2, U / 4
local k, L = {}, {}
for j = 1, N do k[j] = 2 * math.pi / N * (j - (N + 1) / 2 + (M % 2 == 0 and 0.5 or 0)) end
local quantum = {}
for j = 1, N do quantum[j] = k[j] * N end
for a = 1, M do L[a] = (a - (M + 1) / 2) / M end
for _ = 1, 2000 do
  for a = 1, M do
    local f, slope = -2 * math.pi * (a - (M + 1) / 2), 0
    for j = 1, N do
      local x = (L[a] - math.sin(k[j])) / u
      f, slope = f + 2 * math.atan(x), slope + 2 / u / (1 + x * x)
    end
    for b = 1, M do f = f - 2 * math.atan((L[a] - L[b]) / (2 * u)) end
    L[a] = L[a] - f / slope
  end
  for j = 1, N do
    local sum = quantum[j]
    for b = 1, M do sum = sum - 2 * math.atan((math.sin(k[j]) - L[b]) / u) end
    k[j] = sum / N
  end
end
local exact = 0
for j = 1, N do exact = exact - 2 * math.cos(k[j]) end
print(string.format("%d determinants, E0 = %.8f t (Lieb and Wu: %.8f t)", psi.N, E, exact))
