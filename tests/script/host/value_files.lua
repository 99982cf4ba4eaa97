-- Files of values: what io.put writes, io.get reads back equal, and so does plain execution.
local check = require("check")
local C = Complex.New
local folder = os.tmpname()
os.remove(folder)

local function text_of(file)
  local stream = assert(io.open(folder .. "/" .. file .. ".Fermix", "rb"))
  local text = stream:read("*a")
  stream:close()
  return text
end
-- The text of a value.
local function source(value)
  variable = value
  io.put(folder, "variable")
  return text_of("variable"):match("^variable = (.*)\n$")
end
-- The value after a way to the disk and back.
local function back(value)
  variable = value
  io.put(folder, "variable")
  variable = nil
  io.get(folder, "variable")
  return variable
end
local function same(a, b)
  if type(a) ~= "table" or type(b) ~= "table" then return a == b or a ~= a and b ~= b end
  local count = 0
  for key, value in pairs(a) do
    count = count + 1
    if not same(value, b[key]) then return false end
  end
  for _ in pairs(b) do count = count - 1 end
  return count == 0
end

-- Texts
for _, row in ipairs {
  {-0, "-0"}, {3, "3"}, {-1e15, "-1000000000000000"}, {1e16, "1E+16"}, {1 / 3, "0.3333333333333333"}, {-2.5e-7, "-2.5E-07"},
  {0.1 + 0.2, "0.30000000000000004"},  -- one more digit where 16 are another number
  {-inf, "-INF"}, {true, "true"}, {"", '""'},
  {'q"\\\n\r\0001\127\200', '"q\\"\\\\\\\n\\013\\0001\\127\200"'},
  {C(-0.5, -1e20), "( -0.5 - I * 1E+20 )"}, {C(2.5, 0), "2.5"},
  {{7, ["end"] = 1, [-1] = 2, [2.5] = {x = 3}, [false] = I},
   '{ 7 ,\n  [ -1 ] = 2 ,\n  [ 2.5 ] = { [ "x" ] = 3 } ,\n  [ "end" ] = 1 ,\n  [ false ] = ( 0 + I * 1 ) }'},
  {NewOperator(2, 0, {{C(1, -2)}}, {{"Restrictions", {2, 0, {"11", 1, 2}, {"10", 0, 1}}}}),
   'NewOperator( 2, 0,{\n { 1.000000000000000E+00 - I *  2.000000000000000E+00 }},\n{{"Name","Operator"},' ..
   '{"NBitsKey",{}}, {"Restrictions",{ 2, 0, {"11",1,2}, {"10",0,1}}}})'},
  {NewWavefunction(3, 0, {{"110", 0.5}, {"011", -2}}, {{"NBitsKey", 5}}),
   'NewWavefunction( 3, 0,{\n {"110", 5.000000000000000E-01 },\n {"011",-2.000000000000000E+00 }},\n' ..
   '{{"Name","Wave Function"},{"NBitsKey",5}})'}
} do
  check.equal("text", source(row[1]), row[2])
end

-- Values
local number, numbers = 0.3, {}
for i = 1, 500 do
  number = 3.9 * number * (1 - number)
  numbers[i] = (number - 0.5) * 10 ^ (i - 250)
