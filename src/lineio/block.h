// The buffer of a file object: what lines and bytes cost as long as they lie in
// it, or fit. Everything else is in file_object.cc.

#ifndef CONFIGAPI_BLOCK_H_
#define CONFIGAPI_BLOCK_H_

#include <configapi/lineio.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace configapi {

// Counts bytes in the logical position. Past 2 GiB a 32-bit one wraps, which
// unsigned sums do in a defined way.
inline void advance(OBX_FILE* file, std::size_t bytes) {
  file->pos = static_cast<long>(static_cast<unsigned long>(file->pos) + bytes);
}

inline std::size_t offset_in_block(const OBX_FILE* file) {
  return reinterpret_cast<std::uintptr_t>(file->cursor) -
         reinterpret_cast<std::uintptr_t>(file->ioBuf);
}

// Whether a byte can be delivered from the block. Not while none is loaded: a
// null cursor is far from any buffer. Nor from a file that is written: its
// buffer holds output.
inline bool has_unread(const OBX_FILE* file) {
  return offset_in_block(file) < static_cast<std::size_t>(file->count) &&
         file->writeMode == 0;
}

inline std::size_t unread(const OBX_FILE* file) {
  return has_unread(file)
             ? static_cast<std::size_t>(file->count) - offset_in_block(file)
             : 0;
}

// Length of a line with its line feed, or 0 when that is not among the bytes.
inline std::size_t line_length(const char* from, std::size_t size) {
  const void* feed = std::memchr(from, '\n', size);
  return feed == nullptr
             ? 0
             : static_cast<std::size_t>(static_cast<const char*>(feed) - from) +
                   1;
}

// Copies a line of at most `size` bytes to where LINEIO_LINE_SIZE bytes fit.
// Returns its length, or 0 when its end was not found.
#ifdef __SSE2__
// A search and a copy in one cost less than one after the other while lines are
// short. Only whole vectors are looked at, and what stands behind the line in
// the last of them is copied, too.
inline std::size_t copy_line(char* to, const char* from, std::size_t size) {
  constexpr std::size_t kVector = sizeof(__m128i);
  constexpr std::size_t kShortLine = 128;
  const __m128i feeds = _mm_set1_epi8('\n');
  size = std::min(size, kShortLine);
  for (std::size_t at = 0; at + kVector <= size; at += kVector) {
    __m128i bytes;
    std::memcpy(&bytes, from + at, kVector);
    std::memcpy(to + at, &bytes, kVector);
    const auto hits =
        static_cast<unsigned>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes, feeds)));
    if (hits != 0) {
      return at + static_cast<std::size_t>(std::countr_zero(hits)) + 1;
    }
  }
  return 0;
}
#else
inline std::size_t copy_line(char* to, const char* from, std::size_t size) {
  if (size == 0) {
    return 0;
  }
  const std::size_t length =
      line_length(from, std::min<std::size_t>(size, LINEIO_LINE_SIZE));
  std::memcpy(to, from, length);
  return length;
}
#endif

// The ordinary case: the line lies whole in the block. Returns its length, or
// 0 when it was not found there.
inline std::size_t take_line_in_block(OBX_FILE* file) {
  const std::size_t length =
      copy_line(file->lineBuf, file->cursor, unread(file));
  if (length > 0) {
    file->cursor += length;
    file->lineBuf[length] = '\0';
    advance(file, length);
  }
  return length;
}

inline int take_byte(OBX_FILE* file) {
  advance(file, 1);
  return static_cast<unsigned char>(*file->cursor++);
}

inline bool writes_behind(const OBX_FILE* file) {
  return file->buffered != 0 && file->writeMode != 0;
}

// Whether a byte fits into the buffer as it stands.
inline bool has_room(const OBX_FILE* file) {
  return writes_behind(file) && file->cursor != nullptr && file->count > 0;
}

inline void put_byte(OBX_FILE* file, char byte) {
  *file->cursor++ = byte;
  --file->count;
  advance(file, 1);
}

}  // namespace configapi

#endif  // CONFIGAPI_BLOCK_H_
