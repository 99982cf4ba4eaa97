-- Reading and writing the elements of a matrix, through rows, lists of rows and columns, and Elem.
local check = require("check")
local C = Complex.New
local function matrix() return Matrix.New({{11, 12, 13}, {21, 22, 23}}) end
local m = matrix()

for _, row in ipairs {{2, 3, 23}, {-1, -1, 23}, {-2, 2, 12}} do
  check.equal("element", m[row[1]][row[2]], row[3])
  check.equal("Elem", m.Elem(row[1], row[2]), row[3])
end
check.equal("dimensions", m.Ni * 1000 + m.Ncolumn * 100 + m.Dim[1] * 10 + m.dim[2], 2323)

-- Lists
check.equal("columns of a row", table.concat(m[1][{3, 1}], " "), "13 11")
check.equal("a column of rows", table.concat(m[{2, 1, -1}][2], " "), "22 12 22")
local sub = m[{2, 1}][{3, -3}]
check.ok("submatrix", getmetatable(sub) == MatrixMeta and sub == Matrix.ToTable {{23, 21}, {13, 11}})
check.equal("no rows", #m[{}][1], 0)

-- A row view holds no data, and keeps its matrix alive.
local view = matrix()[2]
collectgarbage()
check.equal("alive", view[1], 21)
view[1] = 5
check.equal("written through", view.__Matrix[2][1], 5)

-- A view is the list of its elements for ipairs, and for all that reads lists; a view of rows is a list of rows.
m[2] = {C(0, 2), 22, 23}
local sum = 0
for i, row in ipairs(m) do for j, x in ipairs(row) do sum = sum + (3 * i + j) * x end end
check.near("ipairs", sum, 4 * 11 + 5 * 12 + 6 * 13 + 7 * C(0, 2) + 8 * 22 + 9 * 23, 0)
check.ok("matrix of views", Matrix.ToUserdata({m[2], m[-2]}) == Matrix.New({{C(0, 2), 22, 23}, {11, 12, 13}}))
m = matrix()

-- Writing
m[1] = {1, 2, 3}
m[-1][2] = 9
check.ok("rows and elements", m == Matrix.New {{1, 2, 3}, {21, 9, 23}})
m[{2, 1}][{3, 1}] = {{-6, -4}, {-3, -1}}
check.ok("blocks", m == Matrix.New {{-1, 2, -3}, {-4, 9, -6}})
m[1] = {I, 0, C(1, 0)}

m[2] = m[1]
check.ok("a row by a view", m == Matrix.New {{I, 0, 1}, {I, 0, 1}})
m[1][{1, 2, 3}] = matrix()[2]
m[{2, 1}][{1, 2, 3}] = m[{1, 2}]
check.ok("rows by views", m == Matrix.New {{I, 0, 1}, {21, 22, 23}})

-- Failed writes leave the matrix alone.
local before = Copy(m)
local value = "Error trying to set matrix element %d,%d to a value of unknown type\n"
local zero = "Error: Matrix indexed with zero. Indices must be in the range [-N%s(%d), ..., -1,1,...,N%s] in the matrix\n"
local outside = "Error: Matrix index out of range (%d). Indices must be in the range [-Ncol(3), ..., -1,1,...,Ncol] in the matrix\n"
local larger = "Error: Matrix indexed with number %d. Indices can not be larger than the number of rows (2) in the matrix\n"
local smaller = "Error: Matrix indexed with number %d. Indices can not be smaller than minus the number of rows (2) in the matrix\n"
local unrecognised = "Error: Matrix indexed with unrecognised type!"
local nan, inf = 0 / 0, math.huge
local function get(i, j) return function() local row = m[i] return j and row[j] end end
local function set(i, j, x) return function() m[i][j] = x end end
local function set_row(i, x) return function() m[i] = x end end
local errors = {
  {zero:format("row", 2, "row"), get(nan)}, {larger:format(2147483647), get(inf)}, {smaller:format(-3), get(-3)},
  {zero:format("col", 3, "col"), set(1, {1, 0}, {1, 2})}, {outside:format(-4), get(1, {1, -4})}, {outside:format(4), set(1, 4, 1)},
  {unrecognised, get(1, print)},
  {"Error: Matrix indexed with unrecognised string size", get("size")},
  {"Error: Matrix you try to set row 1 equal to a table of length 2 whereas the matrix has 3 columns\n", set_row(1, {1, 2})},
  {value:format(1, 1), set(1, {2, 1}, {5, {}})},
  {"Error: Matrix indexed with a table of length (1) and a table of length (2). You try to set this to be equal to a table of length (1)", set({1}, {1, 2}, {{1}})},
  {"Error in Matrix.Elem: Index j=-4 lies outside of range +-[1,3].", function() m.Elem(1, -4) end}
}
for _, e in ipairs(errors) do
  local ok, message = pcall(e[2])
  check.ok("an error was expected: " .. e[1], not ok)
  check.equal("message", tostring(message):gsub("^[^ ]*indexing.lua:%d+: ", "", 1), e[1])
end
check.ok("unchanged", m == before)

-- The fields of a view belong to the script; they are checked again.
local broken = m[1]
broken.__Row = 7
check.ok("row of a view", not pcall(function() return broken[1] end))
check.ok("no view", not pcall(function() return setmetatable({}, MatrixRowMeta)[1] end))
check.done()
