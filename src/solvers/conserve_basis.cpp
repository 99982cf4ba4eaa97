#include "solvers/conserve_basis.h"

#include <algorithm>
#include <cmath>

#include "core/determinant_matrix.h"
#include "host/base/allocator.h"
#include "host/base/status.h"
#include "host/base/timing.h"
#include "host/base/verbosity.h"
#include "linalg/eigen_factors.h"
#include "solvers/basis_growth.h"
#include "solvers/restarted_lanczos.h"

namespace fermix {

namespace {

constexpr std::uint32_t TimingFlag = 64;
// A Krylov space with fewer vectors beside the states and their images hardly converges.
constexpr std::size_t FewVectors = 8;

bool AnyComplex(const std::vector<WaveFunctionType>& psi) {
  return std::any_of(psi.begin(), psi.end(), [](const WaveFunctionType& state) { return QComplex(state); });
}

// All complex, or, when memory runs out, all as they were.
bool MakeAllComplex(std::vector<WaveFunctionType>& psi) {
  if (std::all_of(psi.begin(), psi.end(), [](const WaveFunctionType& state) { return QComplex(state); }))
    return true;
  std::vector<WaveFunctionType> complex;
  const bool fits = FitsInMemory([&] {
    complex = psi;
    for (WaveFunctionType& state : complex) MakeComplexWaveFunctionFromReal(state);
  });
  if (fits) psi = std::move(complex);
  return fits;
}

// H + shift in the basis of psi.
CompactMatrixType DenseMatrix(const OperatorType& H, double shift, const WaveFunctionType& psi) {
  CompactMatrixType matrix = OperatorToDeterminantMatrix(H, psi);
  std::visit(
      [&](auto& data) {
        for (std::size_t i = 0; i < matrix.Ni; ++i) data[i * matrix.Nj + i] += shift;
      },
      matrix.Data);
  return matrix;
}

// psi[i] = row i of the eigenvectors, 0 beyond the last row.
void CopyRows(const CompactMatrixType& rows, std::vector<WaveFunctionType>& psi) {
  for (std::size_t i = 0; i < psi.size(); ++i)
    std::visit(
        [&](const auto& from, auto& to) {
          using From = std::decay_t<decltype(from[0])>;
          using To = std::decay_t<decltype(to[0])>;
          to.fill(To{});
          if (i >= rows.Ni) return;
          if constexpr (IsComplex<To> || !IsComplex<From>)  // real states have a real matrix
            for (std::uint32_t k = 0; k < rows.Nj; ++k) to[k + 1] = To(from[i * rows.Nj + k]);
        },
        rows.Data, psi[i].values);
}

int NotFinite() {
  Say("Error in BlockLanczosGroundStateConserveBasis: values that are not finite numbers\n");
  return StatusNotFinite;
}

// Real H: complex states turn to the real vectors that they are up to a phase.
void MakeAllReal(std::vector<WaveFunctionType>& psi) {
  for (std::size_t i = 0; i < psi.size(); ++i) {
    OrthogonalizeAgainstEarlier(psi, i);
    MakeRealWaveFunctionFromComplexAccordingToNorm(psi[i]);
  }
}

// The vectors of psi, and others behind them until there are count; when memory runs out, as many as leave
// the solver room to work in. False when that are fewer than least.
template <class T>
bool QVectors(const FixedBasisOperator<T>& H, const std::vector<WaveFunctionType>& psi, std::size_t count,
              std::size_t least, std::vector<WorkVector<T>>& v) {
  v.clear();
  static_cast<void>(FitsInMemory([&] {
    v.reserve(count);
    for (const WaveFunctionType& state : psi) v.push_back(VectorOfState(H, state));
    while (v.size() < count) v.emplace_back(H.N);
  }));
  while (v.size() > psi.size() && !QRoomFor(KrylovWorkBytes<T>(H.N, v.size()))) v.pop_back();
  return v.size() >= least;
}

template <class T>
int RunKrylov(SearchOperator& H, double shift, std::vector<WaveFunctionType>& psi,
              const ConvergenceSettingsType& settings) {
  const ScopedTiming timing(TimingFlag, IsComplex<T> ? "Restarted Block Lanczos Conserve Basis Complex"
                                                     : "Restarted Block Lanczos Conserve Basis");
  const auto N = static_cast<std::uint32_t>(psi.size());
  FixedBasisOperator<T> rows;
  std::vector<WorkVector<T>> v;
  ConvergenceSettingsType local = settings;
  local.NKrylovStart = std::min(settings.NKrylovStart, settings.NKrylovMax);
  const std::size_t wanted = local.NKrylovStart + 2 * std::size_t{N},
                    enough = std::min(wanted, 2 * std::size_t{N} + FewVectors);
  // Too few vectors are worse than no rows, and worse than fewer determinants if there could be fewer.
  const std::size_t least = NBlok(*psi[0].basis) > 1 ? enough : N;
  if (!FitsInMemory([&] { rows = H.Inside<T>(psi[0]); }) ||
      (!QVectors(rows, psi, wanted, enough, v) && !QVectors(ForgetRows(rows), psi, wanted, least, v)))
    return Fail("malloc failed in BlockLanczosGroundStateConserveBasis\n");
  const std::size_t added = v.size() - N;
  const bool complete = added == local.NKrylovStart + std::size_t{N};
  if (!complete) {
    if (added < N + std::size_t{2}) return 1;  // no vector beside the states and their images
    Say("to do BlockLanczosGroundStateConserveBasisKrylovRecalculate\n");
    Say("Cheap fix needs to be improved\n");
    local.NKrylovStart = static_cast<std::uint32_t>(added - N - 1);
  }
  KrylovStatus status = KrylovStatus::OutOfMemory;
  static_cast<void>(FitsInMemory([&] { status = RestartedBlockLanczos(rows, shift, v, N, local); }));
  switch (status) {
    case KrylovStatus::Done:
      break;
    case KrylovStatus::NotFinite:
      return NotFinite();
    case KrylovStatus::OutOfMemory:
      Say("BlockLanczosGroundStateConserveBasisKrylov failed in BlockLanczosGroundStateConserveBasis\n");
      if (!complete)
        Say("BlockLanczosGroundStateConserveBasisKrylovRecalculate failed in "
            "BlockLanczosGroundStateConserveBasis\n");
      return 1;
  }
  for (std::uint32_t i = 0; i < N; ++i) SetStateToVector(rows, v[i], psi[i]);
  H.Keep(std::move(rows));
  return 0;
}

}  // namespace

int BlockLanczosGroundStateConserveBasisDense(const OperatorType& H, double shift,
                                              std::vector<WaveFunctionType>& psi) {
  VerbosityPrintf(256, "Start of BlockLanczosGroundStateConserveBasisDense\n");
  if (psi.empty() || ElementCount(psi[0]) == 0) return 0;
  if (QComplex(H) && !QComplex(psi[0]))
    VerbosityPrintf(256, "Complex Hamiltonian on real wave-function, make functions complex\n");
  if ((QComplex(H) || AnyComplex(psi)) && !MakeAllComplex(psi))
    return Fail("MakeComplexWaveFunctionFromReal failed in BlockLanczosGroundStateConserveBasisDense\n");

  CompactMatrixType matrix, vectors;
  std::vector<double> values;
  const bool fits = FitsInMemory([&] {
    const ScopedTiming timing(TimingFlag, "Create Hdens");
    matrix = DenseMatrix(H, shift, psi[0]);
  });
  if (!fits) return Fail("InitCompactMatrix failed in BlockLanczosGroundStateConserveBasisDense\n");
  if (!QFinite(matrix)) return NotFinite();
  if (GlobalVerbosity & 0x80000000) {
    Say("matrix to diagonalize\n");
    StreamPrintCompactMatrixMinimal(matrix, stdout);
  }
  int status = 0;
  if (!FitsInMemory([&] {
        const ScopedTiming timing(TimingFlag, "Diagonalize Hdens");
        status =
            CompactMatrixLowestEigenvectors(matrix, static_cast<std::uint32_t>(psi.size()), vectors, values);
      }))
    return 1;
  if (status) return status;
  CopyRows(vectors, psi);
  for (std::size_t i = 0; i < values.size(); ++i)
    VerbosityPrintf(256, "val[%3i] = %22.15E\n", static_cast<int>(i), values[i]);
  return 0;
}

int BlockLanczosGroundStateConserveBasisKrylov(SearchOperator& H, double shift,
                                               std::vector<WaveFunctionType>& psi,
                                               const ConvergenceSettingsType& settings) {
  if (psi.empty()) return 0;
  if (QComplex(H.H()) == 0) {
    if (AnyComplex(psi) && !FitsInMemory([&] { MakeAllReal(psi); })) return 1;
    return RunKrylov<double>(H, shift, psi, settings);
  }
  if (!MakeAllComplex(psi))
    return Fail(
        "BlockLanczosGroundStateConserveBasisKrylov called with allocation of v[i] being real.\n"
        "Allocation faild when tried to expand real to complex\n");
  return RunKrylov<Complex16>(H, shift, psi, settings);
}

int BlockLanczosGroundStateConserveBasis(SearchOperator& H, double shift, std::vector<WaveFunctionType>& psi,
                                         const ConvergenceSettingsType& settings) {
  VerbosityPrintf(0x10000000, "Start of BlockLanczosGroundStateConserveBasis\n");
  if (psi.empty()) return 0;
  if (ElementCount(psi[0]) <= settings.DenseBorder) {
    const int status = BlockLanczosGroundStateConserveBasisDense(H.H(), shift, psi);
    if (status != 1) return status;  // a few vectors may fit where a matrix did not
  }
  return BlockLanczosGroundStateConserveBasisKrylov(H, shift, psi, settings);
}

}  // namespace fermix
