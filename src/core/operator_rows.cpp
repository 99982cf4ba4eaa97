#include "core/operator_rows.h"

#include <algorithm>
#include <bit>
#include <utility>

#include "core/space_check.h"
#include "core/surviving_terms.h"

namespace fermix {

namespace {

// How many elements of a state are prepared before their rows are used.
constexpr std::size_t RowsAtOnce = 1024;
// How far ahead sums are fetched: some hundred nanoseconds of entries.
constexpr std::uint32_t EntriesAhead = 32;
// Sums of so many bytes stay in the second-level cache.
constexpr std::size_t NearBytes = std::size_t{1} << 18;

template <class C>
std::size_t SlabBytes(const RowSlab<C>& slab) {
  return slab.target.size() * (sizeof(std::uint32_t) + sizeof(C)) + slab.start.size() * sizeof(std::size_t);
}

// Begins a slab. The one before keeps what it needs, the new one takes over its spare room.
template <class C>
void BeginSlab(OperatorRows<C>& O) {
  RowSlab<C> next;
  if (!O.slabs.empty()) {
    RowSlab<C> kept = O.slabs.back();
    O.bytes += SlabBytes(kept);
    next = std::exchange(O.slabs.back(), std::move(kept));
    next.start.resize(1);
    next.target.clear();
    next.value.clear();
  }
  O.slabs.push_back(std::move(next));
}

// Works out the rows of determinants, as many together as let the look-ups of their results overlap.
template <class C>
class RowWriter {
 public:
  explicit RowWriter(OperatorRows<C>& O) : O_(O), results_(O.compiled, *O.numbering) {}

  void write(const std::uint32_t* numbers, std::size_t count, RowSlab<C>& slab) {
    std::uint32_t ends[BasisBatch];
    for (std::size_t done = 0; done < count;) {
      std::uint32_t rows = 0;
      results_.clear();
      for (; done < count && rows < BasisBatch && results_.count < BasisBatch; ++done) {
        FindSurvivingTerms(O_.compiled, O_.numbering->keys.at(numbers[done]), true, results_);
        ends[rows++] = results_.count;
      }
      BasisAddBatch(*O_.numbering, results_.keys.data(), results_.count, results_.numbers.data());
      append(ends, rows, slab);
    }
  }

 private:
  // Results of one determinant that have the same number become one entry, at the place of the first: place_
  // has it for each number, and is empty between rows.
  void append(const std::uint32_t* ends, std::uint32_t rows, RowSlab<C>& slab) {
    if (place_.size() <= O_.numbering->N) place_.resize(O_.numbering->N + std::size_t{1});
    Reserve(slab.target, results_.count);
    Reserve(slab.value, results_.count);
    Reserve(slab.start, rows);
    std::visit(
        [&](const auto& values) {
          FurtherCodes furtherCodes(results_);
          for (std::uint32_t i = 0, r = 0; r < rows; ++r) {
            const std::size_t rowStart = slab.target.size();
            for (; i < ends[r]; ++i) {
              const C value = ToKind<C>(ResultCoefficient(results_, values, i, furtherCodes));
              std::uint32_t& place = place_[results_.numbers[i]];
              if (place) {
                slab.value[rowStart + place - 1] += value;
                continue;
              }
              slab.target.push_back(results_.numbers[i]);
              slab.value.push_back(value);
              place = static_cast<std::uint32_t>(slab.target.size() - rowStart);
            }
            for (std::size_t e = rowStart; e < slab.target.size(); ++e) place_[slab.target[e]] = 0;
            slab.start.push_back(slab.target.size());
          }
        },
        O_.compiled.values);
  }

  // Room for more elements, growing geometrically, so that nothing can fail later.
  template <class List>
  static void Reserve(List& list, std::size_t more) {
    if (list.capacity() < list.size() + more) list.reserve(std::max(2 * list.capacity(), list.size() + more));
  }

