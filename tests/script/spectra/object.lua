-- The spectrum object: keys, methods, free functions, tables, and every text.
local check = require("check")

-- A bundle of n spectra on the grid Emin + i dE, i = 0 .. NE, with value k + i (i + 1) at point i of spectrum k.
local function bundle(n, Emin, dE, NE)
  local t = {}
  for k = 1, n do
    t[k] = {EminPole = k, EmaxPole = 2 * k, Gamma = 0.5, Integral = k / 4, Name = "S" .. k, ResonantEnergy = -k}
    for i = 0, NE do t[k][i + 1] = {Emin + i * dE, Complex.New(k, i + 1)} end
  end
  return Spectra.FromTable(t)
end
local function value(S, k, i) return Spectra.ToTable(S)[k][i + 1][2] end

-- keys
local S = bundle(3, -1, 0.5, 4)
check.equal("N", S.N, 3)
for key, expected in pairs{NE = {4, 4, 4}, dE = {0.5, 0.5, 0.5}, Emin = {-1, -1, -1}, Emax = {1, 1, 1},
                           EminPole = {1, 2, 3}, EmaxPole = {2, 4, 6}, Gamma = {0.5, 0.5, 0.5},
                           Integral = {0.25, 0.5, 0.75}, ResonantEnergy = {-1, -2, -3}} do
  check.equal(key, table.concat(S[key], " "), table.concat(expected, " "))
end
S.Name = "bundle"
check.equal("name", S.Name, "bundle")
local meta = debug.getmetatable(S)  -- called by hand, its errors come without the place in the script
check.error("name that is none", "Error, could not set name of spectra\n", meta.__newindex, S, "Name", {})
check.error("new key", "Error index Emin not found in Spectra Object\n", meta.__newindex, S, "Emin", 1)
check.error("unknown key", 'Error operation ".nope()" not defined on spectra\n', meta.__index, S, "nope")

-- text
check.equal("text", tostring(bundle(1, -1, 2, 1)), table.concat({
  "#Spectra: 1",
  "Emin______Emax      -1.000000000000000E+00  1.000000000000000E+00",
  "EminPole__EmaxPole   1.000000000000000E+00  2.000000000000000E+00",
  "dE________Gamma      2.000000000000000E+00  5.000000000000000E-01",
  "Energy               Re[0]                  Im[0]                ",
  "-1.000000000000E+00  1.000000000000000E+00  1.000000000000000E+00",
  " 1.000000000000E+00  1.000000000000000E+00  2.000000000000000E+00\n"}, "\n"))
local unlike = tostring(Spectra.FromTable({{{0, 1}, {1, 2}, {2, 3}}, {{5, 4}, {6, 7}}}))
check.ok("a shorter spectrum is filled up with 0", unlike:find("#Spectra: 2\n") == 1 and unlike:find(
  " 2.000000000000E+00  3.000000000000000E+00  0.000000000000000E+00  0.000000000000000E+00  0.000000000000000E+00\n", 1, true))
local path = os.tmpname()
S.Print({{"file", path}})
local file = io.open(path)
check.equal("file", file:read("*a"), tostring(S))
file:close()
os.remove(path)
check.error("file that can't be", "Error in .Print(arg) could not print spectra to file: /\n", S.Print, {{"file", "/"}})

-- tables there and back
check.equal("round trip", tostring(Spectra.ToUserdata(Spectra.ToTable(S))), tostring(S))
check.equal("no spectra", Spectra.FromTable({}).N, 0)
local bare = Spectra.FromTable({{{3, -1}}})
check.ok("a field that is missing", bare.ResonantEnergy[1] ~= bare.ResonantEnergy[1])
local steps = "Error Spectra.FromTable the 1-th spectrum should be a table of elements consisting of " ..
    "{energy,Intensity}, whereby the energy needs to be a list of increasing energies with constant " ..
    "difference.\n(Energy steps not constant.)"
