-- OperatorSetOnsiteEnergy, PartialOperator and OperatorExp.
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
check.near("trace of all", average(OperatorSetTrace(H, 2.5), {0, 1, 2, 3}), 2.5, 1e-14)
check.near("trace of some", average(OperatorSetTrace(H, 2.5, {0, 1}), {0, 1}), 2.5, 1e-14)
check.near("a repeated orbital counts once", average(OperatorSetTrace(H, 2.5, {0, 1, 1}), {0, 1}), 2.5, 1e-14)
check.near("complex trace", average(OperatorSetTrace(H, i, {3}), {3}), i, 1e-14)
check.ok("no orbitals", OperatorSetTrace(H, 1, {}) == H)

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
  {"include", {0}, "n0 hop10 pair"}, {"include", {{0}, {3}}, "n0 hop10 hop32 pair"}, {"include", {}, ""},
  {"exclude", {0}, "const hop32"}, {"exclude", {}, "const n0 hop10 hop32 pair"},
  {"conserve", {0, 1}, "const n0 hop10 hop32"}, {"conserve", {{0}, {1}}, "const n0 hop32"},
  {"conserve", {{0, 1}, {2}}, "const n0 hop10"}, {"include", {9, -1, 1}, "hop10 pair"},
}
for _, p in ipairs(partial) do check.equal(p[1] .. " " .. #p[2], keeps(p[2], p[1]), p[3]) end
check.equal("name is kept", PartialOperator(H, {0}, "include").Name, "H")
check.ok("parts sum to the whole", PartialOperator(H, {0, 3}, "include") + PartialOperator(H, {0, 3}, "exclude") == H)

-- exp of a one-particle operator against its power series on a state.
local h = NewOperator(3, 0, {{0, -0, 0.3}, {1, -0, 0.2 * i}, {0, -1, -0.2 * i}, {2, -1, 0.4}, {1, -2, 0.4}, {0.1}})
local psi = NewWavefunction(3, 0, {{"110", 1}, {"100", 2}, {"000", 1}})
local function series(z)
  local term, sum = psi, psi
  for k = 1, 30 do
    term = h * term * z / k
    sum = sum + term
  end
  return sum
end
for _, z in ipairs({1, -2, i, 0.5 + i}) do
  local difference = OperatorExp(h, z) * psi - series(z)
  check.near("exponential", difference * difference, 0, 1e-26)
end
check.near("math.exp is the same", psi * (math.exp(h) * psi), psi * (OperatorExp(h) * psi), 1e-14)

local errors = {
  {"OperatorSetTrace called with 0 arguments. One, two or three expected, Operator, trace, and indices to be included.\n", OperatorSetTrace},
  {"OperatorSetTrace called with 4 arguments. One, two or three expected, Operator, trace, and indices to be included.\n", OperatorSetOnsiteEnergy, H, 1, {}, 1},
  {"OperatorSetTrace: Index 4 is not within [0,NF-1]=[0,3].\n", OperatorSetTrace, H, 1, {4}},
  {"OperatorSetTrace: Index -1 is not within [0,NF-1]=[0,3].\n", OperatorSetTrace, H, 1, {-1}},
  {"OperatorSetTrace called with a trace that is not a number\n", OperatorSetTrace, H, 0 / 0},
  {"PartialOperator called with 2 arguments. Operator, List of (list of) Indices and mode expected.\n", PartialOperator, H, {0}},
  {'PartialOperator called with unrecognised mode "Include".\n Mode should be "include", "exclude", or "conserve"\n', PartialOperator, H, {0}, "Include"},
  {"Error, call to OperatorExp with 0 arguments, expected 1 or 2\n", OperatorExp},
  {"Error, call to OperatorExp with 3 arguments, expected 1 or 2\n", OperatorExp, h, 1, 1},
  {"Error, call to OperatorExp with 2 arguments, first should be an operator, second is an optional real or complex number. Type found at position two is table\n", OperatorExp, h, {}},
  {"Error, call to OperatorExp failed\n", OperatorExp, H},
  {"Error, call to OperatorExp failed\n", OperatorExp, NewOperator(3, 0, {{1, -0, 1}})},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end
for _, f in ipairs({OperatorSetTrace, PartialOperator, OperatorExp}) do
  check.ok("wrong types", not pcall(f, 1, {}, "include") and not pcall(f, {}) and not pcall(f, nil, nil, nil))
end

check.done()
