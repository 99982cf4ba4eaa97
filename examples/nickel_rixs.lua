-- Resonant inelastic X-ray scattering (RIXS) at the L3 and L2 edges of Ni2+ in a cubic field:
-- 2p6 3d8 -> 2p5 3d9 -> 2p6 3d8
--
--     scripts/run examples/nickel_rixs.lua [DIRECTORY]
--
-- X-rays of energy w1 lift a 2p electron to the 3d shell; an electron falls back and the ion emits light of energy
-- w1 - w. It keeps the energy w: an excitation within the 3d shell, which light of energy w itself can't make, as
-- initial and final states have one parity. With states i, m, f without, with, without a core hole (Kramers and
-- Heisenberg):
--
--     F(w1, w)  =  sum_f | sum_m <f|T2|m> <m|T1|i> / (w1 + E_i - E_m + i Gamma / 2) |^2  delta(w + E_i - E_f)
--
-- The script writes this map to nickel_rixs.dat in DIRECTORY (the current one without it): lines with incident energy,
-- energy loss and intensity, all in eV, a blank line after each incident energy. In gnuplot:
--
--     set view map; set xlabel "incident energy"; set ylabel "energy loss"
--     splot "nickel_rixs.dat" with pm3d
--
-- At energy loss 0 stands the elastic line, then come the terms of the ion: 3T2 at 10Dq, 3T1 and the singlet 1E near 2
-- eV, ... Singlets are reached as the spin-orbit coupling of the core hole mixes spin and orbit. The strength of each
-- depends on the incident energy: with it, RIXS separates what overlaps in optical spectra.

Verbosity(0)
directory = args and args[1] or "."

-- ------------------------------------------------------------------------------------------------------ the operators
-- Each shell is numbered by rising m, spin down before spin up.
NF, NB = 16, 0
IndexDn_2p, IndexUp_2p = {0, 2, 4}, {1, 3, 5}
IndexDn_3d, IndexUp_3d = {6, 8, 10, 12, 14}, {7, 9, 11, 13, 15}
function Operator_3d(kind, ...) return NewOperator(kind, NF, IndexUp_3d, IndexDn_3d, ...) end

-- Hartree-Fock values in eV; Slater integrals enter at 80 %. The monopole parts only move a configuration as a whole:
-- they are left out, and the edge is put where it is measured.
scale = 0.8
tenDq, Bz = 1.05, 0.001
Eedge = 855.5

Field = Operator_3d("CF", PotentialExpandedOnClm("Oh", 2, {0.6 * tenDq, -0.4 * tenDq})) + 2 * Bz * Operator_3d("Sz")
H = Operator_3d("U", {0, scale * 12.233, scale * 7.597}) + 0.083 * Operator_3d("ldots") + Field
Hcore = Operator_3d("U", {0, scale * 13.005, scale * 8.084}) + 0.102 * Operator_3d("ldots") + Field
      + NewOperator("U", NF, IndexUp_2p, IndexDn_2p, IndexUp_3d, IndexDn_3d, {0, scale * 7.720},
                    {scale * 5.783, scale * 3.290})
      + 11.507 * NewOperator("ldots", NF, IndexUp_2p, IndexDn_2p)

t = sqrt(1 / 2)
function Dipole(expansion) return NewOperator("CF", NF, IndexUp_3d, IndexDn_3d, IndexUp_2p, IndexDn_2p, expansion) end
Tx, Ty, Tz = Dipole({{1, -1, t}, {1, 1, -t}}), Dipole({{1, -1, t * I}, {1, 1, t * I}}), Dipole({{1, 0, 1}})

-- ---------------------------------------------------------------------------------------------- the levels of 2p6 3d8
-- All 45 of them, grouped into levels; Stot is 1 for a triplet, 0 for a singlet, as far as spin-orbit coupling does not
-- mix the two. Epsilon and Zero ask for all digits.
psi = Eigensystem(H, {NF, NB, {"111111 0000000000", 6, 6}, {"000000 1111111111", 8, 8}}, 45,
                  {{"Zero", 1e-14}, {"Epsilon", 0}})
