// What both families of line calls are made of: the services on a record, and
// the way from a handle to its record.

#ifndef CONFIGAPI_FILE_OBJECT_H_
#define CONFIGAPI_FILE_OBJECT_H_

#include <configapi/internals.h>
#include <configapi/lineio.h>

#include <array>
#include <atomic>
#include <cstddef>
#include <string_view>

namespace configapi {

// Shortcut past the walk over the pool: the node of thread_file_pool that
// holds a descriptor, indexed by it. Entries are set when the node is filled
// and cleared before the descriptor is closed, as its number may come back at
// once in another thread.
constexpr std::size_t kShortcuts = 1024;
extern std::array<std::atomic<FilePoolNode*>, kShortcuts> shortcut_nodes;

// A node's fields are touched under different locks, or under none.
template <typename T>
T load_field(T& field) {
  return std::atomic_ref(field).load(std::memory_order_acquire);
}

// The record of an open handle if it is known here, else null. A handle is used
// by one thread at a time and closed by its user, so nobody releases the record
// that is looked at without a lock.
inline OBX_FILE* find_by_shortcut(int handle) {
  const auto index = static_cast<unsigned>(handle);
  if (index >= kShortcuts) {
    return nullptr;
  }
  FilePoolNode* node = shortcut_nodes[index].load(std::memory_order_acquire);
  if (node == nullptr) {
    return nullptr;
  }
  OBX_FILE* file = load_field(node->object);
  return file != nullptr && file->fd == handle ? file : nullptr;
}

// The record of an open handle, or null.
inline OBX_FILE* find_file(int handle) {
  OBX_FILE* file = find_by_shortcut(handle);
  return file != nullptr ? file : GetFromFilePool(thread_file_pool, handle);
}

// Next line, as configapi_getline() delivers it, with its length: a line may
// hold NUL bytes. Returns 1, 0 at the end of the file, or -1; the line is
// untouched but for 1.
int read_line(OBX_FILE* file, std::string_view* line);

// The calls themselves, as <configapi/lineio.h> has them for records: a null
// record, line or text gives their failure.
int read_line(OBX_FILE* file, char** line);
int read_byte(OBX_FILE* file);
void unread_byte(OBX_FILE* file);
int write_text(OBX_FILE* file, const char* bytes);
int write_byte(OBX_FILE* file, char byte);
long seek(OBX_FILE* file, long offset);

// Why a record was not opened; what is said about it is the caller's.
enum class OpenFault { kName, kOpen, kMemory };

// A record of a file opened with O_RDONLY or O_WRONLY, the latter perhaps with
// O_CREAT; in no pool. Null on failure, errno telling why.
OBX_FILE* open_file(const char* name, int access, bool buffered,
                    OpenFault* fault);

// Writes an entry under the host's name, and leaves errno to the caller:
// logging may do anything to it.
void log_file_io(const char* text);

// Logs an open, where such things are to be logged.
void log_opened(const char* call, const OBX_FILE* file);

// What comes before the release of a record: output that waits is written, and
// the close logged, as is the failure to write. Returns its errno, else 0.
int write_rest(OBX_FILE* file);

}  // namespace configapi

#endif  // CONFIGAPI_FILE_OBJECT_H_
