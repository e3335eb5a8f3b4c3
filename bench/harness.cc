#include "harness.h"

#include <benchmark/benchmark.h>
#include <sys/stat.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <regex>
#include <string_view>

namespace bench {
namespace {

using Json = nlohmann::ordered_json;

constexpr const char* kOurs = "ours";

#if defined(__x86_64__)
constexpr const char* kArch = "x86_64";
#elif defined(__i386__)
constexpr const char* kArch = "i686";
#else
constexpr const char* kArch = "other";
#endif

struct Options {
  bool json = false;
  bool count = false;
  std::string rows = ".*";
  // One side of one row for so many units, under callgrind.
  std::string work_row;
  std::string work_side;
  std::size_t work_units = 0;
};

Options parse(int argc, char** argv) {
  Options options;
  const auto value = [&](int i) { return i < argc ? argv[i] : ""; };
  for (int i = 1; i < argc; ++i) {
    const std::string_view arg = argv[i];
    if (arg == "--json") {
      options.json = true;
    } else if (arg == "--count") {
      options.count = true;
    } else if (arg == "--rows") {
      options.rows = value(++i);
    } else if (arg == "--work") {
      options.work_row = value(i + 1);
      options.work_side = value(i + 2);
      options.work_units = std::strtoul(value(i + 3), nullptr, 10);
      i += 3;
    } else {
      std::fprintf(stderr, "%s: unknown option %s\n", argv[0], argv[i]);
      std::exit(2);
    }
  }
  return options;
}

std::vector<Side> sides(const Row& row) {
  std::vector<Side> all{{kOurs, row.ours, row.threads}};
  all.insert(all.end(), row.peers.begin(), row.peers.end());
  if (row.limit) {
    all.push_back(*row.limit);
  }
  return all;
}

// Remembers the median time per unit of every side, in nanoseconds.
class Collector : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(const Context& /*context*/) override { return true; }
  void ReportRuns(const std::vector<Run>& runs) override {
    for (const auto& run : runs) {
      if (run.run_type == Run::RT_Aggregate && run.aggregate_name == "median") {
        // The library divides by the iterations of all threads together.
        times_[run.run_name.function_name] =
            run.GetAdjustedRealTime() * static_cast<double>(run.threads);
      }
    }
  }
  double operator[](const std::string& side) const { return times_.at(side); }

 private:
  std::map<std::string, double> times_;
};

std::string key(const Row& row, const Side& side) {
  return row.name + "|" + side.name;
}

// How many units make a run that the clock can tell from others.
benchmark::IterationCount units_of_run(const Work& work) {
  using Clock = std::chrono::steady_clock;
  constexpr auto kRun = std::chrono::microseconds(500);
  for (std::size_t units = 1;; units *= 2) {
    const auto begin = Clock::now();
    work(units);
    if (Clock::now() - begin >= kRun) {
      return static_cast<benchmark::IterationCount>(units);
    }
  }
}

// Sides take turns in many short runs, of which the median counts: what else
// the machine does falls on all of them alike, or out.
Collector measure(const std::vector<Row>& rows) {
  constexpr int kRepetitions = 301;
  char program[] = "bench";
  char interleaving[] = "--benchmark_enable_random_interleaving=true";
  char* options[] = {program, interleaving, nullptr};
  int count = 2;
  benchmark::Initialize(&count, options);
  for (const auto& row : rows) {
    for (const auto& side : sides(row)) {
      const auto units = units_of_run(side.work);
      benchmark::RegisterBenchmark(
          key(row, side).c_str(),
          [work = side.work, units](benchmark::State& state) {
            while (state.KeepRunningBatch(units)) {
              work(static_cast<std::size_t>(units));
            }
          })
          ->Threads(side.threads)
          ->Iterations(units)
          ->UseRealTime()
          ->Repetitions(kRepetitions)
          ->ReportAggregatesOnly(true);
    }
  }
  Collector collector;
  benchmark::RunSpecifiedBenchmarks(&collector);
  return collector;
}

// All instructions of this program for so many units.
double instructions(const char* self, const Row& row, const Side& side,
                    std::size_t units) {
  const std::string command =
      "valgrind --tool=callgrind --callgrind-out-file=/dev/null '" +
      std::string(self) + "' --work '" + row.name + "' '" + side.name + "' " +
      std::to_string(units) + " 2>&1";
  // NOLINTNEXTLINE(cert-env33-c): it runs this very program
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) {
    return -1;
  }
  double count = -1;
  std::array<char, 512> line{};
  while (fgets(line.data(), line.size(), pipe) != nullptr) {
    const std::string_view text(line.data());
    const auto at = text.find("Collected : ");
    if (at != std::string_view::npos) {
      count = std::strtod(line.data() + at + 12, nullptr);
    }
  }
  return pclose(pipe) == 0 ? count : -1;
}

std::optional<double> instructions_per_unit(const char* self, const Row& row,
                                            const Side& side) {
  const auto n = row.count_units;
  const double once = instructions(self, row, side, n);
  const double twice = instructions(self, row, side, 2 * n);
  if (once < 0 || twice < 0) {
    return std::nullopt;
  }
  return (twice - once) / static_cast<double>(n);
}

// Ours divided by what the bound names, or our time itself; nothing when the
// bound is of instructions and there is no count of them.
std::optional<double> judged(const Row& row, const Collector& times,
                             const Json& counts) {
  const Bound& bound = *row.bound;
  if (bound.of_instructions) {
    if (!counts.contains(kOurs) || !counts.contains(bound.against)) {
      return std::nullopt;
    }
    return counts[kOurs].get<double>() / counts[bound.against].get<double>();
  }
  const double ours = times[row.name + "|" + kOurs];
  return bound.against == "ns" ? ours
                               : ours / times[row.name + "|" + bound.against];
}

