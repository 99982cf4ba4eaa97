// The harness of program.h, and the program in script mode: start-up, arguments, exit statuses.
#include "host/program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <fstream>

namespace fermix {

Program::Program(std::vector<std::string> arguments, unsigned long addresses) {
  std::array<std::array<int, 2>, 3> pipes{};
  for (auto& p : pipes)
    if (pipe2(p.data(), O_CLOEXEC)) throw std::runtime_error("no pipe");
  arguments.insert(arguments.begin(), FERMIX_PROGRAM);
  std::vector<char*> argv;
  for (std::string& a : arguments) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_ = fork();
  if (pid_ == 0) {
    signal(SIGINT, SIG_DFL);  // a shell ignores it for what it runs in the background
    dup2(pipes[0][0], 0);
    dup2(pipes[1][1], 1);
    dup2(pipes[2][1], 2);
    if (rlimit limit{}; addresses != Unlimited && !getrlimit(RLIMIT_AS, &limit)) {
      limit.rlim_cur = addresses;
      setrlimit(RLIMIT_AS, &limit);
    }
    execv(argv[0], argv.data());
    _exit(127);
  }
  close(pipes[0][0]);
  close(pipes[1][1]);
  close(pipes[2][1]);
  in_ = pipes[0][1], out_ = pipes[1][0], err_ = pipes[2][0];
}

Program::~Program() {
  for (int fd : {in_, out_, err_})
    if (fd >= 0) close(fd);
  if (pid_ > 0) {
    kill(pid_, SIGKILL);
    waitpid(pid_, nullptr, 0);
  }
}

void Program::Write(const std::string& text) {
  signal(SIGPIPE, SIG_IGN);  // a program that has ended reads nothing
  for (std::size_t done = 0; done < text.size();) {
    const ssize_t n = write(in_, text.data() + done, text.size() - done);
    if (n <= 0) return;
    done += n;
  }
}

bool Program::ReadSome(int timeoutMilliseconds) {
  std::array<pollfd, 2> fds{{{out_, POLLIN, 0}, {err_, POLLIN, 0}}};
  if (poll(fds.data(), fds.size(), timeoutMilliseconds) <= 0) return false;
  const auto read_into = [](int& fd, std::string& text) {
    char buffer[4096];
    const ssize_t n = read(fd, buffer, sizeof buffer);
    if (n > 0) {
      text.append(buffer, n);
    } else {
      close(fd);
      fd = -1;  // ignored by poll
    }
  };
  if (fds[0].revents) read_into(out_, outText_);
  if (fds[1].revents) read_into(err_, errText_);
  return true;
}

bool Program::WaitFor(const std::string& text) {
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (std::chrono::steady_clock::now() < end) {
    const std::size_t found = outText_.find(text, searched_);
    if (found != std::string::npos) return searched_ = found + text.size(), true;
    ReadSome(100);
  }
  return false;
}

void Program::Interrupt() { kill(pid_, SIGINT); }

ProgramResult Program::Finish() {
  close(in_);
  in_ = -1;
  while ((out_ >= 0 || err_ >= 0) && ReadSome(60000)) {
  }
  if (out_ >= 0 || err_ >= 0) kill(pid_, SIGKILL);  // it hangs
  int status = 0;
  waitpid(pid_, &status, 0);
  pid_ = -1;
  // The banner ends with the first empty line.
  const std::size_t banner = outText_.find("\n\n");
  if (banner != std::string::npos) outText_.erase(0, banner + 2);
  return {outText_, errText_, WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status)};
}

std::string TemporaryScript(const std::string& source) {
  static int count = 0;
  const std::string path =
      testing::TempDir() + "fermix_" + std::to_string(getpid()) + "_" + std::to_string(count++) + ".lua";
  std::ofstream(path) << source;
  return path;
}

