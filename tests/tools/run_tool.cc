#include "tools/run_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <vector>

#ifndef CONFIGAPI_TOOL
#error "CONFIGAPI_TOOL names the tool's binary"
#endif

namespace test {
namespace {

constexpr unsigned kLongestRun = 60;  // seconds; valgrind is slow

int checked(int fd, const std::string& what) {
  if (fd < 0) {
    throw std::runtime_error("cannot open " + what);
  }
  return fd;
}

int opened(const std::string& file, int flags) {
  return checked(::open(file.c_str(), flags | O_CLOEXEC), file);
}

std::vector<std::string> split(const std::string& line) {
  std::vector<std::string> words;
  for (std::size_t at = line.find_first_not_of(' '); at < line.size();
       at = line.find_first_not_of(' ', at)) {
    const char end = line[at] == '\'' ? '\'' : ' ';
    at += end == '\'' ? 1 : 0;
    const std::size_t stop = std::min(line.find(end, at), line.size());
    words.push_back(line.substr(at, stop - at));
    at = stop + 1;
  }
  return words;
}

std::vector<std::string> environment(const Surroundings& surroundings) {
  std::vector<std::string> lines{"LDAPNOINIT=1"};
  for (const char* name : {"PATH", "ASAN_OPTIONS", "UBSAN_OPTIONS",
                           "TSAN_OPTIONS", "LD_LIBRARY_PATH", "TMPDIR"}) {
    if (const char* value = std::getenv(name)) {
      lines.push_back(std::string(name) + "=" + value);
    }
  }
  for (const auto& [name, value] : surroundings.names) {
    lines.push_back(name + "=" + value);
  }
  return lines;
}

std::vector<char*> pointers(std::vector<std::string>* texts) {
  std::vector<char*> list;
  for (auto& text : *texts) {
    list.push_back(text.data());
  }
  list.push_back(nullptr);
  return list;
}

// Reads to the end; what is to be typed goes there behind the first block.
std::string read_all(int fd, std::string typed = {}) {
  std::string text;
  std::array<char, 65536> block{};
  for (;;) {
    const ssize_t got = ::read(fd, block.data(), block.size());
    if (got <= 0) {
      return text;
    }
    text.append(block.data(), static_cast<std::size_t>(got));
    if (!typed.empty()) {
      EXPECT_GT(::write(fd, typed.data(), typed.size()), 0);
      typed.clear();
    }
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ToolRun& run) {
  return stream << "exit " << run.exit << "\nout: " << run.out
                << "\nerr: " << run.err;
}

ToolRun run_tool(const std::string& line, const Surroundings& surroundings) {
  auto words = split("configapi " + line);
  auto names = environment(surroundings);
  const auto arguments = pointers(&words);
  const auto variables = pointers(&names);
  const int in = opened("/dev/null", O_RDONLY);
  const int out = checked(memfd_create("out", MFD_CLOEXEC), "out");
  int err = -1;
  int terminal = -1;
  if (surroundings.on_terminal) {
    terminal = checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "ptmx");
    checked(grantpt(terminal) | unlockpt(terminal), "a terminal");
    err = opened(ptsname(terminal), O_RDWR | O_NOCTTY);
  } else {
    err = checked(memfd_create("err", MFD_CLOEXEC), "err");
  }

  const pid_t child = fork();
  if (child == 0) {
    setsid();
    ioctl(err, TIOCSCTTY, 0);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    alarm(kLongestRun);
    execve(CONFIGAPI_TOOL, arguments.data(), variables.data());
    _exit(127);
  }
  ::close(in);
  ToolRun run;
  if (terminal >= 0) {
    ::close(err);  // else the terminal would have no end
    run.err = read_all(terminal, surroundings.typed);
  }
  int status = 0;
  waitpid(child, &status, 0);
  run.exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  lseek(out, 0, SEEK_SET);
  run.out = read_all(out);
  if (terminal < 0) {
    lseek(err, 0, SEEK_SET);
    run.err = read_all(err);
  }
  ::close(out);
  ::close(terminal < 0 ? err : terminal);
  return run;
}

long lines_in(const std::string& text) {
  return std::count(text.begin(), text.end(), '\n');
}

}  // namespace test
