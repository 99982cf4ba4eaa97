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
local YK = "YtoKMatrix called with %d arguments. 1 or 2 expected, multiplicity of orbital, or list of multiplicities, " ..
           "or orbital name, or list of orbital names, and an optional list of options.\n"
check.error("count", YK:format(3), YtoKMatrix, 1, {}, {})
for _, f in ipairs {CreateAtomicIndicesDict, CreateAtomicIndicesList} do
  check.error("repeated", "Error: CreateAtomicIndices called with redundant orbitals.", f, {"3d", "1s", "3d"})
end
check.error("rotation", "Could not create rotation matrix.\n", OrbitalRotationMatrix, {"3d"}, {"4d"})

check.done()
