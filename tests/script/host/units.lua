-- Physical constants and energy units.
local check = require("check")
local P = PhysicalConstants

local count = 0
for name, entry in pairs(P) do
  count = count + 1
  check.ok(name, type(entry.value) == "number" and type(entry.units) == "string" and #entry.description > 5)
end
check.equal("number of constants", count, 50)

-- Relations between the constants hold within their published uncertainties (some 1e-8).
for name, pair in pairs {
  ["c^2 epsilon0 mu0"] = {P.c.value ^ 2 * P.epsilon0.value * P.mu0.value, 1},
  ["hbar"] = {P.h.value / (2 * Pi), P.hbar.value},
  ["alpha"] = {P.e.value ^ 2 / (4 * Pi * P.epsilon0.value * P.hbar.value * P.c.value), P.alpha.value},
  ["a0"] = {P.hbar.value / (P.me.value * P.c.value * P.alpha.value), P.a0.value},
  ["muB"] = {P.e.value * P.hbar.value / (2 * P.me.value), P.muB.value},
  ["R"] = {P.kB.value * P.NA.value, P.R.value},
  ["F"] = {P.e.value * P.NA.value, P.F.value},
  ["RK"] = {P.h.value / P.e.value ^ 2, P.RK.value},
  ["KJ"] = {2 * P.e.value / P.h.value, P.KJ.value},
  ["re"] = {P.alpha.value ^ 2 * P.a0.value, P.re.value},
  ["lambdaCe"] = {P.h.value / (P.me.value * P.c.value), P.lambdaCe.value}
} do
  check.near(name, pair[1] / pair[2], 1, 1e-7)
end

check.equal("entry", tostring(P.c),
  "-- speed of light in vacuum in meter per second\n 2.997924580000000E+08 --[[ m s^-1 ]]--")
check.ok("listing", tostring(P):find("PhysicalConstants:\n\n-- alpha particle mass in kilogram\n" ..
  "malpha  =  6.644657230000000E-27  --[[ kg ]]--\n\n-- Deuteron g factor\n", 1, true) == 1)
check.error("absent", "PhysicalConstants does not have the element: foo", getmetatable(P).__index, P, "foo")

-- Energy units start in electron volt.
check.near("Hartree", EnergyUnits.Ha.value, 27.21138602, 1e-8)
check.near("wave number", EnergyUnits["cm^-1"].value, 1 / 8065.544005, 1e-12)
check.near("Kelvin", EnergyUnits.K.value, 8.6173303e-5, 1e-12)
check.equal("description", EnergyUnits.Hartree.description, "Hartree energy (2 Rydberg) in units of electron Volt")
check.equal("entry text", tostring(EnergyUnits.eV), "-- " .. EnergyUnits.eV.description ..
  "\n 1.000000000000000E+00 --[[ eV ]]--")

local old, listing = EnergyUnits, tostring(EnergyUnits)
for _, name in ipairs {"Hartree", "Ha"} do
  EnergyUnits.Set = name
  check.equal("Ha", EnergyUnits.Ha.value, 1)
  check.equal("units", EnergyUnits.eV.units, "Ha")
end
check.near("old table keeps its numbers", old.Ha.value, 27.21138602, 1e-8)
check.equal("listing does not change", tostring(EnergyUnits), listing)
local lines = {}
for line in listing:gmatch("[^\n]+") do lines[#lines + 1] = line end
check.equal("listing", #lines .. lines[1], "13Conversion table between energy units")
check.equal("short names", lines[3]:sub(1, 44), "      J                 Ryd               Ha")
check.equal("a row", lines[6]:sub(1, 59), "Ha    4.35974464991E-18 2.00000000000E+00 1.00000000000E+00")

local meta = getmetatable(EnergyUnits)
check.error("absent unit", "EnergyUnits does not have the element: foo", meta.__index, EnergyUnits, "foo")
check.error("no new entries", "You can change the standard Units in EnergyUnits by EnergyUnits.Set, no other " ..
  "options are available: foo", meta.__newindex, EnergyUnits, "foo", 1)
check.error("unknown standard", "EnergyUnits tried to set standard unit: foo, but this unit does not excist",
  meta.__newindex, EnergyUnits, "Set", "foo")
check.done()
