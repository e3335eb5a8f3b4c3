#include "tools/run_tool.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/ioctl.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <stdexcept>
#include <string_view>

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

void write_all(int fd, std::string_view text) {
  while (!text.empty()) {
    const ssize_t put = ::write(fd, text.data(), text.size());
    text.remove_prefix(put < 0 ? text.size() : static_cast<std::size_t>(put));
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ToolRun& run) {
  return stream << "exit " << run.exit << "\nout: " << run.out
                << "\nerr: " << run.err;
}

ToolRun run_tool(const std::string& line, const Surroundings& surroundings) {
  std::signal(SIGPIPE, SIG_IGN);
  auto words = split("configapi " + line);
  auto names = environment(surroundings);
  const auto arguments = pointers(&words);
  const auto variables = pointers(&names);
  const std::string& to = surroundings.out_file;
  std::array<int, 2> feed{};
  checked(pipe2(feed.data(), O_CLOEXEC), "a pipe");
  if (!surroundings.in_file.empty()) {
    ::close(feed[0]);
    feed[0] = opened(surroundings.in_file, O_RDONLY);
    lseek(feed[0], surroundings.in_offset, SEEK_SET);
  }
  const int out = to.empty() ? checked(memfd_create("out", MFD_CLOEXEC), "out")
                             : opened(to, O_WRONLY);
  int err = -1;
  int terminal = -1;
  if (surroundings.on_terminal) {
    terminal = checked(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC), "ptmx");
    checked(grantpt(terminal) | unlockpt(terminal), "a terminal");
    err = opened(ptsname(terminal), O_RDWR | O_NOCTTY);
  } else {
    err = checked(memfd_create("err", MFD_CLOEXEC), "err");
  }
  const rlim_t data = surroundings.data_mib > 0
                          ? rlim_t{surroundings.data_mib} << 20U
                          : RLIM_INFINITY;

  const pid_t child = fork();
  if (child == 0) {
    std::signal(SIGPIPE, SIG_DFL);
    setsid();
    ioctl(err, TIOCSCTTY, 0);
    dup2(feed[0], STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    const rlimit limit{data, data};
    setrlimit(RLIMIT_DATA, &limit);
    alarm(kLongestRun);
    execve(CONFIGAPI_TOOL, arguments.data(), variables.data());
    _exit(127);
  }
  ::close(feed[0]);
  write_all(feed[1], surroundings.input);
  ::close(feed[1]);
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

void check_tool(const std::vector<ToolCase>& cases,
                const Surroundings& surroundings) {
  for (const ToolCase& row : cases) {
    SCOPED_TRACE(row.line);
    const ToolRun run = run_tool(row.line, surroundings);
    EXPECT_EQ(run.exit, row.exit) << run;
    EXPECT_EQ(run.out, row.out);
    EXPECT_EQ(run.err, row.err);
  }
}

long lines_in(const std::string& text) {
  return std::count(text.begin(), text.end(), '\n');
}

}  // namespace test
