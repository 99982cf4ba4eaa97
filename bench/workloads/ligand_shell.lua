-- A transition-metal ion between the ligands of an octahedron: the operators of the workloads on absorption and RIXS.
--
--     local model = dofile(folder .. "ligand_shell.lua")(n)     -- n electrons in the 3d shell, nominally
--
-- 26 spin-orbitals: the 2p shell, the 3d shell, and the ten combinations of ligand 2p orbitals that have the symmetry
-- of the 3d shell. Each is numbered by rising m, spin down before spin up:
--
--     0 - 5  2p        6 - 15  3d        16 - 25  L
--
-- Without a core hole the configurations are 3d(n) L(10), 3d(n+1) L(9), ...: binomial(20, 10 + n) determinants. With
-- one there are 6 binomial(20, 11 + n). Parameters are those of NiO in eV, after M. W. Haverkort, M. Zwierzycki and
-- O. K. Andersen, Phys. Rev. B 85 (2012) 165113, also where n is not 8: what counts here is the size.
return function(n)
  local model = {NF = 26, NB = 0}
  local NF, NB = model.NF, model.NB
  local p = {up = {1, 3, 5}, dn = {0, 2, 4}}
  local d = {up = {7, 9, 11, 13, 15}, dn = {6, 8, 10, 12, 14}}
  local L = {up = {17, 19, 21, 23, 25}, dn = {16, 18, 20, 22, 24}}

  local Udd, Upd, Delta = 7.3, 8.5, 4.7  -- averages over a shell, and E(3d(n+1) L(9)) - E(3d(n) L(10))
  local tenDq, tenDqL, Veg, Vt2g = 0.56, 1.44, 2.06, 1.21
  local B = 0.001  -- exchange field that selects one state of a spin multiplet, along no symmetry axis: all mix

  local function Shell(kind, s, ...) return NewOperator(kind, NF, s.up, s.dn, ...) end
  local function Count(s)
    local terms = {}
    for _, list in pairs(s) do
      for _, i in ipairs(list) do table.insert(terms, {i, -i, 1}) end
    end
    return NewOperator(NF, NB, terms)
  end
  local function Cubic(s, tenDq) return Shell("CF", s, PotentialExpandedOnClm("Oh", 2, {0.6 * tenDq, -0.4 * tenDq})) end
  local function Hop(from, to, Veg, Vt2g)
    return NewOperator("CF", NF, to.up, to.dn, from.up, from.dn, PotentialExpandedOnClm("Oh", 2, {Veg, Vt2g}))
  end

  -- The two parts of the Hamiltonian that depend on the number of core holes only by their parameters.
  local function Atom(F2, F4, zeta)
    return Shell("U", d, {Udd + 2 / 63 * (F2 + F4), F2, F4}) + zeta * Shell("ldots", d)
  end
  local Field = B * (0.6 * Shell("Sx", d) + 0.8 * Shell("Sz", d))
  local Crystal = Cubic(d, tenDq) + Cubic(L, tenDqL) + Hop(d, L, Veg, Vt2g) + Hop(L, d, Veg, Vt2g) + Field

  -- Energies of the shells: 3d(n) L(10) lies at 0 and 3d(n+1) L(9) at Delta. With a core hole, 3d(n+1) L(10) lies at 0
  -- above the average of 3d(n) L(10), which puts the absorption edge near 0.
  local ed = (10 * Delta - n * (19 + n) * Udd / 2) / (10 + n)
  local eL = ed + n * Udd - Delta
  local ep = ed + n * Udd - (n + 1) * Upd
  local Energies = ed * Count(d) + eL * Count(L)

  model.Nd = Count(d)
  model.H = Crystal + Atom(11.14, 6.87, 0.081) + Energies
  local F2pd, G1pd, G3pd = 6.67, 4.92, 2.80
  model.Hcore = Crystal + Atom(11.70, 7.21, 0.102) + Energies - 6 * Upd * Count(d) + ep * Count(p)
    + NewOperator("U", NF, p.up, p.dn, d.up, d.dn, {Upd + G1pd / 15 + 3 / 70 * G3pd, F2pd}, {G1pd, G3pd})
    + 11.51 * Shell("ldots", p)

  -- Dipole transitions from 2p to 3d, for light polarised along x, y, z.
  local function Dipole(Ak) return NewOperator("CF", NF, d.up, d.dn, p.up, p.dn, Ak) end
  local t = math.sqrt(1 / 2)
  model.Tx = Dipole({{1, -1, t}, {1, 1, -t}})
  model.Ty = Dipole({{1, -1, I * t}, {1, 1, I * t}})
  model.Tz = Dipole({{1, 0, 1}})

  model.NoCoreHole = {NF, NB, {DeterminantString(NF, p.up, p.dn), 6, 6},
                      {DeterminantString(NF, d.up, d.dn, L.up, L.dn), 10 + n, 10 + n}}
  return model
end
