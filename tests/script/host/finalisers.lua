-- Reading arguments runs no finaliser of the script: one that releases the records of a call in its middle
-- would leave it with nothing.
local check = require("check")
Verbosity(0)
collectgarbage("setpause", 0)
collectgarbage("setstepmul", 100000)

local H = NewOperator(2, 0, {{0, -1, 1}, {1, -0, 1}})
local reading, ran = false, 0
local function arm()
  setmetatable({}, {__gc = function()
    if reading then ran = ran + 1 end
    arm()
  end})
end
arm()
-- A table of options whose numbers are read as texts, and at its end a wrong one, so that nothing else happens.
local function options(key)
  local list = {}
  for i = 1, 3000 do list[i] = {key, i + 0.25} end
  list[#list + 1] = {"unknown", 0}
  return list
end
local psi = NewWavefunction(2, 0, {{"10", 1}})
for key, call in pairs {ShiftScheme = function(o) Eigensystem(H, psi, o) end, file = function(o) CreateSpectra(H, H, psi, o) end} do
  local list = options(key)
  collectgarbage()
  collectgarbage()
  reading = true
  local ok = pcall(call, list)
  reading = false
  check.ok(key .. " refused", not ok)
  check.ok(key .. " read without a collection", ran <= 4, ran .. " finalisers")  -- the calls begin with one
  ran = 0
end
check.done()
