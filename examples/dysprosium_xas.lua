-- M4,5 absorption of a Dy3+ ion:  3d10 4f9 -> 3d9 4f10
--
--     scripts/run examples/dysprosium_xas.lua [DIRECTORY]
--
-- A 4f shell hardly feels the crystal, so that the spectrum is that of a free ion: from its ground level, 6H15/2,
-- dipole transitions lead to levels with J' = 13/2, 15/2 and 17/2. The script starts from the state with M = J = 15/2,
-- computes the spectra of light that changes M by q = -1, 0, +1, and from these three the spectra that end in each J'.
-- It writes them and the isotropic spectrum to dysprosium_xas.dat in DIRECTORY (the current one without it). In
-- gnuplot:
--
--     set xrange [1285:1340]; set key left
--     plot "dysprosium_xas.dat" using 1:(-$9/pi) with lines title "isotropic", \
--          "" using 1:(-$3/pi) with lines title "J' = 13/2", "" using 1:(-$5/pi) with lines title "J' = 15/2", \
--          "" using 1:(-$7/pi) with lines title "J' = 17/2"
--
-- The M5 edge has three peaks that rise with energy, one for each J', and a shoulder above; the M4 edge is one small
-- peak. Compare B. T. Thole, G. van der Laan, J. C. Fuggle, G. A. Sawatzky, R. C. Karnatak and J.-M. Esteva, Phys. Rev.
-- B 32 (1985) 5107, with measured and calculated spectra of all rare earths. All energies are in eV.

Verbosity(0)
directory = args and args[1] or "."

-- Dirac-Hartree-Fock values for the average of each configuration of the free ion. The Slater integrals enter at 80 %,
-- as other configurations, which are left out, screen them; spin-orbit coupling enters at 100 %.
scale = 0.8
initial = {Fff = {15.31, 9.61, 6.92}, zeta_4f = 0.281}
final = {Fff = {15.96, 10.03, 7.23}, zeta_4f = 0.325, Fdf = {10.38, 4.88}, Gdf = {7.49, 4.39, 3.04}, zeta_3d = 14.89}
M5 = 1295  -- the strongest line is put here, about where it is measured; distances from it are calculated

-- ------------------------------------------------------------------------------------------------------ the operators
-- Orbitals 0 - 9 are the 3d shell, 10 - 23 the 4f shell: m rises, spin down before spin up.
NF, NB = 24, 0
IndexDn_3d, IndexUp_3d = {0, 2, 4, 6, 8}, {1, 3, 5, 7, 9}
IndexDn_4f, IndexUp_4f = {10, 12, 14, 16, 18, 20, 22}, {11, 13, 15, 17, 19, 21, 23}

function Operator_4f(kind) return NewOperator(kind, NF, IndexUp_4f, IndexDn_4f) end
Ssqr, Lsqr, Jsqr = Operator_4f("Ssqr"), Operator_4f("Lsqr"), Operator_4f("Jsqr")
Sz, Lz, ldots_4f = Operator_4f("Sz"), Operator_4f("Lz"), Operator_4f("ldots")
ldots_3d = NewOperator("ldots", NF, IndexUp_3d, IndexDn_3d)

-- F0 is left out, here and below: it moves all states of a configuration alike.
function Repulsion_4f(p)
  local F2, F4, F6 = table.unpack(p.Fff)
  return NewOperator("U", NF, IndexUp_4f, IndexDn_4f, {0, scale * F2, scale * F4, scale * F6})
end
function Repulsion_3d4f(p)
  local F2, F4 = table.unpack(p.Fdf)
  local G1, G3, G5 = table.unpack(p.Gdf)
  return NewOperator("U", NF, IndexUp_3d, IndexDn_3d, IndexUp_4f, IndexDn_4f, {0, scale * F2, scale * F4},
                     {scale * G1, scale * G3, scale * G5})
end
Hinitial = Repulsion_4f(initial) + initial.zeta_4f * ldots_4f
Hfinal = Repulsion_4f(final) + final.zeta_4f * ldots_4f + Repulsion_3d4f(final) + final.zeta_3d * ldots_3d

-- Dipole operators on C(1, q) raise M by q.
function Dipole(q) return NewOperator("CF", NF, IndexUp_4f, IndexDn_4f, IndexUp_3d, IndexDn_3d, {{1, q, 1}}) end

