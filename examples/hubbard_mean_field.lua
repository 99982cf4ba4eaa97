-- Mean field against the exact solution: the half-filled Hubbard ring of 6 sites for growing U.
--
--     H = -t sum_<ij>,s (c+_is c_js + c+_js c_is) + U sum_i n_i,up n_i,dn
--
-- Spin-orbital 2 i is site i with spin down, 2 i + 1 with spin up. Unrestricted Hartree-Fock finds the solution near to
-- the density it starts from: one start without a moment, one with the moments of an antiferromagnet. The first stays
-- paramagnetic, as nothing breaks its symmetry; the second keeps its moments where they lower the energy. The exact
-- ground state is a singlet without moments and lies below both. The script prints energies and the staggered moment.

Nsites, t, Nelectrons, temperature = 6, 1, 6, 0.001
NF, NB = 2 * Nsites, 0

Hopping, Interaction = {}, {}
for i = 0, Nsites - 1 do
  local j = (i + 1) % Nsites
  for s = 0, 1 do
    table.insert(Hopping, {2 * i + s, -(2 * j + s), -t})  -- create at i, annihilate at j
    table.insert(Hopping, {2 * j + s, -(2 * i + s), -t})
  end
  table.insert(Interaction, {2 * i, -(2 * i), 2 * i + 1, -(2 * i + 1), 1})
end
Hopping, Interaction = NewOperator(NF, NB, Hopping), NewOperator(NF, NB, Interaction)

-- +1 where an antiferromagnet has the electron: spin down on even sites, spin up on odd ones.
function Sign(orbital)
  local site, spin = math.floor(orbital / 2), orbital % 2
  return (site + spin) % 2 == 0 and 1 or -1
end

-- The density matrix rho[i][j] = <a+_i a_j> to start from, here diagonal.
function StartDensity(moment)
  local rho = {}
  for i = 1, NF do
    rho[i] = {}
    for j = 1, NF do rho[i][j] = 0 end
    rho[i][i] = Nelectrons / NF + moment * Sign(i - 1)
  end
  return rho
end

-- |n_up - n_dn| on a site, averaged.
function StaggeredMoment(rho)
  local sum = 0
  for i = 1, NF do sum = sum + Sign(i - 1) * Complex.Re(rho[i][i]) end
  return sum / Nsites
end

AllOrbitals = string.rep("1", NF)
rows = {}
for _, U in ipairs({0.5, 1, 2, 4, 8}) do
  local H = Hopping + U * Interaction
  local rhoPM, energyPM = MeanFieldGroundState(H, StartDensity(0), temperature)
  local rhoAFM, energyAFM = MeanFieldGroundState(H, StartDensity(0.4), temperature)
  local psi = Eigensystem(H, {NF, NB, {AllOrbitals, Nelectrons, Nelectrons}}, 1)
  table.insert(rows, string.format("%5.1f %12.6f %12.6f %12.6f %9.3f", U, energyPM, energyAFM, psi * H * psi,
                                   StaggeredMoment(rhoAFM)))
end
print("\n    U   paramagnet  antiferrom.        exact    moment")
print(table.concat(rows, "\n"))
