#include "solvers/restarted_lanczos.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <numeric>
#include <utility>

#include "host/base/allocator.h"
#include "host/base/status.h"
#include "host/base/verbosity.h"
#include "linalg/blas.h"
#include "linalg/vector_kernels.h"
#include "solvers/orthogonality_estimate.h"

namespace fermix {

namespace {

// Square root of the smallest normal double: its square is the first that a sum of squares can hold.
constexpr double SqrtSmallest = 1.4916681462400413e-154;
// Restarts in a row without a smaller residual after which more of them are pointless.
constexpr std::uint32_t FruitlessRestarts = 10;
// A residual that falls less than this in so many restarts would take thousands of them.
constexpr double VisibleFall = 0.999;
// An orthogonalisation that leaves less than this of a vector has to be repeated.
constexpr double Cancelled = 0.1;

template <class T>
class BlockLanczos {
 public:
  BlockLanczos(const FixedBasisOperator<T>& H, double shift, std::vector<WorkVector<T>>& v, std::uint32_t N,
               const ConvergenceSettingsType& settings)
      : H_(H), shift_(shift), v_(v), n_(H.N), N_(N), settings_(settings) {
    // Records behind the last are never touched, whatever the settings ask for.
    M_ = static_cast<std::uint32_t>(std::min<std::uint64_t>(
        {std::uint64_t{settings.NKrylovStart} + N, std::uint64_t{settings.NKrylovMax} + N, v.size() - N}));
  }

  KrylovStatus Run() {
    while (!finished_) {
      ++restart_;
      if (!FitsInMemory([&] { PrepareKrylovMatrix(); })) {
        Say("InitCompactMatrix failed in BlockLanczosGroundStateConserveBasisKrylov\n");
        return KrylovStatus::OutOfMemory;
      }
      BuildKrylovSpace();
      if (!finite_) return KrylovStatus::NotFinite;
      if (!FitsInMemory([&] { Diagonalize(); })) {
        Say("malloc for work failed in BlockLanczosGroundStateConserveBasisKrylov%s\n",
            IsComplex<T> ? "Complex" : "Real");
        return KrylovStatus::OutOfMemory;
      }
      PrintEigenvalues();
      if (settings_.ShiftScheme == "Automatic" && M_ > 0)
        shift_ -= (values_[M_ - 1] + values_[std::min(N_, M_) - 1]) / 2;
      FormRitzVectors();
      Grow();
      VerbosityPrintf(256, "\n");
      StopWhenFruitless();
    }
    v_.resize(N_);
    Orthonormalize();
    return KrylovStatus::Done;
  }

 private:
  void PrepareKrylovMatrix() {
    krylov_.size = M_;
    krylov_.data.assign(std::size_t{M_} * M_, T{});
    locked_.clear();
    width_ = N_;
    residual_ = 0;
    nextNorm_ = -1;
    deflated_ = false;
    estimate_.Start(N_);
  }

  void BuildKrylovSpace() {
    for (std::uint32_t j = 0; j < M_; ++j) {
      if (j == N_ + 1)
        VerbosityPrintf(2, "  Restart loop %i with a Krylov basis of %i and a full basis of %i\n", restart_,
                        M_, static_cast<int>(n_));
      OrthogonalizeWhenDue(j);
      const double norm = DeflateAt(j);
      finite_ = finite_ && std::isfinite(norm);
      if (finished_ || !finite_) return;
      NormalizeBlockVector(j, norm);
      OrthogonalizeBlock(j);
      Expand(j);
    }
  }

  // Takes vanished vectors out of the block at level j; gives the norm of the first that has not vanished.
  double DeflateAt(std::uint32_t j) {
    double norm = NormOfNext(j);
    // As many orthonormal vectors as determinants: whatever comes next is rounding.
    while (j >= n_ || TimeToDeflateInBlockLanczosKrylov(norm, settings_.zero, j, width_, krylov_, restart_)) {
      if constexpr (IsComplex<T>) {
        VerbosityPrintf(256, "      Deflating from %i to %i at level %i\n", width_, width_ - 1, j);
      } else {
        VerbosityPrintf(256, "      Deflating from %i to %i at level %i in innerloop %i\n", width_,
                        width_ - 1, j, restart_);
      }
      if (j >= width_) locked_.push_back(j - width_);
      if (width_ == 1) {
        v_.resize(std::size_t{j} + N_);
        M_ = j;
        width_ = 0;
        finished_ = true;
        return 0;
      }
      std::rotate(v_.begin() + j, v_.begin() + j + 1, v_.begin() + j + width_);
      --width_;
      deflated_ = true;
      OrthogonalizeWhenDue(j);
      norm = NormOfNext(j);
    }
    return norm;
  }

