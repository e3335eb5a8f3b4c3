// The tool against the private directory server.

#ifndef CONFIGAPI_TESTS_TOOLS_DIRECTORY_TOOL_H_
#define CONFIGAPI_TESTS_TOOLS_DIRECTORY_TOOL_H_

#include <string>

#include "support/client_test.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace test {

// The tool bound as the gateway, beside a client of the library.
class DirectoryToolTest : public ClientTest {
 protected:
  void SetUp() override {
    ClientTest::SetUp();
    if (IsSkipped() || HasFailure()) {
      return;
    }
    // The file's one line feed is not part of the password.
    surroundings_.names = {
        {"CONFIGAPI_HOST", directory().host()},
        {"CONFIGAPI_PORT", std::to_string(directory().port())},
        {"CONFIGAPI_BINDDN", directory().bind_dn()},
        {"CONFIGAPI_PASSFILE",
         folder_.write("password", directory().password() + "\n")},
        {"CONFIGAPI_TIMEOUT", "20"}};
  }

  [[nodiscard]] ToolRun run(const std::string& line) const {
    return run_tool(line, surroundings_);
  }

  Surroundings surroundings_;
  const TempFolder folder_;
};

}  // namespace test

#endif  // CONFIGAPI_TESTS_TOOLS_DIRECTORY_TOOL_H_
