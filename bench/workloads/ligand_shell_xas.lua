-- L2,3 absorption of an ion with n electrons in its 3d shell, among ligands: the lowest states, then their spectra for
-- light along x, y and z, by Lanczos chains of 200 steps.
--
--     ligand_shell_xas.lua n STATES
local folder = debug.getinfo(1, "S").source:match("^@(.*/)") or ""
local n, Nstates = tonumber(args and args[1] or 8), tonumber(args and args[2] or 3)
Verbosity(0)

local model = dofile(folder .. "ligand_shell.lua")(n)
local psi = Eigensystem(model.H, model.NoCoreHole, Nstates)
if Nstates == 1 then psi = {psi} end
local S = CreateSpectra(model.Hcore, {model.Tx, model.Ty, model.Tz}, psi,
                        {{"Emin", -10}, {"Emax", 20}, {"NE", 1000}, {"Gamma", 0.4}, {"NTri", 200}})

-- For each empty 3d spin-orbital, <10 - n> of them, the three polarisations carry 2/5 of the weight together.
local total, holes = 0, 0
for i = 1, #S.Integral do total = total + S.Integral[i] ^ 2 end
for _, state in ipairs(psi) do holes = holes + 10 - state * model.Nd * state end
print(string.format("%d determinants, E0 = %.6f, weight %.6f (sum rule %.6f)", psi[1].N,
                    psi[1] * model.H * psi[1], total, holes * 2 / 5))
