#include <unistd.h>

#include <cstdlib>

#include "base/critical_section_lock.h"
#include "base/heap_text.h"
#include "lineio/file_object.h"

CONFIGAPI_BEGIN_C
FilePool* thread_file_pool = nullptr;
CRITICAL_SECTION filecs;
CRITICAL_SECTION filecs2;
CONFIGAPI_END_C

// Hosts of both architectures were built against these layouts.
#if defined(__LP64__)
static_assert(sizeof(OBX_FILE) == 64 && offsetof(OBX_FILE, name) == 8 &&
              offsetof(OBX_FILE, lineBuf) == 16 &&
              offsetof(OBX_FILE, pos) == 24 &&
              offsetof(OBX_FILE, writeMode) == 32 &&
              offsetof(OBX_FILE, ioBuf) == 40 &&
              offsetof(OBX_FILE, cursor) == 48 &&
              offsetof(OBX_FILE, count) == 56 &&
              offsetof(OBX_FILE, buffered) == 60);
static_assert(sizeof(FilePoolNode) == 24 && offsetof(FilePoolNode, inUse) == 8);
#else
static_assert(sizeof(OBX_FILE) == 36 && offsetof(OBX_FILE, name) == 4 &&
              offsetof(OBX_FILE, lineBuf) == 8 &&
              offsetof(OBX_FILE, pos) == 12 &&
              offsetof(OBX_FILE, writeMode) == 16 &&
              offsetof(OBX_FILE, ioBuf) == 20 &&
              offsetof(OBX_FILE, cursor) == 24 &&
              offsetof(OBX_FILE, count) == 28 &&
              offsetof(OBX_FILE, buffered) == 32);
static_assert(sizeof(FilePoolNode) == 12 && offsetof(FilePoolNode, inUse) == 4);
#endif

namespace configapi {

std::array<std::atomic<FilePoolNode*>, kShortcuts> shortcut_nodes;

namespace {

template <typename T>
void store_field(T& field, T value) {
  std::atomic_ref(field).store(value, std::memory_order_release);
}

std::atomic<FilePoolNode*>* shortcut(int handle) {
  const auto index = static_cast<unsigned>(handle);
  return index < kShortcuts ? &shortcut_nodes[index] : nullptr;
}

void set_shortcut(int handle, FilePoolNode* node) {
  if (auto* entry = shortcut(handle)) {
    entry->store(node, std::memory_order_release);
  }
}

void clear_shortcut(int handle, FilePoolNode* node) {
  if (auto* entry = shortcut(handle)) {
    entry->compare_exchange_strong(node, nullptr);
  }
}

// The first node that the test accepts, or null. A walker sees only nodes that
// are filled and linked: the count is raised last.
template <typename Test>
FilePoolNode* first_node(FilePool* pool, Test test) {
  int left = load_field(pool->count);
  FilePoolNode* node = left > 0 ? load_field(pool->first) : nullptr;
  for (; left > 0 && node != nullptr; --left) {
    if (test(node)) {
      return node;
    }
    node = load_field(node->next);
  }
  return nullptr;
}

FilePoolNode* reuse_node(FilePool* pool, OBX_FILE* object,
                         FilePoolNode** last) {
  FilePoolNode* node = first_node(pool, [last](FilePoolNode* candidate) {
    *last = candidate;
    return load_field(candidate->inUse) == 0;
  });
  if (node != nullptr) {
    store_field(node->object, object);
    store_field(node->inUse, 1);
  }
  return node;
}

FilePoolNode* append_node(FilePool* pool, OBX_FILE* object,
                          FilePoolNode* last) {
  FilePoolNode* node = heap_record<FilePoolNode>().release();
  if (node == nullptr) {
    return nullptr;
  }
  node->object = object;
  node->inUse = 1;
  store_field(last != nullptr ? last->next : pool->first, node);
  store_field(pool->count, pool->count + 1);
  return node;
}

}  // namespace
}  // namespace configapi

using configapi::CriticalSectionLock;
using configapi::first_node;
using configapi::load_field;

