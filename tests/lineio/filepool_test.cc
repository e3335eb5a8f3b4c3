#include <configapi/internals.h>
#include <sys/resource.h>

#include <filesystem>
#include <iterator>
#include <string>
#include <vector>

#include "lineio/files.h"

namespace test {
namespace {

auto open_descriptors() {
  return std::distance(std::filesystem::directory_iterator("/proc/self/fd"),
                       std::filesystem::directory_iterator());
}

bool is_open(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

const std::string kNoNode =
    "1 configapi: Unable to insert OBX_FILE object to memory pool";

TEST(FilePool, WithoutAPoolNothingOpens) {
  const TempFolder folder;
  LogCapture log;
  TerminateLineIO();
  const std::string path = folder.write("file", "text");
  const auto before = open_descriptors();
  EXPECT_EQ(open_file(path, Mode::kRead), -1);
  EXPECT_EQ(create_file(path, Mode::kWrite), -1);
  EXPECT_EQ(log.take(), LogLines{kNoNode});
  EXPECT_EQ(open_descriptors(), before);
  EXPECT_EQ(inch(0), -1);
  OBX_FILE* file = NewOBX_FILE();
  EXPECT_EQ(AddToFilePool(nullptr, file), -1);
  EXPECT_EQ(GetFromFilePool(nullptr, -1), nullptr);
  EXPECT_EQ(DelFromFilePool(nullptr, -1), -1);
  DelOBX_FILE(&file);
  EXPECT_EQ(file, nullptr);
  DelOBX_FILE(&file);
}

TEST_F(LineIo, AFreeNodeIsUsedAgain) {
  const FilePool* pool = thread_file_pool;
  EXPECT_EQ(InitLineIO(), 0);
  EXPECT_EQ(thread_file_pool, pool);
  const int first = reader("1");
  const int second = reader("2");
  FilePoolNode* node = pool->first;
  EXPECT_EQ(node->object, GetFromFilePool(thread_file_pool, first));
  EXPECT_EQ(node->object->name, folder.path("read"));
  EXPECT_EQ(fileclose(first), 1);
  EXPECT_EQ(node->inUse, 0);
  EXPECT_EQ(node->object, nullptr);
  EXPECT_EQ(GetFromFilePool(thread_file_pool, first), nullptr);
  EXPECT_EQ(DelFromFilePool(thread_file_pool, first), 0);
  const int third = reader("3");
  EXPECT_EQ(node->object, GetFromFilePool(thread_file_pool, third));
  EXPECT_EQ(f(node, third, 0), 1);
  EXPECT_EQ(f(node, second, 1), 0);
  EXPECT_EQ(f(node->next, second, 1), 1);
  EXPECT_FALSE(is_open(second));
  EXPECT_EQ(pool->count, 2);
  EXPECT_EQ(node->next->next, nullptr);
}

// Handles are the host's pool's business; another pool's stay apart.
TEST_F(LineIo, PoolsAreSeparate) {
  FilePool other{};
  OBX_FILE* file = NewOBX_FILE();
  EXPECT_EQ(file->fd, -1);
  const int handle = file->fd = dup(0);
  EXPECT_EQ(AddToFilePool(&other, file), 0);
  EXPECT_EQ(GetFromFilePool(&other, handle), file);
  EXPECT_EQ(GetFromFilePool(thread_file_pool, handle), nullptr);
  EXPECT_EQ(DelFromFilePool(&other, handle), 0);
  EXPECT_FALSE(is_open(handle));
  std::free(other.first);
}

TEST_F(LineIo, TheEndClosesWhatIsOpen) {
  const int source = reader("text");
  const int target = writer(Mode::kWriteBuffered);
  put(target, "never written");
  TerminateLineIO();
  EXPECT_EQ(thread_file_pool, nullptr);
  EXPECT_FALSE(is_open(source));
  EXPECT_FALSE(is_open(target));
  EXPECT_EQ(written(), "");
  EXPECT_EQ(InitLineIO(), 0);
  EXPECT_EQ(getfpos(source), -1);
}

TEST_F(LineIo, ManyFilesAreToldApart) {
  const rlimit limit = {1200, 1200};
  if (setrlimit(RLIMIT_NOFILE, &limit) != 0) {
    GTEST_SKIP() << "no room for descriptors past 1024";
  }
  std::vector<int> handles;
  while (handles.empty() || handles.back() < 1100) {
    handles.push_back(reader(std::to_string(handles.size())));
    unlink(folder.path("read").c_str());
    ASSERT_NE(handles.back(), -1);
  }
  for (std::size_t i = 0; i < handles.size(); ++i) {
    ASSERT_EQ(get(handles[i]), std::to_string(i));
  }
  for (const int handle : handles) {
    EXPECT_EQ(fileclose(handle), 1);
    EXPECT_EQ(getfpos(handle), -1);
  }
}

}  // namespace
}  // namespace test
