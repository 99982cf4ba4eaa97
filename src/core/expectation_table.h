// A table of expectation values: one line for each state, one column for each operator.
#pragma once

#include <string>
#include <variant>
#include <vector>

#include "core/compiled_operator.h"
#include "core/wave_function.h"

namespace fermix {

// Of a column, in characters.
inline constexpr int MinColumnWidth = 6, MaxColumnWidth = 255;

struct ExpectationSettings {
  bool printSigma = false;    // standard deviations beside the values
  bool sortByEnergy = false;  // lines in the order of the Hamiltonian's value
  double zero = 1e-10;        // below this a value prints as 0
};

// A further column with a cell for each state.
struct ExpectationList {
  std::string name;
  std::vector<std::variant<Complex16, std::string>> cells;
};

// Computes all values once; prints them as often as wanted.
class ExpectationValues {
 public:
  // Columns: the state's number from 1, the energy if H is not null, the operators, the lists. All must have
  // one space, and lists one cell for each state.
  ExpectationValues(const std::vector<const WaveFunctionType*>& states,
                    const std::vector<const OperatorType*>& operators, const OperatorType* H,
                    const std::vector<ExpectationList>& lists, const ExpectationSettings& settings);

  // Prints to standard output, with the header before each line whose number from 0 printHeaderEvery divides;
  // 0 prints it once. A column is colWidth characters wide, twice that for complex values.
  void print(int colWidth, int printHeaderEvery) const;

  std::string printHeader(int colWidth) const;
  // Line n from 0.
  std::string printLine(std::size_t n, int colWidth) const;
  std::size_t lines() const { return order_.size(); }

 private:
  struct Column {
    std::string top, bottom;  // of the header
    bool complex = false;     // some value has an imaginary part
    std::vector<std::variant<Complex16, std::string>> cells;
  };
  void addOperator(const OperatorType& O, const std::vector<const WaveFunctionType*>& states);
  void addList(const ExpectationList& list);
  Complex16 chopped(Complex16 z) const;

  ExpectationSettings settings_;
  std::vector<Column> columns_;
  std::vector<std::size_t> order_;  // of the lines
};

// The standard deviation sqrt(<O^2> - <O>^2) of a Hermitian O without restrictions, whose value is mean, by
// one product O |psi>.
double StandardDeviation(const CompiledOperator& O, const WaveFunctionType& psi, Complex16 mean);

}  // namespace fermix
