-- CreateSpectra: results of both methods on systems that are solved by hand, and every text.
local check = require("check")
Verbosity(0)

-- One particle on three orbitals. Orbital 0 has energy -1 and holds the particle at start; orbitals 1 and 2 mix:
-- H = (2 1; 1 2) gives poles at 1 and 3, each with half of the weight of orbital 1.
local function hop(i, j, value) return {i, -j, value} end
local H = NewOperator(3, 0, {hop(0, 0, -1), hop(1, 1, 2), hop(2, 2, 2), hop(1, 2, 1), hop(2, 1, 1)})
local T = NewOperator(3, 0, {hop(1, 0, 2)})
local psi = NewWavefunction(3, 0, {{"100", 1}})
local lanczos = {"DenseBorder", 0}

-- exact: all poles at the energies of H, zero of energy -1
local S, P = CreateSpectra(H, T, psi)
check.equal("one representation", #P .. P[1].type, "1ListOfPoles")
check.near("first pole", P[1][1][2], 1, 1e-14)
check.near("its weight", P[1][2][2], 2, 1e-14)
check.near("lowest pole", S.EminPole[1], 2, 1e-14)
check.near("window", S.Emin[1], 1.75, 1e-14)
check.near("width", S.Gamma[1], 10 * 2.5 / 1000, 1e-15)
local function G(E, Gamma)  -- 4 [(E - H)^-1]_11 for E from the energy of psi
  local z = Complex.New(E - 1, Gamma / 2)
  return 2 / (z - 1) + 2 / (z - 3)
end
local points = Spectra.ToTable(S)[1]
for _, i in ipairs{1, 77, 500, 1001} do
  check.near("Green's function", points[i][2], G(points[i][1], S.Gamma[1]), 1e-9)
end

-- Lanczos: the same function, the chain counts from the energy of psi
local SL, M = CreateSpectra(H, T, psi, {lanczos, {"NTri", 2}})
check.equal("chain", M[1].type, "Tri")
check.near("its level and coupling", M[1][1][2] + 10 * math.abs(M[1][2][2]), 13, 1e-13)
for _, key in ipairs{"Emin", "Emax", "EminPole", "EmaxPole", "Gamma", "Integral"} do
  check.near(key, SL[key][1], S[key][1], 1e-13)
end
check.near("same function", Spectra.ToTable(SL)[1][400][2], points[400][2], 1e-9)
local closed = CreateSpectra(H, T, psi, {lanczos})
check.near("a space that closes early leaves the window alone", closed.Emin[1], 1.75, 1e-12)
-- Far from the energy 0: when the space closes, truncation takes the vectors away piece by piece, and levels that
-- lost their vector must not pull the window to the energy 0.
local far, terms = {}, {hop(0, 0, -54322.7)}
for i = 1, 7 do
  table.insert(terms, hop(i, i, i * i / 10 - 54321.7))
  for j = 1, i - 1 do
    table.insert(terms, hop(i, j, 1 / (i + j)))
    table.insert(terms, hop(j, i, 1 / (i + j)))
  end
end
far.H, far.T = NewOperator(8, 0, terms), NewOperator(8, 0, {hop(1, 0, 1)})
far.psi = NewWavefunction(8, 0, {{"10000000", 1}})
far.exact = CreateSpectra(far.H, far.T, far.psi)
for _, Gamma in ipairs{0, 0.1, 0.4, 2} do
  local chain = CreateSpectra(far.H, far.T, far.psi, {lanczos, {"Gamma", Gamma}})
  check.near("window far from the energy 0", chain.Emin[1], far.exact.Emin[1], 1e-7)
  check.near("window far from the energy 0", chain.Emax[1], far.exact.Emax[1], 1e-7)
end

-- pairs: transition outside, state inside; options in any case of letters
local psi2 = NewWavefunction(3, 0, {{"010", 1}})
local T2 = NewOperator(3, 0, {hop(2, 1, 1), hop(0, 1, 1)})
for _, options in ipairs{{{"e0", 0}, {"ne", 50}, {"GAMMA", 1}}, {lanczos, {"E0", 0}, {"NE", 50}, {"Gamma", 1}}} do
  local four, forms = CreateSpectra(H, {T, T2}, {psi, psi2}, options)
  check.equal("pairs", four.N .. #forms .. four.NE[3], "4450")
  check.equal("weights", string.format("%.6f %.6f %.6f %.6f", table.unpack(four.Integral)), "2.000000 0.000000 0.000000 1.414214")
  check.equal("width as given", four.Gamma[1], 1)
  check.equal("names", Spectra.ToTable(four)[4].Name, "Spectrum 3")
end
check.near("each state its own energy", CreateSpectra(H, T2, {psi, psi2}).EminPole[1], -1 - 2, 1e-14)

-- the states behind it: orthonormal, H on them is the chain or the list of energies; none for a transition of nothing
for _, case in ipairs{{"chain", lanczos}, {"energies", {"DenseBorder", 9}}} do
  local form, states = select(2, CreateSpectra(far.H, far.T, far.psi, {case[2], {"KrylovBasis", true}}))
  check.equal("all states", #states, 7)
  for i, bra in ipairs(states) do
    for j, ket in ipairs(states) do
      local want = i == j and form[1][1][i + 1] or 0
      if case[1] == "chain" then
        want = i == j and want - 54322.7 or math.abs(i - j) == 1 and form[1][2][math.min(i, j) + 1] or 0
      end
      check.near("overlap", bra * ket, i == j and 1 or 0, 1e-11)
      check.near(case[1], bra * far.H * ket, want, 1e-9)
    end
  end
end
local chains, lists = select(2, CreateSpectra(H, {T, T2}, {psi, psi2}, {lanczos, {"KrylovBasis", true}, {"NTri", 9}}))
check.equal("states of each pair", string.format("%d %d %d %d", #lists[1], #lists[2], #lists[3], #lists[4]), "2 0 0 3")
check.equal("levels of each pair", #chains[1][1] .. #chains[2][1], "1010")
check.equal("first state", lists[4][1].N .. " " .. tostring(math.abs(lists[4][1] * psi)), "2 " .. tostring(math.sqrt(0.5)))

-- windows
check.near("Emin as given", CreateSpectra(H, T, psi, {{"Emin", 0}}).Emin[1], 0, 0)
local nothing = CreateSpectra(H, T, psi2)
check.equal("window of nothing", nothing.Emin[1] .. " " .. nothing.Emax[1], "-1 1")
check.near("restricted: orbital 2 out of reach", CreateSpectra(H, T, psi, {{"restrictions", {3, 0, {"001", 0, 0}}}}).EminPole[1], 3, 1e-14)

-- a self-energy is read and has no effect
check.equal("self-energy", tostring(CreateSpectra(H, T, psi, {H, S})), tostring(S))
check.equal("self-energies and options", CreateSpectra(H, T, psi, {{H, S}, {H, S}, {H, S}}, {{"NE", 70}}).NE[1], 70)
for _, sigma in ipairs{1, {1, S}, {H, H}, {{H, S}, {H}, {H, S}}} do
  check.ok("wrong self-energy", not pcall(CreateSpectra, H, T, psi, sigma))
end

-- the chain on file
local path = os.tmpname()
CreateSpectra(H, T, psi, {lanczos, {"NTri", 2}, {"file", path}})
local lines = {}
for line in io.lines(path) do if line:sub(1, 1) ~= "#" then lines[#lines + 1] = line end end
check.near("level 1 in the file, from H", tonumber(lines[2]:sub(7, 28)), 2, 1e-14)
CreateSpectra(H, {T, T2}, psi, {lanczos, {"NTri", 2}, {"file", path}})
check.ok("a file for each pair", os.remove(path .. "_00") and os.remove(path .. "_01"))
os.remove(path)

-- texts
local four = NewOperator(4, 0, {hop(1, 1, 1)})
local boson = NewOperator(3, 1, {hop(1, 1, 1)})
local psi4 = NewWavefunction(4, 0, {{"1000", 1}})
for _, case in ipairs{
  {"Errof CreateSpectra called with a table of transition operators of length 0\n", H, {}, psi},
  {"Errof CreateSpectra called with a table of wave functions of length 0\n", H, T, {}},
  {"Wave-function 2 has a different number of Fermions (4) than Wave-function 1 (3)\n", H, T, {psi, psi4}},
  {"Transition Operator 3 has a different number of Fermions (4) than Transition Operator 1 (3)\n", H, {T, T, four}, psi},
  {"Wave-functions have different number of Fermions (3) than transition operators (4)", H, four, psi},
  {"Wave-functions have different number of Bosons (0) than the Hamilton operator used for the propagator (1)", boson, T, psi},
  {"Wave-functions have different number of Fermions (3) than the definitions of the restrictions (4)", H, T, psi,
   {{"restrictions", {4, 0, {"0001", 0, 0}}}}},
  {"CreateSpectra called with an operator that is not Hermitian\n", T, T, psi},
  {"Tensor form for CreateSpectra not yet available\n", H, T, psi, {{"Tensor", true}}},
  {"CreateSpectra called with NTri equal to 0, at least 1 is needed\n", H, T, psi, {{"NTri", 0}}},
  {"CreateSpectra called with NE equal to 0, at least 1 is needed\n", H, T, psi, {{"NE", 0}}},
  {"CreateSpectra called with Gamma equal to -1, at least 0 is needed\n", H, T, psi, {{"Gamma", -1}}},
  {"CreateSpectra called with an energy window from -1.7e+308 to 1.7e+308 that is too wide\n", H, T, psi,
   {{"Emin", -1.7e308}, {"Emax", 1.7e308}}},
  {"CreateSpectra called with operators or wave-functions that are not finite\n", H * 1e200, T, psi, {lanczos}},
  {"CreateSpectra called with an empty energy window, Emin=9.000000 is not below Emax=4.250000\n", H, T, psi, {{"Emin", 9}}},
} do
  check.error(case[1], case[1], CreateSpectra, table.unpack(case, 2))
end
for _, name in ipairs{"Emin", "Emax", "Gamma", "E0", "epsilon"} do
  local text = "CreateSpectra called with a value of " .. name .. " that is not finite\n"
  check.error(text, text, CreateSpectra, H, T, psi, {{name, 0 / 0}})
end
for _, arguments in ipairs{{H, T}, {T, psi, H}, {H, {T, 1}, psi}, {H, T, {psi, H}}, {H, T, psi, {}, {}, {}},
                           {H, T, psi, {{"NTri", "x"}}}, {H, T, psi, {{"unknown", 1}}}} do
  check.ok("wrong arguments", not pcall(CreateSpectra, table.unpack(arguments)))
end
for _, options in ipairs{{}, {lanczos}} do
  local text = "CreateSpectra called with operators or wave-functions that are not finite\n"
  check.error("T times 1e300", text, CreateSpectra, H, T * 1e300, psi, options)
  for _, x in ipairs{1 / 0, 1e300} do check.error("psi times " .. x, text, CreateSpectra, H, T, psi * x, options) end
end

check.done()
