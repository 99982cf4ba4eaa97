#include "core/mean_field.h"

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "core/density_mixing.h"
#include "core/normal_order.h"
#include "core/thermal_filling.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"

namespace fermix {

namespace {

// Traces whose square is no larger count as 0: no constant can be spread over them.
constexpr double NoTrace = DBL_EPSILON;
// Imaginary part of a trace, relative to the real one, that is rounding.
constexpr double TraceNoise = 10 * DBL_EPSILON;

// Which orbitals a partial decoupling works on.
using OrbitalFlags = std::vector<bool>;

// A term that Hartree-Fock reduces: as many creators as annihilators, of fermions.
bool QReducible(const LadderIndex* lader, std::uint32_t length, std::uint32_t NFermion) {
  const auto creators = static_cast<std::uint32_t>(std::count_if(lader, lader + length, QCreation));
  return 2 * creators == length && std::all_of(lader, lader + length, [NFermion](LadderIndex l) {
           return LadderOrbital(l) < NFermion;
         });
}

int NotReducible() {
  return Fail(
      "ERROR: MeanFieldOperator only implemented to reduce a 2, 1 and 0 particle operator to a 1 particle "
      "operator\n");
}

// What all forms check first; gives O in normal order.
int PrepareMeanField(const OperatorType& O, const CompactMatrixType& Rho, OperatorType& ordered) {
  const std::uint32_t NFermion = O.layout.NFermion;
  if (MaxLength(O) > 4) return NotReducible();
  for (const std::uint32_t length : {1u, 3u})
    if (length <= MaxLength(O) && TermCount(O.l[length])) return NotReducible();
  if (Rho.Ni != Rho.Nj)
    return Fail("ERROR: Density matrix should be a square matrix in MeanFieldOperatorOneElectronMatrix\n");
  if (Rho.Ni != NFermion)
    return Fail(
        "ERROR: Density matrix should have dimensions of NFermion by NFermion of operator in "
        "MeanFieldOperatorOneElectronMatrix\n");
  if (!QFinite(Rho))
    return Fail("ERROR: Density matrix is not finite in MeanFieldOperatorOneElectronMatrix\n");

  OperatorType result = NormalOrderOperator(O, QDetNotOrderedFcFaBcBa);
  bool reducible = true;
  ForEachTerm(result, [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    reducible = reducible && (v == Complex16(0) || QReducible(lader, length, NFermion));
  });
  if (!reducible) return NotReducible();
  if (!QFinite(result)) return Fail("ERROR: Operator is not finite in MeanFieldOperatorOneElectronMatrix\n");
  ordered = std::move(result);
  return 0;
}

// Reads a density matrix of either kind, and spreads constants over its trace.
class Density {
 public:
  explicit Density(CompactMatrixType Rho) : size_(Rho.Ni) {
    MakeCompactRealMatrixComplex(Rho);
    elements_ = std::move(std::get<1>(Rho.Data));
    for (std::uint32_t i = 0; i < size_; ++i) trace_ += (*this)(i, i);
    if (std::fabs(trace_.im) < TraceNoise * trace_.re) trace_.im = 0;
  }
  Complex16 operator()(std::uint32_t i, std::uint32_t j) const {
    return elements_[std::size_t{i} * size_ + j];
  }
  std::uint32_t size() const { return size_; }

  // Calls hop(x, x, c / trace) for every orbital x.
  template <class Hop>
  void SpreadConstant(Complex16 c, Hop&& hop) const {
    if (!(NormSqr(trace_) > NoTrace)) return;
    for (std::uint32_t x = 0; x < size(); ++x) hop(x, x, c / trace_);
  }

