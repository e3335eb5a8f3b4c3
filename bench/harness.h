// Runs benchmark rows: our code, its peers and a limit, all in one process.
//
// A row's work is a function that does a given number of units (one message,
// one list, one call). Times come from Google Benchmark; with --count the
// harness runs itself under callgrind, twice with different numbers of units,
// so that start-up and set-up cancel out of the instructions per unit.

#ifndef CONFIGAPI_BENCH_HARNESS_H_
#define CONFIGAPI_BENCH_HARNESS_H_

#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Work = std::function<void(std::size_t units)>;

struct Side {
  std::string name;
  Work work;
  int threads = 1;  // so many do the work at once
};

// What a row must keep, judged on times of the same run.
struct Bound {
  std::string against;  // the name of a peer or limit side; "ns" for a time
  double at_most;       // ours divided by it, or nanoseconds per unit
  // Judged on instructions instead, where they are counted and only there.
  bool of_instructions = false;
};

struct Row {
  std::string name;
  std::string unit;  // of one unit: "message", "list", "call", "byte"
  Work ours{};
  std::vector<Side> peers{};
  std::optional<Side> limit{};    // the least that the machine must do for it
  std::optional<Bound> bound{};   // printed with its verdict
  int threads = 1;                // of our side; times are per unit and thread
  std::size_t count_units = 200;  // units of the shorter counted run
};

// Keeps a result from being optimised away.
void keep(const void* value);

// Reads --json, --count, --rows REGEX; prints one line or one JSON object per
// row. Returns main's result: 0, or 1 when a bound was not kept.
int run(int argc, char** argv, const std::vector<Row>& rows);

// The corpus folder beside the project, or null where it is not present.
const char* corpus_folder();

// The cases of a file of the corpus, or of all files of a folder in it, in the
// files' order; none without a corpus.
std::vector<std::string> corpus_cases(const std::string& name);

// Does the items round and round, going on where the last call stopped.
template <typename Item, typename Use>
Work over(std::vector<Item> items, Use use) {
  return [items = std::move(items), use,
          next = std::size_t{0}](std::size_t units) mutable {
    for (; units > 0; --units) {
      use(items[next]);
      next = next + 1 < items.size() ? next + 1 : 0;
    }
  };
}

}  // namespace bench

#endif  // CONFIGAPI_BENCH_HARNESS_H_
