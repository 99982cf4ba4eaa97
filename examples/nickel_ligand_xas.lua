-- L2,3 absorption of Ni2+ in NiO: the ion alone, and with the shell of its ligands.
--
--     scripts/run examples/nickel_ligand_xas.lua [DIRECTORY]
--
-- Around the ion stand six oxygen ions. Of their 2p orbitals ten combinations (spin counted) have the symmetry of the
-- 3d orbitals and mix with them: the ligand shell L. An electron of L may hop to the ion: the ground state mixes the
-- configurations 3d8 L10, 3d9 L9 and 3d10 L8. Three parameters govern it: Udd, the repulsion of two 3d electrons,
-- Delta, the energy of 3d9 L9 above 3d8 L10, and the hopping V. A core hole pulls all 3d levels down by Upd: with it,
-- 2p5 3d10 L9 lies Delta + Udd - Upd above 2p5 3d9 L10.
--
-- The script prints the weights of the configurations and writes the spectra to nickel_ligand_xas.dat and
-- nickel_ion_xas.dat in DIRECTORY (the current one without it): real and imaginary part of the Green's function; minus
-- the imaginary part, over pi, is the intensity. In gnuplot:
--
--     plot "nickel_ligand_xas.dat" using 1:(-$3/pi) with lines title "with ligands", \
--          "nickel_ion_xas.dat" using 1:(-$3/pi) with lines title "ion alone"
--
-- With ligands the satellites above both edges appear: the charge transfer 2p5 3d10 L9. As Delta + Udd - Upd and Delta
-- differ by little, the mixture with and without core hole is about the same, and satellites stay weak. The ligands
-- also enlarge the cubic splitting 10Dq, as the orbitals eg, which point to them, mix more than t2g.
--
-- Parameters of NiO: M. W. Haverkort, M. Zwierzycki and O. K. Andersen, Phys. Rev. B 85 (2012) 165113. Energies in eV.

Verbosity(0)
directory = args and args[1] or "."

-- ------------------------------------------------------------------------------------------------------ the operators
-- Each shell is numbered by rising m, spin down before spin up: 2p, 3d, L.
NF, NB = 26, 0
p = {up = {1, 3, 5}, dn = {0, 2, 4}}
d = {up = {7, 9, 11, 13, 15}, dn = {6, 8, 10, 12, 14}}
L = {up = {17, 19, 21, 23, 25}, dn = {16, 18, 20, 22, 24}}

Udd, Upd, Delta = 7.3, 8.5, 4.7
Veg, Vt2g = 2.06, 1.21          -- hopping between 3d and L
tenDq, tenDqL = 0.56, 1.44      -- cubic splitting of 3d without hopping, and of L
Bz = 0.001                      -- exchange field along z, selects one state of the spin triplet
Eedge = 854                     -- about where L3 is measured

function Shell(kind, s, ...) return NewOperator(kind, NF, s.up, s.dn, ...) end
function Number(s)
  local terms = {}
  for _, list in pairs(s) do
    for _, i in ipairs(list) do table.insert(terms, {i, -i, 1}) end
  end
  return NewOperator(NF, NB, terms)
end
function Cubic(eg, t2g) return PotentialExpandedOnClm("Oh", 2, {eg, t2g}) end
function Hop(from, to) return NewOperator("CF", NF, to.up, to.dn, from.up, from.dn, Cubic(Veg, Vt2g)) end
Nd, NL = Number(d), Number(L)
Hopping = Hop(d, L) + Hop(L, d)
Field = tenDq * Shell("CF", d, Cubic(0.6, -0.4)) + tenDqL * Shell("CF", L, Cubic(0.6, -0.4)) + 2 * Bz * Shell("Sz", d)

-- Udd and Upd are averages over a shell: F0 follows from them.
function Repulsion_dd(F2, F4) return Shell("U", d, {Udd + 2 / 63 * (F2 + F4), F2, F4}) end
function Repulsion_pd(F2, G1, G3)
  return NewOperator("U", NF, p.up, p.dn, d.up, d.dn, {Upd + G1 / 15 + 3 / 70 * G3, F2}, {G1, G3})
end

-- Energies of the shells, from the averages of configurations. E(3d8 L10) = 0 and E(3d9 L9) = Delta:
--   8 ed + 28 Udd + 10 eL = 0,   9 ed + 36 Udd + 9 eL = Delta
-- With the full 2p shell nothing is to change, hence -6 Upd Nd. With the core hole, E(2p5 3d9 L10) = 0.
ed = (10 * Delta - 108 * Udd) / 18
eL = ed + 8 * Udd - Delta
ep = (9 * Upd - 36 * Udd - 9 * ed - 10 * eL) / 5
function Initial(V)
  return Repulsion_dd(11.14, 6.87) + 0.081 * Shell("ldots", d) + ed * Nd + eL * NL + Field + V * Hopping
