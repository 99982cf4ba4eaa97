-- Coulomb repulsion as scripts ask for it: its six forms, how they hang together, and what they refuse.
local check = require("check")

-- Terms of a difference below the tolerance are rounding.
local function same(name, a, b) check.equal(name, #Chop(a - b, 1e-12).N, 0) end
local function U(...) return NewOperator("U", ...) end
local function range(first, last, step)
  local list = {}
  for i = first, last, step or 1 do list[#list + 1] = i end
  return list
end
local function number(NF, list)
  local ones = {}
  for i in ipairs(list) do ones[i] = 1 end
  return NewOperator("Number", NF, list, list, ones)
end

-- s, p and d shells on 18 orbitals: by spin, and by j in the order of the jjz basis.
local NF, first = 18, {[0] = 0, 2, 8}
local function spins(l) return range(first[l], first[l] + 4 * l, 2), range(first[l] + 1, first[l] + 4 * l + 1, 2) end
local function byJ(l)
  local plus = {l = l, kappa = -l - 1, j = l + 0.5, orbitals = range(first[l] + 2 * l, first[l] + 4 * l + 1)}
  if l == 0 then return {plus} end
  return {{l = l, kappa = l, j = l - 0.5, orbitals = range(first[l], first[l] + 2 * l - 1)}, plus}
end
local turn = YtojjzMatrix({0, 1, 2})

-- The integrals R[k] that states of good j ask for: A with C, and B with D, couple to k.
local function integrals(R, A, B, C, D)
  local list = {}
  for k = max(abs(A.j - C.j), abs(B.j - D.j)), min(A.j + C.j, B.j + D.j) do
    if (A.l + C.l + k) % 2 == 0 then list[#list + 1] = R[k] end
  end
  return list
end
local function four(A, B, C, D, R)  -- where no k couples the list is empty: the options behind it tell it from options
  return U(NF, A.orbitals, A.kappa, B.orbitals, B.kappa, C.orbitals, C.kappa, D.orbitals, D.kappa, integrals(R, A, B, C, D), {})
end

-- Repulsion between four shells is the sum over their shells of good j.
for _, c in ipairs {{{1, 2, 2, 1}, {1.7, 0.6}}, {{0, 2, 1, 1}, {2.3}}} do
  local l, R = c[1], c[2]
  local arguments, byK, k0 = {}, {}, max(abs(l[1] - l[3]), abs(l[2] - l[4]))
  for _, shell in ipairs(l) do
    arguments[#arguments + 1], arguments[#arguments + 2] = spins(shell)
  end
  for n, x in ipairs(R) do byK[k0 + 2 * n - 2] = x end
  arguments[#arguments + 1] = R
  local sum = NewOperator(NF, 0, {})
  for _, A in ipairs(byJ(l[1])) do
    for _, B in ipairs(byJ(l[2])) do
      for _, C in ipairs(byJ(l[3])) do
        for _, D in ipairs(byJ(l[4])) do sum = sum + four(A, B, C, D, byK) end
      end
    end
  end
  local plain = U(NF, table.unpack(arguments))
  same("four shells", Rotate(plain, turn), sum)
end

-- One shell is each of its two shells of good j, the two together, and what moves electrons between them.
local F = {[0] = 1.3, [2] = 0.8, [4] = 0.5}
local Dn, Up = spins(2)
local plain = U(NF, Dn, Up, {F[0], F[2], F[4]})
local a, b = table.unpack(byJ(2))
local sum = U(NF, a.orbitals, a.kappa, integrals(F, a, a, a, a)) + U(NF, b.orbitals, b.kappa, integrals(F, b, b, b, b)) +
            U(NF, a.orbitals, a.kappa, b.orbitals, b.kappa, integrals(F, a, b, a, b), integrals(F, a, b, b, a))
for _, c in ipairs {{a, a, b, b}, {b, b, a, a}, {a, a, a, b}, {a, a, b, a}, {a, b, a, a}, {b, a, a, a}, {b, b, b, a},
                    {b, b, a, b}, {b, a, b, b}, {a, b, b, b}} do
  sum = sum + four(c[1], c[2], c[3], c[4], F)
end
same("one shell by j", Rotate(plain, turn), sum)

-- The exchange of two shells is the four-shell form in which they change places, counted with either electron first.
local pDn, pUp = spins(1)
local function exchange(R) return 2 * U(NF, pDn, pUp, Dn, Up, Dn, Up, pDn, pUp, R) end
same("exchange", U(NF, pDn, pUp, Dn, Up, {0, 0}, {1.1, 0.7}), exchange {1.1, 0.7})

-- Monopoles count pairs.
local Np, Nd, Na = number(NF, range(2, 7)), number(NF, range(8, 17)), number(NF, a.orbitals)
same("one shell", U(NF, Dn, Up, {1.5, 0, 0}), 0.75 * (Nd * Nd - Nd))
same("two shells", U(NF, pDn, pUp, Dn, Up, {2, 0}, {0, 0}), 2 * Np * Nd)
same("one shell of j", U(NF, a.orbitals, a.kappa, {1.5, 0}), 0.75 * (Na * Na - Na))

local none = NewOperator(4, 0, {})
same("kappa 0", U(4, {}, 0, {0, 1}, -1, {2, 3}, -1, {2, 3}, -1, {}, {}), none)

-- Refusals, in the order of the checks.
local e = "Error in LuaOperatorNewCoulomb, "
local out = " contains a refference outside the range [0,17]"
local ibasis = e .. "Orbitals formatted according to j jz basis, but options state it is an Harmonics basis (ibasis = %d)\n"
local jjz = e .. "Orbitals formatted according to Harmonics basis, but options state it is a jjz basis\n"
local s, two, odd, bad = {0}, {0, 1}, {0, 1, 2}, {18}
local huge = {}
for i = 1, 6001 do huge[i] = 0 end
local j3, j5 = {0, 1, 2, 3}, {4, 5, 6, 7, 8, 9}
for n, c in ipairs {
  -- lists by spin
  {"Index up of forth shell" .. out, 18, s, s, s, s, s, s, s, bad, {0}},
  {jjz, 18, s, two, {}, {{"basis", "jjz"}}},
  {e .. "Lenght of G (1) is not equal to (Min(lA,lB)+1)\n", 18, odd, odd, Dn, Up, {1, 0}, {1}},
  {e .. "For second shell lenght of IndexUp (2) is not equal to 2l+1\n", 18, s, s, two, two, s, s, s, s, {0}},
  {e .. "Lenght of R (2) is not equal to (Min(lA+lC,lB+lD)-Max(Abs(lA-lC),Abs(lB-lD)))/2+1\n",
   18, odd, odd, s, s, odd, odd, s, s, {1, 1}},
  {e .. "a Slater integral is not a finite number\n", 18, odd, odd, {0 / 0, 0}},
  {"Coulomb repulsion is not available for so large an angular momentum\n", 1, huge, huge, s, s, s, s, huge, huge, {1}},
  -- lists by j
  {ibasis:format(2), 18, bad, 2, {1, 2}, {{"basis", "K"}}},
  {e .. "Lenght of Index for first J shell (3) is not equal to 2j+1 for half integer j\n", 18, odd, 2, s, 2, {}, {0}},
  {e .. "j (1/2) is not equal to |kappa|-1/2 (kappa = -2147483648)\n", 4, two, -1e300, {1, 2}},
  {e .. "Lenght of G (1) is not equal to (Min(2 j1 (3),2 j2 (5))+1)/2\n", 18, j3, 2, j5, -3, {1, 2}, {1}},
  {e .. "lA(1)+lB(2)+lC(1)+lD(1) should be even.", 18, j3, -2, j5, -3, two, 1, two, 1, {1}},
} do
  check.error("refusal " .. n, c[1], NewOperator, "U", table.unpack(c, 2))
end

check.done()
