#include "solvers/basis_growth.h"

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cstdlib>
#include <utility>

#include "core/operator_on_state.h"
#include "core/space_check.h"
#include "host/base/status.h"
#include "host/base/vector_clones.h"
#include "host/base/verbosity.h"
#include "solvers/restricted_filling.h"

namespace fermix {

namespace {

// Up to here all determinants are tried.
constexpr std::uint32_t CompleteBasisOrbitals = 24;
// Above, a space of no more determinants is taken whole too. It is the most that are drawn at random.
constexpr std::uint32_t MaxRandomDeterminants = 5000;
// A start state of a norm below this is numerical noise of the orthogonalisation.
constexpr double NoiseNorm = 1000 * DBL_EPSILON;

// 1 + all hops within a restriction, the constant keeping the present determinants.
OperatorType HoppingOperator(const DeterminantRestrictionType& R, const KeyLayout& layout) {
  OperatorType hop = InitOperator(layout.NFermion, layout.NBoson);
  InitOperatorFixedLength(hop, 2, 8);
  OperatorAddConstant(hop, 1.0);
  const auto add = [&](std::uint32_t to, std::uint32_t from) {
    const LadderIndex lader[] = {Annihilate(from), Create(to)};
    RealOperatorAddLader(hop, lader, 2, 1.0);
  };
  for (const Key& mask : R.Masks)
    for (std::uint32_t i = 0; i < layout.NFermion; ++i) {
      if (!QOccupied(mask.data(), i)) continue;
      for (std::uint32_t j = i + 1; j < layout.NFermion; ++j) {
        if (!QOccupied(mask.data(), j)) continue;
        add(i, j);
        add(j, i);
      }
    }
  return hop;
}

// Random determinants of about the same filling inside R. An orbital that was used often is chosen less, so
// that the occupations spread.
class RandomDeterminants {
 public:
  RandomDeterminants(const DeterminantRestrictionType& R, const KeyLayout& layout)
      : R_(R),
        layout_(layout),
        filling_(R, layout.NFermion),
        key_(KeyWords(layout)),
        load_(layout.NFermion) {}

  // Builds the next one; status 1 when restrictions contradict each other.
  [[nodiscard]] int Next() {
    // Settling one orbital after the other may end where overlapping restrictions leave no way on.
    if ((!DrawInOrder() || !filling_.QFulfilled(key_.data())) && !filling_.Draw(load_, key_))
      return Fail("Cannot fullfill all restrictions in CreateStartingFunctions\n");
    std::uint32_t set = 0;
    for (std::uint32_t i = 0; i < layout_.NFermion; ++i) {
      load_[i] += QOccupied(key_.data(), i);
      set += QOccupied(key_.data(), i);
    }
    fill_ = (fill_ * k_ + double(set) / layout_.NFermion) / (k_ + 1);
    ++k_;
    return 0;
  }
  const KeyWord* key() const { return key_.data(); }

 private:
  bool DrawInOrder() {
    std::fill(key_.begin(), key_.end(), KeyWord{0});
    for (std::uint32_t i = 0; i < layout_.NFermion; ++i) {
      const bool must = QMustOccupy(i, layout_.NFermion, key_.data(), R_),
                 cannot = QCanNotOccupy(i, layout_.NFermion, key_.data(), R_);
      if (must && cannot) return false;
      if (!cannot && (must || Chosen(i))) key_[i / 64] |= OrbitalBit(i);
    }
    return true;
  }

  bool Chosen(std::uint32_t i) const {
    const double r = std::rand() / 2147483647.0;
    return load_[i] < fill_ * (2 * r) * (2 * r) * (k_ + 1) * (k_ + 1) / 200.0;
  }

