#include "atomic/symmetric_operators.h"

#include <cassert>
#include <cmath>
#include <numbers>

#include "atomic/angular_momentum.h"
#include "atomic/basis_change.h"

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

// The matrix that takes r where the symmetry does: Rodrigues' formula.
CompactMatrixType MatrixOnPoints(const Symmetry& s) {
  const double angle = 2 * std::numbers::pi / s.fold, length = std::hypot(s.axis[0], s.axis[1], s.axis[2]);
  const double n[] = {s.axis[0] / length, s.axis[1] / length, s.axis[2] / length};
  const double cosine = std::cos(angle), sine = std::sin(angle), sign = s.inverted ? -1 : 1;
  CompactMatrixType R = InitCompactMatrix(3, 3, false);
  auto& data = std::get<std::vector<double>>(R.Data);
  for (int i = 0; i < 3; ++i) {
    const int j = (i + 1) % 3, k = (i + 2) % 3;
    data[3 * i + i] = sign * (cosine + (1 - cosine) * n[i] * n[i]);
    data[3 * i + j] = sign * ((1 - cosine) * n[i] * n[j] - sine * n[k]);
    data[3 * j + i] = sign * ((1 - cosine) * n[i] * n[j] + sine * n[k]);
  }
  return R;
}

// The rotation that puts a cube on its corner: it takes x, y and z to the 4-fold axes, the last of which is
// given.
CompactMatrixType CubeOnCorner(const double (&axis)[3]) {
  const CompactMatrixType third = MatrixOnPoints({{0, 0, 1}, 3});
  CompactMatrixType R = InitCompactMatrix(3, 3, false);
  const double length = std::hypot(axis[0], axis[1], axis[2]);
  std::vector<double> column = {axis[0] / length, axis[1] / length, axis[2] / length};
  for (int j : {2, 0, 1}) {  // a third of a turn takes z to x and x to y
    for (int i = 0; i < 3; ++i) std::get<std::vector<double>>(R.Data)[3 * i + j] = column[i];
    std::vector<double> next(3);
    for (int i = 0; i < 3; ++i)
      for (int k = 0; k < 3; ++k) next[i] += At(third, i, k) * column[k];
    column = next;
  }
  return R;
}

// Conjugated YToKMatrix: it takes a matrix on Y(l, m) to the functions of the rows.
CompactMatrixType ToFunctions(int l) {
  CompactMatrixType u = YToKMatrix(4 * l + 2, false);
  CompactMatrixConjugate(u);
  return u;
}

// <j - 1, m - q; 1, q | j, m> but for a factor (-1)^m, which products of two such for D have in pairs with
// that of the 3j symbol.
double Coupling(int j, int m, int q) {
  const double value = std::sqrt(2.0 * j + 1) * ThreeJSymbol(j - 1, m - q, 1, q, j, -m);
  return m % 2 == 0 ? value : -value;
}

// D(l) with Y(l, m)(R^-1 r) = sum_m' Y(l, m')(r) D(m', m), from D(1), which is R itself on x, y and z, by
// coupling of angular momenta. It so holds for a reflection as well.
CompactMatrixType MatrixOnShell(const CompactMatrixType& R, int l) {
  const CompactMatrixType D1 = TransformedBack(R, ToFunctions(1));
  CompactMatrixType D = InitCompactIdentityMatrix(1, 1);
  for (int j = 1; j <= l; ++j) {
    const CompactMatrixType previous = std::move(D);
    D = InitCompactMatrix(2 * j + 1, 2 * j + 1, true);
    auto& data = std::get<std::vector<Complex16>>(D.Data);
    const auto sum = [&](int m1, int m2) {
      Complex16 z = 0;
      for (int q1 = -1; q1 <= 1; ++q1)
        for (int q2 = -1; q2 <= 1; ++q2) {
          if (std::abs(m1 - q1) >= j || std::abs(m2 - q2) >= j) continue;
          z += Coupling(j, m1, q1) * Coupling(j, m2, q2) *
               CompactMatrixElement(previous, m1 - q1 + j - 1, m2 - q2 + j - 1) *
               CompactMatrixElement(D1, q1 + 1, q2 + 1);
        }
      return z;
    };
    for (int m1 = -j; m1 <= j; ++m1)
      for (int m2 = -j; m2 <= j; ++m2) data[(m1 + j) * (2 * j + 1) + m2 + j] = sum(m1, m2);
  }
  return D;
}

// The same on the functions of the rows of YToKMatrix, where it is real.
CompactMatrixType MatrixOnFunctions(const Symmetry& s, int l) {
  CompactMatrixType D = Transformed(MatrixOnShell(MatrixOnPoints(s), l), ToFunctions(l));
  CompactMatrixChop(D, Zero);
  assert(!IsComplexMatrix(D));
  return Orthogonal(D);
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
  const CompactMatrixType turn =
      turned ? MatrixOnShell(CubeOnCorner(group.cubeAxis), l) : CompactMatrixType{};
  for (auto& O : operators) {
    O.matrix = TransformedBack(std::move(O.matrix), u);
    if (turned) O.matrix = Transformed(std::move(O.matrix), turn);
  }
  return operators;
}

}  // namespace fermix
