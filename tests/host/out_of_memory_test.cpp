// The solvers under a limit on memory, as a user meets it: accuracy is given up before the run is.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "host/program.h"

#ifndef __SANITIZE_ADDRESS__  // its shadow memory is beyond any such limit

namespace fermix {
namespace {

// A half-filled Hubbard ring. Arguments: what to solve, epsilon, and how many MB to leave to the solver, if
// these are to run out: determinants then have orbitals that are never in use, so that few of them take much.
const char* const script = R"(
local solver, epsilon, left = args[1], tonumber(args[2]), tonumber(args[3])
local sites, unused = 10, left and 500 or 0
local NF = 2 * sites + unused
local terms, key = {}, ""
for i = 0, sites - 1 do
  local j = (i + 1) % sites
  for s = 0, 1 do
    table.insert(terms, {2 * i + s, -(2 * j + s), -1})
    table.insert(terms, {2 * j + s, -(2 * i + s), -1})
  end
  table.insert(terms, {2 * i, -(2 * i), 2 * i + 1, -(2 * i + 1), 8})
  key = key .. (i % 2 == 0 and "10" or "01")
end
local H = NewOperator(NF, 0, terms)
local T = NewOperator(NF, 0, {{0, -0, 1}})
local psi = NewWavefunction(NF, 0, {{key .. string.rep("0", unused), 1}})
Verbosity(0)

held = {}
if left then  -- takes all there is but for what is to be left
  repeat
    local fits, matrix = pcall(Matrix.Zero, 362)
    held[#held + 1] = fits and matrix or nil
  until not fits
  for i = 1, left do held[#held] = nil end
  collectgarbage()
  collectgarbage()
end

if solver == "Lanczos" then
  print(CreateSpectra(H, T, psi, {{"NTri", 14}, {"Emin", -10}, {"Emax", 30}, {"NE", 40}, {"Gamma", 2},
                                  {"DenseBorder", 100}, {"epsilon", epsilon}}))
else
  Eigensystem(H, psi, {{"DenseBorder", 100}, {"epsilon", epsilon}})
  held = nil
  collectgarbage()
  print("energy", psi * H * psi)
  print("norm", psi * psi)
end
)";

constexpr unsigned long MB = 1ul << 20;

ProgramResult Solve(const std::string& solver, double epsilon, int left = 0) {
  static const std::string path = TemporaryScript(script);
  std::vector<std::string> arguments = {path, solver, std::to_string(epsilon * 1e12) + "e-12"};
  if (left == 0) return RunProgram(arguments);
  arguments.push_back(std::to_string(left));
  return RunProgram(arguments, "", 360 * MB);
}

// The imaginary parts, third number of the lines of a printed spectrum.
std::vector<double> Intensities(const std::string& text) {
  std::vector<double> result;
  std::istringstream lines(text);
  for (std::string line; std::getline(lines, line);) {
    std::istringstream numbers(line);
    double E, re, im;
    if (numbers >> E >> re >> im) result.push_back(im);
  }
  return result;
}

double Deviation(const std::vector<double>& a, const std::vector<double>& b) {
  double most = a.size() == b.size() && a.size() == 41 ? 0 : NAN;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) most = std::max(most, std::fabs(a[i] - b[i]));
  return most;
}

std::size_t Count(const std::string& text, const std::string& part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

// The number behind the last place where key stands in text.
double NumberBehind(const std::string& text, const std::string& key) {
  const std::size_t at = text.rfind(key);
  return at == std::string::npos ? NAN : std::stod(text.substr(at + key.size()));
}

// The most memory with which the threshold has to be doubled.
ProgramResult SolveWithLack(double epsilon) {
  ProgramResult result;
  for (int left = 20; left > 8; left -= 2) {
    result = Solve("Lanczos", epsilon, left);
    if (result.status != 0 || Count(result.out, "reduce accuracy") > 0) break;
  }
  return result;
}

// What truncation may change, the run without lack of memory at the threshold that was reached shows.
TEST(OutOfMemory, LanczosGivesTheSpectrumOfTheThresholdThatFits) {
  const ProgramResult whole = Solve("Lanczos", 1e-10), some = SolveWithLack(1e-10);
  ASSERT_EQ(whole.status, 0) << whole.err;
  ASSERT_EQ(some.status, 0) << some.out << some.err;
  EXPECT_NE(
      some.out.find("reduce accuracy of the wave-function by a factor of two from  1.000000000000000E-10 "
                    "to  2.000000000000000E-10\n\n"),
      std::string::npos)
      << some.out;
  const double reached = 2 * NumberBehind(some.out, "factor of two from");
  EXPECT_DOUBLE_EQ(reached, std::ldexp(1e-10, static_cast<int>(Count(some.out, "reduce accuracy"))));
  const ProgramResult coarse = Solve("Lanczos", reached);
  const double allowed = Deviation(Intensities(coarse.out), Intensities(whole.out)),
               deviation = Deviation(Intensities(some.out), Intensities(whole.out));
  EXPECT_GT(deviation, 0);
  EXPECT_LE(deviation, allowed);
  EXPECT_LT(allowed, 0.05);
}

TEST(OutOfMemory, LanczosEndsInOrderWhenNothingIsLeftToTruncate) {
  const ProgramResult none = Solve("Lanczos", 1e-10, 1);
  EXPECT_EQ(none.status, 1);
  EXPECT_TRUE(none.out.ends_with("Sorry you're screwed: System will exit\n")) << none.out;
  EXPECT_EQ(none.err, "");
}

// A threshold of 0 can be doubled for ever.
TEST(OutOfMemory, AThresholdOfZeroHasAnEnd) {
  const ProgramResult some = SolveWithLack(0);
  EXPECT_EQ(some.status, 0) << some.out << some.err;
  EXPECT_NE(some.out.find("from  0.000000000000000E+00 to  2.220446049250313E-16\n"), std::string::npos);
}

// Fewer Krylov vectors, rows that are worked out each time: the same state.
TEST(OutOfMemory, GroundStateComesOutWithFewerVectors) {
  const ProgramResult whole = Solve("ground state", 1e-10), some = Solve("ground state", 1e-10, 25);
  ASSERT_EQ(whole.status, 0) << whole.err;
  ASSERT_EQ(some.status, 0) << some.err;
  EXPECT_NE(some.out.find("\nCheap fix needs to be improved\n"), std::string::npos) << some.out;
  EXPECT_NEAR(NumberBehind(some.out, "energy\t"), NumberBehind(whole.out, "energy\t"), 1e-7);
  EXPECT_NEAR(NumberBehind(some.out, "norm\t"), 1, 1e-12);
}

}  // namespace
}  // namespace fermix
#endif
