-- CreateResonantSpectra and CreateFluorescenceYield: a system solved by hand in both methods, options, every text.
local check = require("check")
Verbosity(0)

-- One particle. Orbital 0 holds it at start; T1 lifts it to orbital 1, T2 takes it from there to orbitals 2 and 3.
local function hop(i, j, value) return {i, -j, value} end
local function levels(...)
  local terms = {}
  for i, energy in ipairs{...} do terms[i] = hop(i - 1, i - 1, energy) end
  return NewOperator(4, 0, terms)
end
local H1, H2 = levels(-1, 5, 5, 5), levels(-2, 0, 1, 3)
local T1, T2 = NewOperator(4, 0, {hop(1, 0, 2)}), NewOperator(4, 0, {hop(2, 1, 3), hop(3, 1, 1)})
local T1i = NewOperator(4, 0, {hop(1, 0, I)})
local psi = NewWavefunction(4, 0, {{"1000", 1}})
local function amplitude(Ein, Gamma1, E0) return 2 / Complex.New(Ein + E0 - 5, Gamma1 / 2) end
local function norm2(z) return Complex.Re(z) ^ 2 + Complex.Im(z) ^ 2 end
local function response(Ein, Gamma1, E0_1, E, Gamma2, E0_2)  -- of T1 and T2
  local z = Complex.New(E + E0_2, Gamma2 / 2)
  return norm2(amplitude(Ein, Gamma1, E0_1)) * (9 / (z - 1) + 1 / (z - 3))
end