  OperatorRows<C>& O_;
  SurvivingTerms results_;
  LargeVector<std::uint32_t> place_;
};

// Appends rows to slab, or leaves it as it is when memory runs out.
template <class C>
[[nodiscard]] bool Appended(RowWriter<C>& writer, const std::uint32_t* numbers, std::size_t count,
                            RowSlab<C>& slab) {
  const std::size_t rows = slab.start.size(), entries = slab.target.size();
  if (FitsInMemory([&] { writer.write(numbers, count, slab); })) return true;
  slab.start.resize(rows);
  slab.target.resize(entries);
  slab.value.resize(entries);
  return false;
}

// Remembers the rows of numbers that have none, the first so many for which there is room. Returns how many.
template <class C>
std::size_t Remember(OperatorRows<C>& O, RowWriter<C>& writer, const std::vector<std::uint32_t>& missing) {
  constexpr std::uint32_t full = OperatorRows<C>::RowsPerSlab;
  const auto room = [&] { return O.bytes + (O.slabs.empty() ? 0 : SlabBytes(O.slabs.back())) < O.limit; };
  std::size_t done = 0;
  while (done < missing.size() && room()) {
    const std::size_t part = std::min<std::size_t>(missing.size() - done, full - O.rows % full);
    O.numberOf.reserve((O.rows / full + 1) * std::size_t{full});
    if ((O.rows % full == 0 && !FitsInMemory([&] { BeginSlab(O); })) ||
        !Appended(writer, missing.data() + done, part, O.slabs.back())) {
      O.limit = 0;  // from now on rows are worked out each time
      break;
    }
    for (const std::size_t end = done + part; done < end; ++done) {
      O.rowOf[missing[done]] = ++O.rows;
      O.numberOf.push_back(missing[done]);
    }
  }
  return done;
}

template <class C>
std::vector<std::uint32_t> WithoutRow(const OperatorRows<C>& O, const std::uint32_t* numbers,
                                      std::size_t count) {
  std::vector<std::uint32_t> missing;
  std::copy_if(numbers, numbers + count, std::back_inserter(missing),
               [&](std::uint32_t number) { return O.rowOf[number] == 0; });
  return missing;
}

// Gives a row to each of count numbers that has none: one that is remembered while there is room, else one in
// scratch, in the order of numbers.
template <class C>
void PrepareRows(OperatorRows<C>& O, RowWriter<C>& writer, const std::uint32_t* numbers, std::size_t count,
                 RowSlab<C>& scratch) {
  const std::vector<std::uint32_t> missing = WithoutRow(O, numbers, count);
  const std::size_t done = Remember(O, writer, missing);
  if (done == missing.size()) return;
  scratch = RowSlab<C>();
  writer.write(missing.data() + done, missing.size() - done, scratch);
}

// Row numbers for all that the numbering holds.
template <class C>
void ExtendRowOf(OperatorRows<C>& O) {
  O.rowOf.resize(std::max<std::size_t>(O.rowOf.size(), std::size_t{O.numbering->N} + 1));
}

template <class T>
void MakeRoom(NumberedSums<T>& sums, std::size_t numbers) {
  if (sums.value.size() < numbers) sums.value.resize(numbers);
  sums.met.resize(sums.value.size());
  sums.order.resize(sums.value.size() + 1);  // one more: numbers are written ahead
}

// The sums that were met, in their order; sums is empty then.
template <class T>
NumberedState<T> TakeSums(NumberedSums<T>& sums) {
  NumberedState<T> result;
  result.number.assign(sums.order.begin(), sums.order.begin() + sums.count);
  result.value.reserve(sums.count);
  for (std::uint32_t k = 0; k < sums.count; ++k) {
    __builtin_prefetch(&sums.value[sums.order[std::min(k + EntriesAhead, sums.count - 1)]], 1);
    const std::uint32_t number = sums.order[k];
    result.value.push_back(std::exchange(sums.value[number], T{}));
    sums.met[number] = 0;
  }
  sums.count = 0;
  return result;
}

// Adds the entries of row r times x. Far: the sums do not fit the second-level cache and are fetched ahead.
template <bool Far, class C, class X, class T>
inline void AddRow(const RowSlab<C>& slab, std::size_t r, X x, NumberedSums<T>& sums) {
  const std::uint32_t* target = slab.target.data();
  const C* coefficient = slab.value.data();
  T* value = sums.value.data();
  std::uint8_t* met = sums.met.data();
  std::uint32_t *order = sums.order.data(), count = sums.count;
  const std::size_t last = slab.target.size() - 1, end = slab.start[r + 1];
  for (std::size_t e = slab.start[r]; e < end; ++e) {
    if constexpr (Far) {
      const std::uint32_t ahead = target[std::min(e + EntriesAhead, last)];
      __builtin_prefetch(&value[ahead], 1);
      __builtin_prefetch(&met[ahead], 1);
    }
    const std::uint32_t number = target[e];
    order[count] = number;  // no branch: whether a number is new can't be predicted
    count += 1 - met[number];
    met[number] = 1;
    value[number] += coefficient[e] * x;
  }
  sums.count = count;
}

}  // namespace

template <class C>
OperatorRows<C>::OperatorRows(const OperatorType& O, const DeterminantRestrictionType* R,
                              std::shared_ptr<DeterminantBasis> basis, std::size_t bytesForRows)
    : compiled(CompileOperator(O, R, RowsAtOnce)), numbering(std::move(basis)), limit(bytesForRows) {
  RequireSameSpace(numbering->layout, "Wave-function", O.layout, "the operator");
}

template <class C>
void RememberRows(OperatorRows<C>& O, const std::vector<std::uint32_t>& numbers) {
  ExtendRowOf(O);
  RowWriter<C> writer(O);
  Remember(O, writer, WithoutRow(O, numbers.data(), numbers.size()));
  ExtendRowOf(O);
}

template <class C>
void WorkOutRows(OperatorRows<C>& O, const std::vector<std::uint32_t>& numbers,
                 const std::function<void(const RowSlab<C>&, const std::uint32_t*)>& use) {
  RowWriter<C> writer(O);
  RowSlab<C> rows;
  for (std::size_t first = 0; first < numbers.size(); first += RowsAtOnce) {
    rows.start.resize(1);
    rows.target.clear();
    rows.value.clear();
    writer.write(&numbers[first], std::min(RowsAtOnce, numbers.size() - first), rows);
    use(rows, &numbers[first]);
  }
}

template <class C>
bool ForgetRows(OperatorRows<C>& O) {
  if (O.slabs.empty()) return false;
  O.slabs.resize(O.slabs.size() - 1 - O.slabs.size() / 8);
  O.rows = static_cast<std::uint32_t>(O.slabs.size()) * O.RowsPerSlab;
  while (O.numberOf.size() > O.rows) {
    O.rowOf[O.numberOf.back()] = 0;
    O.numberOf.pop_back();
  }
  O.bytes = O.limit = 0;
  for (const RowSlab<C>& slab : O.slabs) {
    O.bytes = O.limit;  // the last one does not count as full
    O.limit += SlabBytes(slab);
  }
  return true;
}

template <class C, class X, class T>
NumberedState<T> OperatorRowsMultiply(OperatorRows<C>& O, const NumberedState<X>& x, NumberedSums<T>& sums) {
  ExtendRowOf(O);
  RowWriter<C> writer(O);
  RowSlab<C> scratch;
  try {
    for (std::size_t first = 0; first < x.number.size(); first += RowsAtOnce) {
      const std::size_t end = std::min(x.number.size(), first + RowsAtOnce);
      PrepareRows(O, writer, x.number.data() + first, end - first, scratch);
      MakeRoom(sums, std::size_t{O.numbering->N} + 1);
      const auto add = [&](auto far) {
        std::size_t unremembered = 0;
        for (std::size_t i = first; i < end; ++i) {
          const std::uint32_t row = O.rowOf[x.number[i]];
          const RowSlab<C>& slab = row ? O.slabs[(row - 1) / O.RowsPerSlab] : scratch;
          AddRow<far>(slab, row ? (row - 1) % O.RowsPerSlab : unremembered++, x.value[i], sums);
        }
      };
      if (sums.value.size() * sizeof(T) > NearBytes) {
        add(std::true_type{});
      } else {
        add(std::false_type{});
      }
    }
    return TakeSums(sums);
  } catch (...) {
    sums = {};
    throw;
  }
}

template struct OperatorRows<double>;
template struct OperatorRows<Complex16>;
template void RememberRows(OperatorRows<double>&, const std::vector<std::uint32_t>&);
template void RememberRows(OperatorRows<Complex16>&, const std::vector<std::uint32_t>&);
template void WorkOutRows(OperatorRows<double>&, const std::vector<std::uint32_t>&,
                          const std::function<void(const RowSlab<double>&, const std::uint32_t*)>&);
template void WorkOutRows(OperatorRows<Complex16>&, const std::vector<std::uint32_t>&,
                          const std::function<void(const RowSlab<Complex16>&, const std::uint32_t*)>&);
template bool ForgetRows(OperatorRows<double>&);
template bool ForgetRows(OperatorRows<Complex16>&);
template NumberedState<double> OperatorRowsMultiply(OperatorRows<double>&, const NumberedState<double>&,
                                                    NumberedSums<double>&);
template NumberedState<Complex16> OperatorRowsMultiply(OperatorRows<double>&, const NumberedState<Complex16>&,
                                                       NumberedSums<Complex16>&);
template NumberedState<Complex16> OperatorRowsMultiply(OperatorRows<Complex16>&, const NumberedState<double>&,
                                                       NumberedSums<Complex16>&);
template NumberedState<Complex16> OperatorRowsMultiply(OperatorRows<Complex16>&,
                                                       const NumberedState<Complex16>&,
                                                       NumberedSums<Complex16>&);

}  // namespace fermix
