// The tool's session with the directory: a cConfig that is connected, bound
// and bounded in time, and ended when it goes out of scope.

#ifndef CONFIGAPI_TOOLS_SESSION_H_
#define CONFIGAPI_TOOLS_SESSION_H_

#include <configapi/config.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "address.h"
#include "connection.h"
#include "output.h"

namespace configapi::tool {

// An entry as the directory holds it: names and values side by side.
struct Entry {
  std::string dn;
  std::vector<std::pair<std::string, std::string>> values;
  std::string csn{};  // the number of its last change, where it is told
};

class Session {
 public:
  // Connects and binds. Throws a Failure: those of bind_password(), and
  // kUnreachable for everything that the directory has a part in.
  Session(const Connection& connection, const Output& output);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;
  Session(Session&&) = delete;
  Session& operator=(Session&&) = delete;

  // The value that the gateway reads, or nothing when the directory has none.
  // Throws a Failure (kUnreachable) when the directory does not answer.
  std::optional<std::string> read(const Setting& setting);

  // What those are to end with that come too late to be thrown.
  void add_to_failures(std::string text) { aside_ = std::move(text); }

  // Every entry of settings that the directory lets this session see, in its
  // order. Throws as read() does.
  std::vector<Entry> entries();

 private:
  // Search results are the caller's to release, through the object.
  struct Release {
    ldapClient* client;
    void operator()(SearchReq* list) const { client->srch_free(list); }
  };
  using SearchResult = std::unique_ptr<SearchReq, Release>;

  SearchResult search(char* base, int scope, std::string filter);
  void connect();
  void bind(Secret* password);
  bool answers();
  void require_found_nothing();
  [[nodiscard]] Failure late() const;

  Connection connection_;
  const Output& output_;
  cConfig config_;
  std::string aside_;
};

// The value of the schema table; needs no directory.
std::string read_table(const Setting& setting);

// The failure of asking for what is not there. Without a bind the directory may
// simply not have shown it, and the text then goes on to say so.
Failure absent(std::string text, const Connection& connection);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_SESSION_H_
