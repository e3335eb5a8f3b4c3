#include "ldap/entries.h"

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

// Appends an attribute's values behind *end, the end record so far, and moves
// *end to the new one. False when memory is out.
bool copy_values(LDAP* ld, LDAPMessage* message, char* name, attrval** end) {
  const ValuesPtr values(ldap_get_values(ld, message, name));
  for (char** value = values.get(); value != nullptr && *value != nullptr;
       ++value) {
    attrval* const record = *end;
    copy_field(record->name, name);
    copy_field(record->value, *value);
    record->next = heap_record<attrval>().release();
    if (record->next == nullptr) {
      return false;
    }
    *end = record->next;
  }
  return true;
}

// Fills the entry's record. False when memory is out.
bool copy_entry(LDAP* ld, LDAPMessage* message, SearchReq* entry) {
  const LdapText dn(ldap_get_dn(ld, message));
  if (dn != nullptr) {
    copy_field(entry->dn, dn.get());
  }
  entry->attrs = heap_record<attrval>().release();
  if (entry->attrs == nullptr) {
    return false;
  }
  // The calls below end a list with null, and report an error with null too:
  // only the code that they leave behind tells which it was.
  int code = LDAP_SUCCESS;
  ldap_set_option(ld, LDAP_OPT_RESULT_CODE, &code);
  attrval* end = entry->attrs;
  BerElement* position = nullptr;
  LdapText name(ldap_first_attribute(ld, message, &position));
  const ElementPtr element(position);
  while (name != nullptr) {
    if (!copy_values(ld, message, name.get(), &end)) {
      return false;
    }
    name.reset(ldap_next_attribute(ld, message, position));
  }
  ldap_get_option(ld, LDAP_OPT_RESULT_CODE, &code);
  return code == LDAP_SUCCESS;
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