Json report(const char* self, const Row& row, const Collector& times,
            bool count) {
  Json object{{"row", row.name}, {"arch", kArch}, {"unit", "ns/" + row.unit}};
  object["ours"] = times[row.name + "|" + kOurs];
  object["peers"] = Json::object();
  for (const auto& peer : row.peers) {
    object["peers"][peer.name] = times[key(row, peer)];
  }
  if (row.limit) {
    object["limit"] = {{row.limit->name, times[key(row, *row.limit)]}};
  }
  Json counts = Json::object();
  if (count) {
    for (const auto& side : sides(row)) {
      if (const auto ir = instructions_per_unit(self, row, side)) {
        counts[side.name] = *ir;
      }
    }
  }
  if (row.bound) {
    if (const auto is = judged(row, times, counts)) {
      object["bound"] = {{"against", row.bound->against},
                         {"at_most", row.bound->at_most},
                         {"is", *is},
                         {"kept", *is <= row.bound->at_most}};
    }
  }
  if (!counts.empty()) {
    object["ir"] = counts;
  }
  return object;
}

void print_line(const Json& object) {
  const double ours = object["ours"];
  std::printf("%-28s %-7s %10.1f %s", object["row"].get<std::string>().c_str(),
              kArch, ours, object["unit"].get<std::string>().c_str());
  const auto ratio = [&](const std::string& name, double theirs) {
    std::printf("  %.2f x %s", ours / theirs, name.c_str());
  };
  for (const auto& [name, theirs] : object["peers"].items()) {
    ratio(name, theirs);
  }
  if (object.contains("limit")) {
    for (const auto& [name, theirs] : object["limit"].items()) {
      ratio(name, theirs);
    }
  }
  if (object.contains("bound")) {
    const auto& bound = object["bound"];
    std::printf("  [%s: %.3g, at most %.3g %s]",
                bound["kept"].get<bool>() ? "kept" : "NOT KEPT",
                bound["is"].get<double>(), bound["at_most"].get<double>(),
                bound["against"].get<std::string>().c_str());
  }
  if (object.contains("ir")) {
    std::printf("  instructions:");
    for (const auto& [name, count] : object["ir"].items()) {
      std::printf(" %s %.0f", name.c_str(), count.get<double>());
    }
  }
  std::printf("\n");
  std::fflush(stdout);
}

int do_work(const Options& options, const std::vector<Row>& rows) {
  for (const auto& row : rows) {
    for (const auto& side : sides(row)) {
      if (row.name == options.work_row && side.name == options.work_side) {
        side.work(options.work_units);
        return 0;
      }
    }
  }
  return 2;
}

// The corpus writes control bytes as \\, \n, \r, \t and \xNN.
std::string unescaped(std::string_view text) {
  std::string plain;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\\' || i + 1 == text.size()) {
      plain += text[i];
      continue;
    }
    const char code = text[++i];
    if (code == 'x') {
      plain += static_cast<char>(
          std::stoi(std::string(text.substr(i + 1, 2)), nullptr, 16));
      i += 2;
    } else {
      constexpr std::string_view kCodes = "nrt";
      constexpr std::string_view kBytes = "\n\r\t";
      const auto at = kCodes.find(code);
      plain += at == std::string_view::npos ? code : kBytes[at];
    }
  }
  return plain;
}

}  // namespace

void keep(const void* value) {
  benchmark::DoNotOptimize(value);
}

const char* corpus_folder() {
  static const char* const folder = [] {
    const char* named = std::getenv("CONFIGAPI_CORPUS");
    const char* path = named != nullptr ? named : CONFIGAPI_CORPUS_FOLDER;
    struct stat status {};
    return stat(path, &status) == 0 ? path : nullptr;
  }();
  return folder;
}

std::vector<std::string> corpus_cases(const std::string& name) {
  namespace fs = std::filesystem;
  const char* const corpus = corpus_folder();
  if (corpus == nullptr) {
    return {};
  }
  const fs::path path = fs::path(corpus) / name;
  std::vector<fs::path> files{path};
  if (fs::is_directory(path)) {
    files.assign(fs::directory_iterator(path), {});
    std::sort(files.begin(), files.end());
  }
  std::vector<std::string> cases;
  for (const auto& file : files) {
    std::ifstream in(file);
    for (std::string line; std::getline(in, line);) {
      cases.push_back(unescaped(line.substr(0, line.rfind('\t'))));
    }
  }
  return cases;
}

int run(int argc, char** argv, const std::vector<Row>& rows) {
  const Options options = parse(argc, argv);
  if (!options.work_row.empty()) {
    return do_work(options, rows);
  }
  std::vector<Row> chosen;
  std::copy_if(rows.begin(), rows.end(), std::back_inserter(chosen),
               [pattern = std::regex(options.rows)](const Row& row) {
                 return std::regex_search(row.name, pattern);
               });
  const Collector times = measure(chosen);
  int result = 0;
  for (const auto& row : chosen) {
    const Json object = report(argv[0], row, times, options.count);
    if (object.contains("bound") && !object["bound"]["kept"].get<bool>()) {
      result = 1;
    }
    if (options.json) {
      std::printf("%s\n", object.dump().c_str());
      std::fflush(stdout);
    } else {
      print_line(object);
    }
  }
  return result;
}

}  // namespace bench
