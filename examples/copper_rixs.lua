-- Resonant inelastic X-ray scattering (RIXS) at the L3 and L2 edges of Cu2+ in a CuO2 plane:
-- 2p6 3d9 -> 2p5 3d10 -> 2p6 3d9
--
--     scripts/run examples/copper_rixs.lua [DIRECTORY]
--
-- One hole in the 3d shell: before and after the scattering it sits in one of five orbitals, with spin up or down, and
-- in between it is a hole of the 2p shell. Of all ions this one can be followed by hand: the script computes the map
-- once more, from the 10 states without and the 6 with a core hole, by the formula of Kramers and Heisenberg
--
--     F(w1, w)  =  sum_f | sum_m <f|T2|m> <m|T1|i> / (w1 + E_i - E_m + i Gamma / 2) |^2  delta(w + E_i - E_f)
--
-- and compares. In the ground state the hole is in x2-y2. Scattering leaves it there (elastic line), turns its spin, or
-- moves it to z2, xy, or xz and yz (dd excitations). Light turns the spin if it lies in the plane, and not if it stands
-- along z (L. J. P. Ament, G. Ghiringhelli, M. Moretti Sala, L. Braicovich and J. van den Brink, Phys. Rev. Lett. 103
-- (2009) 117003): the 2p orbitals that matter for x2-y2 are x and y, between which the spin-orbit coupling of the core
-- hole acts by its part lz sz alone, which keeps the z component of the spin. So magnons of cuprates, whose spins lie
-- in the plane, become visible. The script does both directions.
--
-- It writes the map for spins in the plane to copper_rixs.dat in DIRECTORY (the current one without it): lines with
-- incident energy, energy loss and intensity, all in eV, a blank line after each incident energy. In gnuplot:
--
--     set view map; set xlabel "incident energy"; set ylabel "energy loss"
--     splot "copper_rixs.dat" with pm3d

Verbosity(0)
directory = args and args[1] or "."

-- ------------------------------------------------------------------------------------------------------ the operators
-- Each shell is numbered by rising m, spin down before spin up.
NF, NB = 16, 0
IndexDn_2p, IndexUp_2p = {0, 2, 4}, {1, 3, 5}
IndexDn_3d, IndexUp_3d = {6, 8, 10, 12, 14}, {7, 9, 11, 13, 15}
function Operator_3d(kind, ...) return NewOperator(kind, NF, IndexUp_3d, IndexDn_3d, ...) end

-- Energies of the orbitals below x2-y2 in eV, about those of La2CuO4: M. Moretti Sala et al., New J. Phys. 13 (2011)
-- 043026. The field turns a spin at the cost of spinFlip; it stands for the exchange with the neighbouring ions.
orbitals = {z2 = 1.70, xy = 1.80, xz_yz = 2.12}
spinFlip, zeta_3d, zeta_2p = 0.25, 0.102, 13.5
Eedge = 931

CrystalField = Operator_3d("CF", PotentialExpandedOnClm("D4h", 2, {-orbitals.z2, 0, -orbitals.xy, -orbitals.xz_yz}))
function Hamiltonian(direction)
  return CrystalField + zeta_3d * Operator_3d("ldots") + spinFlip * Operator_3d(direction)
end
-- 2p5 3d10: the levels of 2p5 lie zeta_2p/2 below (L3) and zeta_2p above (L2) their average, which the energy of the
-- five 2p electrons puts such that L3 is at Eedge.
function CoreHamiltonian(direction)
  local terms = {}
  for i = 0, 5 do terms[i + 1] = {i, -i, (Eedge + zeta_2p / 2) / 5} end
  return Hamiltonian(direction) + NewOperator(NF, NB, terms)
       + zeta_2p * NewOperator("ldots", NF, IndexUp_2p, IndexDn_2p)
end

-- The scattering plane is xz, with z along c. Light comes in at an angle of 20 degrees to the CuO2 plane, and what is
-- scattered by 130 degrees is detected, whatever its polarisation. That of the incident light lies in the scattering
-- plane (pi). The angles are those between wave vector and x axis, with the surface at the top.
incident, scattered = math.rad(-20), math.rad(110)
t = sqrt(1 / 2)
function Dipole(x, y, z)
  return NewOperator("CF", NF, IndexUp_3d, IndexDn_3d, IndexUp_2p, IndexDn_2p,
                     {{1, -1, t * (x + I * y)}, {1, 1, t * (-x + I * y)}, {1, 0, z}})
end
T1 = Dipole(-math.sin(incident), 0, math.cos(incident))
T2 = {Dipole(-math.sin(scattered), 0, math.cos(scattered)).ConjugateTranspose(), Dipole(0, 1, 0).ConjugateTranspose()}

