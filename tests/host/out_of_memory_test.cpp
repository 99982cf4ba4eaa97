// The solvers under a limit on memory, as a user meets it: accuracy is given up before the run is.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "host/program.h"

#ifndef __SANITIZE_ADDRESS__  // its shadow memory is beyond any such limit

namespace fermix {
namespace {

// A half-filled Hubbard ring, or, for the dense solver, one of 8 sites with 5 electrons: 1568 determinants, a
// matrix of 20 MB. Arguments: what to solve, epsilon, and how many MB to leave to the solver, if
// these are to run out: determinants then have orbitals that are never in use, so that few of them take much.
const char* const script = R"(
local solver, epsilon, left = args[1], tonumber(args[2]), tonumber(args[3])
local sites = ({dense = 8, ["ground state"] = 10})[solver] or 11
local unused = left and 500 or 0
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
if solver == "dense" then key = "1001100110000000" end
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

if solver == "Lanczos" or solver == "Krylov" then
  print(CreateSpectra(H, T, psi, {{"NTri", 14}, {"Emin", -10}, {"Emax", 30}, {"NE", 40}, {"Gamma", 2},
                                  {"DenseBorder", 100}, {"epsilon", epsilon}, {"KrylovBasis", solver == "Krylov"}}))
else
  Eigensystem(H, psi, {{"DenseBorder", solver == "dense" and 2000 or 100}, {"epsilon", epsilon}, {"zero", 1e-9}})
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

const char* const applicationFailed =
    " for the function OperatorPsi\nreduce accuracy of the wave-function by a factor of two from  ";
const char* const endOfMemory =
    "Allocation failed\nNo evaluation information impelemented yet\nSorry you're screwed: System will exit\n";

// What truncation may change, the run without lack of memory shows at the threshold that would have come
// next: sums for which there is no memory are truncated before they are normalised.
TEST(OutOfMemory, LanczosGivesTheSpectrumOfTheThresholdThatFits) {
  const struct {
    const char *solver, *name;
    int left;
  } forms[] = {{"Lanczos", "LanczosTriDiagonalize", 24}, {"Krylov", "LanczosTriDiagonalizeKrylovRR", 40}};
  for (const auto& form : forms) {
    SCOPED_TRACE(form.solver);
    const ProgramResult whole = Solve(form.solver, 1e-10), some = Solve(form.solver, 1e-10, form.left);
    ASSERT_EQ(whole.status, 0) << whole.err;
    ASSERT_EQ(some.status, 0) << some.out << some.err;
    const std::string failed = std::string("Allocation of new memory failed in ") + form.name;
    EXPECT_NE(
        some.out.find(failed + applicationFailed + "1.000000000000000E-10 to  2.000000000000000E-10\n\n"),
        std::string::npos)
        << some.out;
    const double reached = 2 * NumberBehind(some.out, "factor of two from");
    EXPECT_DOUBLE_EQ(reached, std::ldexp(1e-10, static_cast<int>(Count(some.out, "reduce accuracy"))));
    const ProgramResult coarse = Solve(form.solver, 2 * reached);
    const double allowed = Deviation(Intensities(coarse.out), Intensities(whole.out)),
                 deviation = Deviation(Intensities(some.out), Intensities(whole.out));
    EXPECT_GT(deviation, 0);
    EXPECT_LE(deviation, allowed);
    EXPECT_LT(allowed, 0.05);
  }
}

TEST(OutOfMemory, LanczosEndsInOrderWhenNothingIsLeftToTruncate) {
  for (const char* solver : {"Lanczos", "Krylov"}) {
    const ProgramResult none = Solve(solver, 1e-10, 1);
    EXPECT_EQ(none.status, 1);
    EXPECT_TRUE(none.out.ends_with(endOfMemory)) << none.out;
    EXPECT_EQ(none.err, "");
  }
}

// A threshold of 0 can be doubled for ever.
TEST(OutOfMemory, AThresholdOfZeroHasAnEnd) {
  const ProgramResult some = Solve("Lanczos", 0, 24);
  EXPECT_EQ(some.status, 0) << some.out << some.err;
  EXPECT_NE(some.out.find("from  0.000000000000000E+00 to  2.220446049250313E-16\n"), std::string::npos);
}

// Fewer Krylov vectors, rows that are worked out each time; vectors instead of a matrix: the same state.
TEST(OutOfMemory, GroundStateComesOutWithFewerVectors) {
  const struct {
    const char *solver, *line;
    int left;
  } cases[] = {{"ground state", "\nCheap fix needs to be improved\n", 25},
               {"dense", "InitCompactMatrix failed in BlockLanczosGroundStateConserveBasisDense\n", 15}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.solver);
    const ProgramResult whole = Solve(c.solver, 1e-10), some = Solve(c.solver, 1e-10, c.left);
    ASSERT_EQ(whole.status, 0) << whole.err;
    ASSERT_EQ(some.status, 0) << some.err;
    EXPECT_NE(some.out.find(c.line), std::string::npos) << some.out;
    EXPECT_NEAR(NumberBehind(some.out, "energy\t"), NumberBehind(whole.out, "energy\t"), 1e-7);
    EXPECT_NEAR(NumberBehind(some.out, "norm\t"), 1, 1e-12);
  }
}

TEST(OutOfMemory, GroundStateSearchEndsInOrderWhenNothingIsLeftToTruncate) {
  const ProgramResult none = Solve("ground state", 1e-10, 4);
  EXPECT_EQ(none.status, 1);
  EXPECT_TRUE(none.out.ends_with(
      std::string("Run outof memory need to truncate but NBlok=1\n You're screwed\n") + endOfMemory))
      << none.out;
  EXPECT_EQ(none.err, "");
}

}  // namespace
}  // namespace fermix
#endif
