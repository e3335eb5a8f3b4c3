// configapi watch [GLOB] [--count N] [--secrets]

#include <poll.h>
#include <unistd.h>

#include <CLI/App.hpp>
#include <algorithm>
#include <chrono>
#include <csignal>
#include <ctime>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "access_log.h"
#include "address.h"
#include "commands.h"
#include "nearest.h"

namespace configapi::tool {
namespace {

struct WatchOptions {
  std::string word;
  unsigned long count = 0;  // 0: without end
  bool secrets = false;
};

volatile std::sig_atomic_t interrupted = 0;

extern "C" void on_stop_signal(int /*signal*/) {
  interrupted = 1;
}

void end_on_signals() {
  struct sigaction action {};
  action.sa_handler = on_stop_signal;
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// Whether nobody reads any more what is printed.
bool output_is_closed() {
  pollfd out{STDOUT_FILENO, 0, 0};
  return poll(&out, 1, 0) > 0 && (out.revents & POLLERR) != 0;
}

// A directory may hold other things besides.
bool is_of_section(const LogRecord& record) {
  return record.kind == LogRecord::Kind::kRename ||
         !settings_of(section_of(record.dn)).empty();
}

void pause_before_next_try() {
  const timespec half{0, 500'000'000};
  nanosleep(&half, nullptr);  // a signal cuts it short
}

class Watch {
 public:
  Watch(const WatchOptions& options, Tool* tool)
      : options_(options), selection_(options.word), tool_(tool) {}

  void start() {
    link_.emplace(tool_->connection, tool_->output);
    log_.emplace(*link_);
    handled_ = log_->end();
    follow();
  }

  [[nodiscard]] bool is_done() const {
    return interrupted != 0 || output_is_closed() ||
           (options_.count != 0 && shown_ >= options_.count);
  }

  // One round: what has come, and what of it holds.
  void step() try {
    constexpr std::chrono::milliseconds kIdle{200};
    constexpr std::chrono::milliseconds kUndecided{20};
    std::vector<LogRecord> records;
    const bool goes_on =
        log_->poll(pending_.empty() ? kIdle : kUndecided, &records);
    const auto now = std::chrono::steady_clock::now();
    for (auto& record : records) {
      if (!received_.has(record.csn)) {
        received_.advance(record.csn);
        if (is_of_section(record)) {
          pending_.add(std::move(record), now);
        }
      }
    }
    if (!goes_on) {
      log_->follow(received_);
    }
    if (!pending_.empty()) {
      const auto asked = std::chrono::steady_clock::now();
      pending_.judge(log_->present(pending_.entries()), asked);
      show_decided();
    }
  } catch (const LogGap&) {
    go_on_from_now();
  }

  // The connection is lost: tries again until it is there, or the end.
  void connect_again(const Failure& why) {
    std::set<std::string> told = {why.what()};
    tool_->output.warning(std::string(why.what()) + "; connecting again");
    while (!is_done()) {
      pause_before_next_try();
      try {
        log_.reset();
        link_.emplace(tool_->connection, tool_->output);
        log_.emplace(*link_);
        tool_->output.warning(directory_name(tool_->connection) + " is back");
        go_on();
        return;
      } catch (const Failure& failure) {
        if (failure.code() != ExitCode::kUnreachable) {
          throw;
        }
        // A bind that is refused now may be so for ever.
        if (told.insert(failure.what()).second) {
          tool_->output.warning(std::string(failure.what()) + "; trying again");
        }
      }
    }
  }

 private:
  // From where the last record was dealt with; what waited comes again.
  void follow() {
    pending_ = {};
    received_ = handled_;
    log_->follow(handled_);
  }

  void go_on() try { follow(); } catch (const LogGap&) {
    go_on_from_now();
  }

  void go_on_from_now() {
    tool_->output.warning(
        "the directory's log does not reach back far enough: changes may have "
        "been missed");
    handled_ = log_->end();
    follow();
  }

  void show_decided() {
    while (!is_done()) {
      const auto decided = pending_.next();
      if (!decided) {
        return;
      }
      if (decided->holds) {
        show(decided->record);
      }
      handled_.advance(decided->record.csn);
    }
  }

  void show(const LogRecord& record) {
    if (record.kind == LogRecord::Kind::kRename) {
      show_rename(record);
      return;
    }
    for (const Difference& change : changes_of(record)) {
      const Setting& setting = change.setting;
      if (selection_.matches(setting.section, setting.key->key)) {
        print(record, difference_line(change, options_.secrets),
              difference_row(change, options_.secrets));
      }
    }
  }

  void show_rename(const LogRecord& record) {
    const std::string from = section_of(record.dn);
    const std::string to = section_of(record.new_rdn);
    const auto settings = selection_.settings();
    const bool wanted = std::any_of(settings.begin(), settings.end(),
                                    [&](const Setting& setting) {
                                      return same_name(setting.section, from) ||
                                             same_name(setting.section, to);
                                    });
    if (wanted) {
      print(record, visible(from) + " is now called " + visible(to),
            {{"section", from}, {"new_name", to}});
    }
  }

  void print(const LogRecord& record, const std::string& line,
             const Json& members) {
    if (is_done()) {
      return;
    }
    if (tool_->output.json) {
      Json row{{"time", record.time}, {"who", record.who}};
      row.update(members);
      tool_->output.object(row);
    } else {
      tool_->output.line(record.time + " " + visible(record.who) + " " + line);
    }
    Output::finish();
    ++shown_;
  }

  const WatchOptions& options_;
  const Selection selection_;
  Tool* tool_;
  std::optional<Link> link_;
  std::optional<AccessLog> log_;
  LogPosition received_;
  LogPosition handled_;  // shown, or known not to hold
  PendingRecords pending_;
  unsigned long shown_ = 0;
};

void run(const WatchOptions& options, Tool* tool) {
  require_settings(options.word);
  end_on_signals();
  Watch watch(options, tool);
  watch.start();
  while (!watch.is_done()) {
    try {
      watch.step();
    } catch (const Failure& failure) {
      if (failure.code() != ExitCode::kUnreachable) {
        throw;
      }
      watch.connect_again(failure);
    }
  }
}

}  // namespace

void add_watch(CLI::App* app, Tool* tool) {
  const auto options = std::make_shared<WatchOptions>();
  CLI::App* command =
      app->add_subcommand("watch", "Show changes of settings as they are made");
  command->add_option("GLOB", options->word,
                      "SECTION, SECTION/KEY or KEY; each may be a glob");
  command->add_option("--count", options->count, "End after so many changes")
      ->type_name("N")
      ->check(CLI::PositiveNumber);
  command->add_flag("--secrets", options->secrets, "Show passwords in clear");
  command->callback([options, tool] { run(*options, tool); });
}

}  // namespace configapi::tool
