#include "atomic/symmetric_operators.h"

#include <cassert>
#include <cmath>
#include <numbers>

#include "atomic/basis_change.h"
#include "atomic/shell_rotation.h"

namespace fermix {

namespace {

// Matrices here have elements of order 1 and errors of some 1e-15; what differs at all differs by far more.
constexpr double Zero = 1e-9;

double At(const CompactMatrixType& m, std::uint32_t i, std::uint32_t j) {
  return std::get<std::vector<double>>(m.Data)[i * m.Nj + j];
}

void Add(CompactMatrixType& a, const CompactMatrixType& b, double factor) {
  [[maybe_unused]] const int status = CompactMatrixAdd(a, b, factor);
  assert(status == 0);
}
CompactMatrixType Product(const CompactMatrixType& a, const CompactMatrixType& b, char opB = 'N') {
  CompactMatrixType c;
  [[maybe_unused]] const int status = CompactMatrixMultiply('N', opB, a, b, c);
  assert(status == 0);
  return c;
}
// u m u^dagger, and the way back.
CompactMatrixType Transformed(CompactMatrixType m, const CompactMatrixType& u) {
  [[maybe_unused]] const int status = TransformCompactMatrixInlineNC(m, u);
  assert(status == 0);
  return m;
}
CompactMatrixType TransformedBack(CompactMatrixType m, const CompactMatrixType& u) {
  [[maybe_unused]] const int status = TransformCompactMatrixInlinecT(m, u);
  assert(status == 0);
  return m;
}

// A step of Newton's iteration towards the nearest orthogonal matrix: takes the rounding out of one that is
// orthogonal but for it.
CompactMatrixType Orthogonal(const CompactMatrixType& m) {
  CompactMatrixType factor = InitCompactIdentityMatrix(m.Ni, m.Ni);
  CompactMatrixScale(factor, 1.5);
  Add(factor, Product(m, m, 'T'), -0.5);
  return Product(factor, m);
}

double SumOfSquares(const CompactMatrixType& m) {
  double sum = 0;
  for (double x : std::get<std::vector<double>>(m.Data)) sum += x * x;
  return sum;
}

// The product of column i of a with column j of b as a row.
CompactMatrixType OuterProduct(const CompactMatrixType& a, std::uint32_t i, const CompactMatrixType& b,
                               std::uint32_t j) {
  CompactMatrixType m = InitCompactMatrix(a.Ni, b.Ni, false);
  auto& data = std::get<std::vector<double>>(m.Data);
  for (std::uint32_t p = 0; p < a.Ni; ++p)
    for (std::uint32_t q = 0; q < b.Ni; ++q) data[p * b.Ni + q] = At(a, p, i) * At(b, q, j);
  return m;
}

// --- Symmetries as matrices

// Conjugated YToKMatrix: it takes a matrix on Y(l, m) to the functions of the rows.
CompactMatrixType ToFunctions(int l) {
  CompactMatrixType u = YToKMatrix(4 * l + 2, false);
  CompactMatrixConjugate(u);
  return u;
}

// The matrix of a symmetry on the functions of the rows, where it is real.
CompactMatrixType MatrixOnFunctions(const Symmetry& s, int l) {
  CompactMatrixType R = RotationOfPoints(s.axis, 2 * std::numbers::pi / s.fold);
  if (s.inverted) CompactMatrixScale(R, -1);
  CompactMatrixType D = Transformed(RotationOfHarmonics(R, l), ToFunctions(l));
  CompactMatrixChop(D, Zero);
  assert(!IsComplexMatrix(D));
  return Orthogonal(D);
}

// The rotation, on Y(l, m), that puts a cube on its corner: it takes the diagonal (111) to z, which turns the
// 4-fold axis z away from it to the azimuth 5 pi / 4, and then this to the azimuth of the axis given.
CompactMatrixType CubeOnCorner(const double (&axis)[3], int l) {
  const double tilt = std::acos(std::numbers::inv_sqrt3), pi = std::numbers::pi;
  const double angle = std::atan2(axis[1], axis[0]) - 5 * pi / 4;
  return Product(RotationOfHarmonics(RotationOfPoints({0, 0, 1}, angle), l),
                 RotationOfHarmonics(RotationOfPoints({1, -1, 0}, tilt), l));
}

// --- A group of matrices

using Matrices = std::vector<CompactMatrixType>;

bool QContains(const Matrices& list, const CompactMatrixType& m) {
  for (CompactMatrixType difference : list) {
    Add(difference, m, -1);
    if (SumOfSquares(difference) < Zero) return true;
  }
  return false;
}

// All products of the generators. Rounding is taken out of each, so that it does not pile up.
Matrices Closure(const Matrices& generators, std::uint32_t size) {
  Matrices group = {InitCompactIdentityMatrix(size, size)};
  for (std::size_t i = 0; i < group.size(); ++i)
    for (const auto& g : generators) {
      CompactMatrixType product = Orthogonal(Product(g, group[i]));
      if (!QContains(group, product)) group.push_back(std::move(product));
    }
  return group;
}

// The mean of h m h^T over the group: the part of m that the group leaves as it is.
CompactMatrixType Average(const CompactMatrixType& m, const Matrices& group) {
  CompactMatrixType sum = InitCompactMatrix(m.Ni, m.Nj, false);
  for (const auto& h : group) Add(sum, Transformed(m, h), 1.0 / static_cast<double>(group.size()));
  return sum;
}

// The mean of a class of elements and their inverses. By Schur's lemma it is a number on each representation:
// the character divided by the dimension.
CompactMatrixType ClassMean(const CompactMatrixType& element, const Matrices& group) {
  CompactMatrixType mean = Average(element, group), inverse = mean;
  CompactMatrixTranspose(inverse);
  Add(mean, inverse, 1);
  CompactMatrixScale(mean, 0.5);
  return mean;
}

double ClassValue(const Representation& r, std::size_t generator) {
  return r.characters[generator] / r.dimension;
}

// A step of the iteration P <- 3 P^2 - 2 P^3, which takes the rounding out of a projector.
CompactMatrixType Idempotent(const CompactMatrixType& P) {
  const CompactMatrixType square = Product(P, P);
  CompactMatrixType result = Product(square, P);
  CompactMatrixScale(result, -2);
  Add(result, square, 3);
  return result;
}

// The projector on all functions that belong to a representation: for each other one a factor that is 1 on
// the one and 0 on the other.
CompactMatrixType Projector(const Representation& wanted, const PointGroup& group,
                            const Matrices& classMeans) {
  const std::uint32_t size = classMeans[0].Ni;
  const CompactMatrixType one = InitCompactIdentityMatrix(size, size);
  CompactMatrixType P = one;
  for (const auto& other : group.representations) {
    if (&other == &wanted) continue;
    std::size_t g = 0;  // the generator that tells them apart
    while (ClassValue(wanted, g) == ClassValue(other, g)) ++g;
    CompactMatrixType factor = classMeans[g];
    Add(factor, one, -ClassValue(other, g));
    CompactMatrixScale(factor, 1 / (ClassValue(wanted, g) - ClassValue(other, g)));
    P = Product(factor, P);
  }
  return Idempotent(P);
}

// --- Sets of functions

// A set of functions that forms one representation: its projector, and the row at which it begins.
struct FunctionSet {
  CompactMatrixType projector;
  std::uint32_t row;
};

// The sets into which the functions of P fall, in the order of the rows. The images of a vector v of the set
// average to |v|^2 / dimension times its projector.
std::vector<FunctionSet> FunctionSets(CompactMatrixType P, int dimension, const Matrices& group) {
  std::vector<FunctionSet> sets;
  for (std::uint32_t row = 0; row < P.Ni; ++row) {
    const double norm = At(P, row, row);  // of the projected row
    if (norm < Zero) continue;
    CompactMatrixType set = Average(OuterProduct(P, row, P, row), group);
    CompactMatrixScale(set, dimension / norm);
    Add(P, set, -1);
    sets.push_back({std::move(set), row});
  }
  return sets;
}

// The map of set b on set a that goes well with the group, and its adjoint.
CompactMatrixType Exchange(const FunctionSet& a, const FunctionSet& b, int dimension, const Matrices& group) {
  for (std::uint32_t row = b.row; row < b.projector.Ni; ++row) {
    CompactMatrixType map = Average(OuterProduct(a.projector, a.row, b.projector, row), group);
    const double squares = SumOfSquares(map);
    if (squares < Zero) continue;
    CompactMatrixScale(map, std::sqrt(dimension / squares));
    CompactMatrixType adjoint = map;
    CompactMatrixTranspose(adjoint);
    Add(map, adjoint, 1);
    return map;
  }
  assert(false);  // sets of one representation are alike
  return InitCompactMatrix(a.projector.Ni, a.projector.Nj, false);
}

// The operators of one representation on the functions of the rows.
void AppendOperators(std::vector<SymmetricOperator>& operators, const std::string& name,
                     const std::vector<FunctionSet>& sets, int dimension, const Matrices& group) {
  const auto label = [&](std::size_t i) {
    return sets.size() == 1 ? name : name + "(" + std::to_string(i + 1) + ")";
  };
  for (std::size_t i = 0; i < sets.size(); ++i) operators.push_back({label(i), sets[i].projector});
  for (std::size_t i = 0; i < sets.size(); ++i)
    for (std::size_t j = i + 1; j < sets.size(); ++j) {
      std::string element{'<'};
      element += label(i) + "|V|" + label(j) + ">";
      operators.push_back({std::move(element), Exchange(sets[i], sets[j], dimension, group)});
    }
}

}  // namespace

std::vector<SymmetricOperator> SymmetricOperators(const PointGroup& group, int l) {
  Matrices generators, classMeans;
  for (const auto& s : group.generators) generators.push_back(MatrixOnFunctions(s, l));
  const Matrices elements = Closure(generators, 2 * l + 1);
  for (const auto& g : generators) classMeans.push_back(ClassMean(g, elements));

  std::vector<SymmetricOperator> operators;
  for (const auto& r : group.representations) {
    const auto sets = FunctionSets(Projector(r, group, classMeans), r.dimension, elements);
    const char* parity = !group.parity ? "" : l % 2 == 0 ? "g" : "u";
    AppendOperators(operators, r.name + std::string(parity), sets, r.dimension, elements);
  }

  const bool turned = group.cubeAxis[2] != 0;
  const CompactMatrixType u = ToFunctions(l);
  const CompactMatrixType turn = turned ? CubeOnCorner(group.cubeAxis, l) : CompactMatrixType{};
  for (auto& O : operators) {
    O.matrix = TransformedBack(std::move(O.matrix), u);
    if (turned) O.matrix = Transformed(std::move(O.matrix), turn);
  }
  return operators;
}

}  // namespace fermix
