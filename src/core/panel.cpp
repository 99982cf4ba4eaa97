#include "core/panel.h"

#include <algorithm>
#include <stdexcept>

#include "host/base/vector_clones.h"

namespace fermix {

namespace {

// How far ahead of its use an element is fetched: some dozen nanoseconds of entries.
constexpr std::size_t EntriesAhead = 16;

// y += c x for one element of each column.
template <std::uint32_t Columns>
inline void AddElement(double c, const double* x, double* y) {
  for (std::uint32_t j = 0; j < Columns; ++j) y[j] += c * x[j];
}
template <std::uint32_t Columns>
inline void AddElement(Complex16 c, const double* x, double* y) {
  for (std::uint32_t j = 0; j < Columns; j += 2) {
    y[j] += c.re * x[j] - c.im * x[j + 1];
    y[j + 1] += c.re * x[j + 1] + c.im * x[j];
  }
}

template <std::uint32_t Columns>
inline bool QZero(const double* x) {
  double most = 0;
  for (std::uint32_t j = 0; j < Columns; ++j) most = std::max(most, std::fabs(x[j]));
  return most == 0;  // not for a NaN
}

// Each element of x goes to where its row leads.
template <std::uint32_t Columns, class C>
inline void ScatterSlab(const RowSlab<C>& slab, const std::uint32_t* numberOf, const double* x, double* y) {
  const std::uint32_t* target = slab.target.data();
  const C* value = slab.value.data();
  const std::size_t last = slab.target.size() - 1;
  for (std::size_t r = 0; r + 1 < slab.start.size(); ++r) {
    const double* from = x + std::size_t{numberOf[r]} * Columns;
    if (QZero<Columns>(from)) continue;
    for (std::size_t e = slab.start[r]; e < slab.start[r + 1]; ++e) {
      __builtin_prefetch(y + std::size_t{target[std::min(e + EntriesAhead, last)]} * Columns, 1);
      AddElement<Columns>(value[e], from, y + std::size_t{target[e]} * Columns);
    }
  }
}

// Each element of y comes from where the row of O, Hermitian, leads. Sums: so many run at once.
template <std::uint32_t Columns, std::uint32_t Sums, class C>
inline void GatherSlab(const RowSlab<C>& slab, const std::uint32_t* numberOf, const double* x, double* y) {
  const std::uint32_t* target = slab.target.data();
  const C* value = slab.value.data();
  const std::size_t last = slab.target.size() - 1;
  for (std::size_t r = 0; r + 1 < slab.start.size(); ++r) {
    double sum[Sums][Columns] = {};
    std::size_t e = slab.start[r];
    const std::size_t end = slab.start[r + 1];
    for (; e + Sums <= end; e += Sums)
      for (std::uint32_t s = 0; s < Sums; ++s) {
        __builtin_prefetch(x + std::size_t{target[std::min(e + s + EntriesAhead, last)]} * Columns);
        AddElement<Columns>(Conj(value[e + s]), x + std::size_t{target[e + s]} * Columns, sum[s]);
      }
    for (; e < end; ++e) AddElement<Columns>(Conj(value[e]), x + std::size_t{target[e]} * Columns, sum[0]);
    double* to = y + std::size_t{numberOf[r]} * Columns;
    for (std::uint32_t j = 0; j < Columns; ++j) {
      double total = sum[0][j];
      for (std::uint32_t s = 1; s < Sums; ++s) total += sum[s][j];
      to[j] = total;
    }
  }
}

// The wide kinds, for which vector instructions pay.
FERMIX_VECTOR_CLONES void ScatterFour(const RowSlab<double>& slab, const std::uint32_t* numberOf,
                                      const double* x, double* y) {
  ScatterSlab<4>(slab, numberOf, x, y);
}
FERMIX_VECTOR_CLONES void ScatterEight(const RowSlab<double>& slab, const std::uint32_t* numberOf,
                                       const double* x, double* y) {
  ScatterSlab<8>(slab, numberOf, x, y);
}
FERMIX_VECTOR_CLONES void GatherFour(const RowSlab<double>& slab, const std::uint32_t* numberOf,
                                     const double* x, double* y) {
  GatherSlab<4, 2>(slab, numberOf, x, y);
}
FERMIX_VECTOR_CLONES void GatherEight(const RowSlab<double>& slab, const std::uint32_t* numberOf,
                                      const double* x, double* y) {
  GatherSlab<8, 1>(slab, numberOf, x, y);
}

template <class C>
using SlabProduct = void (*)(const RowSlab<C>&, const std::uint32_t*, const double*, double*);

SlabProduct<double> ProductOf(const OperatorRows<double>&, std::uint32_t columns, bool gather) {
  switch (columns) {
    case 1:
      return gather ? GatherSlab<1, 4, double> : ScatterSlab<1, double>;
    case 2:
      return gather ? GatherSlab<2, 2, double> : ScatterSlab<2, double>;
    case 4:
      return gather ? GatherFour : ScatterFour;
    case 8:
      return gather ? GatherEight : ScatterEight;
  }
  throw std::invalid_argument("A panel has 1, 2, 4 or 8 columns");
}
SlabProduct<Complex16> ProductOf(const OperatorRows<Complex16>&, std::uint32_t columns, bool gather) {
  switch (columns) {
    case 2:
      return gather ? GatherSlab<2, 2, Complex16> : ScatterSlab<2, Complex16>;
    case 4:
      return gather ? GatherSlab<4, 1, Complex16> : ScatterSlab<4, Complex16>;
    case 8:
      return gather ? GatherSlab<8, 1, Complex16> : ScatterSlab<8, Complex16>;
  }
  throw std::invalid_argument("A panel of complex vectors has 2, 4 or 8 columns");
}

bool QZeroRow(const Panel& x, std::size_t number) {
  const double* row = x.value.data() + number * x.columns;
  return std::all_of(row, row + x.columns, [](double v) { return v == 0; });
}

// The numbers that x needs and that have no row.
template <class C>
std::vector<std::uint32_t> MissingRows(const OperatorRows<C>& O, const Panel& x) {
  std::vector<std::uint32_t> needed;
  for (std::uint32_t number = 1; number < Numbers(x); ++number)
    if (O.rowOf[number] == 0 && !QZeroRow(x, number)) needed.push_back(number);
  return needed;
}

// Makes the rows that x needs. When hardly any other is missing, those too: a space that closes is gathered.
// Returns the numbers for whose rows there is no room.
template <class C>
std::vector<std::uint32_t> MakeRows(OperatorRows<C>& O, const Panel& x) {
  O.rowOf.resize(std::max<std::size_t>(O.rowOf.size(), std::size_t{O.numbering->N} + 1));
  if (O.rows == O.numbering->N) return {};
  RememberRows(O, MissingRows(O, x));
  std::vector<std::uint32_t> missing = MissingRows(O, x);
  for (int round = 0; round < 3 && missing.empty(); ++round) {
    const std::uint32_t further = O.numbering->N - O.rows;
    if (further == 0 || further > O.rows / 8) break;
    std::vector<std::uint32_t> needed;
    for (std::uint32_t number = 1; number <= O.numbering->N; ++number)
      if (O.rowOf[number] == 0) needed.push_back(number);
    RememberRows(O, needed);
  }
  return missing;
}

// True when O maps the numbering onto itself. A determinant outside of the restrictions is reached by none.
template <class C>
bool QClosed(OperatorRows<C>& O) {
  if (O.rows != O.numbering->N) return false;
  for (; O.within < O.rows; ++O.within)
    if (!QFulfillsRestrictions(O.compiled.Restrictions, O.numbering->keys.at(O.within + 1))) return false;
  return true;
}

}  // namespace

void ExtendPanel(Panel& panel, std::size_t numbers) {
  if (Numbers(panel) < numbers) panel.value.resize(numbers * panel.columns);
}

template <class C>
void OperatorRowsMultiplyPanel(OperatorRows<C>& O, Panel& x, Panel& y) {
  const std::vector<std::uint32_t> missing = MakeRows(O, x);
  const std::size_t numbers = std::size_t{O.numbering->N} + 1;
  ExtendPanel(x, numbers);
  const bool gather = QClosed(O);
  y.columns = x.columns;
  y.value.resize(numbers * x.columns);
  std::fill(y.value.begin(), gather ? y.value.begin() + x.columns : y.value.end(), 0.0);
  const auto product = ProductOf(O, x.columns, gather);
  const std::uint32_t* numberOf = O.numberOf.data();
  for (const RowSlab<C>& slab : O.slabs) {
    product(slab, numberOf, x.value.data(), y.value.data());
    numberOf += slab.start.size() - 1;
  }
  WorkOutRows<C>(O, missing, [&](const RowSlab<C>& slab, const std::uint32_t* numbersOfSlab) {
    ExtendPanel(y, std::size_t{O.numbering->N} + 1);
    product(slab, numbersOfSlab, x.value.data(), y.value.data());
  });
  ExtendPanel(x, Numbers(y));
}

template void OperatorRowsMultiplyPanel(OperatorRows<double>&, Panel&, Panel&);
template void OperatorRowsMultiplyPanel(OperatorRows<Complex16>&, Panel&, Panel&);

}  // namespace fermix
