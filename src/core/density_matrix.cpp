#include "core/density_matrix.h"

#include <algorithm>
#include <numeric>
#include <stdexcept>

#include "core/space_check.h"
#include "core/surviving_terms.h"
#include "host/base/status.h"

namespace fermix {

namespace {

// Elements of a state between two looks at how much has come together.
constexpr std::uint32_t Stride = 1024;

const DeterminantRestrictionType Unrestricted;

// A string in a sum over strings: which one, and its sign; 0 stands for a string that gives nothing.
struct Place {
  std::uint32_t string = 0;
  int sign = 0;
};

// The strings of annihilators that a density needs, each once: one for each orbital, or for each pair.
struct Annihilators {
  OperatorType strings;
  std::uint32_t count = 0;
  // Of each index, or pair of indices (i, j), what acts on the bra: i first. On a ket it is the last that
  // acts first.
  std::vector<Place> bra, ket;
};

void AddString(Annihilators& A, const std::vector<LadderIndex>& lader) {
  OperatorAddLader(A.strings, lader, 1);
  ++A.count;
}

// a_v a_u with u first, for all u < v of the distinct orbitals, and for u = v of modes.
std::vector<Place> AddPairs(Annihilators& A, const std::vector<std::uint32_t>& distinct) {
  const std::size_t n = distinct.size();
  std::vector<Place> places(n * n);
  for (std::size_t u = 0; u < n; ++u)
    for (std::size_t v = u; v < n; ++v) {
      const bool fermions = distinct[v] < A.strings.layout.NFermion;  // then u is one too
      if (u == v && fermions) continue;
      places[v * n + u] = {A.count, fermions ? -1 : 1};
      places[u * n + v] = {A.count, 1};
      AddString(A, {Annihilate(distinct[u]), Annihilate(distinct[v])});
    }
  return places;
}

std::vector<Place> AddSingles(Annihilators& A, const std::vector<std::uint32_t>& distinct) {
  std::vector<Place> places;
  for (const std::uint32_t u : distinct) {
    places.push_back({A.count, 1});
    AddString(A, {Annihilate(u)});
  }
  return places;
}

Annihilators MakeAnnihilators(const DensityRequest& request, const KeyLayout& layout) {
  std::vector<std::uint32_t> distinct = request.orbitals;
  std::sort(distinct.begin(), distinct.end());
  distinct.erase(std::unique(distinct.begin(), distinct.end()), distinct.end());
  std::vector<std::size_t> at;  // of each index
  for (const std::uint32_t i : request.orbitals)
    at.push_back(
        static_cast<std::size_t>(std::lower_bound(distinct.begin(), distinct.end(), i) - distinct.begin()));
  Annihilators A{InitOperator(layout.NFermion, layout.NBoson), 0, {}, {}};
  if (request.particles == 1) {
    const std::vector<Place> places = AddSingles(A, distinct);
    for (const std::size_t i : at) A.bra.push_back(places[i]);
    A.ket = A.bra;
    return A;
  }
  const std::vector<Place> places = AddPairs(A, distinct);
  for (const std::size_t i : at)
    for (const std::size_t j : at) {
      A.bra.push_back(places[i * distinct.size() + j]);
      A.ket.push_back(places[j * distinct.size() + i]);
    }
  return A;
}

// What is left of one determinant of a state by one string.
template <class T>
struct Remainder {
  std::uint32_t string, number;  // of the remaining determinant, in a basis of remainders
  T value;
};

// The remainders of a state from element on, which it has, until piece of them have come together.
// numbers(keys, count, numbers) finds or adds their determinants; those without a number are left out.
// Returns the element after the last one taken.
template <class T, class Numbers>
std::uint32_t TakeRemainders(const CompiledOperator& strings, const WaveFunctionType& psi,
                             const BlockedArray<T>& x, std::uint32_t element, const DeterminantBasis& target,
                             std::size_t piece, Numbers&& numbers, std::vector<Remainder<T>>& out) {
  out.clear();
  do {
    const std::uint32_t last = element + std::min(Stride - 1, ElementCount(psi) - element);
    ForEachResult(
        strings, std::get<std::vector<double>>(strings.values), false, element, last, *psi.basis, target,
        [&](std::uint32_t i) { return x[i]; },
        [&](SurvivingTerms& results, const ResultValues<double, T>& values) {
          numbers(results.keys.data(), results.count, results.numbers.data());
          for (std::uint32_t i = 0; i < results.count; ++i)
            if (results.numbers[i]) out.push_back({results.code[i] / 2, results.numbers[i], values.first[i]});
        });
    element = last + 1;
  } while (element <= ElementCount(psi) && out.size() < piece);
  return element;
}

// Remainders of a bra by their determinants: those of determinant d at start[d] .. start[d + 1] - 1.
template <class T>
struct SortedRemainders {
  struct Entry {
    T value;
    std::uint32_t string;
  };
  std::vector<std::uint32_t> start;
  std::vector<Entry> entries;

