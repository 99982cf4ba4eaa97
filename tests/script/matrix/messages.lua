-- Every text that matrix functions raise, and odd arguments to all of them.
local check = require("check")
Verbosity(0)
local nan, inf = 0 / 0, math.huge
local square, flat, defective = {{1, 2}, {3, 4}}, {{1, 2}}, {{1, 2}, {2, 4}}
local userdata = Matrix.New(flat)
local U = getmetatable(Matrix.ToTable(square))

local function form(name) return name .. " called with %d arguments, 1 or 2 arguments expected\n" end
local inversion = "Matrix inversion only works for square matrices dimensions are (1 2)\n"
local singular = "Matrix inversion failed, probably the matrix is singular\n"
local sub = "Submatrix called with %d arguments. Expected either 2 (matrix and size of submatrix, or alternatively matrix and list of " ..
  "indices), 3 (matrix, number of rows and number of columns, or alternatively matrix, {first row, last row} and {first column, last " ..
  "column}) or 5 (matrix, first row, last row, first column and last column)\n"
local expand = "MatrixExpand called with %d arguments. 2 or 3 expected, a matrix, the new matrix size, and possibly a value for the entries " ..
  "on the new diagonal.\n"
local pairs_expected = "Error, Submatrix expected input (M, {r0, rn}, {c0, cn})."
local multiply = "Matrix multiplication requirs the number of columns of the left matrix (%d) to be equal to the number of rows (%d) of the right matrix\n"
local errors = {
  {"Error NewMatrix expect as input a table", Matrix.New, 1},
  {"bad argument #-1 to '?' (table expected, got number)", Matrix.New, {1, 2}},
  {"Error in reading complex table in luaL_checkarray_complex16\n", Matrix.New, {{1, "x"}}},
  {"Error while reading matrix. Dimensions of rows not constant. 2 at first row 1 at row 2", Matrix.New, {{1, 2}, {3}}},
  {form("Matrix Identity"):format(0), Matrix.Identity}, {form("Matrix Zero"):format(3), Matrix.Zero, 1, {}, 3},
  {"Matrix Identity called with size -1, expected a number of at least 0\n", Matrix.Identity, -1},
  {"Matrix Zero called with size nan, expected a number of at least 0\n", Matrix.Zero, math.abs(nan)},
  {"Matrix Random called with 1 arguments, 2 or 3 arguments expected\n", Matrix.Random, {0, 1}},
  {"Matrix Random called with table of length 1 at posittion 1, expected {min,max}\n", Matrix.Random, {0}, {1, 1}},
  {"Matrix Random called with table of length 3 at posittion 2, expected {Ni,Nj}\n", Matrix.Random, {0, 1}, {1, 1, 1}},
  {"Matrix.Inverse called with 2 arguments, only one expected", Inverse, square, 1},
  {"Matrix Inverse only works on square matrices\n", Matrix.Inverse, flat}, {singular, Inverse, defective},
  {"Matrix.Exp called with 0 arguments, only one expected", Matrix.Exp}, {"Matrix Exp only works on square matrices\n", Matrix.Exp, userdata},
  {"Matrix Exp failed (should not happen for Hermitian matrices)\n", Matrix.Exp, {{inf}}},
  {"Matrix Exp failed (probably singular needs aditional algorithm to be implemented)\n", Matrix.Exp, {{nan}}},
  {"Matrix.Sqrt called with 2 arguments, only one expected", Matrix.Sqrt, 1, 2},
  {"Matrix sqrt only works on square matrices\n", Matrix.Sqrt, flat},
  {"Matrix sqrt only works on Hermitian matrices\n", Matrix.Sqrt, square}, {"Matrix Sqrt failed\n", Matrix.Sqrt, {{-1}}},
  {"Matrix.Rotate called with 1 arguments, two arguments expected", Matrix.Rotate, square},
  {"Matrix.Rotate needs the first matrix to be square, at the moment Ni=1 and Nj=2", Matrix.Rotate, flat, square},
  {"Matrix.Rotate needs the first matrix to be of the same dimension (2) as the number of Columns in the second matrix (1)", Rotate, square,
    {{1}, {2}}},
  {"Matrix.Eigensystem called with 2 arguments, only one expected", Matrix.Eigensystem, square, 1},
  {"Matrix Eigensystem only works on square matrices\n", Eigensystem, flat}, {"Matrix Eigensystem failed\n", Eigensystem, {{nan}}},
  {sub:format(1), Matrix.Sub, square}, {sub:format(4), Matrix.Sub, square, 1, 1, 1},
  {"Error: Submatrix called with unknown type for second argument!", Matrix.Sub, square, "x"},
  {pairs_expected, Matrix.Sub, square, {1, 1}, 2}, {pairs_expected, Matrix.Sub, square, {1}, {1, 1}},
  {"Error in Submatrix\n", Matrix.Sub, square, 3}, {"Error in Submatrix\n", Matrix.Sub, square, {0}}, {"Error in Submatrix\n", Matrix.Sub, square, {-1e300, inf}, {1, 1}},
  {"MatrixFlatten called with 2 arguments. 1 expected, Table of tables of tables of tables of numbers.\n", Matrix.Flatten, {}, {}},
  {"MatrixFlatten called with entry 3. Matrix or 0 expected.\n", Matrix.Flatten, {{square, 0}, {1}}},
  {"Error in MatrixFlatten\n", Matrix.Flatten, {{square, flat}}},
  {expand:format(1), Matrix.Expand, square},
  {"MatrixEnlarge called with 1 arguments. 2 expected, a matrix and the factor by which it is to be expanded.\n", Matrix.Enlarge, square},
  {"MatrixAddSpin called with 2 arguments. 1 expected, a matrix.\n", Matrix.AddSpin, square, 1},
  {"Error: LuaRemoveSpin called with 0 argmuents, only 1 expected, a Matrix.", Matrix.RemoveSpin},
  {"Error: LuaRemoveSpin called with a matrix of dimension 1 times 2. Number of rows and columns must each be even.", Velko.RemoveSpin, flat},
  {"MatrixToOperator called with 2 arguments, only 1 expected.", Matrix.ToOperator, square, 1},
  {"MatrixToOperator called with an argument that is not a matrix.", Velko.MatrixToOperator, {{1}, {1, 2}}},
  {"MatrixToOperator called with a matrix of dimension 1 times 2. Number of rows and columns must be equal.", Matrix.ToOperator, userdata},
  {"bad argument #1 to '?' (table expected, got userdata)", Dot, userdata, square}, {multiply:format(2, 1), Dot, square, flat},
  {"bad argument #1 to '?' (table expected, got number)", MatrixTranspose, 3},
  {"Matrix.Transpose called with 0 arguments, only one expected", MatrixTranspose},
  -- arithmetic
  {"Error: dimensions of matrix A (2 2) and B (1 2) in A+B not equivalent\n", U.__add, square, userdata},
  {"Error: dimensions of matrix A (1 2) and B (2 2) in A-B not equivalent\n", U.__sub, userdata, square},
  {"bad argument #1 to '?' (table expected, got number)", U.__add, 1, userdata}, {multiply:format(2, 1), U.__mul, userdata, userdata},
  {"Unrecognized type (1) at position one of multiplication \n", U.__mul, true, userdata},
  {"Unrecognized type (4) at position one of multiplication \n", U.__mul, "2", userdata},
  {"Unrecognized type (userdata) at position two of multiplication \n", U.__mul, userdata, NewOperator(1, 0, {})},
  {"Unrecognized type (nil) at position two of division \n", U.__div, userdata, nil, n = 4},
  {inversion, U.__div, 1, flat}, {singular, U.__div, square, Matrix.New(defective)}, {multiply:format(2, 1), U.__div, square, {{1}}},
  {"Matrix power only works on integers\n", U.__pow, userdata, 0.5}, {"Matrix power only works on integers\n", U.__pow, square, inf},
  {"Matrix power only works on square matrices\n", U.__pow, userdata, 2},
  {"Matrix power failed\n", U.__pow, defective, -1}, {"Matrix power failed\n", U.__pow, square, 1e300},
  {"Error: complex number plus unrecognized userdata\n", getmetatable(I).__add, I, userdata},
  {inversion, getmetatable(I).__div, I, userdata},
  {singular, getmetatable(I).__div, I, Matrix.New(defective)},
  {"First argument of Orthogonalize should either be a table of wave-functions or a rectangular matrix (table of tables of equal lenght).\n",
    Orthonormalize, {{1}, {1, 2}}},
  {"Failure in Orthogonalize Sorry\n", Orthonormalize, {{nan}}},
  -- sizes that no array has
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
