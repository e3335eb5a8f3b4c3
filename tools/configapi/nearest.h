// Names as people type them: in any letter case, and not always right.

#ifndef CONFIGAPI_TOOLS_NEAREST_H_
#define CONFIGAPI_TOOLS_NEAREST_H_

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace configapi::tool {

// Equal but for the case of ASCII letters.
bool same_name(std::string_view a, std::string_view b);

// A lower bound of their distance that costs nothing.
std::size_t length_difference(std::string_view a, std::string_view b);

// How many slips of the finger lie between two names: a letter too many, one
// missing, one wrong, two neighbours exchanged. Letter case (ASCII) is free.
// Takes time in proportion to the product of the lengths.
std::size_t typing_distance(std::string_view a, std::string_view b);

// Slips up to which one name is taken for a misspelling of another: a third
// of its letters, but two at least.
std::size_t typing_tolerance(std::string_view word);

// The candidate nearest to the word; empty when none is near enough. The first
// of several equally near ones.
std::string nearest_name(std::string_view word,
                         const std::vector<std::string>& candidates);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_NEAREST_H_