  const DeterminantRestrictionType& R_;
  KeyLayout layout_;
  RestrictedFilling filling_;
  Key key_;
  std::vector<double> load_;  // how many determinants so far have the orbital occupied
  double fill_ = 0.5, k_ = 0;
};

// Adds, with the value 0, all determinants that R allows, if these are few. Random ones may leave out a
// sector that H does not reach from the others, and with it the lowest state.
void AddSmallSpace(const DeterminantRestrictionType& R, WaveFunctionType& psi) {
  for (const Key& key : RestrictedFilling(R, Layout(psi).NFermion).All(MaxRandomDeterminants))
    if (QFulfillsRestrictions(R, key.data())) WaveFunctionAddElement(psi, key.data(), 0.0);
}

int FillLargeSystem(const OperatorType& H, std::uint32_t N, const DeterminantRestrictionType& R,
                    WaveFunctionType& psi0, WaveFunctionType& psi) {
  RandomDeterminants random(R, Layout(psi0));
  const std::uint64_t count = std::min<std::uint64_t>(300 + 100 * std::uint64_t{N}, MaxRandomDeterminants);
  for (std::uint64_t k = 0; k < count; ++k) {
    if (random.Next()) return 1;
    WaveFunctionAddElement(psi0, random.key(), 1.0);
  }
  VerbosityPrintf(0x20000, "Random state psi0 created in CreateStartingFunctions\n");
  WaveFunctionRandomize(psi0);
  if (!FitsInMemory([&] { psi = OperatorPsiRestricted(H, psi0, R); }))
    return Fail("OperatorPsiRestricted failed in CreateStartingFunctions\n");
  WaveFunctionAddUnionBasis(psi, psi0);
  psi0 = WaveFunctionType();
  // Without modes filled, a random determinant may lie below a bound on them; what H makes of it need not.
  if (Layout(psi).NBoson) WaveFunctionRestrict(psi, R);
  AddSmallSpace(R, psi);
  // A failure leaves fewer determinants than states, which is warned of below.
  if (ElementCount(psi) < N) static_cast<void>(ExtendBasisUsingRestrictions(R, psi));
  return 0;
}

// The first state, which carries the basis of all.
int CreateFirstFunction(const OperatorType& H, std::uint32_t N, const DeterminantRestrictionType& R,
                        WaveFunctionType& psi, std::uint32_t NBitsKey) {
  WaveFunctionType psi0(H.layout, QComplex(H) != 0, NBitsKey);
  if (H.layout.NFermion > CompleteBasisOrbitals) return FillLargeSystem(H, N, R, psi0, psi);
  if (ExtendBasisCompletenessSmallSystems(R, psi0)) throw std::bad_alloc();
  VerbosityPrintf(0x20000, "All possible states psi0 created in CreateStartingFunctions\n");
  if (ElementCount(psi0)) WaveFunctionRandomize(psi0);
  psi = std::move(psi0);
  return 0;
}

void WarnAboutZeroStates() {
  VerbosityPrintf(
      2,
      "Warning: Number of eigenstates you want to calculate largen than number of determinants in random "
      "starting vector\n"
      "This can be a problem as the dimension of the Hilbert space is larger than the number of states "
      "wanted.\n"
      "Several starting states will be 0.\n"
      "If the basis does not expand correctly during the iterative search for eigenstates you will end with "
      "0 vectors as eigenstates.\n");
}

}  // namespace

int ExtendBasisUsingRestrictions(const DeterminantRestrictionType& R, WaveFunctionType& psi) {
  RequireRestrictionsFit(R, Layout(psi), "the wave-function");
  if (FitsInMemory([&] { psi = OperatorPsiRestricted(HoppingOperator(R, Layout(psi)), psi, R); })) return 0;
  return Fail("Warning: OperatorPsiRestricted failed in ExtendBasisUsingRestrictions\n");
}

namespace {

// Appends those of the occupations first, first - 1, ... down to last that fulfil R: bits of the first word
// of a key, without modes.
FERMIX_POPCOUNT_CLONES void AppendAllowed(const DeterminantRestrictionType& R, std::uint64_t first,
                                          std::uint64_t last, std::uint32_t shift,
                                          std::vector<std::uint32_t>& allowed) {
  for (std::uint64_t occupation = first + 1; occupation-- > last;) {
    bool fulfilled = true;
    for (std::size_t r = 0; r < R.Masks.size() && fulfilled; ++r) {
      const int count = std::popcount(occupation << shift & R.Masks[r][0]);
      fulfilled =
          std::cmp_greater_equal(count, R.MinOccupation[r]) && std::cmp_less_equal(count, R.MaxOccupation[r]);
    }
    if (fulfilled) allowed.push_back(static_cast<std::uint32_t>(occupation));
  }
}

}  // namespace

int ExtendBasisCompletenessSmallSystems(const DeterminantRestrictionType& R, WaveFunctionType& psi) {
  const std::uint32_t NFermion = Layout(psi).NFermion;
  if (NFermion > 30)
    return Fail("Error in ExtendBasisCompletenessSmallSystems max number of Fermions is 30\n");
  RequireRestrictionsFit(R, Layout(psi), "the wave-function");
  const std::uint32_t shift = (64 - NFermion) % 64;  // orbital 0 is the highest bit
  const bool fits = FitsInMemory([&] {
    std::vector<std::uint32_t> allowed;
    AppendAllowed(R, 0, 0, shift, allowed);
    AppendAllowed(R, (std::uint64_t{1} << NFermion) - 1, 1, shift, allowed);
    BasisReserve(OwnBasis(psi), std::size_t{ElementCount(psi)} + allowed.size());
    Key key(KeyWords(Layout(psi)));
    for (const std::uint64_t occupation : allowed) {
      key[0] = occupation << shift;
      WaveFunctionAddElement(psi, key.data(), {1.0, 1.0});
    }
  });
  return fits ? 0 : 1;
}

void OrthogonalizeAgainstEarlier(std::vector<WaveFunctionType>& psi, std::size_t i) {
  for (std::size_t j = 0; j < i; ++j)
    WaveFunctionAddMultipliedSameBasis(psi[i], psi[j], -WaveFunctionDotProductSameBasis(psi[j], psi[i]));
}

int CreateStartingFunctions(const OperatorType& H, std::uint32_t N, const DeterminantRestrictionType& R,
                            std::vector<WaveFunctionType>& psi, std::uint32_t NBitsKey) {
  psi.clear();
  if (N == 0) return 0;
  RequireRestrictionsFit(R, H.layout, "the operator");
  WaveFunctionType first;
  int status = 0;
  if (!FitsInMemory([&] { status = CreateFirstFunction(H, N, R, first, NBitsKey); }))
    return Fail("WaveFunctionInit failed in CreateStartingFunctions\n");
  if (status) return status;
  if (ElementCount(first) == 0) return Fail("Cannot fullfill all restrictions in CreateStartingFunctions\n");
  psi.push_back(std::move(first));
  if (ElementCount(psi[0]) < N) WarnAboutZeroStates();
  if (!FitsInMemory([&] {
        psi.reserve(N);
        while (psi.size() < N) psi.push_back(WaveFunctionInitCopyBasis(psi[0]));
      }))
    return Fail("WaveFunctionInitCopyBasis failed in CreateStartingFunctions\n");
  for (std::uint32_t i = 0; i < N; ++i) {
    WaveFunctionRandomize(psi[i]);
    double norm = 0;  // of what is orthogonal to all earlier ones: nothing, once they span the space
    if (i < ElementCount(psi[0])) {
      OrthogonalizeAgainstEarlier(psi, i);
      norm = WaveFunctionCalculateNorm(psi[i]);
    }
    WaveFunctionMultiply(psi[i], norm < NoiseNorm ? 0.0 : 1 / norm, 0);
  }
  return 0;
}

}  // namespace fermix