end
function Final(V)
  return Repulsion_dd(11.14, 6.87) + 0.102 * Shell("ldots", d) + (ed - 6 * Upd) * Nd + eL * NL + Field + V * Hopping
       + Repulsion_pd(6.67, 4.92, 2.80) + 11.51 * Shell("ldots", p) + ep * Number(p)
end

-- Dipole transitions for light along x, y, z: on average they give the spectrum of a powder.
t = sqrt(1 / 2)
function Dipole(expansion) return NewOperator("CF", NF, d.up, d.dn, p.up, p.dn, expansion) end
T = {Dipole({{1, -1, t}, {1, 1, -t}}), Dipole({{1, -1, t * I}, {1, 1, t * I}}), Dipole({{1, 0, 1}})}

-- ------------------------------------------------------------------------------------------- ground state and spectrum
-- The average over x, y and z, and its weight, for hopping V times that of NiO.
function Spectrum(title, V)
  local H = Initial(V)
  local psi = Eigensystem(H, {NF, NB, {DeterminantString(NF, p.up, p.dn), 6, 6},
                                      {DeterminantString(NF, d.up, d.dn, L.up, L.dn), 18, 18}}, 1,
                          {{"Zero", 1e-14}, {"Epsilon", 0}})
  -- From <n> and <n^2>, n the electrons that came from the ligands, follow the weights of n = 0, 1, 2.
  local n, n2 = psi * Nd * psi - 8, psi * (Nd * Nd) * psi
  n2 = n2 - 16 * (n + 8) + 64
  local w = {1 - (3 * n - n2) / 2, 2 * n - n2, math.max(0, (n2 - n) / 2)}
  print(string.format("%-14s E0 = %8.4f   3d8 L10 %.4f   3d9 L9 %.4f   3d10 L8 %.4f   <Nd> = %.4f", title,
                      psi * H * psi, w[1], w[2], w[3], n + 8))

  local S = CreateSpectra(Final(V), T, psi, {{"E0", psi * H * psi}, {"Emin", -15}, {"Emax", 35}, {"NE", 2000},
                                             {"Gamma", 0.2}})
  local weight = S.Integral[1] ^ 2 + S.Integral[2] ^ 2 + S.Integral[3] ^ 2
  print(string.format("%-14s integrated intensity %.9f; 2/5 of the holes in 3d: %.9f", "", weight, 2 / 5 * (2 - n)))
  assert(math.abs(weight - 2 / 5 * (2 - n)) < 1e-9, "sum rule")
  return S.Sum({1 / 3, 1 / 3, 1 / 3})
end

-- The strongest line is put at Eedge. Its distance from satellites and from the L2 edge is calculated.
function Prepare(S)
  local strongest = {0, 0}
  for _, point in ipairs(Spectra.ToTable(S)[1]) do
    if -Complex.Im(point[2]) > strongest[2] then strongest = {point[1], -Complex.Im(point[2])} end
  end
  S.Shift(Eedge - strongest[1])
  S.Broaden(0.4, {{Eedge + 4, 0.2}, {Eedge + 13, 0.5}})  -- resolution, and lifetimes at L3 and L2
  return S
end

-- The share of the intensity of the L3 edge beyond 3.5 eV from the main line, and below the L2 edge.
function Satellites(S)
  local edge, beyond = 0, 0
  for _, point in ipairs(Spectra.ToTable(S)[1]) do
    local intensity = -Complex.Im(point[2])
    if point[1] > Eedge - 6 and point[1] < Eedge + 12 then edge = edge + intensity end
    if point[1] > Eedge + 3.5 and point[1] < Eedge + 12 then beyond = beyond + intensity end
  end
  return beyond / edge
end

print()
ligands = Spectrum("With ligands:", 1)
alone = Spectrum("Ion alone:", 0)
ligands, alone = Prepare(ligands), Prepare(alone)
print(string.format("Share of the intensity 3.5 to 12 eV above the L3 line: %.4f with ligands, %.4f without",
                    Satellites(ligands), Satellites(alone)))
assert(Satellites(ligands) > 1.2 * Satellites(alone), "ligands give satellites")

ligands.Print({{"file", directory .. "/nickel_ligand_xas.dat"}})
alone.Print({{"file", directory .. "/nickel_ion_xas.dat"}})
print("Spectra written to nickel_ligand_xas.dat and nickel_ion_xas.dat in " .. directory)
