-- States in files: literal texts, and files that are none.
local check = require("check")
local i = Complex.New(0, 1)
local path = os.tmpname()
local function read()
  local file = assert(io.open(path, "rb"))
  local text = file:read("*a")
  file:close()
  return text
end
local function write(text)
  local file = assert(io.open(path, "wb"))
  file:write(text)
  file:close()
end

local psi = NewWavefunction(10, 0, {{"1100000001", -0.25}, {"0000000010", 1e-300}}, {{"Name", "two words"}})
psi.Print({{"file", path}, {"Plain", true}})
check.equal("plain text", read(), "two words\n0\n2\n10\n0\n -2.500000000000000E-01 C040\n 1.000000000000000E-300 0080\n\n")
psi.Print({{"file", path}})
local readable = "\nWaveFunction: two words\n" ..
  "QComplex         =          0 (Real==0 or Complex==1)\n" ..
  "N                =          2 (Number of basis functions used to discribe psi)\n" ..
  "NFermionic modes =         10 (Number of fermions in the one particle basis)\n" ..
  "NBosonic modes   =          0 (Number of bosons in the one particle basis)\n" ..
  "\n#      pre-factor         Determinant\n" ..
  "   1  -2.500000000000E-01       C040\n" ..
  "   2  1.000000000000E-300       0080\n\n"
check.equal("readable text", read(), readable)
check.equal("tostring", tostring(psi), readable)
check.equal("tostring of a complex state", tostring(NewWavefunction(2, 0, {{"11", 1 - i}})):match("\n(#.*)$"),
  "#      pre-factor             +I  pre-factor         Determinant\n" ..
  "   1   1.000000000000E+00        -1.000000000000E+00       C0\n\n")

local third = NewWavefunction(70, 0, {{("1"):rep(70), 1 / 3}, {("0"):rep(69) .. "1", 2 / 3 * i}, {("01"):rep(35), -1e-5}})
-- Full print: its shape, as the addresses differ from run to run. The two determinants share the only slot.
NewWavefunction(2, 0, {{"10", 1}, {"01", i}}, {{"NBitsKey", 0}, {"Name", "f"}}).Print({{"file", path}, {"Full", true}})
check.equal("full text", (read():gsub("0x%x+", "@"):gsub("%(nil%)", "@")), [[

Full printout of WaveFunction: f

Genneral settings
QComplex      =          1 (Real==0 or Complex==1)
N             =          2 (Number of basis functions used to discribe psi)
NFermion      =          2 (Number of fermions in the one particle basis)
NBoson        =          0 (Number of bosons in the one particle basis)
NBlok         =          1 (Number of bloks needed to store psi)
NWord         =          1 (NFermion/8)+NBoson
NBitsKey      =          0 (Size of the key used for the hash table lookup)

Pointer positions (addresses)
**ValueRe     = @
**ValueIm     = @
**Next        = @
**Determinant = @
BlokNr.       = 0
*ValueRe      = @
*ValueIm      = @
*Next         = @
*Determinant  = @

Non-zero elements of Hash Table
i=          0 , key=          1

  pre-factor             +I  pre-factor            Pointer Addres  Next_Hash Hash_Value   Determinant
  1.000000000000E+00         0.000000000000E+00       @          2          0   80
  0.000000000000E+00         1.000000000000E+00       @          0          0   40
]])

-- Files that are none: a clear error for each prefix of a good file, and for rubbish.
local function refused(case, text, binary)
  write(text)
  check.error(case, "Error in ReadWavefunction, file " .. path .. " can't be read as a wavefunction\n",
    Ob.ReadWavefunction, path, {{"Binary", binary}})
end
for _, form in ipairs({"Plain", "Binary"}) do
  third.Print({{"file", path}, {form, true}})
  local good = read()
  local last = form == "Plain" and #good - 3 or #good - 1  -- the line ends may miss
  for length = 0, last do refused(form .. " cut to " .. length, good:sub(1, length), form == "Binary") end
  refused(form .. " read as the other form", good, form == "Plain")
  refused(form .. " with a tail", good .. "x", form == "Binary")
end
local header = "name\n0\n1\n4\n0\n"
local rubbish = {
  {"a line of digits", ("1"):rep(3000)}, {"negative count", "n\n0\n-1\n4\n0\n"},
  {"kind 2", "n\n2\n1\n4\n0\n 1.0 C0\n"}, {"huge count", "n\n0\n4294967294\n4\n0\n 1.0 C0\n"},
  {"huge space", "n\n0\n1\n4294967295\n1\n 1.0 C0\n"}, {"no hexadecimal digit", header .. " 1.0 G0\n"},
  {"nan", header .. " nan C0\n"}, {"orbital beyond NF", header .. " 1.0 C8\n"}, {"long key", header .. " 1.0 C000\n"},
}
for _, r in ipairs(rubbish) do refused(r[1], r[2], false) end
refused("binary nan", header .. ("\255"):rep(8) .. "\192", true)
write("name\n0\n2\n4\n0\n 1.0 C0\n 2 C0\n\n")
check.ok("equal keys sum", Ob.ReadWavefunction(path) == NewWavefunction(4, 0, {{"1100", 3}}))
os.remove(path)

check.error("no file", "Error in ReadWavefunction, file /nowhere can't be read as a wavefunction\n", Ob.readwavefunction, "/nowhere")
check.error("file that can't be written", "Error in .Print(arg) can't write to file /nowhere/at/all\n", psi.Print,
  {{"file", "/nowhere/at/all"}, {"Plain", true}})

check.done()
