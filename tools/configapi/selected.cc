#include "selected.h"

#include "session.h"

namespace configapi::tool {

bool is_selected(const Holding& holding, const Selection& selection) {
  return selection.matches(holding.section, holding.key) ||
         selection.names(holding.section);
}

void warn_of_shadowed(const Holdings& holdings, const Output& output) {
  for (const auto& dn : holdings.shadowed()) {
    output.warning("the gateway does not read the entry " + dn +
                   ": another has the same section");
  }
}

Failure nothing_set(const std::string& word, const Connection& connection) {
  if (Selection(word).settings().empty()) {
    return not_in_schema(word);
  }
  const std::string what = word.empty() ? "" : " that matches '" + word + "'";
  return absent("nothing" + what + " is set", connection);
}

}  // namespace configapi::tool
