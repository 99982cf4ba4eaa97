-- The table Matrix: making, changing, solving; both forms of every result.
local check = require("check")
local C = Complex.New
local random = math.random
Verbosity(0)
local function form(m) return type(m) end
local function equal(name, m, t) check.ok(name, Matrix.ToTable(m) == Matrix.ToTable(t), tostring(Matrix.ToUserdata(m))) end
local function small(name, m, tolerance)
  for i, row in ipairs(Matrix.ToTable(m)) do
    for j, x in ipairs(row) do check.near(name .. " " .. i .. j, x, 0, tolerance) end
  end
end
local function forms_of(t) return ipairs {Matrix.New(t), Matrix.ToTable(t)} end

-- Making
equal("Diagonal", Matrix.Diagonal({1, I}), {{1, 0}, {0, I}})
local m = Matrix.New({{1}})
local other = Matrix.ToUserdata(m)
other[1][1] = 2
check.equal("ToUserdata copies", m[1][1], 1)

-- Random: the generator of math.random, row by row, real and imaginary parts in turn
for _, range in ipairs {{-1, 3}, {0, C(2, 5)}} do
  math.randomseed(3)
  local drawn = Matrix.Random(range, {2, 3})
  math.randomseed(3)
  for i = 1, 2 do
    for j = 1, 3 do
      local re = random() * (Complex.Re(range[2]) - Complex.Re(range[1])) + Complex.Re(range[1])
      local im = Complex.Im(range[2]) ~= 0 and random() * Complex.Im(range[2]) or 0
      check.near("Random", drawn[i][j], C(re, im), 1e-15)
    end
  end
end

-- Shapes
for _, n in forms_of({{11, 12, 13}, {21, 22, 23}, {31, 32, 33}}) do
  equal("Sub list", Matrix.Sub(n, {3, 1}), {{33, 31}, {13, 11}})
  equal("Sub rows and columns", Matrix.Sub(n, 1, 3), {{11, 12, 13}})
  equal("Sub limits", Matrix.Sub(n, 2, 3, 1, 1), {{21}, {31}})
  equal("Expand", Matrix.Expand(Matrix.Sub(n, 1), 2, I), {{11, 0}, {0, I}})
  equal("AddSpin", Matrix.AddSpin(Matrix.Sub(n, 1, 2)), {{11, 0, 12, 0}, {0, 11, 0, 12}})
  equal("Velko.RemoveSpin", Velko.RemoveSpin(Matrix.Enlarge(n, 2)), n)
  equal("Enlarge", Matrix.Enlarge({{1, I}}, 3), Matrix.Flatten({{Matrix.Identity(3), I * Matrix.Identity(3)}}))
  equal("Flatten", Matrix.Flatten({{Matrix.Sub(n, 1), 0}, {0, {{5, 6}}}}), {{11, 0, 0}, {0, 5, 6}})
end

-- Functions, checked by what they undo
local A = {{2, C(0.5, 1), 0.25}, {C(0.5, -1), 3, -I}, {0.25, I, 4}}
local B = {{1, 2, I}, {0, C(-1, 1), 3}, {0.5, 0, 2}}
local one = Matrix.Identity(3)
for _, a in forms_of(A) do
  small("Inverse", Inverse(a) * a - one, 1e-15)
  small("Sqrt", Matrix.Sqrt(a) * Matrix.Sqrt(a) - a, 1e-14)
  local values, vectors = Eigensystem(a)
  check.equal("form of the vectors", form(vectors), form(a))
  -- A = sum over k of V[k]^T values[k] V[k]*
  small("Eigensystem", Transpose(vectors) * Matrix.Diagonal(values) * Conjugate(vectors) - a, 1e-14)
end
for _, b in forms_of(B) do
  small("Exp", Matrix.Exp(b) * Matrix.Exp(-b) - one, 2e-14)
  local values, left, right = Matrix.Eigensystem(b)
  small("general Eigensystem", Transpose(right) * Matrix.Diagonal(values) * Conjugate(left) - b, 1e-14)
end
for _, f in ipairs {Inverse, Matrix.Exp, Matrix.Sqrt, Matrix.AddSpin, Matrix.Conjugate, Transpose} do
  check.equal("forms", form(f(one)) .. form(f(Matrix.ToTable(A))), "userdatatable")
end
local values = Matrix.Eigensystem({{0, 1}, {-1, 0}})
check.near("conjugate pair", values[1], I, 1e-15)
check.equal("an imaginary diagonal is not Hermitian", select("#", Eigensystem({{I, 0}, {0, 1}})), 3)

-- Operators
check.ok("terms", Matrix.ToOperator(A) == NewOperator(3, 0, {{0, -0, 2}, {1, -1, 3}, {2, -2, 4}, {0, -1, C(0.5, 1)},
  {1, -0, C(0.5, -1)}, {0, -2, 0.25}, {2, -0, 0.25}, {1, -2, -I}, {2, -1, I}}))

-- Orthonormal rows and columns of a matrix
for _, method in ipairs {"Lowdin", "GramSchmidt"} do
  for _, a in forms_of {{1, I, 0}, {1, 2, 3}} do
    local rows = Orthonormalize(a, {{"Method", method}})
    local columns = Orthonormalize(Transpose(a), {{"Method", method}, {"Order", "Column"}})
    check.equal("form", form(rows), form(a))
    small("rows", rows * ConjugateTranspose(rows) - Matrix.Identity(2), 1e-15)
    small("columns", Transpose(columns) - rows, 1e-15)
  end
end
check.equal("threshold of singular values", #Orthonormalize({{1, 0}, {0, 1e-3}}, {{"SingularValue", 0.1}}), 1)

check.done()