namespace {

// What a shell command prints, with the program and a script at its end.
std::string ShellOutput(const std::string& command, const std::string& script) {
  const std::string path = script.substr(0, script.find(' ')) + ".txt";
  EXPECT_EQ(std::system((command + "'" FERMIX_PROGRAM "' " + script + " > " + path).c_str()), 0) << command;
  std::ifstream file(path);
  return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Program, HandsArgumentsToTheScript) {
  const std::string script = "print(args and #args, args and args[1], args and args[2], arg, ...)";
  EXPECT_EQ(RunScriptText(script, {"-x", "a b"}).out, "2\t-x\ta b\tnil\n");
}

TEST(Program, TellsTheEndOfAScriptByItsStatus) {
  const struct {
    const char* script;
    int status;
    const char *out, *err;
  } cases[] = {{"print(1)", 0, "1\n", ""},
               {"print(1) error('x', 0)", 1, "1\n", "Error while executing the script:\nx\n\n"},
               {"error({})", 1, "", "Error while executing the script:\n(null)\n\n"},
               {"os.exit(7)", 7, "", ""},
               // Finalisers run on every way out.
               {"x = setmetatable({}, {__gc = function() print('collected') end}) error('x', 0)", 1,
                "collected\n", "Error while executing the script:\nx\n\n"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.script);
    const ProgramResult result = RunScriptText(c.script);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, c.err);
  }
}

TEST(Program, ReportsWhatCannotBeLoadedOnStandardOutput) {
  const ProgramResult absent = RunProgram({"-e", "print(1)"});  // the first argument is always a file
  EXPECT_EQ(absent.status, 1);
  EXPECT_EQ(absent.out, "Error while loading the script:\ncannot open -e: No such file or directory\n\n");
  EXPECT_EQ(absent.err, "");
  const ProgramResult result = RunScriptText("x = = 1");
  EXPECT_NE(result.out.find(":1: unexpected symbol near '='\n\n"), std::string::npos) << result.out;
}

TEST(Program, ShowsEachLineAtOnceAlsoInAPipe) {
  const ProgramResult result = RunScriptText(
      "print('seen') local f = io.open('/proc/self/stat') os.execute('kill -9 ' .. f:read('*n'))");
  EXPECT_EQ(result.status, -SIGKILL);
  EXPECT_EQ(result.out, "seen\n");
}

TEST(Program, LimitsItsOwnDataUnlessALowerLimitIsSet) {
  const std::string script = TemporaryScript(
      "for line in io.lines('/proc/self/limits') do if line:find('Max data') then "
      "print(line:match('%d+') or 'unlimited') end end");
  EXPECT_NE(RunProgram({script}).out, "unlimited\n");
#ifndef __SANITIZE_ADDRESS__  // its shadow memory is data and beyond any such limit
  EXPECT_TRUE(ShellOutput("ulimit -S -d 262144; ", script).ends_with("\n268435456\n"));
#endif
}

#ifndef __SANITIZE_ADDRESS__
// The linear algebra library waits forever for work space that a limit refuses it, its threads even at the
// end of the program: it gets one thread, and its work space at the start or an error.
TEST(Program, WorksAndEndsUnderATightLimit) {
  const std::string script = TemporaryScript(
      "print(io.open('/proc/self/status'):read('*a'):match('Threads:%s*(%d+)'))\n"
      "print(pcall(function() return Eigensystem({{2, 1}, {1, 2}})[2] end))\n"
      // 18 MB each beside what is held: dead matrices make room for new ones.
      "hold = args and Matrix.Zero(3200)\n"
      "local made = 0 for i = 1, 30 do if pcall(Matrix.Zero, 1500) then made = made + 1 end end\n"
      "print(made >= 15)");
  const struct {
    const char *limit, *eigenvalue;
    bool held;
  } cases[] = {{"-v 120000", "false\tnot enough memory", false},
               {"-d 120000", "false\tnot enough memory", true},
               {"-v 400000", "true\t3", true}};
  for (const auto& c : cases) {
    const std::string text = ShellOutput(
        "ulimit -S " + std::string(c.limit) + "; unset OPENBLAS_NUM_THREADS OMP_NUM_THREADS; timeout 20 ",
        script + (c.held ? " held" : ""));
    EXPECT_NE(text.find("\n1\n" + std::string(c.eigenvalue) + "\n"), std::string::npos) << c.limit << text;
    EXPECT_NE(text.find("\ntrue\n"), std::string::npos) << c.limit << text;
  }
}
#endif

}  // namespace
}  // namespace fermix
