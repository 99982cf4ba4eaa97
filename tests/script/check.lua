-- Helpers of the test scripts: local check = require("check") ... check.done()
--
-- check.equal(name, got, expected)            exact comparison
-- check.near(name, got, expected, tolerance)  numbers or complex numbers, absolute difference
-- check.error(name, expected, f, ...)         f(...) raises exactly this text (a whole message, as the user sees it)
-- check.done()                                prints PASS when nothing failed
local check = {failures = 0}

local function fail(name, text)
  check.failures = check.failures + 1
  print("\nFAIL " .. name .. ": " .. text)
end

function check.ok(name, condition, text)
  if not condition then fail(name, text or "condition does not hold") end
end

function check.equal(name, got, expected)
  if got ~= expected then
    fail(name, "got\n" .. tostring(got) .. "\nexpected\n" .. tostring(expected))
  end
end

function check.near(name, got, expected, tolerance)
  local dre = Complex.Re(got) - Complex.Re(expected)
  local dim = Complex.Im(got) - Complex.Im(expected)
  local distance = (dre * dre + dim * dim) ^ 0.5
  if not (distance <= tolerance) then
    fail(name, "got " .. tostring(got) .. ", expected " .. tostring(expected) .. ", differ by " .. distance)
  end
end

-- Lua names a function that pcall calls by a search through the globals, in no fixed order.
local function without_function_name(message)
  return type(message) == "string" and message:gsub("^(bad argument #%-?%d+ to )'[^']*'", "%1'?'") or message
end

function check.error(name, expected, f, ...)
  local ok, message = pcall(f, ...)
  if ok then
    fail(name, "no error was raised, expected\n" .. expected)
  elseif without_function_name(message) ~= without_function_name(expected) then
    fail(name, "raised\n" .. tostring(message) .. "\nexpected\n" .. expected)
  end
end

function check.done()
  if check.failures == 0 then print("\nPASS") else print("\nFAIL " .. check.failures .. " checks failed") end
end

return check
