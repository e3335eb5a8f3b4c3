// Lists of attribute values that the library itself sends.

#ifndef CONFIGAPI_ATTR_LIST_H_
#define CONFIGAPI_ATTR_LIST_H_

#include <configapi/ldapclient.h>

#include <array>
#include <cstddef>
#include <string_view>

#include "base/bounded.h"

namespace configapi {

// Up to kCapacity records and the end record, linked.
template <std::size_t kCapacity>
class AttrList {
 public:
  AttrList() = default;
  ~AttrList() = default;
  AttrList(const AttrList&) = delete;  // the records point at one another
  AttrList& operator=(const AttrList&) = delete;
  AttrList(AttrList&&) = delete;
  AttrList& operator=(AttrList&&) = delete;

  // False, and nothing is appended, when a text does not fit its field.
  bool append(int op, std::string_view name, std::string_view value) {
    if (size_ == kCapacity || name.size() >= sizeof(attrval::name) ||
        value.size() >= sizeof(attrval::value)) {
      return false;
    }
    attrval& record = records_[size_];
    record.op = op;
    copy_cut(record.name, name);
    copy_cut(record.value, value);
    record.next = &records_[++size_];
    return true;
  }

  attrval* get() { return records_.data(); }

 private:
  std::array<attrval, kCapacity + 1> records_{};
  std::size_t size_ = 0;
};

}  // namespace configapi

#endif  // CONFIGAPI_ATTR_LIST_H_
