-- A state of 20 million determinants of 26 orbitals: what it costs, and what fits into 2 GiB.
--
--   (ulimit -v 2097152; scripts/run bench/state_memory.lua)
--
-- Each factor 1 + a+_i doubles the determinants. Key and value of a real state take 8 bytes each; the index and the
-- rest of the record may take 16 more. What is printed also holds blocks of the smaller states before, kept for reuse.
local NF = 26

local function Resident(what)
  for line in io.lines("/proc/self/status") do
    local kB = line:match("^" .. what .. ":%s*(%d+)")
    if kB then return kB * 1024 end
  end
end

local function Spread(orbitals)
  local psi = NewWavefunction(NF, 0, {{string.rep("0", NF), 1}})
  for i = 0, orbitals - 1 do psi = NewOperator(NF, 0, {{1}, {i, 1}}) * psi end
  return psi
end

local before = Resident("VmRSS")
local start = os.clock()
local psi = Spread(24)
local made = os.clock()
collectgarbage()
print(string.format("%d determinants: %.1f bytes each in memory, made in %.1f s", psi.N, (Resident("VmRSS") - before) / psi.N,
  made - start))

-- As many again in part, with one more orbital filled, added.
start = os.clock()
psi = psi + NewOperator(NF, 0, {{24, 1}}) * Spread(22)
print(string.format("%d determinants by a sum, %.1f s", psi.N, os.clock() - start))
start = os.clock()
collectgarbage()  -- so that the states before do not count
local H = NewOperator(NF, 0, {{0, -0, 1}, {3, -3, 0.5}, {3, 5, -5, -3, 0.25}})
print(string.format("<psi|H|psi> / <psi|psi> = %.15g, %.1f s", (psi * H * psi) / (psi * psi), os.clock() - start))
print(string.format("Peak %.0f MiB", Resident("VmHWM") / 2^20))
