-- Bases of shells, orbital names and indices in scripts: results in table form, and every message.
local check = require("check")

local function same(name, got, expected)
  check.equal(name .. ", length", #got, #expected)
  for i, x in ipairs(expected) do
    if type(x) == "table" then same(name .. " " .. i, got[i], x) else check.near(name .. " " .. i, got[i], x, 1e-15) end
  end
end

local function joined(list) return table.concat(list, " ") end
local noSpin = {{"addSpin", false}}

-- Matrices: a number is l, and spin is there unless it is turned off.
local a = math.sqrt(1 / 2)
same("a list is the sum along the diagonal", YtoKMatrix({0, "2p"}, noSpin),
     {{1, 0, 0, 0}, {0, a, 0, -a}, {0, I * a, 0, I * a}, {0, 0, 1, 0}})

-- The matrix in its use: rotated to cubic harmonics, a cubic crystal field of a d shell is diagonal.
local up, dn = {1, 3, 5, 7, 9}, {0, 2, 4, 6, 8}
local field = NewOperator("CF", 10, up, dn, {{4, 0, 0.6 * 3.5}, {4, 4, 0.6 * 3.5 * math.sqrt(5 / 14)}, {4, -4, 0.6 * 3.5 * math.sqrt(5 / 14)}})
local cubic = Rotate(field, YtoKMatrix("3d"))
for i = 0, 9 do
  for k = 0, 9 do
    local element = (NewWavefunction(10, 0, {{("0"):rep(i) .. "1" .. ("0"):rep(9 - i), 1}})) *
                    (cubic * NewWavefunction(10, 0, {{("0"):rep(k) .. "1" .. ("0"):rep(9 - k), 1}}))
    local eg = i < 4  -- x^2-y^2 and 3z^2-r^2 stand first
    check.near("cubic field " .. i .. " " .. k, element, i ~= k and 0 or eg and 0.6 or -0.4, 1e-14)
  end
end

-- Names.
check.equal("sorted, in both places", joined(Velko.SortByKappa(SortByKappa({"3d", "2p"}))), "3d5/2 2p3/2 2p1/2 3d3/2")
check.equal("multiplicity", OrbToMultiplicity("x_9a") + OrbToMultiplicity("q"), 8)

-- Rotations between lists.
same("order and kind", OrbitalRotationMatrix({"1s", "2p"}, {"2p1/2", "2p3/2", "1s"}),
     (function()
       local m, p = {}, YtojjzMatrix("2p")
       for i = 1, 6 do m[i] = {0, 0, table.unpack(p[i])} end
       m[7], m[8] = {1, 0, 0, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 0, 0, 0, 0}
       return m
     end)())

-- Indices.
local dict, count = CreateAtomicIndicesDict({"1s", "2p3/2", "bath_4a", "x_3a"}, {val = {"bath_4a_Up", "1s"}, none = {}})
check.equal("count", count, 13)
local keys = {}
for key, list in pairs(dict) do keys[#keys + 1] = key .. "=" .. table.concat(list, ",") end
table.sort(keys)
check.equal("dictionary", joined(keys),
            "1s=0,1 1s_Dn=0 1s_Up=1 2p3/2=2,3,4,5 All=0,1,2,3,4,5,6,7,8,9,10,11,12 all=0,1,2,3,4,5,6,7,8,9,10,11,12 " ..
            "bath_4a=6,7,8,9 bath_4a_Dn=6,8 bath_4a_Up=7,9 none= val=7,9,0,1 x_3a=10,11,12")
local list = CreateAtomicIndicesList({"2p1/2", "2p3/2", "q", "1s1/2"}, {{"kappas", true}})
same("list", list, {{0, 1}, {2, 3, 4, 5}, {6, 7}})
check.equal("kappas", joined(list.kappas), "1 -2 -1")

-- Messages.
for _, name in ipairs {"YtoKMatrix", "ZtoKMatrix"} do
  local text = name .. " called with %d arguments. 1 or 2 expected, multiplicity of orbital, or list of multiplicities, " ..
               "or orbital name, or list of orbital names, and an optional list of options.\n"
  check.error(name, text:format(3), _G[name], 1, {}, {})
  check.error(name, "Second argument of " .. name .. " is optional but iff given should be a list of options.\n",
              _G[name], 1, false)
end
local function counted(text, f, ...)
  for _, n in ipairs {...} do check.error(text, text:format(n), f, table.unpack({"3d", "3d", "3d", "3d"}, 1, n)) end
end
counted("YtoJJZMatrix called with %d arguments. Exactly 1 expected, multiplicity of orbital, or list of multiplicities, " ..
        "or orbital name, or list of orbital names.\n", YtojjzMatrix, 0, 2)
counted("RotationMatrix called with %d arguments. Exactly 2 expected, list of old orbitals and list of new orbitals.\n",
        OrbitalRotationMatrix, 0, 1, 3)
local create = "CreateAtomicIndices called with %d arguments. 1 or 2 expected, list of orbitals, and "
counted(create .. "an optional table of groups of orbitals.\n", CreateAtomicIndicesDict, 0, 3)
counted(create .. "an optional list of options.\n", CreateAtomicIndicesList, 0, 3)
for _, f in ipairs {CreateAtomicIndicesDict, CreateAtomicIndicesList} do
  check.error("repeated", "Error: CreateAtomicIndices called with redundant orbitals.", f, {"3d", "1s", "3d"})
end
check.error("options", "Second argument of CreateAtomicIndicesList is optional but iff given should be a list of options.\n",
            CreateAtomicIndicesList, {"3d"}, {"kappas", true})
check.error("group by number", "bad argument #-1 to '?' (string expected, got number)", CreateAtomicIndicesDict, {"3d"}, {{"3d"}})
check.error("rotation", "Could not create rotation matrix.\n", OrbitalRotationMatrix, {"3d"}, {"4d"})

check.done()
