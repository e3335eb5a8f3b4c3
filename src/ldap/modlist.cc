// Modification arrays: what add and modify hand to the LDAP library.

#include <configapi/internals.h>
#include <ldap.h>

#include <cstdlib>
#include <cstring>
#include <span>
#include <string_view>

#include "base/heap_text.h"
#include "ldap/owners.h"

namespace configapi {
namespace {

// A caller may have filled a field to its last byte.
std::string_view field_text(std::span<const char> field) {
  return {field.data(), strnlen(field.data(), field.size())};
}

std::size_t count_records(const attrval* list) {
  std::size_t count = 0;
  for (; list != nullptr && list->next != nullptr; list = list->next) {
    ++count;
  }
  return count;
}

template <typename T>
T** heap_array(std::size_t slots) {
  return static_cast<T**>(std::calloc(slots, sizeof(T*)));
}

// False when memory is out; what was allocated hangs on mod then.
bool fill_mod(LDAPMod* mod, const attrval& record, int op) {
  mod->mod_op = op | LDAP_MOD_BVALUES;
  mod->mod_type = heap_copy(field_text(record.name)).release();
  mod->mod_bvalues = heap_array<berval>(2);
  if (mod->mod_type == nullptr || mod->mod_bvalues == nullptr) {
    return false;
  }
  berval* value = heap_record<berval>().release();
  mod->mod_bvalues[0] = value;
  if (value == nullptr) {
    return false;
  }
  const std::string_view text = field_text(record.value);
  value->bv_len = text.size();
  value->bv_val = heap_copy(text).release();
  return value->bv_val != nullptr;
}

}  // namespace
}  // namespace configapi

extern "C" LDAPMod** get_modlist(attrval* list, int op) {
  const std::size_t count = configapi::count_records(list);
  if (count == 0) {
    return nullptr;
  }
  configapi::ModsPtr mods(configapi::heap_array<LDAPMod>(count + 1));
  if (mods == nullptr) {
    return nullptr;
  }
  LDAPMod** slot = mods.get();
  for (; list->next != nullptr; list = list->next, ++slot) {
    *slot = configapi::heap_record<LDAPMod>().release();
    if (*slot == nullptr ||
        !configapi::fill_mod(*slot, *list, op == -1 ? list->op : op)) {
      return nullptr;
    }
  }
  return mods.release();
}

extern "C" void free_modlist(LDAPMod** mods) {
  if (mods == nullptr) {
    return;
  }
  for (LDAPMod** slot = mods; *slot != nullptr; ++slot) {
    free_berval((*slot)->mod_bvalues);
    std::free((*slot)->mod_type);
    std::free(*slot);
  }
  std::free(mods);
}

extern "C" void free_berval(berval** values) {
  if (values == nullptr) {
    return;
  }
  for (berval** slot = values; *slot != nullptr; ++slot) {
    std::free((*slot)->bv_val);
    std::free(*slot);
  }
  std::free(values);
}