-- ------------------------------------------------------------------------------------------------------------ the map
Gamma1, Gamma2, NE1 = 0.6, 0.1, 120  -- full widths: lifetime of the core hole, and resolution of the spectrometer
OneHole = {NF, NB, {"111111 0000000000", 6, 6}, {"000000 1111111111", 9, 9}}
CoreHole = {NF, NB, {"111111 0000000000", 5, 5}, {"000000 1111111111", 10, 10}}
AllDigits = {{"Zero", 1e-14}, {"Epsilon", 0}}

-- |z|^2
function Square(z) return Complex.Re(z) ^ 2 + Complex.Im(z) ^ 2 end

-- The map for spins along a direction, "Sx" or "Sz": rows of points, one row an incident energy, and all states.
function Map(direction)
  local H, Hcore = Hamiltonian(direction), CoreHamiltonian(direction)
  local finals, cores = Eigensystem(H, OneHole, 10, AllDigits), Eigensystem(Hcore, CoreHole, 6, AllDigits)
  local map = {levels = {}}
  local E0 = finals[1] * H * finals[1]
  for f = 1, 10 do map.levels[f] = finals[f] * H * finals[f] - E0 end
  local S = CreateResonantSpectra(Hcore, H, T1, T2, finals[1],
                                  {{"E0", E0}, {"Emin1", Eedge - 5}, {"Emax1", Eedge + 25}, {"NE1", NE1},
                                   {"Gamma1", Gamma1}, {"Emin2", -0.5}, {"Emax2", 3.5}, {"NE2", 400},
                                   {"Gamma2", Gamma2}})
  -- Spectra of the first T2 come first, one for each incident energy.
  local curves = Spectra.ToTable(S)
  for w = 1, NE1 + 1 do
    map[w] = {incident = S.ResonantEnergy[w], weights = {}}
    for i, point in ipairs(curves[w]) do
      local other = curves[NE1 + 1 + w][i]
      map[w][i] = {loss = point[1], intensity = -(Complex.Im(point[2]) + Complex.Im(other[2])) / math.pi}
    end
  end

  -- By hand: the weight of each final state at each incident energy.
  local up, down = {}, {{}, {}}  -- <m|T1|i>, <f|T2|m>
  for m, core in ipairs(cores) do
    up[m] = core * T1 * finals[1]
    for k = 1, 2 do
      down[k][m] = {}
      for f, final in ipairs(finals) do down[k][m][f] = final * T2[k] * core end
    end
  end
  for _, row in ipairs(map) do
    for f = 1, 10 do row.weights[f] = 0 end
    for k = 1, 2 do
      for f = 1, 10 do
        local amplitude = 0
        for m, core in ipairs(cores) do
          amplitude = amplitude + down[k][m][f] * up[m]
            / Complex.New(row.incident + E0 - Complex.Re(core * Hcore * core), Gamma1 / 2)
        end
        row.weights[f] = row.weights[f] + Square(amplitude)
      end
    end
  end
  return map
end

-- The largest difference of a map from its formula, relative to its largest intensity. A line is a Lorentzian of full
-- width Gamma2.
function Compare(map)
  local worst, largest = 0, 0
  for _, row in ipairs(map) do
    for _, point in ipairs(row) do
      local formula = 0
      for f, level in ipairs(map.levels) do
        formula = formula + row.weights[f] * Gamma2 / (2 * math.pi) / ((point.loss - level) ^ 2 + Gamma2 ^ 2 / 4)
      end
      worst = math.max(worst, math.abs(point.intensity - formula))
      largest = math.max(largest, formula)
    end
  end
  return worst / largest
end

-- ------------------------------------------------------------------------------------------------------------ results
print("\nEnergy loss (eV) and relative weight at the L3 edge")
flips = {}
for _, direction in ipairs({"Sx", "Sz"}) do
  local map = Map(direction)
  local L3, total = map[1], 0
  for _, row in ipairs(map) do
    if math.abs(row.incident - Eedge) < math.abs(L3.incident - Eedge) then L3 = row end
  end
  for f = 1, 10 do total = total + L3.weights[f] end
  print(direction == "Sx" and "Spins in the plane:" or "Spins along z:")
  for f = 1, 10 do print(string.format("%10.3f %9.5f", map.levels[f], L3.weights[f] / total)) end
  flips[direction] = L3.weights[2] / total

  local difference = Compare(map)
  print(string.format("The map differs from the formula by %.1e of its maximum.", difference))
  assert(difference < 1e-9, "the map is not that of Kramers and Heisenberg")

  if direction == "Sx" then
    local output = io.open(directory .. "/copper_rixs.dat", "w")
    output:write("# incident energy (eV), energy loss (eV), intensity\n")
    for _, row in ipairs(map) do
      for _, point in ipairs(row) do
        output:write(string.format("%10.3f %8.3f %15.7E\n", row.incident, point.loss, point.intensity))
      end
      output:write("\n")
    end
    output:close()
    print("Map written to " .. directory .. "/copper_rixs.dat")
  end
end
assert(flips.Sx > 10 * flips.Sz, "spins that stand along z are not turned")