extern "C" OBX_FILE* NewOBX_FILE(void) {
  auto file = configapi::heap_record<OBX_FILE>();
  configapi::HeapText io(
      static_cast<char*>(std::calloc(1, LINEIO_BUFFER_SIZE)));
  configapi::HeapText line(
      static_cast<char*>(std::calloc(1, LINEIO_LINE_SIZE + 1)));
  if (file == nullptr || io == nullptr || line == nullptr) {
    return nullptr;
  }
  file->fd = -1;
  file->ioBuf = io.release();
  file->lineBuf = line.release();
  return file.release();
}

extern "C" void DelOBX_FILE(OBX_FILE** slot) {
  if (slot == nullptr || *slot == nullptr) {
    return;
  }
  OBX_FILE* file = *slot;
  const int fd = file->fd;
  std::free(file->name);
  std::free(file->lineBuf);
  std::free(file->ioBuf);
  std::free(file);
  *slot = nullptr;
  // Last: another thread may get the number the moment that it is free.
  if (fd != -1) {
    close(fd);
  }
}

extern "C" int AddToFilePool(FilePool* pool, OBX_FILE* object) {
  if (pool == nullptr) {
    return -1;
  }
  const CriticalSectionLock lock(&filecs);
  FilePoolNode* last = nullptr;
  FilePoolNode* node = configapi::reuse_node(pool, object, &last);
  if (node == nullptr) {
    node = configapi::append_node(pool, object, last);
  }
  if (node == nullptr) {
    return -1;
  }
  if (pool == thread_file_pool && object != nullptr) {
    configapi::set_shortcut(object->fd, node);
  }
  return 0;
}

extern "C" int f(FilePoolNode* node, int handle, int release) {
  const CriticalSectionLock lock(&filecs2);
  if (load_field(node->inUse) != 1) {
    return 0;
  }
  const OBX_FILE* object = load_field(node->object);
  if (object == nullptr || object->fd != handle) {
    return 0;
  }
  if (release != 0) {
    configapi::clear_shortcut(handle, node);
    DelOBX_FILE(&node->object);
    configapi::store_field(node->inUse, 0);
  }
  return 1;
}

extern "C" OBX_FILE* GetFromFilePool(FilePool* pool, int handle) {
  if (pool == nullptr) {
    return nullptr;
  }
  FilePoolNode* node = first_node(pool, [handle](FilePoolNode* candidate) {
    return f(candidate, handle, 0) == 1;
  });
  return node != nullptr ? load_field(node->object) : nullptr;
}

extern "C" int DelFromFilePool(FilePool* pool, int handle) {
  if (pool == nullptr) {
    return -1;
  }
  const auto release = [handle](FilePoolNode* node) {
    return f(node, handle, 1) == 1;
  };
  const auto* entry =
      pool == thread_file_pool ? configapi::shortcut(handle) : nullptr;
  FilePoolNode* node = entry != nullptr ? entry->load() : nullptr;
  if (node == nullptr || !release(node)) {
    first_node(pool, release);
  }
  return 0;
}

extern "C" int InitLineIO(void) {
  if (thread_file_pool != nullptr) {
    return 0;
  }
  thread_file_pool = configapi::heap_record<FilePool>().release();
  if (thread_file_pool == nullptr) {
    return -1;
  }
  InitializeCriticalSection(&filecs);
  InitializeCriticalSection(&filecs2);
  return 0;
}

extern "C" void TerminateLineIO(void) {
  if (thread_file_pool == nullptr) {
    return;
  }
  for (auto& entry : configapi::shortcut_nodes) {
    entry.store(nullptr, std::memory_order_relaxed);
  }
  FilePoolNode* node = thread_file_pool->first;
  while (node != nullptr) {
    FilePoolNode* next = node->next;
    if (node->inUse == 1) {
      DelOBX_FILE(&node->object);
    }
    std::free(node);
    node = next;
  }
  std::free(thread_file_pool);
  thread_file_pool = nullptr;
  DeleteCriticalSection(&filecs);
  DeleteCriticalSection(&filecs2);
}