  void sort(const std::vector<Remainder<T>>& remainders, std::uint32_t determinants) {
    start.assign(std::size_t{determinants} + 3, 0);
    entries.resize(remainders.size());
    for (const auto& r : remainders) ++start[r.number + 2];
    std::partial_sum(start.begin(), start.end(), start.begin());
    for (const auto& r : remainders) entries[start[r.number + 1]++] = {r.value, r.string};
  }
};

// sums[string of the ket][string of the bra] += conj(bra) ket, in the order of the ket.
template <class B, class K, class T>
void AddProducts(const SortedRemainders<B>& bra, const std::vector<Remainder<K>>& ket, std::uint32_t strings,
                 std::vector<T>& sums) {
  constexpr std::size_t ahead = 16;
  for (std::size_t i = 0; i < ket.size(); ++i) {
    if (i + 2 * ahead < ket.size()) {
      __builtin_prefetch(&bra.start[ket[i + 2 * ahead].number]);
      const auto* first = bra.entries.data() + bra.start[ket[i + ahead].number];
      for (int line = 0; line < 3; ++line) __builtin_prefetch(first + 4 * line);
    }
    T* row = sums.data() + std::size_t{ket[i].string} * strings;
    const auto* entry = bra.entries.data() + bra.start[ket[i].number];
    const auto* end = bra.entries.data() + bra.start[ket[i].number + 1];
    for (; entry != end; ++entry) row[entry->string] += Conj(entry->value) * ket[i].value;
  }
}

template <class B, class K, class T>
void AddBra(const CompiledOperator& strings, const WaveFunctionType& bra, const BlockedArray<B>& y,
            const std::vector<Remainder<K>>& ket, const DeterminantBasis& determinants, std::size_t piece,
            std::vector<T>& sums) {
  std::vector<Remainder<B>> remainders;
  SortedRemainders<B> sorted;
  for (std::uint32_t next = 1; next <= ElementCount(bra);) {
    next = TakeRemainders(
        strings, bra, y, next, determinants, piece,
        [&](const KeyWord* keys, std::uint32_t count, std::uint32_t* numbers) {
          BasisFindBatch(determinants, keys, count, numbers);
        },
        remainders);
    sorted.sort(remainders, determinants.N);
    AddProducts(sorted, ket, strings.terms, sums);
  }
}

// Sums of bra with remainders of a ket.
template <class K>
void AddAnyBra(const CompiledOperator& strings, const WaveFunctionType& bra,
               const std::vector<Remainder<K>>& ket, const DeterminantBasis& determinants, std::size_t piece,
               ElementList& sums) {
  std::visit(
      [&](const auto& y) {
        using T = decltype(y[0] * K{});
        AddBra(strings, bra, y, ket, determinants, piece, std::get<std::vector<T>>(sums));
      },
      bra.values);
}

// For each of bras the sums with ket.
template <class K>
std::vector<ElementList> SumProducts(const CompiledOperator& strings,
                                     const std::vector<const WaveFunctionType*>& bras,
                                     const WaveFunctionType& ket, const BlockedArray<K>& x,
                                     std::size_t piece) {
  const std::size_t size = TensorSize({strings.terms, strings.terms});
  std::vector<ElementList> sums;
  for (const WaveFunctionType* bra : bras)
    sums.push_back(QComplex(*bra) || IsComplex<K> ? ElementList(std::vector<Complex16>(size))
                                                  : ElementList(std::vector<double>(size)));
  std::vector<Remainder<K>> remainders;
  for (std::uint32_t next = 1, first = 1; next <= ElementCount(ket); first = next) {
    DeterminantBasis determinants(Layout(ket));
    next = TakeRemainders(
        strings, ket, x, first, determinants, piece,
        [&](const KeyWord* keys, std::uint32_t count, std::uint32_t* numbers) {
          BasisAddBatch(determinants, keys, count, numbers);
        },
        remainders);
    const bool whole = first == 1 && next > ElementCount(ket);
    for (std::size_t b = 0; b < bras.size(); ++b)
      if (whole && bras[b] == &ket) {  // the remainders of both are the same
        SortedRemainders<K> sorted;
        sorted.sort(remainders, determinants.N);
        AddProducts(sorted, remainders, strings.terms, std::get<std::vector<K>>(sums[b]));
      } else {
        AddAnyBra(strings, *bras[b], remainders, determinants, piece, sums[b]);
      }
  }
  return sums;
}

// The sums over strings as a tensor over indices.
template <class T>
void Unfold(const Annihilators& A, const std::vector<T>& sums, std::vector<T>& elements) {
  T* element = elements.data();
  for (const Place& bra : A.bra)
    for (const Place& ket : A.ket) {
      if (const int sign = bra.sign * ket.sign) {
        const T sum = sums[std::size_t{ket.string} * A.count + bra.string];
        *element = sign > 0 ? sum : T{} - sum;  // no negative zeros
      }
      ++element;
    }
}

CompactTensorType EmptyDensity(const DensityRequest& request, bool complex) {
  const bool one = request.particles == 1;
  const auto size = static_cast<std::uint32_t>(request.orbitals.size());
  CompactTensorType density =
      OrSay(one ? "InitMatrix failed in CalculateDensityMatrix\n"
                : "InitCompactTensor failed in CalculateTwoParticleReducedDensityMatrix\n",
            [&] {
              return InitCompactTensor(
                  std::vector<std::uint32_t>(2 * static_cast<std::size_t>(request.particles), size), complex);
            });
  density.Name = one ? "Density Matrix." : "Two Particle Density Matrix.";
  return density;
}

void RequireFit(const DensityRequest& request, const KeyLayout& layout,
                const std::vector<const WaveFunctionType*>& states) {
  for (const WaveFunctionType* psi : states)
    RequireSameSpace(Layout(*psi), "Wave-function", layout, "the other wave-function");
  if (request.particles != 1 && request.particles != 2)
    throw std::invalid_argument("Density matrices exist for one or two particles\n");
  for (const std::uint32_t i : request.orbitals)
    if (i >= layout.NFermion + layout.NBoson || i > IndexMask)
      throw std::invalid_argument("DensityMatrix: No ladder operator acts on index " + std::to_string(i) +
                                  "\n");
}

// The densities of one ket with each of bras.
std::vector<CompactTensorType> DensitiesOfKet(const DensityRequest& request,
                                              const std::vector<const WaveFunctionType*>& bras,
                                              const WaveFunctionType& ket) {
  RequireFit(request, Layout(ket), bras);
  std::vector<CompactTensorType> densities;
  std::size_t elements = ElementCount(ket);
  for (const WaveFunctionType* bra : bras) {
    densities.push_back(EmptyDensity(request, QComplex(*bra) || QComplex(ket)));
    elements += ElementCount(*bra);
  }
  const auto fill = [&] {
    const Annihilators A = MakeAnnihilators(request, Layout(ket));
    if (A.count == 0) return;
    const CompiledOperator strings = CompileOperator(A.strings, &Unrestricted, elements);
    std::vector<ElementList> sums = std::visit(
        [&](const auto& x) { return SumProducts(strings, bras, ket, x, request.piece); }, ket.values);
    for (std::size_t b = 0; b < bras.size(); ++b)
      std::visit(
          [&](const auto& sum) { Unfold(A, sum, std::get<std::decay_t<decltype(sum)>>(densities[b].Data)); },
          sums[b]);
  };
  OrSay(request.particles == 1 ? "alloc of O.l failed in CalculateDensityMatrix\n"
                               : "alloc of O.l failed in CalculateTwoParticleReducedDensityMatrix\n",
        fill);
  return densities;
}

// sum += added; a real sum turns complex when it must.
void AddElements(ElementList& sum, const ElementList& added) {
  if (std::holds_alternative<std::vector<double>>(sum) &&
      !std::holds_alternative<std::vector<double>>(added)) {
    const auto& real = std::get<std::vector<double>>(sum);
    sum = std::vector<Complex16>(real.begin(), real.end());
  }
  std::visit(
      [](auto& s, const auto& a) {
        using S = std::decay_t<decltype(s[0])>;
        for (std::size_t i = 0; i < s.size(); ++i) s[i] += ToKind<S>(a[i]);
      },
      sum, added);
}

}  // namespace

std::vector<std::uint32_t> AllOrbitals(const KeyLayout& layout) {
  std::vector<std::uint32_t> orbitals(std::size_t{layout.NFermion} + layout.NBoson);
  std::iota(orbitals.begin(), orbitals.end(), 0u);
  return orbitals;
}

CompactTensorType CalculateDensityMatrix(const DensityRequest& request, const WaveFunctionType& psi) {
  return std::move(DensitiesOfKet(request, {&psi}, psi)[0]);
}

std::vector<CompactTensorType> CalculateDensityMatrixWithOffDiagonals(
    const DensityRequest& request, const std::vector<const WaveFunctionType*>& states) {
  const std::size_t count = states.size();
  std::vector<CompactTensorType> densities(count * count);
  for (std::size_t b = 0; b < count; ++b) {
    std::vector<CompactTensorType> ofKet = DensitiesOfKet(request, states, *states[b]);
    for (std::size_t a = 0; a < count; ++a) densities[a * count + b] = std::move(ofKet[a]);
  }
  return densities;
}

CompactTensorType CalculateDensityMatrixTrace(const DensityRequest& request,
                                              const std::vector<const WaveFunctionType*>& states) {
  CompactTensorType trace = CalculateDensityMatrix(request, *states.at(0));
  for (std::size_t k = 1; k < states.size(); ++k)
    AddElements(trace.Data, CalculateDensityMatrix(request, *states[k]).Data);
  return trace;
}

}  // namespace fermix
