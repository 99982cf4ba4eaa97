-- The table math: accuracy of the complex functions, names, integers, random numbers.
local check = require("check")
local C = Complex.New

-- {re, im, re of the result, im of the result}, computed with 50 digits by the arbitrary-precision functions
-- of Python's mpmath and rounded once. Each part has to be right by itself, close to zeros and poles, too.
local values = {
  tan = {{0.7, -1.3, 0.14201665536948033, -0.9648016035093661},
    {1.5707963267948966, 1e-05, 6.123233995532657e-07, 100000.00000333332}, {-25.0, 20.0, 2.229322652429188e-18, 1.0},
    {0.001, -300.0, 1.0601579144294516e-263, -1.0}},
  cosh = {{0.7, -1.3, 0.33575623873216537, -0.7309395352315579},
    {1.5707963267948966, 1e-05, 2.509178478532598, 2.30129890226894e-05},
    {-25.0, 20.0, 14691953891.133085, -32868265439.593666},
    {0.001, -300.0, -0.022096630326994503, 0.0009997560065271311}},
  tanh = {{0.7, -1.3, 1.47162844587362, -0.3983751953569775},
    {1.5707963267948966, 1e-05, 0.9171523356818416, 1.5883159317199733e-06},
    {-25.0, 20.0, -1.0, 2.8742737899809167e-22}, {0.001, -300.0, 2.0439019606598197, -45.15226628461652}},
  log = {{0.7, -1.3, 0.38966243840049886, -1.0768549578753155}, {1e-08, 1e-09, -18.41570557852578, 0.09966865249116204},
    {0.6, 0.8, 2.2204460492503132e-17, 0.9272952180016123}, {0.001, -300.0, 5.7037824746617565, -1.5707929934615632},
    {1e+200, -1e+190, 460.51701859880916, -1.0000000000000002e-10}},
  log10 = {{0.7, -1.3, 0.16922824680230242, -0.4676721660154082},
    {1e-08, 1e-09, -7.9978393131086785, 0.04328554579564446}, {0.6, 0.8, 9.643274665532871e-18, 0.40271919627337316},
    {0.001, -300.0, 2.4771212547220753, -0.6821867292726477}, {1e+200, -1e+190, 200.0, -4.342944819032519e-11}},
  sqrt = {{0.7, -1.3, 1.0431879758757143, -0.6230900039413809},
    {1e-08, 1e-09, 0.00010012461141278125, 4.993777183700244e-06},
    {0.001, -300.0, 12.247469126347424, -12.247428301518378}, {1e+200, -1e+190, 1e+100, -5.0000000000000004e+89}},
}
local function relative(a, b) return a == b and 0 or math.abs(a - b) / math.abs(b) end
for name, rows in pairs(values) do
  for _, row in ipairs(rows) do
    local z = math[name](C(row[1], row[2]))
    local error = math.max(relative(z.re, row[3]), relative(z.im, row[4]))
    check.ok(name, error < 4.5e-16, name .. "(" .. row[1] .. ", " .. row[2] .. ") is off by " .. error)
  end
end

-- Around the cuts: the sign of a zero chooses the side.
check.near("sqrt(-4 - 0 i)", sqrt(C(-4, -0)), -2 * I, 0)
check.near("log(-1 - 0 i)", log(C(-1, -0)), -Pi * I, 0)
check.near("far out of the range of cosh", tanh(C(1000, 1)), 1, 0)

-- Bases
check.near("complex log with a base", log(C(0, 8), 2), C(3, Pi / 2 / log(2)), 1e-15)

-- Sign
for x, sign in pairs {[3] = 1, [-2] = -1, [0] = 0, ["-7"] = -1} do check.equal("sign", Sign(x), sign) end
check.near("sign of a complex number", sign(C(3, -4)), C(0.6, -0.8), 1e-16)
check.near("sign of a huge one", sign(C(1e308, 1e308)), C(0.5 ^ 0.5, 0.5 ^ 0.5), 2e-16)

-- Factorials and binomials are the exact integers, rounded once; the large ones from Python's integers.
local product = 1
for n = 0, 18 do
  product = n > 0 and product * n or 1
  check.equal("factorial", fact(n), product)
end
check.equal("171!", Fact(171), inf)
check.equal("beyond 2^53", Binomial(60, 30), 118264581564861424)
check.equal("1000 over 400", Binomial(1000, 400), 4.965272386254229e290)
check.equal("too large", Binomial(1e15, 5e14), inf)

-- Integers by their value
for _, row in ipairs {
  {-4, true, true, false}, {2.5, false, false, false},
  {2 ^ 53 - 1, true, false, true}, {1e300, true, true, false}, {inf, false, false, false}, {0 / 0, false, false, false},
  {"-7", true, false, true}
} do
  check.equal("IntegerQ", IntegerQ(row[1]), row[2])
  check.equal("EvenQ", EvenQ(row[1]), row[3])
  check.equal("OddQ", OddQ(row[1]), row[4])
end

-- Random numbers stay in their intervals and reach all of them.
local seen = {}
for _ = 1, 1000 do
  seen[mt_random_int(-2, 3)] = true
  local closed, half, open = MT_Random_Real1(), MT_Random_Real2(), MT_Random_Real3()
  check.ok("[0, 1]", closed >= 0 and closed <= 1)
  check.ok("[0, 1)", half >= 0 and half < 1)
  check.ok("(0, 1)", open > 0 and open < 1)
end
local count = 0
for k in pairs(seen) do
  count = count + 1
  check.ok("integer of the interval", k >= -2 and k <= 3 and IntegerQ(k))
end
check.equal("all integers of the interval", count, 6)
RandomSeed(7)
local first = Random()
randomseed(7)
check.equal("repeatable", random(), first)

check.error("count", "math.Binomial expects 2 parameters n and k", Binomial, 1)
check.error("interval", "bad argument #2 to '?' (interval is empty)", MT_Random_Int, 5, 5)

-- Every second name is the same function, and every entry is a global.
for name in ("abs acos asin atan atan2 ceil deg floor fmod frexp ldexp max min modf pow rad cos sin tan cosh sinh tanh " ..
  "exp log log10 sqrt sign random fact factorial"):gmatch("%S+") do
  local capital = name:gsub("^%l", string.upper)
  check.ok(name, type(math[name]) == "function")
  check.equal(capital, math[capital], math[name])
  check.equal(capital, _G[capital], math[name])
end
check.equal("loadstring", loadstring, load)
check.done()
