-- OperatorToMatrix, OperatorSetOnsiteEnergy, PartialOperator and OperatorExp.
local check = require("check")
local i = Complex.New(0, 1)

local H = NewOperator(4, 0, {{0, -0, 1}, {1, -1, 3}, {2, -2, -2}, {1, -0, 0.5}, {0, -1, 0.5}, {3, -2, 1}, {7},
  {2, 1, -1, -2, 4}, {3, 1, -1, -2, 5}}, {{"Name", "H"}})
local function average(O, orbitals)
  local sum = 0
  for _, k in ipairs(orbitals) do
    local det = {"0", "0", "0", "0"}
    det[k + 1] = "1"
    local psi = NewWavefunction(4, 0, {{table.concat(det), 1}})
    sum = sum + psi * O * psi - O.Offset
  end
  return sum / #orbitals
end

check.near("trace of all, default 0", average(OperatorSetOnsiteEnergy(H), {0, 1, 2, 3}), 0, 1e-14)
check.near("trace of some", average(OperatorSetTrace(H, 2.5, {0, 1}), {0, 1}), 2.5, 1e-14)

-- One term of each sort: which of them a mode keeps.
local function keeps(groups, mode)
  local terms = {{"const", {1}}, {"n0", {0, -0, 1}}, {"hop10", {1, -0, 1}}, {"hop32", {3, -2, 1}}, {"pair", {1, 0, 1}}}
  local kept = {}
  for _, t in ipairs(terms) do
    local O = NewOperator(4, 0, {t[2]})
    local P = PartialOperator(O, groups, mode)
    check.ok("all or nothing", P == O or P == O * 0)
    if not (P == O * 0) then kept[#kept + 1] = t[1] end
  end
  return table.concat(kept, " ")
end
local partial = {
  {"include", {0}, "n0 hop10 pair"}, {"include", {{0}, {3}}, "n0 hop10 hop32 pair"},
  {"exclude", {0}, "const hop32"},
  {"conserve", {0, 1}, "const n0 hop10 hop32"}, {"conserve", {{0}, {1}}, "const n0 hop32"},
  {"conserve", {{0, 1}, {2}}, "const n0 hop10"}, {"include", {9, -1, 1}, "hop10 pair"},
}
for _, p in ipairs(partial) do check.equal(p[1] .. " " .. #p[2], keeps(p[2], p[1]), p[3]) end
check.ok("parts sum to the whole", PartialOperator(H, {0, 3}, "include") + PartialOperator(H, {0, 3}, "exclude") == H)

-- OperatorToMatrix. Without a state: what Matrix.ToOperator makes an operator of, and nothing else.
local function near(name, m, expected)
  check.equal(name .. ": rows", #m, #expected)
  for j = 1, #expected do
    for k = 1, #expected do check.near(name, m[j][k], expected[j][k], 1e-13) end
  end
end
local m = {{1, 2 - i, 0}, {i, -3, 0}, {0, 4, 5}}
local M = Matrix.ToOperator(m)
near("one particle", OperatorToMatrix(M + NewOperator(3, 0, {{2, 1, 6}, {2, 1, -1, -0, 3}, {1, 7}, {8}})), m)
-- On states: a single one stands for its determinants.
local psi = NewWavefunction(4, 0, {{"1100", 1}, {"0110", i}, {"0101", -2}})
local dets = {}
for k, d in ipairs({"1100", "0110", "0101"}) do dets[k] = NewWavefunction(4, 0, {{d, 1}}) end
local list = {psi, dets[1] + dets[3]}
near("on determinants", OperatorToMatrix(H + i, psi), Braket(dets, H + i, dets))
near("on functions", OperatorToMatrix(H + i, list), Braket(list, H + i, list))
-- Of a Hermitian operator the matrix is so to the last digit, which the general eigensystem would be taken for otherwise.
local states, C = {}, Complex.New
for k = 1, 6 do
  states[k] = NewWavefunction(4, 0, {{"1100", math.random()}, {"1010", C(math.random(), math.random())}, {"0110", 1 / k}, {"0101", k}})
end
local hop = NewOperator(4, 0, {{0, -1, C(0.3, 0.1)}, {1, -0, C(0.3, -0.1)}, {1, -2, 1 / 3}, {2, -1, 1 / 3 + 1e-16}, {1, 0, -1, -0, 0.7}})
local exact = OperatorToMatrix(hop, states)
near("Hermitian", exact, Braket(states, hop, states))
for _, matrix in ipairs({exact, OperatorToMatrix(hop, states[1])}) do
  for j = 1, #matrix do
    for k = 1, #matrix do check.equal("mirrored", matrix[j][k], Conjugate(matrix[k][j])) end
  end
end
local small = OperatorToMatrix(NewOperator(4, 0, {{0, -1, 1e-20}}), {dets[1], NewWavefunction(4, 0, {{"1010", 1}}), dets[2]})
check.ok("tiny and not Hermitian", small[2][3] ~= 0 and small[3][2] == 0)

-- In a density: the energy of a determinant is exact.
local det = NewWavefunction(4, 0, {{"0111", 1}})
local rho = {{0, 0, 0, 0}, {0, 1, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}}
for _, form in ipairs({rho, Matrix.ToUserdata(rho)}) do
  local energy, mean = 0, OperatorToMatrix(H, form)
  for k = 1, 4 do energy = energy + rho[k][k] * mean[k][k] end
  check.near("energy in the mean field", energy, det * H * det, 1e-13)
end

local own = OperatorToMatrix(H, rho, {{"AddDFTSelfInteraction", true}})
check.ok("self-interaction is an option", own[1][1] ~= OperatorToMatrix(H, rho)[1][1])

-- exp of a number operator, and of a hop, whose square is 1 on one electron.
local n, x = NewOperator(2, 0, {{1, -1, 1}}), NewOperator(2, 0, {{1, -0, 1}, {0, -1, 1}})
local one = NewWavefunction(2, 0, {{"10", 1}})
for _, z in ipairs({1, -2, i, 0.5 + i}) do
  check.ok("number operator", Chop(OperatorExp(n, z) - (1 + (math.exp(z) - 1) * n), 1e-14) == NewOperator(2, 0, {}))
  check.near("hop", one * OperatorExp(x, z) * one, (math.exp(z) + math.exp(-z)) / 2, 1e-14)
end

local expects = "OperatorToMatrix expects either a wave-function, table of functions or a density matrix on position two\n"
local errors = {
  {expects, OperatorToMatrix, H, {det, 1}},
  {"Mean-field operator failed\n", OperatorToMatrix, H, {{1}}},
  {"OperatorToMatrix called with a wave-function and an operator with different number of Fermions (2 and 4)\n", OperatorToMatrix, H, one},
  {"OperatorSetTrace: Index 4 is not within [0,NF-1]=[0,3].\n", OperatorSetTrace, H, 1, {4}},
  {'PartialOperator called with unrecognised mode "Include".\n Mode should be "include", "exclude", or "conserve"\n', PartialOperator, H, {0}, "Include"},
  {"Error, call to OperatorExp failed\n", OperatorExp, NewOperator(3, 0, {{1, -0, 1}})},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end

check.done()
