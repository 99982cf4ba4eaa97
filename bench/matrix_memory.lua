-- Memory that matrices own: 20,000 matrices of 200 by 200 (6.4 GB in all) are made and dropped while 20,000
-- small tables are held. Prints the most memory that the process ever took, and the time: about 80 MB in a
-- second, as dead matrices are collected by the bytes that they own.
--
--   scripts/run bench/matrix_memory.lua
local held = {}
for k = 1, 20000 do held[k] = {k} end
local start = os.clock()
for _ = 1, 20000 do Matrix.Zero(200)[1][1] = 1 end
local seconds = os.clock() - start
for line in io.lines("/proc/self/status") do
  local peak = line:match("^VmHWM:%s*(%d+) kB")
  if peak then print(("peak %.0f MB, %.2f s, %d tables held"):format(peak * 1024 / 1e6, seconds, #held)) end
end
