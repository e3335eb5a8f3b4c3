#include "tools/run_tool.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>
#include <optional>
#include <stdexcept>
#include <string_view>

#ifndef CONFIGAPI_TOOL
#error "CONFIGAPI_TOOL names the tool's binary"
#endif

namespace test {
namespace {

constexpr unsigned kLongestRun = 60;  // seconds; valgrind is slow

struct Pipe {
  int read_end = -1;
  int write_end = -1;

  Pipe() {
    std::array<int, 2> ends{};
    if (pipe2(ends.data(), O_CLOEXEC) != 0) {
      throw std::runtime_error("no pipe");
    }
    read_end = ends[0];
    write_end = ends[1];
  }
  ~Pipe() {
    close_end(&read_end);
    close_end(&write_end);
  }
  Pipe(const Pipe&) = delete;
  Pipe& operator=(const Pipe&) = delete;
  Pipe(Pipe&&) = delete;
  Pipe& operator=(Pipe&&) = delete;

  static void close_end(int* end) {
    if (*end >= 0) {
      ::close(*end);
    }
    *end = -1;
  }
};

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

// -1 where no file is named.
int opened(const std::string& file, int flags) {
  if (file.empty()) {
    return -1;
  }
  const int fd = ::open(file.c_str(), flags | O_CLOEXEC);
  if (fd < 0) {
    throw std::runtime_error("cannot open " + file);
  }
  return fd;
}

// A terminal of the test's own; what it shows is read from the master,
// and what is typed is written there.
class Terminal {
 public:
  Terminal() : master_(posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC)) {
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
      throw std::runtime_error("no terminal");
    }
    name_ = ptsname(master_);
    slave_ = ::open(name_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
  }
  ~Terminal() {
    Pipe::close_end(&master_);
    Pipe::close_end(&slave_);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  Terminal(Terminal&&) = delete;
  Terminal& operator=(Terminal&&) = delete;

  int* master() { return &master_; }
  int* slave() { return &slave_; }
  [[nodiscard]] const char* name() const { return name_.c_str(); }

 private:
  int master_;
  int slave_ = -1;
  std::string name_;
};

struct Plan {
  std::vector<char*> words;
  std::vector<char*> names;
  int in;
  int out;
  int err;
  const char* terminal;  // or null
  rlim_t data_limit;     // bytes, or RLIM_INFINITY
};

// Everything that allocates is done before the fork.
[[noreturn]] void become_tool(const Plan& plan) {
  std::signal(SIGPIPE, SIG_DFL);
  setsid();
  if (plan.terminal != nullptr) {
    // A leader of a session without a terminal gets the first it opens.
    ::open(plan.terminal, O_RDWR | O_CLOEXEC);
  }
  dup2(plan.in, STDIN_FILENO);
  dup2(plan.out, STDOUT_FILENO);
  dup2(plan.err, STDERR_FILENO);
  const rlimit limit{plan.data_limit, plan.data_limit};
  setrlimit(RLIMIT_DATA, &limit);
  alarm(kLongestRun);
  execve(CONFIGAPI_TOOL, plan.words.data(), plan.names.data());
  _exit(127);
}

void drain(int* end, std::string* text) {
  std::array<char, 65536> block{};
  const ssize_t got = ::read(*end, block.data(), block.size());
  if (got <= 0) {
    Pipe::close_end(end);
  } else {
    text->append(block.data(), static_cast<std::size_t>(got));
  }
}

void type(int terminal, std::string* keys) {
  if (!keys->empty()) {
    if (::write(terminal, keys->data(), keys->size()) < 0) {
      throw std::runtime_error("cannot type");
    }
    keys->clear();
  }
}

// Feeds the input and drains both outputs as they come, so that nobody waits
// for a full pipe.
void exchange(Surroundings surroundings, int* in, int* out, int* err,
              ToolRun* run) {
  std::string_view input = surroundings.input;
  fcntl(*in, F_SETFL, O_NONBLOCK);
  while (*out >= 0 || *err >= 0) {
    if (input.empty()) {
      Pipe::close_end(in);
    }
    std::array<pollfd, 3> ends{
        {{*in, POLLOUT, 0}, {*out, POLLIN, 0}, {*err, POLLIN, 0}}};
    poll(ends.data(), ends.size(), -1);
    if (ends[0].revents != 0) {
      const ssize_t put = ::write(*in, input.data(), input.size());
      input.remove_prefix(put < 0 ? input.size()
                                  : static_cast<std::size_t>(put));
    }
    if (ends[1].revents != 0) {
      drain(out, &run->out);
    }
    if (ends[2].revents != 0) {
      drain(err, &run->err);
      if (surroundings.on_terminal) {
        type(*err, &surroundings.typed);
      }
    }
  }
}

}  // namespace

std::ostream& operator<<(std::ostream& stream, const ToolRun& run) {
  return stream << "exit " << run.exit << "\nout: " << run.out
                << "\nerr: " << run.err;
}

ToolRun run_tool(const Words& words, const Surroundings& surroundings) {
  std::signal(SIGPIPE, SIG_IGN);
  Words line = words;
  line.insert(line.begin(), "configapi");
  auto names = environment(surroundings);
  Pipe in;
  Pipe out;
  Pipe err;
  std::optional<Terminal> terminal;
  if (surroundings.on_terminal) {
    terminal.emplace();
  }
  int from_file = opened(surroundings.in_file, O_RDONLY);
  if (from_file >= 0) {
    lseek(from_file, surroundings.in_offset, SEEK_SET);
  }
  int to_file = opened(surroundings.out_file, O_WRONLY);
  const Plan plan{pointers(&line),
                  pointers(&names),
                  from_file >= 0 ? from_file : in.read_end,
                  to_file >= 0 ? to_file : out.write_end,
                  terminal ? *terminal->slave() : err.write_end,
                  terminal ? terminal->name() : nullptr,
                  surroundings.data_mib > 0
                      ? rlim_t{surroundings.data_mib} << 20U
                      : RLIM_INFINITY};
  const pid_t child = fork();
  if (child == 0) {
    become_tool(plan);
  }
  for (int* end : {&from_file, &to_file, &in.read_end, &out.write_end,
                   &err.write_end, terminal ? terminal->slave() : &to_file}) {
    Pipe::close_end(end);
  }

  ToolRun run;
  exchange(surroundings, &in.write_end, &out.read_end,
           terminal ? terminal->master() : &err.read_end, &run);
  int status = 0;
  waitpid(child, &status, 0);
  run.exit = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
  return run;
}

}  // namespace test
