#include "nearest.h"

#include <algorithm>
#include <utility>

namespace configapi::tool {
namespace {

char folded(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::size_t length_difference(std::string_view a, std::string_view b) {
  return a.size() < b.size() ? b.size() - a.size() : a.size() - b.size();
}

bool same_name(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return folded(x) == folded(y); });
}

std::size_t typing_distance(std::string_view a, std::string_view b) {
  // Row i of the table holds the distances from a[0, i) to all b[0, j); the
  // exchange of neighbours looks two rows back.
  std::vector<std::size_t> older(b.size() + 1);
  std::vector<std::size_t> previous(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) {
    row[j] = j;
  }
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::swap(older, previous);
    std::swap(previous, row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const char x = folded(a[i - 1]);
      const char y = folded(b[j - 1]);
      row[j] = std::min({previous[j] + 1, row[j - 1] + 1,
                         previous[j - 1] + (x == y ? 0U : 1U)});
      if (i > 1 && j > 1 && x == folded(b[j - 2]) && folded(a[i - 2]) == y) {
        row[j] = std::min(row[j], older[j - 2] + 1);
      }
    }
  }
  return row[b.size()];
}

std::size_t typing_tolerance(std::string_view word) {
  return std::max<std::size_t>(2, word.size() / 3);
}

std::string nearest_name(std::string_view word,
                         const std::vector<std::string>& candidates) {
  std::string nearest;
  std::size_t least = typing_tolerance(word) + 1;
  for (const auto& candidate : candidates) {
    if (length_difference(word, candidate) >= least) {
      continue;
    }
    const std::size_t distance = typing_distance(word, candidate);
    if (distance < least) {
      least = distance;
      nearest = candidate;
    }
  }
  return nearest;
}

}  // namespace configapi::tool
