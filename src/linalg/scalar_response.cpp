#include "linalg/scalar_response.h"

namespace fermix {

namespace {

using Chain = TriDiagonalMatrixType;
using Star = AndersonMatrixType;
using Orbitals = BADoubleTriDiagonalMatrixType;

template <class Form>
std::uint32_t Levels(const Form& M) {
  return static_cast<std::uint32_t>(M.b.size());
}

template <class Form>
int Convert(const Form& M, Form& R, double) {
  R = M;
  return 0;
}

int Convert(const Star& M, Chain& R, double) { return AndersonMatrixToTriDiagonalMatrix(M, R, Levels(M)); }
int Convert(const ListOfPoles& M, Chain& R, double) {
  return ListOfPolesToTridiagonalMatrix(M, R, Levels(M));
}
int Convert(const Orbitals& M, Chain& R, double) {
  return BADoubleTriDiagonalMatrixToTriDiagonalMatrix(M, R);
}

int Convert(const Chain& M, Star& R, double) { return TriDiagonalMatrixToAndersonMatrix(M, R); }
int Convert(const ListOfPoles& M, Star& R, double) { return ListOfPolesToAndersonMatrix(M, R); }
int Convert(const Orbitals& M, Star& R, double) { return BADoubleTriDiagonalMatrixToAndersonMatrix(M, R); }

int Convert(const Chain& M, ListOfPoles& R, double) { return TriDiagonalMatrixToListOfPoles(M, R); }
int Convert(const Star& M, ListOfPoles& R, double) { return AndersonMatrixToListOfPoles(M, R); }
int Convert(const Orbitals& M, ListOfPoles& R, double) {
  return BADoubleTriDiagonalMatrixToListOfPoles(M, R);
}

int Convert(const Chain& M, Orbitals& R, double w) {
  return TriDiagonalMatrixToBADoubleTriDiagonalMatrix(M, R, w);
}
int Convert(const Star& M, Orbitals& R, double w) {
  return AndersonMatrixToBADoubleTriDiagonalMatrix(M, R, w);
}
int Convert(const ListOfPoles& M, Orbitals& R, double w) {
  return ListOfPolesToBADoubleTridiagonalMatrix(M, R, Levels(M), Levels(M), M.mu, w);
}

}  // namespace

template <class To>
int ConvertScalarResponse(const ScalarResponse& source, To& result, double w) {
  return std::visit([&](const auto& M) { return Convert(M, result, w); }, source);
}
template int ConvertScalarResponse(const ScalarResponse&, TriDiagonalMatrixType&, double);
template int ConvertScalarResponse(const ScalarResponse&, AndersonMatrixType&, double);
template int ConvertScalarResponse(const ScalarResponse&, ListOfPoles&, double);
template int ConvertScalarResponse(const ScalarResponse&, BADoubleTriDiagonalMatrixType&, double);

Complex16 ResponseAt(const ScalarResponse& source, Complex16 z) {
  return std::visit([&](const auto& M) { return ResponseAt(M, z); }, source);
}

}  // namespace fermix
