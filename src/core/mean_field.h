// Mean field: operators of at most two-particle form reduced to one-particle form under a one-particle
// density matrix (Hartree-Fock decoupling, unrestricted), and that reduction iterated to self-consistency.
//
// The density matrix holds Rho[i][j] = <a+_i a_j>, NFermion by NFermion, real or complex. A two-particle term
// v a+_i a+_j a_k a_l becomes
//
//     v ( a+_i a_l Rho[j][k] + a+_j a_k Rho[i][l] - a+_i a_k Rho[j][l] - a+_j a_l Rho[i][k] )
//   + v ( Rho[i][k] Rho[j][l] - Rho[i][l] Rho[j][k] ),
//
// of which the second line is a constant: it takes back the double counting, so that under Rho the result has
// the energy of the term. As a trace a constant c stands as c / trace(Rho) on every diagonal element, which
// has the same energy under Rho; constants vanish then when trace(Rho) is 0.
//
// AddDFTSelfInteraction gives the potential of a local-density functional in place of that of Hartree-Fock,
// in which an electron is free of its own field. With U the average over the n (n - 1) / 2 pairs of the n
// orbitals involved of direct minus exchange interaction, the coefficient of n_i n_j, it adds
//
//     E = U/2 ( Tr(Rho Rho) - Tr Rho ),     a potential of U ( Rho[j][i] - delta_ij / 2 ) at element (i, j),
//
// that is, U N (N - 1) / 2 for the energy of N electrons in the shell, with a potential U (N - 1/2) that is
// the same for filled and empty orbitals. The energy is 0 for integer occupations. It is the correction of
// DFT+U in its rotationally invariant form with the other sign. The constant that belongs to it is - U/2
// Tr(Rho Rho). It is meant for the interaction of one shell: U is one number for all orbitals involved, which
// are those that occur in two-particle terms, in the partial form only the listed ones. Source: Dudarev et
// al., Phys. Rev. B 57 (1998) 1505; Anisimov et al., Phys. Rev. B 48 (1993) 16929.
#pragma once

#include "core/operator.h"
#include "linalg/compact_matrix.h"

namespace fermix {

// Where the constants of a decoupled operator go: to length 0, to the diagonal, or nowhere.
enum class MeanFieldOffset { Constant, Trace, None };

struct MeanFieldSettings {
  MeanFieldOffset offset = MeanFieldOffset::Constant;
  bool AddDFTSelfInteraction = false;
};

// All of these give status 1 after a line, and leave their results alone, when a term of O is not built of as
// many creators as annihilators of fermions, at most two, when MaxLength of O exceeds 4, or when Rho does not
// fit or holds a number that is not finite. Results are complex when O or Rho is.

// The matrix of the decoupled operator, constants on the diagonal: sum_ij M[i][j] Rho[i][j] is the energy of
// O under Rho, in a single determinant the expectation value.
[[nodiscard]] int MeanFieldOperatorOneElectronMatrix(const OperatorType& O, CompactMatrixType& M,
                                                     const CompactMatrixType& Rho);
[[nodiscard]] int MeanFieldOperatorOneElectronMatrixWithDFTInteraction(const OperatorType& O,
                                                                       CompactMatrixType& M,
                                                                       const CompactMatrixType& Rho);

// The decoupled operator, in normal order, with name, space and restrictions of O.
[[nodiscard]] int MeanFieldOperator(const OperatorType& O, OperatorType& Result, const CompactMatrixType& Rho,
                                    const MeanFieldSettings& settings = {});

// The same, where two-particle terms on none of the listed orbitals (below NFermion) stay as they are.
[[nodiscard]] int partialMeanFieldOperator(const OperatorType& O, OperatorType& Result,
                                           const CompactMatrixType& Rho,
                                           const std::vector<std::uint32_t>& indices,
                                           const MeanFieldSettings& settings = {});

// The self-consistent density matrix of a Hermitian O at a temperature (an energy, 0 or more), for as many
// electrons as the trace of the Rho that comes in, which is where the search starts: it finds a solution near
// by, and breaks no symmetry that Rho has. energy is the energy of O under the density; constants count
// unless there are no electrons.
//
// The search ends when the energy and the density that comes out of a step have settled; the density matrix
// is left with an error of the order of the root of that of the energy. Densities are mixed linearly, after
// 700 steps as Pulay does. When nothing has settled after 1000 steps, the energies are listed and the last
// density is given. Status 1 also when O or Rho is not Hermitian within 1e-8 of its largest element, or the
// electrons can't be distributed (core/thermal_filling.h).
[[nodiscard]] int MeanFieldGroundstate(const OperatorType& O, CompactMatrixType& Rho, double temperature,
                                       double& energy);

}  // namespace fermix
