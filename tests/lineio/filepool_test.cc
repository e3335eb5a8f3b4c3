#include <configapi/internals.h>
#include <dirent.h>
#include <sys/resource.h>

#include <string>
#include <thread>
#include <vector>

#include "lineio/files.h"
#include "support/alloc_fault.h"

namespace test {
namespace {

int open_descriptors() {
  DIR* folder = opendir("/proc/self/fd");
  int count = 0;
  while (readdir(folder) != nullptr) {
    ++count;
  }
  closedir(folder);
  return count;
}

bool is_open(int fd) {
  return fcntl(fd, F_GETFD) != -1;
}

TEST(FilePool, WithoutAPoolNothingOpens) {
  const TempFolder folder;
  LogCapture log;
  TerminateLineIO();
  const std::string path = folder.write("file", "text");
  const int before = open_descriptors();
  EXPECT_EQ(open_file(path, Mode::kRead), -1);
  EXPECT_EQ(log.take(), LogLines{});
  EXPECT_EQ(create_file(path, Mode::kWrite), -1);
  EXPECT_EQ(log.take(), LogLines{"1 configapi: Unable to insert OBX_FILE "
                                 "object to memory pool"});
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

TEST_F(LineIo, StartsOnce) {
  const FilePool* pool = thread_file_pool;
  EXPECT_EQ(InitLineIO(), 0);
  EXPECT_EQ(thread_file_pool, pool);
  EXPECT_EQ(pool->first, nullptr);
  EXPECT_EQ(pool->count, 0);
}

TEST_F(LineIo, ANewRecordIsEmpty) {
  OBX_FILE* file = NewOBX_FILE();
  EXPECT_EQ(file->fd, -1);
  EXPECT_EQ(file->name, nullptr);
  EXPECT_EQ(file->cursor, nullptr);
  EXPECT_EQ(std::string(file->ioBuf, LINEIO_BUFFER_SIZE),
            std::string(LINEIO_BUFFER_SIZE, '\0'));
  EXPECT_EQ(std::string(file->lineBuf, LINEIO_LINE_SIZE + 1),
            std::string(LINEIO_LINE_SIZE + 1, '\0'));
  DelOBX_FILE(&file);
}

TEST_F(LineIo, AFreeNodeIsUsedAgain) {
  const int first = reader("1");
  const int second = reader("2");
  FilePoolNode* node = thread_file_pool->first;
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
  EXPECT_EQ(inch(second), -1);
  EXPECT_FALSE(is_open(second));
  EXPECT_EQ(thread_file_pool->count, 2);
  EXPECT_EQ(node->next->next, nullptr);
}

// Handles are the host's pool's business; another pool's stay apart.
TEST_F(LineIo, PoolsAreSeparate) {
  FilePool other{};
  OBX_FILE* file = NewOBX_FILE();
  file->fd = dup(0);
  const int handle = file->fd;
  EXPECT_EQ(AddToFilePool(&other, file), 0);
  EXPECT_EQ(GetFromFilePool(&other, handle), file);
  EXPECT_EQ(GetFromFilePool(thread_file_pool, handle), nullptr);
  EXPECT_EQ(getfpos(handle), -1);
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
  EXPECT_EQ(getfpos(source), -1);
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
    const std::string text = std::to_string(handles.size());
    handles.push_back(open_file(folder.write(text, text), Mode::kRead));
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

TEST_F(LineIo, AnOpenWithoutMemoryLeavesNothingBehind) {
  const std::string path = folder.write("file", "text\n");
  const int before = open_descriptors();
  int n = 1;
  for (bool failed = true; failed; ++n) {
    int opened = -1;
    {
      const AllocFault fault(n);
      // The call makes no copies of its own name here.
      opened = fileopen(const_cast<char*>(path.c_str()), 0, 0);
      failed = AllocFault::happened();
    }
    EXPECT_EQ(opened == -1, failed) << n;
    EXPECT_EQ(fileclose(opened), failed ? 0 : 1);
    EXPECT_EQ(open_descriptors(), before);
  }
  // The name, the record, its two buffers; the node of the first open.
  EXPECT_EQ(n - 2, 5);
  EXPECT_EQ(log.take(), LogLines{});
}

TEST_F(LineIo, ACreateWithoutMemorySaysWhatIsMissing) {
  std::string path = folder.path("written");
  LogLines expected(4, "1 configapi: Unable to allocate OBX_FILE object");
  expected.emplace_back(
      "1 configapi: Unable to insert OBX_FILE object to memory pool");
  for (int n = 1; n <= 5; ++n) {
    const AllocFault fault(n);
    EXPECT_EQ(filecreate(path.data(), 0, 0), -1);
  }
  EXPECT_EQ(log.take(), expected);
  EXPECT_EQ(thread_file_pool->count, 0);
  TerminateLineIO();
  {
    const AllocFault fault(1);
    EXPECT_EQ(InitLineIO(), -1);
  }
  EXPECT_EQ(thread_file_pool, nullptr);
}

// Descriptor numbers wander between threads all the time.
TEST_F(LineIo, ThreadsDoNotDisturbOneAnother) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 150;
  const auto work = [this](int number) {
    const std::string name = "file" + std::to_string(number);
    const std::string line = std::string(60, static_cast<char>('a' + number));
    for (int round = 0; round < kRounds; ++round) {
      const int out = create_file(folder.path(name), Mode::kWriteBuffered);
      for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(put(out, line + "\n"), 1);
      }
      ASSERT_EQ(fileclose(out), 1);
      const int in = open_file(folder.path(name), Mode::kRead);
      for (int i = 0; i < 100; ++i) {
        ASSERT_EQ(get(in), line + "\n");
      }
      ASSERT_EQ(inch(in), -1);
      ASSERT_EQ(getfpos(-1 - number), -1);
      ASSERT_EQ(fileclose(in), 1);
    }
  };
  std::vector<std::thread> threads;
  threads.reserve(kThreads);
  for (int number = 0; number < kThreads; ++number) {
    threads.emplace_back(work, number);
  }
  for (auto& thread : threads) {
    thread.join();
  }
  EXPECT_LE(thread_file_pool->count, kThreads);
}

}  // namespace
}  // namespace test
