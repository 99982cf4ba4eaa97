#include "core/expectation_table.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "core/expectation.h"
#include "core/operator_on_state.h"
#include "host/base/text.h"

namespace fermix {

namespace {

// text cut or filled to a column, with a blank at its end.
std::string Field(const std::string& text, int colWidth) {
  const std::string cut = text.substr(0, static_cast<std::size_t>(colWidth - 1));
  return cut + blankFill(colWidth, static_cast<int>(cut.size()));
}

std::string NumberField(double x, int colWidth) {
  return Field(numberToStringMaxWidth(x, colWidth - 1), colWidth);
}

// "+0.5I", with the sign in the place of the blank before a number.
std::string ImaginaryField(double x, int colWidth) {
  std::string digits = numberToStringMaxWidth(std::fabs(x), colWidth - 2);
  if (digits.front() == ' ') digits.erase(0, 1);
  std::string text(1, x < 0 ? '-' : '+');
  text += digits;
  text += 'I';
  return Field(text, colWidth);
}

}  // namespace

double StandardDeviation(const CompiledOperator& O, const WaveFunctionType& psi, Complex16 mean) {
  // Twice the rounding of a sum of many squares: such a state counts as normalised.
  constexpr double normNoise = 1e-12;
  WaveFunctionType Opsi = OperatorPsi(O, psi);
  double variance = WaveFunctionCalculateNormSqr(Opsi) - NormSqr(mean);
  if (std::fabs(WaveFunctionCalculateNormSqr(psi) - 1) < normNoise) {
    // The same without the difference of large numbers, so that an eigenstate shows 0.
    WaveFunctionAddComplexMultipliedUnionBasis(Opsi, psi, -mean);
    variance = WaveFunctionCalculateNormSqr(Opsi);
  }
  return variance < 0 ? 0 : std::sqrt(variance);  // not-a-number stays
}

ExpectationValues::ExpectationValues(const std::vector<const WaveFunctionType*>& states,
                                     const std::vector<const OperatorType*>& operators, const OperatorType* H,
                                     const std::vector<ExpectationList>& lists,
                                     const ExpectationSettings& settings)
    : settings_(settings), order_(states.size()) {
  Column number{"#", "", false, {}};
  for (std::size_t k = 0; k < states.size(); ++k) number.cells.push_back(Complex16(double(k + 1)));
  columns_.push_back(std::move(number));
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  if (H) {
    addOperator(*H, states);
    const auto& energies = columns_[1].cells;
    const auto energy = [&](std::size_t k) { return std::get<Complex16>(energies[k]).re; };
    if (settings.sortByEnergy)
      std::stable_sort(order_.begin(), order_.end(), [&](std::size_t a, std::size_t b) {
        // What is not a number comes last, so that this is an order.
        return energy(a) < energy(b) || (std::isnan(energy(b)) && !std::isnan(energy(a)));
      });
  }
  for (const OperatorType* O : operators) addOperator(*O, states);
  for (const ExpectationList& list : lists) addList(list);
}

void ExpectationValues::addOperator(const OperatorType& O,
                                    const std::vector<const WaveFunctionType*>& states) {
  Column value{O.Name, "", false, {}}, sigma{"std-", "-dev", false, {}};
  const CompiledOperator compiled = CompileForElements(O, states);
  for (const WaveFunctionType* psi : states) {
    const Complex16 mean = PsiPrimeOperatorPsi(compiled, {psi}, *psi)[0];
    value.complex |= chopped(mean).im != 0;
    value.cells.push_back(mean);
    if (settings_.printSigma) sigma.cells.push_back(Complex16(StandardDeviation(compiled, *psi, mean)));
  }
  columns_.push_back(std::move(value));
  if (settings_.printSigma) columns_.push_back(std::move(sigma));
}

void ExpectationValues::addList(const ExpectationList& list) {
  Column column{list.name, "", false, list.cells};
  for (const auto& cell : list.cells)
    if (const auto* z = std::get_if<Complex16>(&cell)) column.complex |= chopped(*z).im != 0;
  columns_.push_back(std::move(column));
}

Complex16 ExpectationValues::chopped(Complex16 z) const {
  const auto chop = [this](double x) { return std::fabs(x) < settings_.zero ? 0 : x; };
  return {chop(z.re), chop(z.im)};
}

std::string ExpectationValues::printHeader(int colWidth) const {
  std::string top, bottom;
  bool second = false;
  for (const Column& column : columns_) {
    const int width = column.complex ? 2 * colWidth : colWidth;
    top += Field(column.top, width);
    bottom += Field(column.bottom, width);
    second |= !column.bottom.empty();
  }
  return top + "\n" + (second ? bottom + "\n" : "");
}

std::string ExpectationValues::printLine(std::size_t n, int colWidth) const {
  std::string line;
  for (const Column& column : columns_) {
    const auto& cell = column.cells[order_[n]];
    if (const auto* text = std::get_if<std::string>(&cell)) {
      line += Field(*text, column.complex ? 2 * colWidth : colWidth);
      continue;
    }
    const Complex16 z = chopped(std::get<Complex16>(cell));
    line += NumberField(z.re, colWidth);
    if (column.complex) line += ImaginaryField(z.im, colWidth);
  }
  return line + "\n";
}

void ExpectationValues::print(int colWidth, int printHeaderEvery) const {
  if (lines() == 0) Say("%s", printHeader(colWidth).c_str());
  for (std::size_t n = 0; n < lines(); ++n) {
    const bool header = printHeaderEvery > 0 ? n % static_cast<std::size_t>(printHeaderEvery) == 0 : n == 0;
    if (header) Say("%s", printHeader(colWidth).c_str());
    Say("%s", printLine(n, colWidth).c_str());
  }
}

}  // namespace fermix
