// Scalar response functions as a list of poles: G(w) = a0 + sum_k b[k] / (w - a[k]).
//
// Besides sums and differences this is the form in which a function is split at the chemical potential,
// thinned out and put on a grid.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "linalg/compact_matrix.h"

namespace fermix {

struct ListOfPoles {
  std::string name = "List Of Poles";
  std::vector<double> a;  // energies
  std::vector<double> b;  // weights, already squared
  double a0 = 0;          // constant of the function
  double mu = 0;          // chemical potential; takes part only in splits
};

// G at the complex energy z.
Complex16 ResponseAt(const ListOfPoles& P, Complex16 z);

bool QFinite(const ListOfPoles& P);

// Sorts by energy, ascending; equal energies keep their order. Throws bad_alloc after a line.
void OrderListOfPoles(ListOfPoles& P);

// A += B: the poles of B stand behind those of A, constants add. mu and name of A stay. Throws bad_alloc
// after a line.
void AddListOfPoles(ListOfPoles& A, const ListOfPoles& B);

// The part of P below, and the part above mu. A pole at energy e counts to the lower part with
// (1 + (mu - e) / w) / 2 within mu - w .. mu + w, with 1 below and with 0 above, to the upper part with the
// rest; with w = 0 a pole at mu itself belongs to the lower part. Both parts keep all poles, also those of
// weight 0; their constant is 0, for it belongs to neither. w is finite and not negative.
ListOfPoles ListOfPolesCopyVal(const ListOfPoles& P, double mu, double w);
ListOfPoles ListOfPolesCopyCon(const ListOfPoles& P, double mu, double w);

// Sorts P and takes poles away, the one of smallest weight first, until n are left, but at least one. The
// weight goes to the neighbours, linearly in their distance; a neighbour moves, so that the sum and the first
// moment of all weights stay. Negative weights have no neighbours to go to: they are dropped. Nothing happens
// when there are fewer than n poles.
void ReduceListOfPolesNumber(ListOfPoles& P, std::uint32_t n);

// The poles of G_k(w) = <v_k| (w - A)^-1 |v_k> for each row v_k of V, A Hermitian; all on the eigenvalues of
// A. V has one row for each list and as many columns as A. Eigenvectors, as rows, go to vectors if it is not
// null. Status 1 after a line when LAPACK fails or the shapes don't fit.
[[nodiscard]] int HermitianCompactMatrixToListOfPoles(const CompactMatrixType& A,
                                                      std::vector<ListOfPoles>& poles,
                                                      const CompactMatrixType& V,
                                                      CompactMatrixType* vectors = nullptr);

}  // namespace fermix