local pairsText = "Error Spectra.FromTable the 2-th spectrum should be a table of elements consisting of {energy,Intensity}\n"
local good = {{0, 1}, {1, 2}}
for _, case in ipairs{
  {"Error Spectra.FromTable the 1-th spectrum is not a table\n", {1}},
  {"Error Spectra.FromTable the 2-th spectrum has no elements\n", {good, {}}},
  {pairsText, {good, {1}}}, {pairsText, {good, {{"x", 1}}}}, {pairsText, {good, {{1, {}}}}},
  {steps, {{{0, 1}, {1, 1}, {3, 1}}}}, {steps, {{{1, 1}, {0, 1}}}}, {steps, {{{0 / 0, 1}, {1, 1}}}},
  {'Error Spectra.FromTable "ResonantEnergy" of spectrum 1 should be a number\n', {{{0, 1}, ResonantEnergy = {}}}},
  {'Error Spectra.FromTable "Name" of spectrum 1 should be a string\n', {{{0, 1}, Name = {}}}}} do
  check.error(case[1], case[1], Spectra.FromTable, case[2])
end

-- broadening: what the shapes do is tested below the scripts; here the forms of the arguments
local function broadened(...) local B = Spectra.Copy(S) B.Broaden(...) return tostring(B) end
check.equal("0 changes nothing", broadened(0, 0), tostring(S))
check.ok("Gaussian and Lorentzian differ", broadened(1, 0) ~= broadened(0, 1))
check.equal("a constant table is a number", broadened({{0, 0.7}}, {{-5, 0.4}, {5, 0.4}}), broadened(0.7, 0.4))
local shifted = Spectra.Copy(S)
shifted.Shift({0, 0, 1})  -- two grids in one bundle
local alone = shifted.Element(3)
for _, bundles in ipairs{shifted, alone} do bundles.Broaden({{0, 1}, {1, 2}}, 0.7) end
check.equal("a spectrum comes out the same on its own", tostring(shifted.Element(3)), tostring(alone))
local returned = Spectra.Copy(S)
check.equal("the free function returns its bundle", Spectra.Broaden(returned, 1, 0), returned)
check.equal("and does the same", tostring(returned), broadened(1, 0))
local middle, inside = bundle(1, -1, 0.5, 4), bundle(1, -1, 0.5, 4)
middle.Broaden({{-1, 1}, {1, 3}}, 0)  -- widths 1, 1.5, 2, 2.5, 3
inside.Broaden({{-1, 1}, {-0.5, 1.5}, {0, 2}, {0, 2}, {0.5, 2.5}, {9, 11}}, 0)
check.near("linear in between", value(middle, 1, 1), value(inside, 1, 1), 1e-15)
local form, order = "List of variable Gaussian broadening at position 1 should be of the form {{Energy_1, FWHM_1},...} with Energy and FWHM of type real\n",
  "List of variable Lorenzian broadening at position 3 should be of the form {{Energy_1, FWHM_1},{Energy_2, FWHM_2},...,{Energy_n, FWHM_n}},\nwith Energy_1<Energh_2<...<Energh_n"
check.error("width table of one column", form, S.Broaden, {{1}}, 0)
for _, energy in ipairs{-1, 0 / 0, 1 / 0} do
  check.error("falling energies, or none", order, Spectra.Broaden, S, 0, {{0, 1}, {energy, 1}})
end
for _, width in ipairs{-1, 0 / 0, 1 / 0} do
  local wrong = "Error Spectra.Broaden called with the %s FWHM %g, a number of at least 0 expected\n"
  check.error("width", wrong:format("Gaussian", width), S.Broaden, width, 0)
  check.error("width in a table", wrong:format("Lorenzian", width), S.Broaden, 0, {{1, width}})
end
check.error("Gaussian width", "Error Spectra.Broaden 1-st argument should be either a number defining the Gaussian FWHM,\nor a table of the form {{Energy_1, FWHM_1},...}\n", S.Broaden, nil, 1)