  double NormOfNext(std::uint32_t j) {
    const double known = std::exchange(nextNorm_, -1);
    return known < 0 ? Norm(v_[j].data(), n_) : known;
  }

  // A vector pays for all earlier ones only when the estimate asks for it, or knows nothing: of the start
  // vectors and behind a deflation. What is left of a dependent vector is rounding, which points anywhere
  // until it is orthogonalised on its own scale.
  void OrthogonalizeWhenDue(std::uint32_t j) {
    nextNorm_ = NormOfNext(j);
    const bool due =
        deflated_ || estimate_.QOrthogonalize(krylov_, j, nextNorm_) || (restart_ == 1 && j < N_);
    if (!due || j >= n_) return;
    for (double before = INFINITY; nextNorm_ < Cancelled * before && nextNorm_ > SqrtSmallest;) {
      before = nextNorm_;
      Reorthogonalize(j, v_[j]);
      nextNorm_ = Norm(v_[j].data(), n_);
    }
  }

  void NormalizeBlockVector(std::uint32_t j, double norm) {
    if (j >= width_) krylov_(j, j - width_) = norm;
    Scale(v_[j].data(), 1 / norm, n_);
  }

  // The rest of the block against v[j].
  void OrthogonalizeBlock(std::uint32_t j) {
    for (std::uint32_t k = j + 1; k < j + width_; ++k) {
      const T d = Dot(v_[j].data(), v_[k].data(), n_);
      Subtract(v_[j], d, v_[k]);
      if (k >= width_) krylov_(j, k - width_) = d;
    }
  }

  // v[j + width] = H v[j], orthogonal to what the recurrence takes it from, and where the estimate has ended
  // to all that went before.
  void Expand(std::uint32_t j) {
    WorkVector<T>& w = v_[j + width_];
    if (restart_ == 1) BringPagesIn(w.data(), n_ * sizeof(T));
    krylov_(j, j) = FixedBasisOperatorMultiply(H_, shift_, v_[j].data(), w.data());
    finite_ = finite_ && std::isfinite(Re(krylov_(j, j)));
    const std::uint32_t first = j > width_ ? j - width_ : 0;
    for (std::uint32_t i = first; i < j; ++i) krylov_(i, j) = Conj(krylov_(j, i));
    const double norm = SubtractRange(first, j, &krylov_(0, j), w);
    // Locked vectors have left the block, yet H still couples to them.
    for (const std::uint32_t l : locked_) {
      const T d = Dot(v_[l].data(), w.data(), n_);
      krylov_(l, j) = d;
      krylov_(j, l) = Conj(d);
      Subtract(v_[l], d, w);
    }
    if (!deflated_) TidyOverlaps(norm, w);
    if (j < N_) residual_ = std::max(residual_, Norm(w.data(), n_));
  }

  // What is left in w, of that norm, of the vectors that it was freed from: taken out unless it is mere
  // rounding.
  void TidyOverlaps(double norm, WorkVector<T>& w) {
    double size = norm;
    for (const T& factor : factors_) size += Abs(factor);
    if (std::any_of(overlaps_.begin(), overlaps_.end(),
                    [=](const T& d) { return !(Abs(d) <= DBL_EPSILON * size); }))
      SubtractOverlaps(w);
    else if (width_ == 1)
      nextNorm_ = norm;  // nothing else happens to the next vector
  }

  // What rounding left of v[0 .. count - 1] in w, subtracted in one sweep over all of them: their overlaps
  // are small, so that it makes no difference that all are taken from the same w.
  void Reorthogonalize(std::uint32_t count, WorkVector<T>& w) {
    if (count == 0) return;
    Point(0, count - 1);
    overlaps_.resize(pointers_.size());
    DotEach(pointers_.data(), pointers_.size(), w.data(), n_, overlaps_.data());
    SubtractOverlaps(w);
  }

  // Of the vectors that pointers_ names.
  void SubtractOverlaps(WorkVector<T>& w) {
    for (T& d : overlaps_) d = -d;
    AddEach(pointers_.data(), pointers_.size(), overlaps_.data(), w.data(), n_);
  }

