-- L2,3 absorption of a Ni2+ ion in a cubic field:  2p6 3d8 -> 2p5 3d9
--
--     scripts/run examples/nickel_xas.lua [DIRECTORY]
--
-- The ion has 16 spin-orbitals. Each shell is numbered by rising m, spin down before spin up:
--
--     orbital   0   1   2   3   4   5     6   7   8   9  10  11  12  13  14  15
--     shell     2p                        3d
--     m        -1  -1   0   0   1   1    -2  -2  -1  -1   0   0   1   1   2   2
--     spin     dn  up  dn  up  dn  up    dn  up  dn  up  dn  up  dn  up  dn  up
--
-- All energies are in eV. The script prints the lowest states of the ion and writes the spectrum to nickel_xas.dat in
-- DIRECTORY (the current one without it): the real and imaginary parts of four Green's functions (x, y, z polarisation
-- and their sum); minus the imaginary part, over pi, is the intensity. In gnuplot:
--
--     plot "nickel_xas.dat" using 1:(-$9/pi) with lines title "sum", "" using 1:(-$3/pi) with lines title "x", \
--          "" using 1:(-$7/pi) with lines title "z"

directory = args and args[1] or "."
NF, NB = 16, 0
IndexDn_2p, IndexUp_2p = {0, 2, 4}, {1, 3, 5}
IndexDn_3d, IndexUp_3d = {6, 8, 10, 12, 14}, {7, 9, 11, 13, 15}

-- Atomic values (Hartree-Fock); the multipole Slater integrals enter at 80 %, spin-orbit coupling at 100 %.
scale = 0.8
initial = {F2dd = 12.233 * scale, F4dd = 7.597 * scale, zeta_3d = 0.083}
final = {F2dd = 13.005 * scale, F4dd = 8.084 * scale, zeta_3d = 0.102,
         F2pd = 7.720 * scale, G1pd = 5.783 * scale, G3pd = 3.290 * scale, zeta_2p = 11.507}
tenDq = 1.1     -- cubic field: E(eg) - E(t2g)
Bz = 0.001      -- exchange field along z, selects one state of the spin triplet
Udd, Upd = 7.3, 8.5  -- average repulsion between two 3d electrons, between a 2p and a 3d electron
Eedge = 856.3   -- average energy of 2p5 3d9 above that of 2p6 3d8

-- ---------------------------------------------------------------------------------------------- one shell at a time
Sx = NewOperator("Sx", NF, IndexUp_3d, IndexDn_3d)
Sy = NewOperator("Sy", NF, IndexUp_3d, IndexDn_3d)
Sz = NewOperator("Sz", NF, IndexUp_3d, IndexDn_3d)
Lz = NewOperator("Lz", NF, IndexUp_3d, IndexDn_3d)
Ssqr = NewOperator("Ssqr", NF, IndexUp_3d, IndexDn_3d)
Lsqr = NewOperator("Lsqr", NF, IndexUp_3d, IndexDn_3d)
Jsqr = NewOperator("Jsqr", NF, IndexUp_3d, IndexDn_3d)
ldots_3d = NewOperator("ldots", NF, IndexUp_3d, IndexDn_3d)
ldots_2p = NewOperator("ldots", NF, IndexUp_2p, IndexDn_2p)

-- number operators of the shells
function Number(...)
  local sum = NewOperator(NF, NB, {})
  for _, list in ipairs({...}) do
    for _, i in ipairs(list) do sum = sum + NewOperator("Number", NF, i, i) end
  end
  return sum
end
N_2p = Number(IndexDn_2p, IndexUp_2p)
N_3d = Number(IndexDn_3d, IndexUp_3d)

-- Coulomb repulsion, one operator for each Slater integral
F0dd = NewOperator("U", NF, IndexUp_3d, IndexDn_3d, {1, 0, 0})
F2dd = NewOperator("U", NF, IndexUp_3d, IndexDn_3d, {0, 1, 0})
F4dd = NewOperator("U", NF, IndexUp_3d, IndexDn_3d, {0, 0, 1})
F0pd = NewOperator("U", NF, IndexUp_2p, IndexDn_2p, IndexUp_3d, IndexDn_3d, {1, 0}, {0, 0})
F2pd = NewOperator("U", NF, IndexUp_2p, IndexDn_2p, IndexUp_3d, IndexDn_3d, {0, 1}, {0, 0})
G1pd = NewOperator("U", NF, IndexUp_2p, IndexDn_2p, IndexUp_3d, IndexDn_3d, {0, 0}, {1, 0})
G3pd = NewOperator("U", NF, IndexUp_2p, IndexDn_2p, IndexUp_3d, IndexDn_3d, {0, 0}, {0, 1})

