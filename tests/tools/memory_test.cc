// What is left of a password in the tool's memory once it has been sent.

#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iterator>
#include <string>
#include <thread>

#include "support/stub_server.h"
#include "support/temp_folder.h"
#include "tools/run_tool.h"

namespace {

using test::StubServer;

// The process that runs `configapi`, a child of this one.
std::string tool_process() {
  for (const auto& thread :
       std::filesystem::directory_iterator("/proc/self/task")) {
    std::ifstream children(thread.path() / "children");
    if (std::string id; children >> id) {
      return id;
    }
  }
  return "none";
}

// All that it may write to.
std::string memory_of(const std::string& process) {
  std::string bytes;
  std::ifstream memory("/proc/" + process + "/mem", std::ios::binary);
  std::ifstream maps("/proc/" + process + "/maps");
  for (std::string line; std::getline(maps, line);) {
    char* behind = nullptr;
    const std::size_t begin = std::strtoul(line.c_str(), &behind, 16);
    const std::size_t end = std::strtoul(behind + 1, &behind, 16);
    if (line.find(" rw") != std::string::npos) {
      const std::size_t had = bytes.size();
      bytes.resize(had + (end - begin));
      memory.clear();
      memory.seekg(static_cast<std::streamoff>(begin));
      memory.read(&bytes[had], static_cast<std::streamsize>(end - begin));
    }
  }
  return bytes;
}

TEST(ToolMemory, ForgetsAPasswordThatWasSent) {
  const test::TempFolder folder;
  for (const std::string password :
       {"hunter2!",
        "a password of as many bytes as the library takes: sixty-three"}) {
    const StubServer server(1, StubServer::Ending::kSilence);
    test::ToolRun run;
    std::thread tool([&] {
      run =
          test::run_tool("-H 127.0.0.1 -t 2 -p " +
                         std::to_string(server.port()) + " -D uid=gateway -y " +
                         folder.write("password", password) + " check");
    });
    while (server.requests() < 2) {
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const std::string memory = memory_of(tool_process());
    tool.join();
    EXPECT_EQ(run.exit, 4) << run;
    EXPECT_NE(memory.find("uid=gateway"), std::string::npos)
        << "not even that is there";
    // The heap writes over the beginning of what it gets back.
    EXPECT_EQ(memory.find(password.substr(password.size() / 2)),
              std::string::npos);
  }
}

}  // namespace
