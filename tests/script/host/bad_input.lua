-- No argument may crash the program: every function of the system with what no function expects.
local check = require("check")
local cyclic = {}
cyclic[1], cyclic.x = cyclic, cyclic
local long = {}
for i = 1, 300 do long[i] = i end
local values = {
  false, 0, 1, -1, 0.5, 1e300, -1e300, 0 / 0, inf, "", "x", "7", I, {}, {0}, {{}}, {{1}}, {{1, 2}, {3}}, {{"a", 1}},
  {{"Name", {}}}, {x = 1}, cyclic, long, print, io.stdout, coroutine.create(print)
}
-- One of each record
values[#values + 1] = NewOperator(3, 0, {{0, -1, 1}, {1, -0, 1}, {1, 2, -1, -2, 3}})
values[#values + 1] = NewOperator(1, 1, {{1, -1, 1}})
values[#values + 1] = NewWavefunction(3, 0, {{"110", 0.6}, {"101", Complex.New(0, 0.8)}})
values[#values + 1] = Spectra.FromTable({{{0, 1}, {1, Complex.New(2, -4)}, {2, 0}, ["Name"] = "a"}})
values[#values + 1] = Matrix.New({{0, I}, {2, 1e300}})
values[0] = nil

local stock = {}
for name in ("assert collectgarbage dofile error getmetatable ipairs load loadfile loadstring module next pairs " ..
  "pcall print rawequal rawget rawlen rawset require select setmetatable tonumber tostring type unpack xpcall"):gmatch("%S+") do
  stock[name] = true
end
local functions, collected = {}, {}
local function collect(prefix, t)
  for name, value in pairs(t) do
    if type(value) == "function" and not stock[name] and not collected[value] then
      functions[#functions + 1] = {prefix .. name, value}
      collected[value] = true
    end
  end
end
collect("", _G)
for _, name in ipairs {"Complex", "Spectra", "Ob", "Matrix", "MatrixMeta", "MatrixRowMeta", "Velko"} do collect(name .. ".", _G[name] or {}) end
for _, record in ipairs {PhysicalConstants, EnergyUnits, PhysicalConstants.c} do
  collect("metamethod ", getmetatable(record))
end
for _, value in ipairs(values) do
  if type(value) == "userdata" and value ~= io.stdout then
    collect("metamethod ", getmetatable(value))
  end
end
-- By name, so that a fault shows in the same call each time; finalisers last, because they empty the records.
local function rank(entry) return (entry[1]:find("__gc") and "2" or "1") .. entry[1] end
table.sort(functions, function(a, b) return rank(a) < rank(b) end)
functions[#functions + 1] = {"io.get", io.get}
-- Beside a file and not in a folder, so that nothing is written.
local beside = os.tmpname()
functions[#functions + 1] = {"io.put", function(path, ...)
  if type(path) == "string" or type(path) == "number" then path = beside .. "/" .. path end
  return io.put(path, ...)
end}
check.ok("functions", #functions > 40)

-- Only Lua's own values and ours come back, or an error with a text.
local calls = 0
local function try(name, f, ...)
  local ok, message = pcall(f, ...)
  calls = calls + 1
  if not ok then check.ok(name, type(message) == "string" and #message > 0, "error without a text") end
end

local standard = EnergyUnits
for n, entry in ipairs(functions) do
  local name, f = entry[1], entry[2]
  try(name, f)
  for i = 0, #values do
    try(name, f, values[i])
    try(name, f, I, values[i])
    for j = 0, #values do
      if (i + j + n) % 2 == 0 then try(name, f, values[i], values[j]) end  -- half of the pairs, others for the next
      if (i + j) % 3 == 0 then
        try(name, f, values[i], values[j], values[(i + 3 * j) % (#values + 1)], values[(5 * i + j) % (#values + 1)])
      end
    end
  end
  -- What a call may have written to
  I.re, I.im = 0, 1
  for i = 1, 300 do long[i] = i end
end
EnergyUnits = standard
for _ = 1, 10 do collectgarbage() end
Verbosity(15)
print(calls .. " calls")
os.remove(beside)
check.done()