-- shift
shifted = Spectra.Copy(S)
shifted.Shift({1, 2, 3})
check.equal("shifted", table.concat(shifted.Emin, " ") .. " " .. table.concat(shifted.EmaxPole, " "), "0 1 2 3 6 9")
Spectra.Shift(shifted, -1)
check.equal("shifted by one number", table.concat(shifted.Emax, " "), "1 2 3")
check.equal("data stay", value(shifted, 2, 3), value(S, 2, 3))
check.error("shift length", "Error Spectra.Shift Table with shifts is of length 2, but there are 3 spectra\n", S.Shift, {1, 2})
for _, shift in ipairs{"x", 0 / 0, {1, 2, 1 / 0}} do
  check.error("shift type", "Error Spectra.Shift second argument should be a number or a table of numbers\n", S.Shift, shift)
end

-- energy weights
local weighted = Spectra.Copy(S)
weighted.MultiplyByEnergy()
for i = 0, 4 do check.near("weighted", value(weighted, 2, i), (-1 + i / 2) * value(S, 2, i), 0) end

-- elements
check.equal("one element", tostring(S.Element(2)), tostring(Spectra.Element(S, {2})))
check.equal("twice the same", table.concat(S.Element({3, 1, 3}).EminPole, " "), "3 1 3")
check.error("position", "Error: no element 4 in spectra array with 3 elements\n", S.Element, 4)
check.ok("positions out of all bounds", not (pcall(S.Element, 0) or pcall(S.Element, 1e300) or pcall(S.Element, 0 / 0)))
check.error("nil", "Error: can not find nill element in spectrum, expected a number or list of numbers\n", S.Element, nil)
check.error("nested table", "Error: unrecognized type of element\n", S.Element, {{1}})

-- sums
local sum = S.Sum({1, 0, 0}, {1, Complex.New(0, 1), -2})
check.equal("a spectrum for each argument", sum.N, 2)
check.near("combination", value(sum, 2, 3), value(S, 1, 3) + Complex.New(0, 1) * value(S, 2, 3) - 2 * value(S, 3, 3), 1e-15)
check.near("weights", Spectra.Sum(S, {1, 4, 0}).Integral[1], (0.25 ^ 2 + 4 * 0.5 ^ 2) ^ 0.5, 1e-15)
check.error("coefficients", "Error in .Sum(arg_1,arg_2,...) arg_2 should be a table\n", S.Sum, {1, 1, 1}, 2)
check.error("coefficient count", "Error in Spectra.Sum(Spectra,arg_1,arg_2,...) arg_1 should be a table of length 3\n", Spectra.Sum, S, {1})
check.error("coefficient type", "Error in .Sum(arg_1,arg_2,...) elemnt 2 in arg_1 should be a real or complex number\n", S.Sum, {1, {}, 1})

-- counts and first arguments
for name, expected in pairs{Broaden = "3 arguments", Shift = "2 arguments", MultiplyByEnergy = "1 argument",
                            Element = "2 arguments", ToTable = "1 argument", Sum = "2 or more arguments"} do
  check.error(name .. " without arguments", "Error Spectra." .. name .. " called with 0 arguments, " .. expected .. " expected\n", Spectra[name])
end
check.error("copy count", "Error Spectra.Copy called with 2 arguments, 1 expected\n", Spectra.Copy, S, S)
check.error("from table count", "Error Spectra.FromTable called with 0 arguments, 1 argument (a table) expected\n", Spectra.FromTable)
check.error("method broaden count", "Error Spectra.Broaden called with 1 arguments, 2 arguments expected\n", S.Broaden, 1)
check.error("method element count", "Error in .Element(arg) unrecognized arguments in Element()\n", S.Element)
check.error("no bundle", "Error Spectra.Sum first element should be of spectra type\n", Spectra.Sum, {}, {})

-- a method keeps its bundle alive
local method = bundle(1, 0, 1, 2).Element
collectgarbage()
check.equal("method outlives the name of its bundle", method(1).N, 1)

check.done()
