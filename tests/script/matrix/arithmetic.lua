-- Arithmetic of matrices in both forms, with numbers and complex numbers; comparison; text.
local check = require("check")
local C = Complex.New
local function table_form(t) return Matrix.ToTable(t) end
local function is_userdata(m) return type(m) == "userdata" end
local function near(name, a, b, tolerance)
  for i, row in ipairs(b) do
    for j, x in ipairs(row) do check.near(name .. " " .. i .. j, a[i][j], x, tolerance or 0) end
  end
  check.equal(name .. ": rows", #a, #b)
end

local a, b = {{1, 2}, {3, 4}}, {{0, I}, {-I, 2}}
local forms = {[true] = Matrix.New, [false] = table_form}
for fa, form_a in pairs(forms) do
  for fb, form_b in pairs(forms) do
    local x, y = form_a(a), form_b(b)
    local results = {
      ["a + b"] = {x + y, {{1, 2 + I}, {3 - I, 6}}},
      ["a - b"] = {x - y, {{1, 2 - I}, {3 + I, 2}}},
      ["a * b"] = {x * y, {{-2 * I, 4 + I}, {-4 * I, 8 + 3 * I}}},
      -- the inverse of b is {{-2, I}, {-I, 0}}
      ["a / b"] = {x / y, {{-2 - 2 * I, I}, {-6 - 4 * I, 3 * I}}, 1e-14}
    }
    for name, r in pairs(results) do
      near(name, r[1], r[2], r[3])
      check.equal(name .. " form", is_userdata(r[1]), fa or fb)
      if not is_userdata(r[1]) then check.equal(name .. " metatable", getmetatable(r[1]), MatrixMeta) end
    end
    near("operand stays", x, a)
  end
  local x = form_a(a)
  local results = {
    ["-a"] = {-x, {{-1, -2}, {-3, -4}}},
    ["a I"] = {x * I, {{I, 2 * I}, {3 * I, 4 * I}}},
    ["2 / a"] = {2 / x, {{-4, 2}, {3, -1}}, 1e-14},
    ["I / a"] = {I / x, {{-2 * I, I}, {1.5 * I, -0.5 * I}}, 1e-14},
    ["a ^ -1"] = {x ^ -1, {{-2, 1}, {1.5, -0.5}}, 1e-14}
  }
  for name, r in pairs(results) do
    near(name, r[1], r[2], r[3])
    check.equal(name .. " form", is_userdata(r[1]), fa)
  end
end
near("a plain table on the right", Matrix.New(a) * {{1, 0}, {0, 2}}, {{1, 4}, {3, 8}})
near("Dot", Dot({{1, 2}}, {{3}, {I}}), {{3 + 2 * I}})

-- Comparison: a matrix that has become complex differs from its real twin.
local m, twin = Matrix.New(a), Matrix.New(a)
check.ok("equal", m == twin and not (m ~= Copy(m)))
check.ok("shape", Matrix.New({{1, 2, 3, 4}}) ~= Matrix.New({{1}, {2}, {3}, {4}}))
twin[1][1] = C(1, 0)
check.ok("kind", m ~= twin)
local nan = Matrix.New({{0 / 0}})
check.ok("NaN differs from itself", nan ~= Copy(nan))

-- A noisy imaginary part is dropped when a table is read.
check.equal("noise", tostring(Matrix.New({{C(1, 1e-17)}})), "{ {  1      } }\n")
check.equal("text", tostring(Matrix.New({{1, -0.5}, {1e-20, 123456789}})), "{ {  1      , -0.5    } ,\n  {  1e-20  ,  1.23e8 } }\n")
check.equal("complex text", tostring(Matrix.New({{C(1, -2), C(-0.5, 1 / 3)}})), "{ {  1 - 2 I        , -0.5 + 0.333333 I} }\n")

-- Generic functions
near("Chop", Chop(Matrix.New({{1, C(2, 1e-20)}})), {{1, 2}})
for _, form in pairs(forms) do
  local n = form({{1, I, 3}, {4, 5, 6}})
  near("Transpose", Transpose(n), {{1, 4}, {I, 5}, {3, 6}})
  near("ConjugateTranspose", ConjugateTranspose(n), {{1, 4}, {-I, 5}, {3, 6}})
  -- U* m U^T, also through the generic function
  near("Rotate", Rotate(form({{1, 0}, {0, 2}}), {{0, I}, {1, 0}}), {{2, 0}, {0, 1}})
  near("Matrix.Rotate", Matrix.Rotate({{0, 1}, {0, 0}}, form({{1, 0}, {0, I}})), {{0, I}, {0, 0}})
end
check.done()
