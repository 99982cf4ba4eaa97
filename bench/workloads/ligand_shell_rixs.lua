-- Resonant inelastic scattering at the L2,3 edges of an ion with n electrons in its 3d shell, among ligands: light
-- along z in, at 100 energies, light along x out; chains of 100 steps for either Hamiltonian.
--
--     ligand_shell_rixs.lua n
local folder = debug.getinfo(1, "S").source:match("^@(.*/)") or ""
local n = tonumber(args and args[1] or 8)
Verbosity(0)

local model = dofile(folder .. "ligand_shell.lua")(n)
local psi = Eigensystem(model.H, model.NoCoreHole, 1, {{"Zero", 1e-12}})
local S = CreateResonantSpectra(model.Hcore, model.H, model.Tz, model.Tx.ConjugateTranspose(), psi,
                                {{"Emin1", -10}, {"Emax1", 20}, {"NE1", 99}, {"Gamma1", 0.6},
                                 {"Emin2", -1}, {"Emax2", 9}, {"NE2", 1000}, {"Gamma2", 0.1}})

-- The weight at the incident energy where it is largest, of all energy losses together.
local strongest = 1
for i = 1, #S.Integral do if S.Integral[i] > S.Integral[strongest] then strongest = i end end
print(string.format("%d determinants, E0 = %.6f, largest weight %.8f at incident energy %d of %d", psi.N,
                    psi * model.H * psi, S.Integral[strongest] ^ 2, strongest, #S.Integral))
