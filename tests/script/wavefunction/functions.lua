-- DeterminantString, Expand, ExpandToBasis, TensorProduct and Orthonormalize.
local check = require("check")
local i = Complex.New(0, 1)

-- --- DeterminantString
local texts = {{"1101", 4, {0, 1}, {1, 3}}, {"0000", 4, {}}, {"010", 3, {1, 7, -2, 7}}}
for _, t in ipairs(texts) do check.equal(t[1], DeterminantString(table.unpack(t, 2)), t[1]) end

-- --- Expand: parts by occupation, the first listed orbital is the highest binary digit
local psi = NewWavefunction(3, 0, {{"110", 1}, {"011", 2 * i}, {"001", 3}, {"100", 4}}, {{"Name", "psi"}})
local parts = Expand(psi, {0, 2})
check.equal("number of parts", #parts, 4)
check.ok("01", parts[2] == NewWavefunction(3, 0, {{"011", 2 * i}, {"001", 3}}))
check.ok("10", parts[3] == NewWavefunction(3, 0, {{"110", 1}, {"100", 4}}))
local release = {__len = function() getmetatable(psi).__gc(psi) return 2 end}
check.equal("a length that would release the state", #Expand(psi, setmetatable({0, 2}, release)), 4)

-- --- ExpandToBasis
local elements = ExpandToBasis(psi)
check.equal("one for each element", #elements, 4)
for k = 1, 4 do check.ok("element", elements[k] == psi.Det(k) and elements[k].Complex) end

-- --- TensorProduct
local a = NewWavefunction(3, 0, {{"110", 2}, {"001", i}})
local b = NewWavefunction(2, 0, {{"10", 1}, {"01", 3}})
check.ok("a x b", TensorProduct(a, b) ==
  NewWavefunction(5, 0, {{"11010", 2}, {"11001", 6}, {"00110", i}, {"00101", 3 * i}}))
-- Keys that cross the borders of bytes and words.
for _, n in ipairs({7, 63, 64, 65}) do
  local left = NewWavefunction(n, 0, {{("1"):rep(n - 1) .. "0", 1}})
  local right = NewWavefunction(70, 0, {{"01" .. ("0"):rep(67) .. "1", 1}})
  check.ok("joined at " .. n, TensorProduct(left, right) ==
    NewWavefunction(n + 70, 0, {{("1"):rep(n - 1) .. "001" .. ("0"):rep(67) .. "1", 1}}))
end
local pairs_ = TensorProduct({a, b}, {b, a, b})
check.ok("lists", #pairs_ == 2 and #pairs_[1] == 3 and pairs_[2][1] == TensorProduct(b, b))

-- --- Orthonormalize
local f = {NewWavefunction(3, 0, {{"100", 1}, {"010", 0.5}}), NewWavefunction(3, 0, {{"100", 1}, {"001", i}}),
  NewWavefunction(3, 0, {{"010", 2}})}
local dependent = {f[1], f[2], f[1] + 2 * f[2], f[3], f[3]}
for _, method in ipairs({"Lowdin", "GramSchmidt"}) do
  for name, list in pairs({independent = f, dependent = dependent}) do
    local q = Orthonormalize(list, {{"Method", method}})
    local case = method .. " of " .. name
    check.equal(case .. ": dimension", #q, 3)
    for k = 1, #q do
      for l = 1, #q do check.near(case .. ": overlap", q[k] * q[l], k == l and 1 or 0, 1e-14) end
    end
    for _, g in ipairs(list) do  -- the same space: projecting g on it changes nothing
      local rest = g
      for k = 1, #q do rest = rest - (q[k] * g) * q[k] end
      check.near(case .. ": span", rest * rest, 0, 1e-26)
    end
  end
  local kept = Orthonormalize(dependent, {{"Method", method}, {"ReduceDimension", false}})
  check.equal(method .. ": all kept", #kept, 5)
  check.equal(method .. ": norm of a dropped one", kept[5] * kept[5], 0)
  check.equal(method .. ": huge dependent functions", #Orthonormalize({f[1] * 1e12, f[2] * 2e12, f[1] * 3e12}, {{"Method", method}}), 2)
end
check.equal("rounding is no direction", #Orthonormalize({f[1], f[1]}, {{"Method", "GramSchmidt"}, {"SingularValue", -1}}), 1)
-- Löwdin treats two functions alike, Gram-Schmidt keeps the first.
local x, y = NewWavefunction(2, 0, {{"10", 1}}), NewWavefunction(2, 0, {{"10", 0.6}, {"01", 0.8}})
local q = Orthonormalize({x, y})
check.near("symmetric", x * q[1], y * q[2], 1e-14)
check.ok("first stays", Orthonormalize({2 * x, y}, {{"Method", "GramSchmidt"}})[1] == x)
check.equal("threshold", #Orthonormalize({x, y}, {{"SingularValue", 0.5}}), 1)  -- eigenvalues 1 +- 0.6

local first = "First argument of Orthogonalize should either be a table of wave-functions or a rectangular matrix (table of tables of equal lenght).\n"
local bosons = NewWavefunction(3, 0, {})
pcall(getmetatable(bosons).__newindex, bosons, "NB", 1)
local big = NewWavefunction(40000, 0, {})
local errors = {
  {"DeterminantString called with -1 Fermions, 0 to 65535 expected.\n", DeterminantString, -1, {}},
  {"Error in Expand(psi,index). Index 3 is not within [0,NF-1]=[0,2].\n", Expand, psi, {0, 3}},
  {"Error in Expand(psi,index). Expanding a wavefunction in determinants yields 2^N new functions for N=21 this would not fit in your memory\n",
    Expand, psi, {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}},
  {"One of the Wavefunctions contains bosonic states, this is not yet implemented.", TensorProduct, a, bosons},
  {"Error: TensorProduct called with unknown or unimplemented type.", TensorProduct, {a}, {1}},
  {"Error: TensorProduct has 80000 Fermions, at most 65535 are allowed\n", TensorProduct, big, big},
  {first, Orthonormalize, psi}, {first, Orthonormalize, {psi, 1}}, {first, Orthonormalize, {{1, 0}, {0}}},
  {'Error Orthogonalize Option "Method" should either be "Lowdin" (standard) or "GramSchmidt" and not"lowdin"\n', Orthonormalize, {psi}, {{"Method", "lowdin"}}},
  {"Orthogonalize called with wave-functions with different number of Fermions (3 and 2)\n", Orthonormalize, {psi, b}},
  {'Error Orthogonalize Option "SingularValue" should be a number and not nan\n', Orthonormalize, {psi}, {{"SingularValue", 0 / 0}}},
  {"Failure in Orthogonalize Sorry\n", Orthonormalize, {psi * 1e200, psi}},
  {"Failure in Orthogonalize Sorry\n", Orthonormalize, {math.huge * psi}, {{"Method", "GramSchmidt"}}},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], table.unpack(e, 2)) end

check.done()
