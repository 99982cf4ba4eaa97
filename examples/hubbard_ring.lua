-- A half-filled Hubbard ring of 8 sites: its lowest states and its local spectral function.
--
--     scripts/run examples/hubbard_ring.lua [DIRECTORY]
--
--     H = -t sum_<ij>,s (c+_is c_js + c+_js c_is) + U sum_i n_i,up n_i,dn - U/2 sum_i n_i
--
-- Spin-orbital 2 i is site i with spin down, 2 i + 1 with spin up. The script prints the states and writes the
-- spectral function to hubbard_ring.dat in DIRECTORY (the current one without it): removal of an electron and addition
-- of one at site 0. In gnuplot:
--
--     plot "hubbard_ring.dat" using (-$1):(-$3/pi) with lines title "removal", \
--          "" using 1:(-$5/pi) with lines title "addition"

directory = args and args[1] or "."
Nsites, t, U = 8, 1, 8
NF, NB = 2 * Nsites, 0

terms = {}
for i = 0, Nsites - 1 do
  local j = (i + 1) % Nsites
  for s = 0, 1 do
    table.insert(terms, {2 * i + s, -(2 * j + s), -t})  -- create at i, annihilate at j
    table.insert(terms, {2 * j + s, -(2 * i + s), -t})
    table.insert(terms, {2 * i + s, -(2 * i + s), -U / 2})
  end
  table.insert(terms, {2 * i, -(2 * i), 2 * i + 1, -(2 * i + 1), U})
end
H = NewOperator(NF, NB, terms)
H.Name = "Hubbard ring"

Up, Dn = {}, {}
for i = 0, Nsites - 1 do Dn[i + 1], Up[i + 1] = 2 * i, 2 * i + 1 end
Ssqr = NewOperator("Ssqr", NF, Up, Dn)
Sz = NewOperator("Sz", NF, Up, Dn)

-- The double occupation of a site, averaged over the ring.
double = {}
for i = 0, Nsites - 1 do table.insert(double, {2 * i, -(2 * i), 2 * i + 1, -(2 * i + 1), 1 / Nsites}) end
Docc = NewOperator(NF, NB, double)
Docc.Name = "double"

-- Half filling with as many electrons of either spin: 4900 determinants.
AllDn = DeterminantString(NF, Dn)
AllUp = DeterminantString(NF, Up)
psi = Eigensystem(H, {NF, NB, {AllDn, Nsites / 2, Nsites / 2}, {AllUp, Nsites / 2, Nsites / 2}}, 5)

print("The lowest states of the half-filled ring")
PrintExpectationValues(psi, {Ssqr, Sz, Docc}, H, {{"colWidth", 12}})

-- The local spectral function: an electron of spin up leaves site 0, or is added to it. The first is a function of
-- the energy of the hole, so that it stands mirrored in the usual plot.
S, chains = CreateSpectra(H, {NewOperator("An", NF, 1), NewOperator("Cr", NF, 1)}, psi[1],
                          {{"Emin", -2}, {"Emax", 12}, {"NE", 2800}, {"Gamma", 0.1}, {"NTri", 150}})
print(string.format("Weight of removal %.9f and of addition %.9f, together %.9f", S.Integral[1] ^ 2, S.Integral[2] ^ 2,
                    S.Integral[1] ^ 2 + S.Integral[2] ^ 2))
S.Print({{"file", directory .. "/hubbard_ring.dat"}})
