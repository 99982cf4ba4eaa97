// Runs the built program as a user does: arguments, standard input, both outputs, exit status.
#pragma once

#include <string>
#include <vector>

namespace fermix {

struct ProgramResult {
  std::string out, err;  // out without the banner
  int status = -1;       // exit status, or minus the signal that ended the process
};

// Bytes of addresses: no limit.
inline constexpr unsigned long Unlimited = ~0ul;

// A running program whose standard input is fed step by step.
class Program {
 public:
  explicit Program(std::vector<std::string> arguments, unsigned long addresses = Unlimited);
  ~Program();
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  void Write(const std::string& text);
  // Waits until text stands in the standard output that has not been searched yet; false after ten seconds.
  bool WaitFor(const std::string& text);
  void Interrupt();
  // Closes standard input and waits for the end.
  ProgramResult Finish();

 private:
  bool ReadSome(int timeoutMilliseconds);

  int pid_ = -1, in_ = -1, out_ = -1, err_ = -1;
  std::string outText_, errText_;
  std::size_t searched_ = 0;
};

inline ProgramResult RunProgram(std::vector<std::string> arguments, const std::string& input = "",
                                unsigned long addresses = Unlimited) {
  Program program(std::move(arguments), addresses);
  program.Write(input);
  return program.Finish();
}

// Writes source to a new temporary file and returns its path.
std::string TemporaryScript(const std::string& source);

inline ProgramResult RunScriptText(const std::string& source, std::vector<std::string> arguments = {}) {
  arguments.insert(arguments.begin(), TemporaryScript(source));
  return RunProgram(std::move(arguments));
}

}  // namespace fermix