local grid = {{"Emin1", 4}, {"Emax1", 8}, {"NE1", 8}, {"Gamma1", 0.5}, {"Emin2", 0}, {"Emax2", 8}, {"NE2", 40}, {"Gamma2", 1}}
local function with(...)
  local options = {...}
  for _, option in ipairs(grid) do options[#options + 1] = option end
  return options
end
local lanczos = {"DenseBorder", 0}
for _, method in ipairs{{"DenseBorder", 10}, lanczos, {"ForceDenseMethod", true}} do
  for _, zero in ipairs{{-1, -2}, {0.5, 0.5, {"E0", 0.5}}, {1, 0.5, {"E0", 0.5}, {"E0_1", 1}}} do
    local S = CreateResonantSpectra(H1, H2, {T1, T1i}, T2, psi, with(method, zero[3], zero[4]))
    check.equal("bundle", S.N .. S.Name, "18")
    local points = Spectra.ToTable(S)
    check.equal("name", points[18].Name, "Spectrum wres 8/8 T2 0/1 T1 1/2 psi 0/1")
    for _, w in ipairs{0, 3, 8} do
      check.equal("resonant energy", S.ResonantEnergy[w + 1], 4 + w / 2)
      for _, i in ipairs{1, 9, 41} do
        local E = points[w + 1][i][1]
        local expected = response(4 + w / 2, 0.5, zero[1], E, 1, zero[2])
        check.near("intensity", points[w + 1][i][2], expected, 1e-9)
        check.near("intensity of i/2 T1", points[w + 10][i][2], expected / 4, 1e-9)
      end
    end
  end
end

-- Open windows: one intermediate level at 6 over psi, final levels at 3 and 5 over it.
for _, method in ipairs{{"DenseBorder", 10}, lanczos} do
  local S = CreateResonantSpectra(H1, H2, T1, T2, psi, {method, {"NE1", 10}, {"NE2", 10}})
  check.near("first incident energy", S.ResonantEnergy[1], -0.125 * 6, 1e-12)
  check.near("last incident energy", S.ResonantEnergy[11], 2.125 * 6, 1e-12)
  check.near("Emin2", S.Emin[1], 1.1 * 3 - 0.1 * 5, 1e-12)
  check.near("Emax2", S.Emax[11], 1.1 * 5 - 0.1 * 3, 1e-12)
  check.near("Gamma2", S.Gamma[1], 5 * 2.4 / 10, 1e-12)
  local nothing = CreateResonantSpectra(H1, H2, T2, T1, psi, {method, {"NE1", 10}, {"NE2", 10}})
  check.equal("window of nothing", nothing.Emin[1] .. " " .. nothing.Emax[1] .. " " .. nothing.N, "-1 1 11")
  check.near("nothing", nothing.Integral[3], 0, 0)
end
-- Orbital 3 out of reach of the second step, orbital 1 of the first.
local S = CreateResonantSpectra(H1, H2, T1, T2, psi, with{"Restrictions2", {4, 0, {"0001", 0, 0}}})
check.near("restricted", S.EmaxPole[1], 3, 1e-12)
S = CreateResonantSpectra(H1, H2, T1, T2, psi, with{"restrictions1", {4, 0, {"0100", 0, 0}}})
check.near("nothing is left", S.Integral[1], 0, 0)

-- Fluorescence yield: 10 |amplitude|^2 from all that T2 takes away, in Re.
local Y = CreateFluorescenceYield(H1, {T1, T1i}, {T2, T1}, {psi, psi}, {{"NE", 20}, {"Gamma", 0.5}, {"Emin", 4}, {"Emax", 8}})
check.equal("bundle", Y.N .. Y.Name, "8")
local points = Spectra.ToTable(Y)
check.equal("name", points[2].Name, "Spectrum 1/2")
for _, i in ipairs{1, 11, 21} do
  local yield = 10 * norm2(amplitude(points[1][i][1], 0.5, -1))
  check.near("yield", points[1][i][2], yield, 1e-9 * yield)
  check.near("yield of i/2 T1", points[3][i][2], yield / 4, 1e-9 * yield)
  check.equal("T2 that takes nothing", points[2][i][2], Complex.New(0, 0))
end
Y = CreateFluorescenceYield(H1, T1, T2, psi, {{"NE", 0}})
check.equal("automatic", string.format("%d %.3f %.3f %.4f", Y.NE[1], Y.Emin[1], Y.Emax[1], Y.Gamma[1]), "1000 -0.750 12.750 0.1350")

-- Texts
local four, boson = NewOperator(5, 0, {hop(1, 1, 1)}), NewOperator(4, 1, {hop(1, 1, 1)})
local psi5 = NewWavefunction(5, 0, {{"10000", 1}})
local R5 = {5, 0, {"00001", 0, 0}}
local RS, FY = CreateResonantSpectra, CreateFluorescenceYield
for _, case in ipairs{
  {RS, "Error LuaCreateResonantSpectra called with 4 arguments, 5 or 6 expected (H1, H2, T1, T2^+, psi, {options})\n", H1, H2, T1, T2},
  {RS, "Errof CreateResonantSpectra called with a table of transition operators (1) of length 0\n", H1, H2, {}, T2, psi},
  {RS, "Errof CreateResonantSpectra called with a table of transition operators (2) of length 0\n", H1, H2, T1, {}, psi},
  {RS, "Errof CreateResonantSpectra called with a table of wave functions of length 0\n", H1, H2, T1, T2, {}},
  {RS, "CreateResonantSpectra called with an operator (H1) that is not Hermitian\n", T1, H2, T1, T2, psi, {{"Tensor", true}}},
  {RS, "CreateResonantSpectra called with an operator (H2) that is not Hermitian\n", H1, T2, T1, T2, psi},
  {RS, "Tensor form for Resonant spectra not yet available", H1, H2, T1, T2, psi, {{"Tensor", true}}},
  {RS, "CreateResonantSpectra called with NTri2 equal to 0, at least 1 is needed\n", H1, H2, T1, T2, psi, {{"NTri2", 0}}},
  {RS, "CreateResonantSpectra called with epsilon equal to -1, at least 0 is needed\n", H1, H2, T1, T2, psi, {{"epsilon", -1}}},
  {RS, "CreateResonantSpectra called with a value of Emax2 that is not finite\n", H1, H2, T1, T2, psi, {{"Emax2", 0 / 0}}},
  {RS, "CreateResonantSpectra called with an empty energy window, Emin2=3.000000 is not below Emax2=3.000000\n", H1, H2, T1, T2, psi,
   {{"Emin2", 3}, {"Emax2", 3}}},
  {RS, "CreateResonantSpectra called with an empty energy window, Emin1=9.000000 is not below Emax1=5.700000\n", H1, H2, T1, T2, psi,
   {{"Emin1", 9}}},
  {RS, "CreateResonantSpectra called with an energy window that has too many widths Gamma in it\n", H1, H2, T1, T2, psi,
   {{"NE1", 0}, {"Gamma1", 1e-300}}},
  {RS, "H2 has a different number of Fermions (5) than H1 (4)\n", H1, four, T1, T2, psi},
  {RS, "Transition operator (1) has a different number of Bosons (1) than H1 (0)\n", H1, H2, {T1, boson}, T2, psi},
  {RS, "Wave-function has a different number of Fermions (5) than H1 (4)\n", H1, H2, T1, T2, {psi, psi5}},
  {RS, "Definition of restrictions has a different number of Fermions (5) than H1 (4)\n", H1, H2, T1, T2, psi, {{"Restrictions2", R5}}},
  {FY, "Error CreateFluorescenceYield called with 3 arguments, 4 or 5 expected\n", H1, T1, T2},
  {FY, "Errof LuaCreateFluorescenceYield called with a table of transition operators (1) of length 0\n", H1, {}, T2, psi},
  {FY, "Errof LuaCreateFluorescenceYield called with a table of transition operators (2) of length 0\n", H1, T1, {}, psi},
  {FY, "Errof LuaCreateFluorescenceYield called with a table of wave functions of length 0\n", H1, T1, T2, {}},
  {FY, "CreateFluorescenceYield called with an operator that is not Hermitian\n", T1, T1, T2, psi},
  {FY, "CreateFluorescenceYield called with an empty energy window, Emin=2.000000 is not below Emax=1.000000\n", H1, T1, T2, psi,
   {{"Emin", 2}, {"Emax", 1}}},
  {FY, "Transition operator (2) has a different number of Fermions (5) than H (4)\n", H1, T1, four, psi},
} do
  check.error(case[2], case[2], case[1], table.unpack(case, 3))
end
-- Squares of 1e300 are no numbers.
for _, method in ipairs{{"NE2", 10}, lanczos} do
  local text = "CreateResonantSpectra called with operators or wave-functions that are not finite\n"
  check.error("T1 times 1e300", text, RS, H1, H2, T1 * 1e300, T2, psi, with(method))
  check.error("T2 times 1e300", text, RS, H1, H2, T1, T2 * 1e300, psi, with(method))
end
for _, case in ipairs{{T1 * 1e300, T2, psi}, {T1, T2 * 1e300, psi}, {T1, T2, psi * 1e300}} do
  check.error("times 1e300", "CreateFluorescenceYield called with operators or wave-functions that are not finite\n",
              FY, H1, table.unpack(case))
end
for _, arguments in ipairs{{H1, H2, T1, T2, psi, {{"unknown", 1}}}, {H1, H2, {T1, 1}, T2, psi}, {H1, 2, T1, T2, psi}, {H1, H2, T1, T2, psi, 3}} do
  check.ok("wrong arguments", not pcall(RS, table.unpack(arguments)))
  check.ok("wrong arguments", not pcall(FY, table.unpack(arguments)))
end

check.done()