-- The monopole part of a repulsion follows from its average over all pairs:
--   Udd = F0dd - 2/63 (F2dd + F4dd),   Upd = F0pd - 1/15 G1pd - 3/70 G3pd
function Coulomb_dd(p) return (Udd + 2 / 63 * (p.F2dd + p.F4dd)) * F0dd + p.F2dd * F2dd + p.F4dd * F4dd end
function Coulomb_pd(p)
  return (Upd + p.G1pd / 15 + p.G3pd * 3 / 70) * F0pd + p.F2pd * F2pd + p.G1pd * G1pd + p.G3pd * G3pd
end

-- Cubic crystal field on renormalised spherical harmonics C(k, m): E(eg) = 0.6 tenDq, E(t2g) = -0.4 tenDq
CubicField = NewOperator("CF", NF, IndexUp_3d, IndexDn_3d,
                         {{4, 0, 21 / 10}, {4, -4, sqrt(63 / 40)}, {4, 4, sqrt(63 / 40)}})

-- Dipole transitions 2p -> 3d: x, y and z of the unit vector on C(1, m)
t = sqrt(1 / 2)
function Dipole(expansion) return NewOperator("CF", NF, IndexUp_3d, IndexDn_3d, IndexUp_2p, IndexDn_2p, expansion) end
Tx = Dipole({{1, -1, t}, {1, 1, -t}})
Ty = Dipole({{1, -1, t * I}, {1, 1, t * I}})
Tz = Dipole({{1, 0, 1}})

-- ------------------------------------------------------------------------------------------------------ Hamiltonians
-- One-electron energies such that the average energy of 2p6 3d8 is 0 and that of 2p5 3d9 is Eedge:
--   6 ep + 8 ed + 28 Udd + 48 Upd = 0,   5 ep + 9 ed + 36 Udd + 45 Upd = Eedge
ed = (6 * Eedge - 76 * Udd - 30 * Upd) / 14
ep = -(8 * ed + 28 * Udd + 48 * Upd) / 6
OnSite = ed * N_3d + ep * N_2p

Hinitial = OnSite + Coulomb_dd(initial) + Upd * F0pd
         + tenDq * CubicField + initial.zeta_3d * ldots_3d + Bz * 2 * Sz
Hfinal = OnSite + Coulomb_dd(final) + Coulomb_pd(final)
       + tenDq * CubicField + final.zeta_3d * ldots_3d + final.zeta_2p * ldots_2p + Bz * 2 * Sz

-- ---------------------------------------------------------------------------------------- the lowest states of 2p6 3d8
Npsi = 25
psi = Eigensystem(Hinitial, {NF, NB, {"111111 0000000000", 6, 6}, {"000000 1111111111", 8, 8}}, Npsi)

print("The lowest states of 2p6 3d8 (energies in eV)")
PrintExpectationValues(psi, {Ssqr, Lsqr, Jsqr, Sz, Lz, ldots_3d}, Hinitial, {{"colWidth", 10}})

-- ------------------------------------------------------------------------------------------------------- the spectrum
-- Absorption from the lowest state, energies counted from it.
E0 = psi[1] * Hinitial * psi[1]
S = CreateSpectra(Hfinal, {Tx, Ty, Tz}, psi[1],
                  {{"E0", E0}, {"Emin", 845}, {"Emax", 885}, {"NE", 4000}, {"Gamma", 0.1}})
S = S.Sum({1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {1, 1, 1})
S.Name = "Ni2+ L2,3: x, y, z polarisation and their sum"
print(string.format("Integrated intensity of the sum: %.9f; 2/5 of the holes in 3d: %.9f", S.Integral[4] ^ 2,
                    2 / 5 * (10 - psi[1] * N_3d * psi[1])))

-- Experimental resolution, and a core-hole lifetime that shortens from the L3 to the L2 edge: the Lorentzian full
-- width grows from 0.2 eV to 0.5 eV on top of Gamma.
S.Broaden(0.3, {{858, 0.2}, {866, 0.5}})
S.Print({{"file", directory .. "/nickel_xas.dat"}})
