-- Complex numbers and generic functions on operators, states and spectra.
local check = require("check")
local C = Complex.New

local hop = NewOperator(2, 0, {{0, -1, 1}, {1, 0, 1}})  -- a+_1 a_0 ... as the list says, whichever way round
local psi = NewWavefunction(2, 0, {{"10", 0.6}, {"01", C(0, 0.8)}})
local one = NewWavefunction(2, 0, {{"10", 1}})
local spectrum = Spectra.FromTable({{{0, 1}, {1, C(2, -4)}, {2, 0}, ["Name"] = "a"}})

-- Operators
local z = C(2, 3)
check.near("z * O", psi * (z * hop) * psi, z * (psi * hop * psi), 1e-15)

local function point(S, k) return Spectra.ToTable(S)[1][k][2] end
for word, object in pairs {operator = hop, wavefunction = psi, spectra = spectrum} do
  check.error("z ^ " .. word, "Error: complex number to the power " .. word .. "\n", getmetatable(I).__pow, z, object)
end

-- Norms whose squares over- or underflow
for _, size in ipairs {1e200, 1e-200} do
  local far = NewWavefunction(2, 0, {{"10", 3 * size}, {"01", C(0, 4 * size)}})
  far.Normalize()
  check.near("normalised", far * psi, 0.6 * 0.6 + 0.8 * 0.8, 1e-15)
end

-- Copies live alone.
local copies = Copy {hop, psi, spectrum}
copies[1].Name, copies[2].Name = "other", "other"
check.ok("names of the sources", hop.Name ~= "other" and psi.Name ~= "other")
check.ok("equal", copies[1] == hop and copies[2] == psi and tostring(copies[3]) == tostring(spectrum))

-- Chop
local noisy = hop + 1e-10 * NewOperator(2, 0, {{0, -0, 1}})
check.equal("chopped operator", Chop(noisy, 1e-9) == hop, true)
check.near("chopped state", one * Chop(NewWavefunction(2, 0, {{"10", 1}, {"01", 1e-20}})), 1, 0)
check.near("chopped spectrum", point(Chop(spectrum, 3), 1), 0, 0)

-- Conjugation and transposition: <a| O+ |b> = conj <b| O |a>, transposed without the conjugation.
local O = NewOperator(2, 0, {{0, -1, C(1, 2)}, {1, 0, C(-3, 1)}, {0, -0, C(0.5, 4)}})
local two = NewWavefunction(2, 0, {{"10", C(0.3, 0.1)}, {"01", -0.4}})
check.near("adjoint", psi * ConjugateTranspose(O) * two, Conjugate(two * O * psi), 1e-15)
check.near("conjugate operator", Conjugate(psi) * Conjugate(O) * Conjugate(two), Conjugate(psi * O * two), 1e-15)
check.near("transpose", Conjugate(two) * Transpose(O) * Conjugate(psi), psi * O * two, 1e-15)

-- Rotation by one unitary matrix keeps matrix elements, also with a complex matrix and several electrons.
local c, s, phase = math.cos(0.7), math.sin(0.7), exp(0.4 * I)
local U = {{C(c, 0), s * phase, 0}, {-s * Conjugate(phase), C(c, 0), 0}, {0, 0, phase}}
local H = NewOperator(3, 0, {{0, -1, C(1, 2)}, {1, -0, C(1, -2)}, {2, -2, 3}, {1, 2, -1, -2, 0.7}, {0, -2, 1}, {2, -0, 1}})
local a = NewWavefunction(3, 0, {{"110", 0.6}, {"011", C(0, 0.5)}, {"101", C(0.2, 0.4)}})
local ra, rH = Rotate(a, U), Rotate(H, Matrix.New(U))
check.near("matrix element", ra * rH * ra, a * H * a, 1e-14)
check.ok("a real state", Rotate(one, {{0, 1}, {1, 0}}) == NewWavefunction(2, 0, {{"01", 1}}))
check.ok("the rotation does something", abs(ra * H * ra - a * H * a) > 1e-3)
check.error("not finite", "Error while rotating operator. Rotation matrix should be finite", Rotate, hop, {{0 / 0, 1}, {1, 0}})
check.error("dimension", "Error while rotating wavefunction. Rotation matrix should have dimension (2) of number of " ..
  "fermions (2) + bosons (0) of wavefunction", Rotate, one, {{1}})

check.done()
