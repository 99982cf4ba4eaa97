-- Braket, BraketDiagonal and PrintExpectationValues.
local check = require("check")
local i = Complex.New(0, 1)

local psi = {NewWavefunction(2, 0, {{"10", 1}}), NewWavefunction(2, 0, {{"10", 0.6}, {"01", 0.8 * i}}),
  NewWavefunction(2, 0, {{"01", 1}, {"11", 2}})}
local O = NewOperator(2, 0, {{0, -0, 2}, {1, -0, 1 - i}, {0.5}})

check.near("of a complex bra", Braket(psi[2], psi[3]), -0.8 * i, 0)
check.near("element", Braket(psi[3], O, psi[1]), 1 - i, 1e-15)
for a = 1, 3 do
  for b = 1, 3 do
    check.near("element by product", Braket(psi[a], O, psi[b]), psi[a] * (O * psi[b]), 1e-15)
    check.near("in a matrix", Braket(psi, O, psi)[a][b], Braket(psi[a], O, psi[b]), 0)
    check.near("in a row", Braket(psi[a], O, psi)[b], Braket(psi[a], O, psi[b]), 0)
    check.near("in a column", Braket(psi, O, psi[b])[a], Braket(psi[a], O, psi[b]), 0)
  end
  check.near("diagonal", BraketDiagonal(psi, O, psi)[a], Braket(psi[a], O, psi[a]), 0)
end
check.equal("shape", #Braket({psi[1], psi[2]}, psi) .. #Braket({psi[1], psi[2]}, psi)[1], "23")
check.equal("the shorter length counts", #BraketDiagonal(psi, {psi[1], psi[2]}), 2)

local three, P = NewWavefunction(3, 0, {}), NewOperator(3, 0, {})
local count = "PrintExpectationValues called with %d arguments. 2, 3, 4 or 5 expected, List of Wavefunctions, list of operators, optional Hamiltonian, optional map to other lists, and optional list of Options.\n"
local errors = {
  {"Error in BraKet, called with 1 arguments, 2 or 3 expected\n", Braket, psi},
  {"Braket called with wave-functions with different number of Fermions (2 and 3)\n", Braket, psi, {three}},
  {"Braket called with a wave-function and an operator with different number of Fermions (2 and 3)\n", Braket, psi, P, psi},
  {count:format(6), PrintExpectationValues, psi, {O}, O, {}, {}, 1},
  {"PrintExpectationValues called with a wave-function and an operator with different number of Fermions (2 and 3)\n", PrintExpectationValues, psi, {O, P}},
  {"PrintExpectationValues called with sortByEnergy, but without a Hamiltonian\n", PrintExpectationValues, psi, {O}, {{"sortByEnergy", true}}},
  {"PrintExpectationValues called with colWidth -1, 6 to 255 expected\n", PrintExpectationValues, psi, {O}, {{"colWidth", -1}}},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end
check.ok("map of something else", not pcall(PrintExpectationValues, psi, {O}, O, {x = {{}, {}, {}}}))

-- All forms of the arguments pass; the text is tested elsewhere.
PrintExpectationValues(psi, {O})
PrintExpectationValues(psi, {O}, nil, {x = {1, 2, "three"}, y = {1}}, {})
PrintExpectationValues(psi, {O}, {x = {1, i, 3}}, {{"printSigma", true}})
PrintExpectationValues(psi, {O}, O, {x = {1, 2, 3}}, {{"sortByEnergy", true}, {"printHeaderEvery", 2}})
PrintExpectationValues({}, {})

check.done()
