-- Statistics of operators and states, and tables written for other programs.
local check = require("check")

check.error("a number", "Error Statistics expects a wave-function or operator as first imput\n", Statistics, 3)

local operator = NewOperator(4, 0, {{0, -1, 2}, {1, -0, 3 * I}, {7}}, {{"Name", "statistics"}})
local state = NewWavefunction(4, 0, {{"1100", 1}, {"0011", 1e-3}, {"1010", 0}, {"0101", 1e-12}})
local before = tostring(operator) .. tostring(state)
Statistics(operator)
Statistics(state)
Statistics(NewWavefunction(4, 0, {{"1100", 0}}))
check.equal("nothing changed", tostring(operator) .. tostring(state), before)

local path = os.tmpname()
local function exported(data)
  Kestor.Export(data, path)
  local file = assert(io.open(path))
  local text = file:read("*a")
  file:close()
  return text
end
check.equal("rows", exported({{1, 2}, {3, 4}}), "1.000000E+00\t2.000000E+00\n3.000000E+00\t4.000000E+00\n")
os.remove(path)
check.ok("no such folder", not pcall(Kestor.Export, {1}, "/no/such/folder/file"))
check.done()