  void Subtract(const WorkVector<T>& from, T factor, WorkVector<T>& w) {
    const T* pointer = from.data();
    const T minus = -factor;
    AddEach(&pointer, 1, &minus, w.data(), n_);
  }

  // w -= sum over i = first .. last of factor[i] v[i]; overlaps_ = what is left of them in w. Gives the norm
  // of w.
  double SubtractRange(std::uint32_t first, std::uint32_t last, const T* factor, WorkVector<T>& w) {
    Point(first, last);
    factors_.clear();
    for (std::uint32_t i = first; i <= last; ++i) factors_.push_back(-factor[i]);
    overlaps_.resize(pointers_.size());
    return std::sqrt(
        AddAndDotEach(pointers_.data(), pointers_.size(), factors_.data(), w.data(), n_, overlaps_.data()));
  }

  void Point(std::uint32_t first, std::uint32_t last) {
    pointers_.clear();
    for (std::uint32_t i = first; i <= last; ++i) pointers_.push_back(v_[i].data());
  }

  // Eigenvectors go to the columns of krylov_. Its size is that of the restart's start; a space that closed
  // early fills the upper left corner only.
  void Diagonalize() {
    if (M_ < krylov_.size) {
      KrylovMatrix<T> corner{M_, std::vector<T>(std::size_t{M_} * M_)};
      for (std::uint32_t j = 0; j < M_; ++j)
        for (std::uint32_t i = 0; i < M_; ++i) corner(i, j) = krylov_(i, j);
      krylov_ = std::move(corner);
    }
    values_.assign(M_, 0);
    if (M_ == 0) return;
    const int info = EigenDivide(BlasSize(M_), krylov_.data.data(), values_.data());
    if (info == 0) return;
    Say("\n\n\nWARNING\n");
    Say("%s failed with info %i in BlockLanczosGroundStateConserveBasisKrylov%s\n",
        EigenDivideName(krylov_.data.data()), info, IsComplex<T> ? "Complex" : "Real");
    Say("Hopefully the next restart is better\n\n");
  }

  void PrintEigenvalues() const {
    VerbosityPrintf(256, "  The eigen-values of the current lowest %i states are:\n", N_);
    for (std::uint32_t i = 0; i < std::min(N_, M_); ++i)
      VerbosityPrintf(256, "    Eigenvalue %3i = %22.15E\n", i, values_[i]);
    if (M_ > N_ + 1) {
      VerbosityPrintf(256, "    Eigenvalue ...\n");
      VerbosityPrintf(256, "    Eigenvalue %3i = %22.15E\n", M_ - 1, values_[M_ - 1]);
    }
  }

  // v[0 .. N - 1] = the lowest eigenvectors; those that the space does not have are 0.
  void FormRitzVectors() {
    for (std::uint32_t i = 0; i < N_; ++i) std::fill(v_[M_ + i].begin(), v_[M_ + i].end(), T{});
    if (M_ > 0) Point(0, M_ - 1);
    for (std::uint32_t i = 0; i < std::min(N_, M_); ++i)
      AddEach(pointers_.data(), M_, &krylov_(0, i), v_[M_ + i].data(), n_);
    for (std::uint32_t i = 0; i < N_; ++i) v_[i].swap(v_[M_ + i]);
  }

  // Sums of Lanczos vectors are as orthonormal as these, which may be an estimate's.
  void Orthonormalize() {
    for (std::uint32_t i = 0; i < N_; ++i) {
      const double norm = Norm(v_[i].data(), n_);
      if (!(norm > 0)) continue;
      Scale(v_[i].data(), 1 / norm, n_);
      for (std::uint32_t k = i + 1; k < N_; ++k) Subtract(v_[i], Dot(v_[i].data(), v_[k].data(), n_), v_[k]);
    }
  }

  void Grow() {
    const std::uint64_t step = std::uint64_t{settings_.NKrylovStep} + N_;
    if (finished_ || M_ + step >= settings_.NKrylovMax) return;
    const std::size_t had = v_.size();
    if (FitsInMemory([&] {
          v_.reserve(M_ + step + N_);
          while (v_.size() < M_ + step + N_) v_.emplace_back(n_);
        }) &&
        QRoomFor(KrylovWorkBytes<T>(n_, v_.size()))) {
      M_ += static_cast<std::uint32_t>(step);
    } else {
      v_.resize(had);
    }
  }

