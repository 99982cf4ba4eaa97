-- Physical constants and energy units.
local check = require("check")
local P = PhysicalConstants

-- Relations between the constants hold within their published uncertainties (some 1e-8).
for name, pair in pairs {
  ["c^2 epsilon0 mu0"] = {P.c.value ^ 2 * P.epsilon0.value * P.mu0.value, 1},
  ["alpha"] = {P.e.value ^ 2 / (4 * Pi * P.epsilon0.value * P.hbar.value * P.c.value), P.alpha.value},
  ["a0"] = {P.hbar.value / (P.me.value * P.c.value * P.alpha.value), P.a0.value}
} do
  check.near(name, pair[1] / pair[2], 1, 1e-7)
end

check.equal("entry", tostring(P.c),
  "-- speed of light in vacuum in meter per second\n 2.997924580000000E+08 --[[ m s^-1 ]]--")
check.error("absent", "PhysicalConstants does not have the element: foo", getmetatable(P).__index, P, "foo")

-- Energy units start in electron volt.
check.near("Hartree", EnergyUnits.Ha.value, 27.21138602, 1e-8)

local old, listing = EnergyUnits, tostring(EnergyUnits)
EnergyUnits.Set = "Hartree"
check.equal("Ha", EnergyUnits.Ha.value, 1)
check.equal("units", EnergyUnits.eV.units, "Ha")
check.near("old table keeps its numbers", old.Ha.value, 27.21138602, 1e-8)
local lines = {}
for line in listing:gmatch("[^\n]+") do lines[#lines + 1] = line end
check.equal("listing", #lines .. lines[1], "13Conversion table between energy units")
check.equal("a row", lines[6]:sub(1, 59), "Ha    4.35974464991E-18 2.00000000000E+00 1.00000000000E+00")

local meta = getmetatable(EnergyUnits)
check.error("no new entries", "You can change the standard Units in EnergyUnits by EnergyUnits.Set, no other " ..
  "options are available: foo", meta.__newindex, EnergyUnits, "foo", 1)
check.error("unknown standard", "EnergyUnits tried to set standard unit: foo, but this unit does not excist",
  meta.__newindex, EnergyUnits, "Set", "foo")
check.done()