end
numbers[501], numbers[502] = 1.7976931348623157e308, 5e-324
local bytes = {}
for i = 0, 255 do bytes[#bytes + 1] = string.char(i) .. "7" end
local chain, keyed = {}, {}
for _ = 1, 179 do chain, keyed = {chain}, {x = keyed} end
for _, value in ipairs {
  numbers, table.concat(bytes), C(0.1 + 0.2, -1 / 3), C(1, inf), inf, 0 / 0,
  {["and"] = 1, [""] = 2, ["a b"] = 3, ["1"] = 4, [1] = 5, [3] = 6, [1e15] = 7, [-0.5] = 8, ["]]"] = 9},
  {nil, 2}, chain, keyed
} do
  check.ok("comes back equal", same(back(value), value), source(value):sub(1, 200))
end

-- What nests is written so that it can be read, or refused: lists that go on with keys, and keys behind more
-- constants than the interpreter numbers.
for levels = 30, 180, 30 do
  local mixed, last = {}, {}
  for i = 1, levels do mixed, last = {1, 2, 3, x = mixed, y = 4}, {["key " .. i] = last} end
  local many = {last = last}
  for i = 1, 300 do many[i] = "item " .. i end
  for name, value in pairs {mixed = mixed, many = many} do
    local ok, result = pcall(back, value)
    check.ok(name, ok and same(result, value) or not ok and result:find("nested deeper"), tostring(result))
    check.ok(name .. " at " .. levels, ok or levels > 90)
  end
end

-- Lists in lists, each with more elements than the interpreter keeps open at once
local cube = 1
for _ = 1, 6 do
  local list = {}
  for i = 1, 60 do list[i] = i == 50 and cube or i end
  cube = list
end
check.ok("lists that wait for their last element", same(back(cube), cube))

-- Operators: terms of any length, kinds mixed, restrictions, settings, modes
local function operator_text(O)
  local restrictions = {}
  for _, r in ipairs(O.Restrictions or {}) do restrictions[#restrictions + 1] = type(r) == "table" and table.concat(r, " ") or r end
  return tostring(O) .. table.concat(restrictions, ",")
end
local term = {}
for i = 1, 70 do term[i] = i <= 35 and 35 - i or i - 105 end
term[#term + 1] = 0.1 + 0.2
for name, O in pairs {
  mixed = NewOperator(5, 0, {{1, -0, 1 / 3}, {C(0.1, 0.7)}, {4, 3, -2, -1, C(-1e-9, 1e9)}, {2, 1}, {-3, I}}),
  long = NewOperator(70, 0, {term}),
  modes = NewOperator(3, 2, {{3, -4, 0.1 + 0.2}, {2, -0, 4, 4, I}},
    {{"NBitsKey", {3, 4, 5, 6, 7}}, {"Restrictions", {3, 2, {"110 FF 00", 0, 3}, {"000 00 FF", 1, 2}}}})
} do
  local copy = back(O)
  check.equal(name, operator_text(copy), operator_text(O))
  if O.NB == 0 then check.ok(name, copy == O) end
end

-- States keep kind and order of their elements, matrices their form.
for name, value in pairs {
  real = NewWavefunction(75, 0, {{"1" .. ("01"):rep(37), numbers[150]}, {("10"):rep(37) .. "1", numbers[350]}}, {{"Name", "\0\n"}, {"NBitsKey", 4}}),
  complex = NewWavefunction(4, 0, {{"1100", 1}, {"0011", C(0.1 + 0.2, -1e-12)}, {"1010", C(0, 0)}}),
  matrix = Matrix.New({{1, I / 3, 2}})
} do
  local copy = back({x = {value}}).x[1]
  check.ok(name, copy == value and tostring(copy) == tostring(value) and (name == "matrix" or copy.NBitsKey == value.NBitsKey))
end

check.ok("a matrix in table form comes back as its rows", same(back(setmetatable({{1, I}, {2, 3}}, MatrixMeta)), {{1, Complex.I()}, {2, 3}}))

-- Spectra: points and fields
local H = NewOperator(2, 0, {{0, -1, -1}, {1, -0, -1}, {0, -0, 0.3}})
local spectra = CreateSpectra(H, {NewOperator(2, 0, {{-0, 1}}), NewOperator(2, 0, {{-1, C(0, 2)}})},
  NewWavefunction(2, 0, {{"10", 0.6}, {"01", 0.8}}), {{"NE", 50}, {"Emin", -3}, {"Emax", 3}, {"Gamma", 0.2}})
spectra.Name = "a \"bundle\""
local copy = back(spectra)
check.ok("text and name of the spectra", tostring(copy) == tostring(spectra) and copy.Name == spectra.Name)

check.ok("a text of numbers", source(Spectra.FromTable({{{1, C(2, -4)}, ["Name"] = "a", ["ResonantEnergy"] = 5}})):find(
  '{{ 1.000000000000000E+00, 2.000000000000000E+00 - I *  4.000000000000000E+00},\n["Name"]="a",' ..
  '["ResonantEnergy"]= 5.000000000000000E+00,["EminPole"]=', 1, true))

-- Names and files
AbCd, abcd = 1, 2
for _, name in ipairs {"AbCd", "abcd"} do io.put(folder, name, "ASCII") end
check.equal("capitals in the file's name", text_of("^ab^cd"), "AbCd = 1\n")
AbCd = nil
dofile(folder .. "/^ab^cd.Fermix")
check.equal("plain execution", AbCd, 1)

-- Messages
local cyclic, doubled = {}, {}
cyclic[1] = {x = cyclic}
for _ = 1, 100 do doubled = {doubled, doubled} end
local file = folder .. "/abcd.Fermix"
for _, row in ipairs {
  {{io.stdout}, "Error in LuaASCIIStreamPrint unrecognized type of user data\n"},
  {cyclic, "Error: table nested deeper than 180 levels, or containing itself\n"},
  {{x = keyed}, "Error: table nested deeper than 180 levels, or containing itself\n"},
  {doubled, "Error: tables shared inside of a table come to more than 4000000 values\n"}
} do
  variable = row[1]
  check.error("what can't be written", row[2], io.put, folder, "variable")
end
for _, name in ipairs {"", "1a", "a.b", "end", "a\0b"} do
  local text = name:gsub("%z.*", "") ..
    " is not a valid token for a variable name in Fermix (only alpha numerical characters and '_' are allowed)\n"
  check.error("name", text, io.put, folder, name)
  check.error("name", text, io.get, folder, name)
end
local new = folder .. "_new"
for _, row in ipairs {
  {"tried to put variable abcd to file " .. folder .. " of indecated type hdf5, but file is of type ASCII on disk\n",
   io.put, folder, "abcd", "hdf5"},
  {"Tried to open file " .. new .. " for reading, but file does not excists\n", io.get, new, "abcd"},
  {"ERROR\nCan't create directory " .. new .. "/x.\n", io.put, new .. "/x", "abcd"}
} do
  check.error(row[1], row[1], table.unpack(row, 2))
end
check.ok("no folder was made", not os.rename(new, new))
io.open(folder .. "/broken.Fermix", "w"):write("broken = = 1"):close()
check.error("a file that is no script", folder .. "/broken.Fermix:1: unexpected symbol near '='", io.get, folder, "broken")

os.execute("rm -r '" .. folder .. "'")
check.done()