-- ---------------------------------------------------------------------------------------------------- the ground state
-- Hund's rules: all spins up filled, and spin down at m = 2 and m = 3. This one determinant has M = J = L + S, and
-- the Hamiltonian keeps M, so that Eigensystem finds the lowest state with this M next to it.
holes, J = 5, 15 / 2
psi = NewWavefunction(NF, NB, {{"1111111111 01010101011111", 1}})
Eigensystem(Hinitial, psi, {{"Zero", 1e-14}, {"Epsilon", 0}})
print("\nGround state of 3d10 4f9          S^2      L^2      J^2       Lz       Sz      l.s")
function PrintRow(title, ...) print(title .. string.format(string.rep(" %8.4f", select("#", ...)), ...)) end
PrintRow("  calculated                ", psi * Ssqr * psi, psi * Lsqr * psi, psi * Jsqr * psi, psi * Lz * psi,
         psi * Sz * psi, psi * ldots_4f * psi)
PrintRow("  6H15/2 without other terms", 35 / 4, 30, 255 / 4, 5, 5 / 2, -5 / 2)

-- -------------------------------------------------------------------------------------------------------- the spectra
T = {Dipole(-1), Dipole(0), Dipole(1)}
S = CreateSpectra(Hfinal, T, psi, {{"Emin", -40}, {"Emax", 60}, {"NE", 4000}, {"Gamma", 0.2}})

-- From M = J, a step q leads to the levels J' in proportions that squares of 3j symbols give; what is left, F(J'), does
-- not depend on M and q:  S(q) = sum over J' of (2 J + 1) (J' 1 J; -M-q q M)^2 F(J').  The sum of all F is the
-- sum of all S, the isotropic spectrum.
share = {}
for q = -1, 1 do
  share[q + 2] = {}
  for dJ = -1, 1 do share[q + 2][dJ + 2] = (2 * J + 1) * ThreeJSymbol({J + dJ, -(J + q)}, {1, q}, {J, J}) ^ 2 end
end
F = Inverse(share)
weights = S.Integral
S = S.Sum(F[1], F[2], F[3], {1, 1, 1})
S.Name = "Dy3+ M4,5: final J' = 13/2, 15/2, 17/2, and the isotropic spectrum"

-- The strongest line: {energy, intensity} within the window.
function Peak(spectrum, from, to)
  local peak = {0, 0}
  for _, point in ipairs(spectrum) do
    local energy, intensity = point[1], -Complex.Im(point[2]) / math.pi
    if energy > from and energy < to and intensity > peak[2] then peak = {energy, intensity} end
  end
  return peak
end
S.Shift(M5 - Peak(Spectra.ToTable(S)[4], -40, 60)[1])

curves = Spectra.ToTable(S)
print("\nStrongest line of the M5 edge (eV)    calculated weight of both edges")
for k, name in ipairs({"J' = 13/2", "J' = 15/2", "J' = 17/2", "isotropic"}) do
  print(string.format("  %s  %10.2f %27.4f", name, Peak(curves[k], M5 - 15, M5 + 15)[1], S.Integral[k] ^ 2))
  for _, point in ipairs(curves[k]) do assert(Complex.Im(point[2]) < 0, "a spectrum with one J' is positive") end
end

-- ---------------------------------------------------------------------------------------------------------- sum rules
-- The weight counts the holes; the difference of q = -1 and q = +1 measures Lz (B. T. Thole, P. Carra, F. Sette and
-- G. van der Laan, Phys. Rev. Lett. 68 (1992) 1943); the share of the M5 edge measures l.s, as far as 3d5/2 and 3d3/2
-- stay apart (B. T. Thole and G. van der Laan, Phys. Rev. A 38 (1988) 1943).
function SumRule(rule, spectrum, groundState, tolerance)
  print(string.format("  %-42s %9.6f %14.6f", rule, spectrum, groundState))
  assert(math.abs(spectrum - groundState) < tolerance, rule)
end
print("\nSum rules                                    spectrum   ground state")
total = weights[1] ^ 2 + weights[2] ^ 2 + weights[3] ^ 2
SumRule("weight = 3/7 holes", total, 3 / 7 * holes, 1e-9)
SumRule("(q = -1 less q = +1) / all = Lz / 3 holes", (weights[1] ^ 2 - weights[3] ^ 2) / total,
        psi * Lz * psi / (3 * holes), 1e-9)
M5weight, allWeight = 0, 0
for _, point in ipairs(curves[4]) do
  allWeight = allWeight - Complex.Im(point[2])
  if point[1] < M5 + 17 then M5weight = M5weight - Complex.Im(point[2]) end
end
SumRule("M5 / all = 3/5 - 4/15 l.s / holes (nearly)", M5weight / allWeight,
        3 / 5 - 4 / 15 * (psi * ldots_4f * psi) / holes, 0.01)

-- Experimental resolution, and a core hole that lives shorter at the M4 edge: full widths at half maximum.
S.Broaden(0.5, {{M5 + 10, 0.3}, {M5 + 30, 0.6}})
S.Print({{"file", directory .. "/dysprosium_xas.dat"}})
print("\nSpectra written to " .. directory .. "/dysprosium_xas.dat")
