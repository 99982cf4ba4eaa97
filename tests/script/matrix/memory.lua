-- Dropped matrices are collected by the bytes that they own, not by the size of their userdata: among many
-- small tables the collector would otherwise let gigabytes stand.
local check = require("check")
local held, alive = {}, setmetatable({}, {__mode = "v"})
for k = 1, 20000 do held[k] = {k} end
local size, most = 200 * 200 * 8, 0
for k = 1, 3000 do
  alive[k] = Matrix.Zero(200)
  if k % 50 == 0 then
    local living = 0
    for _ in pairs(alive) do living = living + 1 end
    most = math.max(most, living)
  end
end
check.ok("at most 128 MiB stand", most * size < 2 ^ 27 + 50 * size, most .. " matrices")
check.equal("what is held", held[20000][1], 20000)
check.done()
