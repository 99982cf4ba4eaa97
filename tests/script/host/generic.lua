-- Functions on any value: Copy, Chop, Conjugate, Transpose, ConjugateTranspose; warnings; verbosity.
local check = require("check")
local C = Complex.New
local cyclic = {}
cyclic[1] = cyclic

-- Copy
local tag = {}
local source = setmetatable({1, "a", {true, I}, x = {y = 2}}, tag)
local copy = Copy(source)
check.ok("another table", copy ~= source and copy[3] ~= source[3] and copy.x ~= source.x)
check.ok("nested", getmetatable(copy) == tag and copy.x.y == 2)
copy[3][2].re = 7
check.equal("complex values are copied", I.re, 0)

-- Chop: the asymmetry at the threshold is meant.
for value, chopped in pairs {[1e-10] = 1e-10, [-1e-20] = 0, [2.220446049250313e-15] = 2.220446049250313e-15} do
  check.equal("Chop", Chop(value), chopped)
end
check.equal("threshold", Chop(1e-10, 1e-9), 0)
check.equal("equal to the threshold", Chop(0.5, 0.5), 0.5)
check.equal("complex becomes a number", Chop(C(2, 1e-20)), 2)
local chopped = Chop(setmetatable({1, 1e-20, x = {0.1}}, tag), 0.2)
check.equal("chopped", chopped[2] + chopped.x[1], 0)
check.equal("chopped metatable", getmetatable(chopped), tag)
check.equal("pairs inside are data", Chop({{"a", 1e-20}})[1][2], 0)

-- Conjugation and transposition
local m = setmetatable({{1, C(2, 1), 3}, {4, 5, 6}}, tag)
local mt, mh = Transpose(m), ConjugateTranspose(m)
for i = 1, 2 do
  for j = 1, 3 do
    check.near("element", mt[j][i], m[i][j], 0)
    check.near("element", mh[j][i], Conjugate(m[i][j]), 0)
  end
end
check.equal("blocks are transposed too", Transpose({{{{1, 2}}}})[1][1][2][1], 2)

-- What is no value, what contains itself, and what grows without end where it is not shared
local doubled = {1}
for _ = 1, 100 do doubled = {doubled, doubled} end
check.error("shared", "Error: tables shared inside of a table come to more than 4000000 values\n", Copy, doubled)
local unknown = {
  [Copy] = "Error: copying or cloning an object of unrecognised type\n",
  [Chop] = "Error: Chop an object of unrecognised type\n",
  [Conjugate] = "Error: complex conjugate an object of unrecognised type\n",
  [Transpose] = "Error: transpose of an object of unrecognised type\n",
  [ConjugateTranspose] = "Error: conjugate transpose an object of unrecognised type\n"
}
for f, text in pairs(unknown) do
  check.error("function in a table", text, f, {{print}})
  local other = f == ConjugateTranspose and "Error: conjugate transpose of an object of unrecognised type\n" or text
  check.error("other userdata", other, f, io.stdout)
  check.error("cycle", "Error: table nested deeper than 200 levels, or containing itself\n", f, cyclic)
end

-- Warnings are printed with their place, and the script goes on.
warning("a warning of this test")

-- Masks
check.equal("no result", select("#", Verbosity(15)) + select("#", TimeSet(15.2)) + select("#", TimePrint()), 0)
check.done()