 private:
  std::uint32_t size_;
  std::vector<Complex16> elements_;
  Complex16 trace_;
};

// The orbitals of a+_i a+_j a_k a_l.
struct PairTerm {
  std::uint32_t i, j, k, l;
  explicit PairTerm(const LadderIndex* lader)
      : i(LadderOrbital(lader[3])),
        j(LadderOrbital(lader[2])),
        k(LadderOrbital(lader[1])),
        l(LadderOrbital(lader[0])) {}
};

bool QListed(const LadderIndex* lader, std::uint32_t length, const OrbitalFlags& listed) {
  return std::any_of(lader, lader + length, [&](LadderIndex l) { return listed[LadderOrbital(l)]; });
}

// Calls hop(i, j, value) for what goes with a+_i a_j, and keep(lader, value) for the two-particle terms
// without a listed orbital. Returns the constant.
template <class Hop, class Keep>
Complex16 Decouple(const OperatorType& ordered, const Density& rho, const OrbitalFlags& listed, Hop&& hop,
                   Keep&& keep) {
  Complex16 constant = 0;
  ForEachTerm(ordered, [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    if (v == Complex16(0)) return;
    if (length == 0) {
      constant += v;
    } else if (length == 2) {
      hop(LadderOrbital(lader[1]), LadderOrbital(lader[0]), v);
    } else if (!QListed(lader, length, listed)) {
      keep(lader, v);
    } else {
      const auto [i, j, k, l] = PairTerm(lader);
      hop(i, k, -(v * rho(j, l)));
      hop(i, l, v * rho(j, k));
      hop(j, k, v * rho(i, l));
      hop(j, l, -(v * rho(i, k)));
      constant += v * (rho(i, k) * rho(j, l) - rho(i, l) * rho(j, k));
    }
  });
  return constant;
}

// Direct minus exchange interaction of two electrons, averaged over all pairs of different orbitals among the
// listed ones that occur in two-particle terms; involved is set for these. 0 for fewer than two.
Complex16 AverageInteraction(const OperatorType& ordered, const OrbitalFlags& listed,
                             OrbitalFlags& involved) {
  Complex16 sum = 0;
  involved.assign(listed.size(), false);
  ForEachTerm(ordered, [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    if (length != 4 || v == Complex16(0)) return;
    for (const LadderIndex* l = lader; l < lader + length; ++l)
      if (listed[LadderOrbital(*l)]) involved[LadderOrbital(*l)] = true;
    const auto [i, j, k, l] = PairTerm(lader);
    if (!listed[i] || !listed[j]) return;
    if (i == l && j == k) sum += v;
    if (i == k && j == l) sum -= v;
  });
  const auto n = static_cast<double>(std::count(involved.begin(), involved.end(), true));
  return n < 2 ? 0 : sum / (n * (n - 1) / 2);
}

// What AddDFTSelfInteraction adds: calls hop for the potential, returns the constant.
template <class Hop>
Complex16 SelfInteraction(const OperatorType& ordered, const Density& rho, const OrbitalFlags& listed,
                          Hop&& hop) {
  OrbitalFlags involved;
  const Complex16 U = AverageInteraction(ordered, listed, involved);
  Complex16 square = 0;  // Tr(Rho Rho)
  for (std::uint32_t i = 0; i < rho.size(); ++i)
    for (std::uint32_t j = 0; j < rho.size(); ++j) {
      if (!involved[i] || !involved[j]) continue;
      hop(i, j, U * (rho(j, i) - (i == j ? 0.5 : 0)));
      square += rho(i, j) * rho(j, i);
    }
  return -(U * square * 0.5);
}

// Decoupling of all terms into a matrix; ordered and Rho are checked.
CompactMatrixType OneElectronMatrix(const OperatorType& ordered, const CompactMatrixType& Rho,
                                    bool AddDFTSelfInteraction) {
  const std::uint32_t n = Rho.Ni;
  CompactMatrixType M = InitCompactMatrix(n, n, QComplex(ordered) != 0 || IsComplexMatrix(Rho));
  const Density rho(Rho);
  const OrbitalFlags all(n, true);
  std::visit(
      [&](auto& data) {
        using T = std::decay_t<decltype(data[0])>;
        const auto hop = [&](std::uint32_t i, std::uint32_t j, Complex16 v) {
          data[std::size_t{i} * n + j] += ToKind<T>(v);
        };
        Complex16 constant = Decouple(ordered, rho, all, hop, [](const LadderIndex*, Complex16) {});
        if (AddDFTSelfInteraction) constant += SelfInteraction(ordered, rho, all, hop);
        rho.SpreadConstant(constant, hop);
      },
      M.Data);
  return M;
}

int CheckedOneElectronMatrix(const OperatorType& O, CompactMatrixType& M, const CompactMatrixType& Rho,
                             bool AddDFTSelfInteraction) {
  OperatorType ordered;
  if (PrepareMeanField(O, Rho, ordered)) return 1;
  M = OneElectronMatrix(ordered, Rho, AddDFTSelfInteraction);
  return 0;
}

int DecoupledOperator(const OperatorType& O, OperatorType& Result, const CompactMatrixType& Rho,
                      const OrbitalFlags& listed, const MeanFieldSettings& settings) {
  OperatorType ordered;
  if (PrepareMeanField(O, Rho, ordered)) return 1;
  OperatorType result = InitOperatorCopySettings(O);
  const bool complex = QComplex(ordered) != 0 || IsComplexMatrix(Rho);
  const auto add = [&](const LadderIndex* lader, std::uint32_t length, Complex16 v) {
    if (v == Complex16(0)) return;
    if (complex) {
      ComplexOperatorAddLaderNormalOrder(result, lader, length, v, QDetNotOrderedFcFaBcBa);
    } else {
      RealOperatorAddLaderNormalOrder(result, lader, length, v.re, QDetNotOrderedFcFaBcBa);
    }
  };
  const auto hop = [&](std::uint32_t i, std::uint32_t j, Complex16 v) {
    const LadderIndex lader[] = {Annihilate(j), Create(i)};  // the first acts first
    add(lader, 2, v);
  };

  const Density rho(Rho);
  Complex16 constant =
      Decouple(ordered, rho, listed, hop, [&](const LadderIndex* lader, Complex16 v) { add(lader, 4, v); });
  if (settings.AddDFTSelfInteraction) constant += SelfInteraction(ordered, rho, listed, hop);
  if (settings.offset == MeanFieldOffset::Constant) add(nullptr, 0, constant);
  if (settings.offset == MeanFieldOffset::Trace) rho.SpreadConstant(constant, hop);
  Result = std::move(result);
  return 0;
}

}  // namespace

int MeanFieldOperatorOneElectronMatrix(const OperatorType& O, CompactMatrixType& M,
                                       const CompactMatrixType& Rho) {
  return CheckedOneElectronMatrix(O, M, Rho, false);
}

int MeanFieldOperatorOneElectronMatrixWithDFTInteraction(const OperatorType& O, CompactMatrixType& M,
                                                         const CompactMatrixType& Rho) {
  return CheckedOneElectronMatrix(O, M, Rho, true);
}

int MeanFieldOperator(const OperatorType& O, OperatorType& Result, const CompactMatrixType& Rho,
                      const MeanFieldSettings& settings) {
  return DecoupledOperator(O, Result, Rho, OrbitalFlags(O.layout.NFermion, true), settings);
}

int partialMeanFieldOperator(const OperatorType& O, OperatorType& Result, const CompactMatrixType& Rho,
                             const std::vector<std::uint32_t>& indices, const MeanFieldSettings& settings) {
  OrbitalFlags listed(O.layout.NFermion, false);
  for (const std::uint32_t i : indices) listed.at(i) = true;
  return DecoupledOperator(O, Result, Rho, listed, settings);
}

// --- Self-consistency
// --------------------------------------------------------------------------------------------------

namespace {

constexpr int MaxSteps = 1000;
// Linear mixing has led to an end by then, or hardly will: open shells and doped lattices have directions in
// which it creeps. From here on it learns from the steps before.
constexpr int LinearSteps = 700;
// Hits of the energy that end the search.
constexpr int HitsToStop = 4;
// A step is a hit only if the density that it gives is that of the step before, too: two densities that
// follow each other for ever may have one energy by symmetry. Far above what is left of the change of the
// density, the root of that of the energy, in a search that converges.
constexpr double SettledDensity = 1e-6;
// Asymmetry that the input may have, relative to the largest element.
constexpr double HermitianTolerance = 1e-8;

// The mixing is changed when it has not led to an end by these steps.
double MixingAtStep(int n, double alpha) {
  switch (n) {
    case 100:
      return 0.5;
    case 200:
      return 1.0;
    case 300:
      return 0.2;
    case 400:
      return 0.2;
    case 500:
      return 0.1;
    case 600:
      return 0.2;
    default:
      return alpha;
  }
}

bool QHermitianWithinTolerance(const CompactMatrixType& m) {
  double largest = 0, asymmetry = 0;
  for (std::uint32_t i = 0; i < m.Ni; ++i)
    for (std::uint32_t j = 0; j <= i; ++j) {
      const Complex16 a = CompactMatrixElement(m, i, j), b = CompactMatrixElement(m, j, i);
      largest = std::max({largest, Abs(a), Abs(b)});
      asymmetry = std::max(asymmetry, Abs(a - Conj(b)));
    }
  return asymmetry <= HermitianTolerance * largest;
}

double LargestDifference(const CompactMatrixType& a, const CompactMatrixType& b) {
  double largest = 0;
  for (std::uint32_t i = 0; i < a.Ni; ++i)
    for (std::uint32_t j = 0; j < a.Nj; ++j)
      largest = std::max(largest, Abs(CompactMatrixElement(a, i, j) - CompactMatrixElement(b, i, j)));
  return largest;
}

bool QSameEnergy(double E, double previous) {
  constexpr double floor = 1.4916681462400413e-154;  // the root of the smallest normal double
  return std::fabs(E - previous) < 100 * (std::fabs(E + previous) * DBL_EPSILON + floor);
}

// Fills the levels of the mean field of Rho: the density and its energy.
int NextDensity(const OperatorType& ordered, const CompactMatrixType& Rho, double temperature,
                double particles, CompactMatrixType& next, double& energy) {
  const CompactMatrixType M = OneElectronMatrix(ordered, Rho, false);
  if (!QFinite(M)) return Fail("ERROR: the mean field is not finite in MeanFieldGroundstate\n");
  if (!QHermitianWithinTolerance(M))
    return Fail("ERROR: MeanFieldGroundstate called with an operator that is not Hermitian\n");
  CompactMatrixType vectors;
  std::vector<double> levels;
  if (CompactMatrixEigensystem(M, vectors, levels)) return 1;
  return CalculateDensityMatrixFromOneElectronEigensystem(vectors, levels, next, temperature, particles,
                                                          energy);
}

void ListEnergies(const std::vector<double>& energies) {
  Say("Max number of loops reached in MeanFieldGroundstate, but energy not converged\n");
  for (std::size_t n = 0; n < energies.size(); ++n)
    Say("Energy at step %4i is %22.15E\n", static_cast<int>(n), energies[n]);
}

}  // namespace

int MeanFieldGroundstate(const OperatorType& O, CompactMatrixType& Rho, double temperature, double& energy) {
  OperatorType ordered;
  if (PrepareMeanField(O, Rho, ordered)) return 1;
  if (!QHermitianWithinTolerance(Rho))
    return Fail("ERROR: MeanFieldGroundstate called with a density matrix that is not Hermitian\n");
  double particles = 0;
  for (std::uint32_t i = 0; i < Rho.Ni; ++i) particles += CompactMatrixElement(Rho, i, i).re;

  CompactMatrixType mixed = Rho, previous;
  std::vector<double> energies;
  DensityMixing history;
  double alpha = 0.8;
  for (int n = 0, hits = 0; n < MaxSteps && hits < HitsToStop; ++n) {
    alpha = MixingAtStep(n, alpha);
    CompactMatrixType next;
    double E = 0;
    if (NextDensity(ordered, mixed, temperature, particles, next, E)) return 1;
    if (n < LinearSteps ? MixDensities(mixed, next, alpha) : history.mix(mixed, next, alpha)) return 1;
    const double before = n > 0 ? energies.back() : E;
    if (n > 0 && QSameEnergy(E, before) && LargestDifference(next, previous) < SettledDensity) {
      ++hits;
      alpha = 1;
    }
    VerbosityPrintf(256, "In MeanFieldGroundstate loop %4i total energy is %22.15E dE is %22.15E\n", n, E,
                    E - before);
    energies.push_back(E);
    previous = std::move(next);
    if (n + 1 == MaxSteps && hits < HitsToStop) ListEnergies(energies);
  }
  mixed.Name = Rho.Name;
  mixed.IsUserdata = Rho.IsUserdata;
  Rho = std::move(mixed);
  energy = energies.back();
  return 0;
}

}  // namespace fermix
