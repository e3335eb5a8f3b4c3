#include "ldap/entries.h"

#include <algorithm>
#include <cstdlib>
#include <span>
#include <string_view>
#include <utility>

#include "base/ascii.h"
#include "base/bounded.h"
#include "base/heap_text.h"
#include "ldap/owners.h"

namespace configapi {
namespace {

void copy_field(std::span<char> field, std::string_view text) {
  copy_cut(field, utf8_prefix(text, field.size() - 1));
}

void free_attrs(attrval* list) {
  while (list != nullptr) {
    attrval* const next = list->next;
    std::free(list);
    list = next;
  }
}

// The LDAP library's own texts lie in the message and may have any bytes.
std::string_view view(const berval& text) {
  return {text.bv_val, text.bv_len};
}

bool is_text(const berval& value) {
  return view(value).find('\0') == std::string_view::npos;
}

std::span<const berval> values_in(const ValuesPtr& array) {
  std::size_t count = 0;
  while (array != nullptr && array.get()[count].bv_val != nullptr) {
    ++count;
  }
  return {array.get(), count};
}

// Appends an attribute's values behind *end, the end record so far, and moves
// *end to the new one. An attribute with a value that is no text, a picture
// for instance, has none. False when memory is out.
bool copy_values(const berval& name, std::span<const berval> values,
                 attrval** end) {
  if (!std::all_of(values.begin(), values.end(), is_text)) {
    return true;
  }
  // NOLINTNEXTLINE(readability-use-anyofallof): the loop appends
  for (const berval& value : values) {
    attrval* const record = *end;
    copy_field(record->name, view(name));
    copy_field(record->value, view(value));
    record->next = heap_record<attrval>().release();
    if (record->next == nullptr) {
      return false;
    }
    *end = record->next;
  }
  return true;
}

// Fills the entry's record. False when memory is out, or the server sent what
// cannot be decoded. One walk through the message: ldap_get_values() would
// begin anew for each attribute.
bool copy_entry(LDAP* ld, LDAPMessage* message, SearchReq* entry) {
  berval dn{};
  BerElement* position = nullptr;
  if (ldap_get_dn_ber(ld, message, &position, &dn) != LDAP_SUCCESS) {
    return false;
  }
  const ElementPtr element(position);
  copy_field(entry->dn, view(dn));
  entry->attrs = heap_record<attrval>().release();
  attrval* end = entry->attrs;
  while (end != nullptr) {
    berval name{};
    berval* array = nullptr;
    if (ldap_get_attribute_ber(ld, message, position, &name, &array) !=
        LDAP_SUCCESS) {
      return false;
    }
    const ValuesPtr values(array);
    if (name.bv_val == nullptr) {  // behind the last one
      return true;
    }
    if (!copy_values(name, values_in(values), &end)) {
      return false;
    }
  }
  return false;
}

}  // namespace

void free_entries(SearchReq* list) {
  while (list != nullptr) {
    SearchReq* const next = list->next;
    free_attrs(list->attrs);
    std::free(list);
    list = next;
  }
}

EntriesPtr copy_entries(LDAP* ld, LDAPMessage* result) {
  EntriesPtr list(heap_record<SearchReq>().release());
  SearchReq* end = list.get();
  for (LDAPMessage* message = ldap_first_entry(ld, result);
       message != nullptr && end != nullptr;
       message = ldap_next_entry(ld, message)) {
    if (!copy_entry(ld, message, end)) {
      return nullptr;
    }
    end->next = heap_record<SearchReq>().release();
    end = end->next;
  }
  return end != nullptr ? std::move(list) : nullptr;
}

const attrval* find_attribute(const attrval* list, const char* name) {
  for (; list->next != nullptr; list = list->next) {
    if (same_name(list->name, name)) {
      return list;
    }
  }
  return nullptr;
}

}  // namespace configapi