Ssqr = Operator_3d("Ssqr")
E0 = psi[1] * H * psi[1]
levels = {}  -- above the ground state
print("\nLevels of 2p6 3d8 (eV), states of each, <S^2>")
for i = 1, #psi do
  local energy, spin = psi[i] * H * psi[i] - E0, psi[i] * Ssqr * psi[i]
  local level = levels[#levels]
  if level and energy - level.energy < 0.01 then
    level.states, level.spin = level.states + 1, level.spin + spin
  else
    table.insert(levels, {energy = energy, states = 1, spin = spin})
  end
end
for _, level in ipairs(levels) do
  print(string.format("%8.3f %4d %8.3f", level.energy, level.states, level.spin / level.states))
end

-- ------------------------------------------------------------------------------------------------------------ the map
-- Light polarised along z comes in; the emitted light has polarisation x or y, and the sum over both is detected.
-- Crossed polarisations suppress the elastic line. T2 takes the electron back: it is the conjugate transpose of the
-- operator of an absorption.
Gamma1, Gamma2 = 0.6, 0.1  -- full widths: lifetime of the core hole, and resolution of the spectrometer
NE1 = 150
grid = {{"Emin1", -12}, {"Emax1", 18}, {"NE1", NE1}, {"Gamma1", Gamma1},
        {"Emin2", -0.5}, {"Emax2", 5.5}, {"NE2", 600}, {"Gamma2", Gamma2}}
S = CreateResonantSpectra(Hcore, H, Tz, {Tx.ConjugateTranspose(), Ty.ConjugateTranspose()}, psi[1], grid)

-- Spectra of the first T2 come first, one for each incident energy.
map = {}
curves = Spectra.ToTable(S)
for w = 1, NE1 + 1 do
  local x, y = curves[w], curves[NE1 + 1 + w]
  map[w] = {incident = S.ResonantEnergy[w], weight = S.Integral[w] ^ 2 + S.Integral[NE1 + 1 + w] ^ 2}
  for i = 1, #x do
    map[w][i] = {loss = x[i][1], intensity = -(Complex.Im(x[i][2]) + Complex.Im(y[i][2])) / math.pi}
  end
end

-- The strongest point of the map is put at Eedge: distances from there are calculated.
strongest = map[1]
for _, row in ipairs(map) do if row.weight > strongest.weight then strongest = row end end
shift = Eedge - strongest.incident

output = io.open(directory .. "/nickel_rixs.dat", "w")
output:write("# incident energy (eV), energy loss (eV), intensity\n")
for _, row in ipairs(map) do
  for _, point in ipairs(row) do
    output:write(string.format("%10.3f %8.3f %15.7E\n", row.incident + shift, point.loss, point.intensity))
  end
  output:write("\n")
end
output:close()
print("\nMap written to " .. directory .. "/nickel_rixs.dat")

-- --------------------------------------------------------------------------------------------------------- the checks
-- Each peak of the map lies at a level, within half the resolution.
print("\nPeaks where the map is strongest: energy loss (eV), and the nearest level")
for i = 2, #strongest - 1 do
  local point = strongest[i]
  if point.intensity > strongest[i - 1].intensity and point.intensity > strongest[i + 1].intensity then
    local nearest = levels[1].energy
    for _, level in ipairs(levels) do
      if math.abs(level.energy - point.loss) < math.abs(nearest - point.loss) then nearest = level.energy end
    end
    print(string.format("%10.2f %10.3f", point.loss, nearest))
    assert(math.abs(nearest - point.loss) < Gamma2 / 2, "a peak where no level is")
  end
end

-- All that is emitted after absorption at one incident energy is the fluorescence yield at this energy: without
-- diagonalising the Hamiltonian of the final states, it gives the sum over the energy loss.
yield = Spectra.ToTable(CreateFluorescenceYield(Hcore, Tz, {Tx.ConjugateTranspose(), Ty.ConjugateTranspose()}, psi[1],
                                                {{"Emin", -12}, {"Emax", 18}, {"NE", NE1}, {"Gamma", Gamma1}}))
worst, largest = 0, 0
for w, row in ipairs(map) do
  local all = Complex.Re(yield[1][w][2]) + Complex.Re(yield[2][w][2])
  worst, largest = math.max(worst, math.abs(all - row.weight)), math.max(largest, all)
end
print(string.format("\nEmission at one incident energy: up to %.6f, map less fluorescence yield %.1e", largest, worst))
assert(worst < 1e-8 * largest, "map and yield differ")
