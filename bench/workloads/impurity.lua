-- The lowest state of a 3d7 ion in a bath: 5 impurity orbitals and 45 bath orbitals, 100 spin-orbitals, with at most
-- two holes in the bath. These are 120 + 45 * 90 + 10 * 4005 = 44220 determinants.
--
-- Each shell is numbered by rising m, spin down before spin up. Orbitals 0 - 9 are the 3d shell; nine shells of the
-- same symmetry stand for a filled band, 4 eV wide, with a semicircle as hybridisation function. Energies in eV.
Verbosity(0)
local Nshells, n = 9, 7
local NF, NB = 10 * (1 + Nshells), 0
local Udd, F2, F4, zeta, tenDq, Delta = 6.5, 10.6, 6.6, 0.066, 0.5, 4.0
local width, Veg, Vt2g = 4, 2.0, 1.2

local function Orbitals(shell)
  local s = {up = {}, dn = {}}
  for i = 1, 5 do s.dn[i], s.up[i] = 10 * shell + 2 * i - 2, 10 * shell + 2 * i - 1 end
  return s
end
local function Number(s, energy)
  local terms = {}
  for _, list in pairs(s) do
    for _, i in ipairs(list) do table.insert(terms, {i, -i, energy}) end
  end
  return NewOperator(NF, NB, terms)
end
local function Cubic(to, from, eg, t2g)
  return NewOperator("CF", NF, to.up, to.dn, from.up, from.dn, PotentialExpandedOnClm("Oh", 2, {eg, t2g}))
end
local d = Orbitals(0)
local function Shell(kind, ...) return NewOperator(kind, NF, d.up, d.dn, ...) end

-- 3d(n) with a full bath lies at 0, and an electron more from the middle of the band at Delta.
local eBath = -(n * Delta - n * (n + 1) / 2 * Udd) / (n + 10 * Nshells)
local ed = Delta - n * Udd + eBath
local H = Number(d, ed) + Shell("U", {Udd + 2 / 63 * (F2 + F4), F2, F4}) + zeta * Shell("ldots")
  + Cubic(d, d, 0.6 * tenDq, -0.4 * tenDq) + 0.001 * (0.6 * Shell("Sx") + 0.8 * Shell("Sz"))
for k = 1, Nshells do
  -- Gauss' rule for a semicircle: levels at cosines, with weights that sum to 1.
  local angle = math.pi * k / (Nshells + 1)
  local V = math.sqrt(2 / (Nshells + 1)) * math.sin(angle)
  local bath = Orbitals(k)
  H = H + Number(bath, eBath + width / 2 * math.cos(angle)) + Cubic(d, bath, V * Veg, V * Vt2g)
    + Cubic(bath, d, V * Veg, V * Vt2g)
end

-- The search starts from a full bath, and grows from there as far as the limit on the holes lets it.
local NBath = 10 * Nshells
local impurity, inBath = string.rep("1", 10) .. string.rep("0", NBath), string.rep("0", 10) .. string.rep("1", NBath)
local psi = Eigensystem(H, {NF, NB, {impurity, n, n}, {inBath, NBath, NBath}}, 1,
                        {{"Restrictions", {NF, NB, {inBath, NBath - 2, NBath}}}})
print(string.format("%d determinants, E0 = %.6f, <n 3d> = %.6f", psi.N, psi * H * psi, psi * Number(d, 1) * psi))
