-- DensityMatrix in all forms of its arguments and results.
local check = require("check")
local I = Complex.New(0, 1)

local N = 4
local H = NewOperator(N, 0, {{0, -1, 1}, {1, -0, 1}, {2, -3, 1}, {3, -2, 1}, {1, -2, I}, {2, -1, -I},
  {0, -0, 0.3}, {0, 1, -0, -1, 2}})
local psi = Eigensystem(H, {N, 0, {"1111", 3, 3}}, 2)
local two = {{"Type", "Two Particle"}}

local rho, gamma = DensityMatrix(psi[1]), DensityMatrix(psi[1], two)
check.near("electrons", rho[1][1] + rho[2][2] + rho[3][3] + rho[4][4], 3, 1e-12)

-- Shapes. Values of one form stand for those of all: they come from one routine.
local function same(name, a, b)
  if type(a) ~= "table" then return check.near(name, a, b, 1e-15) end
  check.equal(name .. ", length", #a, #b)
  for k = 1, #a do same(name, a[k], b[k]) end
end
local list = {3, 0}
local full = {{rho[4][4], rho[4][1]}, {rho[1][4], rho[1][1]}}
same("partial", DensityMatrix(psi[1], list), full)
same("nil for all", DensityMatrix(psi[1], nil, two), gamma)
local pairs_, tensor = DensityMatrix(psi, list), DensityMatrix(psi, list, {{"Tensor", true}})
same("pair", pairs_[1][1], full)
same("tensor", tensor, pairs_)
same("elements", DensityMatrix(psi)[1][2][1][2], psi[1] * NewOperator(N, 0, {{0, -1, 1}}) * psi[2])
same("trace", DensityMatrix(psi, list, {{"Trace", true}}), pairs_[1][1] + pairs_[2][2])

local position = "Error: DensityMatrix expects a function or a list of functions on the first position\n"
local count = "Error: DensityMatrix called with %d arguments. The first argument should be a function or a list of functions. The optional next argument is an list of indices, the optional next, i.e. 2nd or 3rd argument is an list of options"
local outside = "DensityMatrix: Index %s is not within [0,NF+NB-1]=[0,3].\n"
local errors = {
  {count:format(0)}, {count:format(4), psi, list, two, 1},
  {position, H}, {position, {}}, {position, {psi[1], 1}},
  {outside:format("4"), psi[1], {0, 4}}, {outside:format("-1"), psi, {-1}, two},
  {outside:format("1e+300"), psi, {1e300}}, {outside:format("nan"), psi, {math.abs(0 / 0)}},
  {"Error: DensityMatrix expects a list of functions on the first position when the option {\"Tensor\",true} is set\n",
    psi[1], {{"Tensor", true}}},
  {"The option Type can be\n: \"One Particle\" for a^dag_i a_j\n: \"Two Particle\" for a^dag_i a^dag_j a_k a_l\n But not Three ",
    psi, {{"Type", "Three"}}},
  {"DensityMatrix called with wave-functions with different number of Fermions (4 and 3)\n",
    {psi[1], NewWavefunction(3, 0, {})}},
}
for _, e in ipairs(errors) do check.error(e[1], e[1], DensityMatrix, table.unpack(e, 2)) end

check.done()
