-- M4,5 absorption of Tb3+, 3d10 4f8 -> 3d9 4f9, from a state of the lowest level, 7F6: light with q = -1, 0, 1,
-- by Lanczos chains of 200 steps.
--
-- Slater integrals (80 % of Hartree-Fock values) and spin-orbit coupling in eV. F0 is left out: it moves all states of
-- a configuration alike.
Verbosity(0)
local NF, NB = 24, 0
local d = {up = {1, 3, 5, 7, 9}, dn = {0, 2, 4, 6, 8}}
local f = {up = {11, 13, 15, 17, 19, 21, 23}, dn = {10, 12, 14, 16, 18, 20, 22}}

local function Shell(kind, s, ...) return NewOperator(kind, NF, s.up, s.dn, ...) end
local H = Shell("U", f, {0, 11.93, 7.49, 5.39}) + 0.256 * Shell("ldots", f)
local Hcore = Shell("U", f, {0, 12.46, 7.82, 5.63}) + 0.297 * Shell("ldots", f) + 13.92 * Shell("ldots", d)
  + NewOperator("U", NF, d.up, d.dn, f.up, f.dn, {0, 8.02, 3.75}, {5.77, 3.38, 2.34})
local T = {}
for q = -1, 1 do T[q + 2] = NewOperator("CF", NF, f.up, f.dn, d.up, d.dn, {{1, q, 1}}) end

-- Any state of the ground level will do: all have one isotropic spectrum. It must not mix with other levels, though,
-- the next one being 0.2 eV higher, so that more accuracy is asked for than Eigensystem gives by itself.
local psi = Eigensystem(H, {NF, NB, {DeterminantString(NF, d.up, d.dn), 10, 10},
                                    {DeterminantString(NF, f.up, f.dn), 8, 8}}, 1, {{"Zero", 1e-10}})
local S = CreateSpectra(Hcore, T, psi, {{"Emin", -40}, {"Emax", 60}, {"NE", 4000}, {"Gamma", 0.4}, {"NTri", 200}})

-- Each of the 6 holes is reached with strength 3/7; q = -1 less q = +1 measures Lz.
local total, holes = 0, 6
for i = 1, 3 do total = total + S.Integral[i] ^ 2 end
print(string.format("%d determinants, E0 = %.6f, Jsqr %.4f, weight %.6f (sum rule %.6f), Lz %.6f (sum rule %.6f)",
  psi.N, psi * H * psi, psi * Shell("Jsqr", f) * psi, total, 3 / 7 * holes, psi * Shell("Lz", f) * psi,
  3 * holes * (S.Integral[1] ^ 2 - S.Integral[3] ^ 2) / total))
