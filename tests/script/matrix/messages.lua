-- Texts that matrix functions raise.
local check = require("check")
Verbosity(0)
local nan, inf = 0 / 0, math.huge
local square, flat, defective = {{1, 2}, {3, 4}}, {{1, 2}}, {{1, 2}, {2, 4}}
local userdata = Matrix.New(flat)
local U = getmetatable(Matrix.ToTable(square))

local function form(name) return name .. " called with %d arguments, 1 or 2 arguments expected\n" end
local inversion = "Matrix inversion only works for square matrices dimensions are (1 2)\n"
local singular = "Matrix inversion failed, probably the matrix is singular\n"
local pairs_expected = "Error, Submatrix expected input (M, {r0, rn}, {c0, cn})."
local multiply = "Matrix multiplication requirs the number of columns of the left matrix (%d) to be equal to the number of rows (%d) of the right matrix\n"
local errors = {
  {"Error NewMatrix expect as input a table", Matrix.New, 1},
  {"Error while reading matrix. Dimensions of rows not constant. 2 at first row 1 at row 2", Matrix.New, {{1, 2}, {3}}},
  {form("Matrix Identity"):format(0), Matrix.Identity}, {form("Matrix Zero"):format(3), Matrix.Zero, 1, {}, 3},
  {"Matrix Identity called with size -1, expected a number of at least 0\n", Matrix.Identity, -1},
  {"Matrix Inverse only works on square matrices\n", Matrix.Inverse, flat}, {singular, Inverse, defective},
  {"Matrix Exp failed (probably singular needs aditional algorithm to be implemented)\n", Matrix.Exp, {{nan}}},
  {"Matrix sqrt only works on Hermitian matrices\n", Matrix.Sqrt, square}, {"Matrix Sqrt failed\n", Matrix.Sqrt, {{-1}}},
  {"Matrix.Rotate needs the first matrix to be of the same dimension (2) as the number of Columns in the second matrix (1)", Rotate, square,
    {{1}, {2}}},
  {"Error in Submatrix\n", Matrix.Sub, square, {-1e300, inf}, {1, 1}},
  {pairs_expected, Matrix.Sub, square, {1, 1}, 2}, {pairs_expected, Matrix.Sub, square, {1}, {1, 1}},
  {"MatrixFlatten called with entry 3. Matrix or 0 expected.\n", Matrix.Flatten, {{square, 0}, {1}}},
  {"Error: LuaRemoveSpin called with a matrix of dimension 1 times 2. Number of rows and columns must each be even.", Velko.RemoveSpin, flat},
  {"MatrixToOperator called with a matrix of dimension 1 times 2. Number of rows and columns must be equal.", Matrix.ToOperator, userdata},
  {"bad argument #1 to '?' (table expected, got userdata)", Dot, userdata, square}, {multiply:format(2, 1), Dot, square, flat},
  {"Error: dimensions of matrix A (1 2) and B (2 2) in A-B not equivalent\n", U.__sub, userdata, square},
  {"Unrecognized type (userdata) at position two of multiplication \n", U.__mul, userdata, NewOperator(1, 0, {})},
  {inversion, U.__div, 1, flat}, {singular, U.__div, square, Matrix.New(defective)}, {multiply:format(2, 1), U.__div, square, {{1}}},
  {"Matrix power only works on integers\n", U.__pow, userdata, 0.5}, {"Matrix power only works on integers\n", U.__pow, square, inf},
  {"Failure in Orthogonalize Sorry\n", Orthonormalize, {{nan}}},
  {"not enough memory", Matrix.Zero, 1e300}, {"not enough memory", Matrix.Identity, 4e9}, {"not enough memory", Matrix.Random, {0, I}, {1e10, 1e10}},
  {"not enough memory", Matrix.Expand, square, inf}, {"not enough memory", Matrix.Enlarge, square, 2e9}
}
for _, e in ipairs(errors) do check.error(e[1], e[1], e[2], table.unpack(e, 3, e.n or #e)) end

-- A released matrix is a clear error.
local gone = Matrix.New(square)
getmetatable(gone).__gc(gone)
check.error("released", "bad argument #1 to '?' (table expected, got userdata)", Matrix.Transpose, gone)
check.error("released", "bad argument #1 to '?' (object has been released)", getmetatable(gone).__len, gone)
check.done()