  // From the second restart on the first block images are the residuals of the states.
  void StopWhenFruitless() {
    if (restart_ > 1 && !(residual_ < VisibleFall * best_)) {
      ++fruitless_;
    } else {
      fruitless_ = 0;
      if (restart_ > 1) best_ = residual_;
    }
    if (finished_ || fruitless_ < FruitlessRestarts) return;
    VerbosityPrintf(256,
                    "  The largest residual %12.5E did not fall in %i restarts: the states are as good as "
                    "the arithmetic allows\n",
                    residual_, static_cast<int>(FruitlessRestarts));
    finished_ = true;
  }

  const FixedBasisOperator<T>& H_;
  double shift_;
  std::vector<WorkVector<T>>& v_;
  std::size_t n_;              // determinants
  std::uint32_t N_, M_ = 0;    // states; Krylov dimension
  std::uint32_t width_ = 0;    // of the block now
  std::uint32_t restart_ = 0;  // from 1
  const ConvergenceSettingsType& settings_;
  bool finished_ = false, finite_ = true;
  KrylovMatrix<T> krylov_;
  std::vector<double> values_;
  std::vector<std::uint32_t> locked_;
  OrthogonalityEstimate<T> estimate_;
  bool deflated_ = false;  // in this restart: the estimate knows blocks of one width
  double nextNorm_ = -1;   // of the next vector, if it is known
  double residual_ = 0, best_ = INFINITY;
  std::uint32_t fruitless_ = 0;
  // Scratch.
  std::vector<const T*> pointers_;
  std::vector<T> factors_, overlaps_;
};

}  // namespace

template <class T>
bool TimeToDeflateInBlockLanczosKrylov(double norm, double zero, std::uint32_t level,
                                       std::uint32_t blockWidth, const KrylovMatrix<T>& krylov,
                                       std::uint32_t restartLoop) {
  double scale = SqrtSmallest;
  for (std::uint32_t i = 0; i < level; ++i) scale += Re(krylov(i, i)) * Re(krylov(i, i));
  VerbosityPrintf(0x10000000, "The deflation test yields Sqr(Norm) = %E < tot(%E) * Zero(%E) = %E\n",
                  norm * norm, scale, zero, scale * zero);
  // With zero = 0 nothing is small; a null vector can't be normalised all the same.
  if (std::fabs(zero) * scale <= norm * norm && norm >= SqrtSmallest) return false;
  if (level >= blockWidth || restartLoop == 1) return true;
  if (norm < SqrtSmallest) {
    VerbosityPrintf(256,
                    "  Deflating below the number of states asked from %i to %i at level %i at loop %i\n",
                    blockWidth, blockWidth - 1, level, restartLoop);
    return true;
  }
  VerbosityPrintf(
      256,
      "  According to the norm we should deflate, but we do not want to make the number of states "
      "asked %i smaller so we should not deflate at level %i at loop %i\n",
      blockWidth, level, restartLoop);
  return false;
}

template <class T>
KrylovStatus RestartedBlockLanczos(const FixedBasisOperator<T>& H, double shift,
                                   std::vector<WorkVector<T>>& v, std::uint32_t N,
                                   const ConvergenceSettingsType& settings) {
  if (N == 0 || v.size() < 2 * std::size_t{N}) return KrylovStatus::Done;
  return BlockLanczos<T>(H, shift, v, N, settings).Run();
}

template bool TimeToDeflateInBlockLanczosKrylov(double, double, std::uint32_t, std::uint32_t,
                                                const KrylovMatrix<double>&, std::uint32_t);
template bool TimeToDeflateInBlockLanczosKrylov(double, double, std::uint32_t, std::uint32_t,
                                                const KrylovMatrix<Complex16>&, std::uint32_t);
template KrylovStatus RestartedBlockLanczos(const FixedBasisOperator<double>&, double,
                                            std::vector<WorkVector<double>>&, std::uint32_t,
                                            const ConvergenceSettingsType&);
template KrylovStatus RestartedBlockLanczos(const FixedBasisOperator<Complex16>&, double,
                                            std::vector<WorkVector<Complex16>>&, std::uint32_t,
                                            const ConvergenceSettingsType&);

}  // namespace fermix
